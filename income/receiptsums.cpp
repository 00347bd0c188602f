#include "income/receiptsums.h"

#include <QString>

#include <cmath>

namespace {

constexpr int meantDigits = 15; ///< significant decimal digits that a double always holds

} // namespace

void AmountSum::add(double price, double quantity)
{
    m_sum += static_cast<long double>(price) * quantity;
}

double AmountSum::value() const
{
    const auto sum = static_cast<double>(m_sum);
    return std::isfinite(sum) ? QString::number(sum, 'g', meantDigits).toDouble() : sum;
}
