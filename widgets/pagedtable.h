#pragma once

#include <QObject>
#include <QTimer>

#include <functional>
#include <optional>

#include "db/connections.h"
#include "widgets/pagedselect.h"

class ColumnWidths;
class QTableView;
class SqlTableModel;

/// A long list in a table behind a filter. It is read anew some time after the last change of the
/// filter, stays at the user's place, and is read to its end for who wants all of it.
class PagedTable final : public QObject
{
    Q_OBJECT

public:
    /// list: describes the rows that the filter leaves; nothing when that failed, which it has
    /// told. Shows the model in the view, of which it is a child.
    PagedTable(QTableView *view, SqlTableModel *model,
               std::function<std::optional<PagedSelect>()> list,
               const QString &connectionName = mainConnection);

    /// Reads the list anew, the user's place is kept. False on failure, which is told over the
    /// window.
    bool refresh();

    /// The same once nobody types any more.
    void refreshSoon();

    /// A filter that was just typed is not applied any more.
    void stop();

    /// Applies the filter now and goes to the first row, however long the search for it takes.
    void enter();

    /// Goes to the row with an id. False when it is not in the list or stands far down.
    bool select(qulonglong id);

    /// The id of the current row, 0 without one.
    qulonglong currentId() const;

    /// The ids of the selected rows.
    QList<qulonglong> selectedIds() const;

    ColumnWidths *widths() const;

    /// Whether the columns have got their widths by rows that were read.
    bool isSized() const;

signals:
    /// The columns have got their first widths.
    void sized();
    /// The list was read anew.
    void refreshed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool read(qsizetype atLeast);
    void sizeColumns();

    QTableView *m_view;
    SqlTableModel *m_model;
    std::function<std::optional<PagedSelect>()> m_list;
    QString m_connectionName;
    ColumnWidths *m_widths;
    QTimer m_timer;
    bool m_sized = false;
};
