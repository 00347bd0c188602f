#pragma once

#include <QSqlDatabase>
#include <QSqlError>
#include <QString>

#include <set>

#include "db/failure.h"

class QWidget;

/// What the query and transaction helpers remember of a connection. Internal to db/.
struct ConnectionState
{
    int idle = 0;
    bool inTransaction = false;
    bool broken = false;         ///< the open transaction can only be rolled back
    bool outcomeUnknown = false; ///< the last failure lost the connection in mid-statement
    QString lastError;
    FailureCause cause = FailureCause::None; ///< of lastError
    // Within a command of the user, see CommandScope:
    QString givenUp = {};             ///< why; the user does not want to wait for the connection
    std::set<FailureCause> told = {}; ///< causes that have had their box
};

/// The state of a connection; made when first asked for.
ConnectionState &connectionState(const QString &connectionName);

/// Whether an error means that the connection to a server is gone. Never on SQLite, whose driver
/// reports broken constraints and busy files as connection errors.
bool isConnectionLost(const QSqlDatabase &database, const QSqlError &error);

/// The cause of an error on a connection, a lost connection included.
FailureCause failureCause(const QSqlDatabase &database, const QSqlError &error);

/// Asks whether to try again to reach a connection; false when the user gives it up, or has done so
/// before in the same command.
bool askToReconnect(QWidget *parent, const QString &connectionName, const QString &error);

/// Whether the box for this cause is to be shown: once a command, and always outside of one.
bool shallTell(ConnectionState &state, FailureCause cause);

/// How long an answer may take before the client or the server's host gives the connection up, as
/// its options say, in milliseconds; 0: as long as it likes.
qint64 answerLimit(const QSqlDatabase &database);

/// Whether a statement that met a lost connection may have run all the same.
bool mayHaveRun(const QSqlDatabase &database, const QSqlError &error);

/// Whether the database has ended its transaction because of this error.
bool endsTransaction(const QSqlDatabase &database, const QSqlError &error);

/// Shows a statement to the observer, if there is one; returns what is to be run.
QString observeStatement(const QString &sqlText, const QString &connectionName);
