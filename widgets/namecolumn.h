#pragma once

#include <QMap>
#include <QObject>
#include <QString>

class QTableView;

/// Divides the width of a table: the column of names takes the room that the others leave, and
/// gives some of its own where they need it. Widths that the user has dragged stay as they are.
class NameColumn final : public QObject
{
    Q_OBJECT

public:
    /// The last lesser columns may be pushed out of sight to keep a name legible.
    NameColumn(QTableView *view, int column, int lesserColumns = 0);

    /// Gives all columns the width of their contents and divides the rest.
    void resizeToContents();

    /// Divides the width anew.
    void fit();

    /// Whether the user has set the width of the column of names, which is then left alone.
    bool isDragged() const;
    void setDragged(bool dragged);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QString headerOf(int column) const;
    void noteDragging(int column, int size);

    QTableView *m_view;
    int m_column;
    int m_lesserColumns;
    bool m_dragged = false;
    QMap<QString, int> m_draggedWidths; ///< by header
};
