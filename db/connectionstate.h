#pragma once

#include <QSqlDatabase>
#include <QSqlError>
#include <QString>

/// What the query and transaction helpers remember of a connection. Internal to db/.
struct ConnectionState
{
    int idle = 0;
    bool inTransaction = false;
    bool broken = false;         ///< the open transaction can only be rolled back
    bool outcomeUnknown = false; ///< the last failure lost the connection in mid-statement
    QString lastError;
};

/// The state of a connection; made when first asked for.
ConnectionState &connectionState(const QString &connectionName);

/// Whether an error means that the connection to a server is gone. Never on SQLite, whose driver
/// reports broken constraints and busy files as connection errors.
bool isConnectionLost(const QSqlDatabase &database, const QSqlError &error);

/// Whether a statement that met a lost connection may have run all the same.
bool mayHaveRun(const QSqlDatabase &database, const QSqlError &error);

/// Whether the database has ended its transaction because of this error.
bool endsTransaction(const QSqlDatabase &database, const QSqlError &error);

/// Shows a statement to the observer, if there is one; returns what is to be run.
QString observeStatement(const QString &sqlText, const QString &connectionName);
