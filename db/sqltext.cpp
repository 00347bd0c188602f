#include "db/sqltext.h"

#include <QDateTime>
#include <QLocale>

namespace sql {

QString text(const QString &value)
{
    QString quoted;
    quoted.reserve(value.size() + 2);
    quoted += u'\'';
    for (const QChar c : value) {
        if (c.isNull())
            continue;
        if (c == u'\'')
            quoted += u'\'';
        quoted += c;
    }
    quoted += u'\'';
    return quoted;
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
    QString pattern;
    pattern.reserve(value.size() + 2);
    pattern += u'%';
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
