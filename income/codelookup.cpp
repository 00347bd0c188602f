#include "income/codelookup.h"

#include "app/messages.h"
#include "catalogue/productstore.h"
#include "catalogue/referencecopy.h"
#include "db/query.h"
#include "db/sqltext.h"

#include <QCoreApplication>

#include <algorithm>

namespace {

constexpr CodeResult notFound = {.kind = CodeKind::NotFound};

struct CodeText
{
    Q_DECLARE_TR_FUNCTIONS(CodeLookup)
};

/// Offers a card for a product that only the reference database knows.
CodeResult addCopy(QWidget *parent, const CodeResult &reference, const QString &code)
{
    const qulonglong id = copyFromReference(parent, reference.wareid);
    if (id == 0)
        return notFound;
    // The user may have given the code another pack quantity, or taken it away.
    const CodeResult stored = lookUpCode(parent, code);
    return {.kind = CodeKind::Product,
            .wareid = id,
            .packQuantity = stored.wareid == id ? stored.packQuantity : 1};
}

/// The local product with the unique identifier of a reference product, or else a copy of it.
CodeResult localProductOf(QWidget *parent, const CodeResult &reference, const QString &code)
{
    Product product;
    const LoadState state =
        loadProduct(parent, reference.wareid, ProductColumns::Reference, product, friendConnection);
    if (state != LoadState::Loaded)
        return {.kind = state == LoadState::Failed ? CodeKind::Failed : CodeKind::NotFound};
    // Products that never had an identifier must not be taken for one another.
    if (!product.wuid.isEmpty()) {
        QList<SqlRow> rows;
        if (!QueryRows(parent,
                       "SELECT id FROM warehouse WHERE wuid=" + sql::text(product.wuid) + ";",
                       rows))
            return {.kind = CodeKind::Failed};
        if (!rows.isEmpty()) {
            return {.kind = CodeKind::Product,
                    .wareid = rows.first().at(0).toULongLong(),
                    .packQuantity = reference.packQuantity};
        }
    }
    return addCopy(parent, reference, code);
}

} // namespace

CodeResult lookUpReferenceCode(QWidget *parent, const QString &text, bool ask)
{
    const QString code = cleanCode(text);
    if (code.size() < shortestCode || !isConnectionRegistered(friendConnection))
        return notFound;
    const QStringList readings = codeReadings(code);
    if (std::any_of(readings.begin(), readings.end(),
                    [](const QString &reading) { return reading.startsWith(u'2'); }))
        return notFound;
    if (ask &&
        askQuestion(parent, CodeText::tr("Код не найден. Поискать в справочной базе данных?"),
                    {CodeText::tr("Да"), CodeText::tr("Нет")}, 0, 1) != 0)
        return notFound;

    const CodeResult reference = lookUpReadings(
        parent, code,
        "SELECT wareid, packquantity FROM codes LEFT JOIN warehouse ON wareid=warehouse.id "
        "WHERE code=",
        " AND wareid!=0 AND warehouse.enabled!=0;", friendConnection);
    return reference.kind == CodeKind::Product ? localProductOf(parent, reference, code)
                                               : reference;
}
