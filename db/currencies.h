#pragma once

#include <QList>
#include <QString>

#include <functional>

class QWidget;

/// One row of the table of currencies.
struct Currency
{
    qulonglong id = 0;
    QString code;     ///< c_code, the key used everywhere else
    QString symbol;   ///< shown beside amounts
    double value = 1; ///< units of the main currency that one unit of this one is worth
};

/// Rounds a computed selling price in the main currency: whole numbers up to 20, then steps of 5,
/// from 100 on steps of 10; the exact half goes down. Binary dust of the computation is ignored.
double roundSellingPrice(double price);

/// How far the recalculation of all selling prices came.
struct PriceRecalculation
{
    bool read = false; ///< the products and the rates
    int changed = 0;
    int failed = 0; ///< refused by the database one by one
    int left = 0;   ///< not tried any more: locks, rights, disks and lost servers stop them all
};

/// Writes anew the selling prices of all products with a fixed coefficient on a connection.
/// progress(done, total) is called for every row. Failed rows are reported and passed over.
PriceRecalculation
recalculateSellingPrices(QWidget *parent, const QString &connectionName,
                         const std::function<void(int done, int total)> &progress);
