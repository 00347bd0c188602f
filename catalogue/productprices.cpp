#include "catalogue/productprices.h"

#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <QCoreApplication>
#include <QStringList>

#include <cmath>

namespace {

/// Ids that go into one statement; its length is limited.
constexpr int idsPerStatement = 1000;

struct ProductPrices
{
    Q_DECLARE_TR_FUNCTIONS(ProductPrices)
};

/// Reads columns of products, in the order of the database.
bool readProducts(QWidget *parent, const QString &columns, const QList<qulonglong> &ids,
                  QList<SqlRow> &products)
{
    for (qsizetype first = 0; first < ids.size(); first += idsPerStatement) {
        QStringList texts;
        for (const qulonglong id : ids.mid(first, idsPerStatement))
            texts += sql::id(id);
        QList<SqlRow> rows;
        if (!QueryRows(parent,
                       "SELECT " + columns + " FROM warehouse WHERE id IN (" +
                           texts.join(QLatin1String(",")) + ");",
                       rows))
            return false;
        products += rows;
    }
    return true;
}

/// Writes the change to one product: id, incost, currency, outcost, quantity.
bool changePrice(QuietStatements &statements, const SqlRow &product, const PriceChange &change)
{
    const qulonglong id = product.at(0).toULongLong();
    const QString currency = product.at(2).toString();
    const Session &session = Session::instance();
    QStringList assignments;
    if (change.incost) {
        const double incost = session.convertCurrencyFromMain(*change.incost, currency);
        if (!std::isfinite(incost))
            return statements.fail(
                {.text = ProductPrices::tr("Курс валюты %1 равен нулю.").arg(currency)});
        assignments += " incost=" + sql::exact(incost);
    }
    double outcost = change.outcost;
    if (change.ratio) {
        const double incost = change.incost.value_or(
            session.convertCurrencyToMain(product.at(1).toDouble(), currency));
        outcost = sellingPrice(incost, *change.ratio);
        assignments +=
            " inoutratio=" + sql::exact(*change.ratio) + ", outcost=" + sql::exact(outcost);
    } else {
        assignments += " inoutratio=0, outcost=" + sql::exact(outcost);
    }
    if (!statements.run("UPDATE warehouse SET" + assignments.join(u',') + " WHERE id='" +
                        sql::id(id) + "';"))
        return false;
    if (pricesEqual(outcost, product.at(3).toDouble()) || !(product.at(4).toDouble() > 0))
        return true;
    return statements.markPriceChange(id);
}

} // namespace

bool readProductPrices(QWidget *parent, const QList<qulonglong> &ids, QList<ProductPrice> &prices)
{
    prices.clear();
    QList<SqlRow> rows;
    if (!readProducts(parent, QStringLiteral("id, name, inoutratio, outcost"), ids, rows))
        return false;
    for (const SqlRow &row : std::as_const(rows)) {
        prices.append({.id = row.at(0).toULongLong(),
                       .name = row.at(1).toString(),
                       .inoutratio = finiteOrZero(row.at(2).toDouble()),
                       .outcost = finiteOrZero(row.at(3).toDouble())});
    }
    return true;
}

std::optional<ProductPrice> readProductPrice(QWidget *parent, qulonglong id)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT name, incost, inoutratio, outcost, currency FROM warehouse WHERE id='" +
                       sql::id(id) + "';",
                   rows) ||
        rows.isEmpty())
        return {};
    const SqlRow &row = rows.first();
    const QString currency = row.at(4).toString();
    if (!Session::instance().refreshRates(parent, mainConnection))
        return {};
    return ProductPrice{.id = id,
                        .name = row.at(0).toString(),
                        .incost = finiteOrZero(Session::instance().convertCurrencyToMain(
                            row.at(1).toDouble(), currency)),
                        .inoutratio = finiteOrZero(row.at(2).toDouble()),
                        .outcost = finiteOrZero(row.at(3).toDouble())};
}

bool changePrices(QWidget *parent, const QList<qulonglong> &ids, const PriceChange &change)
{
    QList<SqlRow> products;
    if (!Session::instance().refreshRates(parent, mainConnection) ||
        !readProducts(parent, QStringLiteral("id, incost, currency, outcost, quantity"), ids,
                      products))
        return false;
    QuietStatements statements(mainConnection);
    qsizetype failed = 0;
    for (qsizetype i = 0; i < products.size(); ++i) {
        if (changePrice(statements, products.at(i), change))
            continue;
        ++failed;
        if (!statements.canGoOn()) {
            failed += products.size() - i - 1;
            break;
        }
    }
    if (failed == 0)
        return true;
    showFailure(
        parent,
        ProductPrices::tr("Не все цены изменены. Наименований с ошибками: %1.").arg(failed) +
            u'\n' + statements.failure().text,
        statements.failure().details);
    return false;
}
