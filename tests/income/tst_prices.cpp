// The prices of the receipt and of selected products: what follows from a coefficient, what is
// written to the products, which goods need new labels.

#include "catalogue/pricerules.h"
#include "catalogue/productprices.h"
#include "db/session.h"
#include "db/transaction.h"
#include "income/receiptprices.h"
#include "tests/support/databasetest.h"

#include <limits>

class TestPrices : public DatabaseTest
{
    Q_OBJECT

private slots:
    void rules_holdAtTheirEdges()
    {
        QVERIFY(pricesEqual(10, 10.00009));
        QVERIFY(!pricesEqual(10, 10.00011));
        QVERIFY(!pricesEqual(10, -10));
        QCOMPARE(sellingPrice(std::numeric_limits<double>::infinity(), 2), 0.0);
    }

    void receiptPrices_reachTheProducts_data()
    {
        // incost: of the line
        // outcost: of the line before
        // product: what the product must be then; it cost 20
        addColumns<QString, double, double, double, double, QString, double, QString>(
            "currency", "stock", "incost", "ratio", "outcost", "product", "lineOutcost", "marks");
        addRow("coefficient", "RUB", 3.0, 90.0, 1.5, 77.0,
               "incost=90 AND inoutratio=1.5 AND outcost=130", 130.0, "1");
        addRow("fixed by hand", "USD", 3.0, 90.0, 0.0, 77.5,
               "incost=1 AND inoutratio=0 AND outcost=77.5", 77.5, "1");
        addRow("unknown currency", "XXX", -1.0, 90.0, 0.0, 77.0, "incost=90 AND outcost=77", 77.0,
               "0");
        addRow("all digits", "RUB", 1.0, 12345.67, 0.5, 7.0,
               "incost BETWEEN 12345.669 AND 12345.671 AND inoutratio=0.5 AND outcost=6170", 6170.0,
               "1");
        addRow("not in stock", "RUB", 0.0, 90.0, 0.0, 77.0, "incost=90 AND outcost=77", 77.0, "0");
        addRow("same price", "RUB", 3.0, 10.0, 2.0, 20.0,
               "incost=10 AND inoutratio=2 AND outcost=20", 20.0, "0");
        addRow("nearly the same", "RUB", 3.0, 10.0, 0.0, 20.00005, "incost=10", 20.0, "0");
    }

    void receiptPrices_reachTheProducts()
    {
        const auto [currency, stock, incost, ratio, outcost, product, lineOutcost, marks] =
            rowValues<QString, double, double, double, double, QString, double, QString>();
        shop::addProduct({.id = 11, .name = shop::nastyName, .stock = stock, .currency = currency});
        shop::addLine({.wareId = 11, .incost = incost, .outcost = outcost, .inoutratio = ratio});
        rows("INSERT INTO changeoutcostinfo(wareid,ctime) VALUES(11,'old')");
        QList<QPair<int, int>> progress;
        const PriceUpdate result = update([&](int done, int total) {
            progress.append({done, total});
            return true;
        });
        QCOMPARE(result.failed, 0);
        QCOMPARE(progress, (QList<QPair<int, int>>{{0, 1}, {1, 1}}));
        QCOMPARE(products(product), 1);
        QCOMPARE(QueryValue(nullptr, "SELECT name FROM warehouse").toString(), shop::nastyName);
        QVERIFY(pricesEqual(rows("SELECT outcost FROM incomeinvoice").toDouble(), lineOutcost));
        // A new mark takes the place of the old one.
        QCOMPARE(rows("SELECT COUNT(*) FROM changeoutcostinfo WHERE ctime LIKE '20%'"), marks);
        QCOMPARE(rows("SELECT COUNT(*) FROM changeoutcostinfo WHERE wareid=11"), "1");
    }

    /// Two products in a currency whose rate is 0: infinity must not get into the database. One
    /// that is deleted is passed over.
    void receiptPrices_tellOfFailuresOnce()
    {
        QVERIFY(QueryExec(nullptr, "UPDATE currencies SET value='0' WHERE c_code='EUR'"));
        QVERIFY(Session::instance().loadOptions(nullptr, mainConnection));
        for (const int id : {11, 12, 13}) {
            shop::addProduct({.id = qulonglong(id), .currency = id == 13 ? "RUB" : "EUR"});
            shop::addLine({.wareId = qulonglong(id), .incost = 70, .outcost = 99});
        }
        shop::addLine({.wareId = 99, .incost = 90, .outcost = 1, .inoutratio = 1.5});
        m_boxes->answer("OK");
        const PriceUpdate result = update();
        QCOMPARE(result.lines, 4);
        QCOMPARE(result.failed, 2);
        QVERIFY(m_boxes->lastText().contains("EUR"));
        QCOMPARE(products("incost=10 AND outcost=20"), 2);
        QCOMPARE(products("incost=70 AND outcost=99"), 1);
        QCOMPARE(rows("SELECT wareid FROM incomeinvoice WHERE outcost=130"), "99");
        QCOMPARE(rows("SELECT COUNT(*) FROM changeoutcostinfo"), "0");
    }

    void receiptPrices_followOtherStations_data()
    {
        // meanwhile: done there to one line, when the other is written
        // line, product: what must hold of them then
        addColumns<QString, QString, QString, int>("meanwhile", "line", "product", "gone");
        addRow("priced there", "UPDATE incomeinvoice SET incost='40', inoutratio='3', outcost='1'",
               "outcost=120", "incost=40 AND outcost=120", 0);
        addRow("fixed by hand there", "UPDATE incomeinvoice SET inoutratio='0', outcost='77'",
               "outcost=77", "inoutratio=0 AND outcost=77", 0);
        addRow("posted or deleted there", "DELETE FROM incomeinvoice", "1=1",
               "incost=10 AND inoutratio IS NULL AND outcost=20", 1);
    }

    void receiptPrices_followOtherStations()
    {
        const auto [meanwhile, line, product, gone] = rowValues<QString, QString, QString, int>();
        addLines({11, 12});
        QVERIFY(QueryExec(nullptr, "UPDATE warehouse SET inoutratio=NULL"));
        if (gone > 0)
            m_boxes->answer("OK");
        QString other;
        const PriceUpdate result = update([&, meanwhile = meanwhile](int done, int) {
            if (done == 1) {
                other = products("id=11 AND outcost=130") == 1 ? "12" : "11";
                rows(meanwhile + " WHERE wareid=" + other);
            }
            return true;
        });
        QCOMPARE(result.lines, 2);
        QCOMPARE(result.failed, 0);
        QCOMPARE(result.gone, gone);
        QCOMPARE(products("outcost=130"), 1);
        QCOMPARE(products("id=" + other + " AND " + product), 1);
        QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice WHERE wareid=" + other + " AND " + line),
                 QString::number(1 - gone));
        if (gone > 0)
            QVERIFY(m_boxes->lastText().contains("удалили на другом рабочем месте: 1."));
    }

    void otherStation_waitsWhileALineIsPriced()
    {
        addLines({11});
        QSqlQuery other = impatientStation();
        QList<bool> allowed;
        setStatementObserver([&](const QString &sqlText, const QString &) {
            if (sqlText.startsWith("UPDATE incomeinvoice"))
                allowed = {other.exec("DELETE FROM incomeinvoice"),
                           other.exec("UPDATE incomeinvoice SET inoutratio='3'")};
        });
        QCOMPARE(update().failed, 0);
        QCOMPARE(allowed, QList<bool>({false, false}));
        QCOMPARE(products("outcost=130"), 1);
    }

    /// Else a repetition would find the new price in place and never note that it needs a new
    /// label.
    void brokenLine_isWrittenWholeOrNotAtAll()
    {
        addLines({11}, 3);
        breakStatements("INSERT INTO changeoutcostinfo", 3);
        m_boxes->answer("OK");
        QCOMPARE(update().failed, 1);
        QVERIFY2(m_boxes->lastText().contains("nowhere"), qPrintable(m_boxes->lastText()));
        QCOMPARE(products("outcost=20"), 1);
        QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice WHERE outcost=1"), "1");

        breakStatements("INSERT INTO changeoutcostinfo", 2); // thrown out twice
        QCOMPARE(update().failed, 0);
        QCOMPARE(products("outcost=130"), 1);
        QCOMPARE(rows("SELECT wareid FROM changeoutcostinfo"), "11");

        breakStatements("INSERT INTO changeoutcostinfo", 3);
        m_boxes->answer("OK");
        QVERIFY(!changePrices(nullptr, {11}, {.outcost = 55}));
        QCOMPARE(products("outcost=130"), 1);
        QVERIFY(changePrices(nullptr, {11}, {.outcost = 55}));
        QCOMPARE(products("outcost=55"), 1);
    }

    void heldList_endsTheLoop()
    {
        addLines({11, 12, 13});
        QVERIFY(m_database->open(otherStation));
        const TransactionGuard posting(otherStation);
        QVERIFY(QueryExec(nullptr,
                          m_dialect == Dialect::PostgreSql
                              ? "LOCK TABLE incomeinvoice IN SHARE ROW EXCLUSIVE MODE"
                              : "UPDATE incomeinvoice SET userid=1",
                          otherStation));
        m_boxes->answer("OK");
        const PriceUpdate result = update();
        QCOMPARE(result.lines, 0);
        QCOMPARE(result.failed, 1);
        QVERIFY(m_boxes->lastText().contains("Приход занят на другом рабочем месте"));
        QCOMPARE(products("outcost=20"), 3);
    }

    void lostServer_endsTheLoop()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        addLines({11, 12, 13});
        m_boxes->answer("OK");
        const PriceUpdate result = update([&](int done, int) {
            if (done == 1)
                TestServers::instance().stop(m_dialect);
            return true;
        });
        QCOMPARE(result.failed, 1);
        TestServers::instance().start(m_dialect);
        QCOMPARE(products("outcost=130"), 1);
    }

    void productPrices_areChanged_data()
    {
        // incost: not changed below 0
        // ratio: 0 when the price is fixed
        // rubles, dollars: the products 11 (10 rubles) and 12 (2 dollars) afterwards
        addColumns<double, double, double, QString, QString, QString>("incost", "ratio", "outcost",
                                                                      "rubles", "dollars", "marks");
        addRow("coefficient", -1.0, 1.5, 0.0, "incost=10 AND inoutratio=1.5 AND outcost=15",
               "incost=2 AND inoutratio=1.5 AND outcost=270", "11 12");
        addRow("coefficient and purchase price", 450.0, 0.0625, 0.0,
               "incost=450 AND inoutratio=0.0625 AND outcost=30",
               "incost=5 AND inoutratio=0.0625 AND outcost=30", "11 12");
        addRow("fixed", -1.0, 0.0, 20.0, "incost=10 AND inoutratio=0 AND outcost=20",
               "incost=2 AND inoutratio=0 AND outcost=20", "");
        addRow("fixed and purchase price", 123457.5, 0.0, 0.125,
               "incost=123457.5 AND inoutratio=0 AND outcost=0.125",
               "incost=1371.75 AND inoutratio=0 AND outcost=0.125", "11 12");
    }

    void productPrices_areChanged()
    {
        const auto [incost, ratio, outcost, rubles, dollars, marks] =
            rowValues<double, double, double, QString, QString, QString>();
        shop::addProduct({.id = 11, .stock = 1});
        shop::addProduct({.id = 12, .stock = 1, .incost = 2, .currency = "USD"});
        shop::addProduct({.id = 13, .stock = 0});
        shop::addProduct({.id = 14, .stock = 1});
        rows("UPDATE warehouse SET inoutratio=1.7");
        PriceChange change;
        if (incost >= 0)
            change.incost = incost;
        if (ratio > 0)
            change.ratio = ratio;
        change.outcost = outcost;
        QVERIFY(changePrices(nullptr, {11, 12, 13}, change));
        QCOMPARE(products("id IN (11,13) AND " + rubles), 2);
        QCOMPARE(products("id=12 AND " + dollars), 1);
        QCOMPARE(products("id=14 AND incost=10 AND outcost=20"), 1);
        QCOMPARE(rows("SELECT wareid FROM changeoutcostinfo ORDER BY wareid").replace('\n', ' '),
                 marks);
    }

    void recalculation_writesWhatChanges()
    {
        rows("INSERT INTO warehouse(id,incost,currency,inoutratio,outcost) VALUES"
             "(1,33.3,'RUB',1.5,0),(2,10,'RUB',1.9,0),(3,2,'USD',1.5,1),(4,10,'XXX',2,3),"
             "(5,10,'RUB',0,777),(6,10,'RUB',-1,777),(7,10,'RUB',1.9,19),(8,NULL,NULL,2,5),"
             "(9,617284,'RUB',2,0),(10,100,'RUB',2,-1);");
        int rowsDone = 0;
        setStatementObserver([](QString &sqlText, const QString &) {
            if (sqlText.startsWith("UPDATE") && sqlText.endsWith("WHERE id='10'"))
                sqlText = "SELECT nonsense FROM nowhere";
        });
        const auto result =
            recalculateSellingPrices(nullptr, mainConnection, [&](int done, int total) {
                rowsDone += total == 8 && done == rowsDone + 1 ? 1 : 0;
                return true;
            });
        QCOMPARE(result.changed, 6);
        QCOMPARE(result.failed, 1);
        QCOMPARE(rowsDone, 8);
        QStringList prices;
        for (const QString &price : rows("SELECT outcost FROM warehouse ORDER BY id").split(u'\n'))
            prices += QString::number(price.toDouble(), 'f', 0);
        // Six significant digits: 1234570 is what reaches the table.
        QCOMPARE(prices.join(u' '), "50 19 270 20 777 777 19 0 1234570 -1");
        QCOMPARE(rows("SELECT COUNT(*) FROM changeoutcostinfo"), "0");
        const auto stop = [](int, int) {
            return false;
        };
        QCOMPARE(recalculateSellingPrices(nullptr, mainConnection, stop).left, 7);
        setStatementObserver([](QString &sqlText, const QString &) {
            sqlText.replace("FROM warehouse", "FROM nowhere");
        });
        QVERIFY(!recalculateSellingPrices(nullptr, mainConnection, {}).read);
    }

private:
    void prepare() override
    {
        openShop();
    }

    static PriceUpdate update(const std::function<bool(int, int)> &progress = {})
    {
        return updateCosts(nullptr, mainConnection, progress);
    }

    /// Products at 20, each with a line that asks for 130.
    static void addLines(const QList<qulonglong> &products, double stock = 0)
    {
        for (const qulonglong id : products) {
            shop::addProduct({.id = id, .stock = stock});
            shop::addLine({.wareId = id, .incost = 90, .outcost = 1, .inoutratio = 1.5});
        }
    }

    int products(const QString &condition) const
    {
        return rows("SELECT COUNT(*) FROM warehouse WHERE " + condition).toInt();
    }
};

QTEST_MAIN(TestPrices)
#include "tst_prices.moc"
