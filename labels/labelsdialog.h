#pragma once

#include <QDialog>
#include <QTimer>

#include <memory>

#include "labels/labelqueue.h"
#include "labels/sheetprint.h"
#include "widgets/scantaker.h"

class LabelSettingsFields;
class LabelsTable;
class PagedTable;
class PresetChoice;
class QModelIndex;
class QPrinter;
class SqlTableModel;

namespace Ui {
class LabelsDialog;
}

/// The queue of labels, what fills it, the layout of sheets, their preview and their printing.
class LabelsDialog final : public QDialog, public ScanTaker
{
    Q_OBJECT

public:
    explicit LabelsDialog(QWidget *parent);
    ~LabelsDialog() override;

    /// Adds labels for a posted receipt. False when there was none to add, which has been told.
    bool importReceipt(qulonglong reportId);

    /// Adds labels for the working list.
    void importWorkingList();

    /// Adds labels for a scanned code.
    void takeScan(const QString &code) override;

    void reject() override;

private slots:
    void on_settingsComboBox_activated(int index);
    void on_savePresetPushButton_clicked();
    void on_deletePresetPushButton_clicked();
    void on_quantityPushButton_clicked();
    void on_deleteLabelsPushButton_clicked();
    void on_deleteAllPushButton_clicked();
    void on_quantityAction_triggered();
    void on_deleteLabelsAction_triggered();
    void on_deleteAllAction_triggered();
    void on_copyAction_triggered();
    void on_codefilterLineEdit_textChanged();
    void on_codefilterLineEdit_returnPressed();
    void on_namefilterLineEdit_textChanged();
    void on_namefilterLineEdit_returnPressed();
    void on_codesTableView_activated(const QModelIndex &index);
    void on_codesButton_clicked();
    void on_importLocalFromIncomeButton_clicked();
    void on_importListPushButton_clicked();
    void on_addMarksPushButton_clicked();
    void on_strikeOffPushButton_clicked();
    void on_resetstartcellButton_clicked();
    void on_pageSpinBox_valueChanged();
    void on_realSizePushButton_toggled(bool checked);
    void on_refreshPushButton_clicked();
    void on_pdfPushButton_clicked();
    void on_printButton_clicked();
    void on_closePushButton_clicked();

private:
    void setUpTables();
    bool add(const NewLabels &labels, const QString &none);
    void readMarks();
    void takeQueue();
    void plan();
    void showSheet();
    void enableCommands();
    bool mayPrint();
    SheetRun wholeRun() const;
    PrintResult print(const std::function<PrintResult(const ProgressStep &)> &work,
                      const SheetRun &run, const QString &failure);
    void printToFile(const QString &fileName, const QString &title, const SheetRun &run);
    void printOn(QPrinter &printer, const SheetRun &run);
    void offerStrikingOff(const SheetRun &run);
    void strike(const QList<int> &marks);

    std::unique_ptr<Ui::LabelsDialog> m_ui;
    LabelsTable *m_queue;
    LabelSettingsFields *m_fields;
    PresetChoice *m_presets;
    SqlTableModel *m_codesModel;
    PagedTable *m_codes;
    SqlTableModel *m_marks;
    SheetPlan m_plan;
    qlonglong m_total = 0;
    LabelReader m_reader;
    LabelFaults m_faults;
    QTimer m_planTimer;
};
