#pragma once

#include <QLine>
#include <QList>
#include <QRect>
#include <QSizeF>
#include <QString>

#include <array>

/// What a label may show.
enum class LabelBlock { Organisation, Name, Barcode, Price, Brand };
inline constexpr int labelBlocks = 5;

struct BlockSettings
{
    double offset = 0; ///< of its top below the cell's, in cm
    int size = 8;      ///< of its font, in hundredths of an inch
    bool on = true;

    bool operator==(const BlockSettings &) const = default;
};

/// What a sheet and its labels look like.
struct SheetSettings
{
    std::array<BlockSettings, labelBlocks> blocks = {};
    bool frame = false;
    int rows = 8;
    int columns = 3;
    int dpi = 300;
    double x = 0; ///< by which the page is shifted to the right, in cm
    double width = 21;
    double height = 29.6;
    QString organisation = {};

    const BlockSettings &block(LabelBlock which) const
    {
        return blocks.at(size_t(which));
    }

    /// Labels on a sheet.
    int cells() const
    {
        return rows * columns;
    }

    bool operator==(const SheetSettings &) const = default;
};

/// The numbers of a sheet, in dots of its resolution. Conversions cut fractions off.
class SheetLayout
{
public:
    explicit SheetLayout(const SheetSettings &settings);

    int width() const;
    int height() const;
    int cellWidth() const;
    int cellHeight() const;

    /// What the name and the brand leave free at both sides.
    int sideMargin() const;

    /// The pixel size of a block's font.
    int fontSize(LabelBlock block) const;

    /// How far below the top of its cell a block begins.
    int offset(LabelBlock block) const;

    /// The cell of a row and a column, both from 0.
    QRect cell(QPoint origin, int row, int column) const;

    /// The lines of the frame: one for each row and column, none behind the last. Only their
    /// beginning is moved by the origin.
    QList<QLine> frame(QPoint origin) const;

    /// The rectangle of a block within a cell. Texts may begin anywhere in it and be as high as a
    /// cell; the barcode ends with the cell.
    QRect block(LabelBlock block, const QRect &cell) const;

    /// Where the left upper corner of the grid stands on the paper.
    QPoint gridOrigin() const;

    /// The size of the paper in millimetres: of the grid when it is a single cell, else A4.
    static QSizeF paperSize(const SheetSettings &settings);

private:
    int dots(double centimetres) const;

    SheetSettings m_settings;
};

/// How the bars of a barcode lie in its rectangle.
struct BarcodeLayout
{
    explicit BarcodeLayout(const QRect &rectangle);

    /// Where a module of the symbol begins; the one before it ends there.
    int moduleLeft(int module) const;

    QRect rectangle;
    double module; ///< its width
    int barBottom;
    int guardBottom;
};

/// What makes bars hard to read, each a sentence for the user; none for a sheet without barcodes.
QStringList sheetWarnings(const SheetSettings &settings);

/// The rows of the queue on numbered sheets.
class SheetPlan
{
public:
    /// A row of the queue and its labels.
    struct Row
    {
        qulonglong id = 0;
        int labels = 0; ///< 0 and less: none
    };

    /// A label on its sheet: the row's number in the queue, and the cell, from 0.
    struct Place
    {
        qsizetype index = 0;
        int row = 0;
        int column = 0;

        bool operator==(const Place &) const = default;
    };

    SheetPlan() = default;

    /// startCell: how many cells of the first sheet stay free.
    SheetPlan(QList<Row> rows, const SheetSettings &settings, int startCell);

    const QList<Row> &rows() const;

    /// All labels, and the sheets that they take, which is at least one.
    qlonglong labels() const;
    qlonglong sheets() const;

    /// The labels of a sheet, from 1.
    QList<Place> sheet(qlonglong number) const;

private:
    QList<Row> m_rows;
    QList<qlonglong> m_ends; ///< the cell behind the last label of each row
    int m_cells = 1;
    int m_columns = 1;
    int m_startCell = 0;
};

/// As many sheets as labels fill, whatever cell the first one begins with.
qlonglong sheetCount(qlonglong labels, int cells);

/// Labels for a quantity: one more for a part of one, none for 0 and less.
int labelCount(double quantity);
