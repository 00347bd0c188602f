#include "catalogue/discounts.h"

#include "db/currencies.h"
#include "db/query.h"
#include "db/sqltext.h"

#include <QDebug>

#include <cmath>

namespace {

const QString discountColumns = QStringLiteral(
    "SELECT discounts.id, discounts.type, discounts.minimumquantity, discounts.percent, "
    "discounts.roundingtype, discounts.name, discounts.code, discounts.starttime, "
    "discounts.endtime, discounts.userid, discounts.ctime FROM ");

Discount discountOf(const SqlRow &row)
{
    return {.id = row.at(0).toULongLong(),
            .type = row.at(1).toInt(),
            .minimumquantity = row.at(2).toDouble(),
            .percent = row.at(3).toDouble(),
            .roundingtype = row.at(4).toInt(),
            .name = row.at(5).toString(),
            .code = row.at(6).toString(),
            .starttime = row.at(7).toString(),
            .endtime = row.at(8).toString(),
            .userid = row.at(9).toULongLong(),
            .ctime = row.at(10).toString()};
}

void trace(const char *what, double value)
{
    qDebug().noquote() << QLatin1String(what) + sql::number(value);
}

} // namespace

std::optional<QList<Discount>> loadDiscounts(QWidget *parent, qulonglong wareid,
                                             const QString &connectionName)
{
    const QString id = sql::id(wareid);
    const QString now = sql::now();
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT `groupid` FROM `warehouse` WHERE `warehouse`.`id`=" + id + ";",
                   rows, connectionName))
        return {};
    const QString group =
        rows.isEmpty() ? QStringLiteral("0") : sql::integer(rows.first().first().toLongLong());

    const QString valid =
        " AND discounts.type>0 AND starttime<=" + now + " AND endtime>=" + now + ";";
    const QString ofProduct = "discountproducts LEFT JOIN discounts ON "
                              "discountproducts.discountid=discounts.id WHERE "
                              "discountproducts.wareid=" +
                              id;
    const QString ofGroup = "discountgroups LEFT JOIN discounts ON "
                            "discountgroups.discountid=discounts.id WHERE "
                            "discountgroups.groupid=" +
                            group;
    QList<Discount> discounts;
    for (const QString &binding : {ofProduct, ofGroup}) {
        if (!QueryRows(parent, discountColumns + binding + valid, rows, connectionName))
            return {};
        for (const SqlRow &row : std::as_const(rows))
            discounts += discountOf(row);
    }
    return discounts;
}

double discountedPrice(const QList<Discount> &discounts, qsizetype index, double price,
                       double quantity)
{
    if (index < 0 || index >= discounts.size() || discounts.at(index).minimumquantity > quantity)
        return price;
    const Discount &applied = discounts.at(index);
    const double unit = price / 100;
    const double discount = unit * applied.percent;
    const double result = price - discount;
    trace("base outcost = ", price);
    trace("discount percent = ", applied.percent);
    trace("discount = ", discount);
    trace("discounted outcost = ", result);
    switch (DiscountRounding(applied.roundingtype)) {
    case DiscountRounding::Nearest:
        return std::round(tidied(result));
    case DiscountRounding::Up:
        return std::ceil(tidied(result));
    case DiscountRounding::Down:
        return std::floor(tidied(result));
    case DiscountRounding::None:
        break;
    }
    return result;
}

qsizetype bestDiscount(const QList<Discount> &discounts, bool onlyFirstType, double quantity)
{
    constexpr double probe = 99999999999999;
    qsizetype best = -1;
    double lowest = probe;
    for (qsizetype i = 0; i < discounts.size(); ++i) {
        if (onlyFirstType && discounts.at(i).type != 1)
            continue;
        const double price = discountedPrice(discounts, i, probe, quantity);
        if (price < lowest) {
            lowest = price;
            best = i;
        }
    }
    return best;
}
