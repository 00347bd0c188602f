#include "catalogue/productgroups.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QCoreApplication>
#include <QSqlQuery>
#include <QStringList>

#include <algorithm>

namespace {

/// Ids that go into one statement; its length is limited.
constexpr int idsPerStatement = 1000;

struct ProductGroups
{
    Q_DECLARE_TR_FUNCTIONS(ProductGroups)
};

GroupChange refused(QWidget *parent)
{
    if (lastOutcomeUnknown()) {
        showFailure(
            parent,
            ProductGroups::tr("Связь с базой данных прервалась во время записи. Неизвестно, "
                              "изменена ли группа: обновите список и проверьте."),
            lastQueryError());
    } else {
        showLastFailure(parent, {},
                        ProductGroups::tr("Группа не изменена ни у одного наименования."));
    }
    return {};
}

} // namespace

std::optional<qulonglong> commonGroup(QWidget *parent, const QList<qulonglong> &ids)
{
    std::optional<qulonglong> common;
    for (qsizetype first = 0; first < ids.size(); first += idsPerStatement) {
        QStringList texts;
        for (const qulonglong id : ids.mid(first, idsPerStatement))
            texts += sql::id(id);
        QList<SqlRow> rows;
        if (!QueryRows(parent,
                       "SELECT DISTINCT COALESCE(groupid,0) FROM warehouse WHERE id IN (" +
                           texts.join(u',') + ");",
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
    TransactionGuard transaction;
    if (!transaction.isActive())
        return refused(parent);
    GroupChange result;
    for (const qulonglong id : std::as_const(ids)) {
        QSqlQuery query;
        if (!QueryExec(nullptr,
                       "UPDATE warehouse SET groupid='" + sql::id(group) + "' WHERE id='" +
                           sql::id(id) + "';",
                       query)) {
            transaction.rollback();
            return refused(parent);
        }
        ++(query.numRowsAffected() > 0 ? result.changed : result.missing);
    }
    result.done = transaction.commit();
    return result.done ? result : refused(parent);
}
