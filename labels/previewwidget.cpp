#include "labels/previewwidget.h"

#include <QPainter>

#include <algorithm>

namespace {

constexpr int edge = 6; ///< px around the paper
constexpr double inch = 25.4;

} // namespace

PreviewWidget::PreviewWidget(QWidget *parent)
    : QWidget(parent)
{
    setMinimumSize(120, 120);
}

void PreviewWidget::setSheet(const SheetSettings &settings, const QList<PlacedLabel> &labels)
{
    m_settings = settings;
    m_labels = labels;
    resizeToSheet();
    update();
}

void PreviewWidget::setRealSize(bool real)
{
    m_real = real;
    resizeToSheet();
    update();
}

QSize PreviewWidget::sizeHint() const
{
    return {320, 440};
}

QSizeF PreviewWidget::realSize() const
{
    const QSizeF paper = SheetLayout::paperSize(m_settings) / inch;
    return {paper.width() * physicalDpiX(), paper.height() * physicalDpiY()};
}

/// In a scroll area the minimum decides whether it scrolls.
void PreviewWidget::resizeToSheet()
{
    setMinimumSize(m_real ? realSize().toSize() + QSize(2 * edge, 2 * edge) : QSize(120, 120));
}

void PreviewWidget::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    const QSizeF paper = SheetLayout::paperSize(m_settings) * m_settings.dpi / inch;
    if (paper.isEmpty())
        return;
    const QSizeF room = size() - QSize(2 * edge, 2 * edge);
    const double scale =
        m_real ? realSize().width() / paper.width()
               : std::min(room.width() / paper.width(), room.height() / paper.height());
    const QSizeF shown = paper * scale;
    painter.translate((width() - shown.width()) / 2, (height() - shown.height()) / 2);
    painter.fillRect(QRectF({}, shown), Qt::white);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(QRectF({}, shown));
    painter.setClipRect(QRectF({}, shown));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.scale(scale, scale);
    painter.translate(SheetLayout(m_settings).gridOrigin());
    SheetPainter(&painter, m_settings).paintSheet(m_labels);
}
