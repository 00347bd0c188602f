#pragma once

#include <QTest>

#include <tuple>

namespace datatable {

inline QList<const char *> columns; ///< of the case that runs

} // namespace datatable

/// The columns of a case's data table: their types, and their names in the same order.
template<typename... Types, typename... Names>
void addColumns(Names... names)
{
    static_assert(sizeof...(Types) == sizeof...(Names));
    datatable::columns = {names...};
    (QTest::addColumn<Types>(names), ...);
}

/// A row of that table: what is odd about it, then a value for each column.
template<typename... Values>
void addRow(const char *name, const Values &...values)
{
    (QTest::newRow(name) << ... << values);
}

/// The values of the row that runs, of the types given to addColumns().
template<typename... Types>
std::tuple<Types...> rowValues()
{
    auto column = datatable::columns.cbegin();
    const auto next = [&column](int type) {
        return QTest::qData(*column++, type);
    };
    return {*static_cast<Types *>(next(qMetaTypeId<Types>()))...};
}
