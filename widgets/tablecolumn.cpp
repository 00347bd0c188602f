#include "widgets/tablecolumn.h"

#include "db/money.h"

#include <QStringList>

QString shownText(const QVariant &value, ColumnKind kind)
{
    if (value.isNull())
        return {};
    switch (kind) {
    case ColumnKind::Money:
        return formatMoney(value.toDouble());
    case ColumnKind::Quantity:
        return formatQuantity(value.toDouble());
    case ColumnKind::Ratio:
        return formatFactor(value.toDouble(), 4);
    case ColumnKind::Factor:
        return formatFactor(value.toDouble());
    case ColumnKind::Text:
    case ColumnKind::Name:
    case ColumnKind::Time:
    case ColumnKind::Id:
        break;
    }
    return value.toString();
}

QString selectList(const QList<TableColumn> &columns)
{
    QStringList expressions;
    for (const TableColumn &column : columns)
        expressions += column.expression;
    return QStringLiteral("SELECT ") + expressions.join(QStringLiteral(", "));
}
