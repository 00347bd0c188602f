#pragma once

#include <QList>
#include <QPair>
#include <QString>

#include <optional>

#include "db/query.h"
#include "widgets/pagedselect.h"
#include "widgets/tablecolumn.h"

/// What the user wants to see of the catalogue.
struct ProductFilter
{
    QString text = {}; ///< words that article or name hold, or a whole barcode; empty: all
    std::optional<qulonglong> groupId = {};
    std::optional<qulonglong> brandId = {};
    bool showDisabled = false;
    bool subgroups = true; ///< with a group: those of its children, too
    bool inStock = false;  ///< only what there is some of
};

/// The columns of the product table.
QList<TableColumn> productColumns();

/// The product table, or products with other columns and what is joined for them, for reading page
/// by page. Nothing when the groups could not be read, which is reported over the parent.
std::optional<PagedSelect> productPages(QWidget *parent, const ProductFilter &filter,
                                        const QList<TableColumn> &columns = productColumns(),
                                        const QString &joins = {});

/// A group in the tree of groups.
struct GroupNode
{
    qulonglong id = 0;
    QString name;
    int depth = 0; ///< 0: a root
};

/// The SELECT whose rows groupTree() and groupChoices() take: id, parent, name, siblings in the
/// order in which they are to stand.
QString groupsQuery();

/// The groups as a tree, children behind their parents. A group whose parent is missing, or that is
/// its own ancestor, stands among the roots.
QList<GroupNode> groupTree(const QList<SqlRow> &rows);

/// An entry of a choice: id and the text shown.
using Choice = QPair<qulonglong, QString>;

/// The tree of groups as a list, " - " before the name for each step down.
QList<Choice> groupChoices(const QList<SqlRow> &rows);
