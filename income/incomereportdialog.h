#pragma once

#include <QDialog>

#include <memory>

#include "income/incomereport.h"
#include "income/reportpages.h"

class QPageLayout;
class QPrinter;

namespace Ui {
class IncomeReportDialog;
}

/// Shows a posted receipt, the newest at first, and prints it or saves it to a file.
class IncomeReportDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit IncomeReportDialog(QWidget *parent);
    ~IncomeReportDialog() override;

    /// The pages that are shown; none without a receipt.
    const ReportPages *pages() const;

    /// Writes the receipt that is shown to a PDF file, and tells when that failed. Returns whether
    /// it was written.
    bool savePdf(const QString &path);

    /// Prints the receipt that is shown, as the printer is set, and tells when that failed. Returns
    /// whether it was printed.
    bool printOn(QPrinter &printer);

private slots:
    void on_reportidSpinBox_stepped();
    void on_articleCheckBox_toggled(bool checked);
    void on_locationCheckBox_toggled(bool checked);
    void on_incostCheckBox_toggled(bool checked);
    void on_viewPushButton_clicked();
    void on_copyAction_triggered();
    void on_printPushButton_clicked();
    void on_pdfPushButton_clicked();
    void on_exportPushButton_clicked();
    void on_closePushButton_clicked();

private:
    bool showNewest();
    bool showReport();
    bool showTyped();
    void showAgain();
    void clear(const QString &text);
    void enableCommands();
    ReportChoice choice() const;
    QWidget *boxParent();
    bool layOutFor(const QSizeF &room, ReportPages &pages);
    bool writePdf(const QString &path, const QPageLayout &layout, const ReportPages &pages,
                  int first, int last);

    std::unique_ptr<Ui::IncomeReportDialog> m_ui;
    int m_newest = 0;      ///< a receipt's number; 0: none was found yet
    IncomeReport m_report; ///< number 0: none is shown
    ReportPages m_pages;
};
