#pragma once

#include <QPagedPaintDevice>

#include "app/progressstep.h"
#include "labels/labelqueue.h"
#include "labels/sheetlayout.h"

class QWidget;

/// The labels of a sheet with what stands on them; a row that is gone leaves its cell empty. Reads
/// the rows that are not known yet, up to readAhead of those that follow as well. False on failure,
/// which has been told over the parent.
bool labelsOfSheet(QWidget *parent, const SheetPlan &plan, qlonglong sheet, LabelReader &reader,
                   QList<PlacedLabel> &labels, int readAhead = 0);

enum class PrintResult {
    Done,
    Stopped,      ///< by the user
    NotRead,      ///< the database did not answer, which has been told
    DeviceFailed, ///< the printer or the file does not take it
};

/// Which sheets of which queue are printed.
struct SheetRun
{
    SheetSettings settings;
    SheetPlan plan;
    qlonglong from = 1;
    qlonglong to = 1;
};

/// The rows of the queue whose labels are on these sheets.
QList<qulonglong> rowsOfRun(const SheetRun &run);

/// Paper for the sheets, without margins. Goes before the printing; the device has its resolution.
void setPaper(QPagedPaintDevice &device, const SheetSettings &settings);

/// Paints the sheets on a printer or into a PDF file. resolution: dots of the device in an inch.
/// Faults of the labels are noted.
PrintResult printSheets(QWidget *parent, QPagedPaintDevice &device, int resolution,
                        const SheetRun &run, LabelReader &reader, LabelFaults &faults,
                        const ProgressStep &step = {});

/// Writes the sheets to a PDF file, which comes to be whole or not at all.
PrintResult writePdf(QWidget *parent, const QString &fileName, const QString &title,
                     const SheetRun &run, LabelReader &reader, LabelFaults &faults,
                     const ProgressStep &step = {});
