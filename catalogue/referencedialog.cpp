#include "catalogue/referencedialog.h"

#include "ui_referencedialog.h"

#include "app/messages.h"
#include "catalogue/codesearch.h"
#include "catalogue/productprices.h"
#include "catalogue/productstore.h"
#include "catalogue/referenceimport.h"
#include "catalogue/referencelist.h"
#include "catalogue/waredialog.h"
#include "widgets/colors.h"
#include "widgets/dialogplace.h"
#include "widgets/pagedtable.h"
#include "widgets/plaintext.h"
#include "widgets/runwithprogress.h"

#include <iterator>

namespace {

enum SideBySide { TheirColumn, OurColumn, SideCount };

} // namespace

ReferenceDialog::ReferenceDialog(QWidget *parent, qulonglong wareid)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::ReferenceDialog>()),
      m_list(new ReferenceList(this))
{
    m_ui->setupUi(this);
    m_table = new PagedTable(
        m_ui->referenceTableView, m_list,
        [this] { return m_list->pages(this, m_ui->filterLineEdit->text().trimmed()); },
        friendConnection);
    QTableWidget *sides = m_ui->comparisonTableWidget;
    sides->setRowCount(int(std::size(comparedFields)));
    sides->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    const int rowHeight = sides->fontMetrics().height() + 8;
    sides->verticalHeader()->setDefaultSectionSize(rowHeight);
    sides->setFixedHeight(sides->horizontalHeader()->sizeHint().height() +
                          rowHeight * sides->rowCount() + 2 * sides->frameWidth());
    connect(m_ui->referenceTableView->selectionModel(), &QItemSelectionModel::selectionChanged,
            this, &ReferenceDialog::showComparison);
    connect(m_table, &PagedTable::refreshed, this, &ReferenceDialog::showComparison);
    connect(m_ui->referenceTableView, &QTableView::doubleClicked, this,
            &ReferenceDialog::on_editPushButton_clicked);
    if (wareid > 0)
        openAt(wareid);
    else
        m_table->refresh();
    showComparison();
    keepDialogSize(this);
}

ReferenceDialog::~ReferenceDialog() = default;

bool ReferenceDialog::isChanged() const
{
    return m_changed;
}

void ReferenceDialog::openAt(qulonglong wareid)
{
    CatalogueEntry ours;
    if (!readOurEntry(this, wareid, ours)) {
        m_table->refresh();
        return;
    }
    m_given = ours;
    const qulonglong id = referenceIdOf(this, ours.product.wuid);
    Product theirs;
    if (id > 0)
        loadProduct(this, id, ProductColumns::Comparison, theirs, friendConnection);
    {
        const QSignalBlocker quiet(m_ui->filterLineEdit);
        m_ui->filterLineEdit->setText(id > 0 ? theirs.name : ours.product.name);
    }
    m_table->refresh();
    if (id == 0 || !m_table->select(id))
        m_ui->resultLabel->setText(
            tr("В справочной базе данных нет наименования с тем же идентификатором."));
}

void ReferenceDialog::takeScan(const QString &code)
{
    m_ui->filterLineEdit->setText(plainCode(code));
    m_table->enter();
}

Comparison ReferenceDialog::currentComparison() const
{
    const QModelIndex current = m_ui->referenceTableView->currentIndex();
    Comparison compared =
        m_list->comparison(current.isValid() ? current.row() : -1).value_or(Comparison());
    // The user asked what the reference database says about this one; another one of ours may have
    // its identifier, too.
    if (m_given && (!compared.ours.exists() || compared.ours.product.wuid == m_given->product.wuid))
        compared.ours = *m_given;
    return compared;
}

void ReferenceDialog::showComparison()
{
    const Comparison compared = currentComparison();
    int row = 0;
    for (const ComparedField field : comparedFields)
        showRow(row++, field, compared);
    const bool isLinked = compared.theirs.exists() && compared.ours.exists() &&
                          compared.theirs.product.wuid == compared.ours.product.wuid &&
                          !compared.ours.product.wuid.isEmpty();
    m_ui->copyPushButton->setEnabled(!m_table->selectedIds().isEmpty());
    m_ui->editPushButton->setEnabled(compared.ours.exists());
    m_ui->passPricePushButton->setEnabled(isLinked &&
                                          differences(compared).contains(ComparedField::Outcost));
}

void ReferenceDialog::showRow(int row, ComparedField field, const Comparison &compared)
{
    QTableWidget *sides = m_ui->comparisonTableWidget;
    sides->setVerticalHeaderItem(row, new QTableWidgetItem(fieldTitle(field)));
    const bool differs = differences(compared).contains(field);
    const CatalogueEntry *entries[SideCount] = {&compared.theirs, &compared.ours};
    for (int side = TheirColumn; side < SideCount; ++side) {
        const QString text = entries[side]->exists() ? fieldText(*entries[side], field) : QString();
        auto *item = new QTableWidgetItem(text);
        item->setToolTip(text.isEmpty() ? QString() : plainToolTip(text));
        if (differs)
            item->setBackground(differenceColor(palette()));
        sides->setItem(row, side, item);
    }
}

void ReferenceDialog::refresh()
{
    if (m_given)
        readOurEntry(this, m_given->product.id, *m_given);
    m_list->forget();
    m_table->refresh();
}

void ReferenceDialog::on_filterLineEdit_textChanged()
{
    m_table->refreshSoon();
}

void ReferenceDialog::on_filterLineEdit_returnPressed()
{
    m_table->enter();
}

void ReferenceDialog::on_copyPushButton_clicked()
{
    const CommandScope command;
    const QList<qulonglong> ids = m_table->selectedIds();
    ReferenceImport result;
    runWithProgress(
        this, tr("Копирование наименований"), Stopping::Harmless,
        [&](Progress &progress) { result = importProducts(this, ids, progress.steps()); });
    m_changed = m_changed || result.copied > 0;
    m_ui->resultLabel->setText(result.text());
    if (!result.notes.isEmpty())
        showInformation(this, shortened(result.notes).join(u'\n'));
    if (result.copied + result.known > 0)
        refresh();
}

void ReferenceDialog::on_editPushButton_clicked()
{
    const Comparison compared = currentComparison();
    if (!compared.ours.exists() || editProduct(this, compared.ours.product.id) == 0)
        return;
    m_changed = true;
    refresh();
}

void ReferenceDialog::on_passPricePushButton_clicked()
{
    const CommandScope command;
    const Comparison compared = currentComparison();
    // What the user sees is what is passed, not what somebody has made of it since.
    if (passPriceTo(this, compared.theirs.product.id, compared.ours.product.outcost))
        m_ui->resultLabel->setText(tr("Расходная цена передана в справочную базу данных: %1")
                                       .arg(fieldText(compared.ours, ComparedField::Outcost)));
    refresh();
}

void ReferenceDialog::on_closePushButton_clicked()
{
    reject();
}
