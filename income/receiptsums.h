#pragma once

/// Adds up prices times quantities without the dust of binary fractions: three times 0.335 is
/// 1.005, which becomes 1.01 on screen, and not a little less.
class AmountSum
{
public:
    void add(double price, double quantity = 1);

    /// The sum, unrounded; infinite or NaN when an amount was.
    double value() const;

private:
    long double m_sum = 0;
};
