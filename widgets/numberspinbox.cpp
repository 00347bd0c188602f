#include "widgets/numberspinbox.h"

NumberSpinBox::NumberSpinBox(QWidget *parent)
    : QDoubleSpinBox(parent)
{
}

QString NumberSpinBox::textFromValue(double value) const
{
    QString text = QDoubleSpinBox::textFromValue(value);
    const QString point = locale().decimalPoint();
    if (!text.contains(point))
        return text;
    while (text.endsWith(u'0'))
        text.chop(1);
    if (text.endsWith(point))
        text.chop(point.size());
    return text;
}

double NumberSpinBox::valueFromText(const QString &text) const
{
    return QDoubleSpinBox::valueFromText(withOwnDecimalPoint(text));
}

QValidator::State NumberSpinBox::validate(QString &input, int &position) const
{
    input = withOwnDecimalPoint(input);
    return QDoubleSpinBox::validate(input, position);
}

QString NumberSpinBox::withOwnDecimalPoint(QString text) const
{
    const QString point = locale().decimalPoint();
    return text.replace(u'.', point).replace(u',', point);
}
