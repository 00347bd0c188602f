#include "images/pixmapwidget.h"

#include <QPainter>

PixmapWidget::PixmapWidget(QWidget *parent)
    : QWidget(parent)
{
}

void PixmapWidget::setPixmap(const QPixmap &pixmap)
{
    m_pixmap = pixmap;
    m_scaled = {};
    update();
}

const QPixmap &PixmapWidget::pixmap() const
{
    return m_pixmap;
}

void PixmapWidget::setText(const QString &text)
{
    m_text = text;
    update();
}

QString PixmapWidget::text() const
{
    return m_text;
}

QSize PixmapWidget::sizeHint() const
{
    const int line = fontMetrics().height();
    return {line * 7, line * 5};
}

void PixmapWidget::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    if (m_pixmap.isNull()) {
        painter.setPen(palette().color(QPalette::Disabled, QPalette::WindowText));
        painter.drawText(rect(), int(Qt::AlignCenter) | int(Qt::TextWordWrap), m_text);
        return;
    }
    const qreal ratio = devicePixelRatioF();
    const QSize room = (QSizeF(size()) * ratio).toSize();
    QSize shown = m_pixmap.size();
    if (shown.width() > room.width() || shown.height() > room.height())
        shown = shown.scaled(room, Qt::KeepAspectRatio).expandedTo({1, 1});
    if (m_scaled.size() != shown) {
        m_scaled = m_pixmap.size() == shown
                       ? m_pixmap
                       : m_pixmap.scaled(shown, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        m_scaled.setDevicePixelRatio(ratio);
    }
    const QSizeF place = QSizeF(shown) / ratio;
    painter.drawPixmap(QPointF((width() - place.width()) / 2, (height() - place.height()) / 2),
                       m_scaled);
}
