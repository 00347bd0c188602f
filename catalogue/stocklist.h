#pragma once

#include <QList>
#include <QString>

#include <optional>

#include "catalogue/productlist.h"

class QWidget;

/// The columns of the stock view; purchase prices in the main currency by the rates that the
/// session has.
QList<TableColumn> stockColumns();

/// The products of the stock view, for reading page by page. Nothing on failure, which is reported
/// over the parent.
std::optional<PagedSelect> stockPages(QWidget *parent, const ProductFilter &filter);

/// What the products of a stock view are worth.
struct StockTotals
{
    qlonglong products = 0;
    double purchase = 0; ///< main currency
    double selling = 0;
};

/// Adds the stock view up in the database, a stretch of it at a time, so that a window can have its
/// turn in between.
class StockSum
{
public:
    /// The products of a list made by stockPages().
    explicit StockSum(const PagedSelect &list);

    /// Adds the next stretch. False on failure, which is told to nobody.
    bool addNext();

    bool isDone() const;
    const StockTotals &totals() const;

private:
    QString m_from; ///< with the conditions
    QString m_sums;
    qulonglong m_highest = 0;
    qulonglong m_done = 0; ///< the ids up to here
    bool m_begun = false;
    StockTotals m_totals;
};
