#include "widgets/columnwidths.h"

#include "widgets/sqltablemodel.h"

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

void fitRowHeights(QTableView *view)
{
    view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 8);
    view->horizontalHeader()->setResizeContentsPrecision(100);
}

ColumnWidths::ColumnWidths(QTableView *view, const SqlTableModel *model)
    : QObject(view),
      m_view(view),
      m_model(model)
{
    view->viewport()->installEventFilter(this);
    connect(view->horizontalHeader(), &QHeaderView::sectionResized, this,
            [this](int section, int, int size) { noteDragging(section, size); });
}

void ColumnWidths::resizeToContents()
{
    m_view->resizeColumnsToContents();
    for (int column = 0; column < m_model->columnCount(); ++column) {
        if (widthOf(column) == ColumnWidth::Hidden)
            continue;
        int width = m_view->columnWidth(column);
        if (widthOf(column) != ColumnWidth::Rest)
            width = std::min(width, signsWidth(m_view, mostSigns));
        m_view->setColumnWidth(column, m_draggedWidths.value(headerOf(column), width));
    }
    fit();
}

void ColumnWidths::growWhole()
{
    for (int column = 0; column < m_model->columnCount(); ++column) {
        if (widthOf(column) != ColumnWidth::Whole)
            continue;
        const int before = m_view->columnWidth(column);
        m_view->resizeColumnToContents(column);
        m_view->setColumnWidth(column, std::max(before, m_view->columnWidth(column)));
    }
    fit();
}

void ColumnWidths::fit()
{
    for (int column = 0; column < m_model->columnCount(); ++column)
        m_view->setColumnHidden(column, widthOf(column) == ColumnWidth::Hidden);
    // Before it is shown, a table does not know its room.
    if (!m_dragged && m_view->isVisible())
        divide();
}

void ColumnWidths::divide()
{
    const QHeaderView *header = m_view->horizontalHeader();
    int rest = -1;
    int lesser = 0;
    for (int column = 0; column < m_model->columnCount(); ++column) {
        if (widthOf(column) == ColumnWidth::Rest)
            rest = column;
        else if (widthOf(column) == ColumnWidth::Lesser)
            lesser += header->sectionSize(column);
    }
    if (rest < 0)
        return;
    const QAbstractItemView *view = m_view;
    const int wanted = std::max(view->sizeHintForColumn(rest), header->sectionSizeHint(rest));
    int room = m_view->viewport()->width() - header->length() + header->sectionSize(rest);
    if (room < wanted)
        room = std::min(wanted, std::max(signsWidth(m_view, leastSigns), room + lesser));
    m_view->setColumnWidth(rest, room);
}

ColumnWidth ColumnWidths::widthOf(int column) const
{
    return m_model->columns().value(column).width;
}

bool ColumnWidths::isDragged() const
{
    return m_dragged;
}

void ColumnWidths::setDragged(bool dragged)
{
    m_dragged = dragged;
}

bool ColumnWidths::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Resize || event->type() == QEvent::Show)
        fit();
    else if (event->type() == QEvent::FontChange && m_view->isVisible())
        // Queued: the headers get the font after the rows.
        QMetaObject::invokeMethod(this, &ColumnWidths::resizeToContents, Qt::QueuedConnection);
    return QObject::eventFilter(watched, event);
}

QString ColumnWidths::headerOf(int column) const
{
    return m_model->columns().value(column).header;
}

/// The signal comes for every change of width; only the user holds the mouse on the header.
void ColumnWidths::noteDragging(int column, int size)
{
    if (QGuiApplication::mouseButtons() == Qt::NoButton || size == 0 ||
        !m_view->horizontalHeader()->underMouse())
        return;
    m_draggedWidths[headerOf(column)] = size;
    m_dragged = m_dragged || widthOf(column) == ColumnWidth::Rest;
}
