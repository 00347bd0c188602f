#pragma once

#include <QMap>
#include <QObject>
#include <QString>

#include "widgets/tablecolumn.h"

class QTableView;
class SqlTableModel;

/// Gives the rows of a table the height of its font. The first rows alone are measured for the
/// widths of columns: with all of them a long list would be slow.
void fitRowHeights(QTableView *view);

/// Divides the width of a table as the description of its columns says: the one of names takes the
/// room that the others leave, and gives some of its own where they need it. Widths that the user
/// has dragged stay as they are.
class ColumnWidths final : public QObject
{
    Q_OBJECT

public:
    /// The view shows the model already.
    ColumnWidths(QTableView *view, const SqlTableModel *model);

    /// Gives all columns the width of their contents and divides the rest.
    void resizeToContents();

    /// Gives more to the columns that must be whole, where the present rows need it, and divides
    /// the rest.
    void growWhole();

    /// Divides the width anew.
    void fit();

    /// Whether the user has set the width of the column of names, which is then left alone.
    bool isDragged() const;
    void setDragged(bool dragged);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    ColumnWidth widthOf(int column) const;
    void divide();
    QString headerOf(int column) const;
    void noteDragging(int column, int size);

    QTableView *m_view;
    const SqlTableModel *m_model;
    bool m_dragged = false;
    QMap<QString, int> m_draggedWidths; ///< by header
};
