#include "catalogue/articlestore.h"
#include "catalogue/articlesync.h"

#include "catalogue/articledialog.h"
#include "tests/support/databasetest.h"
#include "tests/support/widgets.h"

#include <tuple>

class TestArticles : public DatabaseTest
{
    Q_OBJECT

private slots:
    void record_isWrittenAndReadBack()
    {
        Article article{.wareid = 1,
                        .supplierid = 5,
                        .ratio = 0.5,
                        .name = shop::nastyName,
                        .incost = 1234567,
                        .itime = "2026-01-02 03:04:05"};
        article.id = insertArticle(nullptr, article).value_or(0);
        article.step = 12;
        QCOMPARE(updateArticle(nullptr, article), WriteState::Written);
        QList<Article> read;
        QVERIFY(loadArticles(nullptr, 5, read));
        read.removeFirst();
        Article one;
        QCOMPARE(loadArticle(nullptr, article.id, one), LoadState::Loaded);
        for (const Article &same : {one, read.value(0)}) {
            QCOMPARE(std::tie(same.name, same.itime), std::tie(article.name, article.itime));
            QCOMPARE(std::tuple(same.ratio, same.step, same.incost),
                     std::tuple(0.5, 12.0, 1234567.0));
        }
        article.id = 9999;
        QCOMPARE(updateArticle(nullptr, article), WriteState::NotFound);
    }

    void text_isOnceForASupplier()
    {
        ArticleDialog dialog(0, 2, nullptr);
        dialog.show();
        type(dialog, "articleLineEdit", " A-1");
        child<QComboBox>(dialog, "suppliersComboBox")->setCurrentText("Север");
        m_boxes->answer("OK");
        click(dialog, "okButton");
        QCOMPARE(m_boxes->lastText(), "Артикул A-1 уже присвоен наименованию %2 'один'.");
        QVERIFY(dialog.isVisible());
        child<QComboBox>(dialog, "suppliersComboBox")->setCurrentIndex(0);
        click(dialog, "okButton");
        QCOMPARE(rows("SELECT wareid,supplierid,ratio FROM articles WHERE id!=905").remove(".0"),
                 "2\t0\t1");

        ArticleDialog own(905, 0, nullptr); // its own text is no other one's
        child<QCheckBox>(own, "orderenabledCheckBox")->setChecked(false);
        click(own, "okButton");
        QCOMPARE(rows("SELECT wareid,orderenabled FROM articles WHERE id=905"), "1\t0");
    }

    void reference_givesWhatIsMissing()
    {
        const ScratchDatabase &reference = openReference();
        for (const qulonglong id : {11, 12, 13})
            shop::addProduct({.id = id}, friendConnection);
        reference.client(
            "DELETE FROM suppliers; UPDATE warehouse SET wuid='w1' WHERE id=11; "
            "UPDATE warehouse SET wuid='' WHERE id=12; UPDATE warehouse SET wuid='w3' WHERE id=13; "
            "INSERT INTO suppliers(id,name) VALUES(1,' север '),(2,'Юг'),(3,'Икс'); "
            "INSERT INTO articles(wareid,supplierid,ratio,name,incost) VALUES(11,1,3,'A-1',7), "
            "(11,2,4,'A-1',123456.5),(11,0,1,'A-2',0),(12,3,1,'A-3',0),(13,3,1,'A-4',0);");
        rows("UPDATE warehouse SET wuid='w1' WHERE id=1; UPDATE warehouse SET wuid='' WHERE id=2;");

        int steps = 0;
        ArticleSync sync = syncArticles(nullptr, [&](int, int total) { return ++steps < total; });
        QVERIFY(sync.stopped);
        QCOMPARE(rows("SELECT COUNT(*) FROM articles"), "1");
        breakStatements("INSERT INTO articles");
        sync = syncArticles(nullptr);
        QCOMPARE(std::tuple(sync.failed, sync.suppliers), std::tuple(2, 0));
        QCOMPARE(rows("SELECT COUNT(*) FROM suppliers"), "1");
        setStatementObserver({});
        sync = syncArticles(nullptr);
        QCOMPARE(syncResult(sync),
                 "Скопировано артикулов: 2, уже были: 1, создано поставщиков: 1.");
        QCOMPARE(rows("SELECT a.wareid,a.name,s.name,a.ratio,a.incost FROM articles a LEFT JOIN "
                      "suppliers s ON s.id=a.supplierid WHERE a.id!=905 ORDER BY a.name")
                     .remove(".0")
                     .replace("NULL", ""),
                 "1\tA-1\tЮг\t4\t123456.5\n1\tA-2\t\t1\t0");
        QCOMPARE(rows("SELECT ratio FROM articles WHERE id=905").remove(".0"), "1");
        QCOMPARE(syncArticles(nullptr).present, 3);
    }

private:
    void prepare() override
    {
        openShop();
        shop::addProduct({.id = 1, .name = "%2 'один'"});
        shop::addProduct({.id = 2});
        rows("DELETE FROM suppliers; INSERT INTO suppliers(id,name) VALUES(5,'Север'); "
             "INSERT INTO articles(id,orderenabled,wareid,supplierid,ratio,name) "
             "VALUES(905,1,1,5,1,'A-1');");
    }
};

QTEST_MAIN(TestArticles)
#include "tst_articles.moc"
