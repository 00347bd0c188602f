#include "db/currencies.h"

#include <cmath>

double tidied(double price)
{
    constexpr int safeDigits = 15; // beyond a million a double has fewer than 9 decimals left
    constexpr int decimals = 9;
    const double digits = QString::number(price, 'g', safeDigits).toDouble();
    return QString::number(digits, 'f', decimals).toDouble();
}

double roundSellingPrice(double price)
{
    if (!std::isfinite(price))
        return price;
    const double exact = tidied(price);
    const double whole = std::trunc(exact) + 0.0; // never "-0"
    if (exact <= 20)
        return whole;
    const double step = exact < 100 ? 5 : 10;
    const double rest = std::fmod(whole, step); // exact also where the price is beyond 64 bits
    return whole - rest + (rest > step / 2 ? step : 0);
}
