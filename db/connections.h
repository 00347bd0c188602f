#pragma once

#include <QString>

class QWidget;
struct ConnectionEntry;

/// Connection names of Qt SQL.
inline const QString mainConnection = QStringLiteral("default");
inline const QString friendConnection = QStringLiteral("friend"); ///< the reference database

/// A failure as it is told to the user.
struct DatabaseFailure
{
    QString text;         ///< what happened and what to do
    QString details = {}; ///< the database's own words, where the text is not theirs
    bool general = false; ///< it is not about one row: the next ones would fare no better

    /// The database's own words, as they stand in the log.
    const QString &words() const
    {
        return details.isEmpty() ? text : details;
    }
};

/// One command of the user, from the slot that starts it to its end. Within it a connection that
/// cannot be had is asked about once: after "Отмена" neither a question nor an attempt to open it
/// follows, its statements fail at once. So do the boxes about locks, rights and disks come once.
/// Scopes inside belong to the same command, except in a dialog opened meanwhile: what is started
/// there is a command of its own.
class CommandScope
{
public:
    CommandScope();
    ~CommandScope();
    CommandScope(const CommandScope &) = delete;
    CommandScope &operator=(const CommandScope &) = delete;
};

/// Adds a connection as its settings entry describes, replacing one of the same name, and opens
/// it. A failure is shown over the parent (may be null) as "Ошибка создания соединения: …" and
/// returns false; the connection is gone then.
bool createConnection(QWidget *parent, const ConnectionEntry &entry, const QString &connectionName);

/// The file of an SQLite entry: a name without "/" lies in the configuration directory.
QString databaseFilePath(const ConnectionEntry &entry);

/// Whether the entry names an SQLite file that is not there; opening it would make an empty one.
bool isDatabaseFileMissing(const ConnectionEntry &entry);

/// Why the file of an SQLite entry cannot be created or written, in words for the user; empty when
/// nothing stands in the way.
QString databaseFileFault(const ConnectionEntry &entry);

/// Why nothing can be written to the open database of an SQLite entry; no text when it can, or when
/// that is not known because another program holds the file, and for servers.
DatabaseFailure databaseWriteFault(const ConnectionEntry &entry, const QString &connectionName);

/// Makes sure that a connection is open. While it cannot be opened, the user is asked whether to
/// try again; false when the user gives up, or at once without a parent or after giving up.
bool ensureConnectionOpen(QWidget *parent, const QString &connectionName);

/// Closes and removes a connection; queries on it must be gone.
void removeConnection(const QString &connectionName);

/// Whether createConnection() has opened a connection of this name.
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
