#include "db/engine.h"
#include "db/schema.h"
#include "db/schematables.h"
#include "tests/support/databasetest.h"
#include "tests/support/files.h"

#include <QMap>
#include <QRegularExpression>
#include <QWidget>

namespace {

/// The columns, "table position name type default", and the indexes, "index table.column", that the
/// expectation file wants of a database.
QStringList expectedSchema(Dialect dialect)
{
    static const QRegularExpression description("^(\\w+)\\(([^)]*)\\)",
                                                QRegularExpression::MultilineOption);
    static const QMap<QString, QStringList> types = {
        // on SQLite, MariaDB, PostgreSQL
        {"INTEGER", {"INTEGER", "int(11)", "integer"}},
        {"TEXT", {"TEXT", "text", "text"}},
        {"REAL", {"REAL", "double", "real"}},
        {"LONGTEXT", {"LONGTEXT", "longtext", "text"}},
        {"DOUBLE", {"DOUBLE", "double", "double precision"}},
        {"", {"", "text", "text"}}};
    QStringList schema;
    const QString text = QString::fromUtf8(readFile(QFINDTESTDATA("../data/schema.txt")));
    for (auto match = description.globalMatch(text); match.hasNext();) {
        const QRegularExpressionMatch one = match.next();
        const QString table = one.captured(1);
        QStringList columns = one.captured(2).simplified().split(", ");
        columns.first() += " INTEGER";
        for (int position = 1; position <= columns.size(); ++position) {
            const QStringList words = columns.at(position - 1).split(' ');
            QString name = words.first();
            if (name.endsWith('*')) {
                name.chop(1);
                schema += "index " + table + '.' + name;
            }
            schema += QStringList{table, QString::number(position), name,
                                  types.value(words.value(1)).value(int(dialect), "?"),
                                  words.value(2).mid(1)}
                          .join(' ');
        }
    }
    schema.sort();
    return schema;
}

/// The same as the database's own client tells it.
QStringList schemaIn(const ScratchDatabase &database)
{
    static const QMap<Dialect, const char *> statements = {
        {Dialect::Sqlite,
         "SELECT t.name||' '||(c.cid+1)||' '||c.name||' '||c.type||' '||"
         "IFNULL(c.dflt_value,'') FROM sqlite_master t JOIN pragma_table_info(t.name) c "
         "WHERE t.type='table' AND substr(t.name,1,7)<>'sqlite_';"
         "SELECT 'index '||t.name||'.'||c.name FROM sqlite_master t "
         "JOIN pragma_index_list(t.name) i JOIN pragma_index_info(i.name) c "
         "WHERE t.type='table' AND c.seqno=0;"},
        {Dialect::MySql,
         "SELECT CONCAT(table_name,' ',ordinal_position,' ',column_name,' ',column_type,"
         "' ',IFNULL(NULLIF(column_default,'NULL'),'')) FROM information_schema.columns "
         "WHERE table_schema=DATABASE();"
         "SELECT CONCAT('index ',table_name,'.',column_name) FROM "
         "information_schema.statistics WHERE table_schema=DATABASE() AND "
         "index_name<>'PRIMARY' AND seq_in_index=1;"},
        {Dialect::PostgreSql,
         "SELECT CONCAT(table_name,' ',ordinal_position,' ',column_name,' ',data_type,"
         "' ',CASE WHEN column_default LIKE 'nextval%' THEN '' ELSE column_default END) "
         "FROM information_schema.columns WHERE table_schema='public';"
         "SELECT 'index '||c.relname||'.'||a.attname FROM pg_index i "
         "JOIN pg_class c ON c.oid=i.indrelid JOIN pg_namespace n ON "
         "n.oid=c.relnamespace JOIN pg_attribute a ON a.attrelid=c.oid AND "
         "a.attnum=i.indkey[0] WHERE n.nspname='public' AND NOT i.indisprimary;"},
    };
    QStringList schema = database.client(statements[database.dialect()]).split('\n');
    schema.sort();
    return schema;
}

} // namespace

/// The shared schema on all three databases, read back through their own clients.
class TestSchema : public DatabaseTest
{
    Q_OBJECT

private slots:
    void created_isWhatTheSuiteExpects()
    {
        QVERIFY(createSchema(nullptr, mainConnection));

        QCOMPARE(schemaIn(*m_database), expectedSchema(m_dialect));

        QCOMPARE(rows("SELECT id, c_code, symbol FROM currencies WHERE value=1 ORDER BY id;"),
                 "1\tRUB\t₽\n2\tEUR\t€\n3\tUSD\t$");
        QCOMPARE(rows("SELECT id, enabled, login, password, name, rights, frpassword FROM users;"),
                 "1\t1\tadmin\t\tАдминистратор\t895\t1");
        QCOMPARE(
            rows("SELECT COUNT(*) FROM expense_types WHERE name<>''; SELECT COUNT(*) FROM locales; "
                 "SELECT COUNT(*) FROM units WHERE name<>''; SELECT COUNT(*) FROM options WHERE "
                 "localname<>''; SELECT COUNT(*) FROM options WHERE id IN (80,10,23);"),
            "9\n3\n11\n33\n3");
        // Each state belongs to exactly one filter.
        QCOMPARE(rows("SELECT COUNT(*), COUNT(DISTINCT ostatus.id) FROM ostatus JOIN "
                      "ostatusfilters ON ostatus.id BETWEEN minstatus AND maxstatus;"),
                 "10\t10");

        // A client that writes as the other programs do: the database gives the id.
        for (const QString table : {"currencies", "locales", "users", "expense_types", "units",
                                    "ostatus", "ostatusfilters", "options", "warehouse"}) {
            const QString count = "SELECT COUNT(*) FROM " + table + u';';
            const int before = rows(count).toInt();
            const QString column = table == "currencies" ? "symbol" : "name";
            rows("INSERT INTO " + table + u'(' + column + ") VALUES('x');");
            QCOMPARE(rows(count).toInt(), before + 1);
        }

        // Discounts beyond the whole are refused.
        QVERIFY(QueryExec(nullptr, "INSERT INTO warehouse(discountratio) VALUES('0'),('1');"));
        QVERIFY(!QueryExec(nullptr, "INSERT INTO warehouse(discountratio) VALUES('1.01');"));
        QVERIFY(!QueryExec(nullptr, "INSERT INTO warehouse(discountratio) VALUES('-0.01');"));
    }

    void createdTwice_keepsEditsButResetsDictionaries()
    {
        QVERIFY(createSchema(nullptr, mainConnection));
        const QString dictionaries =
            "SELECT id, name, decimals FROM units ORDER BY id; "
            "SELECT id, enabled, name, color, client_message FROM ostatus ORDER BY id; "
            "SELECT id, name, minstatus, maxstatus FROM ostatusfilters ORDER BY id;";
        const QString shipped = rows(dictionaries);
        rows("UPDATE options SET value='Лавка «У дома»' WHERE name='ORGNAME'; "
             "UPDATE currencies SET value=92.5 WHERE c_code='USD'; "
             "UPDATE users SET login='boss' WHERE id=1; "
             "UPDATE units SET name='штука', decimals=1 WHERE id=1; DELETE FROM units WHERE id=2; "
             "UPDATE ostatus SET enabled=0, name='Забыт', color='#000000', client_message='?'; "
             "UPDATE ostatusfilters SET name='Все', minstatus=0, maxstatus=5;");
        const QString others = "SELECT COUNT(*) FROM options; SELECT COUNT(*) FROM currencies; "
                               "SELECT COUNT(*) FROM users; SELECT COUNT(*) FROM expense_types; "
                               "SELECT COUNT(*) FROM locales; SELECT version FROM dbversion;";
        const QString counted = rows(others);

        QVERIFY(createSchema(nullptr, mainConnection));

        QCOMPARE(rows(dictionaries), shipped);
        QCOMPARE(rows(others), counted);
        QCOMPARE(rows("SELECT value FROM options WHERE name='ORGNAME';"), "Лавка «У дома»");
        QCOMPARE(rows("SELECT value FROM currencies WHERE c_code='USD';"), "92.5");
        QCOMPARE(rows("SELECT login FROM users WHERE id=1;"), "boss");

        int statements = 0; // a start does not wait for more than a handful
        setStatementObserver([&](QString &, const QString &) { ++statements; });
        QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);
        QVERIFY(upgradeSchema(nullptr, mainConnection));
        QVERIFY2(statements > 0 && statements <= 7, QByteArray::number(statements).constData());
    }

    void upgraded_getsAdditionsAndKeepsRows()
    {
        QVERIFY(createTablesWithoutAdditions());
        rows("INSERT INTO dbversion(version,ctime) VALUES(1,'2020-01-01 00:00:00'); "
             "INSERT INTO suppliers(name,email) VALUES('ООО «Ёлка»','a@b.ru'); "
             "INSERT INTO codes(wareid,code,packquantity) VALUES(7,'4006381333931',1),"
             "(7,'4006381333931',12),(0,'',1); "
             "INSERT INTO units(name,decimals) VALUES('коробка',0); "
             "INSERT INTO warehouse(name,outcost) VALUES('Чай',120);");
        QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Older);

        QVERIFY(upgradeSchema(nullptr, mainConnection));
        QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);

        QCOMPARE(schemaIn(*m_database), expectedSchema(m_dialect));
        QCOMPARE(rows("SELECT name, email FROM suppliers;"), "ООО «Ёлка»\ta@b.ru");
        QCOMPARE(rows("SELECT wareid, code FROM codes ORDER BY id;"),
                 "7\t4006381333931\n7\t4006381333931\n0\t");
        // An upgrade ships no rows into tables that were there, be they ever so short.
        QCOMPARE(rows("SELECT name FROM units;"), "коробка");
        QCOMPARE(rows("SELECT COUNT(*) FROM warehouse WHERE name='Чай';"), "1");
    }

    void upgraded_leavesAloneWhatIsThere()
    {
        QVERIFY(createTablesWithoutAdditions());
        const bool mariaDb = m_dialect == Dialect::MySql;
        rows(QString("CREATE INDEX somebodys ON codes(code%1, wareid); "
                     "ALTER TABLE suppliers ADD COLUMN notes %2; "
                     "INSERT INTO suppliers(name,notes) VALUES('Склад','звонить до 12'); "
                     "DROP TABLE ostatus;")
                 .arg(mariaDb ? "(20)" : "", mariaDb ? "LONGTEXT" : "VARCHAR(500)"));

        QVERIFY(upgradeSchema(nullptr, mainConnection));
        QCOMPARE(schemaIn(*m_database).filter("index "),
                 expectedSchema(m_dialect).filter("index ")); // no second one on codes.code
        QCOMPARE(rows("SELECT notes FROM suppliers;"), "звонить до 12");
        QCOMPARE(rows("SELECT COUNT(*) FROM ostatus;"), "10"); // a lost table comes whole

        // A version recorded over lost columns; a program that copied rows with their ids.
        const QStringList schema = schemaIn(*m_database);
        QVERIFY(
            rows("ALTER TABLE warehouse DROP COLUMN mtime; ALTER TABLE discounts DROP COLUMN ctime;"
                 "INSERT INTO codes(id,code) VALUES(7,'x');")
                .isEmpty());
        QVERIFY(upgradeSchema(nullptr, mainConnection));
        QCOMPARE(schemaIn(*m_database).size(), schema.size()); // in other places
        QVERIFY(QueryExec(nullptr, "INSERT INTO codes(code) VALUES('y')"));
        QCOMPARE(rows("SELECT id FROM codes WHERE code='y'"), "8");
        QCOMPARE(rows("SELECT COUNT(*) FROM dbversion;"), "1");
    }

    void failedStatement_doesNotStopTheRest()
    {
        // A view in the place of a table takes no index.
        rows("CREATE VIEW labels AS SELECT 1 AS id, 'a' AS code, 'b' AS name, 1 AS "
             "quantity;");

        QWidget window; // over which no box comes
        SchemaFaults faults;
        QVERIFY(!createSchema(&window, mainConnection, &faults));
        QCOMPARE(faults.count, 1);
        QVERIFY(faults.words.first().startsWith("Ошибка SQL:"));
        QVERIFY(logText().contains("Ошибка SQL:"));
        QVERIFY(logText().contains("CREATE INDEX"));
        QStringList indexes = expectedSchema(m_dialect).filter("index ");
        QVERIFY(indexes.removeOne("index labels.code"));
        QCOMPARE(schemaIn(*m_database).filter("index "), indexes);
        QCOMPARE(rows("SELECT COUNT(*) FROM ostatus;"), "10");
        // Something is missing, so the next start asks and tries again; rows that are there stay.
        QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Unrecorded);
        rows("DROP VIEW labels; DELETE FROM users; UPDATE units SET name='x' WHERE id=1;");
        QVERIFY(adoptSchema(nullptr, mainConnection));
        QCOMPARE(rows("SELECT login FROM users; SELECT name FROM units WHERE id=1;"), "admin\nx");
        QCOMPARE(schemaIn(*m_database), expectedSchema(m_dialect));
        QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);
    }

    void lostServer_isAskedAboutOnce()
    {
        if (!isServer())
            QSKIP("a file has no server to lose");

        QWidget window;
        m_boxes->answer("Отмена");
        setStatementObserver([this](const QString &sqlText, const QString &) {
            if (sqlText.startsWith("CREATE TABLE IF NOT EXISTS `brands`"))
                TestServers::instance().stop(m_dialect);
        });
        const bool created = createSchema(&window, mainConnection);
        setStatementObserver({});
        TestServers::instance().start(m_dialect);

        QVERIFY(!created);
        QVERIFY(m_boxes->lastText().startsWith("Ошибка открытия базы данных: "));
        // What was begun can be completed.
        QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Unrecorded);
        QVERIFY(adoptSchema(nullptr, mainConnection));
        QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);
    }

    void version_isTheLargest()
    {
        const auto state = [](const QString &connectionName = mainConnection) {
            return schemaState(nullptr, connectionName);
        };
        const QString statement = "INSERT INTO dbversion(version) VALUES(%1),(%2);";
        const int ours = schemaVersion();
        QCOMPARE(state(), SchemaState::Missing);
        rows("CREATE TABLE dbversion(id INTEGER, version INTEGER, ctime TEXT);");
        QCOMPARE(state(), SchemaState::Missing);
        rows(statement.arg(ours).arg(ours - 1));
        QCOMPARE(state(), SchemaState::Current);
        rows(statement.arg(ours + 1).arg(ours));
        QCOMPARE(state(), SchemaState::Newer);

        QCOMPARE(state("no such connection"), SchemaState::Unknown);
        QVERIFY(!createSchema(nullptr, "no such connection"));
        QVERIFY(!upgradeSchema(nullptr, "no such connection"));
    }

    void tablesOfSomebodyElse_keepTheirRows()
    {
        rows("CREATE TABLE dbversion(id INTEGER, version INTEGER, ctime TEXT); "
             "CREATE TABLE users(id INTEGER, login TEXT);");
        QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Foreign);
        rows("CREATE TABLE units(id INTEGER PRIMARY KEY, title TEXT); "
             "INSERT INTO units(id,title) VALUES(1,'theirs');");
        QVERIFY(upgradeSchema(nullptr, mainConnection));
        QCOMPARE(rows("SELECT id, title FROM units"), "1\ttheirs");
        QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);
    }

private:
    void prepare() override
    {
        openEmpty();
    }

    /// The tables as an older program of the suite has left them.
    bool createTablesWithoutAdditions()
    {
        QString text;
        for (const TableDescription &table : schemaTables())
            text += createTableStatement(table, Engine::of(mainConnection)) + '\n';
        if (m_dialect == Dialect::PostgreSql)
            text.replace(u'`', u'"');
        return !rows(text).isNull();
    }
};

QTEST_MAIN(TestSchema)
#include "tst_schema.moc"
