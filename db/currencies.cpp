#include "db/currencies.h"

#include "app/logging.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <cmath>

double roundSellingPrice(double price)
{
    // Also takes NaN, which compares with nothing.
    if (!(price > 20) || std::isinf(price))
        return std::trunc(price) + 0.0; // never "-0"
    const double step = price < 100 ? 5 : 10;
    // The remainder of the whole part; exact also where the price is beyond 64 bits.
    const double rest = std::fmod(std::trunc(price), step);
    double rounded = price - rest;
    if (rest > step / 2)
        rounded += step;
    return std::trunc(rounded);
}

PriceRecalculation
recalculateSellingPrices(QWidget *parent, const QString &connectionName,
                         const std::function<void(int done, int total)> &progress)
{
    const CommandScope command;
    PriceRecalculation result;
    // Read to the end first: the updates below would run under the open result.
    QList<SqlRow> products;
    if (!Session::instance().refreshRates(parent, connectionName) ||
        !QueryRows(parent,
                   "SELECT id, incost, currency, inoutratio, outcost FROM warehouse WHERE "
                   "inoutratio>'0';",
                   products, connectionName))
        return result;
    result.read = true;
    const int total = static_cast<int>(products.size());
    int done = 0;
    for (const SqlRow &product : std::as_const(products)) {
        const double cost = Session::instance().convertCurrencyToMain(product.at(1).toDouble(),
                                                                      product.at(2).toString());
        const double price = roundSellingPrice(cost * product.at(3).toDouble());
        const QString id = sql::id(product.at(0).toULongLong());
        if (!std::isfinite(price)) {
            logMessage("The computed price of product " + id + " is not a number.");
        } else if (price != product.at(4).toDouble()) {
            if (QueryExec(parent,
                          "UPDATE warehouse SET outcost='" + sql::number(price) + "' WHERE id='" +
                              id + "'",
                          connectionName)) {
                ++result.changed;
            } else if (lastFailure(connectionName).general) {
                result.left = total - done;
                break;
            } else {
                ++result.failed;
            }
        }
        ++done;
        if (progress)
            progress(done, total);
    }
    return result;
}
