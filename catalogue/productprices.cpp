#include "catalogue/productprices.h"

#include "app/logging.h"
#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "catalogue/productstore.h"
#include "db/auditlog.h"
#include "db/currencies.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <QCoreApplication>
#include <QStringList>

#include <cmath>
#include <utility>

namespace {

struct ProductPrices
{
    Q_DECLARE_TR_FUNCTIONS(ProductPrices)
};

PriceSet pricesOf(const Product &product)
{
    return {.incost = product.incost,
            .currency = product.currency,
            .inoutratio = product.inoutratio,
            .outcost = product.outcost};
}

/// Writes the change to one product.
bool changePrice(QuietStatements &statements, const Product &product, const PriceChange &change)
{
    const Session &session = Session::instance();
    QStringList assignments;
    if (change.incost) {
        const double incost = session.convertCurrencyFromMain(*change.incost, product.currency);
        if (!std::isfinite(incost))
            return statements.fail(
                {.text = ProductPrices::tr("Курс валюты %1 равен нулю.").arg(product.currency)});
        assignments += " incost=" + sql::exact(incost);
    }
    PriceSet after{.incost = change.incost
                                 ? session.convertCurrencyFromMain(*change.incost, product.currency)
                                 : product.incost,
                   .currency = product.currency,
                   .inoutratio = change.ratio.value_or(0)};
    double outcost = change.outcost;
    if (change.ratio) {
        const double incost =
            change.incost.value_or(session.convertCurrencyToMain(product.incost, product.currency));
        outcost = sellingPrice(incost, *change.ratio);
        assignments +=
            " inoutratio=" + sql::exact(*change.ratio) + ", outcost=" + sql::exact(outcost);
    } else {
        assignments += " inoutratio=0, outcost=" + sql::exact(outcost);
    }
    const bool written = statements.writePrices("UPDATE warehouse SET" + assignments.join(u',') +
                                                    " WHERE id='" + sql::id(product.id) + "';",
                                                {.wareid = product.id,
                                                 .before = product.outcost,
                                                 .after = outcost,
                                                 .stock = product.quantity},
                                                MarkRule::OnShelf);
    after.outcost = outcost;
    if (written)
        notePrices(
            ProductPrices::tr("Цены наименования %1").arg(notedProduct(product.id, product.name)),
            pricesOf(product), after);
    return written;
}

/// A product whose selling price is to be looked at.
struct NewPrice
{
    qulonglong id = 0;
    std::optional<double> outcost = {}; ///< nothing: it has the right one
};

/// The price that follows from the coefficient of a product.
NewPrice recalculated(const Product &product)
{
    const double cost = Session::instance().convertCurrencyToMain(product.incost, product.currency);
    const double price = roundSellingPrice(cost * product.inoutratio);
    NewPrice result{.id = product.id};
    if (!std::isfinite(price))
        logMessage("The computed price of product " + sql::id(product.id) + " is not a number.");
    else if (price != product.outcost)
        result.outcost = price;
    return result;
}

} // namespace

std::optional<Product> readProductPrice(QWidget *parent, qulonglong id)
{
    Product product;
    if (loadProduct(parent, id, ProductColumns::Price, product) != LoadState::Loaded ||
        !Session::instance().refreshRates(parent, mainConnection))
        return {};
    product.incost =
        finiteOrZero(Session::instance().convertCurrencyToMain(product.incost, product.currency));
    return product;
}

bool changePrices(QWidget *parent, const QList<qulonglong> &ids, const PriceChange &change,
                  const ProgressStep &progress)
{
    QList<Product> products;
    if (!mayDo(parent, Command::ChangePrices) ||
        !Session::instance().refreshRates(parent, mainConnection) ||
        !loadProducts(parent, ids, ProductColumns::PriceChange, products))
        return false;
    QuietStatements statements(mainConnection);
    const qsizetype total = products.size();
    qsizetype failed = 0;
    qsizetype left = 0;
    for (qsizetype i = 0; i < total; ++i) {
        if (!goOn(progress, int(i), int(total))) {
            left = total - i;
            break;
        }
        if (changePrice(statements, products.at(i), change))
            continue;
        ++failed;
        if (!statements.canGoOn()) {
            failed += total - i - 1;
            break;
        }
    }
    if (failed == 0 && left == 0)
        return true;
    QStringList parts = {ProductPrices::tr("Не все цены изменены.")};
    if (left > 0)
        parts += ProductPrices::tr("Остановлено, цены не изменены у наименований: %1.").arg(left);
    if (failed > 0) {
        parts.last() += ' ' + ProductPrices::tr("Наименований с ошибками: %1.").arg(failed);
        parts += statements.failure().text;
    }
    showFailure(parent, parts.join(u'\n'), statements.failure().details);
    return false;
}

PriceRecalculation recalculateSellingPrices(QWidget *parent, const QString &connectionName,
                                            const ProgressStep &progress)
{
    const CommandScope command;
    PriceRecalculation result;
    // Read to the end first: the updates below would run under the open result.
    QList<NewPrice> prices;
    const auto compute = [&prices](const Product &product) {
        prices += recalculated(product);
    };
    if (!mayDo(parent, Command::ChangePrices) ||
        !Session::instance().refreshRates(parent, connectionName) ||
        !readProducts(parent,
                      "SELECT id, incost, currency, inoutratio, outcost FROM warehouse WHERE "
                      "inoutratio>'0';",
                      compute, connectionName))
        return result;
    result.read = true;
    const int total = static_cast<int>(prices.size());
    int done = 0;
    for (const NewPrice &price : std::as_const(prices)) {
        if (!price.outcost ||
            QueryExec(parent,
                      "UPDATE warehouse SET outcost='" + sql::number(*price.outcost) +
                          "' WHERE id='" + sql::id(price.id) + "'",
                      connectionName)) {
            result.changed += price.outcost ? 1 : 0;
        } else if (lastFailure(connectionName).general) {
            result.left = total - done;
            break;
        } else {
            ++result.failed;
        }
        if (!goOn(progress, ++done, total)) {
            result.left = total - done;
            break;
        }
    }
    if (result.changed > 0)
        noteAction(
            ProductPrices::tr("Пересчитаны расходные цены с коэффициентом, изменено наименований: "
                              "%1")
                .arg(result.changed));
    return result;
}

namespace {

/// Writes a selling price to the product of a row of the reference database: id, quantity.
bool passPrice(QWidget *parent, const SqlRow &product, double outcost)
{
    const qulonglong id = product.at(0).toULongLong();
    QList<SqlRow> before; // for the log alone
    QueryRows(nullptr, "SELECT outcost, name FROM warehouse WHERE id=" + sql::quotedId(id) + ';',
              before, friendConnection);
    const TransactionResult written = writePricesAlone(
        parent,
        "UPDATE warehouse SET outcost='" + sql::exact(outcost) + "' WHERE id=" + sql::quotedId(id) +
            ";",
        {.wareid = id, .after = outcost, .stock = finiteOrZero(product.at(1).toDouble())},
        MarkRule::OnShelf, friendConnection);
    if (!written.isDone() && !written.givenUp)
        showDatabaseFailure(parent, written.failure,
                            ProductPrices::tr("Цена не передана в справочную базу данных."));
    if (written.isDone() && !before.isEmpty())
        notePrices(ProductPrices::tr("Цены в справочной базе данных, наименование %1")
                       .arg(notedProduct(id, before.first().at(1).toString())),
                   {.outcost = before.first().at(0).toDouble()}, {.outcost = outcost});
    return written.isDone();
}

} // namespace

bool passPriceToReference(QWidget *parent, const QString &wuid, double outcost)
{
    // Products that never had an identifier must not be taken for one another.
    if (wuid.trimmed().isEmpty() || !isConnectionRegistered(friendConnection))
        return true;
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT id, quantity FROM warehouse WHERE wuid=" + sql::text(wuid) + ";",
                   rows, friendConnection))
        return false;
    return rows.isEmpty() || passPrice(parent, rows.first(), outcost);
}

bool passPriceTo(QWidget *parent, qulonglong referenceId, double outcost)
{
    QList<SqlRow> rows;
    if (!mayDo(parent, Command::ChangePrices) ||
        !QueryRows(parent,
                   "SELECT id, quantity FROM warehouse WHERE id=" + sql::quotedId(referenceId) +
                       ";",
                   rows, friendConnection))
        return false;
    if (!rows.isEmpty())
        return passPrice(parent, rows.first(), outcost);
    showWarning(parent, ProductPrices::tr("Цена не передана: этого наименования больше нет в "
                                          "справочной базе данных."));
    return false;
}
