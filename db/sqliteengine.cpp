#include "app/configdir.h"
#include "app/logging.h"
#include "db/connections.h"
#include "db/engine.h"
#include "db/sqlitefunctions.h"

#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <sqlite3.h>

namespace {

// clang-format off
/// Extended codes come before the primary code in their lower byte.
constexpr NumberedCause causes[] = {
    {4874, FailureCause::DiskFull}, // no room for the index of the write-ahead log
    {3, FailureCause::NoRight},    {5, FailureCause::Locked},     {6, FailureCause::Locked},
    {8, FailureCause::ReadOnly},   {10, FailureCause::DiskFault}, {11, FailureCause::Damaged},
    {13, FailureCause::DiskFull},  {14, FailureCause::CannotOpen}, {23, FailureCause::NoRight},
    {26, FailureCause::Damaged},
};
// clang-format on

class SqliteEngine final : public Engine
{
    Q_DECLARE_TR_FUNCTIONS(SqliteEngine)

public:
    QString driver() const override
    {
        return QStringLiteral("QSQLITE");
    }

    bool isFile() const override
    {
        return true;
    }

    void configure(QSqlDatabase &database, const ConnectionEntry &entry) const override
    {
        ensureConfigDir();
        database.setDatabaseName(databaseFilePath(entry));
    }

    bool setUpSession(QSqlDatabase &database, QSqlError &error) const override
    {
        // A posting of thousands of lines touches pages all over the file: they must fit into the
        // cache, and its COMMIT must not copy them back at once. checkpointWhenIdle() does that.
        if (!runAll(database,
                    {QStringLiteral("PRAGMA busy_timeout=5000"),
                     QStringLiteral("PRAGMA foreign_keys=OFF"),
                     QStringLiteral("PRAGMA cache_size=-49152"),
                     QStringLiteral("PRAGMA wal_autocheckpoint=16384"),
                     // Is it a database at all? Opening alone does not look into the file.
                     QStringLiteral("SELECT COUNT(*) FROM sqlite_master")},
                    error))
            return false;
        // No statement may be active while functions are registered.
        if (!registerSqliteFunctions(database)) {
            error = QSqlError(tr("Функции SQLite недоступны."), {}, QSqlError::UnknownError);
            return false;
        }
        // A read-only file, or one that another program holds, can be used without it.
        QSqlQuery journal(database);
        if (!journal.exec(QStringLiteral("PRAGMA journal_mode=WAL")))
            debugLog(QStringLiteral("No write-ahead log: ") + journal.lastError().text());
        return true;
    }

    QString idleStatement() const override
    {
        // Other stations are not waited for: what they still read stays in the log until later.
        return QStringLiteral("PRAGMA wal_checkpoint(PASSIVE)");
    }

    FailureCause causeOf(const QSqlError &error) const override
    {
        constexpr int primaryCode = 0xff;
        const int code = error.nativeErrorCode().toInt();
        const FailureCause exact = causeOfNumber(causes, code);
        return exact == FailureCause::Other ? causeOfNumber(causes, code & primaryCode) : exact;
    }

    bool isConnectionLost(const QSqlDatabase &, const QSqlError &) const override
    {
        return false; // though the driver reports broken constraints and busy files as such
    }

    bool mayHaveRun(const QSqlError &) const override
    {
        return false;
    }

    bool endsTransaction(const QSqlDatabase &database, const QSqlError &) const override
    {
        const QVariant handle = database.driver()->handle();
        if (qstrcmp(handle.typeName(), "sqlite3*") != 0)
            return true;
        auto *sqlite = *static_cast<sqlite3 *const *>(handle.constData());
        return !sqlite || sqlite3_get_autocommit(sqlite) != 0;
    }

    bool runWord(QSqlDatabase &database, const QString &word, QSqlError &error) const override
    {
        // Its own BEGIN would take the write lock too late.
        return runAll(database,
                      {word == QLatin1String("BEGIN") ? QStringLiteral("BEGIN IMMEDIATE") : word},
                      error);
    }

    bool endsBrokenTransaction() const override
    {
        return true;
    }

    // No locks: a transaction holds the only write lock anyway.

    QString keyType() const override
    {
        return QStringLiteral("INTEGER PRIMARY KEY AUTOINCREMENT");
    }

    QString column(const QString &declaration) const override
    {
        return declaration;
    }

    Contents contents() const override
    {
        return {"SELECT name, '' FROM sqlite_master WHERE type='table' AND "
                "substr(name,1,7)<>'sqlite_';",
                "SELECT t.name, c.name FROM sqlite_master AS t JOIN pragma_table_info(t.name) AS c "
                "WHERE t.type='table';",
                "SELECT t.name, (SELECT group_concat(c.name) FROM pragma_index_info(i.name) AS c) "
                "FROM sqlite_master AS t JOIN pragma_index_list(t.name) AS i "
                "WHERE t.type='table' AND i.partial=0;"};
    }

    QString tableProbe(const QString &table) const override
    {
        return "PRAGMA table_info(" + table + ");";
    }

    QString unhurried(bool on) const override
    {
        return on ? QStringLiteral("PRAGMA synchronous=NORMAL;")
                  : QStringLiteral("PRAGMA synchronous=FULL;");
    }
};

} // namespace

const Engine &sqliteEngine()
{
    static const SqliteEngine engine;
    return engine;
}
