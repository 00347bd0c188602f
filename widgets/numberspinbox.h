#pragma once

#include <QDoubleSpinBox>

/// A number field for people in a hurry: takes decimal point and comma, shows no trailing zeros,
/// selects its whole content on focus, does not turn with the mouse wheel, and an emptied field is
/// 0 and not the number that stood there before. More decimals than allowed may be typed, but are
/// no acceptable input: dropping the point of "7.5" would make it 75.
class NumberSpinBox final : public QDoubleSpinBox
{
    Q_OBJECT

public:
    explicit NumberSpinBox(QWidget *parent = nullptr);

    /// Decimals that are shown even when they are zeros; a whole number never shows any.
    void setLeastDecimals(int decimals);

    /// Sets a number that may have more decimals than the field shows.
    void setExact(double value);

    /// The number as it was set, as long as the user has not changed it; else the field's number.
    double exact() const;

    /// Whether the field's number is another than the one set.
    bool isChanged() const;

    QString textFromValue(double value) const override;
    double valueFromText(const QString &text) const override;
    QValidator::State validate(QString &text, int &position) const override;

protected:
    void focusInEvent(QFocusEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    double m_exact = 0;
    double m_shown = 0; ///< the field's rounded form of m_exact
    int m_leastDecimals = 0;
};
