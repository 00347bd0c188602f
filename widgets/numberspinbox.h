#pragma once

#include <QDoubleSpinBox>

/// A number field for people in a hurry: takes decimal point and comma, shows no trailing zeros,
/// selects its whole content on focus, does not turn with the mouse wheel, and an emptied field is
/// 0 and not the number that stood there before.
///
/// Anything may be typed or pasted. What is no number, has more decimals than allowed or lies
/// outside the range is never made into another number: it stays as typed, whichever way the field
/// is left, in the colour of warnings and with the reason as tool tip. Meanwhile value() is the
/// last number that was right, and hasAcceptableInput() tells the dialog to refuse.
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

    /// Shows a text as if it had been typed, for a stored value that the field would not take.
    void showText(const QString &text);

    /// Sets a stored number; one outside the range is shown as it is.
    void showStored(double value);

    /// Gives the field so many decimals, or as many more as the number needs, and sets it.
    void showQuantity(double value, int leastDecimals);

    /// Why the number cannot be stored as it stands, with six digits; empty when it can.
    QString digitsFault() const;

    /// Why the text is no acceptable input, a sentence for the user; empty when it is one.
    QString fault() const;

    QString textFromValue(double value) const override;
    double valueFromText(const QString &text) const override;
    QValidator::State validate(QString &text, int &position) const override;
    void fixup(QString &text) const override;
    void stepBy(int steps) override;

protected:
    bool event(QEvent *event) override;
    void changeEvent(QEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    QString faultOf(const QString &text) const;
    void markFault();

    double m_exact = 0;
    double m_shown = 0; ///< the field's rounded form of m_exact
    int m_leastDecimals = 0;
};
