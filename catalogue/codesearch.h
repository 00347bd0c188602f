#pragma once

#include <QString>
#include <QStringList>

#include "db/connections.h"

class QWidget;

/// Signs of the shortest barcode; what is shorter is a product number.
inline constexpr int shortestCode = 8;

/// What a text in the code field turned out to be.
enum class CodeKind {
    Nothing,  ///< no code at all: empty, or short and not a product id
    Product,  ///< a product of the local catalogue
    NotFound, ///< a code or id that belongs to no product
    Failed,   ///< the database did not answer; already reported
};

/// The product behind a code.
struct CodeResult
{
    CodeKind kind = CodeKind::Nothing;
    qulonglong wareid = 0;
    double packQuantity = 1; ///< units that one scan of the code stands for, always above 0
};

/// The text without what a scanner or the clipboard puts around and into it: outer blanks, control
/// characters (STX, GS, NUL, tabs, …) and invisible format characters.
QString cleanCode(const QString &text);

/// What a code may have been meant to be, the text itself first. A scanner presses keys; under a
/// Russian layout they arrive as Cyrillic letters and other signs, on the Russian typewriter layout
/// the digit row arrives as №-/":,._?% (for 1234567890). The later readings are what the same keys
/// give on the US layout. A text with Latin letters was not typed under a Russian layout, and one
/// with digits not on the typewriter's; then only foreign digits are turned into ASCII ones.
QStringList codeReadings(const QString &code);

/// A code as a scanner means it under any layout: for keeping. A text that can be one as it stands
/// is left alone.
QString plainCode(const QString &code);

/// Finds the product of a code or, for texts shorter than 8 characters, of a decimal product id.
/// Every reading of the code is looked up until one is known.
CodeResult lookUpCode(QWidget *parent, const QString &text);

/// The product of a row of `codes`, of the first reading of the code for which head + quoted
/// reading
/// + tail finds one; its columns are wareid and packquantity.
CodeResult lookUpReadings(QWidget *parent, const QString &code, const QString &head,
                          const QString &tail, const QString &connectionName = mainConnection);
