#include "tests/support/databasetest.h"

#include "db/query.h"
#include "db/session.h"
#include "tests/support/servers.h"
#include "tests/support/shop.h"

#include <QSqlDatabase>
#include <QTest>

void DatabaseTest::initTestCase_data()
{
    addDialectRows();
}

void DatabaseTest::init()
{
    QFETCH_GLOBAL(Dialect, dialect);
    m_dialect = dialect;
    // A renamed widget would leave its slot dead without a compiler's word.
    QTest::failOnWarning(QRegularExpression("connectSlotsByName"));
    m_home = std::make_unique<TestHome>();
    m_boxes.reset(); // of a case that ended before its time
    m_boxes = std::make_unique<QueuedBoxes>();
    prepare();
}

void DatabaseTest::cleanup()
{
    setStatementObserver({});
    tidy();
    const bool noSurprise = m_boxes->verify();
    for (const QString &name : {otherStation, friendConnection, mainConnection})
        removeConnection(name);
    Session::instance().reset();
    m_empty.reset();
    m_boxes.reset();
    m_home.reset();
    QVERIFY(noSurprise);
}

void DatabaseTest::tidy()
{
}

void DatabaseTest::openEmpty()
{
    m_empty = std::make_unique<ScratchDatabase>(m_dialect);
    m_database = m_empty.get();
    QVERIFY(m_empty->open());
}

void DatabaseTest::openShop(int rights)
{
    m_database = &keptShop(mainConnection);
    QVERIFY(Session::instance().loadOptions(nullptr, mainConnection));
    shop::logIn({.id = 3, .login = "anna", .name = "Анна", .rights = rights});
}

ScratchDatabase &DatabaseTest::openReference()
{
    return keptShop(friendConnection);
}

ScratchDatabase &DatabaseTest::keptShop(const QString &connectionName)
{
    auto &kept = m_shops[{m_dialect, connectionName}];
    const bool isNew = !kept;
    if (isNew)
        kept = std::make_unique<ScratchDatabase>(m_dialect);
    const bool ready =
        kept->open(connectionName) && (!isNew || shop::create(connectionName)) &&
        clearShop(connectionName) &&
        QueryExec(nullptr, "UPDATE currencies SET value='1'", connectionName) &&
        QueryExec(nullptr, "UPDATE currencies SET value='90' WHERE c_code='USD'", connectionName);
    if (!ready)
        qFatal("no shop for the case");
    return *kept;
}

QString DatabaseTest::rows(const QString &statement) const
{
    return m_database->client(statement);
}

bool DatabaseTest::isServer() const
{
    return m_dialect != Dialect::Sqlite;
}

QSqlQuery DatabaseTest::impatientStation() const
{
    const bool opened = m_database->open(otherStation);
    QSqlQuery query(QSqlDatabase::database(otherStation));
    if (!opened || !query.exec(m_dialect == Dialect::Sqlite  ? "PRAGMA busy_timeout=0"
                               : m_dialect == Dialect::MySql ? "SET innodb_lock_wait_timeout=1"
                                                             : "SET lock_timeout='100ms'"))
        qFatal("no other station");
    return query;
}

bool DatabaseTest::openThrough(quint16 port) const
{
    ConnectionEntry entry = m_database->entry();
    entry.dbhostname = "127.0.0.1:" + QString::number(port);
    return createConnection(nullptr, entry, mainConnection);
}

void DatabaseTest::breakStatements(const QString &beginning, int times)
{
    setStatementObserver([=](QString &sqlText, const QString &) mutable {
        if (sqlText.startsWith(beginning) && times-- != 0)
            sqlText = "SELECT nonsense FROM nowhere";
    });
}

bool DatabaseTest::clearShop(const QString &connectionName)
{
    bool done = true;
    for (const char *table : {"warehouse", "codes", "articles", "alerts", "cart", "incomeinvoice",
                              "income", "incomereports", "changeoutcostinfo", "`groups`", "brands",
                              "images", "wareproperties", "waretranslates", "collectionproducts"})
        done = QueryExec(nullptr, QLatin1String("DELETE FROM ") + QLatin1String(table),
                         connectionName) &&
               done;
    return done;
}

void DialogTest::initTestCase_data()
{
    QTest::addColumn<Dialect>("dialect");
    QTest::newRow("SQLite") << Dialect::Sqlite;
}
