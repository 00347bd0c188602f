#pragma once

#include <QDialog>
#include <QSet>

#include <memory>
#include <optional>

#include "income/receiptline.h"

namespace Ui {
class QuantityRestDialog;
}
class NumberSpinBox;

/// Takes quantity, prices, expiry date and stock audit of one product and writes them into the
/// working list.
///
/// Return accepts; only when the dialog was opened in the purchase price, Return there goes on to
/// the quantity. A barcode that a scanner fires into a number field is asked about, not taken.
class QuantityRestDialog final : public QDialog
{
    Q_OBJECT

public:
    /// agreedPrices (may be null, else lives longer): doubtful prices that were confirmed, see
    /// priceKey(); they are asked about once.
    explicit QuantityRestDialog(const ReceiptRequest &request, QWidget *parent = nullptr,
                                QSet<QString> *agreedPrices = nullptr);
    ~QuantityRestDialog() override;

    /// Whether the product could be read. When not, nothing was shown about a missing product, and
    /// exec() returns as rejected at once.
    LoadState loadState() const;

    const Product &product() const;
    const ReceiptEntry &entry() const;

    /// What the line has before the entry; 0 without a line.
    double quantityInReceipt() const;

    /// The quantity of the line, as accepted.
    double acceptedQuantity() const;

    /// The selling price in the field, main currency.
    double sellingPrice() const;

    /// Writes the line as it stands and leaves the dialog open. What is in the way is asked or told
    /// as when a person accepts. Returns whether the line is written.
    bool save();

    /// Goes on with another product, as if opened anew.
    LoadState load(const ReceiptRequest &request);

    /// Moves the window off an area of the screen, as far as there is room beside it.
    void keepClearOf(const QRect &area);

    int exec() override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private slots:
    void on_acceptPushButton_clicked();
    void on_cancelPushButton_clicked();
    void on_weighPushButton_clicked();
    void on_incostDoubleSpinBox_valueChanged(double value);
    void on_ratioDoubleSpinBox_valueChanged(double value);
    void on_outcostDoubleSpinBox_valueChanged(double value);
    void on_ratioCheckBox_toggled(bool checked);

private:
    void showProduct();
    void showPrices();
    void showQuantity();
    void updateOutcost();
    void showMargin();
    void focusField(QWidget *field);
    std::optional<QString> expiretime() const;
    ReceiptInput input() const;
    bool checkQuantity();
    bool checkNumber(NumberSpinBox *field);
    bool checkPrice(NumberSpinBox *field, const QString &question);
    bool checkPrices();
    bool checkMargin();
    bool checkExpiry();
    bool refuse(QWidget *field, const QString &text);
    bool confirm(NumberSpinBox *field, const QString &question);

    std::unique_ptr<Ui::QuantityRestDialog> m_ui;
    std::unique_ptr<ReceiptEntry> m_entry;
    LoadState m_loadState = LoadState::Failed;
    QSet<QString> m_ownAgreedPrices;
    QSet<QString> *m_agreedPrices;
    bool m_startInPrice = false;
    bool m_filled = false;
    QString m_shownExpiry; ///< the expiry date as the user first saw it
};
