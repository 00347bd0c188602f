#include "widgets/dialogbuttons.h"

#include "app/messages.h"

#include <QAbstractItemView>
#include <QCoreApplication>
#include <QDialog>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPushButton>
#include <QShortcut>

namespace {

struct DialogButtons
{
    Q_DECLARE_TR_FUNCTIONS(DialogButtons)
};

} // namespace

QHBoxLayout *acceptAndCancel(QDialog *dialog, const std::function<void()> &take)
{
    auto *acceptButton = new QPushButton(DialogButtons::tr("Принять"), dialog);
    acceptButton->setObjectName("acceptPushButton");
    acceptButton->setDefault(true);
    auto *cancelButton = new QPushButton(DialogButtons::tr("Отмена"), dialog);
    cancelButton->setObjectName("cancelPushButton");
    cancelButton->setAutoDefault(false);
    QObject::connect(acceptButton, &QPushButton::clicked, dialog, take);
    QObject::connect(cancelButton, &QPushButton::clicked, dialog,
                     [dialog] { dialog->done(QDialog::Rejected); });
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(acceptButton);
    buttons->addWidget(cancelButton);
    return buttons;
}

bool mayLoseInput(QDialog *dialog)
{
    return askQuestion(dialog, DialogButtons::tr("Введённое не записано. Закрыть окно без записи?"),
                       {DialogButtons::tr("Закрыть"), DialogButtons::tr("Вернуться")}, 1, 1) == 0;
}

bool passReturnOn(QDialog *dialog, const QKeyEvent *event)
{
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter)
        return false;
    QWidget *focused = dialog->focusWidget();
    if (auto *button = qobject_cast<QPushButton *>(focused)) {
        button->click();
        return true;
    }
    if (!focused || qobject_cast<QAbstractItemView *>(focused))
        return true;
    QKeyEvent tab(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
    QCoreApplication::sendEvent(focused, &tab);
    return true;
}

void pressByCtrlReturn(QDialog *dialog, QPushButton *button)
{
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter})
        QObject::connect(new QShortcut(Qt::CTRL | key, dialog), &QShortcut::activated, button,
                         &QPushButton::click);
}
