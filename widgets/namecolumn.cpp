#include "widgets/namecolumn.h"

#include <QEvent>
#include <QGuiApplication>
#include <QHeaderView>
#include <QTableView>

#include <algorithm>

namespace {

constexpr int leastSigns = 16; ///< of a name that must stay legible
constexpr int mostSigns = 40;  ///< that another column gets unless the user wants it wider

int signsWidth(const QTableView *view, int signs)
{
    return view->fontMetrics().averageCharWidth() * signs;
}

} // namespace

NameColumn::NameColumn(QTableView *view, int column, int lesserColumns)
    : QObject(view),
      m_view(view),
      m_column(column),
      m_lesserColumns(lesserColumns)
{
    view->viewport()->installEventFilter(this);
    connect(view->horizontalHeader(), &QHeaderView::sectionResized, this,
            [this](int section, int, int size) { noteDragging(section, size); });
}

void NameColumn::resizeToContents()
{
    m_view->resizeColumnsToContents();
    for (int column = 0; column < m_view->model()->columnCount(); ++column) {
        if (m_view->isColumnHidden(column))
            continue;
        int width = m_view->columnWidth(column);
        if (column != m_column)
            width = std::min(width, signsWidth(m_view, mostSigns));
        m_view->setColumnWidth(column, m_draggedWidths.value(headerOf(column), width));
    }
    fit();
}

void NameColumn::fit()
{
    const int columns = m_view->model()->columnCount();
    // Before it is shown, a table does not know its room.
    if (m_dragged || columns <= m_column || !m_view->isVisible())
        return;
    const QHeaderView *header = m_view->horizontalHeader();
    const QAbstractItemView *view = m_view;
    const int wanted =
        std::max(view->sizeHintForColumn(m_column), header->sectionSizeHint(m_column));
    int room = m_view->viewport()->width() - header->length() + header->sectionSize(m_column);
    if (room < wanted) {
        for (int lesser = 1; lesser <= m_lesserColumns; ++lesser)
            room += header->sectionSize(columns - lesser);
        room = std::min(wanted, std::max(signsWidth(m_view, leastSigns), room));
    }
    m_view->setColumnWidth(m_column, room);
}

bool NameColumn::isDragged() const
{
    return m_dragged;
}

void NameColumn::setDragged(bool dragged)
{
    m_dragged = dragged;
}

bool NameColumn::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Resize || event->type() == QEvent::Show)
        fit();
    return QObject::eventFilter(watched, event);
}

QString NameColumn::headerOf(int column) const
{
    return m_view->model()->headerData(column, Qt::Horizontal).toString();
}

/// The signal comes for every change of width; only the user holds the mouse on the header.
void NameColumn::noteDragging(int column, int size)
{
    if (QGuiApplication::mouseButtons() == Qt::NoButton || size == 0 ||
        !m_view->horizontalHeader()->underMouse())
        return;
    m_draggedWidths[headerOf(column)] = size;
    m_dragged = m_dragged || column == m_column;
}
