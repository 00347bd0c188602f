#include "catalogue/comparison.h"

#include "catalogue/pricerules.h"
#include "catalogue/productstore.h"
#include "db/money.h"
#include "db/query.h"
#include "db/sqltext.h"

#include <QCoreApplication>

#include <algorithm>
#include <iterator>

namespace {

struct ComparisonText
{
    Q_DECLARE_TR_FUNCTIONS(Comparison)
};

/// The codes of some products, by the products' ids.
bool readCodes(QWidget *parent, const QList<qulonglong> &ids, const QString &connectionName,
               QHash<qulonglong, QStringList> &codes)
{
    for (const QString &list : sql::idLists(ids)) {
        QList<SqlRow> rows;
        if (!QueryRows(parent, "SELECT wareid, code FROM codes WHERE wareid IN (" + list + ");",
                       rows, connectionName))
            return false;
        for (const SqlRow &row : std::as_const(rows))
            codes[row.at(0).toULongLong()] += row.at(1).toString();
    }
    for (QStringList &texts : codes)
        texts.sort(); // databases sort each in its own way
    return true;
}

bool readEntries(QWidget *parent, const QList<Product> &products, const QString &connectionName,
                 QList<CatalogueEntry> &entries)
{
    QList<qulonglong> ids;
    for (const Product &product : products)
        ids += product.id;
    QHash<qulonglong, QStringList> codes;
    if (!readCodes(parent, ids, connectionName, codes))
        return false;
    for (const Product &product : products)
        entries += {.product = product, .codes = codes.value(product.id)};
    return true;
}

bool isSame(const CatalogueEntry &theirs, const CatalogueEntry &ours, ComparedField field)
{
    switch (field) {
    case ComparedField::Incost:
        return pricesEqual(theirs.product.incost, ours.product.incost) &&
               theirs.product.currency == ours.product.currency;
    case ComparedField::Outcost:
        return pricesEqual(theirs.product.outcost, ours.product.outcost);
    case ComparedField::Name:
    case ComparedField::Article:
    case ComparedField::Quantity:
    case ComparedField::Codes:
        break;
    }
    return fieldText(theirs, field) == fieldText(ours, field);
}

} // namespace

bool readComparisons(QWidget *parent, const QList<qulonglong> &ids,
                     QHash<qulonglong, Comparison> &comparisons)
{
    QList<Product> theirs;
    QList<CatalogueEntry> entries;
    if (!loadProducts(parent, ids, ProductColumns::Comparison, theirs, friendConnection) ||
        !readEntries(parent, theirs, friendConnection, entries))
        return false;
    QStringList wuids;
    for (const Product &product : std::as_const(theirs)) {
        // Products that never had an identifier must not be taken for one another.
        if (!product.wuid.trimmed().isEmpty())
            wuids += product.wuid;
    }
    QList<Product> ours;
    QList<CatalogueEntry> ourEntries;
    if (!loadProductsByWuid(parent, wuids, ProductColumns::Comparison, ours) ||
        !readEntries(parent, ours, mainConnection, ourEntries))
        return false;
    QHash<QString, CatalogueEntry> byWuid;
    for (const CatalogueEntry &entry : std::as_const(ourEntries))
        byWuid.insert(entry.product.wuid, entry);
    for (const CatalogueEntry &entry : std::as_const(entries))
        comparisons.insert(entry.product.id,
                           {.theirs = entry, .ours = byWuid.value(entry.product.wuid)});
    return true;
}

bool readOurEntry(QWidget *parent, qulonglong wareid, CatalogueEntry &entry)
{
    QList<Product> ours;
    QList<CatalogueEntry> entries;
    if (!loadProducts(parent, {wareid}, ProductColumns::Comparison, ours) || ours.isEmpty() ||
        !readEntries(parent, ours, mainConnection, entries))
        return false;
    entry = entries.first();
    return true;
}

qulonglong referenceIdOf(QWidget *parent, const QString &wuid)
{
    return wuid.trimmed().isEmpty()
               ? 0
               : QueryValue(parent,
                            "SELECT id FROM warehouse WHERE wuid=" + sql::text(wuid) +
                                " ORDER BY id;",
                            friendConnection)
                     .toULongLong();
}

QString fieldTitle(ComparedField field)
{
    switch (field) {
    case ComparedField::Name:
        return ComparisonText::tr("Наименование");
    case ComparedField::Article:
        return ComparisonText::tr("Артикул");
    case ComparedField::Incost:
        return ComparisonText::tr("Приходная цена");
    case ComparedField::Outcost:
        return ComparisonText::tr("Расходная цена");
    case ComparedField::Quantity:
        return ComparisonText::tr("Остаток");
    case ComparedField::Codes:
        return ComparisonText::tr("Штрих-коды");
    }
    return {};
}

QString fieldText(const CatalogueEntry &entry, ComparedField field)
{
    const Product &product = entry.product;
    switch (field) {
    case ComparedField::Name:
        return product.name;
    case ComparedField::Article:
        return product.article;
    case ComparedField::Incost:
        return QString(formatMoney(product.incost) + u' ' + product.currency).trimmed();
    case ComparedField::Outcost:
        return formatMoney(product.outcost);
    case ComparedField::Quantity:
        return formatQuantity(product.quantity);
    case ComparedField::Codes:
        return entry.codes.join(QLatin1String(", "));
    }
    return {};
}

QList<ComparedField> differences(const Comparison &comparison)
{
    QList<ComparedField> fields;
    if (!comparison.theirs.exists() || !comparison.ours.exists())
        return fields;
    std::copy_if(
        std::begin(comparedFields), std::end(comparedFields), std::back_inserter(fields),
        [&](ComparedField field) { return !isSame(comparison.theirs, comparison.ours, field); });
    return fields;
}
