#include "widgets/pagedtable.h"

#include "widgets/columnwidths.h"
#include "widgets/tableplace.h"

#include <QGuiApplication>
#include <QKeyEvent>

#include <algorithm>
#include <utility>

namespace {

constexpr int filterDelayMs = 150; ///< typing goes on before the list is read again

} // namespace

PagedTable::PagedTable(QTableView *view, SqlTableModel *model,
                       std::function<std::optional<PagedSelect>()> list,
                       const QString &connectionName)
    : QObject(view),
      m_view(view),
      m_model(model),
      m_list(std::move(list)),
      m_connectionName(connectionName)
{
    view->setModel(model);
    m_widths = new ColumnWidths(view, model);
    fitRowHeights(view);
    view->installEventFilter(this);
    connect(model, &QAbstractItemModel::rowsInserted, this, &PagedTable::sizeColumns);
    m_timer.setSingleShot(true);
    m_timer.setInterval(filterDelayMs);
    connect(&m_timer, &QTimer::timeout, this, &PagedTable::refresh);
}

bool PagedTable::refresh()
{
    return read(0);
}

void PagedTable::refreshSoon()
{
    m_timer.start();
}

void PagedTable::stop()
{
    m_timer.stop();
}

bool PagedTable::read(qsizetype atLeast)
{
    m_timer.stop();
    const CommandScope command;
    const std::optional<PagedSelect> list = m_list();
    if (!list)
        return false;
    const TablePlace place(m_view, m_model);
    if (m_model->list() == list)
        atLeast = std::max(atLeast, place.rows());
    if (!m_model->selectPages(m_view->window(), *list, atLeast, m_connectionName))
        return false;
    sizeColumns();
    place.restore();
    emit refreshed();
    return true;
}

void PagedTable::sizeColumns()
{
    if (!m_sized) {
        m_widths->resizeToContents();
        // Widths that the user gave are for a table with something in it.
        if (std::exchange(m_sized, m_model->rowCount() > 0) != m_sized)
            emit sized();
        m_widths->fit();
    }
    m_widths->growWhole();
}

void PagedTable::enter()
{
    if (!read(1) || m_model->rowCount() == 0)
        return;
    m_view->setFocus();
    m_view->selectRow(0);
}

bool PagedTable::select(qulonglong id)
{
    const int row = m_model->findRow(id);
    if (row < 0)
        return false;
    m_view->selectRow(row);
    m_view->scrollTo(m_view->currentIndex(), QAbstractItemView::PositionAtCenter);
    return true;
}

qulonglong PagedTable::currentId() const
{
    const QModelIndex current = m_view->currentIndex();
    return current.isValid() ? m_model->idOf(current.row()) : 0;
}

QList<qulonglong> PagedTable::selectedIds() const
{
    QList<qulonglong> ids;
    const QModelIndexList rows = m_view->selectionModel()->selectedRows();
    for (const QModelIndex &index : rows)
        ids += m_model->idOf(index.row());
    return ids;
}

ColumnWidths *PagedTable::widths() const
{
    return m_widths;
}

bool PagedTable::isSized() const
{
    return m_sized;
}

/// Who wants the whole list or its end gets it, not only the rows that were read so far.
bool PagedTable::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->matches(QKeySequence::SelectAll) ||
            key->matches(QKeySequence::MoveToEndOfDocument) ||
            key->matches(QKeySequence::SelectEndOfDocument)) {
            QGuiApplication::setOverrideCursor(Qt::WaitCursor);
            const bool whole = m_model->readAll();
            QGuiApplication::restoreOverrideCursor();
            if (!whole)
                return true; // a part is not what was asked for
        }
    }
    return QObject::eventFilter(watched, event);
}
