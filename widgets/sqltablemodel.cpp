#include "widgets/sqltablemodel.h"

#include "db/money.h"
#include "db/query.h"
#include "widgets/plaintext.h"

#include <QSqlRecord>

SqlTableModel::SqlTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

void SqlTableModel::setColumns(const QStringList &headers, const QList<ColumnKind> &kinds)
{
    m_headers = headers;
    m_kinds = kinds;
    if (m_columns > 0)
        emit headerDataChanged(Qt::Horizontal, 0, m_columns - 1);
}

bool SqlTableModel::select(QWidget *parent, const QString &sqlText, const QString &connectionName)
{
    QSqlQuery query;
    if (!QueryExec(parent, sqlText, query, connectionName))
        return false;
    const QSqlRecord record = query.record();
    const int columns = record.count();
    QList<QVariant> values;
    values.reserve(m_values.size());
    int rows = 0;
    while (query.next()) {
        for (int column = 0; column < columns; ++column) {
            QVariant value = query.value(column);
            // Units and dates repeat from row to row: share their text.
            if (rows > 0) {
                const QVariant &above = values.at(values.size() - columns);
                if (value.typeId() == QMetaType::QString && value == above)
                    value = above;
            }
            values.append(std::move(value));
        }
        ++rows;
    }
    if (!readToEnd(parent, query, connectionName))
        return false;
    query = QSqlQuery();

    beginResetModel();
    m_values = std::move(values);
    m_rows = rows;
    m_columns = columns;
    m_names.clear();
    for (int column = 0; column < columns; ++column)
        m_names += record.fieldName(column);
    endResetModel();
    return true;
}

void SqlTableModel::clear()
{
    beginResetModel();
    m_values.clear();
    m_rows = 0;
    endResetModel();
}

QVariant SqlTableModel::value(int row, int column) const
{
    if (row < 0 || row >= m_rows || column < 0 || column >= m_columns)
        return {};
    return m_values.at(static_cast<qsizetype>(row) * m_columns + column);
}

QVariant SqlTableModel::value(int row, const QString &columnName) const
{
    return value(row, columnOf(columnName));
}

int SqlTableModel::columnOf(const QString &columnName) const
{
    return static_cast<int>(m_names.indexOf(columnName));
}

int SqlTableModel::rowOfId(qulonglong id, int column) const
{
    for (int row = 0; row < m_rows; ++row) {
        if (value(row, column).toULongLong() == id)
            return row;
    }
    return -1;
}

int SqlTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int SqlTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_columns;
}

QVariant SqlTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const ColumnKind kind = m_kinds.value(index.column(), ColumnKind::Plain);
    const bool isText = kind == ColumnKind::Plain || kind == ColumnKind::Name;
    switch (role) {
    case Qt::DisplayRole:
        return displayText(index.row(), index.column());
    case Qt::EditRole:
        return value(index.row(), index.column());
    case Qt::ToolTipRole:
        if (const QString text = displayText(index.row(), index.column());
            kind == ColumnKind::Name && !text.isEmpty())
            return plainToolTip(text);
        return {};
    case Qt::TextAlignmentRole:
        return QVariant::fromValue((isText ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    default:
        return {};
    }
}

QVariant SqlTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    if (orientation == Qt::Vertical)
        return section + 1;
    return m_headers.value(section);
}

QString SqlTableModel::displayText(int row, int column) const
{
    const QVariant cell = value(row, column);
    if (cell.isNull())
        return {};
    switch (m_kinds.value(column, ColumnKind::Plain)) {
    case ColumnKind::Money:
        return formatMoney(cell.toDouble());
    case ColumnKind::Quantity:
        return formatQuantity(cell.toDouble());
    case ColumnKind::Ratio:
        return formatFactor(cell.toDouble(), 4);
    case ColumnKind::Factor:
        return formatFactor(cell.toDouble());
    case ColumnKind::Plain:
    case ColumnKind::Name:
    case ColumnKind::Number:
        break;
    }
    return cell.toString();
}
