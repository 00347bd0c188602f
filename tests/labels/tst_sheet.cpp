// Sheets as numbers, and as other programs read them from images and PDF.
#include "labels/ean13.h"
#include "labels/labelpresets.h"
#include "labels/sheetpainter.h"
#include "labels/sheetprint.h"

#include "tests/labels/mixedcodes.h"
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

QList<PlacedLabel> labelsOf(const SheetSettings &settings, const QStringList &codes)
{
    QList<PlacedLabel> labels;
    for (int i = 0; i < codes.size(); ++i)
        labels += {i / settings.columns,
                   i % settings.columns,
                   {codes.at(i), i % 8 == 0 ? longName : longName.first(25),
                    "Цена: 1234567 ₽ 50 к./10 кг", "Марка, Россия"}};
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

/// What zbarimg reads from pictures, a hundred and more at a time.
class ZbarReader
{
public:
    /// Of whole labels it gets the upper half of the bars and all beside them: it takes long to
    /// load a picture.
    void addBars(const SheetSettings &settings, const QList<QImage> &labels)
    {
        for (const QImage &label : labels) {
            QRect bars = SheetLayout(settings).block(LabelBlock::Barcode, label.rect());
            bars.setHeight((BarcodeLayout(bars).barBottom - bars.top()) / 2);
            add(label.copy(bars));
        }
        if (m_files.size() >= 100)
            texts();
    }

    void add(const QImage &picture)
    {
        m_files += m_directory.filePath(QStringLiteral("%1.pgm").arg(m_files.size()));
        picture.save(m_files.last());
    }

    /// All that was read so far, in the order of the pictures.
    QStringList texts()
    {
        if (!m_files.isEmpty())
            m_texts += run("zbarimg", QStringList{"-q", "--nodbus", "--raw", "-Sdisable",
                                                  "-Sean13.enable", "-Sx-density=0"} +
                                          m_files);
        m_files.clear();
        return m_texts;
    }

private:
    QTemporaryDir m_directory;
    QStringList m_files;
    QStringList m_texts;
};

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
        const QStringList all = mixedCodes(1000);
        ZbarReader zbar;
        for (const QStringList &codes : onSheets(all, settings.cells())) {
            const QImage sheet = image(settings, codes);
            const QList<QImage> labels = cutOut(settings, sheet, codes.size());
            QCOMPARE(readByZXing(labels), padded(codes));
            if (dpi >= 300)
                zbar.addBars(settings, labels);
        }
        if (dpi >= 300)
            QCOMPARE(zbar.texts(), padded(all));
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
        const QStringList all = mixedCodes(1000);
        const auto sheets = onSheets(all, settings.cells());
        const QTemporaryDir directory;
        const QString file = directory.filePath("labels.pdf");
        {
            QPdfWriter pdf(file);
            pdf.setResolution(settings.dpi);
            setPaper(pdf, settings);
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
        ZbarReader zbar;
        for (int i = 0; i < pages.size(); ++i) {
            const QImage page =
                QImage(directory.filePath(pages.at(i))).convertToFormat(QImage::Format_Grayscale8);
            const QList<QImage> labels = cutOut(settings, page, sheets.at(i).size());
            QCOMPARE(readByZXing(labels), padded(sheets.at(i)));
            if (settings.dpi >= 300)
                zbar.addBars(settings, labels);
        }
        if (settings.dpi >= 300)
            QCOMPARE(zbar.texts(), padded(all));
    }

    void spoiltLabelsAreNotRead()
    {
        const SheetSettings settings = presets::readyMade().list.at(0).settings;
        QImage label = cutOut(settings, image(settings, mixedCodes(1)), 1).first();
        QPainter painter(&label);
        painter.fillRect(0, 0, label.width() / 2, label.height(), Qt::white);
        painter.end();
        QCOMPARE(readByZXing(label), "");
        ZbarReader zbar;
        zbar.add(label);
        QCOMPARE(zbar.texts(), QStringList());
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
        // Nothing is left beside three labels of 70 mm, nor on a roll: 7 modules for 11 in the
        // cell.
        const QString left = "Светлое поле слева от штрих-кода меньше нормы: %1 из 11 модулей.";
        const QString right = "Светлое поле справа от штрих-кода меньше нормы: %1 из 7 модулей.";
        QList<SheetSettings> ready;
        for (const LabelPreset &preset : presets::readyMade().list) {
            ready += preset.settings;
            QCOMPARE(sheetWarnings(preset.settings),
                     ready.size() == 2 ? QStringList() : QStringList(left.arg(7)));
        }
        ready[0].width = 20.4; // 3 mm on both sides
        QCOMPARE(sheetWarnings(ready[0]), QStringList());
        ready[1].frame = true;
        QCOMPARE(sheetWarnings(ready[1]), QStringList(left.arg(7)));
        ready[1].frame = false;
        ready[1].x = -1.05; // half a millimetre off the paper
        QCOMPARE(sheetWarnings(ready[1]), QStringList(left.arg(5)));
        ready[2].x = 0.1;
        QCOMPARE(sheetWarnings(ready[2]), QStringList({left.arg(8), right.arg(5)}));
        ready[2].dpi = 90;
        QVERIFY(sheetWarnings(ready[2]).value(0).contains("слишком узкие"));
        ready[2].blocks[2].on = false;
        QCOMPARE(sheetWarnings(ready[2]), QStringList());
    }
};

QTEST_MAIN(TestSheet)
#include "tst_sheet.moc"
