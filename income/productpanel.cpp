#include "income/productpanel.h"
#include "ui_productpanel.h"

#include "catalogue/colorsqlquerymodel.h"
#include "catalogue/productlist.h"
#include "widgets/columnwidths.h"
#include "widgets/foldingrow.h"
#include "widgets/tableplace.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QScrollBar>
#include <QSettings>

#include <algorithm>

namespace {

constexpr int filterDelayMs = 150; ///< typing goes on before the list is read again
constexpr int shortestFilter = 14; ///< signs that must be legible in a narrow window

const QString tableKey = QStringLiteral("income_warehouse_table_state");
const QString nameKey = QStringLiteral("income_warehouse_name_dragged");

void fillChoice(QComboBox *box, const QString &all, const QList<Choice> &choices)
{
    const QVariant chosen = box->currentData();
    box->clear();
    box->addItem(all);
    for (const auto &[id, name] : choices)
        box->addItem(name, id);
    box->setCurrentIndex(chosen.isValid() ? qMax(0, box->findData(chosen)) : 0);
    // The open list may be wider than its box, so that long names can be read.
    QAbstractItemView *list = box->view();
    list->setMinimumWidth(
        qMin(list->sizeHintForColumn(0) + list->verticalScrollBar()->sizeHint().width(),
             box->screen()->availableGeometry().width() / 2));
}

std::optional<qulonglong> chosenId(const QComboBox *box)
{
    const QVariant id = box->currentData();
    return id.isValid() ? std::optional(id.toULongLong()) : std::nullopt;
}

} // namespace

ProductPanel::ProductPanel(QWidget *parent)
    : QGroupBox(parent),
      m_ui(std::make_unique<Ui::ProductPanel>()),
      m_products(new ColorSqlQueryModel(this))
{
    m_ui->setupUi(this);
    m_ui->warehouseTableView->setModel(m_products);
    m_widths = new ColumnWidths(m_ui->warehouseTableView, m_products);
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
    fitRows();
    m_ui->warehouseTableView->installEventFilter(this);
    connect(m_products, &QAbstractItemModel::rowsInserted, this, &ProductPanel::sizeColumns);
    m_filterTimer.setSingleShot(true);
    connect(&m_filterTimer, &QTimer::timeout, this, &ProductPanel::refresh);
}

ProductPanel::~ProductPanel() = default;

void ProductPanel::fillFilters()
{
    QList<SqlRow> rows;
    if (QueryRows(window(), groupsQuery(), rows))
        fillChoice(m_ui->groupfilterComboBox, tr("Все группы"), groupChoices(rows));
    if (QueryRows(window(), QStringLiteral("SELECT id,name FROM brands ORDER BY name;"), rows)) {
        QList<Choice> brands;
        for (const SqlRow &row : std::as_const(rows))
            brands += {row.at(0).toULongLong(), row.at(1).toString()};
        fillChoice(m_ui->brandfilterComboBox, tr("Все производители"), brands);
    }
}

void ProductPanel::read(qsizetype atLeast)
{
    m_filterTimer.stop();
    const std::optional<PagedSelect> list =
        productPages(window(), {.text = filterText().trimmed(),
                                .groupId = chosenId(m_ui->groupfilterComboBox),
                                .brandId = chosenId(m_ui->brandfilterComboBox),
                                .showDisabled = m_showDisabled});
    if (!list)
        return;
    const TablePlace place(m_ui->warehouseTableView, m_products);
    if (m_products->list() == list)
        atLeast = std::max(atLeast, place.rows());
    if (!m_products->selectPages(window(), *list, atLeast))
        return;
    sizeColumns();
    place.restore();
}

void ProductPanel::sizeColumns()
{
    if (!m_columnsSized && m_products->rowCount() > 0)
        restoreColumns();
    m_widths->growWhole();
}

/// Who wants the whole list or its end gets it, not only the rows that were read so far.
bool ProductPanel::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->matches(QKeySequence::SelectAll) ||
            key->matches(QKeySequence::MoveToEndOfDocument) ||
            key->matches(QKeySequence::SelectEndOfDocument)) {
            QGuiApplication::setOverrideCursor(Qt::WaitCursor);
            m_products->readAll();
            QGuiApplication::restoreOverrideCursor();
        }
    }
    return QGroupBox::eventFilter(watched, event);
}

void ProductPanel::restoreColumns()
{
    m_columnsSized = true;
    m_widths->resizeToContents();
    const QSettings store;
    if (m_ui->warehouseTableView->horizontalHeader()->restoreState(
            store.value(tableKey).toByteArray()))
        m_widths->setDragged(store.value(nameKey).toBool());
    m_widths->fit();
}

void ProductPanel::setShowDisabled(bool shown)
{
    m_showDisabled = shown;
    refresh();
}

QList<qulonglong> ProductPanel::selectedIds() const
{
    QList<qulonglong> ids;
    const QModelIndexList rows = m_ui->warehouseTableView->selectionModel()->selectedRows();
    for (const QModelIndex &index : rows)
        ids += m_products->idOf(index.row());
    return ids;
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
    if (m_columnsSized)
        store.setValue(tableKey, m_ui->warehouseTableView->horizontalHeader()->saveState());
    store.setValue(nameKey, m_widths->isDragged());
}

void ProductPanel::fitRows()
{
    QTableView *view = m_ui->warehouseTableView;
    view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 8);
    // Measuring all rows of a long list for the widths would make it slow.
    view->horizontalHeader()->setResizeContentsPrecision(100);
}

void ProductPanel::stop()
{
    m_filterTimer.stop();
}

void ProductPanel::on_namefilterLineEdit_textChanged()
{
    m_filterTimer.start(filterDelayMs);
}

void ProductPanel::on_namefilterLineEdit_returnPressed()
{
    read(1); // however long the search takes
    if (m_products->rowCount() == 0)
        return;
    m_ui->warehouseTableView->setFocus();
    m_ui->warehouseTableView->selectRow(0);
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
