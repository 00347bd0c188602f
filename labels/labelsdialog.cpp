#include "labels/labelsdialog.h"

#include "ui_labelsdialog.h"

#include "app/messages.h"
#include "catalogue/codesearch.h"
#include "catalogue/codeslist.h"
#include "catalogue/quantitydialog.h"
#include "labels/labelsettings.h"
#include "labels/labelstable.h"
#include "labels/presetchoice.h"
#include "widgets/columnwidths.h"
#include "widgets/dialogbuttons.h"
#include "widgets/dialogplace.h"
#include "widgets/pagedtable.h"
#include "widgets/runwithprogress.h"
#include "widgets/sqltablemodel.h"
#include "widgets/tableclipboard.h"

#include <QDateTime>
#include <QFileDialog>
#include <QPrintDialog>
#include <QPrinter>

#include <algorithm>
#include <limits>

namespace {

constexpr qlonglong manySheets = 10000;

} // namespace

LabelsDialog::LabelsDialog(QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::LabelsDialog>()),
      m_codesModel(new SqlTableModel(this)),
      m_marks(new SqlTableModel(this))
{
    m_ui->setupUi(this);
    const CommandScope command;
    m_ui->splitter->setStretchFactor(0, 3);
    m_ui->splitter->setStretchFactor(1, 3);
    m_ui->splitter->setStretchFactor(2, 3);
    m_ui->incomenumSpinBox->setSpecialValueText(QStringLiteral(" "));
    setUpTables();
    m_fields = new LabelSettingsFields(m_ui.get(), this);
    m_presets = new PresetChoice(m_ui.get(), m_fields, this);
    m_planTimer.setSingleShot(true);
    connect(&m_planTimer, &QTimer::timeout, this, &LabelsDialog::plan);
    connect(m_fields, &LabelSettingsFields::changed, &m_planTimer,
            [this] { m_planTimer.start(0); });
    m_presets->load();
    connect(m_queue, &LabelsTable::refreshed, this, &LabelsDialog::takeQueue);
    m_queue->refresh();
    m_codes->refresh();
    readMarks();
    plan();
    keepDialogSize(this);
}

LabelsDialog::~LabelsDialog() = default;

void LabelsDialog::setUpTables()
{
    for (QAction *action :
         {m_ui->copyAction, m_ui->quantityAction, m_ui->deleteLabelsAction, m_ui->deleteAllAction})
        m_ui->labelsTableView->addAction(action);
    m_queue = new LabelsTable(m_ui->labelsTableView);
    m_codesModel->setColumns(codeColumns());
    m_codes = new PagedTable(m_ui->codesTableView, m_codesModel, [this] {
        return codePages(this, {.code = cleanCode(m_ui->codefilterLineEdit->text()),
                                .name = m_ui->namefilterLineEdit->text().trimmed()});
    });
    m_marks->setColumns(priceMarkColumns());
    m_ui->priceMarksTableView->setModel(m_marks);
    fitRowHeights(m_ui->priceMarksTableView);
    new ColumnWidths(m_ui->priceMarksTableView, m_marks);
    for (const QTableView *view :
         {m_ui->labelsTableView, m_ui->codesTableView, m_ui->priceMarksTableView})
        connect(view->selectionModel(), &QItemSelectionModel::selectionChanged, this,
                &LabelsDialog::enableCommands);
}

void LabelsDialog::enableCommands()
{
    const auto chosen = [](const QTableView *view) {
        return view->selectionModel()->hasSelection();
    };
    const bool hasRows = !m_plan.rows().isEmpty();
    m_ui->quantityPushButton->setEnabled(chosen(m_ui->labelsTableView));
    m_ui->quantityAction->setEnabled(chosen(m_ui->labelsTableView));
    m_ui->deleteLabelsPushButton->setEnabled(chosen(m_ui->labelsTableView));
    m_ui->deleteLabelsAction->setEnabled(chosen(m_ui->labelsTableView));
    m_ui->deleteAllPushButton->setEnabled(hasRows);
    m_ui->deleteAllAction->setEnabled(hasRows);
    m_ui->codesButton->setEnabled(chosen(m_ui->codesTableView));
    m_ui->addMarksPushButton->setEnabled(chosen(m_ui->priceMarksTableView));
    m_ui->strikeOffPushButton->setEnabled(chosen(m_ui->priceMarksTableView));
    m_ui->printButton->setEnabled(m_plan.labels() > 0);
    m_ui->pdfPushButton->setEnabled(m_plan.labels() > 0);
}

/// The queue has new rows.
void LabelsDialog::takeQueue()
{
    m_reader.clear();
    m_total = totalLabels(this);
    plan();
}

/// Lays the queue out on sheets and shows the current one.
void LabelsDialog::plan()
{
    m_planTimer.stop();
    const SheetSettings settings = m_fields->settings();
    m_plan = SheetPlan(m_queue->rows(), settings, m_fields->startCell());
    m_ui->statusLabel->setText(tr("этикеток на листе: %1, этикеток: %2, Листов: %3")
                                   .arg(settings.cells())
                                   .arg(m_total)
                                   .arg(sheetCount(m_total, settings.cells())));
    const QStringList warnings = sheetWarnings(settings);
    m_ui->warningLabel->setText(warnings.join(u'\n'));
    m_ui->warningLabel->setVisible(!warnings.isEmpty());
    const QSignalBlocker blocker(m_ui->pageSpinBox);
    m_ui->pageSpinBox->setMaximum(
        int(std::min<qlonglong>(m_plan.sheets(), std::numeric_limits<int>::max())));
    enableCommands();
    showSheet();
}

void LabelsDialog::showSheet()
{
    const SheetSettings settings = m_fields->settings();
    const int sheet = m_ui->pageSpinBox->value();
    QList<PlacedLabel> labels;
    labelsOfSheet(this, m_plan, sheet, m_reader, labels);
    m_ui->previewWidget->setSheet(settings, labels);
    for (const SheetPlan::Place &place : m_plan.sheet(sheet)) {
        if (const LabelReader::Data *label = m_reader.find(m_plan.rows().at(place.index).id))
            m_faults.add(*label, settings.block(LabelBlock::Barcode).on);
    }
    // When the sheet has been painted.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (isVisible())
                m_faults.tell(this);
        },
        Qt::QueuedConnection);
}

void LabelsDialog::add(const NewLabels &labels, const QString &none)
{
    if (!labels)
        return;
    if (std::none_of(labels->begin(), labels->end(),
                     [](const NewLabel &label) { return labelCount(label.quantity) > 0; })) {
        showInformation(this, none);
        return;
    }
    const bool added = addLabels(this, *labels);
    m_queue->refresh();
    if (added)
        m_queue->showEnd();
}

void LabelsDialog::importReceipt(qulonglong reportId)
{
    const CommandScope command;
    add(labelsOfReceipt(this, reportId),
        tr("В приходе %1 нет наименований со штрих-кодом.").arg(reportId));
}

void LabelsDialog::importWorkingList()
{
    const CommandScope command;
    add(labelsOfWorkingList(this), tr("В открытой накладной нет наименований со штрих-кодом."));
}

void LabelsDialog::takeScan(const QString &code)
{
    const CommandScope command;
    add(labelsOfScan(this, code, m_ui->quantitySpinBox->value()),
        tr("Штрих-код %1 не найден.").arg(cleanCode(code)));
}

void LabelsDialog::reject()
{
    if (!m_presets->isChanged() || mayLoseInput(this))
        QDialog::reject();
}

void LabelsDialog::readMarks()
{
    const bool first = m_marks->rowCount() == 0;
    if (!m_marks->select(this, priceMarksSelect()))
        return;
    if (first)
        m_ui->priceMarksTableView->findChild<ColumnWidths *>()->resizeToContents();
    enableCommands();
}

void LabelsDialog::on_settingsComboBox_activated(int index)
{
    m_presets->choose(index);
}

void LabelsDialog::on_savePresetPushButton_clicked()
{
    QString fault;
    if (QWidget *field = m_fields->wrongField(&fault)) {
        showInformation(this, fault);
        field->setFocus();
        return;
    }
    m_presets->save();
}

void LabelsDialog::on_deletePresetPushButton_clicked()
{
    m_presets->remove();
}

void LabelsDialog::on_quantityPushButton_clicked()
{
    const CommandScope command;
    const QList<qulonglong> ids = m_queue->selectedIds();
    QuantityDialog dialog(tr("Число этикеток"), m_queue->currentQuantity(), 0, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const int copies = int(dialog.quantity());
    if (mayAddCopies(this, copies, {}) && setLabelQuantity(this, ids, copies))
        m_queue->refresh();
}

void LabelsDialog::on_quantityAction_triggered()
{
    on_quantityPushButton_clicked();
}

void LabelsDialog::on_deleteLabelsPushButton_clicked()
{
    const CommandScope command;
    if (deleteLabels(this, m_queue->selectedIds()))
        m_queue->refresh();
}

void LabelsDialog::on_deleteAllPushButton_clicked()
{
    if (askQuestion(this, tr("Удалить все этикетки из очереди?"), {tr("Удалить"), tr("Отмена")}, 1,
                    1) != 0)
        return;
    const CommandScope command;
    if (deleteAllLabels(this))
        m_queue->refresh();
}

void LabelsDialog::on_deleteLabelsAction_triggered()
{
    on_deleteLabelsPushButton_clicked();
}

void LabelsDialog::on_deleteAllAction_triggered()
{
    on_deleteAllPushButton_clicked();
}

void LabelsDialog::on_copyAction_triggered()
{
    copySelectedRows(m_ui->labelsTableView);
}

void LabelsDialog::on_codefilterLineEdit_textChanged()
{
    m_codes->refreshSoon();
}

void LabelsDialog::on_codefilterLineEdit_returnPressed()
{
    m_codes->enter();
}

void LabelsDialog::on_namefilterLineEdit_textChanged()
{
    m_codes->refreshSoon();
}

void LabelsDialog::on_namefilterLineEdit_returnPressed()
{
    m_codes->enter();
}

void LabelsDialog::on_codesTableView_activated(const QModelIndex & /*index*/)
{
    on_codesButton_clicked();
}

void LabelsDialog::on_codesButton_clicked()
{
    const CommandScope command;
    add(labelsOfCodes(this, m_codes->selectedIds(), m_ui->quantitySpinBox->value()),
        tr("Этих штрих-кодов больше нет."));
}

void LabelsDialog::on_importLocalFromIncomeButton_clicked()
{
    const int number = m_ui->incomenumSpinBox->value();
    if (number > 0) {
        importReceipt(qulonglong(number));
        return;
    }
    showInformation(this, tr("Пожалуйста, введите номер прихода."));
    m_ui->incomenumSpinBox->setFocus();
}

void LabelsDialog::on_importListPushButton_clicked()
{
    importWorkingList();
}

void LabelsDialog::on_addMarksPushButton_clicked()
{
    const CommandScope command;
    QList<qulonglong> wareids;
    for (const QModelIndex &index : m_ui->priceMarksTableView->selectionModel()->selectedRows())
        wareids += m_marks->value(index.row(), QStringLiteral("wareid")).toULongLong();
    add(labelsOfProducts(this, wareids, m_ui->quantitySpinBox->value()),
        tr("У выбранных наименований нет штрих-кодов."));
}

void LabelsDialog::on_strikeOffPushButton_clicked()
{
    const CommandScope command;
    QList<PriceMark> marks;
    for (const QModelIndex &index : m_ui->priceMarksTableView->selectionModel()->selectedRows())
        marks += {m_marks->idOf(index.row()),
                  m_marks->value(index.row(), QStringLiteral("wareid")).toULongLong()};
    if (strikeOff(this, marks))
        readMarks();
}

void LabelsDialog::on_resetstartcellButton_clicked()
{
    m_ui->startrowSpinBox->setValue(1);
    m_ui->startcolumnSpinBox->setValue(1);
}

void LabelsDialog::on_pageSpinBox_valueChanged()
{
    const CommandScope command;
    showSheet();
}

void LabelsDialog::on_realSizePushButton_toggled(bool checked)
{
    m_ui->previewWidget->setRealSize(checked);
}

void LabelsDialog::on_refreshPushButton_clicked()
{
    const CommandScope command;
    m_queue->refresh();
    readMarks();
}

/// Nothing is printed with a number that is not right, and not thousands of sheets by mistake.
bool LabelsDialog::mayPrint()
{
    QString fault;
    if (QWidget *field = m_fields->wrongField(&fault)) {
        showInformation(this, fault);
        field->setFocus();
        return false;
    }
    if (!m_queue->refresh() || m_plan.labels() == 0)
        return false;
    return m_plan.sheets() <= manySheets ||
           askQuestion(this, tr("Напечатать столько листов: %1?").arg(m_plan.sheets()),
                       {tr("Напечатать"), tr("Отмена")}, 1, 1) == 0;
}

SheetRun LabelsDialog::wholeRun() const
{
    return {m_fields->settings(), m_plan, 1, m_plan.sheets()};
}

void LabelsDialog::print(
    const std::function<PrintResult(const SheetRun &, const ProgressStep &)> &work,
    const SheetRun &run, const QString &failure)
{
    PrintResult result = PrintResult::Done;
    runWithProgress(this, tr("Печать этикеток"), Stopping::Harmless,
                    [&](Progress &progress) { result = work(run, progress.steps()); });
    if (result == PrintResult::DeviceFailed)
        showWarning(this, failure);
    m_faults.tell(this);
}

void LabelsDialog::on_pdfPushButton_clicked()
{
    const CommandScope command;
    if (!mayPrint())
        return;
    QString fileName = QFileDialog::getSaveFileName(this, tr("Сохранение этикеток"), tr("Этикетки"),
                                                    tr("PDF Document (*.pdf)"));
    if (fileName.isEmpty())
        return;
    if (!fileName.endsWith(QLatin1String(".pdf"), Qt::CaseInsensitive))
        fileName += QLatin1String(".pdf");
    const QString title =
        "labels_" + QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd_hh-mm-ss"));
    print(
        [&](const SheetRun &run, const ProgressStep &step) {
            return writePdf(this, fileName, title, run, m_reader, m_faults, step);
        },
        wholeRun(), tr("Ошибка создания файла этикеток %1").arg(fileName));
}

void LabelsDialog::on_printButton_clicked()
{
    const CommandScope command;
    if (!mayPrint())
        return;
    SheetRun run = wholeRun();
    QPrinter printer(QPrinter::HighResolution);
    printer.setResolution(run.settings.dpi);
    setPaper(printer, run.settings);
    printer.setDocName(
        "labels_" + QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd_hh-mm-ss")));
    QPrintDialog dialog(&printer, this);
    dialog.setWindowTitle(tr("Печать этикеток"));
    dialog.setOption(QAbstractPrintDialog::PrintPageRange);
    dialog.setMinMax(1, m_ui->pageSpinBox->maximum());
    if (dialog.exec() != QDialog::Accepted)
        return;
    // The dialog may have chosen another printer and its paper.
    printer.setResolution(run.settings.dpi);
    setPaper(printer, run.settings);
    if (printer.printRange() == QPrinter::PageRange && printer.fromPage() > 0) {
        run.from = printer.fromPage();
        run.to = std::min<qlonglong>(run.to, std::max(printer.fromPage(), printer.toPage()));
    }
    print(
        [&](const SheetRun &chosen, const ProgressStep &step) {
            const PrintResult result =
                printSheets(this, printer, printer.resolution(), chosen, m_reader, m_faults, step);
            if (result != PrintResult::Done)
                printer.abort();
            return result;
        },
        run, tr("Принтер не принимает этикетки."));
}

void LabelsDialog::on_closePushButton_clicked()
{
    reject();
}
