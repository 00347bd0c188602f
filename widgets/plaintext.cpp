#include "widgets/plaintext.h"

namespace {

constexpr int longestName = 240;
constexpr int longestWord = 24;

} // namespace

QString breakable(const QString &name)
{
    const QString plain = name.simplified();
    QString result;
    int word = 0;
    for (const QChar c : plain.left(longestName)) {
        result += c;
        word = c.isSpace() ? 0 : word + 1;
        if (word >= longestWord && !c.isHighSurrogate()) {
            result += QChar(0x200B);
            word = 0;
        }
    }
    return plain.size() > longestName ? result + QChar(0x2026) : result;
}

QString plainToolTip(const QString &text)
{
    return QStringLiteral("<qt>") + text.toHtmlEscaped() + QStringLiteral("</qt>");
}
