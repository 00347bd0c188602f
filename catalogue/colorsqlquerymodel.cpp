#include "catalogue/colorsqlquerymodel.h"

#include "widgets/colors.h"

#include <QColor>
#include <QGuiApplication>
#include <QPalette>

ColorSqlQueryModel::ColorSqlQueryModel(QObject *parent, const QList<TableColumn> &columns)
    : SqlTableModel(parent)
{
    setColumns(columns);
    m_enabledColumn = columnOf(QStringLiteral("enabled"));
    m_stockColumn = columnOf(QStringLiteral("quantity"));
}

QVariant ColorSqlQueryModel::data(const QModelIndex &index, int role) const
{
    if (role == Qt::ForegroundRole && value(index.row(), m_enabledColumn).toInt() <= 0) {
        // Halfway between text and background: pale, yet readable on both kinds of palette.
        const QPalette palette = QGuiApplication::palette();
        return blendColors(palette.color(QPalette::Text), palette.color(QPalette::Base), 0.45);
    }
    if (role == Qt::BackgroundRole && value(index.row(), m_stockColumn).toDouble() <= 0) {
        return blendColors(QGuiApplication::palette().color(QPalette::Base), QColor(220, 60, 40),
                           0.16);
    }
    return SqlTableModel::data(index, role);
}
