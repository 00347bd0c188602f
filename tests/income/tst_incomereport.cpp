// The report of a posted receipt and its files: what it says, on which sheet, and who can read it.
#include "income/incomereport.h"
#include "income/incomereportdialog.h"
#include "income/receiptexport.h"

#include "tests/support/databasetest.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/files.h"
#include "tests/support/widgets.h"

#include <QElapsedTimer>
#include <QFileDialog>
#include <QPrintDialog>
#include <QPrinter>
#include <QProcess>
#include <QProgressDialog>
#include <QSpinBox>
#include <QTextDocumentFragment>

namespace {

QString output(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished() && process.exitCode() == 0
               ? QString::fromUtf8(process.readAllStandardOutput())
               : "FAILED";
}

/// The words of a PDF file, page by page.
QStringList pagesOf(const QString &path)
{
    QStringList pages = output("pdftotext", {"-layout", path, "-"}).split('\f');
    pages.removeLast();
    for (QString &page : pages)
        page = page.simplified();
    return pages;
}

} // namespace

class TestIncomeReport : public DatabaseTest
{
    Q_OBJECT

private slots:
    void document_saysWhatWasPosted()
    {
        IncomeReport report;
        QCOMPARE(buildIncomeReport(nullptr, 5, {.location = true, .purchaseTotal = true}, report),
                 ReportState::Built);
        QCOMPARE(report.documentName, "income_5_2026-03-01");
        QVERIFY(report.html().startsWith(
            "<h1>Приходная накладная #5 от 01.03.2026 10:00. Безналичными</h1><table border='1' "
            "cellspacing='0' cellpadding='5'><thead><tr><td><b>#</b></td><td><b>Код</b></td>"));
        QCOMPARE(report.lines.rows.value(0),
                 "<tr><td>1</td><td>1</td><td>&lt;b&gt;</td><td>" +
                     shop::nastyName.toHtmlEscaped() +
                     "</td><td>A&amp;B</td><td>3</td><td>шт</td><td>10.10</td><td>20.34</td>"
                     "<td>61.01</td></tr>");
        QCOMPARE(report.lines.rows.value(2), // its product is gone
                 "<tr><td>3</td><td>99</td><td></td><td></td><td></td><td>-1</td><td></td>"
                 "<td>5</td><td></td><td></td></tr>");
        // 3 * 20.335 and 0.125 * 8: rounded once, as it was meant.
        QCOMPARE(report.totals, "<p>Расх.итог: 62.01</p><p>Прих.итог: 25.80</p>");
        // Line 1 is short; 2 is complete, 3 was not checked.
        QVERIFY(report.html().endsWith(
            "<h2>Рекламация</h2><h4>Приходная накладная #5 - 01.03.2026 10:00 - проверил: "
            "Администратор</h4><table border='1' cellspacing='0' cellpadding='5'><thead><tr><td><b>"
            "Наименование</b></td><td><b>Кол-во по накладной</b></td><td><b>Кол-во фактически"
            "</b></td></tr></thead><tbody><tr><td>" +
            shop::nastyName.toHtmlEscaped() + "</td><td>3</td><td>2.5</td></tr></tbody></table>"));

        QCOMPARE(buildIncomeReport(nullptr, 3, {.article = false}, report), ReportState::Built);
        QVERIFY(report.heading.contains(". Наличными<") && report.claimHeading.isEmpty());
        QVERIFY(!report.html().contains("Артикул") && !report.html().contains("Место"));
        QCOMPARE(buildIncomeReport(nullptr, 4, {}, report), ReportState::Missing);
    }

    void file_isReadBack()
    {
        const QString path = m_home->path() + "/a.csv";
        m_boxes->answer("OK");
        QVERIFY(exportReceiptTo(nullptr, path));
        const QByteArray header = "wuid, article, product, incost, outcost, quantity\r\n";
        QCOMPARE(readFile(path), header);
        shop::addProduct({.id = 4, .name = "Чай, \"чёрный\"\r\nбайховый", .article = "=1+1"});
        shop::addLine({.wareId = 4, .quantity = -0.125, .incost = 1234.5, .outcost = 0.1});
        m_boxes->answer("OK");
        QVERIFY(exportReceiptTo(nullptr, path));
        QCOMPARE(QString::fromUtf8(readFile(path)),
                 header + ", '=1+1, \"Чай, \"\"чёрный\"\"\r\nбайховый\", 1234.5, 0.1, -0.125\r\n");
        m_boxes->answer("OK");
        QVERIFY(exportReceiptTo(nullptr, path, 3));
        QCOMPARE(readFile(path), header + ", , Чай, 7, 8, 1\r\n");
        m_boxes->answer("OK");
        QVERIFY(!exportReceiptTo(nullptr, m_home->path() + "/none/a.csv"));
        QCOMPARE(m_boxes->lastText(),
                 "Ошибка создания файла накладной " + m_home->path() + "/none/a.csv");
        QCOMPARE(QDir(m_home->path()).entryList({"a.csv*"}).size(), 1);
    }

    void dialog_findsReceipts()
    {
        if (isServer())
            QSKIP("The statements are those of the cases above");
        IncomeReportDialog dialog(nullptr);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowActive(&dialog));
        auto *number = child<QSpinBox>(dialog, "reportidSpinBox");
        const auto press = [&](Qt::Key key, int expected) {
            QTest::keyClick(number, key);
            return number->value() == expected && dialog.pages();
        };
        QVERIFY(press(Qt::Key_Up, 5) && press(Qt::Key_Down, 3) && press(Qt::Key_PageDown, 1) &&
                press(Qt::Key_Down, 1) && press(Qt::Key_Up, 3));
        const auto typeNumber = [&](const QString &text) {
            number->selectAll();
            QTest::keyClicks(number, text);
            QTest::keyClick(number, Qt::Key_Return);
        };
        m_boxes->answer("OK");
        typeNumber("4");
        QCOMPARE(m_boxes->lastText(), "Error 3454: Can't find income report record with id 4");
        QVERIFY(!dialog.pages() && !child<QPushButton>(dialog, "pdfPushButton")->isEnabled());
        typeNumber("5");
        QVERIFY(dialog.pages());

        // What is typed is what is saved, also without Return; a name without a suffix gets one.
        number->selectAll();
        QTest::keyClicks(number, "1");
        DialogSteps steps;
        steps.whenOpen<QFileDialog>([&](QFileDialog &files) {
            QCOMPARE(files.windowTitle(), "Сохранение накладной");
            QVERIFY(files.selectedFiles().value(0).endsWith("/Накладная 1.pdf"));
            child<QLineEdit>(files, "fileNameEdit")->setText(m_home->path() + "/one");
            QTest::keyClick(child<QLineEdit>(files, "fileNameEdit"), Qt::Key_Return);
        });
        click(dialog, "pdfPushButton");
        steps.whenOpen<QPrintDialog>([](QPrintDialog &printing) {
            QCOMPARE(printing.windowTitle(), "печать приходной накладной");
        });
        click(dialog, "printPushButton");
        QVERIFY(steps.allServed());
        QVERIFY(output("pdfinfo", {m_home->path() + "/one.pdf"}).contains("income_1_2026-01-01"));
        m_boxes->answer("OK");
        QVERIFY(!dialog.savePdf(m_home->path() + "/none/a.pdf"));

        clearShop();
        IncomeReportDialog empty(nullptr);
        click(empty, "viewPushButton");
        QVERIFY(!empty.pages());
    }

    void paper_isReadBack()
    {
        if (isServer())
            QSKIP("The statements are those of the cases above");
        rows("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<10000) INSERT "
             "INTO income(reportid,wareid,quantity,incost) SELECT 6, 3, i, 7 FROM n; INSERT INTO "
             "incomereports(id,timestamp) VALUES(6,'2026-03-02 10:00:00')");
        QElapsedTimer clock;
        clock.start();
        IncomeReportDialog dialog(nullptr);
        qInfo() << "10,000 lines are shown in" << clock.restart() << "ms";
        const QString path = m_home->path() + "/long.pdf";
        QVERIFY(dialog.savePdf(path));
        qInfo() << "and written in" << clock.restart() << "ms";
        QVERIFY(output("pdfinfo", {path}).contains("A4"));
        const QStringList pages = pagesOf(path);
        QCOMPARE(pages.size(), dialog.pages()->count());
        int line = 0;
        for (int i = 0; i < pages.size(); ++i) {
            QCOMPARE(pages.at(i).count("# Код Артикул Наименование Кол-во"), 1);
            QVERIFY(pages.at(i).endsWith(QString("Стр. %1 из %2").arg(i + 1).arg(pages.size())));
            while (pages.at(i).contains(QString(" %1 3 Чай %1 шт 7 8 ").arg(line + 1)))
                ++line;
        }
        QCOMPARE(line, 10000);

        // Stopped in the middle: the former file stays.
        QTimer user;
        connect(&user, &QTimer::timeout, &dialog, [&] {
            if (auto *progress = dialog.findChild<QProgressDialog *>())
                emit progress->canceled();
        });
        user.start(20);
        QVERIFY(!dialog.savePdf(path));
        QPrinter file(QPrinter::HighResolution);
        file.setOutputFileName(path);
        QVERIFY(!dialog.printOn(file));
        user.stop();
        QCOMPARE(pagesOf(path).size(), pages.size());

        // On other paper; a name that is higher than a sheet is broken between two lines.
        rows("UPDATE warehouse SET name='" + QString("слово ").repeated(3000) + "' WHERE id=2");
        QTest::keyClick(child<QSpinBox>(dialog, "reportidSpinBox"), Qt::Key_Down);
        child<QCheckBox>(dialog, "locationCheckBox")->click();
        QPrinter printer(QPrinter::HighResolution);
        printer.setOutputFileName(path);
        printer.setPageSize(QPageSize(QPageSize::A5));
        printer.setPageOrientation(QPageLayout::Landscape);
        QVERIFY(dialog.printOn(printer));
        QVERIFY(pagesOf(path).join(' ').count("слово") >= 3000);
        printer.setFromTo(2, 2);
        QVERIFY(dialog.printOn(printer));
        QCOMPARE(pagesOf(path).size(), 1);
        QVERIFY(pagesOf(path).first().contains("Стр. 2 из"));
    }

private:
    void prepare() override
    {
        openShop();
        shop::addProduct({.id = 1, .name = shop::nastyName, .outcost = 20.335, .article = "<b>"});
        shop::addProduct({.id = 2, .name = "Мало", .outcost = 8});
        shop::addProduct({.id = 3, .name = "Чай", .outcost = 8});
        rows("UPDATE warehouse SET location='A&B' WHERE id=1; INSERT INTO incomereports(id,"
             "payment_type,timestamp) VALUES(1,1,'2026-01-01 00:00:00'),(3,1,'2026-02-01 00:00:00')"
             ",(5,4,'2026-03-01 10:00:00'); INSERT INTO income(id,reportid,wareid,quantity,incost,"
             "checkquantity,checkuserid) VALUES(101,5,1,3,10.1,2.5,1),(102,5,2,0.125,4,0.125,1),"
             "(103,5,99,-1,5,NULL,NULL),(104,3,3,1,7,NULL,NULL)");
    }
};

QTEST_MAIN(TestIncomeReport)
#include "tst_incomereport.moc"
