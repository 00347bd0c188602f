#include "db/translator.h"

#include <QRegularExpression>
#include <QStringList>

namespace {

/// Copies the statement with names in double quotes and ILIKE; literals are copied as they are.
/// A doubled quote inside a literal reads as two literals side by side, which copies the same.
QString inPostgreSqlWords(const QString &sqlText)
{
    QString out;
    out.reserve(sqlText.size() + 16);
    const qsizetype size = sqlText.size();
    qsizetype i = 0;
    while (i < size) {
        const QChar c = sqlText.at(i);
        if (c == u'\'' || c == u'"') {
            qsizetype end = sqlText.indexOf(c, i + 1);
            end = end < 0 ? size - 1 : end;
            out += QStringView(sqlText).mid(i, end - i + 1);
            i = end + 1;
        } else if (c == u'`') {
            out += u'"';
            ++i;
        } else if (c.isLetter() || c == u'_') {
            qsizetype end = i + 1;
            while (end < size && (sqlText.at(end).isLetterOrNumber() || sqlText.at(end) == u'_'))
                ++end;
            const QStringView word = QStringView(sqlText).mid(i, end - i);
            if (word.compare(QLatin1String("LIKE"), Qt::CaseInsensitive) == 0)
                out += QLatin1String("ILIKE");
            else
                out += word;
            i = end;
        } else {
            out += c;
            ++i;
        }
    }
    return out;
}

QString withoutEnd(const QString &sqlText)
{
    QString trimmed = sqlText.trimmed();
    while (trimmed.endsWith(u';'))
        trimmed = trimmed.chopped(1).trimmed();
    return trimmed;
}

/// "INTO t(id,a,b) VALUES …" -> "ON CONFLICT (id) DO UPDATE SET a=EXCLUDED.a, b=EXCLUDED.b".
QString conflictUpdate(const QString &statement)
{
    const qsizetype open = statement.indexOf(u'(');
    const qsizetype close = statement.indexOf(u')', open);
    const QStringList columns = statement.mid(open + 1, close - open - 1).split(u',');
    QStringList assignments;
    for (qsizetype i = 1; i < columns.size(); ++i) {
        const QString column = columns.at(i).trimmed();
        assignments += column + QStringLiteral("=EXCLUDED.") + column;
    }
    return QStringLiteral(" ON CONFLICT (") + columns.first().trimmed() + u')' +
           (assignments.isEmpty()
                ? QStringLiteral(" DO NOTHING")
                : QStringLiteral(" DO UPDATE SET ") + assignments.join(QStringLiteral(", ")));
}

} // namespace

qsizetype endOfInsertOrIgnore(const QString &sqlText)
{
    static const QRegularExpression insertOrIgnore(
        QStringLiteral("^\\s*INSERT\\s+OR\\s+IGNORE\\s+INTO\\b"),
        QRegularExpression::CaseInsensitiveOption);
    return insertOrIgnore.match(sqlText).capturedEnd();
}

QString toPostgreSql(const QString &sqlText)
{
    static const QRegularExpression replaceInto(QStringLiteral("^\\s*REPLACE\\s+INTO\\b"),
                                                QRegularExpression::CaseInsensitiveOption);
    if (const qsizetype end = endOfInsertOrIgnore(sqlText); end >= 0)
        return QStringLiteral("INSERT INTO ") + inPostgreSqlWords(withoutEnd(sqlText.mid(end))) +
               QStringLiteral(" ON CONFLICT DO NOTHING;");
    if (const qsizetype end = replaceInto.match(sqlText).capturedEnd(); end >= 0) {
        const QString rest = inPostgreSqlWords(withoutEnd(sqlText.mid(end)));
        return QStringLiteral("INSERT INTO ") + rest + conflictUpdate(rest) + u';';
    }
    return inPostgreSqlWords(sqlText);
}
