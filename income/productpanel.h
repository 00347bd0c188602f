#pragma once

#include <QGroupBox>

#include <memory>
#include <optional>

#include "widgets/pagedselect.h"

class ColorSqlQueryModel;
class PagedTable;
class QTableView;
class WarePicture;

namespace Ui {
class ProductPanel;
}

/// The catalogue beside the receipt: the product table with its filter and the picture of the
/// current product.
class ProductPanel final : public QGroupBox
{
    Q_OBJECT

public:
    explicit ProductPanel(QWidget *parent = nullptr);
    ~ProductPanel() override;

    /// Reads groups and brands anew; the choice stays. Failures are reported over the window.
    void fillFilters();

    /// Reads the products anew, the user's place is kept.
    void refresh();

    /// The same, and goes to a product if the filter lets it be seen.
    void showProduct(qulonglong wareid);

    /// Whether there is a reference database to compare with.
    void setReference(bool there);

    /// The current product, 0 without one.
    qulonglong currentId() const;

    /// Shows products that are not sold any more, too, or hides them.
    void setShowDisabled(bool shown);

    /// Ids of the selected products.
    QList<qulonglong> selectedIds() const;

    QTableView *table() const;
    QString filterText() const;

    /// What Tab goes through, in that order.
    QWidgetList tabChain() const;

    /// Keeps the widths of the columns, or gives the rows the height of the font.
    void saveColumns() const;
    void fitRows();

    /// A filter that was just typed is not applied any more.
    void stop();

signals:
    /// The user has opened a row.
    void productOpened(qulonglong wareid);
    /// A context menu is wanted at a place on the screen.
    void menuWanted(const QPoint &place);

private slots:
    void on_namefilterLineEdit_textChanged();
    void on_namefilterLineEdit_returnPressed();
    void on_groupfilterComboBox_activated(int index);
    void on_brandfilterComboBox_activated(int index);
    void on_warehouseTableView_doubleClicked(const QModelIndex &index);
    void on_warehouseTableView_customContextMenuRequested(const QPoint &position);

private:
    std::optional<PagedSelect> list() const;
    void enableButtons();
    void restoreColumns();

    std::unique_ptr<Ui::ProductPanel> m_ui;
    ColorSqlQueryModel *m_products;
    PagedTable *m_table;
    WarePicture *m_picture;
    bool m_showDisabled = false;
    bool m_hasReference = false;
};
