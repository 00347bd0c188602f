#include "widgets/pagedselect.h"

#include "db/engine.h"
#include "db/sqltext.h"

namespace {

QString allOf(const QStringList &conditions)
{
    QStringList present = conditions;
    present.removeAll(QString());
    return present.isEmpty() ? QString() : QStringLiteral(" WHERE ") + present.join(" AND ");
}

} // namespace

PageStatements::PageStatements(const PagedSelect &list, const Engine &engine)
    : m_list(list),
      m_engine(engine)
{
}

QString PageStatements::id() const
{
    return u'`' + m_list.table + QStringLiteral("`.`id`");
}

QString PageStatements::text() const
{
    return u'`' + (m_list.orderTable.isEmpty() ? m_list.table : m_list.orderTable) +
           QStringLiteral("`.`") + m_list.order + u'`';
}

/// The tables that id and text are in, with the rows for which the conditions hold.
QString PageStatements::from(QStringList conditions, bool beginWithOrder) const
{
    if (m_list.orderTable.isEmpty())
        return " FROM " + m_list.table + allOf(conditions);
    conditions += ' ' + m_list.link;
    const QString &first = beginWithOrder ? m_list.orderTable : m_list.table;
    const QString &second = beginWithOrder ? m_list.table : m_list.orderTable;
    return " FROM " + first + m_engine.joinInOrder() + second + allOf(conditions);
}

/// As two comparisons of the text: the first one is the range that an index knows.
QString PageStatements::behind(const ListPosition &position, const Text &last) const
{
    const QString laterId = id() + '>' + sql::id(position.id);
    if (position.nulls)
        return text() + " IS NULL AND " + laterId;
    QString condition = text() + " IS NOT NULL";
    if (position.text) {
        const QString value =
            position.unwritable
                ? "(SELECT " + text() + from({id() + '=' + sql::id(position.id)}, false) + ')'
                : sql::text(*position.text);
        condition = text() + '>' + value;
        if (!position.behindEqual)
            condition = text() + ">=" + value + " AND (" + condition + " OR " + laterId + ')';
    }
    return last ? condition + " AND " + text() + "<=" + sql::text(*last) : condition;
}

QString PageStatements::ordered(qsizetype limit) const
{
    return " ORDER BY " + text() + ", " + id() + " LIMIT " + sql::integer(limit);
}

/// The first ids of each part: an index gives them in order without a look at the rows.
QString PageStatements::ids(const QString &condition, qsizetype limit, bool beginWithOrder) const
{
    QStringList parts;
    for (const QString &part : m_list.parts) {
        parts += "SELECT id FROM (SELECT " + id() + from({part, condition}, beginWithOrder) +
                 ordered(limit) + ") AS part" + sql::integer(parts.size());
    }
    // In a table of their own, or MariaDB runs them for every row.
    return id() + " IN (SELECT id FROM (" + parts.join(" UNION ALL ") + ") AS page)";
}

QString PageStatements::page(const ListPosition &position, const Text &last, qsizetype limit) const
{
    QStringList conditions = m_list.conditions;
    conditions += ' ' + ids(behind(position, last), limit, m_list.beginsWithOrder);
    return m_list.select + " WHERE" + conditions.join(" AND") + ordered(limit) + ';';
}

QString PageStatements::keys(const ListPosition &position, const Text &last, qsizetype limit) const
{
    const QString where = behind(position, last);
    return "SELECT " + id() + ", " + text() +
           (m_list.parts.size() == 1 ? from({m_list.parts.first(), where}, m_list.beginsWithOrder)
                                     : from({ids(where, limit, m_list.beginsWithOrder)}, false)) +
           ordered(limit) + ';';
}

QString PageStatements::highestId() const
{
    return "SELECT MAX(" + id() + ") FROM " + m_list.table + ';';
}

QString PageStatements::textsOf(const QList<qulonglong> &ids) const
{
    QStringList conditions = {among(ids), text() + " IS NOT NULL"};
    if (m_list.start && m_list.start->text)
        conditions += text() + ">=" + sql::text(*m_list.start->text);
    return "SELECT " + text() + from(conditions, false) + " ORDER BY " + text() + ';';
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
    return id() + " IN (" + texts.join(',') + ')';
}

QString PageStatements::find(qulonglong id, const ListPosition &position, bool othersFollow) const
{
    QString where = behind(position, {});
    if (othersFollow)
        where += " OR " + text() + (position.nulls ? " IS NOT NULL" : " IS NULL");
    return "SELECT " + this->id() + " FROM " + m_list.table + " WHERE " +
           ids(this->id() + '=' + sql::id(id) + " AND (" + where + ')', 1, false) + ';';
}
