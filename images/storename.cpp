#include "images/storename.h"

#include <QStringList>

#include <algorithm>

bool isStoreName(const QString &name)
{
    constexpr qsizetype longestPart = 255; // of a file name, in bytes
    const QStringList parts = name.split(u'/');
    return std::all_of(parts.begin(), parts.end(), [](const QString &part) {
        return !part.isEmpty() && part != QLatin1String(".") && part != QLatin1String("..") &&
               part.toUtf8().size() <= longestPart && !part.contains(u'\\') &&
               std::none_of(part.begin(), part.end(),
                            [](QChar c) { return c < u' ' || c.unicode() == 0x7F; });
    });
}
