#include "catalogue/codesearch.h"

#include "catalogue/productstore.h"
#include "db/query.h"
#include "db/sqltext.h"

#include <algorithm>
#include <cmath>

namespace {

bool isAsciiDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

bool isLatinLetter(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

/// One layout: the signs it gives, and what the same keys give on the US layout.
struct KeyMap
{
    QString signs;
    QString keys;

    QString applied(QString text) const
    {
        for (QChar &c : text) {
            const qsizetype place = signs.indexOf(c);
            if (place >= 0)
                c = keys.at(place);
        }
        return text;
    }
};

const QString russianLetters =
    QStringLiteral("йцукенгшщзхъфывапролджэячсмитьбюЙЦУКЕНГШЩЗХЪФЫВАПРОЛДЖЭЯЧСМИТЬБЮ");
const QString letterKeys =
    QStringLiteral("qwertyuiop[]asdfghjkl;'zxcvbnm,.QWERTYUIOP{}ASDFGHJKL:\"ZXCVBNM<>");

const KeyMap &russianLayout()
{
    static const KeyMap map = {russianLetters + QStringLiteral("ёЁ.,\"№;:?/"),
                               letterKeys + QStringLiteral("`~/?@#$^&|")};
    return map;
}

const KeyMap &typewriterLayout()
{
    static const KeyMap map = {russianLetters + QStringLiteral("ёЁ!;№-/\":,._?%"),
                               letterKeys + QStringLiteral("/?-=1234567890")};
    return map;
}

/// Decimal digits of other scripts (Arabic, full-width, …) as ASCII digits.
QString withAsciiDigits(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (const char32_t c : text.toUcs4()) {
        if (QChar::category(c) == QChar::Number_DecimalDigit)
            result += QChar(u'0' + QChar::digitValue(c));
        else
            result += QString::fromUcs4(&c, 1);
    }
    return result;
}

double packQuantityOf(const QVariant &value)
{
    const double quantity = value.toDouble();
    return std::isfinite(quantity) && quantity > 0 ? quantity : 1;
}

CodeResult failed()
{
    return {.kind = CodeKind::Failed};
}

CodeResult notFound()
{
    return {.kind = CodeKind::NotFound};
}

CodeResult lookUpId(QWidget *parent, const QString &text)
{
    const QString digits = withAsciiDigits(text);
    if (!std::all_of(digits.begin(), digits.end(), isAsciiDigit))
        return {};
    // Seven digits at most, so it always fits an id.
    const qulonglong id = digits.toULongLong();
    if (id == 0)
        return {};
    Product product;
    switch (loadProduct(parent, id, ProductColumns::Receipt, product)) {
    case LoadState::Loaded:
        return {.kind = CodeKind::Product, .wareid = id};
    case LoadState::NotFound:
        return notFound();
    case LoadState::Failed:
        break;
    }
    return failed();
}

} // namespace

QString cleanCode(const QString &text)
{
    QString cleaned;
    cleaned.reserve(text.size());
    for (const QChar c : text) {
        if (c.category() != QChar::Other_Control && c.category() != QChar::Other_Format)
            cleaned += c;
    }
    return cleaned.trimmed();
}

QStringList codeReadings(const QString &code)
{
    QStringList readings = {code};
    const QString digits = withAsciiDigits(code);
    const bool latin = std::any_of(digits.begin(), digits.end(), isLatinLetter);
    readings += latin ? digits : russianLayout().applied(digits);
    if (!latin && std::none_of(digits.begin(), digits.end(), isAsciiDigit))
        readings += typewriterLayout().applied(digits);
    readings.removeDuplicates();
    return readings;
}

QString plainCode(const QString &code)
{
    const auto isPlain = [](const QString &text) {
        return std::all_of(text.begin(), text.end(),
                           [](QChar c) { return c > u' ' && c.unicode() < 127; }) &&
               std::any_of(text.begin(), text.end(),
                           [](QChar c) { return isAsciiDigit(c) || isLatinLetter(c); });
    };
    const QStringList readings = codeReadings(code);
    const auto plain = std::find_if(readings.begin(), readings.end(), isPlain);
    return plain == readings.end() ? code : *plain;
}

CodeResult lookUpCode(QWidget *parent, const QString &text)
{
    const QString code = cleanCode(text);
    if (code.isEmpty())
        return {};
    // A short text is typed by a person who sees it, so only digits count there.
    if (code.size() < shortestCode)
        return lookUpId(parent, code);
    return lookUpReadings(parent, code,
                          "SELECT wareid, packquantity FROM codes WHERE code=", " AND wareid!=0;");
}

CodeResult lookUpReadings(QWidget *parent, const QString &code, const QString &head,
                          const QString &tail, const QString &connectionName)
{
    const QStringList readings = codeReadings(code);
    for (const QString &reading : readings) {
        QList<SqlRow> rows;
        if (!QueryRows(parent, head + sql::text(reading) + tail, rows, connectionName))
            return failed();
        if (rows.isEmpty())
            continue;
        const qlonglong wareid = rows.first().at(0).toLongLong();
        if (wareid > 0) {
            return {.kind = CodeKind::Product,
                    .wareid = qulonglong(wareid),
                    .packQuantity = packQuantityOf(rows.first().at(1))};
        }
    }
    return notFound();
}
