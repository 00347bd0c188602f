#include "catalogue/referencecopy.h"

#include "catalogue/pricerules.h"
#include "catalogue/productstore.h"
#include "catalogue/stagedrows.h"
#include "catalogue/waredialog.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <algorithm>

namespace {

/// The local row with a name; 0 when there is none.
qlonglong idByName(QWidget *parent, const QString &table, const QString &name)
{
    if (name.isEmpty())
        return 0;
    return QueryValue(parent, "SELECT id FROM " + table + " WHERE name=" + sql::text(name) +
                                  " ORDER BY id;")
        .toLongLong();
}

bool isKnownCurrency(const QString &code)
{
    const QList<Currency> &currencies = Session::instance().currencies();
    return std::any_of(currencies.begin(), currencies.end(),
                       [&code](const Currency &currency) { return currency.code == code; });
}

/// Replaces what means something else in the other database.
bool translate(QWidget *parent, qulonglong referenceId, Product &product)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT `groups`.name, units.name, warehouse.currency, currencies.value FROM "
                   "warehouse LEFT JOIN `groups` ON `groups`.id=warehouse.groupid LEFT JOIN units "
                   "ON units.id=warehouse.unitid LEFT JOIN currencies ON "
                   "currencies.c_code=warehouse.currency WHERE warehouse.id=" +
                       sql::quotedId(referenceId) + " ORDER BY currencies.id;",
                   rows, friendConnection) ||
        rows.isEmpty() || !Session::instance().refreshRates(parent, mainConnection))
        return false;
    const SqlRow &row = rows.first();
    product.groupid = idByName(parent, "`groups`", row.at(0).toString());
    product.unitid = idByName(parent, "units", row.at(1).toString());
    if (isKnownCurrency(row.at(2).toString()))
        product.currency = row.at(2).toString();
    else if (!row.at(3).isNull())
        product.incost = finiteOrZero(product.incost * row.at(3).toDouble());
    return true;
}

} // namespace

qulonglong copyFromReference(QWidget *parent, qulonglong referenceId)
{
    const CommandScope command;
    Product product;
    if (loadProduct(parent, referenceId, ProductColumns::Reference, product, friendConnection) !=
            LoadState::Loaded ||
        !translate(parent, referenceId, product) || !clearStagedRows(parent) ||
        !stageReferenceCodes(parent, referenceId))
        return 0;
    WareDialog dialog(0, parent);
    dialog.prefill(product);
    return dialog.exec() == QDialog::Accepted ? dialog.id() : 0;
}
