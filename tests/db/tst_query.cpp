// What the database layer promises about statements, lost connections and transactions, on real
// servers: faults are made on the server's side, results are read by its own client.
#include "app/configdir.h"
#include "app/settings.h"
#include "db/dialect.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"
#include "db/translator.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/testhome.h"

#include <QFile>
#include <QTest>
#include <QWidget>

#include <memory>

class TestQuery : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void cleanup();
    void text_comesBackAsItWas_data();
    void text_comesBackAsItWas();
    void like_ignoresLetterCaseAndTakesTextLiterally_data();
    void like_ignoresLetterCaseAndTakesTextLiterally();
    void like_ignoresLetterCaseAfterReopening();
    void number_keepsItsValue_data();
    void number_keepsItsValue();
    void translation_leavesLiteralsAlone_data();
    void translation_leavesLiteralsAlone();
    void failedStatement_isReportedOnceAndLoggedTwice();
    void textThatTheColumnCannotHold_leavesNothingBehind();
    void brokenConstraint_endsAtOnce();
    void busyFile_endsWithAnError();
    void killedConnection_isReopenedSilently();
    void connectionLostOnEveryTry_doesNotSpin();
    void stoppedServer_asksAndGoesOn();
    void lossInsideTransaction_refusesTheRest();
    void errorInsideTransaction_neverCommitsHalf();
    void deadlock_breaksTheTransaction();
    void commit_thatTheServerRefuses_isAFailure();
    void begin_reopensAKilledConnection();

private:
    QString logText() const;
    void killClients() const;
    bool isServer() const
    {
        return m_dialect != Dialect::Sqlite;
    }

    Dialect m_dialect = Dialect::Sqlite;
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<QueuedBoxes> m_boxes;
    std::unique_ptr<ScratchDatabase> m_database;
    std::unique_ptr<QWidget> m_parent;
};

void TestQuery::initTestCase_data()
{
    addDialectRows();
}

void TestQuery::init()
{
    QFETCH_GLOBAL(Dialect, dialect);
    m_dialect = dialect;
    m_home = std::make_unique<TestHome>();
    m_boxes = std::make_unique<QueuedBoxes>();
    m_parent = std::make_unique<QWidget>();
    m_database = std::make_unique<ScratchDatabase>(dialect);
    QVERIFY(m_database->open());
    const QString ending =
        dialect == Dialect::MySql ? QStringLiteral(" CHARACTER SET utf8") : QString();
    QVERIFY(QueryExec(nullptr,
                      "CREATE TABLE t(id INTEGER PRIMARY KEY, name TEXT, amount REAL)" + ending));
}

void TestQuery::cleanup()
{
    QVERIFY(m_boxes->verify());
    m_database.reset();
    m_parent.reset();
    m_boxes.reset();
    m_home.reset();
}

QString TestQuery::logText() const
{
    QFile file(configDirPath() + QStringLiteral("/Lavkor_log.txt"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void TestQuery::killClients() const
{
    TestServers::instance().killClients(m_dialect);
}

void TestQuery::text_comesBackAsItWas_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << "";
    QTest::newRow("quote") << "O'Нил ' '' end'";
    QTest::newRow("backslash") << "нож \\ вилка \\'; DROP TABLE t; --\\";
    QTest::newRow("backquote") << "`имя` и \"кавычки\"";
    QTest::newRow("placeholders") << "%1 %2 100% :name ? $1 @x";
    QTest::newRow("markup") << "<img src='a.png'>&amp;";
    QTest::newRow("words") << "x LIKE y; REPLACE INTO `t`";
    QTest::newRow("ё") << "«ёлочки» — Ёж";
    QTest::newRow("lines") << "a\r\nb\tc";
    QTest::newRow("long") << QString(20000, u'ж');
}

void TestQuery::text_comesBackAsItWas()
{
    QFETCH(QString, text);
    QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1'," + sql::text(text) + ");"));
    QCOMPARE(QueryValue(nullptr, "SELECT name FROM t WHERE name=" + sql::text(text)).toString(),
             text);
    QSqlQuery query;
    QVERIFY(
        QueryExecPrepared(nullptr, "SELECT id FROM t WHERE name=:name", query, {{":name", text}}));
    QVERIFY(query.next());
}

void TestQuery::like_ignoresLetterCaseAndTakesTextLiterally_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("filter");
    QTest::addColumn<bool>("found");
    QTest::newRow("cyrillic case") << "Молоко ТОПЛЁНОЕ"
                                   << "молоко топлён" << true;
    QTest::newRow("latin case") << "Sony XZ"
                                << "sONY x" << true;
    QTest::newRow("middle") << "Хлеб ржаной"
                            << "ржан" << true;
    QTest::newRow("absent") << "Хлеб ржаной"
                            << "пшен" << false;
    QTest::newRow("percent is a sign") << "Молоко 32%"
                                       << "32%" << true;
    QTest::newRow("percent is no wildcard") << "Молоко 3 литра 2"
                                            << "3%2" << false;
    QTest::newRow("underscore is no wildcard") << "abc"
                                               << "a_c" << false;
    QTest::newRow("escape sign") << "Акция! 50"
                                 << "акция! 5" << true;
    QTest::newRow("backslash") << "a\\b"
                               << "A\\B" << true;
    QTest::newRow("quote") << "О'Нил"
                           << "о'н" << true;
    QTest::newRow("falls back") << "aab aaab"
                                << "aaab" << true;
}

void TestQuery::like_ignoresLetterCaseAndTakesTextLiterally()
{
    QFETCH(QString, name);
    QFETCH(QString, filter);
    QFETCH(bool, found);
    QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1'," + sql::text(name) + ");"));
    QList<SqlRow> rows;
    QVERIFY(
        QueryRows(nullptr, "SELECT id FROM t WHERE name LIKE " + sql::containing(filter), rows));
    QCOMPARE(rows.size(), found ? 1 : 0);
}

void TestQuery::like_ignoresLetterCaseAfterReopening()
{
    QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','Молоко ТОПЛЁНОЕ')"));
    closeConnection(mainConnection);
    const QString statement =
        "SELECT id FROM t WHERE name LIKE " + sql::containing("молоко топлён");
    QCOMPARE(QueryValue(m_parent.get(), statement).toString(), "1");
}

void TestQuery::number_keepsItsValue_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("exact");
    QTest::addColumn<QString>("general");
    QTest::newRow("zero") << 0.0 << "0"
                          << "0";
    QTest::newRow("negative zero") << -0.0 << "0"
                                   << "0";
    QTest::newRow("weight") << 0.125 << "0.125"
                            << "0.125";
    QTest::newRow("large total") << 1234567.89 << "1234567.89"
                                 << "1.23457e+06";
    QTest::newRow("whole") << 12.0 << "12"
                           << "12";
    QTest::newRow("sum of tenths") << 0.1 + 0.2 << "0.30000000000000004"
                                   << "0.3";
    QTest::newRow("huge") << 1e15 << "1000000000000000"
                          << "1e+15";
    QTest::newRow("tiny") << 1e-7 << "0.0000001"
                          << "1e-07";
    QTest::newRow("negative") << -7.5 << "-7.5"
                              << "-7.5";
}

void TestQuery::number_keepsItsValue()
{
    QFETCH(double, value);
    QTEST(sql::exact(value), "exact");
    QTEST(sql::number(value), "general");
    QVERIFY(
        QueryExec(nullptr, "INSERT INTO t(id,amount) VALUES('1','" + sql::exact(value) + "');"));
    const double back = QueryValue(nullptr, "SELECT amount FROM t").toDouble();
    // REAL has 4 bytes on PostgreSQL.
    const double tolerance = m_dialect == Dialect::PostgreSql ? 1e-6 : 0;
    QVERIFY(qAbs(back - value) <= tolerance * qAbs(value));
}

void TestQuery::translation_leavesLiteralsAlone_data()
{
    QTest::addColumn<QString>("common");
    QTest::addColumn<QString>("mysql");
    QTest::addColumn<QString>("postgresql");
    QTest::newRow("backquotes") << "SELECT `a` FROM `groups` WHERE n='`x`';"
                                << "SELECT `a` FROM `groups` WHERE n='`x`';"
                                << "SELECT \"a\" FROM \"groups\" WHERE n='`x`';";
    QTest::newRow("doubled quote") << "SELECT 'it''s `x` LIKE' FROM `t`"
                                   << "SELECT 'it''s `x` LIKE' FROM `t`"
                                   << "SELECT 'it''s `x` LIKE' FROM \"t\"";
    QTest::newRow("like") << "a like 'LIKE' AND likely=1"
                          << "a like 'LIKE' AND likely=1"
                          << "a ILIKE 'LIKE' AND likely=1";
    QTest::newRow("ignore") << "INSERT OR IGNORE INTO t(id,a) VALUES('1','x;');"
                            << "INSERT IGNORE INTO t(id,a) VALUES('1','x;');"
                            << "INSERT INTO t(id,a) VALUES('1','x;') ON CONFLICT DO NOTHING;";
    QTest::newRow("replace")
        << "REPLACE INTO `t`(id, `a`,b) VALUES('1','(x)','2');"
        << "REPLACE INTO `t`(id, `a`,b) VALUES('1','(x)','2');"
        << "INSERT INTO \"t\"(id, \"a\",b) VALUES('1','(x)','2') ON CONFLICT (id) DO UPDATE SET "
           "\"a\"=EXCLUDED.\"a\", b=EXCLUDED.b;";
    QTest::newRow("unfinished literal") << "SELECT 'x"
                                        << "SELECT 'x"
                                        << "SELECT 'x";
}

void TestQuery::translation_leavesLiteralsAlone()
{
    QFETCH(QString, common);
    QCOMPARE(translateSql(common, Dialect::Sqlite), common);
    QTEST(translateSql(common, Dialect::MySql), "mysql");
    QTEST(translateSql(common, Dialect::PostgreSql), "postgresql");
}

void TestQuery::failedStatement_isReportedOnceAndLoggedTwice()
{
    const QString statement = QStringLiteral("SELEC nonsense '%1' <b>");
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

void TestQuery::textThatTheColumnCannotHold_leavesNothingBehind()
{
    if (m_dialect != Dialect::MySql)
        return; // its utf8 ends at three bytes, the others take any sign
    QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','Чай')"));
    for (const QString &statement : {
             QStringLiteral("INSERT INTO t(id,name) VALUES('2','Кофе'),('3','Торт 🎂')"),
             QStringLiteral("UPDATE t SET id='5', name='Чай 🎂' WHERE id='1'"),
         }) {
        m_boxes->answer("OK");
        QVERIFY(!QueryExec(m_parent.get(), statement));
        const QString text = m_boxes->lastText();
        QVERIFY2(text.startsWith("Ошибка SQL:2 ") && text.contains("Incorrect string value"),
                 qPrintable(text));
        QCOMPARE(m_database->client("SELECT id, name FROM t"), "1\tЧай");
    }
    QVERIFY(QueryExec(m_parent.get(), "UPDATE t SET name='Чай с тортом' WHERE id='1'"));
    QCOMPARE(m_database->client("SELECT name FROM t"), "Чай с тортом");
}

void TestQuery::brokenConstraint_endsAtOnce()
{
    QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','a')"));
    m_boxes->answer("OK");
    QVERIFY(!QueryExec(m_parent.get(), "INSERT INTO t(id,name) VALUES('1','b')"));
    QCOMPARE(m_database->client("SELECT name FROM t"), "a");
}

void TestQuery::busyFile_endsWithAnError()
{
    if (isServer())
        return; // the file is SQLite's alone
    const QString other = QStringLiteral("other station");
    QVERIFY(m_database->open(other));
    QVERIFY(transactionBegin(other));
    m_boxes->answer("OK");
    QVERIFY(!QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('1')"));
    QVERIFY(!transactionBegin());
    QVERIFY(!inTransaction());
    QVERIFY(transactionRollback(other));
    QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('1')"));
}

void TestQuery::killedConnection_isReopenedSilently()
{
    if (!isServer())
        return;
    QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,name) VALUES('1','Лёд \\')"));
    killClients();
    QCOMPARE(QueryValue(m_parent.get(), "SELECT name FROM t").toString(), "Лёд \\");
    killClients();
    QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('2')"));
    killClients();
    QVERIFY(QueryExec(m_parent.get(), "UPDATE t SET id=id+10 WHERE id='2'"));
    killClients();
    // What was set up at the first opening holds again.
    QVERIFY(
        QueryExec(m_parent.get(), "UPDATE t SET name=" + sql::text("\\' x") + " WHERE id='12'"));
    QCOMPARE(m_database->client("SELECT id FROM t ORDER BY id"), "1\n12");
    QCOMPARE(QueryValue(nullptr, "SELECT name FROM t WHERE id='12'").toString(), "\\' x");
    QVERIFY(!lastOutcomeUnknown());
}

void TestQuery::connectionLostOnEveryTry_doesNotSpin()
{
    if (!isServer())
        return;
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

void TestQuery::stoppedServer_asksAndGoesOn()
{
    if (!isServer())
        return;
    TestServers &servers = TestServers::instance();
    servers.stop(m_dialect);
    QVERIFY(!QueryExec(nullptr, "SELECT 1"));
    m_boxes->answer("Отмена");
    QVERIFY(!QueryExec(m_parent.get(), "SELECT 1"));
    m_boxes->answer("Повторить");
    m_boxes->answer("Повторить", [&] { servers.start(m_dialect); });
    QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('1')"));
    const QString text = m_boxes->lastText();
    QVERIFY2(text.startsWith("Ошибка открытия базы данных: "), qPrintable(text));
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM t"), "1");
}

void TestQuery::lossInsideTransaction_refusesTheRest()
{
    if (!isServer())
        return;
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
    QCOMPARE(m_database->client("SELECT id FROM t"), "4");
}

void TestQuery::errorInsideTransaction_neverCommitsHalf()
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
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM t"), expected);
    {
        TransactionGuard guard;
        QVERIFY(QueryExec(m_parent.get(), "INSERT INTO t(id) VALUES('7')"));
    }
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM t"), expected);
}

void TestQuery::deadlock_breaksTheTransaction()
{
    if (m_dialect != Dialect::MySql)
        return; // SQLite has one writer; PostgreSQL gives up at any error
    const QString other = QStringLiteral("other station");
    QVERIFY(m_database->open(other));
    QVERIFY(QueryExec(nullptr, "INSERT INTO t(id,amount) VALUES('1','0'),('2','0')"));
    QVERIFY(QueryExec(nullptr, "SET SESSION innodb_lock_wait_timeout=1"));
    QVERIFY(transactionBegin(other));
    QVERIFY(QueryExec(nullptr, "UPDATE t SET amount='1' WHERE id='2'", other));
    QVERIFY(transactionBegin());
    QVERIFY(QueryExec(nullptr, "UPDATE t SET amount='2' WHERE id='1'"));
    QVERIFY(!QueryExec(nullptr, "UPDATE t SET amount='2' WHERE id='2'"));
    QVERIFY(transactionBroken());
    QVERIFY(!QueryExec(nullptr, "UPDATE t SET amount='3' WHERE id='1'"));
    QVERIFY(!transactionCommit());
    QVERIFY(transactionRollback(other));
    QCOMPARE(m_database->client("SELECT SUM(amount) FROM t"), "0");
}

void TestQuery::commit_thatTheServerRefuses_isAFailure()
{
    if (m_dialect != Dialect::PostgreSql)
        return;
    QVERIFY(QueryExec(nullptr, "CREATE TABLE u(id INTEGER UNIQUE DEFERRABLE INITIALLY DEFERRED)"));
    QVERIFY(QueryExec(nullptr, "INSERT INTO u(id) VALUES('1')"));
    QVERIFY(transactionBegin());
    QVERIFY(QueryExec(nullptr, "INSERT INTO u(id) VALUES('1')"));
    QVERIFY(!transactionCommit());
    QVERIFY(!lastOutcomeUnknown());
    QVERIFY(!lastQueryError().isEmpty());
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM u"), "1");
}

void TestQuery::begin_reopensAKilledConnection()
{
    if (!isServer())
        return;
    killClients();
    QVERIFY(transactionBegin());
    QVERIFY(QueryExec(nullptr, "INSERT INTO t(id) VALUES('1')"));
    killClients();
    QVERIFY(!transactionCommit());
    QVERIFY(lastOutcomeUnknown());
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM t"), "0");
    QVERIFY(transactionBegin());
    QVERIFY(transactionRollback());
}

QTEST_MAIN(TestQuery)
#include "tst_query.moc"
