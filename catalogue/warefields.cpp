#include "catalogue/warefields.h"

#include "catalogue/productstore.h"
#include "db/money.h"
#include "widgets/numberspinbox.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSignalBlocker>

namespace {

/// What a field shows, to be compared with what it shows later.
QVariant shownBy(const QWidget *field)
{
    if (const auto *line = qobject_cast<const QLineEdit *>(field))
        return line->text();
    if (const auto *memo = qobject_cast<const QPlainTextEdit *>(field))
        return memo->toPlainText();
    if (const auto *number = qobject_cast<const NumberSpinBox *>(field))
        return number->text();
    if (const auto *box = qobject_cast<const QComboBox *>(field))
        return box->currentData();
    if (const auto *check = qobject_cast<const QCheckBox *>(field))
        return check->isChecked() ? 1 : 0;
    return {};
}

QVariant valueOf(const QWidget *field)
{
    if (const auto *number = qobject_cast<const NumberSpinBox *>(field))
        return number->exact();
    return shownBy(field);
}

void showValue(QWidget *field, const QVariant &value)
{
    if (auto *line = qobject_cast<QLineEdit *>(field)) {
        line->setText(value.toString());
        line->setCursorPosition(0);
    } else if (auto *memo = qobject_cast<QPlainTextEdit *>(field)) {
        memo->setPlainText(value.toString());
    } else if (auto *number = qobject_cast<NumberSpinBox *>(field)) {
        number->showStored(value.toDouble());
    } else if (auto *box = qobject_cast<QComboBox *>(field)) {
        WareFields::choose(box, value);
    } else if (auto *check = qobject_cast<QCheckBox *>(field)) {
        check->setChecked(value.toInt() > 0);
    }
}

} // namespace

void WareFields::add(const QString &column, QWidget *field)
{
    m_fields += {column, field};
}

void WareFields::show(const Product &product)
{
    m_product = product;
    m_shown.clear();
    for (const auto &[column, field] : std::as_const(m_fields))
        showValue(field, productValue(product, column));
    // A field may follow another one.
    for (const auto &[column, field] : std::as_const(m_fields))
        m_shown.insert(field, shownBy(field));
}

Product WareFields::entered() const
{
    Product product = m_product;
    for (const auto &[column, field] : m_fields) {
        if (isTouched(column, field))
            setProductValue(product, column, valueOf(field));
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
    if (box->findData(value) < 0)
        box->addItem(value.typeId() != QMetaType::QString
                         ? tr("№ %1, нет в списке").arg(value.toString())
                     : value.toString().isEmpty() ? tr("не указана")
                                                  : value.toString(),
                     value);
    box->setCurrentIndex(box->findData(value));
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
        if (name != column)
            continue;
        if (const auto *box = qobject_cast<const QComboBox *>(field)) {
            const int item = box->findData(value);
            return item < 0 ? value.toString() : box->itemText(item);
        }
        if (qobject_cast<const QCheckBox *>(field))
            return value.toInt() > 0 ? tr("да") : tr("нет");
        if (qobject_cast<const NumberSpinBox *>(field))
            return formatFactor(value.toDouble());
    }
    return value.toString();
}
