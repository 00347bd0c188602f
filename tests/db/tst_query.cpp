// What the database layer promises about statements, lost connections and transactions, on real
// servers: faults are made on the server's side, results are read by its own client.
#include "db/engine.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"
#include "tests/support/cuttingproxy.h"
#include "tests/support/databasetest.h"
#include "tests/support/datatable.h"
#include "tests/support/files.h"
#include "tests/support/servers.h"

#include <QSqlDatabase>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <memory>

class TestQuery : public DatabaseTest
{
    Q_OBJECT

private slots:
    void text_comesBackAsItWas_data()
    {
        addColumns<QString>("text");
        addRow("empty", "");
        addRow("quote", "O'Нил ' '' end'");
        addRow("backslash", "нож \\ вилка \\'; DROP TABLE t; --\\");
        addRow("backquote", "`имя` и \"кавычки\"");
        addRow("placeholders", "%1 %2 100% :name ? $1 @x");
        addRow("markup", "<img src='a.png'>&amp;");
        addRow("words", "x LIKE y; REPLACE INTO `t`");
        addRow("ё", "«ёлочки» — Ёж");
        addRow("lines", "a\r\nb\tc");
        addRow("long", QString(20000, u'ж'));
    }

    void text_comesBackAsItWas()
    {
        QFETCH(QString, text);
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1'," + sql::text(text) + ");"));
        QCOMPARE(QueryValue(nullptr, "SELECT name FROM t WHERE name=" + sql::text(text)).toString(),
                 text);
        QSqlQuery query;
        QVERIFY(QueryExecPrepared(nullptr, "SELECT id FROM t WHERE name=:name", query,
                                  {{":name", text}}));
        QVERIFY(query.next());
    }

    void halfACharacter_takesNothingWithIt()
    {
        const QString text = QString("нож") + QChar(0xd83d);
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name,amount) VALUES('1'," +
                                       sql::text(QChar(0xdd2a) + text) + ",'2')"));
        QCOMPARE(rows("SELECT name FROM t WHERE amount=2"), "нож");
    }

    void like_ignoresLetterCaseAndTakesTextLiterally_data()
    {
        addColumns<QString, QString, bool>("name", "filter", "found");
        addRow("cyrillic case", "Молоко ТОПЛЁНОЕ", "молоко топлён", true);
        addRow("latin case", "Sony XZ", "sONY x", true);
        addRow("middle", "Хлеб ржаной", "ржан", true);
        addRow("absent", "Хлеб ржаной", "пшен", false);
        addRow("percent is a sign", "Молоко 32%", "32%", true);
        addRow("percent is no wildcard", "Молоко 3 литра 2", "3%2", false);
        addRow("underscore is no wildcard", "abc", "a_c", false);
        addRow("escape sign", "Акция! 50", "акция! 5", true);
        addRow("backslash", "a\\b", "A\\B", true);
        addRow("quote", "О'Нил", "о'н", true);
        addRow("falls back", "aab aaab", "aaab", true);
    }

    void like_ignoresLetterCaseAndTakesTextLiterally()
    {
        const auto [name, filter, found] = rowValues<QString, QString, bool>();
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1'," + sql::text(name) + ");"));
        closeConnection(mainConnection); // what was set up holds at every opening
        QList<SqlRow> matches;
        QVERIFY(QueryRows(nullptr, "SELECT id FROM t WHERE name LIKE " + sql::containing(filter),
                          matches));
        QCOMPARE(matches.size(), found ? 1 : 0);
    }

    void number_keepsItsValue_data()
    {
        addColumns<double, QString, QString>("value", "exact", "general");
        addRow("zero", 0.0, "0", "0");
        addRow("negative zero", -0.0, "0", "0");
        addRow("weight", 0.125, "0.125", "0.125");
        addRow("large total", 1234567.89, "1234567.89", "1.23457e+06");
        addRow("whole", 12.0, "12", "12");
        addRow("sum of tenths", 0.1 + 0.2, "0.30000000000000004", "0.3");
        addRow("huge", 1e15, "1000000000000000", "1e+15");
        addRow("tiny", 1e-7, "0.0000001", "1e-07");
        addRow("negative", -7.5, "-7.5", "-7.5");
    }

    void number_keepsItsValue()
    {
        QFETCH(double, value);
        QTEST(sql::exact(value), "exact");
        QTEST(sql::number(value), "general");
        QVERIFY(QueryExec(nullptr,
                          "INSERT INTO t(id,amount) VALUES('1','" + sql::exact(value) + "');"));
        const double back = QueryValue(nullptr, "SELECT amount FROM t").toDouble();
        // REAL has 4 bytes on PostgreSQL.
        const double tolerance = m_dialect == Dialect::PostgreSql ? 1e-6 : 0;
        QVERIFY(qAbs(back - value) <= tolerance * qAbs(value));
    }

    void translation_leavesLiteralsAlone_data()
    {
        addColumns<QString, QString, QString>("common", "mysql", "postgresql");
        addRow("backquotes", "SELECT `a` FROM `groups` WHERE n='`x`';",
               "SELECT `a` FROM `groups` WHERE n='`x`';",
               "SELECT \"a\" FROM \"groups\" WHERE n='`x`';");
        addRow("doubled quote", "SELECT 'it''s `x` LIKE' FROM `t`",
               "SELECT 'it''s `x` LIKE' FROM `t`", "SELECT 'it''s `x` LIKE' FROM \"t\"");
        addRow("like", "a like 'LIKE' AND likely=1", "a like 'LIKE' AND likely=1",
               "a ILIKE 'LIKE' AND likely=1");
        addRow("ignore", "INSERT OR IGNORE INTO t(id,a) VALUES('1','x;');",
               "INSERT IGNORE INTO t(id,a) VALUES('1','x;');",
               "INSERT INTO t(id,a) VALUES('1','x;') ON CONFLICT DO NOTHING;");
        addRow(
            "replace", "REPLACE INTO `t`(id, `a`,b) VALUES('1','(x)','2');",
            "REPLACE INTO `t`(id, `a`,b) VALUES('1','(x)','2');",
            "INSERT INTO \"t\"(id, \"a\",b) VALUES('1','(x)','2') ON CONFLICT (id) DO UPDATE SET "
            "\"a\"=EXCLUDED.\"a\", b=EXCLUDED.b;");
        addRow("unfinished literal", "SELECT 'x", "SELECT 'x", "SELECT 'x");
    }

    void translation_leavesLiteralsAlone()
    {
        QFETCH(QString, common);
        QCOMPARE(Engine::ofType("sqlite")->translate(common), common);
        QTEST(Engine::ofType("mysql")->translate(common), "mysql");
        QTEST(Engine::ofType("postgresql")->translate(common), "postgresql");
    }

    void failedStatement_isReportedOnceAndLoggedTwice()
    {
        const QString statement = "SELEC nonsense '%1' <b>";
        m_boxes->answer("OK");
        QVERIFY(!QueryExec(m_parent.get(), statement));
        QVERIFY2(m_boxes->lastText().startsWith("Ошибка SQL:2 "), qPrintable(m_boxes->lastText()));
        const QStringList lines = logText().split("\r\n", Qt::SkipEmptyParts);
        QVERIFY2(lines.size() >= 2, qPrintable(logText()));
        QCOMPARE(lines.filter("Ошибка SQL:").size(), 1);
        QVERIFY2(lines.last().endsWith(statement), qPrintable(lines.last()));
        // Without a window nothing is shown, and the connection is as good as before.
        QVERIFY(!QueryExec(nullptr, statement));
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id) VALUES('1')"));
    }

    void textThatTheColumnCannotHold_leavesNothingBehind()
    {
        if (m_dialect != Dialect::MySql)
            QSKIP("the others take any sign");
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','Чай')"));
        for (const char *statement : {
                 "INSERT INTO t(id,name) VALUES('2','Кофе'),('3','Торт 🎂')",
                 "UPDATE t SET id='5', name='Чай 🎂' WHERE id='1'",
             }) {
            m_boxes->answer("OK");
            QVERIFY(!QueryExec(m_parent.get(), statement));
            const QString text = m_boxes->lastText();
            QVERIFY2(text.startsWith("Ошибка SQL:2 ") && text.contains("Incorrect string value"),
                     qPrintable(text));
            QCOMPARE(rows("SELECT id, name FROM t"), "1\tЧай");
        }
        QVERIFY(QueryExec(m_parent.get(), "UPDATE t SET name='Чай с тортом' WHERE id='1'"));
        QCOMPARE(rows("SELECT name FROM t"), "Чай с тортом");
    }

    void brokenConstraint_endsAtOnce()
    {
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','a')"));
        m_boxes->answer("OK");
        QVERIFY(!QueryExec(m_parent.get(), "INSERT INTO t(id,name) VALUES('1','b')"));
        QCOMPARE(rows("SELECT name FROM t"), "a");
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
        rows("DROP USER IF EXISTS clerk; CREATE USER clerk" +
             QString(m_dialect == Dialect::MySql ? "@'127.0.0.1' IDENTIFIED BY" : " PASSWORD") +
             " 'r'; GRANT SELECT ON t TO clerk" +
             (m_dialect == Dialect::MySql ? "@'127.0.0.1'" : ""));
        ConnectionEntry entry = m_database->entry();
        entry.dbusername = "clerk";
        entry.dbpassword = "r";
        QVERIFY(createConnection(nullptr, entry, otherStation));
        m_boxes->answer("OK");
        QVERIFY(!QueryExec(m_parent.get(), "DELETE FROM t", otherStation));
        QVERIFY(m_boxes->lastText().startsWith("Не хватает прав"));
        QVERIFY(lastFailure(otherStation).general);
        rows(m_dialect == Dialect::MySql ? "DROP USER clerk@'127.0.0.1'"
                                         : "DROP OWNED BY clerk; DROP USER clerk");
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

    void killedConnection_isReopenedSilently()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','Лёд \\')"));
        killClients();
        QCOMPARE(QueryValue(m_parent.get(), "SELECT name FROM t").toString(), "Лёд \\");
        killClients();
        QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('2')"));
        killClients();
        QVERIFY(QueryExec(m_parent.get(), "UPDATE t SET id=id+10 WHERE id='2'"));
        killClients();
        // What was set up at the first opening holds again.
        QVERIFY(QueryExec(m_parent.get(),
                          "UPDATE t SET name=" + sql::text("\\' x") + " WHERE id='12'"));
        QCOMPARE(rows("SELECT id FROM t ORDER BY id"), "1\n12");
        QCOMPARE(QueryValue(nullptr, "SELECT name FROM t WHERE id='12'").toString(), "\\' x");
    }

    void connectionLostOnEveryTry_doesNotSpin()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        // As with a packet that is too large: the server hangs up on each try of this statement.
        int tries = 0;
        setStatementObserver([&](QString &sqlText, const QString &) {
            if (!sqlText.contains("42"))
                return;
            ++tries;
            killClients();
        });
        m_boxes->answer("Повторить");
        m_boxes->answer("Отмена");
        QVERIFY(!QueryExec(m_parent.get(), "SELECT 42"));
        QCOMPARE(m_boxes->requests().size(), 2);
        QVERIFY(tries >= 4 && tries < 20);
        QVERIFY(!QueryExec(nullptr, "SELECT 42"));
        setStatementObserver({});
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id) VALUES('1')"));
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
        QVERIFY(transactionBegin());
        QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('1')"));
        killClients();
        // No box, no retry: a reopened connection would write outside the transaction.
        QVERIFY(!QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('2')"));
        QVERIFY(transactionBroken());
        QVERIFY(!QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('3')"));
        QVERIFY(!transactionCommit());
        QVERIFY(!inTransaction());
        QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('4')"));
        QCOMPARE(rows("SELECT id FROM t"), "4");
    }

    void errorInsideTransaction_neverCommitsHalf()
    {
        {
            TransactionGuard guard;
            QVERIFY(guard.isActive());
            QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('1')"));
            QVERIFY(!QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('1')"));
            // PostgreSQL has given the transaction up, the others go on.
            QCOMPARE(transactionBroken(), m_dialect == Dialect::PostgreSql);
            QCOMPARE(guard.commit(), m_dialect != Dialect::PostgreSql);
        }
        const QString expected = m_dialect == Dialect::PostgreSql ? "0" : "1";
        QCOMPARE(rows("SELECT COUNT(*) FROM t"), expected);
        {
            TransactionGuard guard;
            QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('7')"));
        }
        QCOMPARE(rows("SELECT COUNT(*) FROM t"), expected);
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
        ConnectionEntry entry = m_database->entry();
        entry.dbhostname = QString("127.0.0.1:%1").arg(proxy.port());
        proxy.cutNext(CuttingProxy::Cut::Deadlock, "SET SESSION sql_mode");
        QVERIFY(createConnection(nullptr, entry, otherStation));
        QVERIFY(proxy.hasCut());
        QVERIFY(QueryValue(nullptr, "SELECT @@session.sql_mode", otherStation)
                    .toString()
                    .contains("NO_BACKSLASH_ESCAPES"));
        removeConnection(otherStation);
    }

    void commit_thatTheServerRefuses_isAFailure()
    {
        if (m_dialect != Dialect::PostgreSql)
            QSKIP("the others check every statement at once");
        QVERIFY(
            QueryExec(nullptr, "CREATE TABLE u(id INTEGER UNIQUE DEFERRABLE INITIALLY DEFERRED)"));
        QVERIFY(QueryExec(nullptr, "INSERT INTO u(id) VALUES('1')"));
        QVERIFY(transactionBegin());
        QVERIFY(QueryExec(nullptr, "INSERT INTO u(id) VALUES('1')"));
        QVERIFY(!transactionCommit());
        QVERIFY(!lastFailure().text.isEmpty() && !lastFailure().text.contains("неизвестно"));
        QCOMPARE(rows("SELECT COUNT(*) FROM u"), "1");
    }

    void begin_reopensAKilledConnection()
    {
        if (!isServer())
            QSKIP("a file has no connection that could be lost");
        killClients();
        QVERIFY(transactionBegin());
        QVERIFY(QueryExec(nullptr, "INSERT INTO t(id) VALUES('1')"));
        killClients();
        QVERIFY(!transactionCommit());
        QVERIFY(lastFailure().text.contains("неизвестно"));
        QCOMPARE(rows("SELECT COUNT(*) FROM t"), "0");
        QVERIFY(transactionBegin());
        QVERIFY(transactionRollback());
    }

private:
    void prepare() override
    {
        m_parent = std::make_unique<QWidget>();
        openEmpty();
        const QString ending = m_dialect == Dialect::MySql ? " CHARACTER SET utf8" : "";
        QVERIFY(QueryExec(
            nullptr, "CREATE TABLE t(id INTEGER PRIMARY KEY, name TEXT, amount REAL)" + ending));
    }

    void killClients() const
    {
        TestServers::instance().killClients(m_dialect);
    }

    std::unique_ptr<QWidget> m_parent;
};

QTEST_MAIN(TestQuery)
#include "tst_query.moc"
