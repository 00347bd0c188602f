#include "app/configdir.h"
#include "app/logging.h"
#include "db/query.h"
#include "db/schema.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/testhome.h"

#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QTest>
#include <QWidget>

namespace {

/// One column as a database's own catalogue tells it.
struct Column
{
    QString table;
    QString name;
    QString type;
    QString defaultValue;

    bool operator==(const Column &) const = default;
    QString line() const
    {
        return table + u'.' + name + u' ' + type + " default " + defaultValue;
    }
};

QStringList lines(const QList<Column> &columns)
{
    QStringList all;
    for (const Column &column : columns)
        all += column.line();
    return all;
}

QString typeName(const QString &declared, Dialect dialect)
{
    static const QMap<QString, QString> mariaDb = {{"INTEGER", "int(11)"},   {"TEXT", "text"},
                                                   {"REAL", "double"},       {"DOUBLE", "double"},
                                                   {"LONGTEXT", "longtext"}, {"", "text"}};
    static const QMap<QString, QString> postgreSql = {
        {"INTEGER", "integer"},         {"TEXT", "text"},     {"REAL", "real"},
        {"DOUBLE", "double precision"}, {"LONGTEXT", "text"}, {"", "text"}};
    switch (dialect) {
    case Dialect::Sqlite:
        return declared;
    case Dialect::MySql:
        return mariaDb.value(declared, "?");
    case Dialect::PostgreSql:
        return postgreSql.value(declared, "?");
    }
    return {};
}

/// The expectation file: tables in order, and their columns with the types of a database.
bool readExpectation(Dialect dialect, QStringList &tables, QList<Column> &columns)
{
    QFile file(QFINDTESTDATA("../data/schema.txt"));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    static const QRegularExpression description("^(\\w+)\\(([^)]*)\\)",
                                                QRegularExpression::MultilineOption);
    const QString text = QString::fromUtf8(file.readAll());
    QRegularExpressionMatchIterator match = description.globalMatch(text);
    while (match.hasNext()) {
        const QRegularExpressionMatch table = match.next();
        tables += table.captured(1);
        const QStringList declared = table.captured(2).simplified().split(", ");
        columns += {table.captured(1), declared.first(), typeName("INTEGER", dialect), ""};
        for (const QString &column : declared.mid(1)) {
            const QStringList words = column.split(u' ');
            columns += {table.captured(1), words.at(0), typeName(words.value(1), dialect),
                        words.value(2).mid(1)};
        }
    }
    return !tables.isEmpty();
}

/// What the database's own client tells of all columns, by table and position.
QList<Column> columnsIn(const ScratchDatabase &database)
{
    QString statement;
    switch (database.dialect()) {
    case Dialect::Sqlite:
        statement = "SELECT t.name, c.name, c.type, c.dflt_value FROM sqlite_master t "
                    "JOIN pragma_table_info(t.name) c WHERE t.type='table' AND "
                    "substr(t.name,1,7)<>'sqlite_' ORDER BY t.name, c.cid;";
        break;
    case Dialect::MySql:
        statement = "SELECT table_name, column_name, column_type, IFNULL(column_default,'') "
                    "FROM information_schema.columns WHERE table_schema=DATABASE() "
                    "ORDER BY BINARY table_name, ordinal_position;";
        break;
    case Dialect::PostgreSql:
        statement = "SELECT table_name, column_name, data_type, CASE WHEN column_default LIKE "
                    "'nextval%' THEN '' ELSE column_default END FROM information_schema.columns "
                    "WHERE table_schema='public' ORDER BY table_name, ordinal_position;";
        break;
    }
    QList<Column> columns;
    const QStringList rows = database.client(statement).split(u'\n', Qt::SkipEmptyParts);
    for (const QString &row : rows) {
        const QStringList fields = row.split(u'\t');
        const QString defaultValue = fields.value(3) == "NULL" ? QString("") : fields.value(3);
        columns += {fields.value(0), fields.value(1), fields.value(2), defaultValue};
    }
    return columns;
}

/// "table.column" of the leading columns of all indexes that do not carry a primary key.
QStringList indexesIn(const ScratchDatabase &database)
{
    QString statement;
    switch (database.dialect()) {
    case Dialect::Sqlite:
        statement = "SELECT t.name||'.'||c.name FROM sqlite_master t "
                    "JOIN pragma_index_list(t.name) i JOIN pragma_index_info(i.name) c "
                    "WHERE t.type='table' AND c.seqno=0;";
        break;
    case Dialect::MySql:
        statement = "SELECT CONCAT(table_name,'.',column_name) FROM "
                    "information_schema.statistics WHERE table_schema=DATABASE() AND "
                    "index_name<>'PRIMARY' AND seq_in_index=1;";
        break;
    case Dialect::PostgreSql:
        statement = "SELECT c.relname||'.'||a.attname FROM pg_index i "
                    "JOIN pg_class c ON c.oid=i.indrelid JOIN pg_namespace n ON "
                    "n.oid=c.relnamespace JOIN pg_attribute a ON a.attrelid=c.oid AND "
                    "a.attnum=i.indkey[0] WHERE n.nspname='public' AND NOT i.indisprimary;";
        break;
    }
    QStringList indexes = database.client(statement).split(u'\n');
    indexes.sort();
    return indexes;
}

QStringList expectedIndexes()
{
    QStringList all = {"alerts.wareid",
                       "articles.name",
                       "articles.supplierid",
                       "articles.wareid",
                       "cart.wareid",
                       "changeoutcostinfo.wareid",
                       "codes.code",
                       "codes.wareid",
                       "collectionproducts.collectionid",
                       "collectionproducts.wareid",
                       "corrections.wareid",
                       "discountgroups.groupid",
                       "discountproducts.wareid",
                       "groups.parent",
                       "images.wareid",
                       "income.reportid",
                       "income.wareid",
                       "incomeinvoice.wareid",
                       "labels.code",
                       "properties_enums.propertyid",
                       "warehouse.brandid",
                       "warehouse.groupid",
                       "warehouse.name",
                       "warehouse.supplierid",
                       "warehouse.wuid",
                       "wareproperties.propertyid",
                       "wareproperties.wareid",
                       "waretranslates.wareid"};
    all.sort();
    return all;
}

QByteArray logText()
{
    QFile log(configDirPath() + "/Lavkor_log.txt");
    return log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
}

} // namespace

/// The shared schema on all three databases, read back through their own clients.
class TestSchema : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void init();
    void cleanup();

    void created_matchesWhatTheSuiteExpects();
    void created_hasTheShippedRows();
    void created_canBeUsedWithoutGivingIds();
    void created_refusesDiscountsBeyondTheWhole();
    void created_comparesNamesAsItsDatabaseDoes();
    void tablesThatCannotRollBack_areNamed();
    void createdTwice_keepsEditsButResetsDictionaries();
    void upgraded_getsAdditionsAndKeepsRows();
    void upgraded_leavesAloneWhatIsThere();
    void complete_isCheckedInAHandfulOfStatements();
    void failedStatement_doesNotStopTheRest();
    void lostServer_isAskedAboutOnce();
    void version_data();
    void version();
    void version_isUnknownWithoutAnAnswer();

private:
    bool createTablesWithoutAdditions();

    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<ScratchDatabase> m_database;
};

void TestSchema::initTestCase_data()
{
    addDialectRows();
}

void TestSchema::init()
{
    QFETCH_GLOBAL(Dialect, dialect);
    m_home = std::make_unique<TestHome>();
    m_database = std::make_unique<ScratchDatabase>(dialect);
    QVERIFY(m_database->open());
}

void TestSchema::cleanup()
{
    m_database.reset();
    m_home.reset();
}

/// The tables as an older program of the suite has left them.
bool TestSchema::createTablesWithoutAdditions()
{
    QStringList statements;
    const QStringList all = schemaStatements(m_database->dialect());
    for (const QString &statement : all) {
        if (!statement.contains("collection"))
            statements += statement;
    }
    QString text = statements.join(u'\n');
    if (m_database->dialect() == Dialect::PostgreSql)
        text.replace(u'`', u'"');
    return !m_database->client(text).isNull();
}

void TestSchema::created_matchesWhatTheSuiteExpects()
{
    QVERIFY(createSchema(nullptr, mainConnection));

    QStringList tables;
    QList<Column> expected;
    QVERIFY(readExpectation(m_database->dialect(), tables, expected));
    std::stable_sort(expected.begin(), expected.end(),
                     [](const Column &a, const Column &b) { return a.table < b.table; });
    QCOMPARE(lines(columnsIn(*m_database)), lines(expected));
    QCOMPARE(indexesIn(*m_database), expectedIndexes());

    static const QRegularExpression name("^CREATE TABLE IF NOT EXISTS `?(\\w+)`? \\(");
    QStringList created;
    const QStringList statements = schemaStatements(m_database->dialect());
    for (const QString &statement : statements)
        created += name.match(statement).captured(1);
    QCOMPARE(created, tables);
}

void TestSchema::created_hasTheShippedRows()
{
    QVERIFY(createSchema(nullptr, mainConnection));

    QCOMPARE(m_database->client("SELECT id, c_code, symbol, value FROM currencies ORDER BY id;"),
             QString("1\tRUB\t₽\t1\n2\tEUR\t€\t1\n3\tUSD\t$\t1")
                 .replace("\t1", m_database->dialect() == Dialect::Sqlite ? "\t1.0" : "\t1"));
    QCOMPARE(m_database->client("SELECT id, name, description FROM locales ORDER BY id;"),
             "1\ten\tАнглийский\n2\tes\tИспанский\n3\tpt\tПортугальский");
    QCOMPARE(m_database->client("SELECT id, enabled, login, password, name, rights, frpassword "
                                "FROM users;"),
             "1\t1\tadmin\t\tАдминистратор\t895\t1");
    QCOMPARE(m_database->client("SELECT COUNT(*), MIN(id), MAX(id), MAX(kind) FROM "
                                "expense_types WHERE name<>'';"),
             "9\t1\t9\t0");
    QCOMPARE(m_database->client("SELECT COUNT(*), MIN(id), MAX(id), MIN(decimals), MAX(decimals) "
                                "FROM units;"),
             "11\t1\t11\t0\t3");
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM units WHERE name IN ('кв.м','куб.м');"), "2");
    QCOMPARE(m_database->client("SELECT name, color FROM ostatus WHERE name IN ('В работе','Готов',"
                                "'Отправлен','Выдан','Отклонен') ORDER BY id;"),
             "В работе\t#ffff78\nГотов\t#c8ffc8\nОтправлен\t#ffdcff\nВыдан\t#b4ffff\n"
             "Отклонен\t#787878");
    // Each state belongs to exactly one filter, and given-out orders are finished ones.
    QCOMPARE(m_database->client("SELECT COUNT(*), COUNT(DISTINCT ostatus.id) FROM ostatus JOIN "
                                "ostatusfilters ON ostatus.id BETWEEN minstatus AND maxstatus;"),
             "10\t10");
    QCOMPARE(m_database->client("SELECT ostatusfilters.name, maxstatus FROM ostatus JOIN "
                                "ostatusfilters ON ostatus.id BETWEEN minstatus AND maxstatus "
                                "WHERE ostatus.name='Выдан';"),
             "Завершенные\t999999");
    QCOMPARE(m_database->client("SELECT id, name FROM options ORDER BY id;")
                 .replace(u'\t', u' ')
                 .replace(u'\n', u' '),
             "1 ORGNAME 2 INN 3 OGRN 4 ADDRESS 5 PHONE 6 TAXATION_SYSTEM 9 THUMB_WIDTH "
             "10 THUMB_HEIGHT 11 IMAGE_WIDTH 12 CROP_IMAGE 13 JPEG_QUALITY 20 SMS_GATE_SENDER "
             "21 SMS_GATE_LOGIN 22 SMS_GATE_PASSWORD 23 SMS_ONSALE_TEXT 30 SMTP_HOST "
             "31 SMTP_LOGIN 32 SMTP_PASSWORD 40 DISCOUNT_MARGIN_PERCENT 41 ALLOW_OVERSALE "
             "42 ALLOW_PAY_BANK 43 ALLOW_READY_ORDER_EDIT 44 ALLOW_GIVEOUT_UNPAID "
             "45 OTCOME_REPORT_PERCENT 46 ALLOW_EDIT_CLIENTS 60 PAYMENT_URL 61 SITE_URL 70 KPP "
             "71 BANK 72 BIK 73 KSCHET 74 RSCHET 80 TIMEZONE");
    QCOMPARE(m_database->client("SELECT name, value FROM options WHERE value NOT IN ('','0') AND "
                                "id NOT IN (20,23) ORDER BY id;"),
             "TAXATION_SYSTEM\t32\nTHUMB_WIDTH\t300\nTHUMB_HEIGHT\t200\nIMAGE_WIDTH\t600\n"
             "JPEG_QUALITY\t90\nTIMEZONE\t+3");
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM options WHERE localname='' OR localname IS "
                                "NULL;"),
             "0");
    QVERIFY(m_database->client("SELECT value FROM options WHERE name='SMS_ONSALE_TEXT';")
                .contains("Интересующий Вас товар поступил в продажу."));
}

void TestSchema::created_canBeUsedWithoutGivingIds()
{
    QVERIFY(createSchema(nullptr, mainConnection));

    for (const QString table : {"currencies", "locales", "users", "expense_types", "units",
                                "ostatus", "ostatusfilters", "options", "warehouse"}) {
        const QString count = "SELECT COUNT(*) FROM " + table + u';';
        const int before = m_database->client(count).toInt();
        // A client that writes as the suite's other programs do: the database gives the id.
        const QString column = table == "currencies" ? "symbol" : "name";
        m_database->client("INSERT INTO " + table + u'(' + column + ") VALUES('x');");
        QCOMPARE(m_database->client(count).toInt(), before + 1);
    }
}

void TestSchema::created_refusesDiscountsBeyondTheWhole()
{
    QVERIFY(createSchema(nullptr, mainConnection));

    QVERIFY(QueryExec(nullptr, "INSERT INTO warehouse(discountratio) VALUES('0'),('1');"));
    QVERIFY(!QueryExec(nullptr, "INSERT INTO warehouse(discountratio) VALUES('1.01');"));
    QVERIFY(!QueryExec(nullptr, "INSERT INTO warehouse(discountratio) VALUES('-0.01');"));
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM warehouse;"), "2");
}

void TestSchema::created_comparesNamesAsItsDatabaseDoes()
{
    QVERIFY(createSchema(nullptr, mainConnection));
    m_database->client("INSERT INTO brands(name) VALUES('Чайная компания');");
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM brands WHERE name='ЧАЙНАЯ КОМПАНИЯ';"),
             m_database->dialect() == Dialect::MySql ? "1" : "0");
}

void TestSchema::tablesThatCannotRollBack_areNamed()
{
    QVERIFY(createSchema(nullptr, mainConnection));
    QCOMPARE(nonTransactionalTables(nullptr, mainConnection), QStringList());
    if (m_database->dialect() != Dialect::MySql)
        return; // the others know one kind of table only

    QCOMPARE(m_database->client("SELECT DISTINCT engine, table_collation FROM "
                                "information_schema.tables WHERE table_schema=DATABASE();"),
             "InnoDB\tutf8mb3_general_ci");
    m_database->client("ALTER TABLE labels ENGINE=MyISAM; ALTER TABLE alerts ENGINE=Aria; "
                       "CREATE TABLE somebodyelses(id INTEGER) ENGINE=MyISAM;");
    QCOMPARE(nonTransactionalTables(nullptr, mainConnection), QStringList({"alerts", "labels"}));
}

void TestSchema::createdTwice_keepsEditsButResetsDictionaries()
{
    QVERIFY(createSchema(nullptr, mainConnection));
    const QString dictionaries =
        "SELECT id, name, decimals FROM units ORDER BY id; "
        "SELECT id, enabled, name, color, client_message FROM ostatus ORDER BY id; "
        "SELECT id, name, minstatus, maxstatus FROM ostatusfilters ORDER BY id;";
    const QString shipped = m_database->client(dictionaries);
    m_database->client(
        "UPDATE options SET value='Лавка «У дома»' WHERE name='ORGNAME'; "
        "UPDATE currencies SET value=92.5 WHERE c_code='USD'; "
        "UPDATE users SET login='boss' WHERE id=1; "
        "UPDATE units SET name='штука', decimals=1 WHERE id=1; DELETE FROM units WHERE id=2; "
        "UPDATE ostatus SET enabled=0, name='Забыт', color='#000000', client_message='?'; "
        "UPDATE ostatusfilters SET name='Все', minstatus=0, maxstatus=5;");
    const QString others = "SELECT COUNT(*) FROM options; SELECT COUNT(*) FROM currencies; "
                           "SELECT COUNT(*) FROM users; SELECT COUNT(*) FROM expense_types; "
                           "SELECT COUNT(*) FROM locales; SELECT version FROM dbversion;";
    const QString counted = m_database->client(others);

    QVERIFY(createSchema(nullptr, mainConnection));

    QCOMPARE(m_database->client(dictionaries), shipped);
    QCOMPARE(m_database->client(others), counted);
    QCOMPARE(m_database->client("SELECT value FROM options WHERE name='ORGNAME';"),
             "Лавка «У дома»");
    QCOMPARE(m_database->client("SELECT value FROM currencies WHERE c_code='USD';"), "92.5");
    QCOMPARE(m_database->client("SELECT login FROM users WHERE id=1;"), "boss");
}

void TestSchema::upgraded_getsAdditionsAndKeepsRows()
{
    QVERIFY(createTablesWithoutAdditions());
    m_database->client("INSERT INTO dbversion(version,ctime) VALUES(1,'2020-01-01 00:00:00'); "
                       "INSERT INTO suppliers(name,email) VALUES('ООО «Ёлка»','a@b.ru'); "
                       "INSERT INTO codes(wareid,code,packquantity) VALUES(7,'4006381333931',1),"
                       "(7,'4006381333931',12),(0,'',1); "
                       "INSERT INTO units(name,decimals) VALUES('коробка',0); "
                       "INSERT INTO warehouse(name,outcost) VALUES('Чай',120);");
    QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Older);

    QVERIFY(upgradeSchema(nullptr, mainConnection));
    QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);

    QStringList tables;
    QList<Column> expected;
    QVERIFY(readExpectation(m_database->dialect(), tables, expected));
    std::stable_sort(expected.begin(), expected.end(),
                     [](const Column &a, const Column &b) { return a.table < b.table; });
    QCOMPARE(lines(columnsIn(*m_database)), lines(expected));
    QCOMPARE(indexesIn(*m_database), expectedIndexes());
    QCOMPARE(m_database->client("SELECT name, email FROM suppliers;"), "ООО «Ёлка»\ta@b.ru");
    QCOMPARE(m_database->client("SELECT wareid, code FROM codes ORDER BY id;"),
             "7\t4006381333931\n7\t4006381333931\n0\t");
    // An upgrade ships no rows into tables that were there, be they ever so short.
    QCOMPARE(m_database->client("SELECT name FROM units;"), "коробка");
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM warehouse WHERE name='Чай';"), "1");
}

void TestSchema::upgraded_leavesAloneWhatIsThere()
{
    QVERIFY(createTablesWithoutAdditions());
    const bool mariaDb = m_database->dialect() == Dialect::MySql;
    m_database->client(QString("CREATE INDEX somebodys ON codes(code%1, wareid); "
                               "ALTER TABLE suppliers ADD COLUMN notes %2; "
                               "INSERT INTO suppliers(name,notes) VALUES('Склад','звонить до 12'); "
                               "DROP TABLE ostatus;")
                           .arg(mariaDb ? "(20)" : "", mariaDb ? "LONGTEXT" : "VARCHAR(500)"));

    QVERIFY(upgradeSchema(nullptr, mainConnection));
    QCOMPARE(indexesIn(*m_database), expectedIndexes()); // no second one on codes.code
    QCOMPARE(m_database->client("SELECT notes FROM suppliers;"), "звонить до 12");
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM ostatus;"), "10"); // a lost table comes whole

    const QList<Column> columns = columnsIn(*m_database);
    QVERIFY(upgradeSchema(nullptr, mainConnection));
    QCOMPARE(lines(columnsIn(*m_database)), lines(columns));
    QCOMPARE(indexesIn(*m_database), expectedIndexes());
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM dbversion;"), "1");
}

void TestSchema::complete_isCheckedInAHandfulOfStatements()
{
    QVERIFY(createSchema(nullptr, mainConnection));

    setFileDebug(true);
    QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);
    QVERIFY(upgradeSchema(nullptr, mainConnection));
    setFileDebug(false);
    QFile trace(configDirPath() + "/debug.txt");
    QVERIFY(trace.open(QIODevice::ReadOnly));
    const qsizetype statements = trace.readAll().count("QueryExec: ");
    QVERIFY2(statements > 0 && statements <= 8, QByteArray::number(statements).constData());
}

void TestSchema::failedStatement_doesNotStopTheRest()
{
    // A view in the place of a table takes no index.
    m_database->client("CREATE VIEW labels AS SELECT 1 AS id, 'a' AS code, 'b' AS name, 1 AS "
                       "quantity;");

    QVERIFY(!createSchema(nullptr, mainConnection));

    QVERIFY(logText().contains("Ошибка SQL:"));
    QVERIFY(logText().contains("CREATE INDEX"));
    QStringList expected = expectedIndexes();
    expected.removeAll("labels.code");
    QCOMPARE(indexesIn(*m_database), expected);
    QCOMPARE(m_database->client("SELECT COUNT(*) FROM ostatus;"), "10");
    // Something is missing, so the next start tries again.
    QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Missing);
    m_database->client("DROP VIEW labels;");
    QVERIFY(createSchema(nullptr, mainConnection));
    QCOMPARE(indexesIn(*m_database), expectedIndexes());
    QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);
}

void TestSchema::lostServer_isAskedAboutOnce()
{
    static Dialect stopped;
    stopped = m_database->dialect();
    if (stopped == Dialect::Sqlite)
        return; // nothing to lose

    QWidget window;
    QueuedBoxes boxes;
    boxes.answer("Отмена");
    setConsoleDebug(true);
    const QtMessageHandler former =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &message) {
            if (message.contains("CREATE TABLE IF NOT EXISTS `brands`"))
                TestServers::instance().stop(stopped);
        });
    const bool created = createSchema(&window, mainConnection);
    qInstallMessageHandler(former);
    setConsoleDebug(false);
    TestServers::instance().start(stopped);

    QVERIFY(!created);
    QVERIFY(boxes.lastText().startsWith("Ошибка открытия базы данных: "));
    QVERIFY(boxes.verify());
    // What was begun can be completed.
    QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Missing);
    QVERIFY(createSchema(nullptr, mainConnection));
    QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);
}

void TestSchema::version_data()
{
    QTest::addColumn<QString>("statements");
    QTest::addColumn<SchemaState>("expected");

    const QString table = "CREATE TABLE dbversion(id INTEGER, version INTEGER, ctime TEXT); ";
    const QString current = QString::number(schemaVersion());
    const QString older = QString::number(schemaVersion() - 1);
    const QString newer = QString::number(schemaVersion() + 1);
    QTest::newRow("empty database") << "" << SchemaState::Missing;
    QTest::newRow("tables of somebody else")
        << "CREATE TABLE letters(id INTEGER);" << SchemaState::Missing;
    QTest::newRow("no version yet") << table << SchemaState::Missing;
    QTest::newRow("older") << table + "INSERT INTO dbversion(version) VALUES(" + older + ");"
                           << SchemaState::Older;
    QTest::newRow("current") << table + "INSERT INTO dbversion(version) VALUES(" + current + ");"
                             << SchemaState::Current;
    QTest::newRow("current, then older")
        << table + "INSERT INTO dbversion(id,version) VALUES(1," + current + "),(2," + older + ");"
        << SchemaState::Current;
    QTest::newRow("newer between older") << table + "INSERT INTO dbversion(id,version) VALUES(1," +
                                                older + "),(2," + newer + "),(3," + current + ");"
                                         << SchemaState::Newer;
}

void TestSchema::version()
{
    QFETCH(QString, statements);
    QFETCH(SchemaState, expected);
    m_database->client(statements);
    QCOMPARE(schemaState(nullptr, mainConnection), expected);
}

void TestSchema::version_isUnknownWithoutAnAnswer()
{
    QCOMPARE(schemaState(nullptr, "no such connection"), SchemaState::Unknown);
    QVERIFY(!createSchema(nullptr, "no such connection"));
    QVERIFY(!upgradeSchema(nullptr, "no such connection"));
}

QTEST_MAIN(TestSchema)
#include "tst_schema.moc"
