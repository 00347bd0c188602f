#include "tests/support/scratchdatabase.h"

#include "tests/support/servers.h"

#include <QDir>

namespace {

QString administrationDatabase(Dialect dialect)
{
    return dialect == Dialect::MySql ? "mysql" : "postgres";
}

} // namespace

QStringList argumentsOf(const ConnectionEntry &entry)
{
    return {entry.dbtype, entry.dbhostname, entry.dbusername, entry.dbpassword, entry.databasename};
}

ConnectionEntry entryOf(const QStringList &arguments)
{
    return {.name = "child",
            .dbtype = arguments.value(0),
            .dbhostname = arguments.value(1),
            .dbusername = arguments.value(2),
            .dbpassword = arguments.value(3),
            .databasename = arguments.value(4)};
}

ScratchDatabase::ScratchDatabase(Dialect dialect)
    : m_dialect(dialect)
{
    if (dialect == Dialect::Sqlite) {
        m_directory = std::make_unique<QTemporaryDir>(QDir::tempPath() + "/lavkor-test-XXXXXX");
        if (!m_directory->isValid())
            qFatal("No temporary directory for a database");
        m_name = m_directory->filePath("scratch.sqlite");
        return;
    }
    static int count = 0;
    m_name = QStringLiteral("scratch%1").arg(++count);
    TestServers::instance().client(dialect, administrationDatabase(dialect),
                                   "CREATE DATABASE " + m_name +
                                       (dialect == Dialect::MySql ? " CHARACTER SET utf8 COLLATE "
                                                                    "utf8_general_ci;"
                                                                  : " ENCODING 'UTF8';"));
}

ScratchDatabase::~ScratchDatabase()
{
    for (const QString &name : std::as_const(m_connections))
        removeConnection(name);
    if (m_dialect == Dialect::Sqlite)
        return;
    TestServers::instance().start(m_dialect); // a fault test may have stopped it
    TestServers::instance().client(m_dialect, administrationDatabase(m_dialect),
                                   m_dialect == Dialect::MySql
                                       ? "SET lock_wait_timeout=10; DROP DATABASE " + m_name + u';'
                                       : "DROP DATABASE " + m_name + " WITH (FORCE);");
}

Dialect ScratchDatabase::dialect() const
{
    return m_dialect;
}

ConnectionEntry ScratchDatabase::entry() const
{
    return TestServers::instance().entry(m_dialect, m_name);
}

bool ScratchDatabase::open(const QString &connectionName)
{
    if (!m_connections.contains(connectionName))
        m_connections += connectionName;
    return createConnection(nullptr, entry(), connectionName);
}

QString ScratchDatabase::client(const QString &statements) const
{
    return TestServers::instance().client(m_dialect, m_name, statements);
}
