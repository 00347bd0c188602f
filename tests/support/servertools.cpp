#include "tests/support/servertools.h"

#include "tests/support/files.h"

#include <QDir>
#include <QProcessEnvironment>
#include <QTcpServer>
#include <QTest>

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr int clientTimeout = 120'000;
constexpr int clientTries = 5;

/// A cluster's state transfer takes a few seconds.
constexpr int startTimeout = 120'000;

QStringList clientCommand(Dialect dialect, const QString &database, quint16 port)
{
    using namespace servertools;
    const QString portText = QString::number(port);
    switch (dialect) {
    case Dialect::Sqlite:
        return {"sqlite3", "-batch", "-noheader", "-bail", "-separator", "\t", database};
    case Dialect::MySql:
        return words("mariadb --no-defaults --protocol=tcp --host=127.0.0.1 "
                     "--default-character-set=utf8mb4 --batch --raw --skip-column-names") +
               QStringList{"--port=" + portText, "--user=" + readerName, "--password=" + password,
                           database};
    case Dialect::PostgreSql:
        return words("psql --no-psqlrc --quiet --tuples-only --no-align --host=127.0.0.1 "
                     "--set=ON_ERROR_STOP=1") +
               QStringList{"--field-separator=\t", "--port=" + portText, "--username=" + userName,
                           "--dbname=" + database};
    }
    return {};
}

/// False when the client did not come to a good end.
bool runClient(QProcess &process, const QStringList &command, const QString &statements)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("PGPASSWORD", servertools::password);
    environment.insert("PGCLIENTENCODING", "UTF8");
    process.setProcessEnvironment(environment);
    process.start(command.first(), command.mid(1));
    process.write((statements + u'\n').toUtf8());
    process.closeWriteChannel();
    return process.waitForFinished(clientTimeout) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

} // namespace

namespace servertools {

QStringList words(const QString &text)
{
    return text.split(' ');
}

quint16 freePort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost))
        qFatal("No free port on 127.0.0.1");
    return probe.serverPort();
}

const passwd *serverUser(const char *name)
{
    if (geteuid() != 0)
        return nullptr;
    const passwd *user = getpwnam(name);
    return user ? user : getpwnam("nobody");
}

QStringList asUser(const passwd *user, const QString &signal)
{
    // The signal is asked for behind the change of user, which would clear it.
    QStringList command = {"setpriv", "--pdeathsig", signal};
    if (user)
        command += {"--reuid", QString::number(user->pw_uid), "--regid",
                    QString::number(user->pw_gid), "--clear-groups"};
    return command;
}

std::unique_ptr<QTemporaryDir> serverDirectory(const passwd *user)
{
    auto directory = std::make_unique<QTemporaryDir>(QDir::tempPath() + "/lavkor-test-XXXXXX");
    const QByteArray path = directory->path().toLocal8Bit();
    if (!directory->isValid() || (user && chown(path.constData(), user->pw_uid, user->pw_gid) != 0))
        qFatal("No directory for a test server");
    return directory;
}

std::unique_ptr<QProcess> launchServer(const QStringList &command, const QString &directory,
                                       Dialect dialect, quint16 port)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessChannelMode(QProcess::MergedChannels);
    process->setWorkingDirectory(directory);
    process->setStandardOutputFile(directory + "/server.log");
    process->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process->start(command.first(), command.mid(1));
    if (!process->waitForStarted())
        qFatal("Cannot run %s", qPrintable(command.first()));
    const bool ready = QTest::qWaitFor(
        [&] { return process->state() == QProcess::NotRunning || answers(dialect, port); },
        startTimeout);
    return ready && process->state() == QProcess::Running ? std::move(process) : nullptr;
}

void giveUp(const QString &directory)
{
    qFatal("A test server does not start:\n%s", readFile(directory + "/server.log").constData());
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

void initializeMariaDbData(const QString &directory, const QString &owner)
{
    // A starting server clears its temporary tables away, and in a shared directory those of the
    // others.
    QStringList command = words("mariadb-install-db --no-defaults --skip-test-db --skip-log-bin "
                                "--auth-root-authentication-method=normal --sync-frm=OFF "
                                "--innodb-flush-method=nosync") +
                          QStringList{"--datadir=" + directory + "/data", "--tmpdir=" + directory};
    if (!owner.isEmpty())
        command += "--user=" + owner;
    runToEnd(command, directory);
    writeFile(directory + "/init.sql",
              "DELETE FROM mysql.global_priv WHERE User='';\n"
              "FLUSH PRIVILEGES;\n"
              "CREATE USER IF NOT EXISTS 'lavkor'@'%' IDENTIFIED BY 'lavkor';\n"
              "GRANT ALL PRIVILEGES ON *.* TO 'lavkor'@'%' WITH GRANT OPTION;\n"
              "CREATE USER IF NOT EXISTS 'reader'@'%' IDENTIFIED BY 'lavkor';\n"
              "GRANT ALL PRIVILEGES ON *.* TO 'reader'@'%' WITH GRANT OPTION;\n");
}

QStringList mariaDbCommand(const QString &directory, quint16 port)
{
    return words("mariadbd --no-defaults --bind-address=127.0.0.1 --skip-name-resolve "
                 "--skip-log-bin --sync-frm=OFF --performance-schema=OFF "
                 "--innodb-buffer-pool-size=64M --innodb-log-file-size=32M "
                 "--innodb-flush-method=nosync") +
           QStringList{"--datadir=" + directory + "/data", "--tmpdir=" + directory,
                       "--socket=" + directory + "/socket", "--pid-file=" + directory + "/pid",
                       "--port=" + QString::number(port)};
}

bool answers(Dialect dialect, quint16 port)
{
    QProcess process;
    return runClient(process,
                     clientCommand(dialect, dialect == Dialect::MySql ? "mysql" : "postgres", port),
                     "SELECT 'ready';") &&
           process.readAllStandardOutput() == "ready\n";
}

QString client(Dialect dialect, const QString &database, quint16 port, const QString &statements,
               const QString &repeatedWhenRefused)
{
    const QStringList command = clientCommand(dialect, database, port);
    QString fault;
    for (int tries = 0; tries < clientTries; ++tries) {
        QProcess process;
        if (runClient(process, command, repeatedWhenRefused + statements)) {
            QString output = QString::fromUtf8(process.readAllStandardOutput());
            if (output.endsWith(u'\n'))
                output.chop(1);
            return output.isNull() ? "" : output;
        }
        const QString error = QString::fromUtf8(process.readAllStandardError());
        fault = command.first() + " failed: " + process.errorString() + u' ' + error;
        if (repeatedWhenRefused.isEmpty() || !error.contains(repeatedWhenRefused.chopped(1)))
            break;
    }
    QTest::qFail(qPrintable(fault), __FILE__, __LINE__);
    return {};
}

} // namespace servertools
