#include "widgets/messagebox.h"

#include "app/messages.h"

#include <QCoreApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScopeGuard>

namespace {

QMessageBox::Icon iconOf(BoxKind kind)
{
    switch (kind) {
    case BoxKind::Information:
        return QMessageBox::Information;
    case BoxKind::Warning:
        return QMessageBox::Warning;
    case BoxKind::Question:
        return QMessageBox::Question;
    }
    return QMessageBox::NoIcon;
}

/// The style sorts buttons by role, differently on each desktop; with one role for all they stand
/// in the order of the request.
constexpr auto commonRole = QMessageBox::ActionRole;

int showBox(QWidget *parent, const BoxRequest &request)
{
    // Its parent may go while it is open, and takes it along.
    const QPointer<QMessageBox> box = new QMessageBox(parent);
    const auto deleted = qScopeGuard([&box] { delete box; });
    box->setWindowTitle(QStringLiteral("Lavkor"));
    box->setIcon(iconOf(request.kind));
    // Before the text: a name such as "<img src=…>" must not be read as markup.
    box->setTextFormat(request.html ? Qt::RichText : Qt::PlainText);
    box->setText(request.text);
    box->setTextInteractionFlags(Qt::TextSelectableByMouse);

    if (!request.note.isEmpty()) {
        box->setInformativeText(request.note);
        // It is made with the text and guesses its format otherwise.
        if (auto *label = box->findChild<QLabel *>(QStringLiteral("qt_msgbox_informativelabel")))
            label->setTextFormat(Qt::PlainText);
    }

    QStringList texts = request.buttons;
    if (texts.isEmpty())
        texts = {QCoreApplication::translate("MessageBox", "OK")};
    QList<QPushButton *> buttons;
    for (const QString &text : std::as_const(texts))
        buttons += box->addButton(text, commonRole);
    if (!request.details.isEmpty()) {
        box->setDetailedText(request.details);
        const QList<QAbstractButton *> all = box->buttons();
        for (QAbstractButton *button : all) {
            if (!buttons.contains(button))
                button->setText(QCoreApplication::translate("MessageBox", "Подробнее"));
        }
    }
    box->setDefaultButton(buttons.value(request.defaultButton));
    box->setEscapeButton(buttons.value(request.escapeButton));
    if (QPushButton *button = buttons.value(request.defaultButton))
        button->setFocus();
    box->exec();
    if (!box)
        return request.escapeButton;

    for (int index = 0; index < buttons.size(); ++index) {
        if (box->clickedButton() == buttons.at(index))
            return index;
    }
    return request.escapeButton;
}

} // namespace

void installMessageBox()
{
    setBoxHandler(showBox);
}
