#pragma once

#include <QString>

/// An amount of the main currency rounded to two decimals, halves away from zero on its shortest
/// decimal text (2.675 gives 2.68).
double roundMoney(double amount);

/// An amount as shown on screen: two decimals, a bare ".00" dropped ("0", "12.50", "1234567.89").
QString formatMoney(double amount);

/// A quantity as shown on screen: up to 3 decimals, no trailing zeros.
QString formatQuantity(double quantity);

/// A coefficient or a rate as shown on screen: all the decimals it has, or, for one that was
/// computed, at most so many.
QString formatFactor(double factor, int mostDecimals = 15);
