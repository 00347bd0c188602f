#pragma once

#include <QProcess>
#include <QTemporaryDir>

#include "app/settings.h"
#include "tests/support/dialect.h"

/// A private database server on a free port of 127.0.0.1, its data in a temporary directory. It
/// ends with the object, also when the test program is killed. A tool or a server that fails ends
/// the program.
class DatabaseServer
{
public:
    /// Makes the data. Where the tests run as root, the server runs as this user; nullptr: as root.
    DatabaseServer(Dialect dialect, const char *user);
    ~DatabaseServer();
    DatabaseServer(const DatabaseServer &) = delete;
    DatabaseServer &operator=(const DatabaseServer &) = delete;

    /// Starts it with more options on its command line, the first time on a free port and then on
    /// the same, and waits until it answers. One that runs is left alone.
    void start(const QStringList &options);

    /// Sends a signal and waits for the end. Does nothing when it does not run.
    void end(int signal);

    quint16 port() const;

    /// MariaDB's option that makes the users of the tests.
    QString usersOption() const;

    /// A settings entry that connects to a database as a user who may do everything.
    ConnectionEntry entry(const QString &database) const;

private:
    QStringList command(const QString &program) const;
    bool launch(const QStringList &options);

    Dialect m_dialect;
    const char *m_user;
    QTemporaryDir m_directory;
    QProcess m_process;
    quint16 m_port = 0;
};

/// A port of 127.0.0.1 that nobody listens on.
quint16 freePort();

/// The words of a command line without blanks in them.
QStringList words(const QString &text);

/// Runs statements with the database's own command-line client; see TestServers::client(). A first
/// statement that is given apart is sent again when it is refused.
QString databaseClient(Dialect dialect, const QString &database, quint16 port,
                       const QString &statements, const QString &repeatedWhenRefused = {});
