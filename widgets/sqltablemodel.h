#pragma once

#include <QAbstractTableModel>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include "db/connections.h"

/// How a column's values are shown.
enum class ColumnKind {
    Plain,    ///< as the database returns it
    Name,     ///< as Plain; a tool tip shows what the column is too narrow for
    Number,   ///< a whole number or id, to the right
    Money,    ///< two decimals, a bare ".00" dropped
    Quantity, ///< up to three decimals
    Ratio,    ///< a computed coefficient, up to four decimals
    Factor,   ///< a coefficient or rate as somebody entered it, with all its decimals
};

/// The rows of one SELECT, read to the end at once: no statement stays open on the connection, and
/// the rows survive the loss of the connection.
class SqlTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit SqlTableModel(QObject *parent = nullptr);

    /// Describes the columns: headers and the way values are shown. May be called before or after
    /// select().
    void setColumns(const QStringList &headers, const QList<ColumnKind> &kinds);

    /// Runs the SELECT and replaces the rows. On failure (reported over the parent) the old rows
    /// stay and false is returned.
    bool select(QWidget *parent, const QString &sqlText,
                const QString &connectionName = mainConnection);

    /// Removes all rows.
    void clear();

    /// The value of a cell as the database returned it; invalid outside the table.
    QVariant value(int row, int column) const;
    QVariant value(int row, const QString &columnName) const;

    /// The column of that name in the SELECT, or -1.
    int columnOf(const QString &columnName) const;

    /// The first row whose value in the column is this id, or -1.
    int rowOfId(qulonglong id, int column = 0) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    QString displayText(int row, int column) const;

    QStringList m_headers;
    QList<ColumnKind> m_kinds;
    QStringList m_names;
    QList<QVariant> m_values; ///< row by row
    int m_rows = 0;
    int m_columns = 0;
};
