#pragma once

#include <QString>

#include <optional>

/// The three kinds of database.
enum class Dialect { Sqlite, MySql, PostgreSql };

/// The dialect of a settings "dbtype" ("sqlite", "mysql", "postgresql"; case-sensitive).
std::optional<Dialect> dialectOfDbType(const QString &dbtype);

/// The Qt SQL driver of a dialect: "QSQLITE", "QMYSQL" or "QPSQL".
QString driverName(Dialect dialect);

/// The dialect of an added connection; SQLite when there is no such connection.
Dialect dialectOf(const QString &connectionName);
