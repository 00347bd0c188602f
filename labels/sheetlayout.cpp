#include "labels/sheetlayout.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double inch = 2.54; ///< in cm
constexpr double modulesInWidth = 109.0;
constexpr int marginModules = 7; ///< at both sides of the symbol, within its rectangle
constexpr int leftMargin = 11;   ///< of the standard
constexpr int rightMargin = 7;
constexpr double leastModule = 0.25; ///< in mm
constexpr int leastDots = 2;
const QSizeF a4(210, 297);

struct Sheet
{
    Q_DECLARE_TR_FUNCTIONS(Sheet)
};

} // namespace

SheetLayout::SheetLayout(const SheetSettings &settings)
    : m_settings(settings)
{
    m_settings.rows = std::max(1, settings.rows);
    m_settings.columns = std::max(1, settings.columns);
}

int SheetLayout::dots(double centimetres) const
{
    return int(centimetres * m_settings.dpi / inch);
}

int SheetLayout::width() const
{
    return dots(m_settings.width);
}

int SheetLayout::height() const
{
    return dots(m_settings.height);
}

int SheetLayout::cellWidth() const
{
    return width() / m_settings.columns;
}

int SheetLayout::cellHeight() const
{
    return height() / m_settings.rows;
}

int SheetLayout::sideMargin() const
{
    return cellWidth() / 40;
}

int SheetLayout::fontSize(LabelBlock block) const
{
    return m_settings.block(block).size * m_settings.dpi / 100;
}

int SheetLayout::offset(LabelBlock block) const
{
    return dots(m_settings.block(block).offset);
}

QRect SheetLayout::cell(QPoint origin, int row, int column) const
{
    return {origin.x() + column * width() / m_settings.columns,
            origin.y() + row * height() / m_settings.rows, cellWidth(), cellHeight()};
}

QList<QLine> SheetLayout::frame(QPoint origin) const
{
    QList<QLine> lines;
    for (int i = 0; i < m_settings.rows; ++i) {
        const int y = i * height() / m_settings.rows;
        lines += QLine(origin.x(), origin.y() + y, width() - 1, y);
    }
    for (int j = 0; j < m_settings.columns; ++j) {
        const int x = j * width() / m_settings.columns;
        lines += QLine(origin.x() + x, origin.y(), x, height() - 1);
    }
    return lines;
}

QRect SheetLayout::block(LabelBlock block, const QRect &cell) const
{
    if (block == LabelBlock::Barcode)
        return QRect(QPoint(cell.left(), cell.top() + offset(block)), cell.bottomRight());
    const bool narrow = block == LabelBlock::Name || block == LabelBlock::Brand;
    const int margin = narrow ? sideMargin() : 0;
    return cell.translated(0, offset(block)).adjusted(margin, 0, -margin, 0);
}

QPoint SheetLayout::gridOrigin() const
{
    const QSizeF paper = paperSize(m_settings) / 10;
    QPoint origin(dots(m_settings.x), 0);
    if (m_settings.cells() > 1)
        origin += {(dots(paper.width()) - width()) / 2, (dots(paper.height()) - height()) / 2};
    return origin;
}

QSizeF SheetLayout::paperSize(const SheetSettings &settings)
{
    return settings.cells() > 1 ? a4 : QSizeF(settings.width, settings.height) * 10;
}

BarcodeLayout::BarcodeLayout(const QRect &place)
    : rectangle(place),
      module(place.width() / modulesInWidth),
      barBottom(place.bottom() - place.height() / 3),
      guardBottom(place.bottom() - place.height() / 4)
{
}

int BarcodeLayout::moduleLeft(int number) const
{
    return rectangle.left() + int((marginModules + number) * module);
}

QStringList sheetWarnings(const SheetSettings &settings)
{
    QStringList warnings;
    const SheetLayout layout(settings);
    const QSizeF paper = SheetLayout::paperSize(settings);
    // A tenth of a millimetre is lost when sizes are given in inches.
    if (settings.width * 10 > paper.width() + 0.1 || settings.height * 10 > paper.height() + 0.1)
        warnings += Sheet::tr("Сетка больше листа A4.");
    const QRect cell = layout.cell({}, 0, 0);
    const QRect place = layout.block(LabelBlock::Barcode, cell);
    if (!settings.block(LabelBlock::Barcode).on)
        return warnings;
    const BarcodeLayout bars(place);
    if (bars.barBottom - place.top() < layout.fontSize(LabelBlock::Barcode) / 2)
        warnings += Sheet::tr("Для штрихов не остается высоты.");
    const double millimetres = bars.module * inch * 10 / settings.dpi;
    if (bars.module < leastDots || millimetres < leastModule)
        warnings +=
            Sheet::tr("Штрихи слишком узкие для сканера: модуль %1 мм, %2 точки. Нужно не менее "
                      "%3 мм и %4 точек.")
                .arg(millimetres, 0, 'f', 2)
                .arg(bars.module, 0, 'f', 1)
                .arg(leastModule)
                .arg(leastDots);
    // Between two cells the margin of the neighbour counts, at the edges the paper beside the grid:
    // less than none where a shift pushes the grid off it.
    const double neighbour = settings.frame ? 0 : marginModules * bars.module;
    const int origin = layout.gridOrigin().x();
    const double paperRight = paper.width() / 10 * settings.dpi / inch - origin - layout.width();
    const auto warn = [&](const QString &side, double edge, int least) {
        const double beside = settings.columns > 1 ? std::min(edge, neighbour) : edge;
        const double modules = marginModules + beside / std::max(bars.module, 0.01);
        if (modules < least - 1e-6)
            warnings += Sheet::tr("Светлое поле %1 от штрих-кода меньше нормы: %2 из %3 модулей.")
                            .arg(side)
                            .arg(std::max(0, int(modules)))
                            .arg(least);
    };
    warn(Sheet::tr("слева"), settings.frame ? std::min(origin, 0) : origin, leftMargin);
    warn(Sheet::tr("справа"), paperRight, rightMargin);
    return warnings;
}

SheetPlan::SheetPlan(QList<Row> rows, const SheetSettings &settings, int startCell)
    : m_rows(std::move(rows)),
      m_cells(std::max(1, settings.cells())),
      m_columns(std::max(1, settings.columns)),
      m_startCell(std::clamp(startCell, 0, m_cells - 1))
{
    m_ends.reserve(m_rows.size());
    qlonglong end = m_startCell;
    for (const Row &row : std::as_const(m_rows)) {
        end += std::max(0, row.labels);
        m_ends += end;
    }
}

const QList<SheetPlan::Row> &SheetPlan::rows() const
{
    return m_rows;
}

qlonglong SheetPlan::labels() const
{
    return m_ends.isEmpty() ? 0 : m_ends.last() - m_startCell;
}

qlonglong SheetPlan::sheets() const
{
    return std::max(1LL, sheetCount(m_ends.isEmpty() ? 0 : m_ends.last(), m_cells));
}

QList<SheetPlan::Place> SheetPlan::sheet(qlonglong number) const
{
    QList<Place> places;
    const qlonglong first = (number - 1) * m_cells;
    qlonglong cell = std::max<qlonglong>(first, m_startCell);
    auto end = std::upper_bound(m_ends.begin(), m_ends.end(), cell);
    for (; end != m_ends.end() && cell < first + m_cells; ++cell) {
        while (end != m_ends.end() && *end <= cell)
            ++end;
        if (end == m_ends.end())
            break;
        const int onSheet = int(cell - first);
        places += {end - m_ends.begin(), onSheet / m_columns, onSheet % m_columns};
    }
    return places;
}

qlonglong sheetCount(qlonglong labels, int cells)
{
    return labels / cells + (labels % cells > 0 ? 1 : 0);
}

int labelCount(double quantity)
{
    // What a computation has left behind the sixth decimal is no further label.
    const double labels = std::ceil(quantity - 1e-6);
    constexpr double most = std::numeric_limits<int>::max();
    return labels > 0 ? int(std::min(labels, most)) : 0;
}
