#include "scales/scalesframe.h"

#include <QCoreApplication>
#include <QRegularExpression>

namespace scales {

namespace {

struct ScalesText
{
    Q_DECLARE_TR_FUNCTIONS(ScalesText)
};

constexpr qsizetype packetSize = 15;
constexpr qsizetype signPlace = 3;
constexpr qsizetype weightPlace = 4;
constexpr qsizetype weightSize = 6;

QString timeoutFault(int stage)
{
    return ScalesText::tr("Превышен интервал ожидания %1. Проверьте подключение весов к "
                          "компьютеру.")
        .arg(stage);
}

QString sizeFault(qsizetype size)
{
    return ScalesText::tr("Неправильный размер пакета данных %1.").arg(size);
}

/// Bytes as a person can read them, also those that are no characters.
QString shownBytes(const QByteArray &bytes)
{
    QString text;
    for (const char c : bytes)
        text += c >= ' ' && c <= '~' ? QString(QLatin1Char(c)) : QStringLiteral("·");
    return text;
}

} // namespace

QString acknowledgeFault(const QByteArray &answer)
{
    if (answer.isEmpty())
        return timeoutFault(1);
    if (answer.size() != 1)
        return sizeFault(answer.size());
    if (answer.front() != acknowledge)
        return ScalesText::tr("Неправильный ответ %1.")
            .arg("0x" + QString::fromLatin1(answer.toHex()).toUpper());
    return {};
}

Reading readPacket(const QByteArray &packet)
{
    if (packet.isEmpty())
        return {.fault = timeoutFault(2)};
    if (packet.size() != packetSize)
        return {.fault = sizeFault(packet.size())};
    // toDouble() alone would also take "inf", "nan" and "1e5".
    static const QRegularExpression decimal(QStringLiteral("^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)$"));
    const QByteArray field = packet.mid(weightPlace, weightSize);
    const QByteArray digits = field.trimmed();
    if (!decimal.match(QString::fromLatin1(digits)).hasMatch())
        return {.fault = ScalesText::tr("Весы прислали не число: «%1».").arg(shownBytes(field))};
    const double weight = digits.toDouble();
    const bool negated = packet.at(signPlace) == '-' && weight != 0; // there is no weight of -0
    return {.weight = negated ? -weight : weight};
}

} // namespace scales
