#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/// How values get into statements; nothing else puts a value into SQL text.
namespace sql {

/// A text as databases can store it: without U+0000 and halves of characters.
QString storable(const QString &value);

/// A text value, as far as it is storable, in single quotes, each quote inside doubled.
QString text(const QString &value);

/// A real number in general format with at most 6 significant digits and a decimal point.
QString number(double value);

/// A real number without loss: fixed notation, no exponent, the shortest text that reads back
/// equal. For amounts and quantities that are added up.
QString exact(double value);

/// A row id or another whole number.
QString id(qulonglong value);

/// The same in single quotes.
QString quotedId(qulonglong value);

/// Row ids parted by commas, as many in each text as one statement has room for.
QStringList idLists(const QList<qulonglong> &ids);

/// A signed whole number.
QString integer(qlonglong value);

/// The current local time in quotes, "yyyy-MM-dd hh:mm:ss".
QString now();

/// What a LIKE compares with to find the text anywhere in a column, quotes and ESCAPE included:
/// `'%' text '%' ESCAPE '!'`. Signs of the text that LIKE would interpret stand for themselves.
QString containing(const QString &value);

/// The same to find the text at the beginning of a column.
QString beginning(const QString &value);

} // namespace sql

/// The current local time as "yyyy-MM-dd hh:mm:ss".
QString currentTimestamp();
