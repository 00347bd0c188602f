#include "catalogue/referenceimport.h"

#include "catalogue/pricerules.h"
#include "catalogue/productstore.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QCoreApplication>

#include <algorithm>
#include <optional>

namespace {

/// A barcode of the reference database.
struct ForeignCode
{
    QString code;
    double packQuantity = 1;
    QString madein;
};

/// A product as the reference database has it, with the names that its ids stand for there.
struct ForeignProduct
{
    Product product;
    QString group;
    QString brand;
    QList<ForeignCode> codes;
};

LoadState readForeign(qulonglong id, ForeignProduct &foreign)
{
    const LoadState state =
        loadProduct(nullptr, id, ProductColumns::Card, foreign.product, friendConnection);
    if (state != LoadState::Loaded)
        return state;
    QList<SqlRow> names;
    QList<SqlRow> codes;
    if (!QueryRows(nullptr,
                   "SELECT `groups`.`name`, brands.name, units.name FROM warehouse LEFT JOIN "
                   "`groups` ON `groups`.`id`=warehouse.groupid LEFT JOIN brands ON "
                   "brands.id=warehouse.brandid LEFT JOIN units ON units.id=warehouse.unitid "
                   "WHERE warehouse.id='" +
                       sql::id(id) + "';",
                   names, friendConnection) ||
        !QueryRows(nullptr,
                   "SELECT code, packquantity, madein FROM codes WHERE wareid=" + sql::id(id) + ";",
                   codes, friendConnection))
        return LoadState::Failed;
    if (names.isEmpty())
        return LoadState::NotFound;
    foreign.group = names.first().at(0).toString();
    foreign.brand = names.first().at(1).toString();
    foreign.product.unit = names.first().at(2).toString();
    for (const SqlRow &row : std::as_const(codes))
        foreign.codes +=
            {row.at(0).toString(), finiteOrZero(row.at(1).toDouble()), row.at(2).toString()};
    return LoadState::Loaded;
}

/// The id of ours with that name, 0 for none. Nothing when that could not be read.
std::optional<qlonglong> idByName(const QString &table, const QString &name)
{
    if (name.isEmpty())
        return 0;
    QList<SqlRow> rows;
    if (!QueryRows(nullptr,
                   "SELECT id FROM " + table + " WHERE name=" + sql::text(name) + " ORDER BY id;",
                   rows))
        return {};
    return rows.isEmpty() ? 0 : rows.first().first().toLongLong();
}

/// Copies one product after the other.
class Import
{
    Q_DECLARE_TR_FUNCTIONS(ReferenceImport)

public:
    explicit Import(ReferenceImport &result)
        : m_result(result)
    {
    }

    /// False when it makes no sense to go on.
    bool copy(qulonglong id);

    QuietStatements ourSide{mainConnection}; ///< keeps the first failure

private:
    bool makeLocal(ForeignProduct &foreign);
    TransactionStep write();
    bool writeCodes(qulonglong wareid);
    void note(const QString &text)
    {
        m_notes += m_foreign.product.name.simplified() + ": " + text;
    }

    ReferenceImport &m_result;
    ForeignProduct m_foreign;
    Product m_local;
    QStringList m_notes; ///< on the product that is being copied
    qulonglong m_formerId = 0;
    bool m_isKnown = false;
};

bool Import::copy(qulonglong id)
{
    m_foreign = {};
    m_formerId = 0;
    switch (readForeign(id, m_foreign)) {
    case LoadState::NotFound:
        ++m_result.refused;
        m_result.notes += tr("№ %1: его больше нет в справочной базе данных").arg(id);
        return true;
    case LoadState::Failed:
        return ourSide.fail(lastFailure(friendConnection));
    case LoadState::Loaded:
        break;
    }
    if (!makeLocal(m_foreign))
        return ourSide.fail(lastFailure());
    bool inDoubt = false; // write() finds what a former try has left
    const TransactionResult written =
        runInTransaction(nullptr, mainConnection, [this] { return write(); },
                         {.inDoubt = &inDoubt, .needs = {Command::EditProducts}});
    if (written.isDone())
        ++(m_isKnown ? m_result.known : m_result.copied);
    else
        ++m_result.refused;
    m_result.notes += m_notes;
    if (written.isDone() || written.state == TransactionState::Refused)
        return true;
    ourSide.fail(written.failure);
    return ourSide.canGoOn();
}

/// The product as it will be ours.
bool Import::makeLocal(ForeignProduct &foreign)
{
    const auto group = idByName("`groups`", foreign.group);
    const auto brand = idByName("brands", foreign.brand);
    const auto unit = idByName("units", foreign.product.unit);
    if (!group || !brand || !unit)
        return false;
    m_local = foreign.product;
    m_local.id = 0;
    m_local.name = m_local.name.simplified();
    m_local.article = m_local.article.simplified();
    m_local.groupid = *group;
    m_local.brandid = *brand;
    m_local.unitid = *unit;
    m_local.favoritid = 0;
    return true;
}

TransactionStep Import::write()
{
    m_notes.clear();
    m_isKnown = false;
    // Products that never had an identifier must not be taken for one another.
    if (!m_local.wuid.trimmed().isEmpty()) {
        QList<SqlRow> rows;
        if (!readLockedTable("warehouse",
                             "SELECT id FROM warehouse WHERE wuid=" + sql::text(m_local.wuid),
                             rows))
            return TransactionStep::Fail;
        if (!rows.isEmpty()) {
            m_isKnown = rows.first().first().toULongLong() != m_formerId;
            return TransactionStep::Done;
        }
    }
    qulonglong twin = 0;
    switch (findDuplicate(m_local, twin)) {
    case LoadState::Failed:
        return TransactionStep::Fail;
    case LoadState::Loaded:
        if (twin == m_formerId)
            return TransactionStep::Done;
        note(tr("такие имя и артикул уже есть у нас под кодом %1").arg(twin));
        return TransactionStep::Refuse;
    case LoadState::NotFound:
        break;
    }
    Product product = m_local;
    const QList<Currency> &currencies = Session::instance().currencies();
    if (!product.currency.isEmpty() &&
        std::none_of(currencies.begin(), currencies.end(),
                     [&](const Currency &currency) { return currency.code == product.currency; })) {
        note(tr("приходная цена не скопирована, валюты %1 у нас нет").arg(product.currency));
        product.incost = 0;
        product.inoutratio = 0;
        product.currency.clear();
    }
    const std::optional<qulonglong> id = insertProduct(nullptr, product, product);
    if (!id)
        return TransactionStep::Fail;
    m_formerId = *id;
    return writeCodes(*id) ? TransactionStep::Commit : TransactionStep::Fail;
}

bool Import::writeCodes(qulonglong wareid)
{
    for (const ForeignCode &foreign : std::as_const(m_foreign.codes)) {
        QList<SqlRow> rows;
        if (!readLockedTable("codes",
                             "SELECT wareid FROM codes WHERE code=" + sql::text(foreign.code) +
                                 " AND wareid!=0",
                             rows))
            return false;
        if (!rows.isEmpty()) {
            note(tr("штрих-код %1 уже присвоен наименованию %2")
                     .arg(foreign.code, rows.first().first().toString()));
            continue;
        }
        if (!QueryExec(nullptr,
                       "INSERT INTO codes(wareid,code,packquantity,madein,userid,timestamp) "
                       "VALUES(" +
                           sql::quotedId(wareid) + u',' + sql::text(foreign.code) + ",'" +
                           sql::exact(foreign.packQuantity) + "'," + sql::text(foreign.madein) +
                           u',' + sql::quotedId(Session::instance().user().id) + u',' + sql::now() +
                           ");"))
            return false;
    }
    return true;
}

} // namespace

QString ReferenceImport::text() const
{
    QString said = Import::tr("Скопировано: %1").arg(copied);
    if (known > 0)
        said += Import::tr(", уже были у нас: %1").arg(known);
    if (refused > 0)
        said += Import::tr(", не скопировано: %1").arg(refused);
    if (left > 0)
        said += Import::tr(", осталось: %1").arg(left);
    return said;
}

ReferenceImport importProducts(QWidget *parent, const QList<qulonglong> &ids,
                               const ProgressStep &progress)
{
    ReferenceImport result;
    Import import(result);
    Session::instance().refreshRates(parent, mainConnection);
    for (qsizetype i = 0; i < ids.size(); ++i) {
        if (goOn(progress, int(i), int(ids.size())) && import.copy(ids.at(i)))
            continue;
        result.left = int(ids.size() - i);
        break;
    }
    if (!import.ourSide.failure().text.isEmpty())
        showDatabaseFailure(parent, import.ourSide.failure(), {});
    return result;
}
