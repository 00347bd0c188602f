#include "widgets/dictionarydialog.h"

#include "ui_dictionarydialog.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "widgets/dialogbuttons.h"
#include "widgets/dialogplace.h"
#include "widgets/dictionarystore.h"
#include "widgets/fieldvalue.h"
#include "widgets/numberspinbox.h"
#include "widgets/plaintext.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>

#include <algorithm>

namespace {

/// What a choice knows an entry by.
QVariant keyOf(const DictionaryField &field, const QVariant &value)
{
    return field.kind == FieldKind::Code ? QVariant(value.toString())
                                         : QVariant(value.toULongLong());
}

NumberSpinBox *makeNumber(const DictionaryField &field, QWidget *parent)
{
    auto *number = new NumberSpinBox(parent);
    number->setDecimals(field.decimals);
    number->setRange(field.least, field.most);
    number->setValue(field.initial);
    return number;
}

void readChoices(const DictionaryField &field, QComboBox *box)
{
    box->clear();
    for (const auto &[id, text] : field.firstChoices)
        box->addItem(text, id);
    QList<SqlRow> rows;
    if (!field.choices.isEmpty())
        QueryRows(box->window(), field.choices, rows);
    for (const SqlRow &row : std::as_const(rows))
        box->addItem(row.at(1).toString().simplified(), keyOf(field, row.at(0)));
}

/// Shows an entry of a choice, or nothing; a row that is gone is not replaced unasked.
void choose(QComboBox *box, const QVariant &key)
{
    const QString text = key.toString();
    if (text.isEmpty() || text == u'0')
        box->setCurrentIndex(box->findData(key));
    else
        chooseEntry(box, key, text);
}

QComboBox *makeChoice(const DictionaryField &field, QWidget *parent)
{
    auto *box = new QComboBox(parent);
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box->setMinimumContentsLength(24);
    keepFromWheel(box);
    readChoices(field, box);
    return box;
}

/// Room for a text of usual length.
int textWidth(const QWidget *widget)
{
    return widget->fontMetrics().averageCharWidth() * 32;
}

QWidget *makeWidget(const DictionaryField &field, QWidget *parent)
{
    switch (field.kind) {
    case FieldKind::Text: {
        auto *line = new QLineEdit(parent);
        line->setMinimumWidth(textWidth(line));
        return line;
    }
    case FieldKind::Memo: {
        auto *memo = new QPlainTextEdit(parent);
        memo->setMinimumWidth(textWidth(memo));
        memo->setTabChangesFocus(true);
        return memo;
    }
    case FieldKind::Number:
        return makeNumber(field, parent);
    case FieldKind::Flag: {
        auto *flag = new QCheckBox(parent);
        flag->setChecked(field.initial > 0);
        return flag;
    }
    case FieldKind::Choice:
    case FieldKind::Code:
        return makeChoice(field, parent);
    case FieldKind::Fixed:
    case FieldKind::Time:
        break;
    }
    return nullptr;
}

void showValue(const DictionaryField &field, QWidget *widget, const QVariant &value)
{
    if (auto *box = qobject_cast<QComboBox *>(widget))
        choose(box, keyOf(field, value));
    else
        showInField(widget, value);
}

QVariant valueOf(const QWidget *widget)
{
    const QVariant value = valueInField(widget);
    return qobject_cast<const QLineEdit *>(widget) ? value.toString().simplified() : value;
}

/// A stored value as the field would show it.
QString shownText(const DictionaryField &field, const QWidget *widget, const QVariant &value)
{
    return textInField(widget,
                       qobject_cast<const QComboBox *>(widget) ? keyOf(field, value) : value);
}

/// What is wrong with what was entered; empty when nothing is.
QString faultOf(const DictionaryField &field, const QWidget *widget)
{
    if (const auto *box = qobject_cast<const QComboBox *>(widget))
        return box->currentIndex() < 0 ? field.required : QString();
    const auto *number = qobject_cast<const NumberSpinBox *>(widget);
    if (!number)
        return valueOf(widget).toString().trimmed().isEmpty() ? field.required : QString();
    if (!number->hasAcceptableInput())
        return QStringList({field.required, number->fault()}).join(u'\n').trimmed();
    const QString fault = number->digitsFault();
    return fault.isEmpty() || field.tooLong.isEmpty()
               ? fault
               : field.tooLong.arg(sql::number(number->exact()));
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
    setObjectName(m_dictionary.dialogName);
    m_ui->headingLabel->hide();
    connect(m_ui->savePushButton, &QPushButton::clicked, this, &DictionaryDialog::saveAndClose);
    // Who presses it means it.
    connect(m_ui->cancelPushButton, &QPushButton::clicked, this, [this] { QDialog::reject(); });
    if (!m_dictionary.acceptName.isEmpty())
        m_ui->savePushButton->setObjectName(m_dictionary.acceptName);
    if (!m_dictionary.cancelName.isEmpty())
        m_ui->cancelPushButton->setObjectName(m_dictionary.cancelName);
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

QVariantMap &DictionaryDialog::seen()
{
    return m_seen;
}

void DictionaryDialog::setVisible(bool visible)
{
    if (visible && !m_hasPlace) {
        m_initial = shownValues();
        keepDialogSize(this); // with what a class on top has added
        if (const int height = layout()->totalHeightForWidth(width()); height > this->height())
            resize(width(), height); // for the lines of a long heading
    }
    m_hasPlace = m_hasPlace || visible;
    QDialog::setVisible(visible);
}

void DictionaryDialog::showHeading(const QString &text)
{
    m_ui->headingLabel->setText(breakable(text));
    m_ui->headingLabel->setToolTip(plainToolTip(text));
    m_ui->headingLabel->setVisible(!text.isEmpty());
}

QWidget *DictionaryDialog::fieldWidget(const QString &column) const
{
    return m_widgets.value(column);
}

QComboBox *DictionaryDialog::choiceWidget(const QString &column) const
{
    return qobject_cast<QComboBox *>(fieldWidget(column));
}

DictionaryField DictionaryDialog::fieldOf(const QString &column) const
{
    for (const DictionaryField &field : m_dictionary.fields) {
        if (field.column == column)
            return field;
    }
    return {};
}

void DictionaryDialog::setFieldValue(const QString &column, const QVariant &value)
{
    showValue(fieldOf(column), fieldWidget(column), value);
}

QPushButton *DictionaryDialog::addCommand(const QString &text, const QString &name,
                                          const QString &toolTip)
{
    auto *button = new QPushButton(text, this);
    button->setObjectName(name);
    button->setToolTip(toolTip);
    button->setAutoDefault(false);
    m_ui->buttonLayout->insertWidget(0, button);
    arrangeTabs();
    return button;
}

QVariant DictionaryDialog::fieldValue(const QString &column) const
{
    return valueOf(m_widgets.value(column));
}

QWidget *DictionaryDialog::makeField(const DictionaryField &field)
{
    QWidget *widget = makeWidget(field, this);
    if (!widget)
        return nullptr;
    widget->setObjectName(field.widget);
    widget->setToolTip(field.toolTip);
    // The label is its buddy, but an empty choice has no name by that.
    widget->setAccessibleName(QString(field.label).remove(u'&').remove(u':'));
    m_widgets.insert(field.column, widget);
    return widget;
}

/// A field with the button that opens the list of what can be chosen.
QWidget *DictionaryDialog::withOpener(const DictionaryField &field, QWidget *widget)
{
    if (!field.open)
        return widget;
    auto *holder = new QWidget(this);
    auto *row = new QHBoxLayout(holder);
    row->setContentsMargins({});
    auto *button = new QPushButton(QStringLiteral("…"), holder);
    button->setObjectName(field.openName);
    button->setToolTip(field.openToolTip);
    button->setAccessibleName(field.openToolTip);
    button->setAutoDefault(false);
    button->setMaximumWidth(2 * button->sizeHint().height());
    row->addWidget(widget, 1);
    row->addWidget(button);
    setTabOrder(widget, button);
    button->setEnabled(widget->isEnabled());
    auto *box = qobject_cast<QComboBox *>(widget);
    connect(button, &QPushButton::clicked, this, [this, field, box] {
        const CommandScope command;
        const QVariant before = box->currentData();
        const QVariant chosen = field.open(this, before);
        {
            const QSignalBlocker quiet(box);
            readChoices(field, box);
            choose(box, chosen.isValid() ? keyOf(field, chosen) : before);
        }
        // Also when it is the same one: it may have been changed there.
        emit box->currentIndexChanged(box->currentIndex());
    });
    return holder;
}

/// The fields as they stand in the dialog.
QList<DictionaryField> DictionaryDialog::fieldsInOrder() const
{
    QList<DictionaryField> fields;
    for (const QString &column : m_dictionary.formOrder)
        fields += fieldOf(column);
    for (const DictionaryField &field : m_dictionary.fields) {
        if (!m_dictionary.formOrder.contains(field.column))
            fields += field;
    }
    return fields;
}

void DictionaryDialog::makeFields()
{
    const QList<DictionaryField> fields = fieldsInOrder();
    for (const DictionaryField &field : fields) {
        QWidget *widget = makeField(field);
        if (!widget)
            continue;
        widget->setEnabled(m_id == 0 || !field.once);
        auto *label = new QLabel(field.label, this);
        label->setBuddy(widget);
        m_ui->fieldsLayout->addRow(label, withOpener(field, widget));
    }
    arrangeTabs();
    // To where something must be entered, if anywhere.
    const auto first =
        std::find_if(fields.cbegin(), fields.cend(),
                     [](const DictionaryField &field) { return !field.required.isEmpty(); });
    if (first != fields.cend() && fieldWidget(first->column))
        fieldWidget(first->column)->setFocus();
}

/// In the order of the form, whatever was put there later.
void DictionaryDialog::arrangeTabs()
{
    QList<QWidget *> order;
    for (int row = 0; row < m_ui->fieldsLayout->rowCount(); ++row) {
        QWidget *widget = m_ui->fieldsLayout->itemAt(row, QFormLayout::FieldRole)->widget();
        if (const QLayout *inner = widget->layout(); inner && inner->count() == 2)
            order += {inner->itemAt(0)->widget(), inner->itemAt(1)->widget()};
        else
            order += widget;
    }
    for (int i = 0; i < m_ui->buttonLayout->count(); ++i) {
        if (QWidget *button = m_ui->buttonLayout->itemAt(i)->widget())
            order += button;
    }
    for (qsizetype i = 1; i < order.size(); ++i)
        setTabOrder(order.at(i - 1), order.at(i));
}

void DictionaryDialog::replaceField(const QString &column, const DictionaryField &field,
                                    const QVariant &value)
{
    QWidget *former = m_widgets.take(column);
    m_shown.remove(column);
    for (DictionaryField &each : m_dictionary.fields) {
        if (each.column == column)
            each = field;
    }
    QWidget *widget = makeField(field);
    auto *label = qobject_cast<QLabel *>(m_ui->fieldsLayout->labelForField(former));
    label->setText(field.label);
    label->setBuddy(widget);
    delete m_ui->fieldsLayout->replaceWidget(former, widget);
    delete former;
    showValue(field, widget, value);
    arrangeTabs();
}

bool DictionaryDialog::continueWith(qulonglong id)
{
    const LoadState state = loadEntry(this, m_dictionary, id, m_seen);
    if (state == LoadState::Loaded)
        m_id = id;
    m_shown.clear();
    return state == LoadState::Loaded;
}

void DictionaryDialog::load()
{
    setWindowTitle(m_dictionary.editTitle.contains("%1") ? m_dictionary.editTitle.arg(m_id)
                                                         : m_dictionary.editTitle);
    if (loadEntry(this, m_dictionary, m_id, m_seen) != LoadState::Loaded) {
        if (!m_dictionary.unreadable.isEmpty())
            showWarning(this, m_dictionary.unreadable);
        QMetaObject::invokeMethod(this, &QDialog::reject, Qt::QueuedConnection);
        return;
    }
    for (const DictionaryField &field : std::as_const(m_dictionary.fields)) {
        QWidget *widget = m_widgets.value(field.column);
        if (!widget)
            continue;
        showValue(field, widget, m_seen.value(field.column));
        if (const auto *number = qobject_cast<const NumberSpinBox *>(widget))
            m_shown.insert(field.column, number->text());
    }
}

QVariantMap DictionaryDialog::shownValues() const
{
    QVariantMap values;
    for (auto field = m_widgets.cbegin(); field != m_widgets.cend(); ++field) {
        const auto *number = qobject_cast<const NumberSpinBox *>(field.value());
        values.insert(field.key(), number ? number->text() : valueOf(field.value()));
    }
    return values;
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

void DictionaryDialog::saveAndClose()
{
    const CommandScope command;
    if (store())
        accept();
}

bool DictionaryDialog::store()
{
    return check() && mayBeSaved() && save();
}

bool DictionaryDialog::mayBeSaved()
{
    return true;
}

void DictionaryDialog::reject()
{
    if (isVisible() && !m_initial.isEmpty() && shownValues() != m_initial && !mayLoseInput(this))
        return;
    QDialog::reject();
}

/// Tells what is wrong with a field and leads the user there.
bool DictionaryDialog::check()
{
    for (const DictionaryField &field : std::as_const(m_dictionary.fields)) {
        QWidget *widget = m_widgets.value(field.column);
        if (!widget || isUntouched(field))
            continue;
        const QString fault = faultOf(field, widget);
        if (fault.isEmpty() && checkRepeat(field, widget))
            continue;
        if (!fault.isEmpty())
            showInformation(this, fault);
        widget->setFocus();
        if (auto *number = qobject_cast<NumberSpinBox *>(widget))
            number->selectAll();
        return false;
    }
    return true;
}

/// Tells that another entry has the text already. Whether it may be written all the same.
bool DictionaryDialog::checkRepeat(const DictionaryField &field, QWidget *widget)
{
    const QVariantMap values = entered();
    const QString text = valueOf(widget).toString();
    const bool isNew = m_id == 0 || m_seen.value(field.column).toString().simplified() != text;
    if (field.repeat == Repeat::Allowed || text.isEmpty() || !isNew)
        return true;
    const std::optional<bool> repeated = isRepeated(this, m_dictionary, m_id, field, values);
    if (!repeated.value_or(true))
        return true;
    if (!repeated)
        return false;
    const QString told = tr("«%1» уже есть в списке.").arg(text);
    if (field.repeat == Repeat::Asked)
        return askQuestion(this, told + u' ' + tr("Записать ещё раз?"),
                           {tr("Записать"), tr("Отмена")}, 1, 1) == 0;
    showInformation(this, told);
    return false;
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
    case EntryState::Circle:
        showInformation(this, m_dictionary.circle);
        fieldWidget(m_dictionary.parent)->setFocus();
        return false;
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
            changes += QString(field.label).remove(u'&') + u' ' + shownText(field, widget, now);
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
