#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <span>

class Engine;

/// The tables, columns and indexes of the suite's shared database as data. Internal to db/.

/// One table: its key column and the list of columns behind it, as every program of the suite
/// declares them. Names, order and types are a contract with the other programs.
struct TableDescription
{
    const char *name;
    bool backquoted; ///< the name stands in backquotes in the CREATE statement
    const char *key;
    const char *columns;
};

/// A column that came after the tables; it stands behind the listed ones.
struct ColumnAddition
{
    const char *table;
    const char *name;
    const char *type;
};

/// An index on one or more columns.
struct IndexDescription
{
    const char *table;
    const char *columns; ///< a star behind those of type TEXT, which need a prefix length on MySQL
};

/// The tables in the order of their creation, `dbversion` first.
std::span<const TableDescription> schemaTables();

/// Tables that came later; the other programs of the suite do not need them.
std::span<const TableDescription> laterTables();

std::span<const ColumnAddition> laterColumns();

std::span<const IndexDescription> schemaIndexes();

/// The names of the columns.
QStringList indexedColumns(const IndexDescription &index);

/// The name of an index, the same on all databases.
QString indexName(const IndexDescription &index);

QString createTableStatement(const TableDescription &table, const Engine &engine);
QString addColumnStatement(const QString &table, const QString &declaration, const Engine &engine);

/// The declared columns of a table behind its key, each with its type.
QStringList declaredColumns(const TableDescription &table);
QString createIndexStatement(const IndexDescription &index, const Engine &engine);
