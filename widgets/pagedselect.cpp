#include "widgets/pagedselect.h"

#include "db/sqltext.h"

namespace {

QString both(const QStringList &conditions)
{
    QStringList present = conditions;
    present.removeAll(QString());
    return present.isEmpty() ? QString() : QStringLiteral(" WHERE ") + present.join(" AND ");
}

} // namespace

PageStatements::PageStatements(const PagedSelect &list, bool nullsLast)
    : m_list(list),
      m_nullsLast(nullsLast)
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
    const QString isNull = text + " IS NULL";
    const QString laterId = column("id") + '>' + sql::id(position.id);
    QString condition;
    if (position.begun && position.behindEqual)
        condition = text + '>' + sql::text(*position.text);
    else if (position.begun && position.text)
        condition = text + ">=" + sql::text(*position.text) + " AND (" + text + '>' +
                    sql::text(*position.text) + " OR " + laterId + ')';
    else if (position.begun)
        condition = m_nullsLast ? isNull + " AND " + laterId
                                : '(' + text + " IS NOT NULL OR " + laterId + ')';
    if (!last)
        return condition;
    QString upTo = text + "<=" + sql::text(*last);
    if (!m_nullsLast && (!position.begun || !position.text))
        upTo = '(' + upTo + " OR " + isNull + ')';
    return condition.isEmpty() ? upTo : condition + " AND " + upTo;
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
                 both({part, condition}) + ordered(limit) + ") AS part" +
                 sql::integer(parts.size());
    }
    return column("id") + " IN (" + parts.join(" UNION ALL ") + ')';
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
                              ? both({m_list.parts.first(), behind(position, last)})
                              : both({ids(behind(position, last), limit)});
    return "SELECT " + column("id") + ", " + column(m_list.order) + " FROM " + m_list.table +
           where + ordered(limit) + ';';
}

QString PageStatements::textBehind(const ListPosition &position, qsizetype rows) const
{
    return "SELECT " + column(m_list.order) + " FROM " + m_list.table +
           both({behind(position, {})}) + ordered(1) + " OFFSET " + sql::integer(rows) + ';';
}

QString PageStatements::rowsOf(const QList<qulonglong> &ids) const
{
    QStringList texts;
    for (const qulonglong id : ids)
        texts += sql::id(id);
    return m_list.select + " WHERE " + column("id") + " IN (" + texts.join(',') + ");";
}

QString PageStatements::find(qulonglong id, const ListPosition &position) const
{
    const QString wanted = column("id") + '=' + sql::id(id);
    const QString where = behind(position, {});
    return "SELECT " + column("id") + " FROM " + m_list.table + " WHERE " +
           ids(where.isEmpty() ? wanted : wanted + " AND " + where, 1) + ';';
}

bool PageStatements::nullsRemain(const ListPosition &position) const
{
    return m_nullsLast && position.text.has_value();
}
