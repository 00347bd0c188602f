#include "catalogue/discounts.h"

#include "tests/support/databasetest.h"

class TestDiscounts : public DatabaseTest
{
    Q_OBJECT

private slots:
    void prices()
    {
        const QList<Discount> list = {{.percent = 10, .roundingtype = 1},
                                      {.percent = 10, .roundingtype = 2},
                                      {.percent = 10, .roundingtype = 3},
                                      {.percent = 10},
                                      {.minimumquantity = 2, .percent = 50, .roundingtype = 1},
                                      {.percent = 50, .roundingtype = 2}};
        QTest::ignoreMessage(QtDebugMsg, "base outcost = 199");
        QTest::ignoreMessage(QtDebugMsg, "discount percent = 10");
        QTest::ignoreMessage(QtDebugMsg, "discount = 19.9");
        QTest::ignoreMessage(QtDebugMsg, "discounted outcost = 179.1");
        QCOMPARE(discountedPrice(list, 0, 199, 1), 179.0);
        QCOMPARE(discountedPrice(list, 1, 199, 1), 180.0);
        QCOMPARE(discountedPrice(list, 2, 199, 1), 179.0);
        QCOMPARE(discountedPrice(list, 3, 199, 1), 179.1);
        QCOMPARE(discountedPrice(list, 4, 101, 2), 51.0); // the half goes away from zero
        QCOMPARE(discountedPrice(list, 5, 58, 1), 29.0);  // binary dust is no rouble
        for (const int index : {-1, 6})
            QCOMPARE(discountedPrice(list, index, 7, 9), 7.0);
        QCOMPARE(discountedPrice(list, 4, 101, 1.999), 101.0);
    }

    void theBestOne()
    {
        const QList<Discount> list = {{.type = 1, .percent = 5},
                                      {.type = 2, .percent = 20},
                                      {.type = 1, .minimumquantity = 10, .percent = 30},
                                      {.type = 2, .percent = 20}};
        QCOMPARE(bestDiscount(list, false, 1), 1); // the first of equal ones
        QCOMPARE(bestDiscount(list, true, 1), 0);
        QCOMPARE(bestDiscount(list, false, 10), 2);
        QCOMPARE(bestDiscount({{.type = 1}}, false, 1), -1);
    }

    void onlyThoseThatHoldNowAreLoaded()
    {
        const QString past = "'2001-01-01 00:00:00'";
        const QString future = "'2999-01-01 00:00:00'";
        const auto add = [&](int id, int type, const QString &from, const QString &to) {
            rows(QStringLiteral("INSERT INTO discounts VALUES(%1,%2,3,4.5,1,'n''1','c',%3,%4,5,"
                                "'t')")
                     .arg(id)
                     .arg(type)
                     .arg(from, to));
        };
        add(1, 1, past, future);
        add(2, 2, past, future);
        add(3, 0, past, future);
        add(4, 1, past, past);
        add(5, 1, future, future);
        add(6, 1, past, future); // of another product and group
        rows("INSERT INTO warehouse(id,groupid,name) VALUES(7,8,'x'),(9,NULL,'y')");
        rows("INSERT INTO discountgroups(discountid,groupid) VALUES(1,8),(3,8),(6,80)");
        rows("INSERT INTO discountproducts(discountid,wareid) VALUES(2,7),(4,7),(5,7),(6,70)");
        const auto found = loadDiscounts(nullptr, 7);
        QVERIFY(found);
        QCOMPARE(found->size(), 2);
        QCOMPARE(found->at(0).id, 2U); // the product's own comes first
        const Discount &ofGroup = found->at(1);
        QCOMPARE(ofGroup.id, 1U);
        QCOMPARE(ofGroup.minimumquantity, 3.0);
        QCOMPARE(ofGroup.percent, 4.5);
        QCOMPARE(ofGroup.name, "n'1");
        QCOMPARE(ofGroup.userid, 5U);
        QCOMPARE(loadDiscounts(nullptr, 9)->size(), 0);
        breakStatements("SELECT discounts.id", 9);
        QVERIFY(!loadDiscounts(nullptr, 7));
    }

protected:
    void prepare() override
    {
        openShop();
        for (const QString table : {"discounts", "discountproducts", "discountgroups"})
            rows("DELETE FROM " + table);
    }
};

QTEST_GUILESS_MAIN(TestDiscounts)
#include "tst_discounts.moc"
