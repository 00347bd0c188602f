#pragma once

#include <QTest>

/// The columns of a case's data table: their types, and their names in the same order.
template<typename... Types, typename... Names>
void addColumns(Names... names)
{
    static_assert(sizeof...(Types) == sizeof...(Names));
    (QTest::addColumn<Types>(names), ...);
}

/// A row of that table: what is odd about it, then a value for each column.
template<typename... Values>
void addRow(const char *name, const Values &...values)
{
    (QTest::newRow(name) << ... << values);
}
