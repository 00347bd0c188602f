#include "tests/support/databaseserver.h"

#include "tests/support/files.h"

#include <QDir>
#include <QTcpServer>
#include <QTest>

#include <csignal>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

const QString userName = QStringLiteral("lavkor");
const QString password = QStringLiteral("lavkor");

constexpr int toolTimeout = 120'000;
constexpr int startTimeout = 120'000; ///< a cluster's state transfer takes a few seconds
constexpr int stopTimeout = 60'000;
constexpr int tries = 5;

/// False when it did not come to a good end.
bool runToEnd(QProcess &process, const QStringList &command, const QString &input = {})
{
    process.start(command.first(), command.mid(1));
    process.write(input.toUtf8());
    process.closeWriteChannel();
    return process.waitForFinished(toolTimeout) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

bool runClient(QProcess &process, Dialect dialect, const QString &database, quint16 port,
               const QString &statements)
{
    QStringList command = {"sqlite3", "-batch", "-noheader", "-bail", "-separator", "\t", database};
    // MariaDB's reader is spared when all clients are killed.
    if (dialect == Dialect::MySql)
        command =
            words("mariadb --no-defaults --protocol=tcp --host=127.0.0.1 --user=reader "
                  "--default-character-set=utf8mb4 --batch --raw --skip-column-names") +
            QStringList{"--password=" + password, "--port=" + QString::number(port), database};
    else if (dialect == Dialect::PostgreSql)
        command = words("psql --no-psqlrc --quiet --tuples-only --no-align --host=127.0.0.1 "
                        "--set=ON_ERROR_STOP=1") +
                  QStringList{"--field-separator=\t", "--port=" + QString::number(port),
                              "--username=" + userName, "--dbname=" + database};
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("PGPASSWORD", password);
    environment.insert("PGCLIENTENCODING", "UTF8");
    process.setProcessEnvironment(environment);
    return runToEnd(process, command, statements + u'\n');
}

/// PostgreSQL's programs of the newest version installed.
QString postgreSqlPath()
{
    const QDir versions("/usr/lib/postgresql");
    int newest = 0;
    const QStringList names = versions.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        newest = qMax(newest, name.toInt());
    return versions.filePath(QString::number(newest) + "/bin/");
}

} // namespace

DatabaseServer::DatabaseServer(Dialect dialect, const char *user)
    : m_dialect(dialect),
      m_user(geteuid() == 0 ? user : nullptr),
      m_directory(QDir::tempPath() + "/lavkor-test-XXXXXX")
{
    const QString directory = m_directory.path();
    QStringList tool;
    if (dialect == Dialect::MySql) {
        // A starting server clears its temporary tables away, and in a shared directory those of
        // the others.
        tool = words("mariadb-install-db --no-defaults --skip-test-db --skip-log-bin "
                     "--auth-root-authentication-method=normal --sync-frm=OFF "
                     "--innodb-flush-method=nosync") +
               QStringList{"--datadir=" + directory + "/data", "--tmpdir=" + directory};
        if (geteuid() == 0)
            tool += QString("--user=") + (m_user ? m_user : "root");
        writeFile(directory + "/init.sql",
                  "DELETE FROM mysql.global_priv WHERE User='';\n"
                  "FLUSH PRIVILEGES;\n"
                  "CREATE USER IF NOT EXISTS 'lavkor'@'%' IDENTIFIED BY 'lavkor';\n"
                  "GRANT ALL PRIVILEGES ON *.* TO 'lavkor'@'%' WITH GRANT OPTION;\n"
                  "CREATE USER IF NOT EXISTS 'reader'@'%' IDENTIFIED BY 'lavkor';\n"
                  "GRANT ALL PRIVILEGES ON *.* TO 'reader'@'%' WITH GRANT OPTION;\n");
    } else {
        // C.UTF-8: ILIKE knows Cyrillic letter case, and the sort order is the same everywhere.
        tool = command(postgreSqlPath() + "initdb") +
               words("--auth=scram-sha-256 --encoding=UTF8 --locale=C.UTF-8 --no-sync "
                     "--no-instructions") +
               QStringList{"--pgdata=" + directory + "/data", "--username=" + userName,
                           "--pwfile=" + directory + "/password"};
        writeFile(directory + "/password", password.toUtf8() + '\n');
    }
    if (const passwd *owner = m_user ? getpwnam(m_user) : nullptr) {
        for (const QString &path : {directory, directory + "/password", directory + "/init.sql"}) {
            if (QFile::exists(path) &&
                chown(path.toLocal8Bit().constData(), owner->pw_uid, owner->pw_gid) != 0)
                qFatal("Cannot hand a server's files over to %s", m_user);
        }
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setWorkingDirectory(directory);
    if (!runToEnd(process, tool))
        qFatal("%s failed: %s\n%s", qPrintable(tool.join(u' ')), qPrintable(process.errorString()),
               process.readAll().constData());
}

DatabaseServer::~DatabaseServer()
{
    // The data is thrown away: no need for an orderly end. PostgreSQL still frees its memory.
    end(m_dialect == Dialect::MySql ? SIGKILL : SIGQUIT);
}

/// A program of the server with the change of user in front. The signal at the end of this program
/// is asked for behind the change of user, which would clear it.
QStringList DatabaseServer::command(const QString &program) const
{
    QStringList command = {"setpriv", "--pdeathsig", m_dialect == Dialect::MySql ? "KILL" : "QUIT"};
    if (m_user)
        command += {"--reuid", m_user, "--regid", m_user, "--clear-groups"};
    return command + QStringList{program};
}

bool DatabaseServer::launch(const QStringList &options)
{
    const QString directory = m_directory.path();
    const QString portText = QString::number(m_port);
    QStringList line;
    if (m_dialect == Dialect::MySql) {
        line = command("mariadbd") +
               words("--no-defaults --bind-address=127.0.0.1 --skip-name-resolve --skip-log-bin "
                     "--sync-frm=OFF --performance-schema=OFF --innodb-buffer-pool-size=64M "
                     "--innodb-log-file-size=32M --innodb-flush-method=nosync") +
               QStringList{"--datadir=" + directory + "/data", "--tmpdir=" + directory,
                           "--socket=" + directory + "/socket", "--pid-file=" + directory + "/pid",
                           "--port=" + portText};
        if (geteuid() == 0 && !m_user)
            line += "--user=root";
    } else {
        line = command(postgreSqlPath() + "postgres") +
               words("-h 127.0.0.1 -c fsync=off -c shared_buffers=32MB") +
               QStringList{"-D", directory + "/data", "-p", portText, "-k", directory};
    }
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setWorkingDirectory(directory);
    m_process.setStandardOutputFile(directory + "/server.log");
    m_process.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    m_process.start(line.first(), line.mid(1) + options);
    if (!m_process.waitForStarted())
        qFatal("Cannot run %s", qPrintable(line.first()));
    const QString database = m_dialect == Dialect::MySql ? "mysql" : "postgres";
    const bool answers = QTest::qWaitFor(
        [&] {
            QProcess client;
            return m_process.state() == QProcess::NotRunning ||
                   runClient(client, m_dialect, database, m_port, "SELECT 'ready';");
        },
        startTimeout);
    return answers && m_process.state() == QProcess::Running;
}

void DatabaseServer::start(const QStringList &options)
{
    if (m_process.state() != QProcess::NotRunning)
        return;
    // Another program may take the free port before the server does. Clients know a former one.
    const bool isNew = m_port == 0;
    for (int attempt = 0; attempt < (isNew ? tries : 1); ++attempt) {
        if (isNew)
            m_port = freePort();
        if (launch(options))
            return;
    }
    qFatal("A test server does not start:\n%s",
           readFile(m_directory.filePath("server.log")).constData());
}

void DatabaseServer::end(int signal)
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    ::kill(static_cast<pid_t>(m_process.processId()), signal);
    if (!m_process.waitForFinished(stopTimeout))
        qFatal("A test server does not end");
}

quint16 DatabaseServer::port() const
{
    return m_port;
}

QString DatabaseServer::usersOption() const
{
    return "--init-file=" + m_directory.filePath("init.sql");
}

ConnectionEntry DatabaseServer::entry(const QString &database) const
{
    return {.name = "test " + database,
            .dbtype = m_dialect == Dialect::MySql ? "mysql" : "postgresql",
            .dbhostname = "127.0.0.1:" + QString::number(m_port),
            .dbusername = userName,
            .dbpassword = password,
            .databasename = database};
}

quint16 freePort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost))
        qFatal("No free port on 127.0.0.1");
    return probe.serverPort();
}

QStringList words(const QString &text)
{
    return text.split(' ');
}

QString databaseClient(Dialect dialect, const QString &database, quint16 port,
                       const QString &statements, const QString &repeatedWhenRefused)
{
    QString fault;
    for (int attempt = 0; attempt < tries; ++attempt) {
        QProcess process;
        if (runClient(process, dialect, database, port, repeatedWhenRefused + statements)) {
            QString output = QString::fromUtf8(process.readAllStandardOutput());
            if (output.endsWith(u'\n'))
                output.chop(1);
            return output.isNull() ? "" : output;
        }
        const QString error = QString::fromUtf8(process.readAllStandardError());
        fault = process.program() + " failed: " + process.errorString() + u' ' + error;
        if (repeatedWhenRefused.isEmpty() || !error.contains(repeatedWhenRefused.chopped(1)))
            break;
    }
    QTest::qFail(qPrintable(fault), __FILE__, __LINE__);
    return {};
}
