#pragma once

#include <map>

#include "tests/support/databaseserver.h"

/// The private database servers of one test program: a MariaDB and a PostgreSQL on free ports of
/// 127.0.0.1, each started when first asked for and stopped at the end of the program, also when
/// the program is killed. A server that cannot be started ends the program: the cases that need
/// it must be red, never skipped.
class TestServers
{
public:
    static TestServers &instance();
    TestServers(const TestServers &) = delete;
    TestServers &operator=(const TestServers &) = delete;

    /// The port of a server, which is started when it does not run yet.
    quint16 port(Dialect dialect);

    /// A settings entry that connects to a database of a server as a user who may do everything.
    ConnectionEntry entry(Dialect dialect, const QString &database);

    /// Starts a server that was stopped or killed, on the same port with the same data.
    void start(Dialect dialect);

    /// Stops a server in good order, as its service would be stopped.
    void stop(Dialect dialect);

    /// Ends a server as a power cut would.
    void kill(Dialect dialect);

    /// Restarts MariaDB with more options on its command line, e.g. "--ssl-ca=…"; they hold until
    /// the next call.
    void restartMariaDb(const QStringList &options);

    /// Closes all connections of clients on the server's side.
    void killClients(Dialect dialect);

    /// Runs statements with the database's own command-line client, an independent reader.
    /// Returns the rows without headers, one line each, columns parted by tabs, no newline at the
    /// end; NULL is an empty text (on MariaDB the word NULL). A failed statement is a test failure
    /// and gives a null text.
    QString client(Dialect dialect, const QString &database, const QString &statements);

private:
    TestServers() = default;
    DatabaseServer &server(Dialect dialect);

    std::map<Dialect, DatabaseServer> m_servers;
    QStringList m_mariaDbOptions;
};

/// The rows "sqlite", "mariadb" and "postgresql" with the column Dialect "dialect": for
/// initTestCase_data() together with QFETCH_GLOBAL(Dialect, dialect), or for a case of its own.
void addDialectRows();
