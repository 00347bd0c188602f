#include "db/currencies.h"

#include "app/logging.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <cmath>

namespace {

/// The number that a product of decimal fractions means: 90 * 1.4 is 126, though its double is a
/// little less. Beyond a million a double has fewer than 9 decimals left, so its digits count too.
double tidied(double price)
{
    constexpr int safeDigits = 15;
    constexpr int decimals = 9;
    const double digits = QString::number(price, 'g', safeDigits).toDouble();
    return QString::number(digits, 'f', decimals).toDouble();
}

} // namespace

double roundSellingPrice(double price)
{
    if (!std::isfinite(price))
        return price;
    const double exact = tidied(price);
    const double whole = std::trunc(exact) + 0.0; // never "-0"
    if (exact <= 20)
        return whole;
    const double step = exact < 100 ? 5 : 10;
    const double rest = std::fmod(whole, step); // exact also where the price is beyond 64 bits
    return whole - rest + (rest > step / 2 ? step : 0);
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
