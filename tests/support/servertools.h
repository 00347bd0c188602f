#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

#include <pwd.h>

#include "tests/support/dialect.h"

/// What the private servers of the tests have in common. A tool that fails ends the test program.
namespace servertools {

inline const QString userName = QStringLiteral("lavkor");
inline const QString password = QStringLiteral("lavkor");
inline const QString readerName =
    QStringLiteral("reader"); ///< MariaDB's client, spared by killClients()

/// The words of a command line without blanks in them.
QStringList words(const QString &text);

/// A port of 127.0.0.1 that nobody listens on.
quint16 freePort();

/// The user for a server whose programs refuse root; nullptr when the tests do not run as root.
const passwd *serverUser(const char *name);

/// What goes in front of a command that runs as that user and gets a signal when this program ends.
QStringList asUser(const passwd *user, const QString &signal);

/// A directory for a server's data, which belongs to that user.
std::unique_ptr<QTemporaryDir> serverDirectory(const passwd *user);

/// Starts a server, its log in directory/server.log, and waits until it answers. Gives nothing back
/// when it does not.
std::unique_ptr<QProcess> launchServer(const QStringList &command, const QString &directory,
                                       Dialect dialect, quint16 port);

/// Ends the program with the log of a server that does not start.
[[noreturn]] void giveUp(const QString &directory);

/// Runs a command until it has succeeded.
void runToEnd(const QStringList &command, const QString &workingDirectory);

/// Makes directory/data and directory/init.sql, whose statements create the users of the tests;
/// with a user name (for root) the data belong to it.
void initializeMariaDbData(const QString &directory, const QString &owner);

/// The command line of a server on that directory.
QStringList mariaDbCommand(const QString &directory, quint16 port);

/// Whether a server answers to the tests' users by now.
bool answers(Dialect dialect, quint16 port);

/// Runs statements with the database's own command-line client; see TestServers::client().
/// A first statement that is given apart is sent again when it is refused.
QString client(Dialect dialect, const QString &database, quint16 port, const QString &statements,
               const QString &repeatedWhenRefused = {});

} // namespace servertools
