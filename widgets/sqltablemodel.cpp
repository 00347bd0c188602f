#include "widgets/sqltablemodel.h"

#include "db/transaction.h"
#include "widgets/plaintext.h"

#include <QSqlRecord>

#include <algorithm>

namespace {

constexpr qsizetype pageRows = 200;
constexpr qsizetype keysRows = 20'000;  ///< read at once when only their ids are wanted
constexpr int patienceMs = 60;          ///< before the window gets its turn
constexpr int mostLookedThrough = 2000; ///< rows further down in which a row is looked for
constexpr int pauseMs = 3000;           ///< between two tries of a page that cannot be read

} // namespace

SqlTableModel::SqlTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{
    m_readOn.setSingleShot(true);
    connect(&m_readOn, &QTimer::timeout, this, &SqlTableModel::readOn);
}

void SqlTableModel::setColumns(const QList<TableColumn> &columns)
{
    m_columns = columns;
    m_described = true;
    if (m_width > 0)
        emit headerDataChanged(Qt::Horizontal, 0, m_width - 1);
}

void SqlTableModel::setArrangement(std::function<void(QList<SqlRow> &rows)> arrange)
{
    m_arrange = std::move(arrange);
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
    if (m_arrange) {
        QList<SqlRow> arranged;
        for (int row = 0; row < rows; ++row)
            arranged += values.mid(qsizetype(row) * columns, columns);
        m_arrange(arranged);
        values.clear();
        for (const SqlRow &row : std::as_const(arranged))
            values += row;
    }

    beginResetModel();
    m_pages.reset();
    m_readOn.stop();
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

bool SqlTableModel::selectPages(QWidget *parent, const PagedSelect &list, qsizetype atLeast,
                                const QString &connectionName)
{
    auto pages = std::make_unique<PagedRows>(list, m_columns, connectionName);
    const QDeadlineTimer patience(patienceMs);
    // Deep in the list the ids down there will do: values are read of the rows that are looked at.
    const bool withValues = atLeast <= 10 * pageRows;
    const qsizetype wanted = std::max(atLeast, pageRows);
    do {
        PagedRows::Batch batch;
        const bool needed = pages->count() < atLeast;
        const qsizetype rows = std::min((needed ? atLeast : wanted) - pages->count(), keysRows);
        if (!pages->read(parent, rows, withValues,
                         needed ? QDeadlineTimer(QDeadlineTimer::Forever) : patience, batch))
            return false;
        pages->add(batch);
    } while (!pages->isAtEnd() &&
             (pages->count() < atLeast || (pages->count() < wanted && !patience.hasExpired())));

    beginResetModel();
    m_values.clear();
    m_pages = std::move(pages);
    m_connectionName = connectionName;
    m_rows = static_cast<int>(m_pages->count());
    m_width = static_cast<int>(m_columns.size());
    m_pause = {};
    endResetModel();
    m_goal = wanted;
    if (m_rows < m_goal && !m_pages->isAtEnd())
        m_readOn.start(0);
    return true;
}

std::optional<PagedSelect> SqlTableModel::list() const
{
    return m_pages ? std::optional(m_pages->list()) : std::nullopt;
}

bool SqlTableModel::isReading() const
{
    return m_readOn.isActive();
}

int SqlTableModel::findRow(qulonglong id)
{
    int row = rowOfId(id);
    if (row >= 0 || !m_pages || !m_pages->leadsTo(nullptr, id).value_or(false))
        return row;
    const int farthest = m_rows + mostLookedThrough;
    while (row < 0 && m_rows < farthest && readKeys(pageRows))
        row = rowOfId(id);
    return row;
}

bool SqlTableModel::readAll()
{
    while (readKeys(keysRows)) {
    }
    return !m_pages || m_pages->isAtEnd();
}

/// Reads on without values, which are read where somebody looks. False at the end and on failure.
bool SqlTableModel::readKeys(qsizetype rows)
{
    if (!m_pages || m_pages->isAtEnd())
        return false;
    PagedRows::Batch batch;
    const bool done = m_pages->read(nullptr, rows, false, QDeadlineTimer::Forever, batch);
    append(batch);
    return done;
}

bool SqlTableModel::canFetchMore(const QModelIndex &parent) const
{
    return !parent.isValid() && m_pages && !m_pages->isAtEnd() && !m_readOn.isActive() &&
           m_pause.hasExpired() && !inTransaction(m_connectionName);
}

void SqlTableModel::fetchMore(const QModelIndex &parent)
{
    if (!canFetchMore(parent))
        return;
    m_goal = m_rows + pageRows;
    readOn();
}

/// Reads towards the goal, a little at a time. Nobody is told of a failure, which would come again
/// with every turn of the wheel: the rows stay, and whoever scrolls on tries again.
void SqlTableModel::readOn()
{
    if (!m_pages || m_pages->isAtEnd())
        return;
    if (inTransaction(m_connectionName)) {
        m_readOn.start(patienceMs);
        return;
    }
    PagedRows::Batch batch;
    const bool done =
        m_pages->read(nullptr, m_goal - m_rows, true, QDeadlineTimer(patienceMs), batch);
    append(batch);
    if (!done)
        m_pause = QDeadlineTimer(pauseMs);
    else if (m_rows < m_goal && !m_pages->isAtEnd())
        m_readOn.start(0);
}

void SqlTableModel::append(const PagedRows::Batch &batch)
{
    if (batch.ids.isEmpty())
        return;
    const int rows = m_rows + static_cast<int>(batch.ids.size());
    beginInsertRows({}, m_rows, rows - 1);
    m_pages->add(batch);
    m_rows = rows;
    endInsertRows();
}

void SqlTableModel::clear()
{
    beginResetModel();
    m_pages.reset();
    m_readOn.stop();
    m_values.clear();
    m_rows = 0;
    endResetModel();
}

QVariant SqlTableModel::value(int row, int column) const
{
    if (row < 0 || row >= m_rows || column < 0 || column >= m_width)
        return {};
    if (m_pages)
        return m_pages->value(row, column);
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
    return m_pages ? m_pages->id(row) : value(row, QStringLiteral("id")).toULongLong();
}

int SqlTableModel::rowOfId(qulonglong id, const QString &key) const
{
    if (m_pages)
        return static_cast<int>(m_pages->rowOf(id));
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
    return shownText(value(row, column), kindOf(column));
}
