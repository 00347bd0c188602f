#include "widgets/foldingrow.h"

#include <QBoxLayout>
#include <QEvent>
#include <QWidget>

FoldingRow::FoldingRow(QBoxLayout *row, QWidget *box)
    : QObject(box),
      m_row(row),
      m_box(box)
{
    box->installEventFilter(this);
    fold();
}

bool FoldingRow::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Resize || event->type() == QEvent::Show ||
        event->type() == QEvent::LayoutRequest)
        fold();
    return QObject::eventFilter(watched, event);
}

int FoldingRow::widthInOneLine() const
{
    int width = m_row->spacing() * (m_row->count() - 1);
    for (int i = 0; i < m_row->count(); ++i)
        width += m_row->itemAt(i)->minimumSize().width();
    return width;
}

void FoldingRow::fold()
{
    const QMargins margins = m_box->layout()->contentsMargins();
    const int room = m_box->contentsRect().width() - margins.left() - margins.right();
    const auto direction =
        widthInOneLine() > room ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight;
    if (m_row->direction() != direction)
        m_row->setDirection(direction);
}
