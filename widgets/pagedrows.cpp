#include "widgets/pagedrows.h"

#include "db/engine.h"
#include "db/query.h"
#include "db/transaction.h"

#include <QRandomGenerator>
#include <QSet>

#include <algorithm>
#include <utility>

namespace {

constexpr qsizetype chunkRows = 200;
constexpr qsizetype mostChunks = 50;
constexpr qsizetype searchedRows = 20'000; ///< looked at in one statement of a search
constexpr qsizetype sortedRows = 1000;     ///< the same where they must be sorted for it
constexpr qsizetype mostMarks = 1000;
constexpr int pauseMs = 3000; ///< between two tries of a cell that cannot be read

int columnOf(const QList<TableColumn> &columns, const QString &key)
{
    for (int column = 0; column < columns.size(); ++column) {
        if (columns.at(column).key == key)
            return column;
    }
    return 0;
}

/// Whether a text can stand in a statement as the database has it: not with broken characters or
/// NUL in it, nor when it is stored as bytes.
bool isWritable(const QVariant &text)
{
    const QString value = text.toString();
    return text.typeId() == QMetaType::QString && !value.contains(QChar::ReplacementCharacter) &&
           !value.contains(QChar::Null);
}

} // namespace

PagedRows::PagedRows(const PagedSelect &list, const QList<TableColumn> &columns,
                     const QString &connectionName)
    : m_list(list),
      m_statements(m_list, Engine::of(connectionName)),
      m_connectionName(connectionName),
      m_width(columns.size()),
      m_idColumn(columnOf(columns, QStringLiteral("id"))),
      m_orderColumn(columnOf(columns, list.order))
{
    const Engine &engine = Engine::of(connectionName);
    m_position.nulls = engine.sortsNullsFirst();
    if (list.start) {
        m_position = {.nulls = !list.start->text, .text = list.start->text};
        m_position.id = list.start->id - 1;
        m_othersFollow = m_position.nulls == engine.sortsNullsFirst();
    }
    m_marked = list.searched || !engine.ordersTextsByIndex();
    m_spacing = engine.ordersTextsByIndex() ? searchedRows : sortedRows;
}

const PagedSelect &PagedRows::list() const
{
    return m_list;
}

qsizetype PagedRows::count() const
{
    return m_ids.size();
}

bool PagedRows::isAtEnd() const
{
    return m_atEnd;
}

qulonglong PagedRows::id(qsizetype row) const
{
    return m_ids.value(row);
}

qsizetype PagedRows::rowOf(qulonglong id) const
{
    return m_ids.indexOf(id);
}

QVariant PagedRows::value(qsizetype row, int column) const
{
    return chunk(row / chunkRows).value((row % chunkRows) * m_width + column);
}

bool PagedRows::read(QWidget *parent, qsizetype rows, bool withValues, const QDeadlineTimer &time,
                     Batch &batch)
{
    bool done = true;
    while (done && !m_atEnd && batch.ids.size() < rows) {
        Batch stretch;
        done = readStretch(parent, rows - batch.ids.size(), withValues, stretch);
        removeKnown(stretch);
        batch.ids += stretch.ids;
        batch.values += stretch.values;
        if (time.hasExpired())
            break;
    }
    return done;
}

bool PagedRows::readStretch(QWidget *parent, qsizetype rows, bool withValues, Batch &batch)
{
    if (m_marked && !m_position.nulls && !m_marks && !findMarks(parent))
        return false;
    PageStatements::Text last;
    if (m_marks && !m_position.nulls && m_mark + m_marksOn <= m_marks->size())
        last = m_marks->at(m_mark + m_marksOn - 1);
    QList<SqlRow> read;
    if (!QueryRows(parent,
                   withValues ? m_statements.page(m_position, last, rows)
                              : m_statements.keys(m_position, last, rows),
                   read, m_connectionName))
        return false;
    for (const SqlRow &row : std::as_const(read)) {
        batch.ids += row.at(withValues ? m_idColumn : 0).toULongLong();
        if (withValues)
            batch.values += row;
    }
    if (!read.isEmpty()) {
        const qulonglong former = std::exchange(m_position.id, batch.ids.last());
        m_position.behindEqual = false;
        const QVariant text = read.last().at(withValues ? m_orderColumn : 1);
        if (!m_position.nulls)
            m_position.text = text.toString();
        m_position.unwritable = !m_position.nulls && !isWritable(text);
        // What the database orders in another way than it compares leads nowhere.
        m_atEnd = former == m_position.id;
    }
    if (read.size() == rows)
        return true;
    if (last) {
        m_position = {.text = last, .behindEqual = true};
        m_mark += m_marksOn;
        const qsizetype most = m_list.searched ? searchedRows / m_spacing : mostMarks;
        m_marksOn = std::min(2 * m_marksOn, most); // there is little here
    } else if (m_othersFollow) {
        m_position = {.nulls = !m_position.nulls};
        m_othersFollow = false;
    } else {
        m_atEnd = true;
    }
    return true;
}

/// Takes the texts of rows here and there, so many that some rows lie between two.
bool PagedRows::findMarks(QWidget *parent)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, m_statements.highestId(), rows, m_connectionName))
        return false;
    const qulonglong highest = rows.value(0).value(0).toULongLong();
    const auto count = std::min(qsizetype(highest) / m_spacing, mostMarks);
    QList<qulonglong> ids;
    for (qsizetype i = 0; i < count; ++i)
        ids += 1 + QRandomGenerator::global()->generate64() % highest;
    if (!ids.isEmpty() && !QueryRows(parent, m_statements.textsOf(ids), rows, m_connectionName))
        return false;
    m_marks.emplace();
    for (const SqlRow &row : std::as_const(rows)) {
        if (!ids.isEmpty() && isWritable(row.first()))
            *m_marks += row.first().toString();
    }
    return true;
}

/// A row that was renamed meanwhile comes a second time.
void PagedRows::removeKnown(Batch &batch) const
{
    const QSet<qulonglong> fresh(batch.ids.begin(), batch.ids.end());
    QSet<qulonglong> known;
    for (const qulonglong id : m_ids) {
        if (fresh.contains(id))
            known += id;
    }
    for (qsizetype i = batch.ids.size() - 1; !known.isEmpty() && i >= 0; --i) {
        if (!known.contains(batch.ids.at(i)))
            continue;
        batch.ids.removeAt(i);
        if (!batch.values.isEmpty())
            batch.values.remove(i * m_width, m_width);
    }
}

std::optional<bool> PagedRows::leadsTo(QWidget *parent, qulonglong id) const
{
    QList<SqlRow> rows;
    if (m_atEnd)
        return false;
    if (!QueryRows(parent, m_statements.find(id, m_position, m_othersFollow), rows,
                   m_connectionName))
        return std::nullopt;
    return !rows.isEmpty();
}

void PagedRows::add(const Batch &batch)
{
    for (qsizetype i = 0; i < batch.ids.size(); ++i) {
        const qsizetype row = m_ids.size();
        m_ids += batch.ids.at(i);
        // A chunk begun without values is read by its ids when somebody looks at it.
        if (batch.values.isEmpty() ||
            (row % chunkRows != 0 && !m_chunks.contains(row / chunkRows))) {
            m_chunks.remove(row / chunkRows);
            continue;
        }
        if (row % chunkRows == 0)
            makeRoom(row / chunkRows);
        QList<QVariant> &values = m_chunks[row / chunkRows];
        for (qsizetype column = 0; column < m_width; ++column)
            values += batch.values.at(i * m_width + column);
    }
}

const QList<QVariant> &PagedRows::chunk(qsizetype number) const
{
    static const QList<QVariant> none;
    const auto known = m_chunks.constFind(number);
    if (known != m_chunks.constEnd())
        return *known;
    const QList<qulonglong> ids = m_ids.mid(number * chunkRows, chunkRows);
    // In a transaction a failed look would break what is being written.
    if (ids.isEmpty() || !m_pause.hasExpired() || inTransaction(m_connectionName))
        return none;
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, m_statements.rowsOf(ids), rows, m_connectionName)) {
        m_pause = QDeadlineTimer(pauseMs);
        return none;
    }
    QHash<qulonglong, SqlRow> byId;
    for (const SqlRow &row : std::as_const(rows))
        byId.insert(row.at(m_idColumn).toULongLong(), row);
    QList<QVariant> values;
    for (const qulonglong id : ids) {
        SqlRow row = byId.value(id);
        row.resize(m_width);
        row[m_idColumn] = id;
        values += row;
    }
    makeRoom(number);
    return *m_chunks.insert(number, values);
}

/// For another chunk: those farthest from it go.
void PagedRows::makeRoom(qsizetype number) const
{
    while (m_chunks.size() >= mostChunks) {
        const QList<qsizetype> kept = m_chunks.keys();
        const auto nearer = [number](qsizetype one, qsizetype other) {
            return qAbs(one - number) < qAbs(other - number);
        };
        m_chunks.remove(*std::max_element(kept.begin(), kept.end(), nearer));
    }
}
