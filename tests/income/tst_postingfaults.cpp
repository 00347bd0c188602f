// A posting of three lines is broken at each of its statements, by an error of the database, by the
// loss of the connection and by the death of the program: afterwards everything is there or
// nothing, and the working list agrees.
#include "app/settings.h"
#include "db/query.h"
#include "db/session.h"
#include "db/transaction.h"
#include "income/posting.h"
#include "keptshops.h"
#include "tests/support/cuttingproxy.h"
#include "tests/support/servers.h"
#include "tests/support/shop.h"
#include "tests/support/testhome.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

/// Posts on the main connection; the statement with the number `at` (from 0) meets the fault.
PostingResult postWithFault(int at, const std::function<void(QString &sqlText)> &fault)
{
    int number = 0;
    setStatementObserver([&](QString &sqlText, const QString &) {
        if (number++ == at)
            fault(sqlText);
    });
    PostingCallbacks callbacks;
    callbacks.sendSms = [](const QString &, const QString &) {
        return true;
    };
    const PostingResult result =
        ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, callbacks);
    setStatementObserver({});
    return result;
}

QStringList entryArguments(const ConnectionEntry &entry)
{
    return {entry.dbtype, entry.dbhostname, entry.dbusername, entry.dbpassword, entry.databasename};
}

/// The child of diesAtEveryStatement: posts and kills itself at a statement.
int postAndDie(const QStringList &arguments)
{
    const ConnectionEntry entry{.name = "child",
                                .dbtype = arguments.at(3),
                                .dbhostname = arguments.at(4),
                                .dbusername = arguments.at(5),
                                .dbpassword = arguments.at(6),
                                .databasename = arguments.at(7)};
    if (!createConnection(nullptr, entry, mainConnection) ||
        !Session::instance().loadOptions(nullptr, mainConnection))
        return 2;
    const PostingResult result =
        postWithFault(arguments.at(2).toInt(), [](QString &) { raise(SIGKILL); });
    return result.outcome == PostingOutcome::Posted ? 0 : 1;
}

} // namespace

class TestPostingFaults : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void cleanup();
    void errorAtEveryStatement();
    void lossAtEveryStatement();
    void deathAtEveryStatement();
    void lostCommit_isLookedUp_data();
    void lostCommit_isLookedUp();
    void serverKilledInTheMiddle();
    void fullDisk_leavesNothing();

private:
    void fill();
    void forgetAll();
    QString core() const;
    QString openCarts() const;
    void learnBothEnds();
    QString state() const;

    Dialect m_dialect = Dialect::Sqlite;
    std::unique_ptr<TestHome> m_home;
    KeptShops m_shops;
    ScratchDatabase *m_database = nullptr;
    int m_statements = 0; ///< of an undisturbed posting
    QString m_before;
    QString m_after;
};

void TestPostingFaults::initTestCase_data()
{
    addDialectRows();
}

void TestPostingFaults::init()
{
    QFETCH_GLOBAL(Dialect, dialect);
    m_dialect = dialect;
    m_home = std::make_unique<TestHome>();
    m_database = &m_shops.open(dialect);
    QVERIFY(Session::instance().loadOptions(nullptr, mainConnection));
    learnBothEnds();
}

void TestPostingFaults::cleanup()
{
    Session::instance().reset();
    m_home.reset();
}

void TestPostingFaults::forgetAll()
{
    for (const char *table : {"incomeinvoice", "income", "incomereports", "warehouse", "articles",
                              "cart", "changeoutcostinfo", "alerts"})
        QVERIFY(QueryExec(nullptr, QStringLiteral("DELETE FROM ") + QLatin1String(table)));
}

void TestPostingFaults::fill()
{
    // One transaction: thousands of single commits would wait for the disk.
    TransactionGuard transaction;
    forgetAll();
    for (const qulonglong id : {11, 12, 13}) {
        shop::addProduct({.id = id, .stock = double(id)});
        shop::addLine({.wareId = id, .quantity = 2, .incost = 7, .outcost = 25});
    }
    shop::addAlert(12, "+79001112233");
    QVERIFY(QueryExec(nullptr, "INSERT INTO articles(wareid,orderquantity) VALUES('11','5')"));
    QVERIFY(QueryExec(nullptr, "INSERT INTO cart(wareid,outcost) VALUES('11','1'),('13','1')"));
    QVERIFY(transaction.commit());
}

/// What every posting must leave whole, as the database's own client reads it.
QString TestPostingFaults::core() const
{
    return m_database->client(
        "SELECT wareid,quantity,outcost FROM incomeinvoice ORDER BY wareid;"
        "SELECT '-';"
        "SELECT reportid,wareid,quantity,incost FROM income ORDER BY wareid;"
        "SELECT '-';"
        "SELECT id,total,payment_type FROM incomereports ORDER BY id;"
        "SELECT '-';"
        "SELECT id,quantity,incost,outcost,orderquantity FROM warehouse ORDER BY id;"
        "SELECT '-';"
        "SELECT wareid,orderquantity FROM articles ORDER BY wareid;");
}

/// What statements write whose results are not looked at.
QString TestPostingFaults::openCarts() const
{
    return m_database->client("SELECT wareid,outcost FROM cart ORDER BY wareid;"
                              "SELECT '-';"
                              "SELECT wareid FROM changeoutcostinfo ORDER BY wareid;"
                              "SELECT '-';"
                              "SELECT wareid FROM alerts ORDER BY wareid;");
}

QString TestPostingFaults::state() const
{
    return core() + "|" + openCarts();
}

void TestPostingFaults::learnBothEnds()
{
    fill();
    m_before = state();
    m_statements = 0;
    setStatementObserver([&](QString &, const QString &) { ++m_statements; });
    PostingCallbacks callbacks;
    callbacks.sendSms = [](const QString &, const QString &) {
        return true;
    };
    QCOMPARE(ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, callbacks).outcome,
             PostingOutcome::Posted);
    setStatementObserver({});
    m_after = state();
    QVERIFY(m_after != m_before);
    QVERIFY(m_statements > 20);
}

void TestPostingFaults::errorAtEveryStatement()
{
    const QString coreAfter = core();
    int refused = 0; // the reads before the transaction are simply tried again
    for (int at = 0; at < m_statements; ++at) {
        fill();
        QString met;
        const PostingResult result = postWithFault(at, [&](QString &sqlText) {
            met = sqlText;
            sqlText = "SELECT nonsense FROM nowhere";
        });
        const QByteArray place = QByteArray::number(at) + ": " + met.toUtf8();
        if (result.outcome == PostingOutcome::Posted) {
            // A side effect whose result is not looked at may be missing, nothing else.
            QVERIFY2(core() == coreAfter, place.constData());
            continue;
        }
        ++refused;
        QVERIFY2(!result.message.isEmpty(), place.constData());
        QVERIFY2(state() == m_before, place.constData());
    }
    QVERIFY2(refused >= 12, qPrintable(QString::number(refused)));
}

void TestPostingFaults::lossAtEveryStatement()
{
    if (m_dialect == Dialect::Sqlite)
        return; // there is no connection to lose
    int refused = 0;
    for (int at = 0; at < m_statements; ++at) {
        fill();
        QString met;
        const PostingResult result = postWithFault(at, [&](QString &sqlText) {
            met = sqlText;
            TestServers::instance().killClients(m_dialect);
        });
        const QByteArray place = QByteArray::number(at) + ": " + met.toUtf8();
        if (result.outcome == PostingOutcome::Posted) {
            QVERIFY2(state() == m_after, place.constData());
        } else {
            ++refused;
            QVERIFY2(result.outcome == PostingOutcome::Failed, place.constData());
            QVERIFY2(state() == m_before, place.constData());
        }
    }
    QVERIFY2(refused >= 12, qPrintable(QString::number(refused)));
}

void TestPostingFaults::deathAtEveryStatement()
{
    bool posted = false;
    for (int at = 0; at <= m_statements; ++at) {
        fill();
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QCoreApplication::applicationFilePath(),
                    QStringList{"--post-and-die", QString::number(at)} +
                        entryArguments(m_database->entry()));
        QVERIFY(child.waitForFinished(60000));
        const bool died = child.exitStatus() == QProcess::CrashExit;
        QVERIFY2(died || child.exitCode() == 0, qPrintable(QString::number(at)));
        // The server needs a moment to notice that its client is gone.
        QString found;
        QTRY_VERIFY2(((found = state()) == m_before) || found == m_after,
                     qPrintable(QString::number(at)));
        // Once the receipt is committed it stays so for every later statement.
        QVERIFY(!posted || found == m_after);
        posted = found == m_after;
        QVERIFY(died || posted);
    }
    QVERIFY(posted);
}

void TestPostingFaults::lostCommit_isLookedUp_data()
{
    QTest::addColumn<bool>("committed");
    QTest::newRow("the server never heard of it") << false;
    QTest::newRow("the answer was lost") << true;
}

void TestPostingFaults::lostCommit_isLookedUp()
{
    QFETCH(bool, committed);
    if (m_dialect == Dialect::Sqlite)
        return;
    fill();
    CuttingProxy proxy(TestServers::instance().port(m_dialect));
    ConnectionEntry entry = m_database->entry();
    entry.dbhostname = "127.0.0.1:" + QString::number(proxy.port());
    QVERIFY(createConnection(nullptr, entry, mainConnection));
    proxy.cutNext(committed ? CuttingProxy::Cut::Answer : CuttingProxy::Cut::Request);
    PostingCallbacks callbacks;
    callbacks.sendSms = [](const QString &, const QString &) {
        return true;
    };
    const PostingResult result =
        ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, callbacks);
    QVERIFY(proxy.hasCut());
    QCOMPARE(result.outcome, committed ? PostingOutcome::Posted : PostingOutcome::Failed);
    QVERIFY(!result.message.isEmpty());
    QCOMPARE(state(), committed ? m_after : m_before);
    QCOMPARE(ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, callbacks).outcome,
             committed ? PostingOutcome::EmptyList : PostingOutcome::Posted);
    removeConnection(mainConnection);
}

void TestPostingFaults::serverKilledInTheMiddle()
{
    if (m_dialect == Dialect::Sqlite)
        return;
    TestServers &servers = TestServers::instance();
    for (const int at : {m_statements / 2, m_statements - 3}) {
        fill();
        const PostingResult result = postWithFault(at, [&](QString &) { servers.kill(m_dialect); });
        QVERIFY(result.outcome == PostingOutcome::Failed ||
                result.outcome == PostingOutcome::OutcomeUnknown);
        QVERIFY(!result.message.isEmpty());
        servers.start(m_dialect);
        QCOMPARE(state(), m_before);
        QCOMPARE(postWithFault(-1, {}).outcome, PostingOutcome::Posted);
        QCOMPARE(state(), m_after);
    }
}

void TestPostingFaults::fullDisk_leavesNothing()
{
    if (m_dialect != Dialect::Sqlite)
        return;
    const QTemporaryDir mountPoint;
    const auto mount = [&](const QStringList &arguments) {
        return QProcess::execute(arguments.first(), arguments.mid(1)) == 0;
    };
    QVERIFY2(mount({"mount", "-t", "tmpfs", "-o", "size=4m", "tmpfs", mountPoint.path()}),
             "mounting a small disk needs root");
    const QString connection = QStringLiteral("small disk");
    QVERIFY(createConnection(
        nullptr,
        {.name = "small", .dbtype = "sqlite", .databasename = mountPoint.filePath("shop.sqlite")},
        connection));
    QVERIFY(shop::create(connection));
    constexpr int lines = 3000;
    QVERIFY(QueryExec(nullptr, "BEGIN", connection));
    for (int i = 1; i <= lines; ++i) {
        shop::addProduct({.id = qulonglong(i), .stock = 1}, connection);
        shop::addLine({.wareId = qulonglong(i), .outcost = 99}, connection);
    }
    QVERIFY(QueryExec(nullptr, "COMMIT", connection));
    // Little room is left, less than the posting needs.
    QFile filler(mountPoint.filePath("filler"));
    QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    while (filler.write(QByteArray(16384, 'x')) == 16384) {
    }
    const PostingResult result = ReceiptPosting(nullptr, connection).post(PaymentType::Cash, {});
    QCOMPARE(result.outcome, PostingOutcome::Failed);
    QVERIFY(!result.message.isEmpty());
    filler.remove();
    QCOMPARE(QueryValue(nullptr, "SELECT COUNT(id) FROM incomeinvoice", connection).toInt(), lines);
    QCOMPARE(QueryValue(nullptr, "SELECT COUNT(id) FROM income", connection).toInt(), 0);
    QCOMPARE(QueryValue(nullptr, "SELECT SUM(quantity) FROM warehouse", connection).toInt(), lines);
    // With room again the same list is posted.
    QCOMPARE(ReceiptPosting(nullptr, connection).post(PaymentType::Cash, {}).lines, lines);
    removeConnection(connection);
    QVERIFY(mount({"umount", mountPoint.path()}));
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().value(1) == "--post-and-die")
        return postAndDie(QCoreApplication::arguments());
    TestPostingFaults test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_postingfaults.moc"
