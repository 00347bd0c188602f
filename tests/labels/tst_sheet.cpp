// Sheets as numbers, and as other programs read them from images and PDF.
#include "labels/ean13.h"
#include "labels/labelpresets.h"
#include "labels/sheetpainter.h"

#include "catalogue/barcode.h"
#include "tests/support/datatable.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPdfWriter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <ZXing/ReadBarcode.h>

namespace {

const QString longName = QStringLiteral(
    "Аккумуляторная дрель-шуруповёрт с ударным механизмом, двумя аккумуляторами 20В/4Ач, зарядным "
    "устройством, кейсом и набором из 109 предметов, сине-чёрная, арт. ДШУ-20/2-109К");

/// Whole codes, short ones, and internal ones, all with the right last digit.
QStringList mixedCodes(int count)
{
    QStringList codes;
    for (int i = 0; i < count; ++i) {
        const qulonglong number = qulonglong(i) * 7919 + 1;
        QString code = i % 3 == 0   ? QString::number(400000000000 + number * 504001)
                       : i % 3 == 1 ? QString::number(number * 31 + 1000000)
                                    : QString::number(200000000000 + number);
        code = code.rightJustified(12, u'0').left(12);
        code += QString::number(ean13CheckDigit(code));
        while (i % 3 == 1 && code.startsWith(u'0'))
            code.remove(0, 1);
        codes += code;
    }
    return codes;
}

QList<PlacedLabel> labelsOf(const SheetSettings &settings, const QStringList &codes)
{
    QList<PlacedLabel> labels;
    for (int i = 0; i < codes.size(); ++i)
        labels +=
            {i / settings.columns,
             i % settings.columns,
             {codes.at(i), longName, "Цена: 1234567 ₽ 50 к./10 кг", "Марка, Россия"}};
    return labels;
}

QList<QStringList> onSheets(const QStringList &codes, int cells)
{
    QList<QStringList> sheets;
    for (int i = 0; i < codes.size(); i += cells)
        sheets += codes.mid(i, cells);
    return sheets;
}

QSize paperSize(const SheetSettings &settings)
{
    return (SheetLayout::paperSize(settings) * settings.dpi / 25.4).toSize();
}

void paint(QPainter &painter, const SheetSettings &settings, const QStringList &codes)
{
    painter.translate(SheetLayout(settings).gridOrigin());
    SheetPainter(&painter, settings).paintSheet(labelsOf(settings, codes));
}

QImage image(const SheetSettings &settings, const QStringList &codes)
{
    QImage sheet(paperSize(settings), QImage::Format_Grayscale8);
    sheet.fill(Qt::white);
    QPainter painter(&sheet);
    paint(painter, settings, codes);
    return sheet;
}

QList<QImage> cutOut(const SheetSettings &settings, const QImage &sheet, qsizetype count)
{
    QList<QImage> labels;
    const SheetLayout layout(settings);
    for (int i = 0; i < count; ++i)
        labels += sheet.copy(
            layout.cell(layout.gridOrigin(), i / settings.columns, i % settings.columns));
    return labels;
}

QString readByZXing(const QImage &label)
{
    const ZXing::ImageView view(label.constBits(), label.width(), label.height(),
                                ZXing::ImageFormat::Lum, int(label.bytesPerLine()));
    const auto found =
        ZXing::ReadBarcode(view, ZXing::DecodeHints().setFormats(ZXing::BarcodeFormat::EAN13));
    return found.isValid() ? QString::fromStdWString(found.text()) : QString();
}

QStringList readByZXing(const QList<QImage> &labels)
{
    QStringList codes;
    for (const QImage &label : labels)
        codes += readByZXing(label);
    return codes;
}

QStringList run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(300000)
               ? QString::fromUtf8(process.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts)
               : QStringList(program + " hangs");
}

QStringList readByZbar(const QList<QImage> &labels)
{
    const QTemporaryDir directory;
    QStringList files = {"-q", "--raw", "-Sdisable", "-Sean13.enable"};
    for (int i = 0; i < labels.size(); ++i) {
        files += directory.filePath(QStringLiteral("%1.pgm").arg(i, 5, 10, QChar(u'0')));
        labels.at(i).save(files.last());
    }
    return run("zbarimg", files);
}

QStringList padded(const QStringList &codes)
{
    QStringList texts;
    for (const QString &code : codes)
        texts += ean13Text(code);
    return texts;
}

} // namespace

class TestSheet : public QObject
{
    Q_OBJECT

private slots:
    void geometry()
    {
        SheetSettings settings = {.rows = 3, .columns = 2, .dpi = 203, .width = 7.6, .height = 5};
        settings.blocks[0] = {.offset = 0.33, .size = 9};
        const SheetLayout layout(settings);
        QCOMPARE(layout.width(), 607);
        QCOMPARE(layout.height(), 399);
        QCOMPARE(layout.sideMargin(), 7);
        QCOMPARE(layout.fontSize(LabelBlock::Organisation), 18);
        QCOMPARE(layout.offset(LabelBlock::Organisation), 26);
        QCOMPARE(layout.cell({10, 20}, 2, 1), QRect(313, 286, 303, 133));
        const QList<QLine> frame = {{10, 20, 606, 0},
                                    {10, 153, 606, 133},
                                    {10, 286, 606, 266},
                                    {10, 20, 0, 398},
                                    {313, 20, 303, 398}};
        QCOMPARE(layout.frame({10, 20}), frame);
    }

    void placesOnSheets()
    {
        const SheetSettings settings = {.rows = 3, .columns = 4};
        const SheetPlan plan({{1, 1}, {2, 0}, {3, -5}, {4, 2000000000}, {5, 2}}, settings, 11);
        QCOMPARE(plan.labels(), 2000000003);
        QCOMPARE(plan.sheet(1), (QList<SheetPlan::Place>{{0, 2, 3}}));
        QCOMPARE(plan.sheet(2).size(), 12);
        QCOMPARE(plan.sheet(2).at(5), (SheetPlan::Place{3, 1, 1}));
        QCOMPARE(plan.sheets(), 166666668);
        QCOMPARE(plan.sheet(plan.sheets()).last(), (SheetPlan::Place{4, 2, 1}));
        QCOMPARE(plan.sheet(plan.sheets() + 1).size(), 0);
        QCOMPARE(SheetPlan({}, settings, 0).sheet(1).size(), 0);
        QCOMPARE(sheetCount(25, 12), 3);
        QCOMPARE(sheetCount(24, 12), 2);
        QCOMPARE(labelCount(0.001), 1);
        QCOMPARE(labelCount(-0.5), 0);
        QCOMPARE(labelCount(3 * 1.1 - 0.3), 3);
        QCOMPARE(labelCount(1e300), std::numeric_limits<int>::max());
    }

    void everyLabelIsRead_data()
    {
        addColumns<int, int>("preset", "dpi");
        for (int preset = 0; preset < 4; ++preset) {
            for (const int dpi : {203, 300, 600})
                QTest::addRow("%d at %d dpi", preset, dpi) << preset << dpi;
        }
    }

    void everyLabelIsRead()
    {
        const auto [preset, dpi] = rowValues<int, int>();
        SheetSettings settings = presets::readyMade().list.at(preset).settings;
        settings.dpi = dpi;
        const auto sheets = onSheets(mixedCodes(1000), settings.cells());
        for (const QStringList &codes : sheets) {
            const QImage sheet = image(settings, codes);
            const QList<QImage> labels = cutOut(settings, sheet, codes.size());
            QCOMPARE(readByZXing(labels), padded(codes));
            if (dpi == 300)
                QCOMPARE(readByZbar(labels), padded(codes));
        }
    }

    void pdfIsRead_data()
    {
        addColumns<int>("preset");
        for (int preset = 0; preset < 4; ++preset)
            QTest::addRow("%d", preset) << preset;
    }

    void pdfIsRead()
    {
        const auto [preset] = rowValues<int>();
        const SheetSettings settings = presets::readyMade().list.at(preset).settings;
        const auto sheets = onSheets(mixedCodes(200), settings.cells());
        const QTemporaryDir directory;
        const QString file = directory.filePath("labels.pdf");
        {
            QPdfWriter pdf(file);
            pdf.setResolution(settings.dpi);
            pdf.setPageLayout({QPageSize(SheetLayout::paperSize(settings), QPageSize::Millimeter),
                               QPageLayout::Portrait,
                               {}});
            QPainter painter(&pdf);
            for (const QStringList &codes : sheets) {
                if (codes != sheets.first())
                    pdf.newPage();
                painter.save();
                paint(painter, settings, codes);
                painter.restore();
            }
        }
        run("pdftoppm",
            {"-gray", "-r", QString::number(settings.dpi), file, directory.filePath("page")});
        const auto pages = QDir(directory.path()).entryList({"page*"}, QDir::Files, QDir::Name);
        QCOMPARE(pages.size(), sheets.size());
        for (int i = 0; i < pages.size(); ++i) {
            const QImage page =
                QImage(directory.filePath(pages.at(i))).convertToFormat(QImage::Format_Grayscale8);
            QCOMPARE(readByZXing(cutOut(settings, page, sheets.at(i).size())),
                     padded(sheets.at(i)));
        }
    }

    void spoiltLabelsAreNotRead()
    {
        const SheetSettings settings = presets::readyMade().list.at(0).settings;
        QImage label = cutOut(settings, image(settings, mixedCodes(1)), 1).first();
        QPainter painter(&label);
        painter.fillRect(0, 0, label.width() / 2, label.height(), Qt::white);
        painter.end();
        QCOMPARE(readByZXing(label), "");
        QCOMPARE(readByZbar({label}), QStringList());
    }

    void barsAreWhole()
    {
        // A width at which modules cut one by one would tear.
        QImage picture(303, 100, QImage::Format_Grayscale8);
        picture.fill(Qt::white);
        QPainter painter(&picture);
        SheetPainter::paintBarcode(painter, picture.rect(), "4006381333931");
        painter.end();
        int runs = 0;
        for (int x = 1; x < picture.width(); ++x)
            runs += qGray(picture.pixel(x, 10)) < 128 && qGray(picture.pixel(x - 1, 10)) >= 128;
        QCOMPARE(runs, 30);
    }

    void warnings()
    {
        SheetSettings settings = presets::readyMade().list.at(1).settings;
        QCOMPARE(sheetWarnings(settings), QStringList());
        settings.dpi = 100;
        QVERIFY(sheetWarnings(settings).value(0).contains("слишком узкие"));
        settings = presets::readyMade().list.at(2).settings;
        QVERIFY(
            sheetWarnings(settings).value(0).contains("слева от штрих-кода меньше нормы: 7 из 11"));
        settings.blocks[2].on = false;
        QCOMPARE(sheetWarnings(settings), QStringList());
    }
};

QTEST_MAIN(TestSheet)
#include "tst_sheet.moc"
