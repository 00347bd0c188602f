#include "catalogue/articlestore.h"

#include "db/query.h"
#include "db/sqltext.h"

#include <QStringList>

namespace {

const QString columnList =
    QStringLiteral("orderenabled, wareid, supplierid, ratio, orderquantity, step, name, incost, "
                   "itime, timestamp");

/// A row of the columns of the list, from the given one on.
Article articleOf(qulonglong id, const SqlRow &row, int first)
{
    return {.id = id,
            .orderenabled = row.at(first).toInt(),
            .wareid = row.at(first + 1).toULongLong(),
            .supplierid = row.at(first + 2).toULongLong(),
            .ratio = row.at(first + 3).toDouble(),
            .orderquantity = row.at(first + 4).toDouble(),
            .step = row.at(first + 5).toDouble(),
            .name = row.at(first + 6).toString(),
            .incost = row.at(first + 7).toDouble(),
            .itime = row.at(first + 8).toString(),
            .timestamp = row.at(first + 9).toString()};
}

/// The values in the order of the list, in quotes. Prices of others are copied with all their
/// digits.
QStringList valuesOf(const Article &article)
{
    const auto number = [](double value) {
        return u'\'' + sql::exact(value) + u'\'';
    };
    return {u'\'' + sql::integer(article.orderenabled) + u'\'',
            sql::quotedId(article.wareid),
            sql::quotedId(article.supplierid),
            number(article.ratio),
            number(article.orderquantity),
            number(article.step),
            sql::text(article.name),
            number(article.incost),
            sql::text(article.itime),
            sql::text(article.timestamp)};
}

} // namespace

LoadState loadArticle(QWidget *parent, qulonglong id, Article &article,
                      const QString &connectionName)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT " + columnList + " FROM articles WHERE id=" + sql::quotedId(id) + u';',
                   rows, connectionName))
        return LoadState::Failed;
    if (rows.isEmpty())
        return LoadState::NotFound;
    article = articleOf(id, rows.first(), 0);
    return LoadState::Loaded;
}

bool loadArticles(QWidget *parent, std::optional<qulonglong> supplierId, QList<Article> &articles,
                  const QString &connectionName)
{
    QList<SqlRow> rows;
    if (!QueryRows(
            parent,
            "SELECT id, " + columnList + " FROM articles" +
                (supplierId ? " WHERE supplierid=" + sql::quotedId(*supplierId) : QString()) +
                " ORDER BY name;",
            rows, connectionName))
        return false;
    articles.clear();
    for (const SqlRow &row : std::as_const(rows))
        articles += articleOf(row.first().toULongLong(), row, 1);
    return true;
}

std::optional<qulonglong> insertArticle(QWidget *parent, const Article &article,
                                        const QString &connectionName)
{
    QSqlQuery query;
    if (!QueryExec(parent,
                   "INSERT INTO articles (" + columnList + ") VALUES (" +
                       valuesOf(article).join(QLatin1String(", ")) + ");",
                   query, connectionName))
        return {};
    return query.lastInsertId().toULongLong();
}

WriteState updateArticle(QWidget *parent, const Article &article, const QString &connectionName)
{
    const QStringList columns = columnList.split(QLatin1String(", "));
    const QStringList values = valuesOf(article);
    QStringList assignments;
    for (qsizetype i = 0; i < columns.size(); ++i)
        assignments += columns.at(i) + u'=' + values.at(i);
    QSqlQuery query;
    if (!QueryExec(parent,
                   "UPDATE articles SET " + assignments.join(QLatin1String(", ")) +
                       " WHERE id=" + sql::quotedId(article.id) + u';',
                   query, connectionName))
        return WriteState::Failed;
    return query.numRowsAffected() > 0 ? WriteState::Written : WriteState::NotFound;
}

LoadState findArticle(QWidget *parent, const Article &article, qulonglong &wareid,
                      const QString &connectionName)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT wareid FROM articles WHERE name=" + sql::text(article.name) +
                       " AND supplierid=" + sql::quotedId(article.supplierid) +
                       " AND id!=" + sql::quotedId(article.id) +
                       (article.wareid == 0 ? QString() : QStringLiteral(" AND wareid>0")) + u';',
                   rows, connectionName))
        return LoadState::Failed;
    if (rows.isEmpty())
        return LoadState::NotFound;
    wareid = rows.first().first().toULongLong();
    return LoadState::Loaded;
}
