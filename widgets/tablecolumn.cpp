#include "widgets/tablecolumn.h"

#include <QStringList>

QString selectList(const QList<TableColumn> &columns)
{
    QStringList expressions;
    for (const TableColumn &column : columns)
        expressions += column.expression;
    return QStringLiteral("SELECT ") + expressions.join(QStringLiteral(", "));
}
