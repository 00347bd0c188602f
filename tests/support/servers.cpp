#include "tests/support/servers.h"

#include "tests/support/servertools.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

using namespace servertools;

namespace {

constexpr int startTimeout = 60'000;

/// PostgreSQL refuses to run as root.
const passwd *postgreSqlUser()
{
    if (geteuid() != 0)
        return nullptr;
    const passwd *user = getpwnam("postgres");
    return user ? user : getpwnam("nobody");
}

/// A PostgreSQL program of the newest version installed, with the change of user in front.
QStringList postgreSqlCommand(const QString &program)
{
    const QDir versions(QStringLiteral("/usr/lib/postgresql"));
    int newest = 0;
    const QStringList names = versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        newest = qMax(newest, name.toInt());
    const QString path =
        versions.path() + u'/' + QString::number(newest) + QStringLiteral("/bin/") + program;
    if (!QFile::exists(path))
        qFatal("Not installed: %s", qPrintable(path));
    // SIGQUIT: an immediate shutdown that still frees its shared memory. The signal is asked for
    // behind the change of user, which would clear it.
    QStringList command = {QStringLiteral("setpriv"), QStringLiteral("--pdeathsig"),
                           QStringLiteral("QUIT")};
    if (const passwd *user = postgreSqlUser()) {
        command +=
            {QStringLiteral("--reuid"), QString::number(user->pw_uid), QStringLiteral("--regid"),
             QString::number(user->pw_gid), QStringLiteral("--clear-groups")};
    }
    return command + QStringList{path};
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
    for (Server *one : {&m_mariaDb, &m_postgreSql}) {
        if (one->process && one->process->state() != QProcess::NotRunning) {
            ::kill(static_cast<pid_t>(one->process->processId()),
                   one == &m_mariaDb ? SIGKILL : SIGQUIT);
            one->process->waitForFinished(startTimeout);
        }
        *one = {};
    }
}

TestServers::Server &TestServers::server(Dialect dialect)
{
    if (dialect == Dialect::Sqlite)
        qFatal("SQLite has no server");
    return dialect == Dialect::MySql ? m_mariaDb : m_postgreSql;
}

const TestServers::Server &TestServers::server(Dialect dialect) const
{
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
    entry.name = QStringLiteral("test ") + database;
    entry.databasename = database;
    if (dialect == Dialect::Sqlite) {
        entry.dbtype = QStringLiteral("sqlite");
        return entry;
    }
    entry.dbtype =
        dialect == Dialect::MySql ? QStringLiteral("mysql") : QStringLiteral("postgresql");
    entry.dbhostname = QStringLiteral("127.0.0.1:%1").arg(port(dialect));
    entry.dbusername = userName;
    entry.dbpassword = password;
    return entry;
}

void TestServers::ensureRunning(Dialect dialect)
{
    Server &one = server(dialect);
    if (one.process)
        return; // running, or stopped on purpose by a test
    one.directory = std::make_unique<QTemporaryDir>(QDir::tempPath() + "/lavkor-test-XXXXXX");
    if (!one.directory->isValid())
        qFatal("No temporary directory for a test server");
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
    QFile log(one.directory->filePath(QStringLiteral("server.log")));
    const QByteArray text = log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
    qFatal("A test server does not start:\n%s", text.constData());
}

void TestServers::initializeMariaDb(Server &one)
{
    initializeMariaDbData(one.directory->path(),
                          geteuid() == 0 ? QStringLiteral("root") : QString());
}

void TestServers::initializePostgreSql(Server &one)
{
    const QString directory = one.directory->path();
    writeFile(directory + "/password", password.toUtf8() + '\n');
    if (const passwd *user = postgreSqlUser()) {
        const QByteArray path = directory.toLocal8Bit();
        if (chown(path.constData(), user->pw_uid, user->pw_gid) != 0 ||
            chown((path + "/password").constData(), user->pw_uid, user->pw_gid) != 0)
            qFatal("Cannot hand %s over to %s", path.constData(), user->pw_name);
    }
    // C.UTF-8: ILIKE knows Cyrillic letter case, and the sort order is the same everywhere.
    runToEnd(postgreSqlCommand(QStringLiteral("initdb")) +
                 QStringList{QStringLiteral("--pgdata=") + directory + QStringLiteral("/data"),
                             QStringLiteral("--username=") + userName,
                             QStringLiteral("--pwfile=") + directory + QStringLiteral("/password"),
                             QStringLiteral("--auth=scram-sha-256"),
                             QStringLiteral("--encoding=UTF8"), QStringLiteral("--locale=C.UTF-8"),
                             QStringLiteral("--no-sync"), QStringLiteral("--no-instructions")},
             directory);
}

bool TestServers::launch(Dialect dialect)
{
    Server &one = server(dialect);
    const QString directory = one.directory->path();
    QStringList command;
    if (dialect == Dialect::MySql) {
        command = mariaDbCommand(directory, one.port) +
                  QStringList{QStringLiteral("--init-file=") + directory + "/init.sql"};
        if (geteuid() == 0)
            command += QStringLiteral("--user=root");
        command += m_mariaDbOptions;
    } else {
        command = postgreSqlCommand(QStringLiteral("postgres")) +
                  QStringList{QStringLiteral("-D"), directory + QStringLiteral("/data"),
                              QStringLiteral("-p"), QString::number(one.port),
                              QStringLiteral("-h"), QStringLiteral("127.0.0.1"),
                              QStringLiteral("-k"), directory,
                              QStringLiteral("-c"), QStringLiteral("fsync=off"),
                              QStringLiteral("-c"), QStringLiteral("shared_buffers=32MB")};
    }
    one.process = std::make_unique<QProcess>();
    one.process->setProcessChannelMode(QProcess::MergedChannels);
    one.process->setWorkingDirectory(directory);
    one.process->setStandardOutputFile(directory + "/server.log");
    one.process->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    one.process->start(command.first(), command.mid(1));
    if (!one.process->waitForStarted())
        qFatal("Cannot run %s", qPrintable(command.first()));
    const bool ready = QTest::qWaitFor(
        [&] { return one.process->state() == QProcess::NotRunning || answers(dialect); },
        startTimeout);
    return ready && one.process->state() == QProcess::Running;
}

bool TestServers::answers(Dialect dialect)
{
    return servertools::answers(dialect, server(dialect).port);
}

void TestServers::start(Dialect dialect)
{
    Server &one = server(dialect);
    if (one.process && one.process->state() != QProcess::NotRunning)
        return;
    if (!one.process) {
        ensureRunning(dialect);
        return;
    }
    // A killed server leaves its lock file behind; the port is kept for the clients' settings.
    if (!launch(dialect))
        qFatal("A test server does not start again");
}

void TestServers::stop(Dialect dialect)
{
    Server &one = server(dialect);
    if (!one.process || one.process->state() == QProcess::NotRunning)
        return;
    // SIGINT is PostgreSQL's fast shutdown, which does not wait for its clients to leave.
    ::kill(static_cast<pid_t>(one.process->processId()),
           dialect == Dialect::MySql ? SIGTERM : SIGINT);
    if (!one.process->waitForFinished(startTimeout))
        qFatal("A test server does not stop");
}

void TestServers::kill(Dialect dialect)
{
    Server &one = server(dialect);
    if (!one.process || one.process->state() == QProcess::NotRunning)
        return;
    // PostgreSQL's helper processes outlive a killed parent for a moment and would keep its data
    // locked; SIGQUIT ends all of them at once, without a checkpoint.
    ::kill(static_cast<pid_t>(one.process->processId()),
           dialect == Dialect::MySql ? SIGKILL : SIGQUIT);
    if (!one.process->waitForFinished(startTimeout))
        qFatal("A test server cannot be killed");
}

void TestServers::restart(Dialect dialect)
{
    stop(dialect);
    start(dialect);
}

void TestServers::restartMariaDb(const QStringList &options)
{
    m_mariaDbOptions = options;
    restart(Dialect::MySql);
}

void TestServers::killClients(Dialect dialect)
{
    if (dialect == Dialect::PostgreSql) {
        client(dialect, QStringLiteral("postgres"),
               QStringLiteral("SELECT pg_terminate_backend(pid, 10000) FROM pg_stat_activity "
                              "WHERE pid<>pg_backend_pid() AND backend_type='client backend';"));
        return;
    }
    client(dialect, QStringLiteral("mysql"),
           QStringLiteral("KILL CONNECTION USER ") + userName + u';');
    const bool closed = QTest::qWaitFor([&] {
        return client(dialect, QStringLiteral("mysql"),
                      QStringLiteral("SELECT COUNT(*) FROM information_schema.processlist "
                                     "WHERE user='lavkor';")) == QLatin1String("0");
    });
    if (!closed)
        qFatal("The connections of clients do not close");
}

qint64 TestServers::processId(Dialect dialect) const
{
    const Server &one = server(dialect);
    return one.process ? one.process->processId() : 0;
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
