#include "tests/support/servers.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QTcpServer>
#include <QTest>

#include <csignal>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

const QString userName = QStringLiteral("lavkor");
const QString readerName = QStringLiteral("reader"); ///< MariaDB's client, spared by killClients()
const QString password = QStringLiteral("lavkor");

constexpr int startTimeout = 60'000;
constexpr int clientTimeout = 120'000;

quint16 freePort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost))
        qFatal("No free port on 127.0.0.1");
    return probe.serverPort();
}

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

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("Cannot write %s", qPrintable(path));
}

void runToEnd(const QStringList &command, const QString &workingDirectory)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setWorkingDirectory(workingDirectory);
    process.start(command.first(), command.mid(1));
    if (!process.waitForFinished(clientTimeout) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        qFatal("%s failed: %s\n%s", qPrintable(command.join(u' ')),
               qPrintable(process.errorString()), process.readAll().constData());
    }
}

QStringList clientCommand(Dialect dialect, const QString &database, quint16 port)
{
    switch (dialect) {
    case Dialect::Sqlite:
        return {QStringLiteral("sqlite3"),
                QStringLiteral("-batch"),
                QStringLiteral("-noheader"),
                QStringLiteral("-bail"),
                QStringLiteral("-separator"),
                QStringLiteral("\t"),
                database};
    case Dialect::MySql:
        return {QStringLiteral("mariadb"),
                QStringLiteral("--no-defaults"),
                QStringLiteral("--protocol=tcp"),
                QStringLiteral("--host=127.0.0.1"),
                QStringLiteral("--port=%1").arg(port),
                QStringLiteral("--user=") + readerName,
                QStringLiteral("--password=") + password,
                QStringLiteral("--default-character-set=utf8mb4"),
                QStringLiteral("--batch"),
                QStringLiteral("--raw"),
                QStringLiteral("--skip-column-names"),
                database};
    case Dialect::PostgreSql:
        return {QStringLiteral("psql"),
                QStringLiteral("--no-psqlrc"),
                QStringLiteral("--quiet"),
                QStringLiteral("--tuples-only"),
                QStringLiteral("--no-align"),
                QStringLiteral("--field-separator=\t"),
                QStringLiteral("--set=ON_ERROR_STOP=1"),
                QStringLiteral("--host=127.0.0.1"),
                QStringLiteral("--port=%1").arg(port),
                QStringLiteral("--username=") + userName,
                QStringLiteral("--dbname=") + database};
    }
    return {};
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
    const QString directory = one.directory->path();
    QStringList command = {QStringLiteral("mariadb-install-db"), QStringLiteral("--no-defaults"),
                           QStringLiteral("--datadir=") + directory + QStringLiteral("/data"),
                           // A starting server clears its temporary tables away, and in a shared
                           // directory those of the others.
                           QStringLiteral("--tmpdir=") + directory,
                           QStringLiteral("--auth-root-authentication-method=normal"),
                           QStringLiteral("--skip-test-db"), QStringLiteral("--skip-log-bin"),
                           QStringLiteral("--sync-frm=OFF"),
                           QStringLiteral("--innodb-flush-method=nosync")};
    if (geteuid() == 0)
        command += QStringLiteral("--user=root");
    runToEnd(command, directory);
    writeFile(directory + "/init.sql",
              "DELETE FROM mysql.global_priv WHERE User='';\n"
              "FLUSH PRIVILEGES;\n"
              "CREATE USER IF NOT EXISTS 'lavkor'@'%' IDENTIFIED BY 'lavkor';\n"
              "GRANT ALL PRIVILEGES ON *.* TO 'lavkor'@'%' WITH GRANT OPTION;\n"
              "CREATE USER IF NOT EXISTS 'reader'@'%' IDENTIFIED BY 'lavkor';\n"
              "GRANT ALL PRIVILEGES ON *.* TO 'reader'@'%' WITH GRANT OPTION;\n");
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
        command = {QStringLiteral("mariadbd"),
                   QStringLiteral("--no-defaults"),
                   QStringLiteral("--datadir=") + directory + QStringLiteral("/data"),
                   QStringLiteral("--tmpdir=") + directory,
                   QStringLiteral("--socket=") + directory + QStringLiteral("/socket"),
                   QStringLiteral("--pid-file=") + directory + QStringLiteral("/pid"),
                   QStringLiteral("--init-file=") + directory + QStringLiteral("/init.sql"),
                   QStringLiteral("--bind-address=127.0.0.1"),
                   QStringLiteral("--port=%1").arg(one.port),
                   QStringLiteral("--skip-name-resolve"),
                   QStringLiteral("--skip-log-bin"),
                   QStringLiteral("--sync-frm=OFF"),
                   QStringLiteral("--performance-schema=OFF"),
                   QStringLiteral("--innodb-buffer-pool-size=64M"),
                   QStringLiteral("--innodb-log-file-size=32M"),
                   QStringLiteral("--innodb-flush-method=nosync")};
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
    const QStringList command = clientCommand(
        dialect, dialect == Dialect::MySql ? QStringLiteral("mysql") : QStringLiteral("postgres"),
        server(dialect).port);
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PGPASSWORD"), password);
    process.setProcessEnvironment(environment);
    process.start(command.first(), command.mid(1));
    process.write("SELECT 'ready';\n");
    process.closeWriteChannel();
    return process.waitForFinished(clientTimeout) && process.readAllStandardOutput() == "ready\n";
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
    const QStringList command =
        clientCommand(dialect, database, dialect == Dialect::Sqlite ? quint16(0) : port(dialect));
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PGPASSWORD"), password);
    environment.insert(QStringLiteral("PGCLIENTENCODING"), QStringLiteral("UTF8"));
    process.setProcessEnvironment(environment);
    process.start(command.first(), command.mid(1));
    process.write((statements + u'\n').toUtf8());
    process.closeWriteChannel();
    const bool finished = process.waitForFinished(clientTimeout);
    const QByteArray errors = process.readAllStandardError();
    if (!finished || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        QTest::qFail(qPrintable(command.first() + QStringLiteral(" failed: ") +
                                process.errorString() + u' ' + QString::fromUtf8(errors)),
                     __FILE__, __LINE__);
        return {};
    }
    QString output = QString::fromUtf8(process.readAllStandardOutput());
    if (output.endsWith(u'\n'))
        output.chop(1);
    return output.isNull() ? QStringLiteral("") : output;
}

void addDialectRows()
{
    QTest::addColumn<Dialect>("dialect");
    QTest::newRow("sqlite") << Dialect::Sqlite;
    QTest::newRow("mariadb") << Dialect::MySql;
    QTest::newRow("postgresql") << Dialect::PostgreSql;
}
