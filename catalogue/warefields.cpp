#include "catalogue/warefields.h"

#include "catalogue/productstore.h"
#include "widgets/fieldvalue.h"
#include "widgets/numberspinbox.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QSignalBlocker>

namespace {

/// What a field shows, to be compared with what it shows later.
QVariant shownBy(const QWidget *field)
{
    const auto *number = qobject_cast<const NumberSpinBox *>(field);
    return number ? number->text() : valueInField(field);
}

} // namespace

void WareFields::add(const QString &column, QWidget *field)
{
    m_fields += {column, field};
    if (auto *box = qobject_cast<QComboBox *>(field))
        keepFromWheel(box);
}

void WareFields::show(const Product &product)
{
    m_product = product;
    m_shown.clear();
    for (const auto &[column, field] : std::as_const(m_fields)) {
        const QVariant value = productValue(product, column);
        if (auto *box = qobject_cast<QComboBox *>(field))
            choose(box, value);
        else
            showInField(field, value);
    }
    // A field may follow another one.
    for (const auto &[column, field] : std::as_const(m_fields))
        m_shown.insert(field, shownBy(field));
}

Product WareFields::entered() const
{
    Product product = m_product;
    for (const auto &[column, field] : m_fields) {
        if (isTouched(column, field))
            setProductValue(product, column, valueInField(field));
    }
    return product;
}

void WareFields::fillChoice(QComboBox *box, const QList<QPair<QVariant, QString>> &choices)
{
    const QVariant current = box->currentData();
    const QSignalBlocker blocker(box);
    box->clear();
    for (const auto &[value, text] : choices)
        box->addItem(text, value);
    if (current.isValid())
        choose(box, current);
}

void WareFields::choose(QComboBox *box, const QVariant &value)
{
    const QString text = value.toString();
    if (value.typeId() == QMetaType::QString)
        chooseEntry(box, value, text.isEmpty() ? tr("не указана") : text);
    else
        chooseEntry(box, value, tr("№ %1, нет в списке").arg(text));
}

NumberSpinBox *WareFields::findFault(QString &reason) const
{
    for (const auto &[column, field] : m_fields) {
        auto *number = qobject_cast<NumberSpinBox *>(field);
        if (!number || !isTouched(column, number))
            continue;
        const QString fault =
            number->hasAcceptableInput() ? number->digitsFault() : number->fault();
        if (fault.isEmpty())
            continue;
        reason = tr("%1: %2").arg(label(column), fault);
        return number;
    }
    return nullptr;
}

bool WareFields::isTouched(const QString &column, const QWidget *field) const
{
    if (shownBy(field) == m_shown.value(field))
        return false;
    // With other decimals the same number is another text.
    const auto *number = qobject_cast<const NumberSpinBox *>(field);
    return !number || !number->hasAcceptableInput() ||
           number->exact() != productValue(m_product, column).toDouble();
}

QString WareFields::label(const QString &column) const
{
    for (const auto &[name, field] : m_fields) {
        if (name != column)
            continue;
        if (const auto *check = qobject_cast<const QCheckBox *>(field))
            return check->text().remove(u'&');
        const QList<QLabel *> labels = field->window()->findChildren<QLabel *>();
        for (const QLabel *candidate : labels) {
            if (candidate->buddy() == field)
                return candidate->text().remove(u'&').remove(u':');
        }
    }
    return column;
}

QString WareFields::text(const QString &column, const QVariant &value) const
{
    for (const auto &[name, field] : m_fields) {
        if (name == column)
            return textInField(field, value);
    }
    return value.toString();
}
