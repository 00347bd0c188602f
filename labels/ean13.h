#pragma once

#include <QList>
#include <QString>

#include <bitset>

/// A symbol has so many modules from its first bar to its last.
inline constexpr int ean13Modules = 95;

/// A black stretch of a symbol, in modules from its first bar on.
struct Ean13Bar
{
    int begin = 0;
    int end = 0;        ///< the module behind it
    bool guard = false; ///< of the start, the middle or the end; it reaches further down

    bool operator==(const Ean13Bar &) const = default;
};

/// A code as a symbol carries it: a shorter one with zeros before it, 13 characters. Empty for a
/// code that is too long, and for none at all.
QString ean13Text(const QString &code);

/// Whether a text holds nothing but the digits 0 to 9.
bool hasOnlyDigits(const QString &text);

/// The black modules of 13 characters. One that is no digit leaves its place white; without a first
/// digit the others are as for 0.
std::bitset<ean13Modules> ean13Pattern(const QString &text);

/// The same as stretches, from left to right.
QList<Ean13Bar> ean13Bars(const QString &text);

/// In which module of the symbol the pattern of a digit begins; of the first one, which has none,
/// where its sign stands before the symbol.
int ean13DigitModule(int digit);
