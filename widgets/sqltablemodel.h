#pragma once

#include <QAbstractTableModel>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>

#include "db/connections.h"
#include "db/query.h"
#include "widgets/pagedrows.h"
#include "widgets/tablecolumn.h"

/// The rows of one SELECT, read to the end at once or, of a long list, page by page: no statement
/// stays open on the connection, and the rows survive the loss of the connection.
class SqlTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit SqlTableModel(QObject *parent = nullptr);

    /// Describes the columns of the SELECT, in its order. Without a description its own names are
    /// the keys and the headers stay empty.
    void setColumns(const QList<TableColumn> &columns);
    const QList<TableColumn> &columns() const;

    /// How the rows of a SELECT are put in order or dressed before they are shown; how many there
    /// are stays. Not for long lists.
    void setArrangement(std::function<void(QList<SqlRow> &rows)> arrange);

    /// Runs the SELECT and replaces the rows. On failure (reported over the parent) the old rows
    /// stay and false is returned.
    bool select(QWidget *parent, const QString &sqlText,
                const QString &connectionName = mainConnection);

    /// Shows a long list, of which further pages are read as a view asks for them. The first page
    /// is here at once; a search that takes longer goes on in the background. Of atLeast rows all
    /// are here behind the call, unless the list is shorter. On failure the old rows stay.
    bool selectPages(QWidget *parent, const PagedSelect &list, qsizetype atLeast = 0,
                     const QString &connectionName = mainConnection);

    /// The long list that is shown; nothing when all rows have been read.
    std::optional<PagedSelect> list() const;

    /// Whether rows that are wanted are still being looked for.
    bool isReading() const;

    /// Removes all rows.
    void clear();

    /// The value of a cell as the database returned it; invalid outside the table.
    QVariant value(int row, int column) const;
    QVariant value(int row, const QString &key) const;

    /// The number of the column with that key, or -1.
    int columnOf(const QString &key) const;

    /// The id of a row; 0 when it has none.
    qulonglong idOf(int row) const;

    /// The first row whose value in the column is this id, or -1.
    int rowOfId(qulonglong id, const QString &key = QStringLiteral("id")) const;

    /// The row with that id, read on to when it stands somewhat further down in a long list; -1
    /// when there is none.
    int findRow(qulonglong id);

    /// Reads a long list to its end, for who wants all of it. False on failure, which is not told.
    bool readAll();

    bool canFetchMore(const QModelIndex &parent) const override;
    void fetchMore(const QModelIndex &parent) override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    void readOn();
    bool readKeys(qsizetype rows);
    void append(const PagedRows::Batch &batch);
    ColumnKind kindOf(int column) const;
    QString displayText(int row, int column) const;

    QList<TableColumn> m_columns;
    bool m_described = false;
    std::function<void(QList<SqlRow> &)> m_arrange;
    QList<QVariant> m_values; ///< row by row
    int m_rows = 0;
    int m_width = 0; ///< values in a row

    std::unique_ptr<PagedRows> m_pages; ///< instead of the values
    QString m_connectionName;
    qsizetype m_goal = 0; ///< rows that are wanted
    QTimer m_readOn;
    QDeadlineTimer m_pause; ///< after a page that could not be read
};
