#pragma once

#include <QList>
#include <QString>

#include <optional>

#include "db/connections.h"

class QWidget;

/// How a discounted price is rounded; any other number stands for not at all.
enum class DiscountRounding { None = 0, Nearest = 1, Up = 2, Down = 3 };

/// A discount: a row of `discounts`.
struct Discount
{
    qulonglong id = 0;
    int type = 0; ///< above 0: in use
    double minimumquantity = 0;
    double percent = 0;   ///< of the price, 0 to 100
    int roundingtype = 0; ///< a DiscountRounding
    QString name = {};
    QString code = {};
    QString starttime = {}; ///< "yyyy-MM-dd hh:mm:ss", itself included, as endtime is
    QString endtime = {};
    qulonglong userid = 0;
    QString ctime = {};
};

/// The discounts that hold for a product now, its own before those of its group. Nothing when they
/// could not be read, which is told over the parent: some of them may give another price.
std::optional<QList<Discount>> loadDiscounts(QWidget *parent, qulonglong wareid,
                                             const QString &connectionName = mainConnection);

/// The price, main currency, after the discount with that index. An index outside of the list or a
/// quantity below the discount's minimum leaves it as it is.
double discountedPrice(const QList<Discount> &discounts, qsizetype index, double price,
                       double quantity);

/// The index of the discount that takes most off at this quantity, the first of equal ones; -1 when
/// none does. onlyFirstType: others than those of type 1 are not looked at.
qsizetype bestDiscount(const QList<Discount> &discounts, bool onlyFirstType, double quantity);
