#include "labels/sheetprint.h"

#include <QPdfWriter>
#include <QSaveFile>

#include <algorithm>

#include "labels/sheetpainter.h"

namespace {

constexpr int rowsAhead = 200;
constexpr qlonglong cellsBetweenSteps = 20;

} // namespace

bool labelsOfSheet(QWidget *parent, const SheetPlan &plan, qlonglong sheet, LabelReader &reader,
                   QList<PlacedLabel> &labels, int readAhead)
{
    labels.clear();
    const QList<SheetPlan::Place> places = plan.sheet(sheet);
    if (places.isEmpty())
        return true;
    QList<qulonglong> ids;
    for (const SheetPlan::Place &place : places) {
        const qulonglong id = plan.rows().at(place.index).id;
        if (ids.isEmpty() || ids.last() != id)
            ids += id;
    }
    if (readAhead > 0 && !reader.hasRead(ids)) {
        const qsizetype next = places.last().index + 1;
        const qsizetype end = std::min(plan.rows().size(), next + readAhead);
        for (qsizetype i = next; i < end; ++i)
            ids += plan.rows().at(i).id;
    }
    if (!reader.read(parent, ids))
        return false;
    for (const SheetPlan::Place &place : places) {
        if (const LabelReader::Data *data = reader.find(plan.rows().at(place.index).id))
            labels += {place.row, place.column, data->text};
    }
    return true;
}

QList<qulonglong> rowsOfRun(const SheetRun &run)
{
    QList<qulonglong> ids;
    const QList<SheetPlan::Place> first = run.plan.sheet(run.from);
    const QList<SheetPlan::Place> last = run.plan.sheet(run.to);
    if (first.isEmpty() || last.isEmpty())
        return ids;
    for (qsizetype i = first.first().index; i <= last.last().index; ++i) {
        if (run.plan.rows().at(i).labels > 0)
            ids += run.plan.rows().at(i).id;
    }
    return ids;
}

void setPaper(QPagedPaintDevice &device, const SheetSettings &settings)
{
    const QSizeF size = SheetLayout::paperSize(settings);
    QPageSize paper(QPageSize::A4);
    if (settings.cells() == 1)
        paper = QPageSize(size, QPageSize::Millimeter, QString(), QPageSize::ExactMatch);
    QPageLayout layout(paper, QPageLayout::Portrait, {}, QPageLayout::Millimeter);
    layout.setMode(QPageLayout::FullPageMode);
    device.setPageLayout(layout);
}

PrintResult printSheets(QWidget *parent, QPagedPaintDevice &device, int resolution,
                        const SheetRun &run, LabelReader &reader, LabelFaults &faults,
                        const ProgressStep &step)
{
    QPainter painter;
    if (!painter.begin(&device))
        return PrintResult::DeviceFailed;
    const SheetLayout layout(run.settings);
    const bool hasBarcode = run.settings.block(LabelBlock::Barcode).on;
    const double scale = double(resolution) / run.settings.dpi;
    if (scale != 1)
        painter.scale(scale, scale);
    painter.translate(layout.gridOrigin());
    SheetPainter sheetPainter(&painter, run.settings);
    const qlonglong sheetsBetweenSteps = std::max(1LL, cellsBetweenSteps / run.settings.cells());
    for (qlonglong sheet = run.from; sheet <= run.to; ++sheet) {
        if ((sheet - run.from) % sheetsBetweenSteps == 0 &&
            !goOn(step, int(sheet - run.from), int(run.to - run.from + 1)))
            return PrintResult::Stopped;
        QList<PlacedLabel> labels;
        if (!labelsOfSheet(parent, run.plan, sheet, reader, labels, rowsAhead))
            return PrintResult::NotRead;
        if (sheet > run.from && !device.newPage())
            return PrintResult::DeviceFailed;
        sheetPainter.paintSheet(labels);
        qulonglong last = 0;
        for (const SheetPlan::Place &place : run.plan.sheet(sheet)) {
            const qulonglong id = run.plan.rows().at(place.index).id;
            if (const LabelReader::Data *data = id == last ? nullptr : reader.find(id))
                faults.add(*data, hasBarcode);
            last = id;
        }
    }
    return painter.end() ? PrintResult::Done : PrintResult::DeviceFailed;
}

PrintResult writePdf(QWidget *parent, const QString &fileName, const QString &title,
                     const SheetRun &run, LabelReader &reader, LabelFaults &faults,
                     const ProgressStep &step)
{
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly))
        return PrintResult::DeviceFailed;
    QPdfWriter pdf(&file);
    pdf.setTitle(title);
    pdf.setResolution(run.settings.dpi);
    setPaper(pdf, run.settings);
    const PrintResult result =
        printSheets(parent, pdf, run.settings.dpi, run, reader, faults, step);
    // What is still to be written when it is committed may fail in silence.
    if (result == PrintResult::Done && !(file.flush() && file.commit()))
        return PrintResult::DeviceFailed;
    return result;
}
