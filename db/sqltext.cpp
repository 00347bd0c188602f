#include "db/sqltext.h"

#include <QDateTime>
#include <QLocale>

namespace sql {

QString storable(const QString &value)
{
    QString kept;
    kept.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value.at(i);
        const bool isPair =
            c.isHighSurrogate() && i + 1 < value.size() && value.at(i + 1).isLowSurrogate();
        // Half a character would be read together with what follows it, be it the closing quote.
        if (c.isNull() || (c.isSurrogate() && !isPair))
            continue;
        kept += c;
        if (isPair)
            kept += value.at(++i);
    }
    return kept;
}

QString text(const QString &value)
{
    return u'\'' + storable(value).replace(u'\'', QLatin1String("''")) + u'\'';
}

QString number(double value)
{
    // QString::number always writes the decimal point of the C locale.
    return QString::number(value, 'g', 6);
}

QString exact(double value)
{
    if (value == 0.0)
        return QStringLiteral("0"); // never "-0"
    return QString::number(value, 'f', QLocale::FloatingPointShortest);
}

QString id(qulonglong value)
{
    return QString::number(value);
}

QString quotedId(qulonglong value)
{
    return u'\'' + id(value) + u'\'';
}

QStringList idLists(const QList<qulonglong> &ids)
{
    constexpr qsizetype idsPerStatement = 1000; // its length is limited
    QStringList lists;
    for (qsizetype first = 0; first < ids.size(); first += idsPerStatement) {
        QStringList texts;
        for (const qulonglong one : ids.mid(first, idsPerStatement))
            texts += id(one);
        lists += texts.join(u',');
    }
    return lists;
}

QString integer(qlonglong value)
{
    return QString::number(value);
}

QString now()
{
    return text(currentTimestamp());
}

QString containing(const QString &value)
{
    return QStringLiteral("'%") + beginning(value).mid(1);
}

QString beginning(const QString &value)
{
    QString pattern;
    pattern.reserve(value.size() + 1);
    for (const QChar c : value) {
        if (c == u'%' || c == u'_' || c == u'!')
            pattern += u'!';
        pattern += c;
    }
    pattern += u'%';
    return text(pattern) + QStringLiteral(" ESCAPE '!'");
}

} // namespace sql

QString currentTimestamp()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}
