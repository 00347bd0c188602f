#include "widgets/sqltablemodel.h"

#include "db/money.h"
#include "db/query.h"
#include "widgets/plaintext.h"

#include <QSqlRecord>

SqlTableModel::SqlTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
}

void SqlTableModel::setColumns(const QList<TableColumn> &columns)
{
    m_columns = columns;
    m_described = true;
    if (m_width > 0)
        emit headerDataChanged(Qt::Horizontal, 0, m_width - 1);
}

const QList<TableColumn> &SqlTableModel::columns() const
{
    return m_columns;
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
    m_width = columns;
    if (!m_described) {
        m_columns.clear();
        for (int column = 0; column < columns; ++column)
            m_columns += {.key = record.fieldName(column), .expression = {}};
    }
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
    if (row < 0 || row >= m_rows || column < 0 || column >= m_width)
        return {};
    return m_values.at(static_cast<qsizetype>(row) * m_width + column);
}

QVariant SqlTableModel::value(int row, const QString &key) const
{
    return value(row, columnOf(key));
}

int SqlTableModel::columnOf(const QString &key) const
{
    for (int column = 0; column < m_columns.size(); ++column) {
        if (m_columns.at(column).key == key)
            return column;
    }
    return -1;
}

qulonglong SqlTableModel::idOf(int row) const
{
    return value(row, QStringLiteral("id")).toULongLong();
}

int SqlTableModel::rowOfId(qulonglong id, const QString &key) const
{
    const int column = columnOf(key);
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
    return parent.isValid() ? 0 : m_width;
}

QVariant SqlTableModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const ColumnKind kind = kindOf(index.column());
    const bool isText =
        kind == ColumnKind::Text || kind == ColumnKind::Name || kind == ColumnKind::Time;
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
    return m_columns.value(section).header;
}

ColumnKind SqlTableModel::kindOf(int column) const
{
    return column < m_columns.size() ? m_columns.at(column).kind : ColumnKind::Text;
}

QString SqlTableModel::displayText(int row, int column) const
{
    const QVariant cell = value(row, column);
    if (cell.isNull())
        return {};
    switch (kindOf(column)) {
    case ColumnKind::Money:
        return formatMoney(cell.toDouble());
    case ColumnKind::Quantity:
        return formatQuantity(cell.toDouble());
    case ColumnKind::Ratio:
        return formatFactor(cell.toDouble(), 4);
    case ColumnKind::Factor:
        return formatFactor(cell.toDouble());
    case ColumnKind::Text:
    case ColumnKind::Name:
    case ColumnKind::Time:
    case ColumnKind::Id:
        break;
    }
    return cell.toString();
}
