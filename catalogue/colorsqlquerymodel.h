#pragma once

#include "widgets/sqltablemodel.h"

/// The product table: inactive products grey, stock at or below zero tinted. The colours follow
/// the application's palette, light or dark.
class ColorSqlQueryModel final : public SqlTableModel
{
    Q_OBJECT

public:
    explicit ColorSqlQueryModel(QObject *parent = nullptr);

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    int m_enabledColumn;
    int m_stockColumn;
};
