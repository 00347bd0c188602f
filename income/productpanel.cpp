#include "income/productpanel.h"
#include "ui_productpanel.h"

#include "catalogue/colorsqlquerymodel.h"
#include "catalogue/productfilters.h"
#include "catalogue/productlist.h"
#include "catalogue/warepicture.h"
#include "widgets/columnwidths.h"
#include "widgets/foldingrow.h"
#include "widgets/pagedtable.h"

#include <QSettings>

namespace {

constexpr int shortestFilter = 14; ///< signs that must be legible in a narrow window

const QString tableKey = QStringLiteral("income_warehouse_table_state");
const QString nameKey = QStringLiteral("income_warehouse_name_dragged");

} // namespace

ProductPanel::ProductPanel(QWidget *parent)
    : QGroupBox(parent),
      m_ui(std::make_unique<Ui::ProductPanel>()),
      m_products(new ColorSqlQueryModel(this, productColumns()))
{
    m_ui->setupUi(this);
    m_picture = new WarePicture(m_ui->pixmapWidget);
    m_table = new PagedTable(m_ui->warehouseTableView, m_products, [this] { return list(); });
    connect(m_table, &PagedTable::sized, this, &ProductPanel::restoreColumns);
    connect(m_table, &PagedTable::refreshed, this, &ProductPanel::enableButtons);
    connect(m_ui->warehouseTableView->selectionModel(), &QItemSelectionModel::currentRowChanged,
            this, &ProductPanel::enableButtons);
    enableButtons();
    m_ui->namefilterLineEdit->setMinimumWidth(
        m_ui->namefilterLineEdit->fontMetrics().averageCharWidth() * shortestFilter);
    new FoldingRow(m_ui->filterNameLayout, m_ui->filterGroupBox);
    new FoldingRow(m_ui->filterChoiceLayout, m_ui->filterGroupBox);
    for (QWidget *box :
         {static_cast<QWidget *>(m_ui->filterGroupBox), static_cast<QWidget *>(this)}) {
        // As narrow as folded rows allow; the layout would ask for what the rows need at present.
        box->layout()->activate();
        box->setMinimumWidth(box->minimumSizeHint().width());
    }
}

ProductPanel::~ProductPanel() = default;

void ProductPanel::fillFilters()
{
    fillGroups(m_ui->groupfilterComboBox);
    fillBrands(m_ui->brandfilterComboBox);
}

std::optional<PagedSelect> ProductPanel::list() const
{
    return productPages(window(), {.text = filterText().trimmed(),
                                   .groupId = chosenId(m_ui->groupfilterComboBox),
                                   .brandId = chosenId(m_ui->brandfilterComboBox),
                                   .showDisabled = m_showDisabled});
}

void ProductPanel::refresh()
{
    m_table->refresh();
}

void ProductPanel::showProduct(qulonglong wareid)
{
    refresh();
    if (wareid > 0)
        m_table->select(wareid);
    m_picture->refresh();
}

void ProductPanel::setReference(bool there)
{
    m_hasReference = there;
    enableButtons();
}

qulonglong ProductPanel::currentId() const
{
    return m_table->currentId();
}

void ProductPanel::enableButtons()
{
    const bool isAtProduct = currentId() > 0;
    m_picture->show(currentId());
    m_ui->copywarePushButton->setEnabled(isAtProduct);
    m_ui->editwarePushButton->setEnabled(isAtProduct);
    m_ui->comparePushButton->setEnabled(isAtProduct && m_hasReference);
}

void ProductPanel::restoreColumns()
{
    const QSettings store;
    if (m_ui->warehouseTableView->horizontalHeader()->restoreState(
            store.value(tableKey).toByteArray()))
        m_table->widths()->setDragged(store.value(nameKey).toBool());
}

void ProductPanel::setShowDisabled(bool shown)
{
    m_showDisabled = shown;
    refresh();
}

QList<qulonglong> ProductPanel::selectedIds() const
{
    return m_table->selectedIds();
}

QTableView *ProductPanel::table() const
{
    return m_ui->warehouseTableView;
}

QString ProductPanel::filterText() const
{
    return m_ui->namefilterLineEdit->text();
}

QWidgetList ProductPanel::tabChain() const
{
    return {m_ui->namefilterLineEdit, m_ui->groupfilterComboBox,  m_ui->brandfilterComboBox,
            m_ui->warehouseTableView, m_ui->createwarePushButton, m_ui->copywarePushButton,
            m_ui->editwarePushButton, m_ui->comparePushButton};
}

void ProductPanel::saveColumns() const
{
    QSettings store;
    if (m_table->isSized())
        store.setValue(tableKey, m_ui->warehouseTableView->horizontalHeader()->saveState());
    store.setValue(nameKey, m_table->widths()->isDragged());
}

void ProductPanel::fitRows()
{
    fitRowHeights(m_ui->warehouseTableView);
}

void ProductPanel::stop()
{
    m_table->stop();
}

void ProductPanel::on_namefilterLineEdit_textChanged()
{
    m_table->refreshSoon();
}

void ProductPanel::on_namefilterLineEdit_returnPressed()
{
    m_table->enter();
}

void ProductPanel::on_groupfilterComboBox_activated(int)
{
    refresh();
}

void ProductPanel::on_brandfilterComboBox_activated(int)
{
    refresh();
}

void ProductPanel::on_warehouseTableView_doubleClicked(const QModelIndex &index)
{
    const qulonglong wareid = m_products->idOf(index.row());
    if (wareid > 0)
        emit productOpened(wareid);
}

void ProductPanel::on_warehouseTableView_customContextMenuRequested(const QPoint &position)
{
    emit menuWanted(m_ui->warehouseTableView->viewport()->mapToGlobal(position));
}
