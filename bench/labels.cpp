#include "bench/labels.h"

#include "bench/figures.h"
#include "catalogue/barcode.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "labels/labelpresets.h"
#include "labels/labelqueue.h"
#include "labels/previewwidget.h"
#include "labels/sheetpainter.h"
#include "labels/sheetprint.h"
#include "tests/support/files.h"

#include <QImage>
#include <QProcess>
#include <QTemporaryDir>

#include <vector>

#include <zint.h>

namespace {

constexpr int repetitions = 5;
constexpr int most = 10000;

QStringList codes(int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i) {
        const QString code = QString::number(460700000000 + qlonglong(i) * 7919);
        list += code + QString::number(ean13CheckDigit(code));
    }
    return list;
}

/// The queue holds labels for products, one for each of so many codes.
void fillQueue(int count)
{
    QStringList statements = {"DELETE FROM labels;", "DELETE FROM codes WHERE madein='bench';"};
    int ware = 0;
    for (const QString &code : codes(count)) {
        statements += "INSERT INTO codes(wareid,code,packquantity,madein) VALUES(" +
                      sql::integer(++ware) + ',' + sql::text(code) + ",1,'bench');";
        statements += "INSERT INTO labels(code,name,quantity) VALUES(" + sql::text(code) +
                      ",'Наименование товара на этикетке, достаточно длинное',1);";
    }
    statements.prepend("BEGIN;");
    statements += "COMMIT;";
    for (const QString &statement : std::as_const(statements)) {
        if (!QueryExec(nullptr, statement))
            qFatal("%s", qPrintable(statement));
    }
}

SheetPlan plan(const SheetSettings &settings)
{
    QList<SqlRow> rows;
    QueryRows(nullptr, labelsSelect(), rows);
    QList<SheetPlan::Row> queue;
    for (const SqlRow &row : std::as_const(rows))
        queue += {row.first().toULongLong(), 1};
    return {queue, settings, 0};
}

SheetSettings sheets()
{
    return presets::readyMade().list.first().settings;
}

double toPdf(const QString &file)
{
    return milliseconds([&] {
        LabelReader reader;
        LabelFaults faults;
        const SheetPlan all = plan(sheets());
        if (writePdf(nullptr, file, "labels", {sheets(), all, 1, all.sheets()}, reader, faults) !=
            PrintResult::Done)
            qFatal("no labels");
    });
}

/// Ends the program unless a page of a file shows so many codes: none is faster than an empty one.
void checkPage(const QTemporaryDir &directory, const QString &file, int page, int codes)
{
    const QString number = QString::number(page);
    QProcess reader;
    reader.setWorkingDirectory(directory.path());
    reader.start("sh",
                 {"-c", "pdftoppm -gray -r 150 -f " + number + " -l " + number + ' ' + file +
                            " page && zbarimg -q --nodbus --raw page*.pgm | wc -l; rm page*"});
    if (!reader.waitForFinished(60000) || reader.readAllStandardOutput().trimmed().toInt() != codes)
        qFatal("%s does not show its codes", qPrintable(file));
}

double run(const QString &program, const QStringList &arguments, const QString &directory)
{
    return milliseconds([&] {
        QProcess process;
        process.setWorkingDirectory(directory);
        process.start(program, arguments);
        if (!process.waitForFinished(600000) || process.exitCode() != 0)
            qFatal("%s", qPrintable(program));
    });
}

/// One page of the preview as the dialog shows it: what stands on it is read and painted.
double preview(PreviewWidget &widget, const SheetPlan &queue)
{
    return milliseconds([&] {
        LabelReader reader;
        QList<PlacedLabel> labels;
        labelsOfSheet(nullptr, queue, 1 + queue.sheets() / 2, reader, labels);
        widget.setSheet(sheets(), labels);
        widget.grab();
    });
}

const char *const foreignSheet = R"(<?xml version="1.0"?>
<Glabels-document xmlns="http://glabels.org/xmlns/3.0/">
  <Template brand="A4" part="24" size="A4" description="24">
    <Label-rectangle id="0" width="70mm" height="37mm" round="0mm" x_waste="0mm" y_waste="0mm">
      <Layout nx="3" ny="8" x0="0mm" y0="0mm" dx="70mm" dy="37mm"/>
    </Label-rectangle>
  </Template>
  <Objects id="0" rotate="False">
    <Object-barcode x="5mm" y="5mm" w="60mm" h="25mm" backend="gnu-barcode" style="EAN-13"
                    text="True" checksum="True" field="1" color="0x000000ff"
                    a0="1" a1="0" a2="0" a3="1" a4="0" a5="0"/>
  </Objects>
  <Merge type="Text/Comma" src="codes.csv"/>
</Glabels-document>
)";

} // namespace

void benchLabels(Table &table)
{
    const QTemporaryDir directory;
    const QString pdf = directory.filePath("labels.pdf");
    writeFile(directory.filePath("sheet.glabels"), foreignSheet);
    writeFile(directory.filePath("codes.csv"), codes(most).join('\n').toUtf8() + '\n');

    std::vector<double> few;
    std::vector<double> many;
    for (int turn = 0; turn < repetitions; ++turn) {
        fillQueue(most / 10);
        few.push_back(toPdf(pdf));
        fillQueue(most);
        many.push_back(toPdf(pdf));
    }
    table.note(QString("    labels per second: %1").arg(most / median(many) * 1000, 0, 'f', 0));
    table.row("10,000 labels to PDF / 10 times 1000", median(many), 10 * median(few), 1.2);
    const double foreign =
        run("glabels-3-batch", {"-o", "other.pdf", "-i", "codes.csv", "sheet.glabels"},
            directory.path());
    table.row("10,000 labels to PDF / gLabels", median(many), foreign, 0.05);
    for (const char *const file : {"labels.pdf", "other.pdf"})
        checkPage(directory, file, 300, 24);

    PreviewWidget widget;
    widget.resize(500, 700);
    const SheetPlan longQueue = plan(sheets());
    const SheetPlan shortQueue(longQueue.rows().first(100), sheets(), 0);
    std::vector<double> ofLong;
    std::vector<double> ofShort;
    for (int turn = 0; turn < 3 * repetitions; ++turn) {
        ofShort.push_back(preview(widget, shortQueue));
        ofLong.push_back(preview(widget, longQueue));
    }
    table.row("a page of the preview, 10,000 rows / 100", median(ofLong), median(ofShort), 2);

    const QStringList all = codes(most);
    std::vector<double> own;
    std::vector<double> other;
    QImage picture(300, 120, QImage::Format_Grayscale8);
    for (int turn = 0; turn < repetitions; ++turn) {
        own.push_back(milliseconds([&] {
            QPainter painter(&picture);
            for (const QString &code : all) {
                painter.fillRect(picture.rect(), Qt::white);
                SheetPainter::paintBarcode(painter, picture.rect(), code);
            }
        }));
        other.push_back(milliseconds([&] {
            zint_symbol *symbol = ZBarcode_Create();
            symbol->symbology = BARCODE_EANX;
            for (const QString &code : all) {
                const QByteArray digits = code.toLatin1();
                const auto *data = reinterpret_cast<const unsigned char *>(digits.constData());
                if (ZBarcode_Encode_and_Buffer(symbol, data, int(digits.size()), 0) != 0)
                    qFatal("%s", symbol->errtxt);
                ZBarcode_Clear(symbol);
                symbol->symbology = BARCODE_EANX;
            }
            ZBarcode_Delete(symbol);
        }));
    }
    table.note(QString("    symbols per second: %1").arg(most / median(own) * 1000, 0, 'f', 0));
    table.row("10,000 symbols painted, digits in any font / zint's library", median(own),
              median(other), 4);
    const double written =
        run("zint", {"--batch", "--mirror", "--barcode=EANX", "--filetype=svg", "-i", "codes.csv"},
            directory.path());
    table.row("10,000 symbols painted / zint, which writes files", median(own), written, 1);
}
