#pragma once

#include <QDialog>

#include <memory>

class SqlTableModel;

namespace Ui {
class CurrenciesDialog;
}

/// The table of currencies: edit, add, and the recalculation of the selling prices that follow
/// from the rates.
class CurrenciesDialog : public QDialog
{
    Q_OBJECT

public:
    explicit CurrenciesDialog(QWidget *parent);
    ~CurrenciesDialog() override;

private slots:
    void on_currenciesTableView_activated(const QModelIndex &index);
    void on_addPushButton_clicked();
    void on_editPushButton_clicked();
    void on_calculateOutcostPushButton_clicked();
    void on_closePushButton_clicked();

private:
    void refresh();
    void edit(qulonglong id);
    void editRow(int row);

    std::unique_ptr<Ui::CurrenciesDialog> m_ui;
    SqlTableModel *m_model;
};
