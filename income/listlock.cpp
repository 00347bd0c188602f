#include "income/listlock.h"

#include "db/dialect.h"
#include "db/transaction.h"

namespace {

constexpr int maxTries = 3;
/// In ms; less than the lock time-out of any of the databases.
constexpr int longestWait = 4000;

} // namespace

LineTries::LineTries(const QString &connectionName)
    : m_connectionName(connectionName)
{
}

void LineTries::begin()
{
    ++m_tries;
    m_waiting.start();
}

bool LineTries::again() const
{
    // What a lost COMMIT has done must be looked up however long it took.
    return m_tries < maxTries && (!waitedLong() || lastOutcomeUnknown(m_connectionName));
}

bool LineTries::waitedLong() const
{
    return m_waiting.hasExpired(longestWait);
}

bool readLockedLines(const QString &select, QList<SqlRow> &rows, const QString &connectionName)
{
    QString suffix;
    switch (dialectOf(connectionName)) {
    case Dialect::Sqlite:
        break; // its transactions hold the only write lock anyway
    case Dialect::MySql:
        suffix = QStringLiteral(" FOR UPDATE");
        break;
    case Dialect::PostgreSql:
        // A posting locks the table and then its rows; with the rows first both would wait for
        // ever.
        if (!QueryExec(nullptr, "LOCK TABLE incomeinvoice IN ROW EXCLUSIVE MODE;", connectionName))
            return false;
        // It cannot lock a joined row, which may be missing.
        suffix = QStringLiteral(" FOR UPDATE OF incomeinvoice");
        break;
    }
    return QueryRows(nullptr, select + suffix + u';', rows, connectionName);
}

bool readLockedList(const QString &select, QList<SqlRow> &rows, const QString &connectionName)
{
    QString suffix;
    switch (dialectOf(connectionName)) {
    case Dialect::Sqlite:
        break; // its transactions hold the only write lock anyway
    case Dialect::MySql:
        // Locks the rows and, under REPEATABLE READ, the gaps where new ones would go.
        suffix = QStringLiteral(" FOR UPDATE");
        break;
    case Dialect::PostgreSql:
        if (!QueryExec(nullptr, "LOCK TABLE incomeinvoice IN SHARE ROW EXCLUSIVE MODE;",
                       connectionName))
            return false;
        break;
    }
    return QueryRows(nullptr, select + suffix + u';', rows, connectionName);
}

bool waitForListWriters(const QString &connectionName)
{
    switch (dialectOf(connectionName)) {
    case Dialect::Sqlite:
        break; // a connection is never lost there
    case Dialect::MySql:
        // FOR UPDATE would not do: a waiting INSERT has nothing yet that could be locked, and
        // once the gap is free it may come after this look.
        return QueryExec(nullptr, "LOCK TABLES incomeinvoice READ;", connectionName) &&
               QueryExec(nullptr, "UNLOCK TABLES;", connectionName);
    case Dialect::PostgreSql:
        // Locks are granted in the order in which they were asked for.
        TransactionGuard transaction(connectionName);
        return transaction.isActive() &&
               QueryExec(nullptr, "LOCK TABLE incomeinvoice IN SHARE MODE;", connectionName);
    }
    return true;
}
