#include "widgets/tableplace.h"

#include <QItemSelectionModel>
#include <QScrollBar>
#include <QSet>

#include <algorithm>

TablePlace::TablePlace(QTableView *view, SqlTableModel *model)
    : m_view(view),
      m_model(model),
      m_list(model->list()),
      m_verticalScroll(view->verticalScrollBar()->value()),
      m_horizontalScroll(view->horizontalScrollBar()->value())
{
    const int lowest = view->rowAt(view->viewport()->height() - 1);
    m_lastRow = lowest >= 0 ? lowest : model->rowCount() - 1;
    const QModelIndex current = view->currentIndex();
    if (current.isValid()) {
        m_row = current.row();
        m_column = current.column();
        m_id = model->idOf(m_row);
        m_lastRow = std::max(m_lastRow, m_row);
        m_inSight = view->viewport()->rect().intersects(view->visualRect(current));
    }
    const QModelIndexList selected = view->selectionModel()->selectedRows();
    for (const QModelIndex &index : selected) {
        m_selectedIds += model->idOf(index.row());
        m_lastRow = std::max(m_lastRow, index.row());
    }
}

qsizetype TablePlace::rows() const
{
    return m_lastRow + 1;
}

void TablePlace::restore() const
{
    const bool otherList = m_list != m_model->list();
    int scroll = otherList ? 0 : m_verticalScroll;
    if (m_row >= 0 && m_model->rowCount() > 0) {
        int row = otherList ? m_model->rowOfId(m_id) : m_model->findRow(m_id);
        // A row that was in sight stays there, whatever came or went above it.
        if (row >= 0 && !otherList && m_inSight)
            scroll += row - m_row;
        if (row < 0 && !otherList)
            row = std::min(m_row, m_model->rowCount() - 1);
        m_view->selectionModel()->setCurrentIndex(m_model->index(row, m_column),
                                                  QItemSelectionModel::NoUpdate);
        select();
    }
    m_view->verticalScrollBar()->setValue(scroll);
    m_view->horizontalScrollBar()->setValue(m_horizontalScroll);
}

void TablePlace::select() const
{
    if (m_selectedIds.isEmpty())
        return;
    const QSet<qulonglong> ids(m_selectedIds.begin(), m_selectedIds.end());
    QItemSelection selection;
    int first = -1;
    for (int row = 0; row <= m_model->rowCount(); ++row) {
        const bool selected = row < m_model->rowCount() && ids.contains(m_model->idOf(row));
        if (selected && first < 0) {
            first = row;
        } else if (!selected && first >= 0) {
            selection.select(m_model->index(first, 0),
                             m_model->index(row - 1, m_model->columnCount() - 1));
            first = -1;
        }
    }
    m_view->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}
