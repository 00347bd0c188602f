#include "app/logging.h"
#include "app/settings.h"
#include "db/engine.h"
#include "db/translator.h"

#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <algorithm>

namespace {

// clang-format off
constexpr NumberedCause causes[] = {
    // lock wait, deadlock, lock table full, global read lock, NOWAIT
    {1205, FailureCause::Locked}, {1213, FailureCause::Locked}, {1206, FailureCause::Locked},
    {1223, FailureCause::Locked}, {3572, FailureCause::Locked},
    // rights on the database, login, table, column, grants, routines, special rights
    {1044, FailureCause::NoRight}, {1045, FailureCause::NoRight}, {1142, FailureCause::NoRight},
    {1143, FailureCause::NoRight}, {1227, FailureCause::NoRight}, {1370, FailureCause::NoRight},
    {1698, FailureCause::NoRight},
    // table, transaction, server (also innodb_read_only)
    {1036, FailureCause::ReadOnly}, {1290, FailureCause::ReadOnly}, {1792, FailureCause::ReadOnly},
    {1836, FailureCause::ReadOnly},
    {1021, FailureCause::DiskFull}, {1114, FailureCause::DiskFull},
    // creating, opening, closing, reading, writing files; the storage engine
    {1004, FailureCause::DiskFault}, {1016, FailureCause::DiskFault}, {1017, FailureCause::DiskFault},
    {1023, FailureCause::DiskFault}, {1024, FailureCause::DiskFault}, {1026, FailureCause::DiskFault},
    {1030, FailureCause::DiskFault},
    {1033, FailureCause::Damaged}, {1034, FailureCause::Damaged}, {1035, FailureCause::Damaged},
    {1194, FailureCause::Damaged}, {1195, FailureCause::Damaged}, {1712, FailureCause::Damaged},
    {1877, FailureCause::Damaged},
    {1969, FailureCause::TimedOut}, {3024, FailureCause::TimedOut},
    // too many connections, a node outside of its cluster, a blocked host
    {1040, FailureCause::Unreachable}, {1047, FailureCause::Unreachable},
    {1129, FailureCause::Unreachable}, {1130, FailureCause::Unreachable},
    {1203, FailureCause::Unreachable},
    // A sign of four bytes beside a column of three.
    {1267, FailureCause::BadSigns}, {1271, FailureCause::BadSigns}, {3988, FailureCause::BadSigns},
};
// clang-format on

constexpr int deadlock = 1213;

template<std::size_t size>
bool isOneOf(const int (&codes)[size], int code)
{
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

/// Whether the client library itself reports it, not the server. Which one of them a broken
/// connection gets depends on the cause and on TLS.
bool isClientError(int code)
{
    return code >= 2000 && code < 3000;
}

QString tlsOptions(const ConnectionEntry &entry)
{
    const QPair<const char *, const QString &> keys[] = {{"SSL_KEY=", entry.dbclientkey},
                                                         {"SSL_CERT=", entry.dbclientcert},
                                                         {"SSL_CA=", entry.dbcacert}};
    QStringList options;
    for (const auto &[key, value] : keys) {
        if (!value.isEmpty())
            options += QLatin1String(key) + value;
    }
    return options.join(u';');
}

/// Runs a statement of the set-up, which may be repeated at will. A cluster's node now and then
/// refuses the first statement of a new session as if it were part of a refused transaction.
bool runSetup(QSqlQuery &query, const QString &statement)
{
    constexpr int maxTries = 3;
    for (int tries = 1; !query.exec(statement); ++tries) {
        if (tries == maxTries || query.lastError().nativeErrorCode().toInt() != deadlock)
            return false;
    }
    return true;
}

/// Whether the connection is as secret as its TLS keys ask for: with a server that offers no TLS
/// the client library goes on in clear text without a word.
bool isSecretEnough(const QSqlDatabase &database)
{
    if (!database.connectOptions().contains(QLatin1String("SSL_")))
        return true;
    QSqlQuery query(database);
    return runSetup(query, QStringLiteral("SHOW STATUS LIKE 'Ssl_cipher'")) && query.next() &&
           !query.value(1).toString().isEmpty();
}

/// In a cluster the node may lag behind the others: a line just added there, or the receipt that
/// this station posted before it was sent to another node, would not be seen. Reads, UPDATE and
/// DELETE wait until the node has caught up.
bool waitForCluster(QSqlDatabase &database, QSqlError &error)
{
    // A server that does not know the variable is no node of a cluster.
    QSqlQuery query(database);
    if (!runSetup(query, QStringLiteral("SHOW VARIABLES LIKE 'wsrep_on'")) || !query.next() ||
        query.value(1).toString() != QLatin1String("ON"))
        return true;
    if (runSetup(query, QStringLiteral("SET SESSION wsrep_sync_wait=3")))
        return true;
    error = query.lastError();
    return false;
}

class MySqlEngine final : public Engine
{
    Q_DECLARE_TR_FUNCTIONS(MySqlEngine)

public:
    QString driver() const override
    {
        return QStringLiteral("QMYSQL");
    }

    bool knowsTls() const override
    {
        return true;
    }

    void configure(QSqlDatabase &database, const ConnectionEntry &entry) const override
    {
        configureServer(database, entry);
        const QString options = tlsOptions(entry);
        debugLog(QStringLiteral("MySQL connect options: ") + options);
        // An unreachable server must not hold the window for minutes.
        database.setConnectOptions(
            (options.isEmpty() ? QString() : options + u';') +
            QStringLiteral("MYSQL_OPT_CONNECT_TIMEOUT=10;MYSQL_OPT_READ_TIMEOUT=120;"
                           "MYSQL_OPT_WRITE_TIMEOUT=120;"
                           // Count rows that an UPDATE met, as the other databases do.
                           "CLIENT_FOUND_ROWS=1"));
    }

    bool setUpSession(QSqlDatabase &database, QSqlError &error) const override
    {
        if (!isSecretEnough(database)) {
            error = QSqlError(tr("Сервер не шифрует соединение, хотя для него указаны ключи TLS."),
                              {}, QSqlError::UnknownError);
            return false;
        }
        // A backslash in a name must stay a backslash and must not end the text; next-key locks
        // keep other stations from adding lines to a list that is being posted.
        QSqlQuery query(database);
        for (const char *statement :
             {"SET NAMES utf8mb4",
              "SET SESSION sql_mode='STRICT_TRANS_TABLES,NO_BACKSLASH_ESCAPES,"
              "NO_ENGINE_SUBSTITUTION'",
              "SET SESSION TRANSACTION ISOLATION LEVEL REPEATABLE READ",
              "SET SESSION innodb_lock_wait_timeout=10", "SET SESSION lock_wait_timeout=10"}) {
            if (!runSetup(query, QLatin1String(statement))) {
                error = query.lastError();
                return false;
            }
        }
        // A station that has lost its power must not hold the list for ever. Only MariaDB knows it.
        runSetup(query, QStringLiteral("SET SESSION idle_transaction_timeout=180"));
        return waitForCluster(database, error);
    }

    qint64 answerLimit(const QSqlDatabase &database) const override
    {
        constexpr qint64 second = 1000;
        return numberOption(database, QStringLiteral("MYSQL_OPT_READ_TIMEOUT")) * second;
    }

    FailureCause causeOf(const QSqlError &error) const override
    {
        constexpr int wrongValue = 1366; // of a text only with the bytes at fault
        const int code = error.nativeErrorCode().toInt();
        if (code == wrongValue && error.databaseText().contains(QLatin1String("'\\x")))
            return FailureCause::BadSigns;
        return causeOfNumber(causes, code);
    }

    bool isConnectionLost(const QSqlDatabase &, const QSqlError &error) const override
    {
        // Shutting down; connection killed or timed out.
        constexpr int lostCodes[] = {1053, 1152, 1184, 1927, 4031};
        const int code = error.nativeErrorCode().toInt();
        return isClientError(code) || isOneOf(lostCodes, code);
    }

    bool mayHaveRun(const QSqlError &error) const override
    {
        // Not when there was no connection yet, or none any more, to send it through.
        constexpr int unsentCodes[] = {2002, 2003, 2005, 2006};
        const int code = error.nativeErrorCode().toInt();
        return isClientError(code) && !isOneOf(unsentCodes, code);
    }

    bool endsTransaction(const QSqlDatabase &database, const QSqlError &error) const override
    {
        // A deadlock (or a refused certification in a cluster) and a full lock table roll
        // everything back; a lock wait time-out may, depending on the server's settings.
        constexpr int endingCodes[] = {deadlock, 1205, 1206, 1047};
        return isConnectionLost(database, error) ||
               isOneOf(endingCodes, error.nativeErrorCode().toInt());
    }

    Lock rowLock(const QString &) const override
    {
        return {.end = QStringLiteral(" FOR UPDATE")};
    }

    Lock tableLock(const QString &) const override
    {
        // Locks the rows and, under REPEATABLE READ, the gaps where new ones would go.
        return {.end = QStringLiteral(" FOR UPDATE")};
    }

    QString joinInOrder() const override
    {
        // Statistics that lag behind would have it read a whole table for a few rows.
        return QStringLiteral(" STRAIGHT_JOIN ");
    }

    QString translate(const QString &sqlText) const override
    {
        const qsizetype rest = endOfInsertOrIgnore(sqlText);
        return rest < 0 ? sqlText : QStringLiteral("INSERT IGNORE INTO") + sqlText.mid(rest);
    }

    QString keyType() const override
    {
        return QStringLiteral("INTEGER PRIMARY KEY AUTO_INCREMENT");
    }

    QString tableOptions() const override
    {
        // Only InnoDB can take back a half-posted receipt.
        return QStringLiteral(" CHARACTER SET utf8 COLLATE utf8_general_ci ENGINE=InnoDB");
    }

    bool ordersTextsByIndex() const override
    {
        return false; // it knows the first signs alone
    }

    QString indexedText(const QString &column, int length) const override
    {
        return column + u'(' + QString::number(length) + u')';
    }

    Contents contents() const override
    {
        return {"SELECT table_name, '' FROM information_schema.tables "
                "WHERE table_schema=DATABASE();",
                "SELECT table_name, column_name FROM information_schema.columns "
                "WHERE table_schema=DATABASE();",
                "SELECT table_name, GROUP_CONCAT(column_name ORDER BY seq_in_index) "
                "FROM information_schema.statistics WHERE table_schema=DATABASE() "
                "GROUP BY table_name, index_name;"};
    }

    QString tableProbe(const QString &table) const override
    {
        return "SHOW TABLES LIKE '" + table + u'\'';
    }

    QString nonTransactionalTables() const override
    {
        return QStringLiteral(
            "SELECT table_name FROM information_schema.tables WHERE table_schema=DATABASE() AND "
            "table_type='BASE TABLE' AND engine<>'InnoDB' ORDER BY table_name;");
    }
};

} // namespace

const Engine &mySqlEngine()
{
    static const MySqlEngine engine;
    return engine;
}
