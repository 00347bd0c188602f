#pragma once

#include <QDialog>
#include <QList>

#include <memory>

namespace Ui {
class CostDialog;
}
class NumberSpinBox;
struct Product;

/// Changes the prices of the selected products: the selling price by a coefficient or as a fixed
/// amount, and with it, if wanted, the purchase price. Amounts are in the main currency.
class CostDialog final : public QDialog
{
    Q_OBJECT

public:
    /// Lets the user change the prices. False when nothing was written, also when the database
    /// cannot be had.
    static bool change(QWidget *parent, const QList<qulonglong> &ids);

    explicit CostDialog(const QList<qulonglong> &ids, QWidget *parent = nullptr);
    ~CostDialog() override;

private slots:
    void on_acceptPushButton_clicked();
    void on_cancelPushButton_clicked();
    void on_incostGroupBox_toggled(bool checked);
    void on_ratioRadioButton_toggled(bool checked);

private:
    void showProducts(const QList<Product> &prices);
    void proposeValues(const QList<Product> &prices);
    void focusValue();
    bool checkField(NumberSpinBox *field, const QString &refusal, const QString &question);

    std::unique_ptr<Ui::CostDialog> m_ui;
    QList<qulonglong> m_ids;
};
