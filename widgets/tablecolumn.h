#pragma once

#include <QList>
#include <QString>
#include <QVariant>

/// How a column's values are shown.
enum class ColumnKind {
    Text,     ///< as the database returns it
    Name,     ///< as Text; a tool tip shows what the column is too narrow for
    Time,     ///< as Text
    Id,       ///< a whole number, to the right
    Money,    ///< two decimals, a bare ".00" dropped
    Quantity, ///< up to three decimals
    Ratio,    ///< a computed coefficient, up to four decimals
    Factor,   ///< a coefficient or rate as somebody entered it, with all its decimals
};

/// How much of a table's width a column gets.
enum class ColumnWidth {
    Contents, ///< what its contents ask for, within limits
    Whole,    ///< the same, and never less: a price that is cut off is a wrong price
    Rest,     ///< what the others leave; one column of a table
    Lesser,   ///< as Contents, but pushed out of sight before Rest becomes illegible
    Hidden,   ///< none
};

/// A column of a table: what is read for it and how it is shown.
struct TableColumn
{
    QString key;        ///< by which the program asks for its values; of the row's id: "id"
    QString expression; ///< in the SELECT, with its alias if it has one
    QString header = {};
    ColumnKind kind = ColumnKind::Text;
    ColumnWidth width = ColumnWidth::Contents;
};

/// A value as a column of that kind shows it; empty for none.
QString shownText(const QVariant &value, ColumnKind kind);

/// "SELECT " and the expressions of the columns.
QString selectList(const QList<TableColumn> &columns);
