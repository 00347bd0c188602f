#pragma once

#include <QDoubleSpinBox>

/// A spin box for amounts, rates and quantities: shows no superfluous zeros and takes both the
/// decimal point and the decimal comma, since the numeric keypad may give either.
class NumberSpinBox : public QDoubleSpinBox
{
    Q_OBJECT

public:
    explicit NumberSpinBox(QWidget *parent = nullptr);

    QString textFromValue(double value) const override;
    double valueFromText(const QString &text) const override;
    QValidator::State validate(QString &input, int &position) const override;

private:
    QString withOwnDecimalPoint(QString text) const;
};
