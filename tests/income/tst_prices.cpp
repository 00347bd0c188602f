// The prices of the receipt and of selected products: what follows from a coefficient, what is
// written to the products, which goods need new labels.
#include "keptshops.h"

#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "income/costdialog.h"
#include "income/pricerules.h"
#include "income/productprices.h"
#include "income/receiptprices.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/servers.h"
#include "tests/support/shop.h"
#include "tests/support/testhome.h"
#include "widgets/numberspinbox.h"

#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>
#include <QTest>

#include <limits>
#include <memory>

namespace {

const QString nastyName = QStringLiteral("О'Нил \\ `x` 100% %1 <img src=x> «ё»");

} // namespace

class TestPrices : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void initTestCase();
    void init();
    void cleanup();
    void rules_holdAtTheirEdges();
    void receiptPrices_reachTheProducts_data();
    void receiptPrices_reachTheProducts();
    void receiptPrices_areWrittenStatementByStatement();
    void receiptPrices_passOverDeletedProducts();
    void receiptPrices_tellOfFailuresOnce();
    void lostServer_endsTheLoop();
    void productPrices_areChanged_data();
    void productPrices_areChanged();
    void priceDialog_proposesWhatProductsShare();
    void priceDialog_writesWhatIsTyped();

private:
    PriceUpdate update();
    QStringList statementsOf(const std::function<void()> &work) const;
    QString rows(const QString &statement) const
    {
        return m_database->client(statement);
    }
    int products(const QString &condition) const
    {
        return rows("SELECT COUNT(*) FROM warehouse WHERE " + condition).toInt();
    }

    Dialect m_dialect = Dialect::Sqlite;
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<QueuedBoxes> m_boxes;
    KeptShops m_shops;
    ScratchDatabase *m_database = nullptr;
};

void TestPrices::initTestCase_data()
{
    addDialectRows();
}

void TestPrices::initTestCase()
{
    QTest::failOnWarning(QRegularExpression("connectSlotsByName"));
}

void TestPrices::init()
{
    QFETCH_GLOBAL(Dialect, dialect);
    m_dialect = dialect;
    m_home = std::make_unique<TestHome>();
    m_boxes = std::make_unique<QueuedBoxes>();
    m_database = &m_shops.open(dialect);
    QVERIFY(Session::instance().loadOptions(nullptr, mainConnection));
}

void TestPrices::cleanup()
{
    setStatementObserver({});
    const bool noSurprise = m_boxes->verify();
    removeConnection(mainConnection);
    Session::instance().reset();
    m_boxes.reset();
    m_home.reset();
    QVERIFY(noSurprise);
}

PriceUpdate TestPrices::update()
{
    return updateCosts(nullptr, mainConnection, {});
}

/// The writing statements of some work, times replaced by "now".
QStringList TestPrices::statementsOf(const std::function<void()> &work) const
{
    QStringList seen;
    setStatementObserver([&seen](const QString &sqlText, const QString &) {
        static const QRegularExpression stamp("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d");
        if (!sqlText.startsWith("SELECT"))
            seen += QString(sqlText).replace(stamp, "now");
    });
    work();
    setStatementObserver({});
    return seen;
}

void TestPrices::rules_holdAtTheirEdges()
{
    QVERIFY(pricesEqual(10, 10.00009));
    QVERIFY(!pricesEqual(10, 10.00011));
    QVERIFY(!pricesEqual(10, -10));
    QCOMPARE(sellingPrice(33.3, 1.5), 50.0);
    QCOMPARE(sellingPrice(10, 1.999), 19.0);
    QCOMPARE(sellingPrice(115, 1), 110.0);
    QCOMPARE(sellingPrice(std::numeric_limits<double>::infinity(), 2), 0.0);
    QCOMPARE(sellingPrice(1e300, 1e300), 0.0);
}

void TestPrices::receiptPrices_reachTheProducts_data()
{
    QTest::addColumn<QString>("currency");
    QTest::addColumn<double>("stock");
    QTest::addColumn<double>("incost"); // of the line
    QTest::addColumn<double>("ratio");
    QTest::addColumn<double>("outcost");  // of the line before
    QTest::addColumn<QString>("product"); // what the product must be then; it cost 20
    QTest::addColumn<double>("lineOutcost");
    QTest::addColumn<int>("marks");
    QTest::newRow("coefficient") << "RUB" << 3.0 << 90.0 << 1.5 << 77.0
                                 << "incost=90 AND inoutratio=1.5 AND outcost=130" << 130.0 << 1;
    QTest::newRow("fixed by hand") << "RUB" << 3.0 << 90.0 << 0.0 << 77.5
                                   << "incost=90 AND inoutratio=0 AND outcost=77.5" << 77.5 << 1;
    QTest::newRow("currency") << "USD" << 3.0 << 90.0 << 0.0 << 77.0 << "incost=1 AND outcost=77"
                              << 77.0 << 1;
    QTest::newRow("unknown currency")
        << "XXX" << 3.0 << 90.0 << 0.0 << 77.0 << "incost=90 AND outcost=77" << 77.0 << 1;
    QTest::newRow("not in stock") << "RUB" << 0.0 << 90.0 << 0.0 << 77.0
                                  << "incost=90 AND outcost=77" << 77.0 << 0;
    QTest::newRow("oversold") << "RUB" << -1.0 << 90.0 << 0.0 << 77.0 << "incost=90 AND outcost=77"
                              << 77.0 << 0;
    QTest::newRow("same price") << "RUB" << 3.0 << 10.0 << 2.0 << 20.0
                                << "incost=10 AND inoutratio=2 AND outcost=20" << 20.0 << 0;
    QTest::newRow("nearly the same")
        << "RUB" << 3.0 << 10.0 << 0.0 << 20.00005 << "incost=10" << 20.0 << 0;
}

void TestPrices::receiptPrices_reachTheProducts()
{
    QFETCH(QString, currency);
    QFETCH(double, stock);
    QFETCH(double, incost);
    QFETCH(double, ratio);
    QFETCH(double, outcost);
    QFETCH(QString, product);
    QFETCH(double, lineOutcost);
    shop::addProduct(
        {.id = 11, .name = nastyName, .stock = stock, .outcost = 20, .currency = currency});
    shop::addLine({.wareId = 11, .incost = incost, .outcost = outcost, .inoutratio = ratio});
    QList<QPair<int, int>> progress;
    const PriceUpdate result = updateCosts(nullptr, mainConnection, [&](int done, int total) {
        progress.append({done, total});
    });
    QCOMPARE(result.failed, 0);
    QCOMPARE(progress, (QList<QPair<int, int>>{{1, 1}}));
    QCOMPARE(products(product), 1);
    QCOMPARE(QueryValue(nullptr, "SELECT name FROM warehouse").toString(), nastyName);
    QVERIFY(pricesEqual(rows("SELECT outcost FROM incomeinvoice").toDouble(), lineOutcost));
    QTEST(rows("SELECT COUNT(*) FROM changeoutcostinfo WHERE wareid=11").toInt(), "marks");
}

void TestPrices::receiptPrices_areWrittenStatementByStatement()
{
    shop::addProduct({.id = 11, .stock = 1});
    shop::addLine({.wareId = 11, .incost = 12345.67, .outcost = 7, .inoutratio = 0.5});
    const QString line = rows("SELECT id FROM incomeinvoice");
    QCOMPARE(
        statementsOf([this] { update(); }),
        QStringList({"UPDATE incomeinvoice SET outcost='6170' WHERE id='" + line + "';",
                     "UPDATE warehouse SET incost='12345.67', inoutratio='0.5', outcost='6170' "
                     "WHERE id='11';",
                     "DELETE FROM changeoutcostinfo WHERE wareid='11';",
                     "INSERT INTO changeoutcostinfo(wareid,ctime) VALUES('11','now');"}));
}

void TestPrices::receiptPrices_passOverDeletedProducts()
{
    shop::addLine({.wareId = 99, .incost = 90, .outcost = 1, .inoutratio = 1.5});
    shop::addProduct({.id = 11});
    shop::addLine({.wareId = 11, .incost = 9, .outcost = 50});
    QCOMPARE(update().failed, 0);
    QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice WHERE wareid=99 AND outcost=130"), "1");
    QCOMPARE(products("outcost=50"), 1);
    QCOMPARE(rows("SELECT COUNT(*) FROM changeoutcostinfo"), "0");
}

void TestPrices::receiptPrices_tellOfFailuresOnce()
{
    // Two products in a currency whose rate is 0: infinity must not get into the database.
    QVERIFY(QueryExec(nullptr, "UPDATE currencies SET value='0' WHERE c_code='EUR'"));
    QVERIFY(Session::instance().loadOptions(nullptr, mainConnection));
    for (const int id : {11, 12, 13}) {
        shop::addProduct({.id = qulonglong(id), .currency = id == 13 ? "RUB" : "EUR"});
        shop::addLine({.wareId = qulonglong(id), .incost = 70, .outcost = 99});
    }
    m_boxes->answer("OK");
    const PriceUpdate result = update();
    QCOMPARE(result.lines, 3);
    QCOMPARE(result.failed, 2);
    QVERIFY(m_boxes->lastText().contains("EUR"));
    QCOMPARE(products("incost=10 AND outcost=20"), 2);
    QCOMPARE(products("incost=70 AND outcost=99"), 1);
}

void TestPrices::lostServer_endsTheLoop()
{
    if (m_dialect == Dialect::Sqlite)
        return;
    for (const int id : {11, 12, 13}) {
        shop::addProduct({.id = qulonglong(id)});
        shop::addLine({.wareId = qulonglong(id), .outcost = 99});
    }
    m_boxes->answer("OK");
    const PriceUpdate result = updateCosts(nullptr, mainConnection, [&](int done, int) {
        if (done == 1)
            TestServers::instance().stop(m_dialect);
    });
    QCOMPARE(result.failed, 1);
    TestServers::instance().start(m_dialect);
    QCOMPARE(products("outcost=99"), 1);
}

void TestPrices::productPrices_areChanged_data()
{
    QTest::addColumn<double>("incost"); // below 0: not changed
    QTest::addColumn<double>("ratio");  // 0: fixed
    QTest::addColumn<double>("outcost");
    QTest::addColumn<QStringList>("assignments"); // of the products 11 (RUB, 10) and 12 (USD, 2)
    QTest::addColumn<QString>("marks");
    QTest::newRow("coefficient") << -1.0 << 1.5 << 0.0
                                 << QStringList({" inoutratio=1.5, outcost=15",
                                                 " inoutratio=1.5, outcost=270"})
                                 << "11 12";
    QTest::newRow("coefficient and purchase price")
        << 450.0 << 0.04 << 0.0
        << QStringList({" incost=450, inoutratio=0.04, outcost=18",
                        " incost=5, inoutratio=0.04, outcost=18"})
        << "11 12";
    QTest::newRow("fixed") << -1.0 << 0.0 << 20.0
                           << QStringList(
                                  {" inoutratio=0, outcost=20", " inoutratio=0, outcost=20"})
                           << "";
    QTest::newRow("fixed and purchase price")
        << 123457.5 << 0.0 << 0.125
        << QStringList({" incost=123457.5, inoutratio=0, outcost=0.125",
                        " incost=1371.75, inoutratio=0, outcost=0.125"})
        << "11 12";
}

void TestPrices::productPrices_areChanged()
{
    QFETCH(double, incost);
    QFETCH(double, ratio);
    QFETCH(double, outcost);
    QFETCH(QStringList, assignments);
    shop::addProduct({.id = 11, .stock = 1});
    shop::addProduct({.id = 12, .stock = 1, .incost = 2, .currency = "USD"});
    shop::addProduct({.id = 13, .stock = 0});
    shop::addProduct({.id = 14, .stock = 1});
    PriceChange change;
    if (incost >= 0)
        change.incost = incost;
    if (ratio > 0)
        change.ratio = ratio;
    change.outcost = outcost;
    const QStringList seen = statementsOf([&] {
                                 QVERIFY(changePrices(nullptr, {11, 12, 13}, change));
                             }).filter("UPDATE");
    QCOMPARE(seen.value(0), "UPDATE warehouse SET" + assignments.at(0) + " WHERE id='11';");
    QCOMPARE(seen.value(1), "UPDATE warehouse SET" + assignments.at(1) + " WHERE id='12';");
    QCOMPARE(seen.size(), 3);
    QCOMPARE(products("id=14 AND incost=10 AND outcost=20"), 1);
    QTEST(rows("SELECT wareid FROM changeoutcostinfo ORDER BY wareid").replace('\n', ' '), "marks");
}

void TestPrices::priceDialog_proposesWhatProductsShare()
{
    shop::addProduct({.id = 11, .name = nastyName, .incost = 2, .currency = "USD"});
    shop::addProduct({.id = 12, .outcost = 30});
    const auto value = [](const CostDialog &dialog, const char *name) {
        return dialog.findChild<NumberSpinBox *>(QLatin1String(name))->value();
    };
    const CostDialog one({11});
    QCOMPARE(value(one, "incostDoubleSpinBox"), 180.0);
    QCOMPARE(value(one, "outcostDoubleSpinBox"), 20.0);
    QVERIFY(one.findChild<QRadioButton *>("fixedRadioButton")->isChecked());
    QVERIFY(!one.findChild<QGroupBox *>("incostGroupBox")->isChecked());
    auto *table = one.findChild<QTableWidget *>("productsTableWidget");
    QCOMPARE(table->item(0, 1)->text(), nastyName);

    const CostDialog two({11, 12});
    QCOMPARE(value(two, "outcostDoubleSpinBox"), 0.0);
    QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET inoutratio='1.7'"));
    const CostDialog ratio({11, 12});
    QCOMPARE(value(ratio, "ratioDoubleSpinBox"), 1.7);
    QVERIFY(ratio.findChild<QRadioButton *>("ratioRadioButton")->isChecked());
}

void TestPrices::priceDialog_writesWhatIsTyped()
{
    shop::addProduct({.id = 11});
    shop::addProduct({.id = 12, .outcost = 30});
    CostDialog dialog({11, 12});
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    const auto press = [&dialog](Qt::Key key) {
        QTest::keyClick(dialog.focusWidget(), key);
    };
    // Nothing in common and nothing typed: nothing is written.
    m_boxes->answer("OK");
    press(Qt::Key_Return);
    QVERIFY(dialog.isVisible());
    QCOMPARE(products("outcost=0"), 0);

    QTest::mouseClick(dialog.findChild<QRadioButton *>("ratioRadioButton"), Qt::LeftButton, {},
                      QPoint(8, 8));
    QTest::keyClicks(dialog.focusWidget(), "40063813");
    m_boxes->answer("Отмена"); // not a coefficient but a scan
    press(Qt::Key_Return);
    QTest::keyClicks(dialog.focusWidget(), "2,5");
    auto *incost = dialog.findChild<QGroupBox *>("incostGroupBox");
    incost->setFocus();
    QTest::keyClick(incost, Qt::Key_Space);
    QTest::keyClicks(dialog.focusWidget(), "40");
    press(Qt::Key_Return);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(products("incost=40 AND inoutratio=2.5 AND outcost=100"), 2);
}

QTEST_MAIN(TestPrices)
#include "tst_prices.moc"
