#include "catalogue/comparison.h"
#include "catalogue/referenceimport.h"

#include "db/session.h"
#include "tests/support/databasetest.h"

class TestReference : public DatabaseTest
{
    Q_OBJECT

private slots:
    void productsAreComparedByTheirIdentifier()
    {
        addOurs(1, "'w1'", "Чай");
        addOurs(2, "''", "Без");
        rows("UPDATE warehouse SET outcost=21, currency='USD' WHERE id=1");
        shop::addCode(1, "4600000000011");
        shop::addCode(11, "4600000000028", 1, friendConnection);
        QHash<qulonglong, Comparison> found;
        QVERIFY(readComparisons(nullptr, {11, 12, 99}, found));
        QCOMPARE(found.size(), 2);
        QCOMPARE(found[11].ours.product.id, 1U);
        QCOMPARE(differences(found[11]), QList({ComparedField::Name, ComparedField::Incost,
                                                ComparedField::Outcost, ComparedField::Codes}));
        QVERIFY(!found[12].ours.exists()); // an empty identifier is nobody's
        QVERIFY(differences(found[12]).isEmpty());
        QCOMPARE(referenceIdOf(nullptr, {}), 0U);
        QCOMPARE(referenceIdOf(nullptr, "w1"), 11U);
    }

    void productsAreCopiedWithTheirCodes()
    {
        addOurs(1, "'w3'", "Свой");
        shop::addCode(1, "4600000000035");
        shop::addCode(11, "4600000000028", 6, friendConnection);
        shop::addCode(11, "4600000000035", 1, friendConnection); // is ours already
        for (const QString &connection : {mainConnection, friendConnection})
            QueryExec(nullptr,
                      "INSERT INTO `groups`(id,name) VALUES(" +
                          QString(connection == mainConnection ? "5" : "7") + ",'Напитки')",
                      connection);
        theirs("UPDATE warehouse SET groupid=7, currency='XYZ', quantity=4 WHERE id=11");
        const ReferenceImport result = importProducts(nullptr, {11, 12, 13, 99});
        QCOMPARE(std::tuple(result.copied, result.known, result.refused, result.left),
                 std::tuple(2, 1, 1, 0));
        QCOMPARE(result.notes.size(), 3); // a code, a currency, a product that is gone
        QCOMPARE(rows("SELECT name,groupid,quantity,incost,wuid FROM warehouse WHERE wuid='w1'")
                     .remove(".0"),
                 shop::nastyName + "\t5\t0\t0\tw1");
        QCOMPARE(rows("SELECT c.code,c.packquantity FROM codes c JOIN warehouse w ON w.id=c.wareid "
                      "WHERE w.wuid='w1'")
                     .remove(".0"),
                 "4600000000028\t6");
        // Again: what has no identifier has its name and article.
        const ReferenceImport again = importProducts(nullptr, {11, 12});
        QCOMPARE(std::tuple(again.copied, again.known, again.refused), std::tuple(0, 1, 1));
    }

    void aProductIsCopiedWholeOrNotAtAll()
    {
        shop::addCode(11, "4600000000028", 1, friendConnection);
        breakStatements("INSERT INTO codes");
        m_boxes->answer("OK");
        const ReferenceImport result = importProducts(nullptr, {11, 12});
        QCOMPARE(std::tuple(result.copied, result.refused), std::tuple(1, 1));
        QVERIFY(m_boxes->lastText().contains("nowhere"));
        QCOMPARE(rows("SELECT name FROM warehouse"), "Без идентификатора");
        setStatementObserver({});
        const ReferenceImport stopped =
            importProducts(nullptr, {11, 13}, [](int done, int) { return done < 1; });
        QCOMPARE(std::tuple(stopped.copied, stopped.left), std::tuple(1, 1));
    }

private:
    static void theirs(const QString &statement)
    {
        QVERIFY(QueryExec(nullptr, statement, friendConnection));
    }

    void addOurs(qulonglong id, const QString &wuid, const QString &name) const
    {
        shop::addProduct({.id = id, .name = name});
        rows("UPDATE warehouse SET wuid=" + wuid + " WHERE id=" + QString::number(id));
    }

    void prepare() override
    {
        openShop();
        openReference();
        shop::addProduct({.id = 11, .name = shop::nastyName}, friendConnection);
        shop::addProduct({.id = 12, .name = "Без идентификатора"}, friendConnection);
        shop::addProduct({.id = 13, .name = "Общий"}, friendConnection);
        theirs("UPDATE warehouse SET wuid='w1' WHERE id=11");
        theirs("UPDATE warehouse SET wuid='' WHERE id=12");
        theirs("UPDATE warehouse SET wuid='w3' WHERE id=13");
        Session::instance().loadCurrencies(mainConnection);
    }
};

QTEST_MAIN(TestReference)
#include "tst_reference.moc"
