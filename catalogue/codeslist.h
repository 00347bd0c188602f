#pragma once

#include <QList>
#include <QString>

#include <optional>

#include "widgets/pagedselect.h"
#include "widgets/tablecolumn.h"

class QWidget;

/// Which barcodes the user wants to see.
struct CodeFilter
{
    QString code = {}; ///< its beginning, with the signs of LIKE; empty: any
    QString name = {}; ///< a part of the product's name, the same; empty: any
};

/// The columns of the list of barcodes.
QList<TableColumn> codeColumns();

/// The barcodes of products that are being sold, in the order of their names, for reading page by
/// page. Nothing on failure, which is reported over the parent.
std::optional<PagedSelect> codePages(QWidget *parent, const CodeFilter &filter);
