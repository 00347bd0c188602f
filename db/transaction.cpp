#include "db/transaction.h"

#include "db/connectionstate.h"
#include "db/dialect.h"

#include <QDebug>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>

namespace {

constexpr int maxBeginTries = 3;

bool runText(QSqlDatabase &database, const QString &sqlText, QSqlError &error)
{
    QSqlQuery query(database);
    const bool done = query.exec(sqlText);
    error = query.lastError();
    return done;
}

/// Runs one transaction word: on SQLite as a statement, on the servers by the driver's own
/// function.
bool runWord(QSqlDatabase &database, const QString &word, bool (QSqlDatabase::*function)(),
             QSqlError &error)
{
    const QString observed = observeStatement(word, database.connectionName());
    if (observed != word)
        return runText(database, observed, error);
    if (dialectOf(database.connectionName()) == Dialect::Sqlite) {
        // SQLite's own BEGIN would take the write lock too late.
        return runText(database,
                       word == QLatin1String("BEGIN") ? QStringLiteral("BEGIN IMMEDIATE") : word,
                       error);
    }
    const bool done = (database.*function)();
    error = database.lastError();
    return done;
}

bool begin(QSqlDatabase &database, QSqlError &error)
{
    return runWord(database, QStringLiteral("BEGIN"), &QSqlDatabase::transaction, error);
}

bool commit(QSqlDatabase &database, QSqlError &error)
{
    return runWord(database, QStringLiteral("COMMIT"), &QSqlDatabase::commit, error);
}

bool rollback(QSqlDatabase &database, QSqlError &error)
{
    return runWord(database, QStringLiteral("ROLLBACK"), &QSqlDatabase::rollback, error);
}

} // namespace

bool transactionBegin(const QString &connectionName)
{
    ConnectionState &state = connectionState(connectionName);
    if (state.inTransaction) {
        qDebug() << "Transaction initiate failed.";
        return false;
    }
    for (int attempt = 0; attempt < maxBeginTries; ++attempt) {
        if (!openConnection(connectionName))
            break;
        QSqlDatabase database = QSqlDatabase::database(connectionName, false);
        if (!database.driver()->hasFeature(QSqlDriver::Transactions)) {
            qDebug() << "Database driver does not support transactions.";
            return false;
        }
        QSqlError error;
        if (begin(database, error)) {
            state.inTransaction = true;
            state.broken = false;
            state.outcomeUnknown = false;
            state.idle = 0;
            state.lastError.clear();
            state.cause = FailureCause::None;
            return true;
        }
        state.lastError = error.text();
        state.cause = failureCause(database, error);
        if (!isConnectionLost(database, error))
            break;
        closeConnection(connectionName); // nothing is under way yet: open it anew
    }
    qDebug() << "Transaction initiate failed.";
    return false;
}

bool transactionCommit(const QString &connectionName)
{
    ConnectionState &state = connectionState(connectionName);
    QSqlDatabase database = QSqlDatabase::database(connectionName, false);
    if (!state.inTransaction || state.broken) {
        qDebug() << "Transaction commit failed.";
        if (state.inTransaction)
            transactionRollback(connectionName);
        return false;
    }
    QSqlError error;
    const bool done = commit(database, error);
    if (done) {
        state.inTransaction = false;
        return true;
    }
    qDebug() << "Transaction commit failed.";
    state.outcomeUnknown = isConnectionLost(database, error);
    const QString text = error.text();
    const FailureCause cause = failureCause(database, error);
    const bool unknown = state.outcomeUnknown;
    transactionRollback(connectionName); // a refused COMMIT may leave the transaction open
    state.lastError = text;
    state.cause = cause;
    state.outcomeUnknown = unknown;
    return false;
}

bool transactionRollback(const QString &connectionName)
{
    ConnectionState &state = connectionState(connectionName);
    QSqlDatabase database = QSqlDatabase::database(connectionName, false);
    const bool wasBroken = state.broken;
    state.inTransaction = false;
    state.broken = false;
    QSqlError error;
    if (database.isOpen() && rollback(database, error))
        return true;
    if (wasBroken && dialectOf(connectionName) == Dialect::Sqlite)
        return true; // SQLite has rolled back by itself, there was nothing left to end
    qDebug() << "Transaction rollback failed.";
    // Whatever the connection still holds ends with it; the next statement opens it again.
    closeConnection(connectionName);
    return false;
}

bool inTransaction(const QString &connectionName)
{
    return connectionState(connectionName).inTransaction;
}

bool transactionBroken(const QString &connectionName)
{
    return connectionState(connectionName).broken;
}

TransactionGuard::TransactionGuard(const QString &connectionName)
    : m_connectionName(connectionName),
      m_active(transactionBegin(connectionName))
{
}

TransactionGuard::~TransactionGuard()
{
    rollback();
}

bool TransactionGuard::isActive() const
{
    return m_active;
}

bool TransactionGuard::commit()
{
    if (!m_active)
        return false;
    m_active = false;
    return transactionCommit(m_connectionName);
}

void TransactionGuard::rollback()
{
    if (m_active)
        transactionRollback(m_connectionName);
    m_active = false;
}
