#pragma once

#include <QString>

/// One row of the table of currencies.
struct Currency
{
    qulonglong id = 0;
    QString code;     ///< c_code, the key used everywhere else
    QString symbol;   ///< shown beside amounts
    double value = 1; ///< units of the main currency that one unit of this one is worth
};

/// The number that a computation with decimal fractions means: 90 * 1.4 is 126, though its double
/// is a little less.
double tidied(double price);

/// Rounds a computed selling price in the main currency: whole numbers up to 20, then steps of 5,
/// from 100 on steps of 10; the exact half goes down. Binary dust of the computation is ignored.
double roundSellingPrice(double price);
