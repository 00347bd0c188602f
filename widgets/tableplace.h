#pragma once

#include <QTableView>

#include "widgets/sqltablemodel.h"

/// Keeps the user's place in a table over a refresh: the current row (found again by its id, else
/// by its number), the selection and the scroll position.
class TablePlace
{
public:
    TablePlace(QTableView *view, SqlTableModel *model);

    /// How many rows lead down to the place.
    qsizetype rows() const;

    /// Puts everything back after the model has new rows. Another long list begins at its top.
    void restore() const;

private:
    void select() const;

    QTableView *m_view;
    SqlTableModel *m_model;
    std::optional<PagedSelect> m_list;
    int m_row = -1;
    int m_lastRow = -1; ///< visible, current or selected
    int m_column = 0;
    bool m_inSight = false; ///< the current row
    qulonglong m_id = 0;
    QList<qulonglong> m_selectedIds;
    int m_verticalScroll = 0;
    int m_horizontalScroll = 0;
};
