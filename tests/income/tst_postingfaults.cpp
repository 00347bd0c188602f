// A posting of three lines is broken at each of its statements, by an error of the database, by the
// loss of the connection and by the death of the program: afterwards everything is there or
// nothing, and the working list agrees.
#include "db/session.h"
#include "db/transaction.h"
#include "income/posting.h"
#include "tests/support/cuttingproxy.h"
#include "tests/support/databasetest.h"

#include <QCoreApplication>
#include <QProcess>
#include <QScopeGuard>
#include <QSqlDatabase>
#include <QSqlRecord>

#include <csignal>

namespace {

/// Posts on the main connection; the statement with the number `at` (from 0) meets the fault, and
/// so does its every repetition when that is wanted. Tells the statements.
PostingResult postWithFault(int at, const std::function<void(QString &sqlText)> &fault,
                            bool forGood = false, QStringList *statements = nullptr)
{
    int number = 0;
    QString met;
    setStatementObserver([&](QString &sqlText, const QString &) {
        if (statements)
            *statements += sqlText;
        const bool isMeant = number++ == at;
        if (isMeant)
            met = sqlText;
        if (isMeant || (forGood && sqlText == met))
            fault(sqlText);
    });
    PostingResult result = ReceiptPosting(nullptr, mainConnection).post(PaymentType::Cash, {});
    setStatementObserver({});
    return result;
}

PostingResult post()
{
    return postWithFault(-1, {});
}

/// The child of diesAtEveryStatement: posts and kills itself at a statement.
int postAndDie(const QStringList &arguments)
{
    if (!createConnection(nullptr, entryOf(arguments.mid(3)), mainConnection) ||
        !Session::instance().loadOptions(nullptr, mainConnection))
        return 2;
    Session::instance().setUser({.id = 3, .login = "anna", .name = "Анна"});
    const PostingResult result =
        postWithFault(arguments.at(2).toInt(), [](QString &) { raise(SIGKILL); });
    return result.outcome == PostingOutcome::Posted ? 0 : 1;
}

} // namespace

class TestPostingFaults : public DatabaseTest
{
    Q_OBJECT

private slots:
    void faultAtEveryStatement_data()
    {
        addColumns<bool, bool, int>("lost", "forGood", "refusals");
        // BEGIN, a look at the list, three statements a line, the receipt, the list, COMMIT.
        addRow("error once", false, false, 14);
        addRow("again and again", false, true, 19); // and the five reads before the transaction
        addRow("connection lost", true, false, 12);
    }

    void faultAtEveryStatement()
    {
        const auto [lost, forGood, refusals] = rowValues<bool, bool, int>();
        if (lost && !isServer())
            QSKIP("a file has no connection that could be lost");
        const QString coreAfter = core();
        int refused = 0;
        for (int at = 0; at < m_statements.size(); ++at) {
            fill();
            const auto fault = [this, lost = lost](QString &sqlText) {
                if (lost)
                    TestServers::instance().killClients(m_dialect);
                else
                    sqlText = "SELECT nonsense FROM nowhere";
            };
            const PostingResult result = postWithFault(at, fault, forGood);
            const QByteArray place = QByteArray::number(at) + ": " + m_statements.at(at).toUtf8();
            // Nobody is told of a receipt that is not there.
            QVERIFY2(result.due.size() == (result.outcome == PostingOutcome::Posted),
                     place.constData());
            if (result.outcome != PostingOutcome::Posted) {
                ++refused;
                QVERIFY2(!lost || result.outcome == PostingOutcome::Failed, place.constData());
                QVERIFY2(!result.message.isEmpty(), place.constData());
                QVERIFY2(state() == m_before, place.constData());
            } else if (forGood && !result.message.isEmpty()) {
                // A mark or a cart that the database refuses alone is told.
                QVERIFY2(core() == coreAfter, place.constData());
            } else {
                QVERIFY2(state() == m_after, place.constData());
            }
        }
        QVERIFY2(refused >= refusals, qPrintable(QString::number(refused)));
    }

    /// What the statements have written the database may still refuse at the end.
    void refusedCommit_leavesNothing()
    {
        if (m_dialect == Dialect::MySql)
            QSKIP("it checks nothing so late");
        fill();
        const bool isFile = m_dialect == Dialect::Sqlite;
        rows(isFile ? "CREATE TABLE parents(id INTEGER PRIMARY KEY);"
                      "CREATE TABLE children(id INTEGER REFERENCES parents(id) DEFERRABLE "
                      "INITIALLY DEFERRED);"
                      "CREATE TRIGGER late AFTER INSERT ON income BEGIN "
                      "INSERT INTO children VALUES(5); END;"
                    : "CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS "
                      "$$ BEGIN RAISE EXCEPTION 'too late'; END $$;"
                      "CREATE CONSTRAINT TRIGGER late AFTER INSERT ON income DEFERRABLE INITIALLY "
                      "DEFERRED FOR EACH ROW EXECUTE FUNCTION refuse();");
        QVERIFY(!isFile || QueryExec(nullptr, "PRAGMA foreign_keys=ON"));
        const PostingResult result = post();
        rows(isFile ? "DROP TRIGGER late" : "DROP TRIGGER late ON income");
        QCOMPARE(result.outcome, PostingOutcome::Failed);
        QVERIFY(!result.message.isEmpty());
        QCOMPARE(state(), m_before);
        QCOMPARE(post().outcome, PostingOutcome::Posted);
        QCOMPARE(state(), m_after);
    }

    void deathAtEveryStatement()
    {
        bool posted = false;
        for (int at = 0; at <= m_statements.size(); ++at) {
            fill();
            QProcess child;
            child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            child.start(QCoreApplication::applicationFilePath(),
                        QStringList{"--post-and-die", QString::number(at)} +
                            argumentsOf(m_database->entry()));
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

    void lostCommit_isLookedUp_data()
    {
        addColumns<bool, bool>("committed", "serverGone");
        addRow("never heard of", false, false);
        addRow("answer lost", true, false);
        addRow("never heard of, server gone", false, true);
        addRow("answer lost, server gone", true, true);
    }

    void lostCommit_isLookedUp()
    {
        const auto [committed, serverGone] = rowValues<bool, bool>();
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        CuttingProxy proxy(TestServers::instance().port(m_dialect));
        QVERIFY(openThrough(proxy.port()));
        fill();
        proxy.cutNext(committed ? CuttingProxy::Cut::Answer : CuttingProxy::Cut::Request, "COMMIT",
                      serverGone);
        const PostingResult result = post();
        QVERIFY(proxy.hasCut());
        QCOMPARE(result.due.size(), committed && !serverGone ? 1 : 0);
        QCOMPARE(result.outcome, serverGone  ? PostingOutcome::OutcomeUnknown
                                 : committed ? PostingOutcome::Posted
                                             : PostingOutcome::Failed);
        QVERIFY(!result.message.isEmpty());
        proxy.setRefusing(false);
        QVERIFY(ensureConnectionOpen(nullptr, mainConnection));
        QTRY_COMPARE(state(), committed ? m_after : m_before);
        QCOMPARE(post().outcome, committed ? PostingOutcome::EmptyList : PostingOutcome::Posted);
        QCOMPARE(state(), m_after);
    }

    void serverKilledInTheMiddle()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        TestServers &servers = TestServers::instance();
        const int commit = int(m_statements.indexOf("COMMIT"));
        for (const int at : {commit / 2, commit - 1, commit}) {
            fill();
            const PostingResult result =
                postWithFault(at, [&](QString &) { servers.kill(m_dialect); });
            QVERIFY(result.outcome == PostingOutcome::Failed ||
                    result.outcome == PostingOutcome::OutcomeUnknown);
            QVERIFY(!result.message.isEmpty());
            servers.start(m_dialect);
            QVERIFY(ensureConnectionOpen(nullptr, mainConnection));
            QCOMPARE(state(), m_before);
            QCOMPARE(post().outcome, PostingOutcome::Posted);
            QCOMPARE(state(), m_after);
        }
    }

    void fullDisk_leavesNothing()
    {
        if (isServer())
            QSKIP("the disk is the server's");
        const QTemporaryDir mountPoint;
        QVERIFY2(QProcess::execute(
                     "mount", {"-t", "tmpfs", "-o", "size=4m", "tmpfs", mountPoint.path()}) == 0,
                 "mounting a small disk needs root");
        const auto unmount = qScopeGuard([&] {
            removeConnection(mainConnection);
            QProcess::execute("umount", {mountPoint.path()});
        });
        const QString path = mountPoint.filePath("shop.sqlite");
        QVERIFY(createConnection(
            nullptr, {.name = "small", .dbtype = "sqlite", .databasename = path}, mainConnection));
        QVERIFY(shop::create());
        shop::logIn({.id = 3, .login = "anna", .name = "Анна", .rights = int(Right::ReceiveGoods)});
        constexpr int lines = 3000;
        TransactionGuard filling;
        for (int i = 1; i <= lines; ++i) {
            shop::addProduct({.id = qulonglong(i), .stock = 1});
            shop::addLine({.wareId = qulonglong(i), .outcost = 99});
        }
        QVERIFY(filling.commit());
        const QString before = TestServers::instance().client(Dialect::Sqlite, path, ".dump");
        // Little room is left, less than the posting needs.
        QFile filler(mountPoint.filePath("filler"));
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (filler.write(QByteArray(16384, 'x')) == 16384) {
        }
        const PostingResult result = post();
        QCOMPARE(result.outcome, PostingOutcome::Failed);
        QVERIFY(!result.message.isEmpty());
        filler.remove();
        QVERIFY(before.contains("INSERT INTO incomeinvoice"));
        QVERIFY(TestServers::instance().client(Dialect::Sqlite, path, ".dump") == before);
        // With room again the same list is posted.
        QCOMPARE(post().lines, lines);
    }

private:
    void prepare() override
    {
        openShop();
        fill();
        m_before = state();
        m_statements.clear();
        QCOMPARE(postWithFault(-1, {}, false, &m_statements).outcome, PostingOutcome::Posted);
        m_after = state();
        QVERIFY(m_after != m_before);
        QVERIFY(m_statements.size() > 20);
    }

    void fill()
    {
        // One transaction: thousands of single commits would wait for the disk.
        TransactionGuard transaction;
        QVERIFY(clearShop());
        for (const qulonglong id : {11, 12, 13}) {
            shop::addProduct({.id = id, .stock = double(id)});
            shop::addLine({.wareId = id, .quantity = 2, .incost = 7, .outcost = 25});
        }
        shop::addAlert(12, "+79001112233");
        QVERIFY(QueryExec(nullptr, "INSERT INTO articles(wareid,orderquantity) VALUES('11','5')"));
        QVERIFY(QueryExec(nullptr, "INSERT INTO cart(wareid,outcost) VALUES('11','1'),('13','1')"));
        QVERIFY(transaction.commit());
    }

    /// Whole tables as the database's own client reads them, but for the keys that every filling
    /// counts on and the time of the posting.
    QString tables(const QStringList &names) const
    {
        QString all;
        for (const QString &name : names) {
            const QSqlRecord record = QSqlDatabase::database(mainConnection).record(name);
            QStringList columns;
            for (int i = 0; i < record.count(); ++i) {
                if (record.fieldName(i) != "id" || name == "warehouse" || name == "incomereports")
                    columns += record.fieldName(i);
            }
            all += name + '\n' +
                   rows("SELECT " + columns.join(',') + " FROM " + name + " ORDER BY 1,2;") + '\n';
        }
        static const QRegularExpression now(
            "20(?!26-01-02 03:04:05)\\d\\d-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d");
        return all.replace(now, "now");
    }

    /// What no receipt can do without.
    QString core() const
    {
        return tables({"incomeinvoice", "income", "incomereports", "warehouse", "articles"});
    }

    QString state() const
    {
        return core() + tables({"cart", "changeoutcostinfo", "alerts"});
    }

    QStringList m_statements; ///< of an undisturbed posting
    QString m_before;
    QString m_after;
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().value(1) == "--post-and-die")
        return postAndDie(QCoreApplication::arguments());
    TestPostingFaults test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_postingfaults.moc"
