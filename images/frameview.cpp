#include "images/frameview.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

constexpr double gripReach = 10; ///< px
constexpr double handleSide = 8; ///< px
constexpr double keyStep = 0.01; ///< of the picture's width
constexpr double smallestFrame = 16;

} // namespace

FrameView::FrameView(QWidget *parent)
    : QWidget(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
}

void FrameView::setImage(const QImage &image, const QSize &original)
{
    m_pixmap = QPixmap::fromImage(image);
    m_original = original;
    update();
}

void FrameView::setFrame(const ImageFrame &frame, double angle, bool movable)
{
    m_frame = frame;
    m_angle = angle;
    m_movable = movable;
    update();
}

QSize FrameView::sizeHint() const
{
    const int line = fontMetrics().height();
    return {line * 22, line * 14};
}

/// From pixels of the original to places in the widget.
QTransform FrameView::toWidget() const
{
    if (m_original.isEmpty())
        return {};
    const QSizeF shown = QSizeF(m_original).scaled(size(), Qt::KeepAspectRatio);
    const double scale = shown.width() / m_original.width();
    return QTransform::fromScale(scale, scale) *
           QTransform::fromTranslate((width() - shown.width()) / 2,
                                     (height() - shown.height()) / 2);
}

/// From pixels of the original to places from the frame's centre, along its sides.
QTransform FrameView::toFrame() const
{
    return QTransform::fromTranslate(-m_frame.center.x(), -m_frame.center.y()) *
           QTransform().rotate(m_angle);
}

QPolygonF FrameView::corners() const
{
    const QRectF frame(QPointF(-m_frame.size.width() / 2, -m_frame.size.height() / 2),
                       m_frame.size);
    QPolygonF polygon(frame);
    polygon.removeLast();
    return (toFrame().inverted() * toWidget()).map(polygon);
}

FrameView::Grip FrameView::gripAt(const QPointF &place) const
{
    if (!m_movable || m_pixmap.isNull())
        return Grip::None;
    const QPolygonF polygon = corners();
    if (std::any_of(polygon.begin(), polygon.end(), [&](const QPointF &corner) {
            return (corner - place).manhattanLength() < gripReach;
        }))
        return Grip::Corner;
    return polygon.containsPoint(place, Qt::OddEvenFill) ? Grip::Inside : Grip::None;
}

void FrameView::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    if (m_pixmap.isNull())
        return;
    painter.setRenderHints(QPainter::SmoothPixmapTransform | QPainter::Antialiasing);
    const QRectF shown = toWidget().mapRect(QRectF(QPointF(), m_original));
    painter.drawPixmap(shown, m_pixmap, m_pixmap.rect());
    const QPolygonF polygon = corners();
    QPainterPath outside;
    outside.addRect(shown);
    QPainterPath inside;
    inside.addPolygon(polygon);
    painter.fillPath(outside.subtracted(inside), QColor(0, 0, 0, 120));
    painter.setPen(QPen(Qt::white, 3));
    painter.drawPolygon(polygon);
    painter.setPen(QPen(palette().color(QPalette::Highlight), 1));
    painter.drawPolygon(polygon);
    if (!m_movable)
        return;
    painter.setBrush(palette().color(QPalette::Highlight));
    for (const QPointF &corner : polygon)
        painter.drawRect(QRectF(corner - QPointF(handleSide / 2, handleSide / 2),
                                QSizeF(handleSide, handleSide)));
    if (hasFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 1, Qt::DotLine));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

void FrameView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_grip = gripAt(event->position());
    m_offset = m_frame.center - toWidget().inverted().map(event->position());
}

void FrameView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_grip != Grip::None) {
        drag(event->position());
        return;
    }
    switch (gripAt(event->position())) {
    case Grip::None:
        unsetCursor();
        break;
    case Grip::Inside:
        setCursor(Qt::SizeAllCursor);
        break;
    case Grip::Corner:
        setCursor(Qt::CrossCursor);
        break;
    }
}

void FrameView::mouseReleaseEvent(QMouseEvent * /*event*/)
{
    m_grip = Grip::None;
}

void FrameView::drag(const QPointF &place)
{
    const QPointF at = toWidget().inverted().map(place);
    if (m_grip == Grip::Inside) {
        change(at + m_offset, m_frame.size.width());
        return;
    }
    const QPointF corner = toFrame().map(at);
    const double shape = m_frame.size.width() / m_frame.size.height();
    change(m_frame.center, 2 * std::max(std::abs(corner.x()), std::abs(corner.y()) * shape));
}

void FrameView::keyPressEvent(QKeyEvent *event)
{
    const double step = std::max(m_original.width() * keyStep, 1.0);
    const QPointF center = m_frame.center;
    const double width = m_frame.size.width();
    switch (m_movable ? event->key() : int(Qt::Key_unknown)) {
    case Qt::Key_Left:
        change(center - QPointF(step, 0), width);
        break;
    case Qt::Key_Right:
        change(center + QPointF(step, 0), width);
        break;
    case Qt::Key_Up:
        change(center - QPointF(0, step), width);
        break;
    case Qt::Key_Down:
        change(center + QPointF(0, step), width);
        break;
    case Qt::Key_Plus:
        change(center, width + step);
        break;
    case Qt::Key_Minus:
        change(center, width - step);
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

void FrameView::change(const QPointF &center, double width)
{
    const QRectF inside(QPointF(), m_original);
    const double largest = std::max(m_original.width(), m_original.height());
    emit frameChanged(
        {int(std::lround(std::clamp(center.x(), inside.left(), inside.right()))),
         int(std::lround(std::clamp(center.y(), inside.top(), inside.bottom())))},
        int(std::lround(std::clamp(width, std::min(smallestFrame, largest), largest))));
}
