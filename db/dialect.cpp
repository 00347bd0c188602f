#include "db/dialect.h"

#include <QSqlDatabase>

#include <array>

namespace {

struct DialectNames
{
    Dialect dialect;
    const char *dbtype;
    const char *driver;
};

constexpr std::array<DialectNames, 3> dialectNames{{
    {Dialect::Sqlite, "sqlite", "QSQLITE"},
    {Dialect::MySql, "mysql", "QMYSQL"},
    {Dialect::PostgreSql, "postgresql", "QPSQL"},
}};

} // namespace

std::optional<Dialect> dialectOfDbType(const QString &dbtype)
{
    for (const DialectNames &names : dialectNames) {
        if (dbtype == QLatin1String(names.dbtype))
            return names.dialect;
    }
    return std::nullopt;
}

QString driverName(Dialect dialect)
{
    for (const DialectNames &names : dialectNames) {
        if (names.dialect == dialect)
            return QString::fromLatin1(names.driver);
    }
    return {};
}

Dialect dialectOf(const QString &connectionName)
{
    const QString driver = QSqlDatabase::database(connectionName, false).driverName();
    for (const DialectNames &names : dialectNames) {
        if (driver == QLatin1String(names.driver))
            return names.dialect;
    }
    return Dialect::Sqlite;
}
