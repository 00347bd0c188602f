#pragma once

#include <QTableView>

class SqlTableModel;

/// Keeps the user's place in a table over a refresh: the current row (found again by its id, else
/// by its number), the selection and the scroll position.
class TablePlace
{
public:
    TablePlace(QTableView *view, const SqlTableModel *model);

    /// Puts everything back after the model has new rows.
    void restore() const;

private:
    QTableView *m_view;
    const SqlTableModel *m_model;
    int m_row = -1;
    int m_column = 0;
    qulonglong m_id = 0;
    QList<qulonglong> m_selectedIds;
    int m_verticalScroll = 0;
    int m_horizontalScroll = 0;
};
