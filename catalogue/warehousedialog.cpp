#include "catalogue/warehousedialog.h"

#include "ui_warehousedialog.h"

#include "catalogue/codesearch.h"
#include "catalogue/colorsqlquerymodel.h"
#include "catalogue/productlist.h"
#include "catalogue/productstore.h"
#include "catalogue/waredialog.h"
#include "catalogue/warepicture.h"
#include "db/sqltext.h"
#include "widgets/colors.h"
#include "widgets/columnwidths.h"
#include "widgets/dialogplace.h"
#include "widgets/pagedtable.h"
#include "widgets/sound.h"
#include "widgets/tableclipboard.h"

#include <QAction>
#include <QScopeGuard>
#include <QSignalBlocker>

#include <utility>

namespace {

/// Those of the product table without the number, which says nothing to who looks for goods.
QList<TableColumn> searchColumns()
{
    QList<TableColumn> columns = productColumns();
    columns.first().width = ColumnWidth::Hidden;
    return columns;
}

} // namespace

WarehouseDialog::WarehouseDialog(QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::WarehouseDialog>())
{
    m_ui->setupUi(this);
    m_ui->splitter->setStretchFactor(1, 1);
    m_ui->splitter->setSizes({width() / 4, width()});
    m_ui->resultLabel->clear();
    m_picture = new WarePicture(m_ui->pixmapWidget);
    describeTable();
    fillGroups();
    m_ui->namefilterLineEdit->setFocus();
    m_table->refresh();
    keepDialogSize(this);
}

WarehouseDialog::~WarehouseDialog() = default;

void WarehouseDialog::describeTable()
{
    QTableView *view = m_ui->warehouseTableView;
    auto *model = new ColorSqlQueryModel(this, searchColumns());
    m_table = new PagedTable(view, model, [this] { return list(); });
    connect(m_table, &PagedTable::refreshed, m_table->widths(), &ColumnWidths::resizeToContents);
    connect(m_table, &PagedTable::refreshed, this, &WarehouseDialog::enableCommands);
    connect(model, &QAbstractItemModel::rowsInserted, this, &WarehouseDialog::enableCommands);
    connect(view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &WarehouseDialog::enableCommands);
    auto *copy = new QAction(tr("Копировать текст"), view);
    copy->setObjectName(QStringLiteral("copyAction"));
    copy->setShortcut(QKeySequence::Copy);
    copy->setShortcutContext(Qt::WidgetShortcut);
    view->addAction(copy);
    connect(copy, &QAction::triggered, this, &WarehouseDialog::On_copyAction_triggered);
}

/// As a tree: the names of its siblings alone would not tell what a subgroup belongs to.
void WarehouseDialog::fillGroups()
{
    QListWidget *list = m_ui->groupsListWidget;
    const QSignalBlocker blocker(list);
    QList<SqlRow> rows;
    if (!QueryRows(this, groupsQuery(), rows) && list->count() > 0)
        return;
    const QVariant chosen = list->count() > 0 ? list->currentItem()->data(Qt::UserRole) : 0;
    list->clear();
    list->addItem(tr("Все группы"));
    list->setCurrentRow(0);
    const QList<Choice> groups = groupChoices(rows);
    for (const auto &[id, name] : groups) {
        auto *item = new QListWidgetItem(name, list);
        item->setData(Qt::UserRole, id);
        if (id == chosen)
            list->setCurrentItem(item);
    }
}

std::optional<PagedSelect> WarehouseDialog::list() const
{
    ProductFilter filter = {.text = m_ui->namefilterLineEdit->text().trimmed(), .subgroups = false};
    if (m_ui->groupsListWidget->currentRow() > 0)
        filter.groupId = m_ui->groupsListWidget->currentItem()->data(Qt::UserRole).toULongLong();
    std::optional<PagedSelect> list = productPages(window(), filter, searchColumns());
    if (list)
        list->start = m_start;
    return list;
}

qulonglong WarehouseDialog::wareid() const
{
    return m_wareid;
}

void WarehouseDialog::enableCommands()
{
    const bool chosen = m_table->currentId() != 0;
    m_picture->show(m_table->currentId());
    for (QPushButton *button : {m_ui->copyPushButton, m_ui->editPushButton, m_ui->choosePushButton})
        button->setEnabled(chosen);
}

void WarehouseDialog::clearFilter()
{
    const QSignalBlocker name(m_ui->namefilterLineEdit);
    const QSignalBlocker groups(m_ui->groupsListWidget);
    m_ui->namefilterLineEdit->clear();
    m_ui->groupsListWidget->setCurrentRow(0);
    m_start.reset();
    m_table->refresh();
}

/// Goes to a product; the filter that hides it is cleared. False when it is not in the list at all.
bool WarehouseDialog::goTo(qulonglong wareid)
{
    if (m_table->select(wareid))
        return true;
    if (std::exchange(m_start, std::nullopt))
        m_table->refresh();
    if (m_table->select(wareid) || beginAt(wareid))
        return true;
    clearFilter();
    if (m_table->select(wareid) || beginAt(wareid))
        return true;
    m_table->refresh();
    return false;
}

/// To read the rows of a million products down to it would take too long.
bool WarehouseDialog::beginAt(qulonglong wareid)
{
    QList<SqlRow> rows;
    if (!QueryRows(this, "SELECT name FROM warehouse WHERE id=" + sql::quotedId(wareid) + ";",
                   rows) ||
        rows.isEmpty())
        return false;
    const QVariant name = rows.first().first();
    m_start = {.text = name.isNull() ? std::nullopt : std::optional(name.toString()), .id = wareid};
    if (m_table->refresh() && m_table->select(wareid)) {
        tell(tr("Список начинается с найденного; всё покажет изменение фильтра."), false);
        return true;
    }
    m_start.reset();
    return false;
}

void WarehouseDialog::tell(const QString &text, bool warning)
{
    QPalette colours = palette();
    if (warning)
        colours.setColor(QPalette::WindowText, warningTextColor(colours));
    m_ui->resultLabel->setPalette(colours);
    m_ui->resultLabel->setText(text);
}

void WarehouseDialog::takeScan(const QString &code)
{
    m_ui->codesearchLineEdit->setText(plainCode(cleanCode(code)));
    m_ui->codesearchLineEdit->setFocus();
    on_codesearchLineEdit_returnPressed();
}

void WarehouseDialog::on_codesearchLineEdit_returnPressed()
{
    const CommandScope command;
    const QString code = cleanCode(m_ui->codesearchLineEdit->text());
    const auto ready = qScopeGuard([this] { m_ui->codesearchLineEdit->selectAll(); });
    m_ui->resultLabel->clear();
    const CodeResult found = lookUpCode(this, code);
    switch (found.kind) {
    case CodeKind::Product:
        showFound(code, found.wareid);
        return;
    case CodeKind::NotFound:
        tell(tr("Не найдено: %1").arg(code));
        break;
    case CodeKind::Nothing:
        if (code.isEmpty())
            return;
        tell(tr("Не номер наименования и не штрих-код: %1").arg(code));
        break;
    case CodeKind::Failed:
        tell(tr("Ошибка базы данных при поиске кода %1").arg(code));
        break;
    }
    playSound(Sound::NotFound);
}

void WarehouseDialog::showFound(const QString &code, qulonglong wareid)
{
    Product product;
    const LoadState state = loadProduct(this, wareid, ProductColumns::Receipt, product);
    const bool shown = state == LoadState::Loaded && product.isEnabled() && goTo(wareid);
    playSound(shown ? Sound::Found : Sound::NotFound);
    if (state == LoadState::NotFound)
        tell(tr("Наименования кода %1 нет в каталоге").arg(code));
    else if (state == LoadState::Loaded && !shown)
        tell(tr("Наименование неактивно: %1").arg(product.name.simplified()));
}

void WarehouseDialog::on_namefilterLineEdit_textChanged()
{
    m_start.reset();
    m_table->refreshSoon();
}

void WarehouseDialog::on_namefilterLineEdit_returnPressed()
{
    m_start.reset();
    m_table->enter();
}

void WarehouseDialog::on_groupsListWidget_currentRowChanged(int /*row*/)
{
    m_start.reset();
    m_table->refreshSoon();
}

void WarehouseDialog::on_warehouseTableView_clicked(const QModelIndex & /*index*/)
{
    m_ui->resultLabel->clear();
}

void WarehouseDialog::on_warehouseTableView_activated(const QModelIndex & /*index*/)
{
    on_choosePushButton_clicked();
}

void WarehouseDialog::on_newPushButton_clicked()
{
    const CommandScope command;
    finishCard(createProduct(this));
}

void WarehouseDialog::on_copyPushButton_clicked()
{
    const CommandScope command;
    if (const qulonglong id = m_table->currentId(); id != 0)
        finishCard(copyProduct(this, id));
}

void WarehouseDialog::on_editPushButton_clicked()
{
    const CommandScope command;
    if (const qulonglong id = m_table->currentId(); id != 0)
        finishCard(editProduct(this, id));
}

/// Also behind a card that was cancelled: the product may be gone by now.
void WarehouseDialog::finishCard(qulonglong saved)
{
    m_ui->codesearchLineEdit->clear();
    m_ui->resultLabel->clear();
    fillGroups(); // they are kept in order from the card, too
    m_table->refresh();
    m_picture->refresh();
    if (saved != 0 && !goTo(saved))
        tell(tr("Сохранено, но неактивно и в списке не показано."));
    m_ui->warehouseTableView->setFocus();
}

void WarehouseDialog::on_cancelPushButton_clicked()
{
    reject();
}

void WarehouseDialog::on_choosePushButton_clicked()
{
    if (const qulonglong id = m_table->currentId(); id != 0) {
        m_wareid = id;
        accept();
    }
}

void WarehouseDialog::On_copyAction_triggered()
{
    copySelectedRows(m_ui->warehouseTableView);
}
