#include "db/introspection.h"

#include "db/query.h"

#include <algorithm>

namespace {

struct Statements
{
    const char *tables;
    const char *columns;
    const char *indexes;
};

Statements statementsOf(Dialect dialect)
{
    switch (dialect) {
    case Dialect::Sqlite:
        return {"SELECT name, '' FROM sqlite_master WHERE type='table' AND "
                "substr(name,1,7)<>'sqlite_';",
                "SELECT t.name, c.name FROM sqlite_master AS t JOIN pragma_table_info(t.name) AS c "
                "WHERE t.type='table';",
                "SELECT t.name, (SELECT group_concat(c.name) FROM pragma_index_info(i.name) AS c) "
                "FROM sqlite_master AS t JOIN pragma_index_list(t.name) AS i "
                "WHERE t.type='table' AND i.partial=0;"};
    case Dialect::MySql:
        return {"SELECT table_name, '' FROM information_schema.tables "
                "WHERE table_schema=DATABASE();",
                "SELECT table_name, column_name FROM information_schema.columns "
                "WHERE table_schema=DATABASE();",
                "SELECT table_name, GROUP_CONCAT(column_name ORDER BY seq_in_index) "
                "FROM information_schema.statistics WHERE table_schema=DATABASE() "
                "GROUP BY table_name, index_name;"};
    case Dialect::PostgreSql:
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
    return {};
}

} // namespace

DatabaseContents::DatabaseContents(Dialect dialect)
    : m_dialect(dialect)
{
}

std::optional<DatabaseContents> DatabaseContents::read(QWidget *parent,
                                                       const QString &connectionName)
{
    DatabaseContents contents(dialectOf(connectionName));
    const Statements statements = statementsOf(contents.m_dialect);
    if (!readNames(parent, connectionName, statements.tables, contents, contents.m_tables) ||
        !readNames(parent, connectionName, statements.columns, contents, contents.m_columns) ||
        !readNames(parent, connectionName, statements.indexes, contents, contents.m_indexes))
        return std::nullopt;
    return contents;
}

bool DatabaseContents::readNames(QWidget *parent, const QString &connectionName,
                                 const QString &statement, const DatabaseContents &contents,
                                 Names &names)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, statement, rows, connectionName))
        return false;
    for (const SqlRow &row : std::as_const(rows))
        names.insert(contents.folded(row.at(0).toString(), row.at(1).toString()));
    return true;
}

QPair<QString, QString> DatabaseContents::folded(const QString &table, const QString &column) const
{
    // PostgreSQL tells "Groups" from "groups"; the others do not, or not on every machine.
    if (m_dialect == Dialect::PostgreSql)
        return {table, column};
    return {table.toLower(), column.toLower()};
}

QStringList DatabaseContents::tables() const
{
    QStringList names;
    for (const auto &[table, none] : m_tables)
        names += table;
    return names;
}

bool DatabaseContents::hasTable(const QString &table) const
{
    return m_tables.contains(folded(table, ""));
}

bool DatabaseContents::hasColumn(const QString &table, const QString &column) const
{
    return m_columns.contains(folded(table, column));
}

bool DatabaseContents::hasIndexOn(const QString &table, const QString &columns) const
{
    const auto wanted = folded(table, columns);
    return std::any_of(m_indexes.begin(), m_indexes.end(), [&](const auto &index) {
        return index.first == wanted.first &&
               (index.second == wanted.second || index.second.startsWith(wanted.second + u','));
    });
}
