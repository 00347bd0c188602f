#pragma once

#include <QDialog>

#include <memory>
#include <optional>

#include "catalogue/comparison.h"
#include "widgets/scantaker.h"

namespace Ui {
class ReferenceDialog;
}
class PagedTable;
class ReferenceList;

/// The products of the reference database beside ours: compared field by field, copied into our
/// catalogue, their selling prices passed back.
class ReferenceDialog final : public QDialog, public ScanTaker
{
    Q_OBJECT

public:
    /// wareid: one of our products, which the dialog opens at; 0: none.
    explicit ReferenceDialog(QWidget *parent, qulonglong wareid = 0);
    ~ReferenceDialog() override;

    /// Whether something of ours was changed.
    bool isChanged() const;

    /// Searches for the product with the code.
    void takeScan(const QString &code) override;

private slots:
    void on_filterLineEdit_textChanged();
    void on_filterLineEdit_returnPressed();
    void on_copyPushButton_clicked();
    void on_editPushButton_clicked();
    void on_passPricePushButton_clicked();
    void on_closePushButton_clicked();

private:
    void openAt(qulonglong wareid);
    void showComparison();
    void showRow(int row, ComparedField field, const Comparison &compared);
    void refresh();
    Comparison currentComparison() const;

    std::unique_ptr<Ui::ReferenceDialog> m_ui;
    ReferenceList *m_list;
    PagedTable *m_table;
    std::optional<CatalogueEntry> m_given; ///< our product that was asked about
    bool m_changed = false;
};
