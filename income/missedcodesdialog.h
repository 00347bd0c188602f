#pragma once

#include <QDialog>
#include <QString>
#include <QTimer>

#include <memory>

namespace Ui {
class MissedCodesDialog;
}
class ColorSqlQueryModel;
class ColumnWidths;
class MissedCodes;

/// The codes of this run that were not found: each can be given to a product, looked up again, also
/// in the reference database, or struck off. Accepted when a product is known whose units are to be
/// entered now.
class MissedCodesDialog final : public QDialog
{
    Q_OBJECT

public:
    /// The codes must live longer. productFilter: what the product table starts with.
    MissedCodesDialog(MissedCodes *codes, const QString &productFilter, QWidget *parent = nullptr);
    ~MissedCodesDialog() override;

    /// After acceptance: the code, its product, and the units that all its scans stand for.
    QString code() const;
    qulonglong wareid() const;
    double units() const;

private slots:
    void on_filterLineEdit_textChanged(const QString &text);
    void on_filterLineEdit_returnPressed();
    void on_createPushButton_clicked();
    void on_bindPushButton_clicked();
    void on_searchPushButton_clicked();
    void on_removePushButton_clicked();
    void on_closePushButton_clicked();
    void on_productsTableView_doubleClicked(const QModelIndex &index);

private:
    void showCodes();
    void showProducts();
    void updateButtons();
    int currentRow() const;
    qulonglong currentProduct() const;
    void finish(qulonglong wareid, double packQuantity);

    std::unique_ptr<Ui::MissedCodesDialog> m_ui;
    MissedCodes *m_codes;
    ColorSqlQueryModel *m_products;
    ColumnWidths *m_widths;
    QTimer m_filterTimer;
    QString m_code;
    qulonglong m_wareid = 0;
    double m_units = 0;
};
