#include "catalogue/waresave.h"

#include "catalogue/productstore.h"
#include "catalogue/stagedrows.h"
#include "db/sqltext.h"
#include "tests/support/cuttingproxy.h"
#include "tests/support/databasetest.h"
#include "tests/support/servers.h"

namespace {

const QStringList waitingTables = {"images",         "codes",          "articles",
                                   "wareproperties", "waretranslates", "collectionproducts"};

} // namespace

class TestWareSave : public DatabaseTest
{
    Q_OBJECT

private slots:
    void newProduct_takesItsWaitingRows()
    {
        stageEverything();
        WareSave save;
        save.begin({});
        const Product product{.name = "  Чай   чёрный ", .outcost = 150};
        QCOMPARE(save.save(nullptr, product), WareSaveState::Saved);
        const QString id = QString::number(save.id());
        QCOMPARE(rows("SELECT name FROM warehouse"), "Чай чёрный");
        for (const QString &table : waitingTables)
            QCOMPARE(rows("SELECT COUNT(*) FROM " + table + " WHERE wareid=" + id), "1");
        // Those of the other user still wait.
        QCOMPARE(rows("SELECT userid FROM codes WHERE wareid=0"), "9");
        QCOMPARE(rows("SELECT userid FROM collectionproducts WHERE wareid=0"), "9");
        QCOMPARE(rows("SELECT wareid FROM changeoutcostinfo"), id);

        stageEverything();
        QVERIFY(clearStagedRows(nullptr));
        const char *left[] = {"1", "2", "0", "0", "0", "2"};
        for (int i = 0; i < waitingTables.size(); ++i)
            QCOMPARE(rows("SELECT COUNT(*) FROM " + waitingTables.at(i) + " WHERE wareid=0"),
                     left[i]);
    }

    void failureInTheMiddle_leavesNothing()
    {
        stageEverything();
        const QString before = everything();
        for (const QString &table : waitingTables + QStringList{"incomeinvoice"}) {
            breakStatements("UPDATE " + table);
            m_boxes->answer("OK");
            WareSave save;
            save.begin({});
            QCOMPARE(save.save(nullptr, {.name = "Чай", .outcost = 5}), WareSaveState::Failed);
            QCOMPARE(save.id(), 0U);
            setStatementObserver({});
            QCOMPARE(everything(), before);
        }
    }

    void newPrice_isMarkedAndFollowed()
    {
        shop::addProduct({.id = 7, .outcost = 20});
        shop::addLine({.wareId = 7});
        shop::addLine({.wareId = 7, .inoutratio = 2});
        WareSave save;
        QCOMPARE(save.load(nullptr, 7), LoadState::Loaded);
        Product product = save.given();
        product.keywords = "new";
        rows("UPDATE warehouse SET quantity=8");
        QCOMPARE(save.save(nullptr, product), WareSaveState::Saved);
        QCOMPARE(rows("SELECT COUNT(*) FROM changeoutcostinfo"), "0");
        product.outcost = 25.5;
        QCOMPARE(save.save(nullptr, product), WareSaveState::Saved);
        QCOMPARE(rows("SELECT wareid FROM changeoutcostinfo"), "7");
        QCOMPARE(rows("SELECT outcost FROM incomeinvoice ORDER BY id").remove(".0"), "25.5\n20");
        QCOMPARE(rows("SELECT quantity FROM warehouse").remove(".0"), "8");
    }

    void duplicate_isNameAndArticle()
    {
        shop::addProduct({.id = 7, .name = "Чай", .article = "1"});
        shop::addProduct({.id = 8, .name = "Чай", .article = "2"});
        WareSave save;
        save.load(nullptr, 8);
        Product product = save.given();
        product.article = " 1 ";
        QCOMPARE(save.save(nullptr, product), WareSaveState::Duplicate);
        QCOMPARE(save.duplicateId(), 7U);
        product.article = "3";
        QCOMPARE(save.save(nullptr, product), WareSaveState::Saved);
    }

    void changeElsewhere_isToldBeforeItIsReplaced()
    {
        shop::addProduct({.id = 7, .name = "Чай", .outcost = 20});
        WareSave save;
        save.load(nullptr, 7);
        Product mine = save.given();
        mine.name = "Чай чёрный";
        rows("UPDATE warehouse SET outcost=30, latime='2026-01-01', quantity=4");
        QCOMPARE(save.save(nullptr, mine), WareSaveState::Changed);
        QCOMPARE(changedColumns(save.seen(), save.now()), QStringList("outcost"));
        QCOMPARE(rows("SELECT name FROM warehouse"), "Чай");
        const Product merged = save.takeOver(mine);
        QVERIFY(merged.outcost == 30 && merged.name == "Чай чёрный");
        QCOMPARE(save.save(nullptr, merged), WareSaveState::Saved);
        QCOMPARE(rows("SELECT COUNT(*) FROM changeoutcostinfo"), "0");
        rows("UPDATE warehouse SET outcost=40");
        QCOMPARE(save.save(nullptr, merged), WareSaveState::Changed);
        save.acknowledge();
        QCOMPARE(save.save(nullptr, merged), WareSaveState::Saved);
        QCOMPARE(rows("SELECT outcost FROM warehouse").remove(".0"), "30");
        QCOMPARE(rows("SELECT COUNT(*) FROM changeoutcostinfo"), "1");

        shop::addCode(7, "4600000000015");
        rows("DELETE FROM warehouse");
        QCOMPARE(save.save(nullptr, merged), WareSaveState::Gone);
        save.beginAnew();
        QCOMPARE(save.save(nullptr, merged), WareSaveState::Saved);
        QCOMPARE(rows("SELECT wareid FROM codes"), rows("SELECT id FROM warehouse"));
    }

    void lostCommit_neverDoublesTheProduct_data()
    {
        addColumns<CuttingProxy::Cut, bool>("cut", "stored");
        addRow("reply lost", CuttingProxy::Cut::Answer, false);
        addRow("request lost", CuttingProxy::Cut::Request, false);
        addRow("of a stored product", CuttingProxy::Cut::Answer, true);
    }

    void lostCommit_neverDoublesTheProduct()
    {
        const auto [cut, stored] = rowValues<CuttingProxy::Cut, bool>();
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        stageEverything();
        WareSave save;
        save.begin({});
        if (stored)
            QCOMPARE(save.save(nullptr, {.name = "Чай"}), WareSaveState::Saved);
        CuttingProxy proxy(TestServers::instance().port(m_dialect));
        QVERIFY(openThrough(proxy.port()));
        proxy.cutNext(cut);
        QCOMPARE(save.save(nullptr, {.name = "Кофе"}), WareSaveState::Saved);
        QVERIFY(proxy.hasCut());
        QCOMPARE(rows("SELECT id, name FROM warehouse"), QString::number(save.id()) + "\tКофе");
        QCOMPARE(rows("SELECT wareid FROM articles"), QString::number(save.id()));
    }

    void commitInDoubt_isLookedUpByTheNextSave()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        WareSave save;
        save.begin({});
        {
            CuttingProxy proxy(TestServers::instance().port(m_dialect));
            QVERIFY(openThrough(proxy.port()));
            proxy.cutNext(CuttingProxy::Cut::Answer, "COMMIT", true);
            m_boxes->answer("OK");
            QCOMPARE(save.save(nullptr, {.name = "Чай"}), WareSaveState::Failed);
            QVERIFY(m_boxes->lastText().contains("Неизвестно"));
        }
        QVERIFY(m_database->open());
        rows("INSERT INTO articles(wareid,name) VALUES(0,'since then')");
        QCOMPARE(save.save(nullptr, {.name = "Чай чёрный"}), WareSaveState::Saved);
        QCOMPARE(rows("SELECT name FROM warehouse"), "Чай чёрный");
        QCOMPARE(rows("SELECT wareid FROM articles"), rows("SELECT id FROM warehouse"));
    }

    void hostileNames_comeBackOrAreRefused_data()
    {
        addColumns<QString>("name");
        addRow("nasty", shop::nastyName);
        addRow("ends with backslash", QString("C:\\ '\\"));
        addRow("long", QString(300, u'Ж'));
        addRow("reversed", QString::fromUtf8("a\u202Eb"));
        addRow("emoji", QString::fromUtf8("чай \U0001F375"));
    }

    void hostileNames_comeBackOrAreRefused()
    {
        const auto [name] = rowValues<QString>();
        const bool refused = m_dialect == Dialect::MySql && name.contains(u'\xD83C');
        if (refused)
            m_boxes->answer("OK");
        WareSave save;
        save.begin({});
        const Product product{.wuid = name,
                              .article = name,
                              .name = name,
                              .keywords = name,
                              .description = name + "\n " + name,
                              .location = name,
                              .currency = name};
        QCOMPARE(save.save(nullptr, product),
                 refused ? WareSaveState::Failed : WareSaveState::Saved);
        QCOMPARE(rows("SELECT COUNT(*) FROM warehouse"), refused ? "0" : "1");
        Product stored = product;
        if (!refused)
            QCOMPARE(loadProduct(nullptr, save.id(), ProductColumns::Card, stored),
                     LoadState::Loaded);
        QCOMPARE(changedColumns(product, stored), QStringList());
    }

private:
    void prepare() override
    {
        openShop();
    }

    /// A row of each kind waits for a product without a number, two more of another user.
    void stageEverything() const
    {
        rows("INSERT INTO images(wareid,filename) VALUES(0,'a');"
             "INSERT INTO codes(wareid,code,userid) VALUES(0,'1',3),(0,'2',9);"
             "INSERT INTO articles(wareid,name) VALUES(0,'a');"
             "INSERT INTO wareproperties(wareid,propertyid) VALUES(0,1);"
             "INSERT INTO waretranslates(wareid,locale) VALUES(0,'en');"
             "INSERT INTO collectionproducts(wareid,userid) VALUES(0,3),(0,9)");
    }

    /// How many rows there are for which product.
    QString everything() const
    {
        QStringList counts;
        for (const QString &table : waitingTables + QStringList{"changeoutcostinfo"})
            counts += rows("SELECT wareid, COUNT(*) FROM " + table + " GROUP BY wareid");
        return counts.join(u';') + rows("SELECT COUNT(*) FROM warehouse");
    }
};

QTEST_GUILESS_MAIN(TestWareSave)
#include "tst_waresave.moc"
