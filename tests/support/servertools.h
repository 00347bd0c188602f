#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include "db/dialect.h"

/// What the private servers of the tests have in common. A tool that fails ends the test program.
namespace servertools {

inline const QString userName = QStringLiteral("lavkor");
inline const QString password = QStringLiteral("lavkor");
inline const QString readerName =
    QStringLiteral("reader"); ///< MariaDB's client, spared by killClients()

/// A port of 127.0.0.1 that nobody listens on.
quint16 freePort();

void writeFile(const QString &path, const QByteArray &content);

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
QString client(Dialect dialect, const QString &database, quint16 port, const QString &statements);

} // namespace servertools
