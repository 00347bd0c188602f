#include "catalogue/barcode.h"

#include "db/query.h"

#include <algorithm>

namespace {

const QString firstInternalCode = QStringLiteral("2000000000008");
constexpr int shortestBarcode = 8;

bool isAllDigits(const QString &text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

} // namespace

int ean13CheckDigit(const QString &code)
{
    if (code.size() < 12)
        return -1;
    int sum = 0;
    for (int i = 0; i < 12; ++i)
        sum += code.at(i).digitValue() * (i % 2 == 0 ? 1 : 3);
    const int rest = sum % 10;
    return rest == 0 ? 0 : 10 - rest;
}

bool isInternalCode(const QString &code)
{
    return code.size() == 13 && code.startsWith(u'2') && isAllDigits(code);
}

bool looksLikeBarcode(const QString &text)
{
    return text.size() >= shortestBarcode && isAllDigits(text);
}

QString nextInternalCode(const QString &maxCode)
{
    if (maxCode.isEmpty())
        return firstInternalCode;
    if (!isInternalCode(maxCode))
        return {};
    // One more in the last data digit; the check digit behind it is computed anew.
    QString code = QString::number(maxCode.toULongLong() + 10);
    code[12] = QChar(u'0' + ean13CheckDigit(code));
    return isInternalCode(code) ? code : QString();
}

bool findNextInternalCode(QWidget *parent, QString *code, const QString &connectionName)
{
    code->clear();
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT MAX(code) FROM codes WHERE code LIKE '2%' AND LENGTH(code)=13;",
                   rows, connectionName))
        return false;
    QString maxCode = rows.isEmpty() ? QString() : rows.first().first().toString();
    if (!maxCode.isEmpty() && !isInternalCode(maxCode)) {
        // A code with letters sorts behind all internal ones and hides them.
        if (!QueryRows(parent, "SELECT code FROM codes WHERE code LIKE '2%' AND LENGTH(code)=13;",
                       rows, connectionName))
            return false;
        maxCode.clear();
        for (const SqlRow &row : std::as_const(rows)) {
            const QString candidate = row.first().toString();
            if (isInternalCode(candidate))
                maxCode = std::max(maxCode, candidate);
        }
    }
    *code = nextInternalCode(maxCode);
    return true;
}
