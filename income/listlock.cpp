#include "income/listlock.h"

#include "db/dialect.h"
#include "db/query.h"
#include "db/transaction.h"

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
