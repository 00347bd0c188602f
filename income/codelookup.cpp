#include "income/codelookup.h"

#include "app/messages.h"
#include "catalogue/productstore.h"
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

/// The local product with the unique identifier of a reference product.
CodeResult localProductOf(QWidget *parent, const CodeResult &reference)
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
    showInformation(parent, CodeText::tr("Товар есть в справочной базе данных, но его нет в "
                                         "местном каталоге:\n%1")
                                .arg(product.name));
    return notFound;
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
    return reference.kind == CodeKind::Product ? localProductOf(parent, reference) : reference;
}
