#include "income/reportview.h"

#include "income/reportpages.h"

#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#include <cmath>

namespace {

constexpr qreal margin = 24; ///< of a sheet around what is printed, in the units of the pages
constexpr int gap = 10;      ///< around a sheet, px
constexpr qreal largest = 1.6;

} // namespace

ReportView::ReportView(QWidget *parent)
    : QAbstractScrollArea(parent)
{
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // the sheets do not jump
    viewport()->setBackgroundRole(QPalette::Dark);
}

void ReportView::setPages(const ReportPages *pages, const QString &text)
{
    m_pages = pages;
    m_text = text;
    setAccessibleDescription(text);
    setUpScrollBar();
    verticalScrollBar()->setValue(0);
    viewport()->update();
}

qreal ReportView::scale() const
{
    const qreal width = m_pages->size().width() + 2 * margin;
    return std::clamp((viewport()->width() - 2 * gap) / width, 0.1, largest);
}

qreal ReportView::sheetHeight() const
{
    return (m_pages->size().height() + 2 * margin) * scale();
}

void ReportView::setUpScrollBar()
{
    const int room = viewport()->height();
    const qreal whole = m_pages ? m_pages->count() * (sheetHeight() + gap) + gap : 0;
    QScrollBar *bar = verticalScrollBar();
    const qreal place = bar->maximum() > 0 ? qreal(bar->value()) / bar->maximum() : 0;
    bar->setRange(0, std::max(0, int(std::ceil(whole)) - room));
    bar->setPageStep(room);
    bar->setSingleStep(fontMetrics().height() * 3);
    bar->setValue(int(std::lround(place * bar->maximum())));
}

void ReportView::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    setUpScrollBar();
}

void ReportView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Home || event->key() == Qt::Key_End)
        verticalScrollBar()->setValue(
            event->key() == Qt::Key_Home ? 0 : verticalScrollBar()->maximum());
    else
        QAbstractScrollArea::keyPressEvent(event);
}

void ReportView::paintEvent(QPaintEvent *)
{
    QPainter painter(viewport());
    if (!m_pages) {
        painter.setPen(palette().color(QPalette::Light));
        painter.drawText(viewport()->rect().adjusted(gap, gap, -gap, -gap),
                         Qt::AlignCenter | Qt::TextWordWrap, m_text);
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal width = (m_pages->size().width() + 2 * margin) * scale();
    const qreal height = sheetHeight();
    const qreal left = (viewport()->width() - width) / 2;
    const int scrolled = verticalScrollBar()->value();
    const int first = std::max(0, int((scrolled - gap) / (height + gap)));
    for (int page = first; page < m_pages->count(); ++page) {
        const qreal top = gap + page * (height + gap) - scrolled;
        if (top > viewport()->height())
            break;
        painter.fillRect(QRectF(left, top, width, height), Qt::white);
        painter.save();
        painter.translate(left, top);
        painter.scale(scale(), scale());
        painter.translate(margin, margin);
        m_pages->paint(&painter, page);
        painter.restore();
    }
}
