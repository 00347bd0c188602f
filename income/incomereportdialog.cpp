#include "income/incomereportdialog.h"

#include "ui_incomereportdialog.h"

#include "app/messages.h"
#include "db/query.h"
#include "income/receiptexport.h"
#include "widgets/dialogplace.h"
#include "widgets/runwithprogress.h"
#include "widgets/savedialog.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QPageLayout>
#include <QPdfWriter>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QSaveFile>
#include <QTextDocument>

#include <algorithm>
#include <utility>

namespace {

constexpr qreal pageMargin = 12; ///< mm

QPageLayout sheet()
{
    return QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                       QMarginsF(pageMargin, pageMargin, pageMargin, pageMargin),
                       QPageLayout::Millimeter);
}

QSizeF roomOn(const QPageLayout &layout)
{
    return layout.paintRect(QPageLayout::Millimeter).size();
}

bool isReached(const QPrinter &printer)
{
    return !QPrinterInfo(printer).isNull();
}

/// A half of a piece of work that is shown as one.
ProgressStep half(Progress &progress, int number)
{
    constexpr int parts = 1000;
    return [&progress, number](int done, int total) {
        return progress.step(parts * number + int(qint64(parts) * done / std::max(total, 1)),
                             2 * parts);
    };
}

} // namespace

IncomeReportDialog::IncomeReportDialog(QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::IncomeReportDialog>())
{
    m_ui->setupUi(this);
    m_ui->reportView->addAction(m_ui->copyAction);
    const CommandScope command;
    showNewest();
    keepDialogSize(this);
}

IncomeReportDialog::~IncomeReportDialog() = default;

const ReportPages *IncomeReportDialog::pages() const
{
    return m_report.id != 0 ? &m_pages : nullptr;
}

ReportChoice IncomeReportDialog::choice() const
{
    return {.article = m_ui->articleCheckBox->isChecked(),
            .location = m_ui->locationCheckBox->isChecked(),
            .purchaseTotal = m_ui->incostCheckBox->isChecked()};
}

QWidget *IncomeReportDialog::boxParent()
{
    return isVisible() ? this : parentWidget();
}

bool IncomeReportDialog::showNewest()
{
    QList<SqlRow> rows;
    if (!QueryRows(boxParent(), QStringLiteral("SELECT MAX(id) FROM incomereports;"), rows)) {
        clear(tr("Накладные не прочитаны."));
        return false;
    }
    m_newest = rows.first().first().toInt();
    m_ui->reportidSpinBox->setValue(m_newest);
    if (m_newest != 0)
        return showReport();
    clear(tr("Проведённых накладных ещё нет."));
    return false;
}

bool IncomeReportDialog::showReport()
{
    const CommandScope command;
    const auto id = qulonglong(m_ui->reportidSpinBox->value());
    clear({});
    IncomeReport report;
    ReportPages made;
    ReportState state = ReportState::Failed;
    runWithProgress(
        boxParent(), tr("Подготовка накладной…"), Stopping::Harmless, [&](Progress &progress) {
            state = buildIncomeReport(progress.window(), id, choice(), report, half(progress, 0));
            if (state == ReportState::Built &&
                !made.layOut(report, roomOn(sheet()), half(progress, 1)))
                state = ReportState::Stopped;
        });
    if (state == ReportState::Missing)
        showWarning(boxParent(),
                    tr("Error 3454: Can't find income report record with id %1").arg(id));
    if (state != ReportState::Built) {
        clear(state == ReportState::Failed ? tr("Накладная не прочитана.")
              : state == ReportState::Stopped ? tr("Подготовка накладной остановлена.")
                                              : QString());
        return false;
    }
    m_report = std::move(report);
    m_pages = std::move(made);
    m_newest = std::max(m_newest, int(id));
    m_ui->reportView->setPages(&m_pages, m_report.title);
    enableCommands();
    return true;
}

/// Shows the receipt whose number stands in the field, unless it is shown already.
bool IncomeReportDialog::showTyped()
{
    m_ui->reportidSpinBox->interpretText();
    if (m_report.id != 0 && m_report.id == qulonglong(m_ui->reportidSpinBox->value()))
        return true;
    const bool none = m_newest == 0 && m_ui->reportidSpinBox->value() == 0;
    const bool shown = none ? showNewest() : showReport();
    if (!shown) {
        m_ui->reportidSpinBox->setFocus();
        m_ui->reportidSpinBox->selectAll();
    }
    return shown;
}

/// Shows the receipt with other columns.
void IncomeReportDialog::showAgain()
{
    if (m_report.id == 0)
        return;
    m_ui->reportidSpinBox->setValue(int(m_report.id));
    showReport();
}

void IncomeReportDialog::clear(const QString &text)
{
    m_report = {};
    m_ui->reportView->setPages(nullptr, text);
    enableCommands();
}

void IncomeReportDialog::enableCommands()
{
    for (QPushButton *button : {m_ui->printPushButton, m_ui->pdfPushButton, m_ui->exportPushButton})
        button->setEnabled(m_report.id != 0);
    m_ui->copyAction->setEnabled(m_report.id != 0);
}

void IncomeReportDialog::on_reportidSpinBox_stepped()
{
    showReport();
}

void IncomeReportDialog::on_articleCheckBox_toggled(bool /*checked*/)
{
    showAgain();
}

void IncomeReportDialog::on_locationCheckBox_toggled(bool /*checked*/)
{
    showAgain();
}

void IncomeReportDialog::on_incostCheckBox_toggled(bool /*checked*/)
{
    showAgain();
}

void IncomeReportDialog::on_viewPushButton_clicked()
{
    m_report = {}; // another station may have changed it
    showTyped();
}

void IncomeReportDialog::on_copyAction_triggered()
{
    auto *content = new QMimeData;
    QTextDocument document;
    document.setHtml(m_report.html());
    content->setHtml(m_report.html());
    content->setText(document.toPlainText());
    QGuiApplication::clipboard()->setMimeData(content);
}

void IncomeReportDialog::on_printPushButton_clicked()
{
    if (!showTyped())
        return;
    QPrinter printer(QPrinter::HighResolution);
    printer.setPageLayout(sheet());
    QPrintDialog dialog(&printer, this);
    dialog.setWindowTitle(tr("печать приходной накладной"));
    dialog.setOption(QAbstractPrintDialog::PrintPageRange);
    dialog.setMinMax(1, m_pages.count());
    if (dialog.exec() == QDialog::Accepted)
        printOn(printer);
}

bool IncomeReportDialog::layOutFor(const QSizeF &room, ReportPages &pages)
{
    bool done = false;
    runWithProgress(this, tr("Подготовка накладной…"), Stopping::Harmless, [&](Progress &progress) {
        done = pages.layOut(m_report, room, progress.steps());
    });
    return done;
}

bool IncomeReportDialog::printOn(QPrinter &printer)
{
    printer.setDocName(m_report.documentName);
    // Other paper than is shown: it is laid out for that.
    const QSizeF room = roomOn(printer.pageLayout());
    ReportPages others;
    const bool fits = qAbs(room.width() - m_pages.room().width()) < 0.5 &&
                      qAbs(room.height() - m_pages.room().height()) < 0.5;
    if (!fits && !layOutFor(room, others))
        return false;
    const ReportPages &pages = fits ? m_pages : others;
    const int first = std::max(printer.fromPage(), 1) - 1;
    const int last =
        printer.toPage() > 0 ? std::min(printer.toPage(), pages.count()) - 1 : pages.count() - 1;
    // The printer itself would leave a part of a file in the place of a whole one.
    if (printer.outputFormat() == QPrinter::PdfFormat)
        return writePdf(printer.outputFileName(), printer.pageLayout(), pages, first, last);
    auto printed = ReportPages::Printed::Failed;
    // Not to be stopped: the printer would get the pages painted by then.
    runWithProgress(this, tr("Печать накладной…"), Stopping::Never, [&](Progress &progress) {
        if (isReached(printer))
            printed = pages.print(&printer, first, last, progress.steps());
    });
    // It takes the pages in silence, whether they arrive or not.
    const bool done = printed == ReportPages::Printed::Whole && isReached(printer);
    if (!done)
        showWarning(this, tr("Ошибка печати накладной. Проверьте принтер «%1» и его очередь.")
                              .arg(printer.printerName()));
    return done;
}

void IncomeReportDialog::on_pdfPushButton_clicked()
{
    if (!showTyped())
        return;
    const QString path =
        askSavePath(this, tr("Сохранение накладной"), tr("Накладная %1").arg(m_report.id) + ".pdf",
                    tr("PDF Document (*.pdf)"));
    if (!path.isEmpty())
        savePdf(path);
}

bool IncomeReportDialog::savePdf(const QString &path)
{
    return writePdf(path, sheet(), m_pages, 0, m_pages.count() - 1);
}

/// Writes pages, numbered from 0, to a file, which comes to be whole or not at all.
bool IncomeReportDialog::writePdf(const QString &path, const QPageLayout &layout,
                                  const ReportPages &pages, int first, int last)
{
    QSaveFile file(path);
    auto printed = ReportPages::Printed::Failed;
    if (file.open(QIODevice::WriteOnly)) {
        QPdfWriter writer(&file);
        writer.setTitle(m_report.documentName);
        writer.setPageLayout(layout);
        runWithProgress(this, tr("Сохранение накладной…"), Stopping::Harmless,
                        [&](Progress &progress) {
                            printed = pages.print(&writer, first, last, progress.steps());
                        });
    }
    const bool written = printed == ReportPages::Printed::Whole && file.flush() && file.commit();
    if (!written && printed != ReportPages::Printed::Stopped)
        showFailure(this, tr("Ошибка создания файла накладной ") + path, file.errorString());
    return written;
}

void IncomeReportDialog::on_exportPushButton_clicked()
{
    if (showTyped())
        exportReceipt(this, m_report.id);
}

void IncomeReportDialog::on_closePushButton_clicked()
{
    accept();
}
