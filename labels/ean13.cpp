#include "labels/ean13.h"

#include <algorithm>
#include <array>

namespace {

constexpr int digitModules = 7;
constexpr int startGuard = 0;
constexpr int leftDigits = 3;
constexpr int middleGuard = 45;
constexpr int rightDigits = 50;
constexpr int endGuard = 92;

// Sets of the standard, the leftmost module in the highest of seven bits.
constexpr std::array<int, 10> setL = {0b0001101, 0b0011001, 0b0010011, 0b0111101, 0b0100011,
                                      0b0110001, 0b0101111, 0b0111011, 0b0110111, 0b0001011};
constexpr std::array<int, 10> setG = {0b0100111, 0b0110011, 0b0011011, 0b0100001, 0b0011101,
                                      0b0111001, 0b0000101, 0b0010001, 0b0001001, 0b0010111};
constexpr std::array<int, 10> setR = {0b1110010, 0b1100110, 0b1101100, 0b1000010, 0b1011100,
                                      0b1001110, 0b1010000, 0b1000100, 0b1001000, 0b1110100};
// Which of the six left digits are of set G, the leftmost in the highest bit.
constexpr std::array<int, 10> parity = {0b000000, 0b001011, 0b001101, 0b001110, 0b010011,
                                        0b011001, 0b011100, 0b010101, 0b010110, 0b011010};

int digitOf(QChar c)
{
    return c >= u'0' && c <= u'9' ? c.unicode() - u'0' : -1;
}

bool isGuard(int module)
{
    return module < leftDigits || module >= endGuard ||
           (module >= middleGuard && module < rightDigits);
}

} // namespace

QString ean13Text(const QString &code)
{
    return code.isEmpty() || code.size() > 13 ? QString() : code.rightJustified(13, u'0');
}

bool hasOnlyDigits(const QString &text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return digitOf(c) >= 0; });
}

int ean13DigitModule(int digit)
{
    if (digit == 0)
        return -digitModules;
    return digit < 7 ? leftDigits + (digit - 1) * digitModules
                     : rightDigits + (digit - 7) * digitModules;
}

std::bitset<ean13Modules> ean13Pattern(const QString &text)
{
    std::bitset<ean13Modules> black;
    for (const int module :
         {startGuard, startGuard + 2, middleGuard + 1, middleGuard + 3, endGuard, endGuard + 2})
        black.set(size_t(module));
    const int first = text.isEmpty() ? -1 : digitOf(text.front());
    const int ofSetG = first < 0 ? 0 : parity.at(size_t(first));
    for (int i = 1; i < 13 && i < text.size(); ++i) {
        const int digit = digitOf(text.at(i));
        if (digit < 0)
            continue;
        const auto &set = i > 6 ? setR : (ofSetG >> (6 - i)) & 1 ? setG : setL;
        for (int module = 0; module < digitModules; ++module)
            black.set(size_t(ean13DigitModule(i) + module),
                      (set.at(size_t(digit)) >> (digitModules - 1 - module)) & 1);
    }
    return black;
}

QList<Ean13Bar> ean13Bars(const QString &text)
{
    const std::bitset<ean13Modules> black = ean13Pattern(text);
    QList<Ean13Bar> bars;
    for (int module = 0; module < ean13Modules; ++module) {
        if (!black.test(size_t(module)))
            continue;
        if (!bars.isEmpty() && bars.last().end == module && bars.last().guard == isGuard(module))
            bars.last().end = module + 1;
        else
            bars += {module, module + 1, isGuard(module)};
    }
    return bars;
}
