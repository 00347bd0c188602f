#include "catalogue/productstore.h"

#include "db/transaction.h"
#include "tests/support/databasetest.h"

#include <QRegularExpression>

class TestProductStore : public DatabaseTest
{
    Q_OBJECT

private slots:
    void everyColumn_isWrittenAndReadBack()
    {
        const QString columns =
            "wuid,enabled,type,marking,section,groupid,brandid,favoritid,article,name,keywords,"
            "description,location,width,height,depth,weight,incost,currency,inoutratio,outcost,"
            "multiplicity,orderquantity,autoorder,unitid";
        const QString values = "w'1 1 2 1 3 4 5 6 А'1 %1 words text\\ shelf 1.5 2.5 3.5 4.5 5.5 "
                               "USD 1.25 125 2 3 4 ";
        const auto id = insertProduct(nullptr, {.wuid = "w'1",
                                                .type = 2,
                                                .marking = 1,
                                                .section = 3,
                                                .groupid = 4,
                                                .brandid = 5,
                                                .favoritid = 6,
                                                .article = "А'1",
                                                .name = shop::nastyName,
                                                .keywords = "words",
                                                .description = "text\\",
                                                .location = "shelf",
                                                .width = 1.5,
                                                .height = 2.5,
                                                .depth = 3.5,
                                                .weight = 4.5,
                                                .incost = 5.5,
                                                .currency = "USD",
                                                .inoutratio = 1.25,
                                                .outcost = 125,
                                                .multiplicity = 2,
                                                .orderquantity = 3,
                                                .autoorder = 4,
                                                .unitid = 7});
        QVERIFY(id.has_value());
        QCOMPARE(stored("id"), QString::number(*id));
        QCOMPARE(stored(columns), values.arg(shop::nastyName) + '7');
        QCOMPARE(stored("quantity,correction"), "0 0");
        QVERIFY(stored("ctime").startsWith("20"));

        Product product;
        QCOMPARE(loadProduct(nullptr, *id, ProductColumns::Reference, product), LoadState::Loaded);
        QCOMPARE(product.unitid, 7U);
        QCOMPARE(loadProduct(nullptr, *id, ProductColumns::Card, product), LoadState::Loaded);
        rows("UPDATE warehouse SET quantity=8, enabled=5");
        const Product loaded = product;
        product.name = "other";
        product.unitid = 1;
        QCOMPARE(updateProduct(nullptr, product, loaded), WriteState::Written);
        QCOMPARE(stored(columns), values.arg("other") + '1');
        QCOMPARE(stored("quantity"), "8");
        QVERIFY(stored("mtime").startsWith("20"));

        rows("DELETE FROM warehouse");
        QCOMPARE(updateProduct(nullptr, product, loaded), WriteState::NotFound);
        QCOMPARE(loadProduct(nullptr, *id, ProductColumns::Card, product), LoadState::NotFound);
    }

    void untouchedNumbers_keepTheirDigits()
    {
        shop::addProduct({.id = 11, .incost = 1234.5625, .outcost = 1234.5625});
        Product product;
        QCOMPARE(loadProduct(nullptr, 11, ProductColumns::Card, product), LoadState::Loaded);
        const Product loaded = product;
        product.outcost = 4321.5625;
        QCOMPARE(updateProduct(nullptr, product, loaded), WriteState::Written);
        QCOMPARE(loadProduct(nullptr, 11, ProductColumns::Card, product), LoadState::Loaded);
        const double most = m_dialect == Dialect::PostgreSql ? 1234.56 : 1234.5625; // 4 bytes there
        QVERIFY(std::abs(product.incost - most) < 0.01);
        QCOMPARE(product.outcost, 4321.56);
    }

    void duplicates_haveNameAndArticle()
    {
        shop::addProduct({.id = 11, .name = shop::nastyName, .article = "А'1"});
        shop::addProduct({.id = 12, .name = shop::nastyName, .article = "А'1"});
        shop::addProduct({.id = 13, .name = shop::nastyName});
        const auto twinOf = [](qulonglong id, const QString &article) {
            qulonglong twin = 0;
            const TransactionGuard transaction;
            findDuplicate({.id = id, .article = article, .name = shop::nastyName}, twin);
            return twin;
        };
        QCOMPARE(twinOf(11, "А'1"), 12U);
        QCOMPARE(twinOf(12, "А'1"), 11U);
        QCOMPARE(twinOf(13, ""), 0U);
        QCOMPARE(twinOf(0, ""), 13U);
    }

private:
    void prepare() override
    {
        openShop();
    }

    /// The columns of the one product, as the database's own client sees them.
    QString stored(const QString &columns) const
    {
        static const QRegularExpression zeros("\\.0(?=\t|$)");
        return rows("SELECT " + columns + " FROM warehouse").remove(zeros).replace('\t', ' ');
    }
};

QTEST_GUILESS_MAIN(TestProductStore)
#include "tst_productstore.moc"
