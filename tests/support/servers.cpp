#include "tests/support/servers.h"

#include "tests/support/files.h"
#include "tests/support/servertools.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <unistd.h>

using namespace servertools;

namespace {

constexpr int stopTimeout = 60'000;

/// PostgreSQL refuses to run as root.
const passwd *postgreSqlUser()
{
    return serverUser("postgres");
}

/// A PostgreSQL program of the newest version installed, with the change of user in front.
QStringList postgreSqlCommand(const QString &program)
{
    const QDir versions("/usr/lib/postgresql");
    int newest = 0;
    const QStringList names = versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        newest = qMax(newest, name.toInt());
    const QString path = versions.path() + u'/' + QString::number(newest) + "/bin/" + program;
    if (!QFile::exists(path))
        qFatal("Not installed: %s", qPrintable(path));
    // SIGQUIT: an immediate shutdown that still frees its shared memory.
    return asUser(postgreSqlUser(), "QUIT") + QStringList{path};
}

} // namespace

TestServers &TestServers::instance()
{
    static TestServers servers;
    static const bool registered = [] {
        qAddPostRoutine([] { TestServers::instance().shutDown(); });
        return true;
    }();
    Q_UNUSED(registered)
    return servers;
}

void TestServers::shutDown()
{
    // The data is thrown away: no need for an orderly end.
    for (const Dialect dialect : {Dialect::MySql, Dialect::PostgreSql}) {
        kill(dialect);
        server(dialect) = {};
    }
}

TestServers::Server &TestServers::server(Dialect dialect)
{
    if (dialect == Dialect::Sqlite)
        qFatal("SQLite has no server");
    return dialect == Dialect::MySql ? m_mariaDb : m_postgreSql;
}

quint16 TestServers::port(Dialect dialect)
{
    ensureRunning(dialect);
    return server(dialect).port;
}

ConnectionEntry TestServers::entry(Dialect dialect, const QString &database)
{
    ConnectionEntry entry;
    entry.name = "test " + database;
    entry.databasename = database;
    if (dialect == Dialect::Sqlite) {
        entry.dbtype = "sqlite";
        return entry;
    }
    entry.dbtype = dialect == Dialect::MySql ? "mysql" : "postgresql";
    entry.dbhostname = QStringLiteral("127.0.0.1:%1").arg(port(dialect));
    entry.dbusername = userName;
    entry.dbpassword = password;
    return entry;
}

void TestServers::ensureRunning(Dialect dialect)
{
    Server &one = server(dialect);
    if (one.directory)
        return; // running, or stopped on purpose by a test
    one.directory = serverDirectory(dialect == Dialect::MySql ? nullptr : postgreSqlUser());
    if (dialect == Dialect::MySql)
        initializeMariaDb(one);
    else
        initializePostgreSql(one);
    // Another program may take the free port before the server does.
    for (int attempt = 0; attempt < 5; ++attempt) {
        one.port = freePort();
        if (launch(dialect))
            return;
    }
    giveUp(one.directory->path());
}

void TestServers::initializeMariaDb(Server &one)
{
    initializeMariaDbData(one.directory->path(), geteuid() == 0 ? "root" : QString());
}

void TestServers::initializePostgreSql(Server &one)
{
    const QString directory = one.directory->path();
    writeFile(directory + "/password", password.toUtf8() + '\n');
    const QByteArray passwordFile = (directory + "/password").toLocal8Bit();
    const passwd *user = postgreSqlUser();
    if (user && chown(passwordFile.constData(), user->pw_uid, user->pw_gid) != 0)
        qFatal("Cannot hand the password over to %s", user->pw_name);
    // C.UTF-8: ILIKE knows Cyrillic letter case, and the sort order is the same everywhere.
    runToEnd(postgreSqlCommand("initdb") +
                 QStringList{"--pgdata=" + directory + "/data", "--username=" + userName,
                             "--pwfile=" + directory + "/password", "--auth=scram-sha-256",
                             "--encoding=UTF8", "--locale=C.UTF-8", "--no-sync",
                             "--no-instructions"},
             directory);
}

bool TestServers::launch(Dialect dialect)
{
    Server &one = server(dialect);
    const QString directory = one.directory->path();
    QStringList command;
    if (dialect == Dialect::MySql) {
        command = mariaDbCommand(directory, one.port) +
                  QStringList{"--init-file=" + directory + "/init.sql"};
        if (geteuid() == 0)
            command += "--user=root";
        command += m_mariaDbOptions;
    } else {
        command = postgreSqlCommand("postgres") +
                  QStringList{"-D", directory + "/data", "-p", QString::number(one.port),
                              "-h", "127.0.0.1",         "-k", directory,
                              "-c", "fsync=off",         "-c", "shared_buffers=32MB"};
    }
    one.process = launchServer(command, directory, dialect, one.port);
    return one.process != nullptr;
}

void TestServers::start(Dialect dialect)
{
    Server &one = server(dialect);
    if (one.process && one.process->state() != QProcess::NotRunning)
        return;
    if (!one.directory) {
        ensureRunning(dialect);
        return;
    }
    // A killed server leaves its lock file behind; the port is kept for the clients' settings.
    if (!launch(dialect))
        giveUp(one.directory->path());
}

void TestServers::end(Dialect dialect, int signal)
{
    Server &one = server(dialect);
    if (!one.process || one.process->state() == QProcess::NotRunning)
        return;
    ::kill(static_cast<pid_t>(one.process->processId()), signal);
    if (!one.process->waitForFinished(stopTimeout))
        qFatal("A test server does not end");
}

void TestServers::stop(Dialect dialect)
{
    // SIGINT is PostgreSQL's fast shutdown, which does not wait for its clients to leave.
    end(dialect, dialect == Dialect::MySql ? SIGTERM : SIGINT);
}

void TestServers::kill(Dialect dialect)
{
    // PostgreSQL's helper processes outlive a killed parent for a moment and would keep its data
    // locked; SIGQUIT ends all of them at once, without a checkpoint.
    end(dialect, dialect == Dialect::MySql ? SIGKILL : SIGQUIT);
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
    client(dialect, "mysql", "KILL CONNECTION USER " + userName + u';');
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
    return servertools::client(dialect, database,
                               dialect == Dialect::Sqlite ? quint16(0) : port(dialect), statements);
}

void addDialectRows()
{
    QTest::addColumn<Dialect>("dialect");
    QTest::newRow("sqlite") << Dialect::Sqlite;
    QTest::newRow("mariadb") << Dialect::MySql;
    QTest::newRow("postgresql") << Dialect::PostgreSql;
}
