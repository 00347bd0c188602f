#include "widgets/tableplace.h"

#include "widgets/sqltablemodel.h"

#include <QItemSelectionModel>
#include <QScrollBar>
#include <QSet>

TablePlace::TablePlace(QTableView *view, const SqlTableModel *model)
    : m_view(view),
      m_model(model),
      m_verticalScroll(view->verticalScrollBar()->value()),
      m_horizontalScroll(view->horizontalScrollBar()->value())
{
    const QModelIndex current = view->currentIndex();
    if (current.isValid()) {
        m_row = current.row();
        m_column = current.column();
        m_id = model->idOf(current.row());
    }
    const QModelIndexList selected = view->selectionModel()->selectedRows();
    for (const QModelIndex &index : selected)
        m_selectedIds += model->idOf(index.row());
}

void TablePlace::restore() const
{
    if (m_row >= 0 && m_model->rowCount() > 0) {
        int row = m_model->rowOfId(m_id);
        const bool stillThere = row >= 0;
        if (!stillThere)
            row = qMin(m_row, m_model->rowCount() - 1);
        const QModelIndex current = m_model->index(row, m_column);
        m_view->selectionModel()->setCurrentIndex(current, QItemSelectionModel::NoUpdate);
        if (!m_selectedIds.isEmpty()) {
            const QSet<qulonglong> ids(m_selectedIds.begin(), m_selectedIds.end());
            QItemSelection selection;
            for (int i = 0; i < m_model->rowCount(); ++i) {
                if (ids.contains(m_model->idOf(i)))
                    selection.select(m_model->index(i, 0),
                                     m_model->index(i, m_model->columnCount() - 1));
            }
            m_view->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
        }
    }
    m_view->verticalScrollBar()->setValue(m_verticalScroll);
    m_view->horizontalScrollBar()->setValue(m_horizontalScroll);
}
