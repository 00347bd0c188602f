#include "db/introspection.h"

#include "db/engine.h"
#include "db/query.h"

#include <algorithm>

DatabaseContents::DatabaseContents(const Engine &engine)
    : m_tellsCaseApart(engine.tellsCaseApart())
{
}

std::optional<DatabaseContents> DatabaseContents::read(QWidget *parent,
                                                       const QString &connectionName)
{
    const Engine &engine = Engine::of(connectionName);
    DatabaseContents contents(engine);
    const Engine::Contents statements = engine.contents();
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
    return m_tellsCaseApart ? qMakePair(table, column)
                            : qMakePair(table.toLower(), column.toLower());
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
