#include "catalogue/productgroups.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QCoreApplication>
#include <QSqlQuery>

#include <algorithm>

namespace {

struct ProductGroups
{
    Q_DECLARE_TR_FUNCTIONS(ProductGroups)
};

} // namespace

std::optional<qulonglong> commonGroup(QWidget *parent, const QList<qulonglong> &ids)
{
    std::optional<qulonglong> common;
    for (const QString &list : sql::idLists(ids)) {
        QList<SqlRow> rows;
        if (!QueryRows(parent,
                       "SELECT DISTINCT COALESCE(groupid,0) FROM warehouse WHERE id IN (" + list +
                           ");",
                       rows))
            return {};
        for (const SqlRow &row : std::as_const(rows)) {
            const qulonglong group = row.first().toULongLong();
            if (common.value_or(group) != group)
                return {};
            common = group;
        }
    }
    return common;
}

GroupChange changeGroup(QWidget *parent, QList<qulonglong> ids, qulonglong group)
{
    // Two stations that go through the same products in one order do not lock each other out.
    std::sort(ids.begin(), ids.end());
    GroupChange change;
    const TransactionResult result =
        runInTransaction(nullptr, mainConnection,
                         [&] {
                             change = {};
                             for (const qulonglong id : std::as_const(ids)) {
                                 QSqlQuery query;
                                 if (!QueryExec(nullptr,
                                                "UPDATE warehouse SET groupid='" + sql::id(group) +
                                                    "' WHERE id='" + sql::id(id) + "';",
                                                query))
                                     return TransactionStep::Fail;
                                 ++(query.numRowsAffected() > 0 ? change.changed : change.missing);
                             }
                             return TransactionStep::Commit;
                         },
                         {.needs = {Command::EditProducts}});
    change.done = result.isDone();
    if (change.done)
        return change;
    if (result.state == TransactionState::Unknown)
        showFailure(parent,
                    ProductGroups::tr("Связь с базой данных прервалась во время записи. "
                                      "Неизвестно, изменена ли группа: обновите список и "
                                      "проверьте."),
                    result.failure.words());
    else
        showDatabaseFailure(parent, result.failure, {},
                            ProductGroups::tr("Группа не изменена ни у одного наименования."));
    return {};
}
