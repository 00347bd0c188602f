#pragma once

#include "widgets/sqltablemodel.h"

/// A table of products with their columns "enabled" and "quantity": inactive products grey, stock
/// at or below zero tinted. The colours follow the application's palette, light or dark.
class ColorSqlQueryModel final : public SqlTableModel
{
    Q_OBJECT

public:
    ColorSqlQueryModel(QObject *parent, const QList<TableColumn> &columns);

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    int m_enabledColumn;
    int m_stockColumn;
};
