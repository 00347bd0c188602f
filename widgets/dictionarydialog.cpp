#include "widgets/dictionarydialog.h"

#include "ui_dictionarydialog.h"

#include "app/messages.h"
#include "db/money.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "widgets/dictionarystore.h"
#include "widgets/numberspinbox.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>

namespace {

NumberSpinBox *makeNumber(const DictionaryField &field, QWidget *parent)
{
    auto *number = new NumberSpinBox(parent);
    number->setDecimals(field.decimals);
    number->setRange(field.least, field.most);
    number->setValue(field.initial);
    return number;
}

QComboBox *makeChoice(const DictionaryField &field, QWidget *parent)
{
    auto *box = new QComboBox(parent);
    for (const auto &[id, text] : field.firstChoices)
        box->addItem(text, id);
    QList<SqlRow> rows;
    if (!field.choices.isEmpty())
        QueryRows(parent, field.choices, rows);
    for (const SqlRow &row : std::as_const(rows))
        box->addItem(row.at(1).toString(), row.at(0).toULongLong());
    return box;
}

QWidget *makeWidget(const DictionaryField &field, QWidget *parent)
{
    switch (field.kind) {
    case FieldKind::Text:
        return new QLineEdit(parent);
    case FieldKind::Memo: {
        auto *memo = new QPlainTextEdit(parent);
        memo->setTabChangesFocus(true);
        return memo;
    }
    case FieldKind::Number:
        return makeNumber(field, parent);
    case FieldKind::Flag:
        return new QCheckBox(parent);
    case FieldKind::Choice:
        return makeChoice(field, parent);
    case FieldKind::Fixed:
    case FieldKind::Time:
        break;
    }
    return nullptr;
}

void showValue(QWidget *widget, const QVariant &value)
{
    if (auto *line = qobject_cast<QLineEdit *>(widget)) {
        line->setText(value.toString());
    } else if (auto *memo = qobject_cast<QPlainTextEdit *>(widget)) {
        memo->setPlainText(value.toString());
    } else if (auto *number = qobject_cast<NumberSpinBox *>(widget)) {
        const double stored = value.toDouble();
        if (!value.isNull() && stored >= number->minimum() && stored <= number->maximum())
            number->setExact(stored);
        else // shown as it is, not as the nearest number that could be entered
            number->showText(value.isNull() ? QString() : formatFactor(stored));
    } else if (auto *flag = qobject_cast<QCheckBox *>(widget)) {
        flag->setChecked(value.toInt() > 0);
    } else if (auto *box = qobject_cast<QComboBox *>(widget)) {
        if (box->findData(value.toULongLong()) < 0) // a row that is gone is not replaced unasked
            box->addItem(value.toString(), value.toULongLong());
        box->setCurrentIndex(box->findData(value.toULongLong()));
    }
}

QVariant valueOf(const QWidget *widget)
{
    if (const auto *line = qobject_cast<const QLineEdit *>(widget))
        return line->text();
    if (const auto *memo = qobject_cast<const QPlainTextEdit *>(widget))
        return memo->toPlainText();
    if (const auto *number = qobject_cast<const NumberSpinBox *>(widget))
        return number->value();
    if (const auto *flag = qobject_cast<const QCheckBox *>(widget))
        return flag->isChecked() ? 1 : 0;
    if (const auto *box = qobject_cast<const QComboBox *>(widget))
        return box->currentData();
    return {};
}

/// A stored value as the field would show it.
QString shownText(const QWidget *widget, const QVariant &value)
{
    if (const auto *box = qobject_cast<const QComboBox *>(widget)) {
        const int item = box->findData(value.toULongLong());
        return item < 0 ? value.toString() : box->itemText(item);
    }
    if (qobject_cast<const QCheckBox *>(widget))
        return value.toInt() > 0 ? DictionaryDialog::tr("да") : DictionaryDialog::tr("нет");
    if (qobject_cast<const NumberSpinBox *>(widget))
        return formatFactor(value.toDouble());
    return value.toString();
}

/// What is wrong with what was entered; empty when nothing is.
QString faultOf(const DictionaryField &field, const QWidget *widget)
{
    const auto *number = qobject_cast<const NumberSpinBox *>(widget);
    if (!number)
        return valueOf(widget).toString().trimmed().isEmpty() ? field.required : QString();
    if (!number->hasAcceptableInput())
        return QStringList({field.required, number->fault()}).join(u'\n').trimmed();
    const double stored = sql::number(number->value()).toDouble();
    if (stored == number->value())
        return {};
    return (field.tooLong.isEmpty()
                ? DictionaryDialog::tr("В базе данных у числа не больше шести значащих цифр: %1.")
                : field.tooLong)
        .arg(formatFactor(stored));
}

} // namespace

DictionaryDialog::DictionaryDialog(const Dictionary &dictionary, qulonglong id, QWidget *parent,
                                   const QVariantMap &fixed)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::DictionaryDialog>()),
      m_dictionary(dictionary),
      m_id(id),
      m_seen(fixed)
{
    m_ui->setupUi(this);
    makeFields();
    if (m_id == 0)
        setWindowTitle(m_dictionary.addTitle);
    else
        load();
}

DictionaryDialog::~DictionaryDialog() = default;

qulonglong DictionaryDialog::id() const
{
    return m_id;
}

void DictionaryDialog::makeFields()
{
    QWidget *former = nullptr;
    for (const DictionaryField &field : std::as_const(m_dictionary.fields)) {
        QWidget *widget = makeWidget(field, this);
        if (!widget)
            continue;
        widget->setObjectName(field.widget);
        widget->setToolTip(field.toolTip);
        auto *label = new QLabel(field.label, this);
        label->setBuddy(widget);
        m_ui->fieldsLayout->addRow(label, widget);
        m_widgets.insert(field.column, widget);
        if (former)
            setTabOrder(former, widget);
        else
            widget->setFocus();
        former = widget;
    }
    if (former)
        setTabOrder(former, m_ui->savePushButton);
    setTabOrder(m_ui->savePushButton, m_ui->cancelPushButton);
}

void DictionaryDialog::load()
{
    setWindowTitle(m_dictionary.editTitle.contains("%1") ? m_dictionary.editTitle.arg(m_id)
                                                         : m_dictionary.editTitle);
    if (loadEntry(this, m_dictionary, m_id, m_seen) != LoadState::Loaded) {
        QMetaObject::invokeMethod(this, &QDialog::reject, Qt::QueuedConnection);
        return;
    }
    for (auto field = m_widgets.cbegin(); field != m_widgets.cend(); ++field) {
        showValue(field.value(), m_seen.value(field.key()));
        if (const auto *number = qobject_cast<const NumberSpinBox *>(field.value()))
            m_shown.insert(field.key(), number->text());
    }
}

/// Whether a number of the entry is as the user found it: it stays as it is stored, with all its
/// digits.
bool DictionaryDialog::isUntouched(const DictionaryField &field) const
{
    const auto *number = qobject_cast<const NumberSpinBox *>(m_widgets.value(field.column));
    return m_id != 0 && number && number->text() == m_shown.value(field.column);
}

QVariantMap DictionaryDialog::entered() const
{
    QVariantMap values;
    for (const DictionaryField &field : m_dictionary.fields) {
        if (const QWidget *widget = m_widgets.value(field.column); widget && !isUntouched(field))
            values.insert(field.column, valueOf(widget));
        else if (field.kind == FieldKind::Fixed)
            values.insert(field.column, m_seen.value(field.column));
    }
    return values;
}

void DictionaryDialog::on_savePushButton_clicked()
{
    const CommandScope command;
    if (check() && save())
        accept();
}

void DictionaryDialog::on_cancelPushButton_clicked()
{
    reject();
}

/// Tells what is wrong with a field and leads the user there.
bool DictionaryDialog::check()
{
    for (const DictionaryField &field : std::as_const(m_dictionary.fields)) {
        QWidget *widget = m_widgets.value(field.column);
        const QString fault = widget && !isUntouched(field) ? faultOf(field, widget) : QString();
        if (fault.isEmpty())
            continue;
        showInformation(this, fault);
        widget->setFocus();
        if (auto *number = qobject_cast<NumberSpinBox *>(widget))
            number->selectAll();
        return false;
    }
    return true;
}

bool DictionaryDialog::save()
{
    if (m_id == 0) {
        m_id = insertEntry(this, m_dictionary, entered()).value_or(0);
        return m_id != 0;
    }
    const QVariantMap before = m_seen;
    switch (updateEntry(this, m_dictionary, m_id, entered(), m_seen)) {
    case EntryState::Written:
        return true;
    case EntryState::Changed:
        if (askToOverwrite(before))
            return save();
        m_seen = before; // what is on the screen comes from there: ask again
        return false;
    case EntryState::Gone:
        return askToAddAnew() && check() && save();
    case EntryState::Failed:
        break;
    }
    return false;
}

/// Shows what another station has written meanwhile.
bool DictionaryDialog::askToOverwrite(const QVariantMap &before)
{
    QStringList changes;
    for (const DictionaryField &field : std::as_const(m_dictionary.fields)) {
        const QVariant now = m_seen.value(field.column);
        if (const QWidget *widget = m_widgets.value(field.column);
            widget && now.toString() != before.value(field.column).toString())
            changes += QString(field.label).remove(u'&') + u' ' + shownText(widget, now);
    }
    return askQuestion(this, {.text = tr("Запись тем временем изменили на другом рабочем месте. "
                                         "Заменить её?"),
                              .note = tr("Там теперь:") + u'\n' + changes.join(u'\n'),
                              .buttons = {tr("Заменить"), tr("Отмена")},
                              .defaultButton = 1,
                              .escapeButton = 1}) == 0;
}

/// Of an entry that another station has deleted meanwhile.
bool DictionaryDialog::askToAddAnew()
{
    if (askQuestion(this,
                    tr("Запись тем временем удалили на другом рабочем месте. Добавить её снова?"),
                    {tr("Добавить"), tr("Отмена")}, 1, 1) != 0)
        return false;
    m_id = 0;
    return true;
}
