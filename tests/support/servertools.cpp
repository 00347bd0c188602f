#include "tests/support/servertools.h"

#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTcpServer>
#include <QTest>

#include <pwd.h>
#include <unistd.h>

namespace {

constexpr int clientTimeout = 120'000;

QStringList clientCommand(Dialect dialect, const QString &database, quint16 port)
{
    using namespace servertools;
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

/// False when the client did not come to a good end.
bool runClient(QProcess &process, const QStringList &command, const QString &statements)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PGPASSWORD"), servertools::password);
    environment.insert(QStringLiteral("PGCLIENTENCODING"), QStringLiteral("UTF8"));
    process.setProcessEnvironment(environment);
    process.start(command.first(), command.mid(1));
    process.write((statements + u'\n').toUtf8());
    process.closeWriteChannel();
    return process.waitForFinished(clientTimeout) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

} // namespace

namespace servertools {

quint16 freePort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost))
        qFatal("No free port on 127.0.0.1");
    return probe.serverPort();
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

void initializeMariaDbData(const QString &directory, const QString &owner)
{
    QStringList command = {QStringLiteral("mariadb-install-db"), QStringLiteral("--no-defaults"),
                           QStringLiteral("--datadir=") + directory + QStringLiteral("/data"),
                           // A starting server clears its temporary tables away, and in a shared
                           // directory those of the others.
                           QStringLiteral("--tmpdir=") + directory,
                           QStringLiteral("--auth-root-authentication-method=normal"),
                           QStringLiteral("--skip-test-db"), QStringLiteral("--skip-log-bin"),
                           QStringLiteral("--sync-frm=OFF"),
                           QStringLiteral("--innodb-flush-method=nosync")};
    if (!owner.isEmpty())
        command += QStringLiteral("--user=") + owner;
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
    return {QStringLiteral("mariadbd"),
            QStringLiteral("--no-defaults"),
            QStringLiteral("--datadir=") + directory + QStringLiteral("/data"),
            QStringLiteral("--tmpdir=") + directory,
            QStringLiteral("--socket=") + directory + QStringLiteral("/socket"),
            QStringLiteral("--pid-file=") + directory + QStringLiteral("/pid"),
            QStringLiteral("--bind-address=127.0.0.1"),
            QStringLiteral("--port=%1").arg(port),
            QStringLiteral("--skip-name-resolve"),
            QStringLiteral("--skip-log-bin"),
            QStringLiteral("--sync-frm=OFF"),
            QStringLiteral("--performance-schema=OFF"),
            QStringLiteral("--innodb-buffer-pool-size=64M"),
            QStringLiteral("--innodb-log-file-size=32M"),
            QStringLiteral("--innodb-flush-method=nosync")};
}

bool answers(Dialect dialect, quint16 port)
{
    QProcess process;
    return runClient(process,
                     clientCommand(dialect,
                                   dialect == Dialect::MySql ? QStringLiteral("mysql")
                                                             : QStringLiteral("postgres"),
                                   port),
                     QStringLiteral("SELECT 'ready';")) &&
           process.readAllStandardOutput() == "ready\n";
}

QString client(Dialect dialect, const QString &database, quint16 port, const QString &statements)
{
    const QStringList command = clientCommand(dialect, database, port);
    QProcess process;
    if (!runClient(process, command, statements)) {
        QTest::qFail(qPrintable(command.first() + QStringLiteral(" failed: ") +
                                process.errorString() + u' ' +
                                QString::fromUtf8(process.readAllStandardError())),
                     __FILE__, __LINE__);
        return {};
    }
    QString output = QString::fromUtf8(process.readAllStandardOutput());
    if (output.endsWith(u'\n'))
        output.chop(1);
    return output.isNull() ? QStringLiteral("") : output;
}

} // namespace servertools
