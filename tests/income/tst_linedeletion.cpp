// Lines are deleted as they were shown, or not at all: what another station has put into them
// meanwhile must not get lost, whatever the connection does.
#include "db/query.h"
#include "income/linedeletion.h"
#include "income/receiptlist.h"
#include "tests/support/cuttingproxy.h"
#include "tests/support/databasetest.h"
#include "tests/support/datatable.h"
#include "tests/support/servers.h"
#include "tests/support/shop.h"

#include <QFile>
#include <QTest>
#include <QWidget>

#include <memory>

namespace {

const QRegularExpression sqlError(QStringLiteral("^Ошибка SQL:"));

} // namespace

class TestLineDeletion : public DatabaseTest
{
    Q_OBJECT

private slots:
    void changedLines_stay_data();
    void changedLines_stay();
    void manyLines_areToldInShort();
    void otherStation_waitsBetweenLookAndDeletion();
    void thrownOutTransaction_isBegunAnew();
    void lostCommit_isLookedUp_data();
    void lostCommit_isLookedUp();

private:
    void prepare() override;
    void tidy() override;
    /// "product quantity" of all lines.
    QString list() const;
    static QList<ShownLine> shown();
    QString log() const;

    std::unique_ptr<QWidget> m_window;
};

void TestLineDeletion::prepare()
{
    openShop();
    m_window = std::make_unique<QWidget>();
    shop::addProduct({.id = 11, .name = shop::nastyName});
    shop::addProduct({.id = 12});
    shop::addLine({.wareId = 11, .quantity = 1.1});
    shop::addLine({.wareId = 12, .quantity = 2});
}

void TestLineDeletion::tidy()
{
    m_window.reset();
}

QString TestLineDeletion::list() const
{
    return rows("SELECT wareid, quantity FROM incomeinvoice ORDER BY id")
        .replace('\t', ' ')
        .replace('\n', ", ")
        .remove(".0");
}

/// The working list as a window shows it.
QList<ShownLine> TestLineDeletion::shown()
{
    ReceiptListModel model;
    QList<ShownLine> lines;
    if (!model.refresh(nullptr, true))
        qFatal("no working list");
    for (int row = 0; row < model.rowCount(); ++row)
        lines.prepend(model.shownLine(row)); // people do not select in order
    return lines;
}

QString TestLineDeletion::log() const
{
    QFile file(m_home->path() + "/.lavkor/Lavkor_log.txt");
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void TestLineDeletion::changedLines_stay_data()
{
    QTest::addColumn<QString>("meanwhile"); // to the line of product 11
    QTest::addColumn<QString>("left");
    QTest::addColumn<QString>("told");
    QTest::newRow("nothing") << ""
                             << ""
                             << "";
    QTest::newRow("twelve more there") << "UPDATE incomeinvoice SET quantity='13'"
                                       << "11 13"
                                       << "было 1.1, стало 13";
    QTest::newRow("posted there") << "DELETE FROM incomeinvoice"
                                  << ""
                                  << "провели или удалили";
    QTest::newRow("its number given away") << "UPDATE incomeinvoice SET wareid='13'"
                                           << "13 1.1"
                                           << "провели или удалили";
    QTest::newRow("prices changed there") << "UPDATE incomeinvoice SET outcost='99'"
                                          << ""
                                          << "";
}

void TestLineDeletion::changedLines_stay()
{
    QFETCH(QString, meanwhile);
    QFETCH(QString, left);
    QFETCH(QString, told);
    const QList<ShownLine> lines = shown();
    if (!meanwhile.isEmpty())
        rows(meanwhile + " WHERE wareid='11'");
    bool open = false;
    setStatementObserver([&](const QString &sqlText, const QString &) {
        open = sqlText != "COMMIT" && sqlText != "ROLLBACK";
    });
    if (!told.isEmpty())
        m_boxes->answer("OK", [&] { QVERIFY(!open); });
    const bool kept = !told.isEmpty();
    QCOMPARE(deleteLines(m_window.get(), lines).size(), kept ? 1 : 2);
    QCOMPARE(list(), left);
    if (!kept)
        return;
    QVERIFY2(m_boxes->lastText().contains(shop::nastyName + ": "), qPrintable(m_boxes->lastText()));
    QVERIFY2(m_boxes->lastText().contains(told), qPrintable(m_boxes->lastText()));
    QVERIFY(log().contains(m_boxes->lastText()));
}

void TestLineDeletion::manyLines_areToldInShort()
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
    QCOMPARE(deleteLines(m_window.get(), lines).size(), 1000);
    QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice WHERE quantity>'999'"), "12");
    QCOMPARE(rows("SELECT COUNT(*) FROM incomeinvoice"), "12");
    QCOMPARE(m_boxes->lastText().count("стало"), 10);
    QVERIFY(m_boxes->lastText().contains("и ещё 2"));
    QCOMPARE(log().count("стало"), 12);
}

void TestLineDeletion::otherStation_waitsBetweenLookAndDeletion()
{
    const QList<ShownLine> lines = shown();
    QVERIFY(m_database->open(otherStation));
    // Plain queries, which do not try again.
    QSqlQuery other(QSqlDatabase::database(otherStation));
    const QString impatience = m_dialect == Dialect::Sqlite  ? "PRAGMA busy_timeout=0"
                               : m_dialect == Dialect::MySql ? "SET innodb_lock_wait_timeout=1"
                                                             : "SET lock_timeout='100ms'";
    QVERIFY(other.exec(impatience));
    QStringList allowed;
    int tried = 0;
    setStatementObserver([&](const QString &sqlText, const QString &) {
        if (!sqlText.startsWith("DELETE FROM incomeinvoice") || tried > 0)
            return;
        for (const char *statement : {"DELETE FROM incomeinvoice WHERE wareid='12'",
                                      "UPDATE incomeinvoice SET quantity='8' WHERE wareid='12'"}) {
            ++tried;
            if (other.exec(statement))
                allowed += statement;
        }
    });
    QCOMPARE(deleteLines(nullptr, lines).size(), 2);
    QCOMPARE(tried, 2);
    QCOMPARE(allowed, QStringList());
    QCOMPARE(list(), "");
}

void TestLineDeletion::thrownOutTransaction_isBegunAnew()
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
    for (int i = 0; i < 3; ++i)
        QTest::ignoreMessage(QtWarningMsg, sqlError);
    m_boxes->answer("OK");
    QCOMPARE(deleteLines(m_window.get(), lines).size(), 0);
    QCOMPARE(list(), "11 1.1, 12 2");
    QVERIFY(m_boxes->lastText().startsWith("Ошибка SQL:"));

    deletions = 0;
    broken = 2;
    for (int i = 0; i < 2; ++i)
        QTest::ignoreMessage(QtWarningMsg, sqlError);
    QCOMPARE(deleteLines(m_window.get(), lines).size(), 2);
    QCOMPARE(list(), "");
}

void TestLineDeletion::lostCommit_isLookedUp_data()
{
    QTest::addColumn<CuttingProxy::Cut>("cut");
    QTest::addColumn<bool>("serverGone");
    QTest::addColumn<QString>("meanwhile"); // to product 12
    QTest::addColumn<int>("deleted");
    QTest::addColumn<QString>("left");
    QTest::addColumn<QString>("told");
    const auto answer = CuttingProxy::Cut::Answer;
    const auto request = CuttingProxy::Cut::Request;
    QTest::newRow("reply lost") << answer << false << "" << 0 << ""
                                << "неизвестно";
    QTest::newRow("request lost") << request << false << "" << 2 << ""
                                  << "";
    QTest::newRow("request lost, changed there")
        << request << false << "UPDATE incomeinvoice SET quantity='8'" << 1 << "12 8"
        << "было 2, стало 8";
    QTest::newRow("request lost, posted there")
        << request << false << "DELETE FROM incomeinvoice" << 1 << ""
        << "провели или удалили";
    QTest::newRow("reply lost, server gone") << answer << true << "" << 0 << ""
                                             << "Неизвестно";
}

void TestLineDeletion::lostCommit_isLookedUp()
{
    QFETCH(CuttingProxy::Cut, cut);
    QFETCH(bool, serverGone);
    QFETCH(QString, meanwhile);
    QFETCH(int, deleted);
    QFETCH(QString, left);
    QFETCH(QString, told);
    if (m_dialect == Dialect::Sqlite)
        return; // no connection that could be lost
    const QList<ShownLine> lines = shown();
    CuttingProxy proxy(TestServers::instance().port(m_dialect));
    ConnectionEntry proxied = m_database->entry();
    proxied.dbhostname = QStringLiteral("127.0.0.1:%1").arg(proxy.port());
    QVERIFY(createConnection(nullptr, proxied, mainConnection));
    setStatementObserver([&, begins = 0](const QString &sqlText, const QString &) mutable {
        if (sqlText == "BEGIN" && ++begins == 2 && !meanwhile.isEmpty())
            rows(meanwhile + " WHERE wareid='12'");
    });
    proxy.cutNext(cut, "COMMIT", serverGone);
    if (serverGone)
        m_boxes->answer("Отмена"); // reconnect?
    if (!told.isEmpty())
        m_boxes->answer("OK");
    QCOMPARE(deleteLines(m_window.get(), lines).size(), deleted);
    QVERIFY(proxy.hasCut());
    QCOMPARE(list(), left);
    QVERIFY2(m_boxes->lastText().contains(told), qPrintable(m_boxes->lastText()));
}

QTEST_MAIN(TestLineDeletion)
#include "tst_linedeletion.moc"
