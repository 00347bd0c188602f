#pragma once

#include <QDialog>

#include <memory>

class SqlTableModel;

namespace Ui {
class PriceHistoryDialog;
}

/// At what prices a product was bought: its posted receipts as a table and as steps over time.
class PriceHistoryDialog final : public QDialog
{
    Q_OBJECT

public:
    PriceHistoryDialog(qulonglong wareid, QWidget *parent);
    ~PriceHistoryDialog() override;

private slots:
    void on_stepPlot_currentChanged(int point);
    void on_copyAction_triggered();
    void on_closePushButton_clicked();

private:
    void read(qulonglong wareid);
    void plot();

    std::unique_ptr<Ui::PriceHistoryDialog> m_ui;
    SqlTableModel *m_model;
    QList<int> m_rows; ///< of the table, by the points of the plot
};
