#pragma once

#include <QAbstractTableModel>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include "db/connections.h"
#include "widgets/tablecolumn.h"

/// The rows of one SELECT, read to the end at once: no statement stays open on the connection, and
/// the rows survive the loss of the connection.
class SqlTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit SqlTableModel(QObject *parent = nullptr);

    /// Describes the columns of the SELECT, in its order. Without a description its own names are
    /// the keys and the headers stay empty.
    void setColumns(const QList<TableColumn> &columns);
    const QList<TableColumn> &columns() const;

    /// Runs the SELECT and replaces the rows. On failure (reported over the parent) the old rows
    /// stay and false is returned.
    bool select(QWidget *parent, const QString &sqlText,
                const QString &connectionName = mainConnection);

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

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    ColumnKind kindOf(int column) const;
    QString displayText(int row, int column) const;

    QList<TableColumn> m_columns;
    bool m_described = false;
    QList<QVariant> m_values; ///< row by row
    int m_rows = 0;
    int m_width = 0; ///< values in a row
};
