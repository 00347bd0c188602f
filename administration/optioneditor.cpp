#include "administration/optioneditor.h"

#include "widgets/fieldvalue.h"
#include "widgets/numberspinbox.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QLineEdit>
#include <QPlainTextEdit>

namespace {

struct OptionEditorText
{
    Q_DECLARE_TR_FUNCTIONS(OptionEditor)
};

constexpr int memoLines = 4;
constexpr int numberSigns = 20;

NumberSpinBox *makeNumber(const OptionDescription &description, QWidget *parent)
{
    auto *number = new NumberSpinBox(parent);
    number->setDecimals(0);
    number->setRange(description.least, description.most);
    number->setButtonSymbols(QAbstractSpinBox::NoButtons);
    number->setMaximumWidth(number->fontMetrics().averageCharWidth() * numberSigns);
    return number;
}

QComboBox *makeChoice(const OptionDescription &description, QWidget *parent)
{
    auto *box = new QComboBox(parent);
    for (const auto &[value, text] : description.choices)
        box->addItem(text, value);
    keepFromWheel(box);
    return box;
}

QPlainTextEdit *makeMemo(QWidget *parent)
{
    auto *memo = new QPlainTextEdit(parent);
    memo->setTabChangesFocus(true);
    memo->setFixedHeight(memo->fontMetrics().lineSpacing() * memoLines +
                         2 * (memo->frameWidth() + int(memo->document()->documentMargin())));
    return memo;
}

} // namespace

QWidget *makeOptionEditor(const OptionDescription &description, QWidget *parent)
{
    switch (description.kind) {
    case OptionKind::Memo:
        return makeMemo(parent);
    case OptionKind::Whole:
        return makeNumber(description, parent);
    case OptionKind::Flag:
        return new QCheckBox(QString(description.title).replace(u'&', "&&"), parent);
    case OptionKind::Choice:
        return makeChoice(description, parent);
    case OptionKind::Text:
    case OptionKind::Secret:
        break;
    }
    auto *line = new QLineEdit(parent);
    if (description.kind == OptionKind::Secret)
        line->setEchoMode(QLineEdit::Password);
    return line;
}

void showOption(QWidget *editor, const OptionDescription &description, const QString &value)
{
    if (auto *number = qobject_cast<NumberSpinBox *>(editor)) {
        bool isWhole = false;
        const int whole = value.toInt(&isWhole);
        if (isWhole)
            number->showStored(whole);
        else
            number->showText(value);
    } else if (auto *box = qobject_cast<QComboBox *>(editor)) {
        chooseEntry(box, sameChoice(description, value),
                    value.isEmpty() ? OptionEditorText::tr("не задано") : value);
    } else {
        showInField(editor, value);
    }
}

QString enteredOption(const QWidget *editor, const OptionDescription &description)
{
    // An emptied field is no 0.
    if (const auto *number = qobject_cast<const NumberSpinBox *>(editor))
        return number->hasAcceptableInput() && !number->text().isEmpty()
                   ? QString::number(number->value(), 'f', 0)
                   : number->text();
    const QString text = valueInField(editor).toString();
    return description.kind == OptionKind::Text ? text.trimmed() : text;
}
