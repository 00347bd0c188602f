#include "catalogue/codeslist.h"

#include "db/query.h"
#include "db/sqltext.h"

#include <QCoreApplication>

#include <algorithm>

namespace {

/// So many codes are sorted faster than they are found among products in order.
constexpr int fewCodes = 5000;

struct CodesList
{
    Q_DECLARE_TR_FUNCTIONS(CodesList)
};

/// The codes that begin with these digits as a range, which an index knows whatever order the
/// database gives to other signs; empty for other texts.
QString digitsRange(const QString &digits)
{
    const auto isDigit = [](QChar c) {
        return c >= u'0' && c <= u'9';
    };
    if (digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), isDigit))
        return {};
    QString end = digits;
    while (end.endsWith(u'9'))
        end.chop(1);
    QString range = "codes.code>=" + sql::text(digits);
    if (!end.isEmpty()) {
        end.back() = QChar(end.back().unicode() + 1);
        range += " AND codes.code<" + sql::text(end);
    }
    return range;
}

/// What LIKE compares with. Unlike in other searches % and _ are not signs of the text here.
QString pattern(const QString &text)
{
    return sql::text(QString(text).replace(u'!', QStringLiteral("!!"))) +
           QStringLiteral(" ESCAPE '!'");
}

/// Whether a condition leaves few codes. Nothing on failure.
std::optional<bool> holdsFew(QWidget *parent, const QString &condition)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT COUNT(*) FROM (SELECT codes.id FROM codes WHERE " + condition +
                       " LIMIT " + sql::integer(fewCodes + 1) + ") AS found;",
                   rows))
        return std::nullopt;
    return rows.value(0).value(0).toInt() <= fewCodes;
}

} // namespace

QList<TableColumn> codeColumns()
{
    return {
        {"id", "codes.id", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"wareid", "codes.wareid", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"code", "codes.code", CodesList::tr("Штрих-код"), ColumnKind::Name},
        {"packquantity", "codes.packquantity", CodesList::tr("В упаковке"), ColumnKind::Quantity},
        {"name", "warehouse.name", CodesList::tr("Наименование"), ColumnKind::Name,
         ColumnWidth::Rest},
        {"outcost", "warehouse.outcost", CodesList::tr("Цена"), ColumnKind::Money,
         ColumnWidth::Whole},
        {"quantity", "warehouse.quantity", CodesList::tr("Остаток"), ColumnKind::Quantity,
         ColumnWidth::Whole},
    };
}

std::optional<PagedSelect> codePages(QWidget *parent, const CodeFilter &filter)
{
    PagedSelect list = {
        .select = selectList(codeColumns()) +
                  " FROM codes LEFT JOIN warehouse ON warehouse.id = codes.wareid",
        .table = QStringLiteral("codes"),
        .order = QStringLiteral("name"),
        .conditions = {QStringLiteral(" warehouse.enabled<>0")},
        .parts = {},
        .searched = !filter.code.isEmpty() || !filter.name.isEmpty(),
        .orderTable = QStringLiteral("warehouse"),
        .link = QStringLiteral("codes.wareid=warehouse.id"),
    };
    const QString begins = "codes.code LIKE " + pattern(filter.code + u'%');
    if (!filter.code.isEmpty())
        list.conditions += ' ' + begins;
    if (!filter.name.isEmpty())
        list.conditions += " warehouse.name LIKE " + pattern(u'%' + filter.name + u'%');
    QStringList part = list.conditions;
    if (!filter.code.isEmpty()) {
        const QString range = digitsRange(filter.code);
        const std::optional<bool> few = holdsFew(parent, range.isEmpty() ? begins : range);
        if (!few)
            return std::nullopt;
        if (*few) {
            part += range.isEmpty() ? QString() : ' ' + range;
            list.beginsWithOrder = false;
            list.searched = false;
        }
    }
    part.removeAll(QString());
    list.parts = {part.join(QStringLiteral(" AND"))};
    return list;
}
