#include "catalogue/stockdialog.h"

#include "ui_stockdialog.h"

#include "app/messages.h"
#include "catalogue/codesearch.h"
#include "catalogue/colorsqlquerymodel.h"
#include "catalogue/pricehistorydialog.h"
#include "catalogue/productfilters.h"
#include "catalogue/waredialog.h"
#include "db/money.h"
#include "db/session.h"
#include "widgets/columnwidths.h"
#include "widgets/dialogplace.h"
#include "widgets/listexport.h"
#include "widgets/pagedtable.h"
#include "widgets/runwithprogress.h"
#include "widgets/tableclipboard.h"

#include <QFileDialog>
#include <QLocale>

#include <limits>

StockDialog::StockDialog(QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::StockDialog>()),
      m_model(new ColorSqlQueryModel(this, stockColumns()))
{
    m_ui->setupUi(this);
    QTableView *view = m_ui->stockTableView;
    view->addAction(m_ui->copyAction);
    m_table = new PagedTable(view, m_model, [this] { return list(); });
    m_sumTimer.setSingleShot(true);
    connect(&m_sumTimer, &QTimer::timeout, this, &StockDialog::addToSum);
    connect(m_table, &PagedTable::refreshed, this, &StockDialog::startSum);
    connect(m_table, &PagedTable::refreshed, m_table->widths(), &ColumnWidths::resizeToContents);
    connect(m_table, &PagedTable::refreshed, this, &StockDialog::enableCommands);
    connect(view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &StockDialog::enableCommands);
    fillGroups(m_ui->groupfilterComboBox);
    fillBrands(m_ui->brandfilterComboBox);
    m_table->refresh();
    keepDialogSize(this);
}

StockDialog::~StockDialog() = default;

std::optional<PagedSelect> StockDialog::list()
{
    // Another station may have changed any rate; list and sums are converted by the same ones.
    if (!Session::instance().refreshRates(this, mainConnection))
        return std::nullopt;
    return stockPages(this, {.text = m_ui->namefilterLineEdit->text().trimmed(),
                             .groupId = chosenId(m_ui->groupfilterComboBox),
                             .brandId = chosenId(m_ui->brandfilterComboBox),
                             .showDisabled = true,
                             .inStock = m_ui->instockCheckBox->isChecked()});
}

void StockDialog::startSum()
{
    m_sum.emplace(*m_model->list());
    m_ui->totalsLabel->setText(tr("Итоги подсчитываются…"));
    m_sumTimer.start(0);
}

/// A stretch at a time: who types on does not wait for sums that nobody wants any more.
void StockDialog::addToSum()
{
    if (!m_sum->addNext())
        m_ui->totalsLabel->setText(tr("Итоги не подсчитаны: ошибка базы данных."));
    else if (m_sum->isDone())
        showTotals();
    else
        m_sumTimer.start(0);
}

void StockDialog::showTotals()
{
    const QString symbol = ' ' + Session::instance().mainCurrencySymbol();
    const StockTotals &totals = m_sum->totals();
    QStringList parts = {tr("Наименований: %1").arg(totals.products),
                         tr("По приходным ценам: %1").arg(formatMoney(totals.purchase) + symbol),
                         tr("По расходным ценам: %1").arg(formatMoney(totals.selling) + symbol)};
    for (QString &part : parts)
        part.replace(u' ', QChar::Nbsp); // a part of it stays on its line
    m_ui->totalsLabel->setText(parts.join(QStringLiteral("     ")));
}

void StockDialog::enableCommands()
{
    const bool chosen = m_table->currentId() != 0;
    m_ui->editPushButton->setEnabled(chosen);
    m_ui->historyPushButton->setEnabled(chosen);
}

void StockDialog::takeScan(const QString &code)
{
    m_ui->namefilterLineEdit->setText(plainCode(cleanCode(code)));
    m_ui->groupfilterComboBox->setCurrentIndex(0);
    m_ui->brandfilterComboBox->setCurrentIndex(0);
    m_table->enter();
    // That there is none of it is an answer, too.
    if (m_model->rowCount() == 0 && m_ui->instockCheckBox->isChecked()) {
        m_ui->instockCheckBox->setChecked(false);
        m_table->enter();
    }
}

void StockDialog::on_namefilterLineEdit_textChanged()
{
    m_table->refreshSoon();
}

void StockDialog::on_namefilterLineEdit_returnPressed()
{
    m_table->enter();
}

void StockDialog::on_groupfilterComboBox_activated(int /*index*/)
{
    m_table->refresh();
}

void StockDialog::on_brandfilterComboBox_activated(int /*index*/)
{
    m_table->refresh();
}

void StockDialog::on_instockCheckBox_toggled(bool /*checked*/)
{
    m_table->refresh();
}

void StockDialog::on_stockTableView_activated(const QModelIndex & /*index*/)
{
    on_editPushButton_clicked();
}

void StockDialog::on_copyAction_triggered()
{
    copySelectedRows(m_ui->stockTableView);
}

void StockDialog::on_editPushButton_clicked()
{
    if (const qulonglong id = m_table->currentId(); id != 0) {
        const CommandScope command;
        editProduct(this, id);
        fillGroups(m_ui->groupfilterComboBox); // they are kept in order from the card, too
        fillBrands(m_ui->brandfilterComboBox);
        m_table->refresh();
        m_ui->stockTableView->setFocus();
    }
}

void StockDialog::on_historyPushButton_clicked()
{
    if (const qulonglong id = m_table->currentId(); id != 0)
        PriceHistoryDialog(id, this).exec();
}

void StockDialog::on_exportPushButton_clicked()
{
    QFileDialog dialog(this, tr("Экспорт склада в файл"), {}, tr("Файл csv (*.csv)"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(QStringLiteral("csv")); // by it a spreadsheet opens the file
    dialog.selectFile(tr("Склад.csv"));
    if (dialog.exec() == QDialog::Accepted)
        exportTo(dialog.selectedFiles().first());
}

bool StockDialog::exportTo(const QString &path)
{
    const CommandScope command;
    m_table->stop();
    const std::optional<PagedSelect> rows = list();
    if (!rows)
        return false;
    const QList<TableColumn> columns = stockColumns();
    ExportResult result;
    runWithProgress(this, tr("Экспорт склада…"), Stopping::Harmless, [&](Progress &progress) {
        StockSum sum(*rows);
        while (!sum.isDone() && sum.addNext()) {
        }
        const auto total =
            std::min<qlonglong>(sum.totals().products, std::numeric_limits<int>::max());
        result = exportList(progress.window(), path, *rows, columns, int(total), progress.steps());
    });
    if (result.state == ExportState::Unwritable)
        showFailure(this, tr("Ошибка создания файла %1").arg(path), result.error);
    else if (result.state == ExportState::Written)
        showInformation(this, tr("Записано наименований: %1").arg(result.rows));
    return result.state == ExportState::Written;
}

void StockDialog::on_closePushButton_clicked()
{
    accept();
}
