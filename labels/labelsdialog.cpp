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
#include "widgets/savedialog.h"
#include "widgets/sqltablemodel.h"
#include "widgets/tableclipboard.h"

#include <QDateTime>
#include <QLineEdit>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>

#include <algorithm>
#include <limits>

namespace {

constexpr qlonglong manySheets = 10000;

QString documentName()
{
    return "labels_" + QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd_hh-mm-ss"));
}

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
    connect(m_ui->incomenumSpinBox->findChild<QLineEdit *>(), &QLineEdit::returnPressed, this,
            &LabelsDialog::on_importLocalFromIncomeButton_clicked);
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

bool LabelsDialog::add(const NewLabels &labels, const QString &none)
{
    if (!labels)
        return false;
    if (std::none_of(labels->begin(), labels->end(),
                     [](const NewLabel &label) { return labelCount(label.quantity) > 0; })) {
        showInformation(this, none);
        return false;
    }
    const bool added = addLabels(this, *labels);
    m_queue->refresh();
    if (added)
        m_queue->showEnd();
    return added;
}

bool LabelsDialog::importReceipt(qulonglong reportId)
{
    const CommandScope command;
    return add(labelsOfReceipt(this, reportId),
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
    if (number == 0)
        showInformation(this, tr("Пожалуйста, введите номер прихода."));
    else if (importReceipt(qulonglong(number)))
        m_ui->incomenumSpinBox->setValue(0); // a second Return adds nothing again
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
    QList<int> rows;
    for (const QModelIndex &index : m_ui->priceMarksTableView->selectionModel()->selectedRows())
        rows += index.row();
    strike(rows);
}

/// Takes rows of the list of changed prices off it.
void LabelsDialog::strike(const QList<int> &rows)
{
    QList<PriceMark> marks;
    for (const int row : rows)
        marks += {m_marks->idOf(row), m_marks->value(row, QStringLiteral("wareid")).toULongLong()};
    if (strikeOff(this, marks))
        readMarks();
}

/// What has been printed with its price may go off the list of changed prices. The list was read
/// before the prices, so that a change since then stays on it.
void LabelsDialog::offerStrikingOff(const SheetRun &run)
{
    if (!run.settings.block(LabelBlock::Price).on)
        return;
    QSet<QString> printed;
    for (const qulonglong id : rowsOfRun(run)) {
        if (const LabelReader::Data *label = m_reader.find(id))
            printed += label->wareid;
    }
    QList<int> rows;
    for (int row = 0; row < m_marks->rowCount(); ++row) {
        if (printed.contains(m_marks->value(row, QStringLiteral("wareid")).toString()))
            rows += row;
    }
    if (!rows.isEmpty() &&
        askQuestion(this,
                    tr("Новые ценники напечатаны. Вычеркнуть эти наименования из списка "
                       "изменившихся цен (%1)?")
                        .arg(rows.size()),
                    {tr("Вычеркнуть"), tr("Оставить")}, 1, 1) == 0)
        strike(rows);
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

PrintResult LabelsDialog::print(const std::function<PrintResult(const ProgressStep &)> &work,
                                const SheetRun &run, const QString &failure)
{
    PrintResult result = PrintResult::Done;
    runWithProgress(this, tr("Печать этикеток"), Stopping::Harmless,
                    [&](Progress &progress) { result = work(progress.steps()); });
    if (result == PrintResult::DeviceFailed)
        showWarning(this, failure);
    m_faults.tell(this);
    if (result == PrintResult::Done)
        offerStrikingOff(run);
    return result;
}

void LabelsDialog::printToFile(const QString &fileName, const QString &title, const SheetRun &run)
{
    print(
        [&](const ProgressStep &step) {
            return writePdf(this, fileName, title, run, m_reader, m_faults, step);
        },
        run, tr("Ошибка создания файла этикеток %1").arg(fileName));
}

/// A printer gets what was painted before it was stopped, and takes it in silence when it is gone.
void LabelsDialog::printOn(QPrinter &printer, const SheetRun &run)
{
    int painted = 0;
    const PrintResult outcome = print(
        [&](const ProgressStep &step) {
            const PrintResult result = printSheets(this, printer, printer.resolution(), run,
                                                   m_reader, m_faults, [&](int done, int total) {
                                                       painted = done;
                                                       return goOn(step, done, total);
                                                   });
            const bool isThere = !QPrinterInfo(printer).isNull();
            return result == PrintResult::Done && !isThere ? PrintResult::DeviceFailed : result;
        },
        run,
        tr("Принтер «%1» не принимает этикетки. Проверьте его и его очередь.")
            .arg(printer.printerName()));
    if (outcome == PrintResult::Stopped || outcome == PrintResult::NotRead)
        showInformation(this,
                        tr("Печать остановлена. На принтер отправлено листов: %1.").arg(painted));
}

void LabelsDialog::on_pdfPushButton_clicked()
{
    const CommandScope command;
    if (!mayPrint())
        return;
    const QString fileName =
        askSavePath(this, tr("Сохранение этикеток"), tr("Этикетки") + QStringLiteral(".pdf"),
                    tr("PDF Document (*.pdf)"));
    if (!fileName.isEmpty())
        printToFile(fileName, documentName(), wholeRun());
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
    printer.setDocName(documentName());
    QPrintDialog dialog(&printer, this);
    dialog.setWindowTitle(tr("Печать этикеток"));
    dialog.setOption(QAbstractPrintDialog::PrintPageRange);
    dialog.setOption(QAbstractPrintDialog::PrintCurrentPage);
    dialog.setMinMax(1, m_ui->pageSpinBox->maximum());
    if (dialog.exec() != QDialog::Accepted)
        return;
    if (printer.printRange() == QPrinter::PageRange && printer.fromPage() > 0) {
        run.from = printer.fromPage();
        run.to = std::min<qlonglong>(run.to, std::max(printer.fromPage(), printer.toPage()));
    } else if (printer.printRange() == QPrinter::CurrentPage) {
        run.from = run.to = m_ui->pageSpinBox->value();
    }
    // The printer itself would leave a part of a file in the place of a whole one.
    if (printer.outputFormat() == QPrinter::PdfFormat) {
        printToFile(printer.outputFileName(), printer.docName(), run);
        return;
    }
    // The dialog may have chosen another printer and its paper.
    printer.setResolution(run.settings.dpi);
    setPaper(printer, run.settings);
    printOn(printer, run);
}

void LabelsDialog::on_closePushButton_clicked()
{
    reject();
}
