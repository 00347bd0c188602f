// The stock view: what it adds up, its file for spreadsheets, the purchase prices of a product.

#include "catalogue/pricehistorydialog.h"
#include "catalogue/stockdialog.h"
#include "tests/support/databasetest.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/files.h"
#include "tests/support/widgets.h"
#include "widgets/csvfile.h"
#include "widgets/listexport.h"
#include "widgets/stepplot.h"

#include <QDir>
#include <QScopeGuard>
#include <QSignalBlocker>

#include <csignal>
#include <sys/resource.h>

class TestStock : public DatabaseTest
{
    Q_OBJECT

private slots:
    void totals_areThoseOfTheFilter()
    {
        StockDialog dialog(nullptr);
        dialog.show();
        // 33.3 is no such number in binary; what is not sold any more is still on the shelf.
        QTRY_COMPARE(totals(dialog), "3 9099.90 300");
        rows("UPDATE currencies SET value=100 WHERE c_code='USD'");
        QTest::mouseClick(child<QCheckBox>(dialog, "instockCheckBox"), Qt::LeftButton, {},
                          QPoint(8, child<QCheckBox>(dialog, "instockCheckBox")->height() / 2));
        QTRY_COMPARE(totals(dialog), "5 10068.90 240");
        const auto choose = [&](const char *box, int index) {
            auto *choice = child<QComboBox>(dialog, box);
            choice->setCurrentIndex(index);
            emit choice->activated(index);
        };
        choose("groupfilterComboBox", 1); // with its subgroup
        QTRY_COMPARE(totals(dialog), "2 10000.90 220");
        choose("groupfilterComboBox", 2);
        QTRY_COMPARE(totals(dialog), "1 9990 200");
        choose("groupfilterComboBox", 0);
        choose("brandfilterComboBox", 1);
        QTRY_COMPARE(totals(dialog), "1 10.90 20");
        choose("brandfilterComboBox", 0);
        type(dialog, "namefilterLineEdit", "олл");
        QTRY_COMPARE(totals(dialog), "1 9990 200");
    }

    void export_isTheWholeListAsShown()
    {
        for (int i = 0; i < 450; ++i)
            shop::addProduct({.id = qulonglong(100 + i), .name = "Я", .stock = 1});
        StockDialog dialog(nullptr);
        const QString path = QDir(m_home->path()).filePath("Склад.csv");
        m_boxes->answer("OK");
        QVERIFY(dialog.exportTo(path));
        QCOMPARE(m_boxes->lastText(), "Записано наименований: 453");
        const QByteArray content = readFile(path);
        QVERIFY(content.startsWith("\xEF\xBB\xBF"));
        const QStringList lines = QString::fromUtf8(content).split("\r\n");
        QCOMPARE(lines.size(), 455);
        QCOMPARE(lines.first(),
                 "Арт.;Наименование;Остаток;Ед.;Прих.цена;Расх.цена;Прих.сумма;Расх.сумма;Группа;"
                 "Производитель");
        QVERIFY(lines.contains("'=1+1;Доллар;3;шт;2997;66,67;8991;200;Дети;"));
        QVERIFY(lines.contains(";\"Кавычка \"\"; строка\n\";0,5;шт;21,8;40;10,9;20;Всё;Марка"));
        QVERIFY(lines.contains(";'-Снято;9,8;шт;10;8,16;98;80;;"));
    }

    void file_isWholeOrNotAtAll()
    {
        const QString path = QDir(m_home->path()).filePath("list.csv");
        CsvFile file(path, {.separator = ", ", .byteOrderMark = false, .decimalSign = u'.'});
        QVERIFY(file.open() && file.write({"a, b", 0.125, -5, "@x", QVariant()}) && file.commit());
        QCOMPARE(readFile(path), "\"a, b\", 0.125, -5, '@x, \r\n");

        const PagedSelect list = *stockPages(nullptr, {});
        const auto write = [&](const QString &to, const ProgressStep &progress = {}) {
            return exportList(nullptr, to, list, stockColumns(), 9, progress).state;
        };
        QCOMPARE(write(path, [](int, int) { return false; }), ExportState::Stopped);
        QCOMPARE(write(m_home->path() + "/none/list.csv"), ExportState::Unwritable);
        breakStatements("SELECT warehouse.id");
        QCOMPARE(write(path), ExportState::Unreadable);
        setStatementObserver({});

        // A file that may not grow fails like a full disk.
        rlimit former = {};
        getrlimit(RLIMIT_FSIZE, &former);
        const rlimit small = {.rlim_cur = 100, .rlim_max = former.rlim_max};
        auto *const handler = std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &small);
        const ExportState full = write(path);
        setrlimit(RLIMIT_FSIZE, &former);
        std::signal(SIGXFSZ, handler);
        QCOMPARE(full, ExportState::Unwritable);
        QVERIFY(readFile(path).startsWith("\"a, b\""));
        QCOMPARE(QDir(m_home->path()).entryList({"list*"}).size(), 1);
    }

    void history_showsReceiptsAndSteps()
    {
        rows("INSERT INTO incomereports(id,timestamp) VALUES(1,'2026-01-02 03:04:05'),"
             "(2,'2026-03-01 10:00:00'); INSERT INTO income(reportid,wareid,incost,quantity,userid,"
             "timestamp) VALUES(2,1,33.3,2.5,1,'2026-02-28 00:00:00'),"
             "(1,1,30,1,1,'2026-01-01 00:00:00'),(7,1,35,1,99,'2026-03-05 00:00:00'),"
             "(1,2,1,1,1,'2026-01-01 00:00:00')");
        StockDialog stock(nullptr);
        stock.show();
        type(stock, "namefilterLineEdit", "долл");
        QTest::keyClick(child<QLineEdit>(stock, "namefilterLineEdit"), Qt::Key_Return);
        m_steps->whenOpen<PriceHistoryDialog>([](PriceHistoryDialog &dialog) {
            auto *view = child<QTableView>(dialog, "historyTableView");
            const auto cell = [&](int row, int column) {
                return view->model()->index(row, column).data().toString();
            };
            QCOMPARE(view->model()->rowCount(), 3);
            QCOMPARE(cell(0, 1), "2026-03-05 00:00:00"); // its receipt is gone
            QCOMPARE(cell(1, 1) + ' ' + cell(1, 2) + ' ' + cell(1, 3) + ' ' + cell(1, 4),
                     "2026-03-01 10:00:00 2 2.5 33.30");
            auto *plot = child<StepPlot>(dialog, "stepPlot");
            QCOMPARE(plot->current(), 2);
            QTest::keyClick(plot, Qt::Key_Left);
            QCOMPARE(plot->accessibleDescription(), "01.03.2026 10:00 — 33.30");
            QCOMPARE(view->currentIndex().row(), 1);
            view->selectRow(2);
            QCOMPARE(plot->current(), 0);
            QTest::mouseClick(plot, Qt::LeftButton, {}, QPoint(plot->width() - 8, 50));
            QCOMPARE(plot->current(), 2);
        });
        click(stock, "historyPushButton");
    }

    void plot_hasRoundValues()
    {
        QCOMPARE(StepPlot::roundValues(98.3, 161, 4), QList<double>({100, 120, 140, 160}));
        QCOMPARE(StepPlot::roundValues(0.01, 0.02, 2), QList<double>({0.01, 0.015, 0.02}));
        QCOMPARE(StepPlot::roundValues(5, 5, 3), QList<double>({5}));
        const QDateTime time(QDate(2026, 3, 29), QTime(2, 0));
        StepPlot plot;
        // Nothing; one point; points of one moment and one value; a long time.
        const QList<QList<StepPlot::Point>> lists = {
            {},
            {{time, 0, "x"}},
            {{time, 5, "x"}, {time, 5, "y"}},
            {{time.addYears(-90), -1e9, "x"}, {time, 1e9, "y"}}};
        for (const QList<StepPlot::Point> &points : lists) {
            plot.setPoints(points);
            for (const QSize &size : {QSize(1, 1), QSize(300, 200)}) {
                plot.resize(size);
                QVERIFY(!plot.grab().isNull());
            }
            QCOMPARE(plot.current(), int(points.size()) - 1);
            QTest::keyClick(&plot, Qt::Key_Right);
            QTest::keyClick(&plot, Qt::Key_Home);
        }
    }

private:
    void prepare() override
    {
        m_steps = std::make_unique<DialogSteps>();
        openShop();
        for (const char *statement : {"INSERT INTO `groups`(id,parent,name) VALUES(1,0,'Всё')",
                                      "INSERT INTO `groups`(id,parent,name) VALUES(2,1,'Дети')",
                                      "INSERT INTO brands(id,name) VALUES(1,'Марка')"})
            QVERIFY(QueryExec(nullptr, statement));
        shop::addProduct({.id = 1,
                          .name = "Доллар",
                          .stock = 3,
                          .incost = 33.3,
                          .outcost = 66.6667,
                          .currency = "USD",
                          .article = "=1+1"});
        shop::addProduct(
            {.id = 2, .name = "Кавычка \"; строка\n", .stock = 0.5, .incost = 21.8, .outcost = 40});
        shop::addProduct(
            {.id = 3, .name = "-Снято", .stock = 9.8, .outcost = 8.1633, .enabled = 0});
        shop::addProduct({.id = 4, .name = "Минус", .stock = -3, .incost = 10, .outcost = 20});
        shop::addProduct({.id = 5, .name = "Пусто"});
        rows("UPDATE warehouse SET groupid=2 WHERE id=1; UPDATE warehouse SET groupid=1, brandid=1 "
             "WHERE id=2; UPDATE warehouse SET incost=NULL, quantity=NULL WHERE id=5");
    }

    void tidy() override
    {
        QVERIFY(m_steps->allServed());
        m_steps.reset();
    }

    static QString totals(const QDialog &dialog)
    {
        const QString text = child<QLabel>(dialog, "totalsLabel")->text();
        QStringList numbers;
        for (const QString &part : text.split(' ', Qt::SkipEmptyParts))
            numbers += part.section(':', 1).trimmed().section(QChar::Nbsp, 0, 0);
        return numbers.join(' ');
    }

    std::unique_ptr<DialogSteps> m_steps;
};

QTEST_MAIN(TestStock)
#include "tst_stock.moc"
