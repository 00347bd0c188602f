#include "widgets/fieldvalue.h"

#include "db/money.h"
#include "widgets/numberspinbox.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QEvent>
#include <QLineEdit>
#include <QPlainTextEdit>

namespace {

struct FieldValue
{
    Q_DECLARE_TR_FUNCTIONS(FieldValue)
};

class WheelGuard final : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject * /*watched*/, QEvent *event) override
    {
        if (event->type() != QEvent::Wheel)
            return false;
        event->ignore(); // what lies behind may scroll
        return true;
    }
};

} // namespace

void showInField(QWidget *field, const QVariant &value)
{
    if (auto *line = qobject_cast<QLineEdit *>(field)) {
        line->setText(value.toString());
        line->setCursorPosition(0);
    } else if (auto *memo = qobject_cast<QPlainTextEdit *>(field)) {
        memo->setPlainText(value.toString());
    } else if (auto *number = qobject_cast<NumberSpinBox *>(field)) {
        if (value.isNull())
            number->showText({});
        else
            number->showStored(value.toDouble());
    } else if (auto *box = qobject_cast<QComboBox *>(field)) {
        chooseEntry(box, value, value.toString());
    } else if (auto *check = qobject_cast<QCheckBox *>(field)) {
        check->setChecked(value.toInt() > 0);
    }
}

QVariant valueInField(const QWidget *field)
{
    if (const auto *line = qobject_cast<const QLineEdit *>(field))
        return line->text();
    if (const auto *memo = qobject_cast<const QPlainTextEdit *>(field))
        return memo->toPlainText();
    if (const auto *number = qobject_cast<const NumberSpinBox *>(field))
        return number->exact();
    if (const auto *box = qobject_cast<const QComboBox *>(field))
        return box->currentData();
    if (const auto *check = qobject_cast<const QCheckBox *>(field))
        return check->isChecked() ? 1 : 0;
    return {};
}

QString textInField(const QWidget *field, const QVariant &value)
{
    if (const auto *box = qobject_cast<const QComboBox *>(field)) {
        const int entry = box->findData(value);
        return entry < 0 ? value.toString() : box->itemText(entry);
    }
    if (qobject_cast<const QCheckBox *>(field))
        return value.toInt() > 0 ? FieldValue::tr("да") : FieldValue::tr("нет");
    if (qobject_cast<const NumberSpinBox *>(field))
        return formatFactor(value.toDouble());
    return value.toString();
}

void chooseEntry(QComboBox *box, const QVariant &value, const QString &textIfMissing)
{
    if (box->findData(value) < 0)
        box->addItem(textIfMissing, value);
    box->setCurrentIndex(box->findData(value));
}

void keepFromWheel(QComboBox *box)
{
    box->installEventFilter(new WheelGuard(box));
}
