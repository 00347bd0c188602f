#include "income/colorsqlquerymodel.h"

#include <QColor>
#include <QGuiApplication>
#include <QPalette>

namespace {

constexpr int enabledColumn = 1;
constexpr int stockColumn = 5;

/// A colour that lies the given part of the way from one to another.
QColor blend(const QColor &from, const QColor &to, double part)
{
    const auto mix = [part](int a, int b) {
        return qRound(a + (b - a) * part);
    };
    return QColor(mix(from.red(), to.red()), mix(from.green(), to.green()),
                  mix(from.blue(), to.blue()));
}

} // namespace

ColorSqlQueryModel::ColorSqlQueryModel(QObject *parent)
    : SqlTableModel(parent)
{
    setColumns({tr("Код"), QString(), tr("Арт."), tr("Наименование"), tr("Цена"), tr("Остаток"),
                tr("Ед.")},
               {ColumnKind::Number, ColumnKind::Plain, ColumnKind::Plain, ColumnKind::Plain,
                ColumnKind::Money, ColumnKind::Quantity, ColumnKind::Plain});
}

QVariant ColorSqlQueryModel::data(const QModelIndex &index, int role) const
{
    if (role == Qt::ForegroundRole && value(index.row(), enabledColumn).toInt() <= 0) {
        // Halfway between text and background: pale, yet readable on both kinds of palette.
        const QPalette palette = QGuiApplication::palette();
        return blend(palette.color(QPalette::Text), palette.color(QPalette::Base), 0.45);
    }
    if (role == Qt::BackgroundRole && value(index.row(), stockColumn).toDouble() <= 0) {
        return blend(QGuiApplication::palette().color(QPalette::Base), QColor(220, 60, 40), 0.16);
    }
    return SqlTableModel::data(index, role);
}
