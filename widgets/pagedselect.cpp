#include "widgets/pagedselect.h"

#include "db/sqltext.h"

namespace {

QString allOf(const QStringList &conditions)
{
    QStringList present = conditions;
    present.removeAll(QString());
    return present.isEmpty() ? QString() : QStringLiteral(" WHERE ") + present.join(" AND ");
}

} // namespace

PageStatements::PageStatements(const PagedSelect &list)
    : m_list(list)
{
}

QString PageStatements::column(const QString &name) const
{
    return u'`' + m_list.table + QStringLiteral("`.`") + name + u'`';
}

/// As two comparisons of the text: the first one is the range that an index knows.
QString PageStatements::behind(const ListPosition &position, const Text &last) const
{
    const QString text = column(m_list.order);
    const QString laterId = column("id") + '>' + sql::id(position.id);
    if (position.nulls)
        return text + " IS NULL AND " + laterId;
    QString condition = text + " IS NOT NULL";
    if (position.text) {
        const QString value = position.unwritable
                                  ? "(SELECT " + text + " FROM " + m_list.table + " WHERE " +
                                        column("id") + '=' + sql::id(position.id) + ')'
                                  : sql::text(*position.text);
        condition = text + '>' + value;
        if (!position.behindEqual)
            condition = text + ">=" + value + " AND (" + condition + " OR " + laterId + ')';
    }
    return last ? condition + " AND " + text + "<=" + sql::text(*last) : condition;
}

QString PageStatements::ordered(qsizetype limit) const
{
    return " ORDER BY " + column(m_list.order) + ", " + column("id") + " LIMIT " +
           sql::integer(limit);
}

/// The first ids of each part: an index gives them in order without a look at the rows.
QString PageStatements::ids(const QString &condition, qsizetype limit) const
{
    QStringList parts;
    for (const QString &part : m_list.parts) {
        parts += "SELECT id FROM (SELECT " + column("id") + " FROM " + m_list.table +
                 allOf({part, condition}) + ordered(limit) + ") AS part" +
                 sql::integer(parts.size());
    }
    // In a table of their own, or MariaDB runs them for every row.
    return column("id") + " IN (SELECT id FROM (" + parts.join(" UNION ALL ") + ") AS page)";
}

QString PageStatements::page(const ListPosition &position, const Text &last, qsizetype limit) const
{
    QStringList conditions = m_list.conditions;
    conditions += ' ' + ids(behind(position, last), limit);
    return m_list.select + " WHERE" + conditions.join(" AND") + ordered(limit) + ';';
}

QString PageStatements::keys(const ListPosition &position, const Text &last, qsizetype limit) const
{
    const QString where = m_list.parts.size() == 1
                              ? allOf({m_list.parts.first(), behind(position, last)})
                              : allOf({ids(behind(position, last), limit)});
    return "SELECT " + column("id") + ", " + column(m_list.order) + " FROM " + m_list.table +
           where + ordered(limit) + ';';
}

QString PageStatements::highestId() const
{
    return "SELECT MAX(" + column("id") + ") FROM " + m_list.table + ';';
}

QString PageStatements::textsOf(const QList<qulonglong> &ids) const
{
    const QString text = column(m_list.order);
    return "SELECT " + text + " FROM " + m_list.table + allOf({among(ids), text + " IS NOT NULL"}) +
           " ORDER BY " + text + ';';
}

QString PageStatements::rowsOf(const QList<qulonglong> &ids) const
{
    return m_list.select + " WHERE " + among(ids) + ';';
}

QString PageStatements::among(const QList<qulonglong> &ids) const
{
    QStringList texts;
    for (const qulonglong id : ids)
        texts += sql::id(id);
    return column("id") + " IN (" + texts.join(',') + ')';
}

QString PageStatements::find(qulonglong id, const ListPosition &position, bool othersFollow) const
{
    QString where = behind(position, {});
    if (othersFollow)
        where += " OR " + column(m_list.order) + (position.nulls ? " IS NOT NULL" : " IS NULL");
    return "SELECT " + column("id") + " FROM " + m_list.table + " WHERE " +
           ids(column("id") + '=' + sql::id(id) + " AND (" + where + ')', 1) + ';';
}
