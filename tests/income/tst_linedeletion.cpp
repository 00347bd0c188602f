// Lines are deleted as they were shown, or not at all: what another station has put into them
// meanwhile must not get lost, whatever the connection does.
#include "income/linedeletion.h"
#include "income/receiptlist.h"
#include "tests/support/cuttingproxy.h"
#include "tests/support/databasetest.h"
#include "tests/support/files.h"

#include <QWidget>

class TestLineDeletion : public DatabaseTest
{
    Q_OBJECT

private slots:
    void changedLines_stay_data()
    {
        // meanwhile: to the line of product 11
        addColumns<QString, QString, QString>("meanwhile", "left", "told");
        addRow("twelve more there", "UPDATE incomeinvoice SET quantity='13'", "11 13",
               "было 1.1, стало 13");
        addRow("posted there", "DELETE FROM incomeinvoice", "", "провели или удалили");
        addRow("its number given away", "UPDATE incomeinvoice SET wareid='13'", "13 1.1",
               "провели или удалили");
        addRow("prices changed there", "UPDATE incomeinvoice SET outcost='99'", "", "");
    }

    void changedLines_stay()
    {
        const auto [meanwhile, left, told] = rowValues<QString, QString, QString>();
        const QList<ShownLine> lines = shown();
        rows(meanwhile + " WHERE wareid='11'");
        bool open = false;
        setStatementObserver([&](const QString &sqlText, const QString &) {
            open = sqlText != "COMMIT" && sqlText != "ROLLBACK";
        });
        const bool kept = !told.isEmpty();
        if (kept)
            m_boxes->answer("OK", [&] { QVERIFY(!open); });
        QCOMPARE(deleteLines(&m_window, lines).size(), kept ? 1 : 2);
        QCOMPARE(list(), left);
        if (!kept)
            return;
        QVERIFY2(m_boxes->lastText().contains(shop::nastyName + ": "),
                 qPrintable(m_boxes->lastText()));
        QVERIFY2(m_boxes->lastText().contains(told), qPrintable(m_boxes->lastText()));
        QVERIFY(logText().contains(m_boxes->lastText()));
    }

    void manyLines_areToldInShort()
    {
        QStringList values;
        for (int i = 1; i <= 1010; ++i)
            values += QString("('12','%1')").arg(i);
        rows("INSERT INTO incomeinvoice(wareid,quantity) VALUES" + values.join(','));
        const QList<ShownLine> lines = shown();
        rows("UPDATE incomeinvoice SET quantity=quantity+'1' WHERE quantity>'998'");
        QCOMPARE(deletionNote(lines).count('\n'), 5);
        QVERIFY(deletionNote(lines).endsWith("\nи ещё 1007"));
        m_boxes->answer("OK");
        QCOMPARE(deleteLines(&m_window, lines).size(), 1000);
        QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice WHERE quantity>'999'"), "12");
        QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice"), "12");
        QCOMPARE(m_boxes->lastText().count("стало"), 10);
        QVERIFY(m_boxes->lastText().contains("и ещё 2"));
        QCOMPARE(logText().count("стало"), 12);
    }

    void otherStation_waitsBetweenLookAndDeletion()
    {
        const QList<ShownLine> lines = shown();
        QSqlQuery other = impatientStation();
        QList<bool> allowed;
        setStatementObserver([&](const QString &sqlText, const QString &) {
            if (sqlText.startsWith("DELETE FROM incomeinvoice") && allowed.isEmpty())
                allowed = {other.exec("DELETE FROM incomeinvoice WHERE wareid='12'"),
                           other.exec("UPDATE incomeinvoice SET quantity='8' WHERE wareid='12'")};
        });
        QCOMPARE(deleteLines(nullptr, lines).size(), 2);
        QCOMPARE(allowed, QList<bool>({false, false}));
        QCOMPARE(list(), "");
    }

    void thrownOutTransaction_isBegunAnew()
    {
        const QList<ShownLine> lines = shown();
        int deletions = 0;
        int broken = 100;
        setStatementObserver([&](QString &sqlText, const QString &) {
            // The second of two.
            if (!sqlText.startsWith("DELETE FROM incomeinvoice") || ++deletions % 2 != 0 ||
                deletions / 2 > broken)
                return;
            if (deletions / 2 == 2 && m_dialect != Dialect::Sqlite)
                TestServers::instance().killClients(m_dialect);
            else
                sqlText = "SELECT nonsense FROM nowhere";
        });
        m_boxes->answer("OK");
        QCOMPARE(deleteLines(&m_window, lines).size(), 0);
        QCOMPARE(list(), "11 1.1, 12 2");
        QVERIFY(m_boxes->lastText().startsWith("Ошибка SQL:"));

        deletions = 0;
        broken = 2;
        QCOMPARE(deleteLines(&m_window, lines).size(), 2);
        QCOMPARE(list(), "");
    }

    void lostCommit_isLookedUp_data()
    {
        // meanwhile: to product 12
        addColumns<CuttingProxy::Cut, bool, QString, int, QString, QString>(
            "cut", "serverGone", "meanwhile", "deleted", "left", "told");
        const auto answer = CuttingProxy::Cut::Answer;
        const auto request = CuttingProxy::Cut::Request;
        addRow("reply lost", answer, false, "", 0, "", "неизвестно");
        addRow("request lost", request, false, "", 2, "", "");
        addRow("request lost, changed there", request, false,
               "UPDATE incomeinvoice SET quantity='8'", 1, "12 8", "было 2, стало 8");
        addRow("request lost, posted there", request, false, "DELETE FROM incomeinvoice", 1, "",
               "провели или удалили");
        addRow("reply lost, server gone", answer, true, "", 0, "", "Неизвестно");
    }

    void lostCommit_isLookedUp()
    {
        const auto [cut, serverGone, meanwhile, deleted, left, told] =
            rowValues<CuttingProxy::Cut, bool, QString, int, QString, QString>();
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        const QList<ShownLine> lines = shown();
        CuttingProxy proxy(TestServers::instance().port(m_dialect));
        QVERIFY(openThrough(proxy.port()));
        setStatementObserver([&, begins = 0](const QString &sqlText, const QString &) mutable {
            if (sqlText == "BEGIN" && ++begins == 2 && !meanwhile.isEmpty())
                rows(meanwhile + " WHERE wareid='12'");
        });
        proxy.cutNext(cut, "COMMIT", serverGone);
        if (serverGone)
            m_boxes->answer("Отмена"); // reconnect?
        if (!told.isEmpty())
            m_boxes->answer("OK");
        QCOMPARE(deleteLines(&m_window, lines).size(), deleted);
        QVERIFY(proxy.hasCut());
        QCOMPARE(list(), left);
        QVERIFY2(m_boxes->lastText().contains(told), qPrintable(m_boxes->lastText()));
    }

private:
    void prepare() override
    {
        openShop();
        shop::addProduct({.id = 11, .name = shop::nastyName});
        shop::addProduct({.id = 12});
        shop::addLine({.wareId = 11, .quantity = 1.1});
        shop::addLine({.wareId = 12, .quantity = 2});
    }

    /// "product quantity" of all lines.
    QString list() const
    {
        return rows("SELECT wareid, quantity FROM incomeinvoice ORDER BY id")
            .replace('\t', ' ')
            .replace('\n', ", ")
            .remove(".0");
    }

    /// The working list as a window shows it.
    static QList<ShownLine> shown()
    {
        ReceiptListModel model;
        QList<ShownLine> lines;
        if (!model.refresh(nullptr, true))
            qFatal("no working list");
        for (int row = 0; row < model.rowCount(); ++row)
            lines.prepend(model.shownLine(row)); // people do not select in order
        return lines;
    }

    QWidget m_window;
};

QTEST_MAIN(TestLineDeletion)
#include "tst_linedeletion.moc"
