#include "catalogue/waresave.h"

#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "catalogue/productstore.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <QStringList>

#include <algorithm>
#include <utility>

namespace {

const QStringList priceColumns = {"incost", "currency", "inoutratio", "outcost"};

PriceSet pricesOf(const Product &product)
{
    return {.incost = product.incost,
            .currency = product.currency,
            .inoutratio = product.inoutratio,
            .outcost = product.outcost};
}

bool runAll(const QStringList &statements)
{
    return std::all_of(statements.begin(), statements.end(),
                       [](const QString &statement) { return QueryExec(nullptr, statement); });
}

} // namespace

LoadState WareSave::load(QWidget *parent, qulonglong id)
{
    Product product;
    const LoadState state = loadProduct(parent, id, ProductColumns::Card, product);
    if (state == LoadState::Loaded) {
        begin(product);
        m_id = id;
    }
    return state;
}

void WareSave::begin(const Product &product)
{
    m_id = 0;
    m_given = product;
    m_seen = product;
    m_inDoubt = false;
}

qulonglong WareSave::id() const
{
    return m_id;
}

const Product &WareSave::given() const
{
    return m_given;
}

Product WareSave::tidy(Product product)
{
    for (QString *text : {&product.name, &product.article, &product.keywords})
        *text = sql::storable(*text).simplified();
    return product;
}

qulonglong WareSave::duplicateId() const
{
    return m_duplicateId;
}

const Product &WareSave::seen() const
{
    return m_seen;
}

const Product &WareSave::now() const
{
    return m_now;
}

void WareSave::acknowledge()
{
    m_seen = m_now;
}

Product WareSave::takeOver(Product mine)
{
    const QStringList columns = changedColumns(m_seen, m_now);
    for (const QString &column : columns) {
        const QVariant now = productValue(m_now, column);
        if (productValue(mine, column) != productValue(m_seen, column))
            continue;
        setProductValue(mine, column, now);
        setProductValue(m_given, column, now);
    }
    acknowledge();
    return mine;
}

void WareSave::beginAnew()
{
    m_goneId = std::exchange(m_id, 0);
}

WareSaveState WareSave::save(QWidget *parent, const Product &product)
{
    const Product tidied = tidy(product);
    const qulonglong before = m_id;
    // The first prices of a product belong to its card.
    const bool priced =
        before != 0 && std::any_of(priceColumns.begin(), priceColumns.end(), [&](const auto &name) {
            return productValue(tidied, name) != productValue(m_seen, name);
        });
    const QList<Command> needs =
        priced ? QList{Command::EditProducts, Command::ChangePrices} : QList{Command::EditProducts};
    const TransactionResult result = runInTransaction(parent, mainConnection,
                                                      [&] {
                                                          m_id = before;
                                                          return write(tidied);
                                                      },
                                                      {.inDoubt = &m_inDoubt, .needs = needs});
    if (result.isDone()) {
        if (before != 0)
            notePrices(tr("Цены наименования %1").arg(notedProduct(m_id, tidied.name)),
                       pricesOf(m_seen), pricesOf(tidied));
        m_seen = tidied;
        return WareSaveState::Saved;
    }
    if (result.state == TransactionState::Refused)
        return m_state;
    if (before == 0)
        m_id = 0;
    tell(parent, result);
    return WareSaveState::Failed;
}

void WareSave::tell(QWidget *parent, const TransactionResult &result) const
{
    if (result.state == TransactionState::Unknown)
        showFailure(parent,
                    tr("Связь с базой данных прервалась во время записи. Неизвестно, записано ли "
                       "наименование: сохраните его ещё раз, дважды оно не появится."),
                    result.failure.words());
    else if (!result.givenUp)
        showDatabaseFailure(parent, result.failure, tr("Наименование не записано."));
}

TransactionStep WareSave::refuse(WareSaveState state)
{
    m_state = state;
    return TransactionStep::Refuse;
}

TransactionStep WareSave::write(const Product &product)
{
    m_recovered = false;
    if (m_inDoubt && m_id == 0 && !findFormer())
        return TransactionStep::Fail;
    // Before the row itself: who locks both does it in this order.
    Product wanted = product;
    wanted.id = m_id;
    switch (findDuplicate(wanted, m_duplicateId)) {
    case LoadState::Loaded:
        return refuse(WareSaveState::Duplicate);
    case LoadState::Failed:
        return TransactionStep::Fail;
    case LoadState::NotFound:
        break;
    }
    return m_id == 0 ? writeNew(wanted) : writeStored(wanted);
}

/// Whether a COMMIT without an answer has left the new product behind: then it is a stored one.
bool WareSave::findFormer()
{
    Product stored;
    const LoadState state = lockProduct(m_formerId, stored);
    if (state == LoadState::Loaded && stored.name == m_former.name &&
        stored.article == m_former.article) {
        m_id = m_formerId;
        m_seen = stored;
        m_recovered = true;
    }
    return state != LoadState::Failed;
}

TransactionStep WareSave::writeNew(const Product &product)
{
    m_inDoubt = false;
    const std::optional<qulonglong> id = insertProduct(nullptr, product, m_given);
    if (!id)
        return TransactionStep::Fail;
    m_id = *id;
    m_formerId = *id;
    m_former = product;
    Product added = product;
    added.id = *id;
    return takeWaitingRows() && follow(added, 0) ? TransactionStep::Commit : TransactionStep::Fail;
}

TransactionStep WareSave::writeStored(const Product &product)
{
    switch (lockProduct(m_id, m_now)) {
    case LoadState::NotFound:
        return refuse(WareSaveState::Gone);
    case LoadState::Failed:
        return TransactionStep::Fail;
    case LoadState::Loaded:
        break;
    }
    const QStringList changed = changedColumns(m_seen, m_now);
    if (m_inDoubt || !changed.isEmpty()) {
        const QStringList unwritten = unwrittenColumns(product, m_now);
        if (m_inDoubt && unwritten.isEmpty() && !m_recovered)
            return TransactionStep::Done;
        if (std::any_of(changed.begin(), changed.end(),
                        [&](const QString &column) { return unwritten.contains(column); }))
            return refuse(WareSaveState::Changed);
    }
    m_inDoubt = m_recovered; // until it is written whole it may be taken for a new one
    if (updateProduct(nullptr, product, m_given) != WriteState::Written)
        return TransactionStep::Fail;
    // Since the former try more rows may have come to wait.
    return follow(product, m_now.outcost) && (!m_recovered || takeWaitingRows())
               ? TransactionStep::Commit
               : TransactionStep::Fail;
}

/// What a new selling price brings: labels, and the lines of the receipt whose price is not bound
/// to a coefficient.
bool WareSave::follow(const Product &product, double before) const
{
    if (pricesEqual(before, product.outcost))
        return true;
    const QString price = product.outcost == m_given.outcost ? sql::exact(product.outcost)
                                                             : sql::number(product.outcost);
    return runAll(priceMark({.wareid = product.id, .before = before, .after = product.outcost},
                            MarkRule::AnyStock)) &&
           QueryExec(nullptr, "UPDATE incomeinvoice SET outcost='" + price + "' WHERE wareid='" +
                                  sql::id(product.id) + "' AND inoutratio=0");
}

/// Rows that were entered for the product before it had a number, or when it had another one.
bool WareSave::takeWaitingRows() const
{
    const QString ofUser = " AND userid=" + sql::quotedId(Session::instance().user().id);
    const QPair<const char *, QString> tables[] = {
        {"images", {}},         {"codes", ofUser},      {"articles", {}},
        {"wareproperties", {}}, {"waretranslates", {}}, {"collectionproducts", ofUser}};
    QStringList statements;
    for (const auto &[table, condition] : tables) {
        const QString take = QLatin1String("UPDATE ") + QLatin1String(table) +
                             " SET wareid=" + sql::quotedId(m_id) + " WHERE wareid='";
        statements += take + "0'" + condition + u';';
        if (m_goneId != 0)
            statements += take + sql::id(m_goneId) + "';";
    }
    return runAll(statements);
}
