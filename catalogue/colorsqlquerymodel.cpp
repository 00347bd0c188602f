#include "catalogue/colorsqlquerymodel.h"

#include "widgets/colors.h"

#include <QColor>
#include <QGuiApplication>
#include <QPalette>

namespace {

constexpr int enabledColumn = 1;
constexpr int stockColumn = 5;

} // namespace

ColorSqlQueryModel::ColorSqlQueryModel(QObject *parent)
    : SqlTableModel(parent)
{
    setColumns({tr("Код"), QString(), tr("Арт."), tr("Наименование"), tr("Цена"), tr("Остаток"),
                tr("Ед.")},
               {ColumnKind::Number, ColumnKind::Plain, ColumnKind::Plain, ColumnKind::Name,
                ColumnKind::Money, ColumnKind::Quantity, ColumnKind::Plain});
}

QVariant ColorSqlQueryModel::data(const QModelIndex &index, int role) const
{
    if (role == Qt::ForegroundRole && value(index.row(), enabledColumn).toInt() <= 0) {
        // Halfway between text and background: pale, yet readable on both kinds of palette.
        const QPalette palette = QGuiApplication::palette();
        return blendColors(palette.color(QPalette::Text), palette.color(QPalette::Base), 0.45);
    }
    if (role == Qt::BackgroundRole && value(index.row(), stockColumn).toDouble() <= 0) {
        return blendColors(QGuiApplication::palette().color(QPalette::Base), QColor(220, 60, 40),
                           0.16);
    }
    return SqlTableModel::data(index, role);
}
