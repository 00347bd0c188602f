#include "db/money.h"

#include <QLocale>
#include <QRegularExpression>

#include <cmath>

namespace {

/// The number with at most so many decimals, rounded halves away from zero on the shortest decimal
/// text that reads back equal: 2.675 is stored as a little less, but means 2.675.
QString roundedText(double value, int decimals)
{
    QString text = QString::number(std::abs(value), 'f', QLocale::FloatingPointShortest);
    const qsizetype point = text.indexOf(u'.');
    if (point >= 0 && text.size() - point - 1 > decimals) {
        const bool up = text.at(point + 1 + decimals) >= u'5';
        text.truncate(point + 1 + decimals);
        qsizetype i = text.size() - 1;
        for (bool carry = up; carry; --i) {
            if (i < 0) {
                text.prepend(u'1');
                break;
            }
            if (text.at(i) == u'.')
                continue;
            carry = text.at(i) == u'9';
            text[i] = carry ? QChar(u'0') : QChar(text.at(i).unicode() + 1);
        }
    }
    static const QRegularExpression onlyZeros(QStringLiteral("^[0.]*$"));
    return std::signbit(value) && !onlyZeros.match(text).hasMatch() ? u'-' + text : text;
}

} // namespace

double roundMoney(double amount)
{
    return std::isfinite(amount) ? roundedText(amount, 2).toDouble() : amount;
}

QString formatMoney(double amount)
{
    if (!std::isfinite(amount))
        return QStringLiteral("—");
    QString text = QString::number(roundMoney(amount), 'f', 2);
    if (text.endsWith(QLatin1String(".00")))
        text.chop(3);
    return text;
}

QString formatQuantity(double quantity)
{
    return formatFactor(quantity, 3);
}

QString formatFactor(double factor, int mostDecimals)
{
    if (!std::isfinite(factor))
        return QStringLiteral("—");
    QString text = roundedText(factor, mostDecimals);
    if (text.contains(u'.')) {
        while (text.endsWith(u'0'))
            text.chop(1);
        if (text.endsWith(u'.'))
            text.chop(1);
    }
    return text;
}
