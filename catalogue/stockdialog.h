#pragma once

#include <QDialog>
#include <QTimer>

#include <memory>
#include <optional>

#include "catalogue/stocklist.h"
#include "widgets/scantaker.h"

class ColorSqlQueryModel;
class PagedTable;
class QModelIndex;

namespace Ui {
class StockDialog;
}

/// What is in stock and what it is worth.
class StockDialog final : public QDialog, public ScanTaker
{
    Q_OBJECT

public:
    explicit StockDialog(QWidget *parent);
    ~StockDialog() override;

    /// Shows the product of a scanned code alone.
    void takeScan(const QString &code) override;

    /// Writes the whole list, as it is filtered, to a file and tells how that went. Returns whether
    /// it was written.
    bool exportTo(const QString &path);

private slots:
    void on_namefilterLineEdit_textChanged();
    void on_namefilterLineEdit_returnPressed();
    void on_groupfilterComboBox_activated(int index);
    void on_brandfilterComboBox_activated(int index);
    void on_instockCheckBox_toggled(bool checked);
    void on_stockTableView_activated(const QModelIndex &index);
    void on_copyAction_triggered();
    void on_editPushButton_clicked();
    void on_historyPushButton_clicked();
    void on_exportPushButton_clicked();
    void on_closePushButton_clicked();

private:
    std::optional<PagedSelect> list();
    void startSum();
    void addToSum();
    void showTotals();
    void enableCommands();

    std::unique_ptr<Ui::StockDialog> m_ui;
    ColorSqlQueryModel *m_model;
    PagedTable *m_table;
    std::optional<StockSum> m_sum;
    QTimer m_sumTimer;
};
