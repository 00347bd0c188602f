#pragma once

#include <QList>
#include <QPair>
#include <QString>

#include <optional>

#include "db/query.h"

/// What the user wants to see of the catalogue.
struct ProductFilter
{
    QString text = {}; ///< words that article or name hold, or a whole barcode; empty: all
    std::optional<qulonglong> groupId = {};
    std::optional<qulonglong> brandId = {};
    bool showDisabled = false;
    int limit = 0; ///< rows at the most; 0: all
};

/// The SELECT of the product table.
QString productListQuery(const ProductFilter &filter);

/// An entry of a choice: id and the text shown.
using Choice = QPair<qulonglong, QString>;

/// The groups as a tree, children behind their parents with " - " before the name. A group whose
/// parent is missing, or that is its own ancestor, stands among the roots.
/// Rows: id, parent, name, in the order in which siblings are to stand.
QList<Choice> groupChoices(const QList<SqlRow> &rows);
