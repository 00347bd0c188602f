#pragma once

#include <QDialog>

class NumberSpinBox;

/// Asks for a quantity.
class QuantityDialog final : public QDialog
{
    Q_OBJECT

public:
    /// decimals: of the unit that the quantity is in.
    QuantityDialog(const QString &title, double quantity, int decimals, QWidget *parent);

    double quantity() const;

private:
    void takeQuantity();

    NumberSpinBox *m_quantity;
};
