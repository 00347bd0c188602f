#include "catalogue/productlist.h"

#include "catalogue/barcode.h"
#include "db/sqltext.h"

#include <QCoreApplication>
#include <QHash>
#include <QSet>
#include <QStringList>

#include <functional>

namespace {

/// Groups that are looked up each for itself; a database knows a limit for UNION.
constexpr qsizetype mostParts = 200;

struct ProductList
{
    Q_DECLARE_TR_FUNCTIONS(ProductList)
};

/// Every word stands in the article or in the name; or the whole is a barcode of the product.
QString textCondition(const QString &text)
{
    QStringList words;
    const QStringList parts = text.split(u' ', Qt::SkipEmptyParts);
    for (const QString &word : parts) {
        const QString pattern = sql::containing(word);
        words += QStringLiteral("(`warehouse`.`article` LIKE ") + pattern +
                 QStringLiteral(" OR `warehouse`.`name` LIKE ") + pattern + u')';
    }
    QString condition = words.join(QStringLiteral(" AND "));
    if (looksLikeBarcode(text)) {
        condition = u'(' + condition +
                    QStringLiteral(") OR warehouse.id IN (SELECT wareid FROM codes WHERE code=") +
                    sql::text(text) + u')';
    }
    return QStringLiteral(" (") + condition + u')';
}

/// Each with a blank in front.
QStringList productConditions(const ProductFilter &filter)
{
    QStringList conditions;
    if (!filter.showDisabled)
        conditions += QStringLiteral(" `warehouse`.`enabled`>0");
    if (filter.groupId && filter.subgroups) {
        const QString group = sql::id(*filter.groupId);
        conditions += QStringLiteral(" (`warehouse`.`groupid`=") + group +
                      QStringLiteral(" OR `groups`.`parent`=") + group + u')';
    } else if (filter.groupId) {
        conditions += QStringLiteral(" `warehouse`.`groupid`=") + sql::quotedId(*filter.groupId);
    }
    if (filter.inStock)
        conditions += QStringLiteral(" `warehouse`.`quantity`>0");
    if (filter.brandId)
        conditions += QStringLiteral(" `warehouse`.`brandid`='") + sql::id(*filter.brandId) + u'\'';
    if (!filter.text.isEmpty())
        conditions += textCondition(filter.text);
    return conditions;
}

} // namespace

QList<TableColumn> productColumns()
{
    return {
        {"id", "warehouse.id", ProductList::tr("Код"), ColumnKind::Id},
        {"enabled", "warehouse.enabled", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"article", "warehouse.article", ProductList::tr("Арт.")},
        {"name", "warehouse.name", ProductList::tr("Наименование"), ColumnKind::Name,
         ColumnWidth::Rest},
        {"outcost", "warehouse.outcost", ProductList::tr("Цена"), ColumnKind::Money,
         ColumnWidth::Whole},
        {"quantity", "warehouse.quantity", ProductList::tr("Остаток"), ColumnKind::Quantity,
         ColumnWidth::Whole},
        {"unit", "units.name", ProductList::tr("Ед.")},
    };
}

std::optional<PagedSelect> productPages(QWidget *parent, const ProductFilter &filter,
                                        const QList<TableColumn> &columns, const QString &joins)
{
    const QString select = selectList(columns) +
                           "  FROM warehouse LEFT JOIN units ON units.id=warehouse.unitid LEFT "
                           "JOIN `groups` ON `groups`.`id`=`warehouse`.`groupid`" +
                           joins;
    ProductFilter rest = filter;
    rest.groupId.reset();
    QStringList part = productConditions(rest);
    PagedSelect list = {.select = select,
                        .table = QStringLiteral("warehouse"),
                        .order = QStringLiteral("name"),
                        .conditions = productConditions(filter),
                        .parts = {part.join(QStringLiteral(" AND"))},
                        .searched = (!filter.text.isEmpty() || filter.inStock) && !filter.groupId &&
                                    !filter.brandId};
    if (!filter.groupId)
        return list;
    QList<SqlRow> children;
    if (filter.subgroups && !QueryRows(parent,
                                       "SELECT id FROM `groups` WHERE parent=" +
                                           sql::id(*filter.groupId) + " ORDER BY id;",
                                       children))
        return std::nullopt;
    QStringList groups = {sql::id(*filter.groupId)};
    for (const SqlRow &child : std::as_const(children))
        groups += sql::id(child.first().toULongLong());
    groups.removeDuplicates();
    if (groups.size() > mostParts)
        groups = {groups.join(u',')};
    list.parts.clear();
    for (const QString &group : std::as_const(groups)) {
        list.parts +=
            (part + QStringList{QStringLiteral(" `warehouse`.`groupid` IN (") + group + u')'})
                .join(QStringLiteral(" AND"));
    }
    return list;
}

QString groupsQuery()
{
    return QStringLiteral("SELECT id, parent, name FROM `groups` ORDER BY parent, name;");
}

QList<GroupNode> groupTree(const QList<SqlRow> &rows)
{
    QSet<qulonglong> ids;
    for (const SqlRow &row : rows)
        ids += row.at(0).toULongLong();
    QHash<qulonglong, QList<qsizetype>> children; // rows by parent, 0: the roots
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const qulonglong parent = rows.at(i).at(1).toULongLong();
        const bool isChild = ids.contains(parent) && parent != rows.at(i).at(0).toULongLong();
        children[isChild ? parent : 0] += i;
    }

    QList<GroupNode> tree;
    QSet<qsizetype> placed;
    const std::function<void(qsizetype, int)> place = [&](qsizetype i, int depth) {
        if (placed.contains(i))
            return;
        placed += i;
        const qulonglong id = rows.at(i).at(0).toULongLong();
        tree += {.id = id, .name = rows.at(i).at(2).toString(), .depth = depth};
        for (const qsizetype child : children.value(id))
            place(child, depth + 1);
    };
    for (const qsizetype root : children.value(0))
        place(root, 0);
    // What hangs in a circle has no root of its own.
    for (qsizetype i = 0; i < rows.size(); ++i)
        place(i, 0);
    return tree;
}

QList<Choice> groupChoices(const QList<SqlRow> &rows)
{
    QList<Choice> choices;
    const QList<GroupNode> tree = groupTree(rows);
    for (const GroupNode &node : tree)
        choices += {node.id, QStringLiteral(" - ").repeated(node.depth) + node.name};
    return choices;
}
