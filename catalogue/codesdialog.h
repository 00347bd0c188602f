#pragma once

#include <QDialog>

#include <memory>

#include "widgets/scantaker.h"

class PagedTable;
class QModelIndex;
class SqlTableModel;

namespace Ui {
class CodesDialog;
}

/// All barcodes of the products that are being sold, with a filter.
class CodesDialog final : public QDialog, public ScanTaker
{
    Q_OBJECT

public:
    explicit CodesDialog(QWidget *parent);
    ~CodesDialog() override;

    /// Shows the codes that begin with a scanned one.
    void takeScan(const QString &code) override;

private slots:
    void on_codefilterLineEdit_textChanged();
    void on_codefilterLineEdit_returnPressed();
    void on_namefilterLineEdit_textChanged();
    void on_namefilterLineEdit_returnPressed();
    void on_codesTableView_activated(const QModelIndex &index);
    void on_copyAction_triggered();
    void on_copyPushButton_clicked();
    void on_editPushButton_clicked();
    void on_closePushButton_clicked();

private:
    void enableCommands();

    std::unique_ptr<Ui::CodesDialog> m_ui;
    SqlTableModel *m_model;
    PagedTable *m_table;
};
