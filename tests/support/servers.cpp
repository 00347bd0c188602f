#include "tests/support/servers.h"

#include <QCoreApplication>
#include <QTest>

#include <csignal>

TestServers &TestServers::instance()
{
    static TestServers servers;
    static const bool registered = [] {
        qAddPostRoutine([] { servers.m_servers.clear(); });
        return true;
    }();
    Q_UNUSED(registered)
    return servers;
}

/// Running, or stopped on purpose by a test.
DatabaseServer &TestServers::server(Dialect dialect)
{
    if (dialect == Dialect::Sqlite)
        qFatal("SQLite has no server");
    const auto [it, isNew] =
        m_servers.try_emplace(dialect, dialect, dialect == Dialect::MySql ? nullptr : "postgres");
    if (isNew)
        start(dialect);
    return it->second;
}

quint16 TestServers::port(Dialect dialect)
{
    return server(dialect).port();
}

ConnectionEntry TestServers::entry(Dialect dialect, const QString &database)
{
    if (dialect == Dialect::Sqlite)
        return {.name = "test " + database, .dbtype = "sqlite", .databasename = database};
    return server(dialect).entry(database);
}

void TestServers::start(Dialect dialect)
{
    DatabaseServer &one = server(dialect);
    one.start(dialect == Dialect::MySql ? m_mariaDbOptions + QStringList{one.usersOption()}
                                        : QStringList());
}

void TestServers::stop(Dialect dialect)
{
    // SIGINT is PostgreSQL's fast shutdown, which does not wait for its clients to leave.
    server(dialect).end(dialect == Dialect::MySql ? SIGTERM : SIGINT);
}

void TestServers::kill(Dialect dialect)
{
    // PostgreSQL's helper processes outlive a killed parent for a moment and would keep its data
    // locked; SIGQUIT ends all of them at once, without a checkpoint.
    server(dialect).end(dialect == Dialect::MySql ? SIGKILL : SIGQUIT);
}

void TestServers::restartMariaDb(const QStringList &options)
{
    m_mariaDbOptions = options;
    stop(Dialect::MySql);
    start(Dialect::MySql);
}

void TestServers::killClients(Dialect dialect)
{
    if (dialect == Dialect::PostgreSql) {
        client(dialect, "postgres",
               "SELECT pg_terminate_backend(pid, 10000) FROM pg_stat_activity "
               "WHERE pid<>pg_backend_pid() AND backend_type='client backend';");
        return;
    }
    client(dialect, "mysql", "KILL CONNECTION USER lavkor;");
    const bool closed = QTest::qWaitFor([&] {
        return client(dialect, "mysql",
                      "SELECT COUNT(*) FROM information_schema.processlist "
                      "WHERE user='lavkor';") == QLatin1String("0");
    });
    if (!closed)
        qFatal("The connections of clients do not close");
}

QString TestServers::client(Dialect dialect, const QString &database, const QString &statements)
{
    return databaseClient(dialect, database,
                          dialect == Dialect::Sqlite ? quint16(0) : port(dialect), statements);
}

void addDialectRows()
{
    QTest::addColumn<Dialect>("dialect");
    QTest::newRow("sqlite") << Dialect::Sqlite;
    QTest::newRow("mariadb") << Dialect::MySql;
    QTest::newRow("postgresql") << Dialect::PostgreSql;
}
