#include "app/settings.h"
#include "db/engine.h"
#include "db/translator.h"

#include <QSqlDatabase>
#include <QSqlError>

namespace {

struct StateCause
{
    const char *start; ///< of an SQLSTATE; the longer ones stand first
    FailureCause cause;
};

// clang-format off
constexpr StateCause causes[] = {
    {"55P03", FailureCause::Locked},    {"55006", FailureCause::Locked},
    {"40001", FailureCause::Locked},    {"40P01", FailureCause::Locked},
    {"42501", FailureCause::NoRight},   {"28", FailureCause::NoRight},
    {"25006", FailureCause::ReadOnly},  {"53100", FailureCause::DiskFull},
    {"58", FailureCause::DiskFault},    {"XX001", FailureCause::Damaged},
    {"XX002", FailureCause::Damaged},   {"57014", FailureCause::TimedOut},
    {"53300", FailureCause::Unreachable}, {"08", FailureCause::Unreachable},
    {"57P0", FailureCause::Unreachable}, {"22021", FailureCause::BadSigns},
    {"22P05", FailureCause::BadSigns},
};
// clang-format on

QString sequenceOf(const QString &table)
{
    return "pg_get_serial_sequence('" + table + "','id')";
}

/// 0 while nothing was taken from it.
QString lastValueOf(const QString &table)
{
    return "COALESCE(pg_sequence_last_value(" + sequenceOf(table) + "::regclass),0)";
}

class PostgreSqlEngine final : public Engine
{
public:
    QString driver() const override
    {
        return QStringLiteral("QPSQL");
    }

    void configure(QSqlDatabase &database, const ConnectionEntry &entry) const override
    {
        configureServer(database, entry);
        // A server that has gone without a word is given up after as long as on MySQL.
        database.setConnectOptions(
            QStringLiteral("connect_timeout=10;keepalives=1;keepalives_idle=30;"
                           "keepalives_interval=10;keepalives_count=3;"
                           "tcp_user_timeout=120000"));
    }

    bool setUpSession(QSqlDatabase &database, QSqlError &error) const override
    {
        return runAll(
            database,
            {QStringLiteral("SET standard_conforming_strings=on"),
             QStringLiteral("SET client_min_messages=warning"),
             QStringLiteral("SET lock_timeout='10s'"),
             QStringLiteral("SET statement_timeout='120s'"),
             // A station that has lost its power must not hold the list for ever.
             QStringLiteral("SET idle_in_transaction_session_timeout='180s'"),
             QStringLiteral("SET tcp_keepalives_idle=30"),
             QStringLiteral("SET tcp_keepalives_interval=10"),
             QStringLiteral("SET tcp_keepalives_count=3"),
             QStringLiteral(
                 "SET SESSION CHARACTERISTICS AS TRANSACTION ISOLATION LEVEL READ COMMITTED")},
            error);
    }

    qint64 answerLimit(const QSqlDatabase &database) const override
    {
        return numberOption(database, QStringLiteral("tcp_user_timeout"));
    }

    FailureCause causeOf(const QSqlError &error) const override
    {
        const QString code = error.nativeErrorCode();
        for (const StateCause &known : causes) {
            if (code.startsWith(QLatin1String(known.start)))
                return known.cause;
        }
        return FailureCause::Other;
    }

    bool isConnectionLost(const QSqlDatabase &database, const QSqlError &error) const override
    {
        const QString code = error.nativeErrorCode();
        return !database.isOpen() || code.startsWith(QLatin1String("08")) ||
               code.startsWith(QLatin1String("57P0"));
    }

    bool mayHaveRun(const QSqlError &error) const override
    {
        // With a state the server has refused or ended the statement itself.
        const QString code = error.nativeErrorCode();
        return code.isEmpty() || code.startsWith(QLatin1String("08"));
    }

    bool endsTransaction(const QSqlDatabase &, const QSqlError &) const override
    {
        return true;
    }

    Lock rowLock(const QString &table) const override
    {
        // Who locks the table does it before its rows; with the rows first both would wait for
        // ever. A joined row may be missing and cannot be locked.
        return {.before = "LOCK TABLE " + table + " IN ROW EXCLUSIVE MODE;",
                .end = " FOR UPDATE OF " + table};
    }

    Lock tableLock(const QString &table) const override
    {
        return {.before = "LOCK TABLE " + table + " IN SHARE ROW EXCLUSIVE MODE;"};
    }

    QString translate(const QString &sqlText) const override
    {
        return toPostgreSql(sqlText);
    }

    QString divisor(const QString &expression) const override
    {
        // It refuses the whole SELECT for one row with a zero, the others answer NULL for it.
        return "NULLIF(" + expression + ",0)";
    }

    QString decimal(const QString &column) const override
    {
        // Its REAL has 7 digits; what they stand for is not what they are worth in binary.
        return "CAST(" + column + " AS NUMERIC)";
    }

    bool sortsNullsFirst() const override
    {
        return false;
    }

    bool sameAmount(double a, double b) const override
    {
        return a == b || float(a) == float(b); // its REAL has four bytes
    }

    QString keyType() const override
    {
        return QStringLiteral("SERIAL PRIMARY KEY");
    }

    QString column(const QString &declaration) const override
    {
        QString rendered = Engine::column(declaration);
        if (rendered.endsWith(" DOUBLE"))
            rendered += " PRECISION";
        else if (rendered.endsWith(" LONGTEXT"))
            rendered.replace(" LONGTEXT", " TEXT");
        return rendered;
    }

    Contents contents() const override
    {
        return {"SELECT c.relname, '' FROM pg_catalog.pg_class c "
                "JOIN pg_catalog.pg_namespace n ON n.oid=c.relnamespace "
                "WHERE c.relkind IN ('r','p') AND pg_catalog.pg_table_is_visible(c.oid) "
                "AND n.nspname NOT IN ('pg_catalog','information_schema');",
                "SELECT c.relname, a.attname FROM pg_catalog.pg_class c "
                "JOIN pg_catalog.pg_attribute a ON a.attrelid=c.oid "
                "WHERE c.relkind IN ('r','p') AND pg_catalog.pg_table_is_visible(c.oid) "
                "AND a.attnum>0 AND NOT a.attisdropped;",
                "SELECT c.relname, (SELECT string_agg(a.attname, ',' ORDER BY k.place) "
                "FROM unnest(i.indkey) WITH ORDINALITY AS k(attnum, place) "
                "JOIN pg_catalog.pg_attribute a ON a.attrelid=i.indrelid AND a.attnum=k.attnum) "
                "FROM pg_catalog.pg_index i JOIN pg_catalog.pg_class c ON c.oid=i.indrelid "
                "WHERE pg_catalog.pg_table_is_visible(c.oid) AND i.indisvalid "
                "AND i.indpred IS NULL;"};
    }

    bool tellsCaseApart() const override
    {
        return true;
    }

    QString tableProbe(const QString &table) const override
    {
        return "SELECT to_regclass('" + table + "');";
    }

    QString unhurried(bool on) const override
    {
        return on ? QStringLiteral("SET synchronous_commit=off;")
                  : QStringLiteral("SET synchronous_commit TO DEFAULT;");
    }

    QString sequenceCheck(const QString &table) const override
    {
        return "SELECT '" + table + "' FROM \"" + table + "\" HAVING CASE WHEN " +
               "has_sequence_privilege(" + sequenceOf(table) + ",'UPDATE') THEN MAX(id)>" +
               lastValueOf(table) + " ELSE false END";
    }

    QString sequenceMove(const QString &table) const override
    {
        return "SELECT setval(" + sequenceOf(table) + ", newest) FROM (SELECT MAX(id) AS newest " +
               "FROM \"" + table + "\") AS ids WHERE newest>" + lastValueOf(table) + ';';
    }
};

} // namespace

const Engine &postgreSqlEngine()
{
    static const PostgreSqlEngine engine;
    return engine;
}
