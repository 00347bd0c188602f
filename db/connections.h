#pragma once

#include <QString>

class QWidget;
struct ConnectionEntry;

/// Connection names of Qt SQL.
inline const QString mainConnection = QStringLiteral("default");
inline const QString friendConnection = QStringLiteral("friend"); ///< the reference database

/// Adds a connection as its settings entry describes, replacing one of the same name, and opens
/// it. A failure is shown over the parent (may be null) as "Ошибка создания соединения: …" and
/// returns false.
bool createConnection(QWidget *parent, const ConnectionEntry &entry, const QString &connectionName);

/// Whether the entry names an SQLite file that is not there; opening it would make an empty one.
bool isDatabaseFileMissing(const ConnectionEntry &entry);

/// Why the file of an SQLite entry cannot be created or written, in words for the user; empty when
/// nothing stands in the way.
QString databaseFileFault(const ConnectionEntry &entry);

/// Makes sure that a connection is open. While it cannot be opened, the user is asked whether to
/// try again; false when the user gives up, or at once without a parent.
bool ensureConnectionOpen(QWidget *parent, const QString &connectionName);

/// Closes and removes a connection; queries on it must be gone.
void removeConnection(const QString &connectionName);

/// Whether createConnection() has registered this name.
bool isConnectionRegistered(const QString &connectionName);

/// Seconds-like counter of a registered connection: countIdle() raises it by one, every statement
/// that runs on the open connection sets it to 0.
int idleCount(const QString &connectionName);
void countIdle(const QString &connectionName);

/// On SQLite: moves what was written from the log into the file, without waiting for anybody. For
/// quiet moments, since COMMIT itself leaves that work undone for a long while. Nothing elsewhere.
void checkpointWhenIdle(const QString &connectionName);

/// Opens a closed connection and runs the session set-up of its driver (busy time-out, sql_mode,
/// the LIKE that knows Cyrillic case…). Without any question. Returns whether it is open.
bool openConnection(const QString &connectionName);

/// Closes the connection; the next statement opens it again.
void closeConnection(const QString &connectionName);
