#include "widgets/messagebox.h"

#include "app/messages.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

#include <chrono>

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
    QMessageBox box(parent);
    box.setWindowTitle(QStringLiteral("Lavkor"));
    box.setIcon(iconOf(request.kind));
    // Before the text: a name such as "<img src=…>" must not be read as markup.
    box.setTextFormat(request.html ? Qt::RichText : Qt::PlainText);
    box.setText(request.text);
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);

    QStringList texts = request.buttons;
    if (texts.isEmpty())
        texts = {QCoreApplication::translate("MessageBox", "OK")};
    QList<QPushButton *> buttons;
    for (const QString &text : std::as_const(texts))
        buttons += box.addButton(text, commonRole);
    box.setDefaultButton(buttons.value(request.defaultButton));
    box.setEscapeButton(buttons.value(request.escapeButton));
    if (QPushButton *button = buttons.value(request.defaultButton))
        button->setFocus();
    if (request.seconds > 0)
        QTimer::singleShot(std::chrono::seconds(request.seconds), &box, &QDialog::reject);
    box.exec();

    for (int index = 0; index < buttons.size(); ++index) {
        if (box.clickedButton() == buttons.at(index))
            return index;
    }
    return request.escapeButton;
}

} // namespace

void installMessageBox()
{
    setBoxHandler(showBox);
}
