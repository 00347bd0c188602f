#pragma once

#include <QString>

#include "db/connections.h"

/// Starts a transaction; a connection that was lost before is reopened first. On SQLite it takes
/// the write lock at once (BEGIN IMMEDIATE). False and a line on the debug channel on failure.
bool transactionBegin(const QString &connectionName = mainConnection);

/// Ends the transaction keeping its work; false when the database did not confirm it. The
/// transaction is over in any case.
bool transactionCommit(const QString &connectionName = mainConnection);

/// Ends the transaction undoing its work. False when the driver said so; a lost connection has
/// undone it by itself.
bool transactionRollback(const QString &connectionName = mainConnection);

/// Whether a transaction is open, be it still usable or broken by a failure.
bool inTransaction(const QString &connectionName = mainConnection);

/// Whether a failure has ended the open transaction on the database's side: it can only be
/// rolled back, statements are refused.
bool transactionBroken(const QString &connectionName = mainConnection);

/// A transaction that is rolled back at the end of the scope unless it was committed.
class TransactionGuard
{
public:
    explicit TransactionGuard(const QString &connectionName = mainConnection);
    ~TransactionGuard();
    TransactionGuard(const TransactionGuard &) = delete;
    TransactionGuard &operator=(const TransactionGuard &) = delete;

    /// Whether the transaction was started and is not over.
    bool isActive() const;

    bool commit();
    void rollback();

private:
    QString m_connectionName;
    bool m_active = false;
};
