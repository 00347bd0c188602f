// What the database layer promises about statements, lost connections and transactions, on real
// servers: faults are made on the server's side, results are read by its own client.
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"
#include "tests/support/cuttingproxy.h"
#include "tests/support/databasetest.h"
#include "tests/support/files.h"
#include "tests/support/servers.h"

#include <QRegularExpression>
#include <QSqlDatabase>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <tuple>

class TestQuery : public DatabaseTest
{
    Q_OBJECT

private slots:
    void text_comesBackAsItWas()
    {
        for (const QString &text :
             {QString(""), shop::nastyName + " '' \"x\" \\'; DROP TABLE t; --\\",
              QString("%2 :name ? $1 @x &amp;\r\nb\tLIKE y; REPLACE INTO `t`"),
              QString(20000, u'ж')}) {
            QVERIFY(QueryExec(nullptr,
                              "REPLACE INTO `t`(id, `name`) VALUES('1'," + sql::text(text) + ");"));
            const QString where = " FROM t WHERE name=";
            QCOMPARE(QueryValue(nullptr, "SELECT name" + where + sql::text(text)).toString(), text);
            QSqlQuery query;
            QVERIFY(QueryExecPrepared(nullptr, "SELECT id" + where + ":name", query,
                                      {{":name", text}}));
            QVERIFY(query.next());
        }
        // Half a character takes nothing with it, nor does the end of text in C.
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name,amount) VALUES('2'," +
                                       sql::text(QChar(0xdd2a) + QString("но") + QChar(0) + u'ж' +
                                                 QChar(0xd83d)) +
                                       ",'2')"));
        QCOMPARE(rows("SELECT name FROM t WHERE amount=2"), "нож");
    }

    void like_ignoresLetterCaseAndTakesTextLiterally()
    {
        const std::tuple<const char *, const char *, int> cases[] = {
            {"Акция ТОПЛЁНОЕ! 32%_ a\\b О'Нил", "топлёное! 32%_ A\\B о'н", 1},
            {"Хлеб ржаной", "пшен", 0},
            {"Молоко 3 литра 2", "3%2", 0},
            {"abc", "a_c", 0},
            {"aab aaab", "aaab", 1}};
        for (const auto &[name, filter, found] : cases) {
            QVERIFY(
                QueryExec(nullptr, "REPLACE INTO t(id,name) VALUES('1'," + sql::text(name) + ");"));
            closeConnection(mainConnection); // what was set up holds at every opening
            QList<SqlRow> matches;
            QVERIFY(QueryRows(
                nullptr, "SELECT id FROM t WHERE name LIKE " + sql::containing(filter), matches));
            QVERIFY2(matches.size() == found, filter);
        }
    }

    void number_keepsItsValue()
    {
        const std::tuple<double, const char *, const char *> numbers[] = {
            {-0.0, "0", "0"},
            {-0.125, "-0.125", "-0.125"},
            {1234567.89, "1234567.89", "1.23457e+06"},
            {0.1 + 0.2, "0.30000000000000004", "0.3"},
            {1e15, "1000000000000000", "1e+15"},
            {1e-7, "0.0000001", "1e-07"}};
        for (const auto &[value, exact, general] : numbers) {
            QCOMPARE(sql::exact(value), exact);
            QCOMPARE(sql::number(value), general);
            QVERIFY(QueryExec(nullptr, "REPLACE INTO t(id,amount) VALUES('1','" +
                                           sql::exact(value) + "');"));
            const double back = QueryValue(nullptr, "SELECT amount FROM t").toDouble();
            // REAL has 4 bytes on PostgreSQL.
            const double tolerance = m_dialect == Dialect::PostgreSql ? 1e-6 : 0;
            QVERIFY2(qAbs(back - value) <= tolerance * qAbs(value), exact);
        }
    }

    void failedStatement_isReportedOnceAndLoggedTwice()
    {
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','a')"));
        int reported = 0;
        for (const char *statement :
             {"SELEC nonsense %1 <b> 'x", "INSERT INTO t(id,name) VALUES('1','b')"}) {
            m_boxes->answer("OK");
            QVERIFY(!QueryExec(m_parent.get(), statement));
            QVERIFY(m_boxes->lastText().contains(QRegularExpression("^Ошибка SQL:[12] \\S")));
            const QStringList lines = logText().split("\r\n", Qt::SkipEmptyParts);
            QCOMPARE(lines.filter("Ошибка SQL:").size(), ++reported);
            QVERIFY2(lines.last().endsWith(statement), qPrintable(lines.last()));
        }
        // Without a window nothing is shown, and the connection is as good as before.
        QVERIFY(!QueryExec(nullptr, "SELEC"));
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id) VALUES('2')"));
    }

    void textThatTheColumnCannotHold_leavesNothingBehind()
    {
        if (m_dialect != Dialect::MySql)
            QSKIP("the others take any sign");
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','Чай')"));
        for (const char *statement : {"INSERT INTO t(id,name) VALUES('2','Кофе'),('3','Торт 🎂')",
                                      "UPDATE t SET id='5', name='Чай 🎂' WHERE id='1'"}) {
            QVERIFY(!QueryExec(nullptr, statement));
            QCOMPARE(rows("SELECT id, name FROM t"), "1\tЧай");
        }
    }

    void refusal_isToldInASentence()
    {
        // Another station holds the file or the row.
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id) VALUES('1')"));
        QVERIFY(m_database->open(otherStation));
        QVERIFY(transactionBegin(otherStation));
        QVERIFY(QueryExec(nullptr, "UPDATE t SET amount='1'", otherStation));
        {
            const CommandScope command;
            m_boxes->answer("OK");
            const QString blocked =
                isServer() ? "SELECT id FROM t FOR UPDATE NOWAIT" : "INSERT INTO t(id) VALUES('2')";
            QVERIFY(!QueryExec(m_parent.get(), blocked));
            QVERIFY(!QueryExec(m_parent.get(), blocked)); // not told again in one command
        }
        QVERIFY(m_boxes->lastText().startsWith("База данных занята"));
        QVERIFY(m_boxes->requests().last().details.startsWith("Ошибка SQL:"));
        QVERIFY(logText().contains("NOWAIT") || !isServer());
        QVERIFY(isServer() || (!transactionBegin() && !inTransaction()));
        QVERIFY(transactionRollback(otherStation));
        QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('2')"));
    }

    void missingRight_isToldInASentence()
    {
        if (!isServer())
            QSKIP("a file knows no accounts");
        const bool mariaDb = m_dialect == Dialect::MySql;
        const QString clerk = mariaDb ? "clerk@'127.0.0.1'" : "clerk";
        rows("CREATE USER " + clerk + (mariaDb ? " IDENTIFIED BY" : " PASSWORD") +
             " 'r'; GRANT SELECT ON t TO " + clerk);
        ConnectionEntry entry = m_database->entry();
        entry.dbusername = "clerk";
        entry.dbpassword = "r";
        QVERIFY(createConnection(nullptr, entry, otherStation));
        m_boxes->answer("OK");
        QVERIFY(!QueryExec(m_parent.get(), "DELETE FROM t", otherStation));
        QVERIFY(m_boxes->lastText().startsWith("Не хватает прав"));
        QVERIFY(lastFailure(otherStation).general);
        rows((mariaDb ? "DROP USER " : "DROP OWNED BY clerk; DROP USER ") + clerk);
    }

    void lateAnswer_isNotWaitedForTwice()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        const bool mariaDb = m_dialect == Dialect::MySql;
        int tries = 0;
        setStatementObserver([&](const QString &sqlText, const QString &) {
            tries += sqlText.contains("sleep") ? 1 : 0;
        });
        // The server gives up the statement.
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id) VALUES('1')"));
        QVERIFY(QueryExec(nullptr,
                          mariaDb ? "SET max_statement_time=0.2" : "SET statement_timeout=200"));
        m_boxes->answer("OK");
        QVERIFY(
            !QueryExec(m_parent.get(), mariaDb ? "SELECT sleep(2) FROM t" : "SELECT pg_sleep(2)"));
        QVERIFY(m_boxes->lastText().contains("не успела ответить"));
        if (mariaDb) { // the client gives up the server
            closeConnection(mainConnection);
            QSqlDatabase::database(mainConnection, false)
                .setConnectOptions("MYSQL_OPT_READ_TIMEOUT=1;CLIENT_FOUND_ROWS=1");
            QVERIFY(!QueryExec(nullptr, "SELECT sleep(20)"));
        }
        QCOMPARE(tries, mariaDb ? 2 : 1);
    }

    void killedConnection_isReopenedSilentlyButNotForEver()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','Лёд \\')"));
        killClients();
        QCOMPARE(QueryValue(m_parent.get(), "SELECT name FROM t").toString(), "Лёд \\");
        killClients();
        QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('2')"));
        killClients();
        // What was set up at the first opening holds again.
        QVERIFY(QueryExec(m_parent.get(),
                          "UPDATE t SET id=id+10, name=" + sql::text("\\' x") + " WHERE id='2'"));
        QCOMPARE(rows("SELECT id FROM t ORDER BY id"), "1\n12");
        QCOMPARE(QueryValue(nullptr, "SELECT name FROM t WHERE id='12'").toString(), "\\' x");

        // As with a packet that is too large: the server hangs up on each try of this statement.
        int tries = 0;
        setStatementObserver([&](const QString &, const QString &) {
            ++tries;
            killClients();
        });
        m_boxes->answer("Повторить");
        m_boxes->answer("Отмена");
        QVERIFY(!QueryExec(m_parent.get(), "SELECT 42"));
        QCOMPARE(m_boxes->requests().size(), 2);
        QVERIFY(tries >= 4 && tries < 20);
        QVERIFY(!QueryExec(nullptr, "SELECT 42"));
    }

    void stoppedServer_asksOnceACommandAndGoesOn()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        TestServers &servers = TestServers::instance();
        servers.stop(m_dialect);
        QVERIFY(!QueryExec(nullptr, "SELECT 1"));
        {
            const CommandScope command;
            m_boxes->answer("Отмена");
            QVERIFY(!QueryExec(m_parent.get(), "SELECT 1"));
            {
                const CommandScope joined;
                QVERIFY(!ensureConnectionOpen(m_parent.get(), mainConnection));
            }
            QVERIFY(!transactionBegin());
            QVERIFY(lastFailure().text.startsWith("Нет связи с базой данных"));
            // What is started in a dialog is a command of its own.
            QTimer::singleShot(0, [&] {
                const CommandScope own;
                m_boxes->answer("Отмена");
                QVERIFY(!QueryExec(m_parent.get(), "SELECT 1"));
            });
            QTimer::singleShot(1, m_parent.get(), &QCoreApplication::quit);
            QCoreApplication::exec();
            QVERIFY(!QueryExec(m_parent.get(), "SELECT 1"));
        }
        m_boxes->answer("Повторить");
        m_boxes->answer("Повторить", [&] { servers.start(m_dialect); });
        QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('1')"));
        const QString text = m_boxes->lastText();
        QVERIFY2(text.startsWith("Ошибка открытия базы данных: "), qPrintable(text));
        QCOMPARE(rows("SELECT COUNT(*) FROM t"), "1");
    }

    void lossInsideTransaction_refusesTheRest()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        killClients();
        QVERIFY(transactionBegin()); // opened again
        QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('1')"));
        killClients();
        // No box, no retry: a reopened connection would write outside the transaction.
        QVERIFY(!QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('2')"));
        QVERIFY(transactionBroken());
        QVERIFY(!QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('3')"));
        QVERIFY(!transactionCommit());
        QVERIFY(!inTransaction());
        QVERIFY(transactionBegin());
        QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('4')"));
        killClients();
        QVERIFY(!transactionCommit());
        QVERIFY(lastFailure().text.contains("неизвестно"));
        QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('5')"));
        QCOMPARE(rows("SELECT id FROM t"), "5");
    }

    void errorInsideTransaction_neverCommitsHalf()
    {
        const bool givenUp = m_dialect == Dialect::PostgreSql; // the others go on
        {
            TransactionGuard guard;
            QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('1')"));
            QVERIFY(!QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('1')"));
            QCOMPARE(transactionBroken(), givenUp);
            QCOMPARE(guard.commit(), !givenUp);
        }
        {
            TransactionGuard guard;
            QVERIFY(guard.isActive());
            QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('7')"));
        }
        QCOMPARE(rows("SELECT id FROM t"), givenUp ? "" : "1");
    }

    void deadlock_breaksTheTransaction()
    {
        if (m_dialect != Dialect::MySql)
            QSKIP("SQLite has one writer, PostgreSQL gives up at any error");
        QVERIFY(m_database->open(otherStation));
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,amount) VALUES('1','0'),('2','0')"));
        QVERIFY(QueryExec(nullptr, "SET SESSION innodb_lock_wait_timeout=1"));
        QVERIFY(transactionBegin(otherStation));
        QVERIFY(QueryExec(nullptr, "UPDATE t SET amount='1' WHERE id='2'", otherStation));
        QVERIFY(transactionBegin());
        QVERIFY(QueryExec(nullptr, "UPDATE t SET amount='2' WHERE id='1'"));
        QVERIFY(!QueryExec(nullptr, "UPDATE t SET amount='2' WHERE id='2'"));
        QVERIFY(transactionBroken());
        QVERIFY(!QueryExec(nullptr, "UPDATE t SET amount='3' WHERE id='1'"));
        QVERIFY(!transactionCommit());
        QVERIFY(transactionRollback(otherStation));
        QCOMPARE(rows("SELECT SUM(amount) FROM t"), "0");
    }

    /// Nodes of a cluster do that to a new session.
    void deadlockAtTheSetUp_isTriedAgain()
    {
        if (m_dialect != Dialect::MySql)
            QSKIP("only MariaDB has clusters");
        CuttingProxy proxy(TestServers::instance().port(m_dialect));
        proxy.cutNext(CuttingProxy::Cut::Deadlock, "SET SESSION sql_mode");
        QVERIFY(openThrough(proxy.port()));
        QVERIFY(proxy.hasCut());
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','\\')"));
    }

    void commit_thatTheServerRefuses_isAFailure()
    {
        if (m_dialect != Dialect::PostgreSql)
            QSKIP("the others check every statement at once");
        rows("CREATE TABLE u(id INTEGER UNIQUE DEFERRABLE INITIALLY DEFERRED); "
             "INSERT INTO u(id) VALUES(1)");
        QVERIFY(transactionBegin());
        QVERIFY(QueryExec(nullptr, "INSERT INTO u(id) VALUES('1')"));
        QVERIFY(!transactionCommit());
        QVERIFY(!lastFailure().text.isEmpty() && !lastFailure().text.contains("неизвестно"));
        QCOMPARE(rows("SELECT COUNT(*) FROM u"), "1");
    }

private:
    void prepare() override
    {
        m_parent = std::make_unique<QWidget>();
        openEmpty();
        rows(QString("CREATE TABLE t(id INTEGER PRIMARY KEY, name TEXT, amount REAL)") +
             (m_dialect == Dialect::MySql ? " CHARACTER SET utf8" : ""));
    }

    void killClients() const
    {
        TestServers::instance().killClients(m_dialect);
    }

    std::unique_ptr<QWidget> m_parent;
};

QTEST_MAIN(TestQuery)
#include "tst_query.moc"
