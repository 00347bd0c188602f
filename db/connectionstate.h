#pragma once

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

/// Asks whether to try again to reach a connection; false when the user gives it up, or has done so
/// before in the same command.
bool askToReconnect(QWidget *parent, const QString &connectionName, const QString &error);

/// Whether the box for this cause is to be shown: once a command, and always outside of one.
bool shallTell(ConnectionState &state, FailureCause cause);

/// Shows a statement to the observer, if there is one; returns what is to be run.
QString observeStatement(const QString &sqlText, const QString &connectionName);
