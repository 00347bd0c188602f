#include "labels/sheetpainter.h"

#include <QTextLayout>

#include <algorithm>
#include <cmath>

#include "labels/ean13.h"

namespace {

struct Lines
{
    QStringList texts;
    bool isCut = false;
};

/// Lines of a text, no wider and no more than these; the last one ends with an ellipsis when
/// something is left over.
Lines fittingLines(const QString &text, const QFont &font, QPaintDevice *device, int width,
                   int most)
{
    Lines lines;
    QString plain = text;
    plain.replace(u'\n', QChar::LineSeparator);
    QTextLayout layout(plain, font, device);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        const bool isLast = lines.texts.size() + 1 == most;
        const qsizetype end = line.textStart() + line.textLength();
        if (isLast && end < plain.size()) {
            QString rest = plain.mid(line.textStart()).replace(QChar::LineSeparator, u' ');
            lines.texts += QFontMetricsF(font, device).elidedText(rest, Qt::ElideRight, width);
            lines.isCut = true;
            break;
        }
        lines.texts += plain.mid(line.textStart(), line.textLength()).trimmed();
    }
    layout.endLayout();
    return lines;
}

} // namespace

SheetPainter::SheetPainter(QPainter *painter, const SheetSettings &settings)
    : m_painter(painter),
      m_settings(settings),
      m_layout(settings)
{
    for (int i = 0; i < labelBlocks; ++i) {
        QFont font(QStringLiteral("Helvetica"));
        font.setPixelSize(std::max(1, m_layout.fontSize(LabelBlock(i))));
        // The preview breaks lines where the printer does.
        font.setHintingPreference(QFont::PreferNoHinting);
        m_fonts.at(size_t(i)) = font;
    }
}

void SheetPainter::paintSheet(const QList<PlacedLabel> &labels, QPoint origin)
{
    if (m_settings.frame) {
        m_painter->setPen(Qt::black);
        m_painter->drawLines(m_layout.frame(origin));
    }
    for (const PlacedLabel &label : labels)
        paintLabel(label.text, m_layout.cell(origin, label.row, label.column));
}

void SheetPainter::paintLabel(const LabelText &label, const QRect &cell)
{
    m_painter->save();
    m_painter->setPen(Qt::black);
    m_painter->setClipRect(cell, Qt::IntersectClip);
    if (m_settings.block(LabelBlock::Barcode).on) {
        const QRect place = m_layout.block(LabelBlock::Barcode, cell);
        m_painter->setFont(m_fonts.at(size_t(LabelBlock::Barcode)));
        paintBarcode(*m_painter, place, label.code);
        // Nothing is painted over bars and the light beside them.
        QRect bars = place;
        bars.setBottom(BarcodeLayout(place).guardBottom);
        if (bars.isValid())
            m_painter->setClipRegion(QRegion(cell) - bars, Qt::IntersectClip);
    }
    paintText(LabelBlock::Organisation, cell, m_settings.organisation);
    paintText(LabelBlock::Name, cell, label.name);
    paintText(LabelBlock::Price, cell, label.price);
    paintText(LabelBlock::Brand, cell, label.brand);
    m_painter->restore();
}

int SheetPainter::roomBelow(LabelBlock block, const QRect &cell) const
{
    const int top = m_layout.offset(block);
    int end = cell.height();
    for (int i = 0; i < labelBlocks; ++i) {
        const int other = m_layout.offset(LabelBlock(i));
        if (m_settings.blocks.at(size_t(i)).on && other > top)
            end = std::min(end, other);
    }
    return end - top;
}

void SheetPainter::paintText(LabelBlock block, const QRect &cell, const QString &text)
{
    if (!m_settings.block(block).on || text.isEmpty())
        return;
    QFont font = m_fonts.at(size_t(block));
    const QRect place = m_layout.block(block, cell);
    const auto fit = [&] {
        const QFontMetricsF metrics(font, m_painter->device());
        const double most =
            (roomBelow(block, cell) + metrics.leading() + 0.5) / metrics.lineSpacing();
        return fittingLines(text, font, m_painter->device(), place.width(), std::max(1, int(most)));
    };
    Lines lines = fit();
    // A part of a price is a wrong one: it is rather made smaller than cut.
    const int least = block == LabelBlock::Price ? font.pixelSize() / 2 : font.pixelSize();
    while (lines.isCut && font.pixelSize() > std::max(1, least)) {
        font.setPixelSize(font.pixelSize() - 1);
        lines = fit();
    }
    const QFontMetricsF metrics(font, m_painter->device());
    m_painter->setFont(font);
    double top = place.top();
    for (const QString &line : std::as_const(lines.texts)) {
        const double left = place.left() + (place.width() - metrics.horizontalAdvance(line)) / 2;
        m_painter->drawText(QPointF(left, top + metrics.ascent()), line);
        top += metrics.lineSpacing();
    }
}

void SheetPainter::paintBarcode(QPainter &painter, const QRect &rectangle, const QString &code)
{
    const QString text = ean13Text(code);
    if (text.isEmpty())
        return;
    const BarcodeLayout layout(rectangle);
    QList<QRect> bars;
    for (const Ean13Bar &bar : ean13Bars(text)) {
        const int left = layout.moduleLeft(bar.begin);
        const int bottom = bar.guard ? layout.guardBottom : layout.barBottom;
        bars += QRect(left, rectangle.top(), layout.moduleLeft(bar.end) - left,
                      bottom - rectangle.top());
    }
    const QPen pen = painter.pen();
    painter.setPen(Qt::NoPen);
    painter.setBrush(QBrush(pen.color(), Qt::SolidPattern));
    painter.drawRects(bars);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    for (int i = 0; i < text.size(); ++i) {
        const int left = layout.moduleLeft(ean13DigitModule(i));
        const int right = layout.moduleLeft(ean13DigitModule(i) + 7);
        painter.drawText(QRect(left, rectangle.top(), right - left, rectangle.height()),
                         Qt::AlignHCenter | Qt::AlignBottom | Qt::TextDontClip, text.mid(i, 1));
    }
}
