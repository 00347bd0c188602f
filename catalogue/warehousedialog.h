#pragma once

#include <QDialog>

#include <memory>
#include <optional>

#include "widgets/pagedselect.h"
#include "widgets/scantaker.h"

class PagedTable;
class QModelIndex;
class WarePicture;

namespace Ui {
class WarehouseDialog;
}

/// Finds a product by barcode, article, name or group and chooses it; its card can be opened from
/// here. The picture of the current one is shown.
class WarehouseDialog final : public QDialog, public ScanTaker
{
    Q_OBJECT

public:
    explicit WarehouseDialog(QWidget *parent);
    ~WarehouseDialog() override;

    /// The product that was chosen.
    qulonglong wareid() const;

    /// Looks a scanned code up like one in its field.
    void takeScan(const QString &code) override;

private slots:
    void on_codesearchLineEdit_returnPressed();
    void on_namefilterLineEdit_returnPressed();
    void on_namefilterLineEdit_textChanged();
    void on_groupsListWidget_currentRowChanged(int row);
    void on_warehouseTableView_clicked(const QModelIndex &index);
    void on_warehouseTableView_activated(const QModelIndex &index);
    void on_newPushButton_clicked();
    void on_copyPushButton_clicked();
    void on_editPushButton_clicked();
    void on_choosePushButton_clicked();
    void on_cancelPushButton_clicked();
    void On_copyAction_triggered();

private:
    std::optional<PagedSelect> list() const;
    void describeTable();
    void fillGroups();
    void clearFilter();
    bool beginAt(qulonglong wareid);
    void tell(const QString &text, bool warning = true);
    bool goTo(qulonglong wareid);
    void showFound(const QString &code, qulonglong wareid);
    void finishCard(qulonglong saved);
    void enableCommands();

    std::unique_ptr<Ui::WarehouseDialog> m_ui;
    PagedTable *m_table;
    WarePicture *m_picture;
    std::optional<ListStart> m_start;
    qulonglong m_wareid = 0;
};
