#include "administration/optionstore.h"

#include "db/auditlog.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

namespace {

struct OptionStoreText
{
    Q_DECLARE_TR_FUNCTIONS(OptionStore)
};

const QString selectOptions = "SELECT id, name, localname, description, value FROM options";

QList<OptionRow> optionRows(const QList<SqlRow> &rows)
{
    QList<OptionRow> options;
    for (const SqlRow &row : rows) {
        options += {.id = row.at(0).toULongLong(),
                    .name = row.at(1).toString(),
                    .localname = row.at(2).toString(),
                    .description = row.at(3).toString(),
                    .value = row.at(4).toString()};
    }
    return options;
}

OptionRow rowOf(const QList<OptionRow> &rows, qulonglong id)
{
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [id](const OptionRow &option) { return option.id == id; });
    return row == rows.end() ? OptionRow() : *row;
}

/// Through placeholders: a value may be a secret, and statements come into the log.
bool writeValue(qulonglong id, const QString &value)
{
    QSqlQuery query;
    return QueryExecPrepared(nullptr,
                             "UPDATE options SET value=:value, timestamp=" + sql::now() +
                                 " WHERE id=" + sql::quotedId(id) + u';',
                             query, {{":value", value}});
}

} // namespace

bool OptionStore::load(QWidget *parent)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, selectOptions + " ORDER BY id;", rows))
        return false;
    m_rows = optionRows(rows);
    return true;
}

const QList<OptionRow> &OptionStore::rows() const
{
    return m_rows;
}

const QList<OptionStore::Conflict> &OptionStore::conflicts() const
{
    return m_conflicts;
}

void OptionStore::acknowledge()
{
    for (const Conflict &conflict : std::as_const(m_conflicts)) {
        if (OptionRow *row = find(conflict.seen.id); row && conflict.now.id != 0)
            *row = conflict.now;
        else
            m_rows.removeIf([&](const OptionRow &gone) { return gone.id == conflict.seen.id; });
    }
    m_conflicts.clear();
}

OptionRow *OptionStore::find(qulonglong id)
{
    const auto row = std::find_if(m_rows.begin(), m_rows.end(),
                                  [id](const OptionRow &option) { return option.id == id; });
    return row == m_rows.end() ? nullptr : std::to_address(row);
}

OptionSaveState OptionStore::save(QWidget *parent, const QMap<qulonglong, QString> &values)
{
    if (values.isEmpty())
        return OptionSaveState::Saved;
    // A second try after a COMMIT without an answer finds its values there and has nothing to do.
    bool inDoubt = false;
    const TransactionResult result =
        runInTransaction(parent, mainConnection, [&] { return write(values); },
                         {.inDoubt = &inDoubt, .needs = {Command::ChangeOptions}});
    if (result.state == TransactionState::Refused)
        return OptionSaveState::Changed;
    if (!result.isDone()) {
        if (!result.givenUp)
            showDatabaseFailure(parent, result.failure,
                                OptionStoreText::tr("Настройки не записаны."));
        return OptionSaveState::Failed;
    }
    noteWritten(values);
    Session::instance().refreshOptions(parent, mainConnection);
    return OptionSaveState::Saved;
}

/// The rows hold the former values up to here; each change leaves a line in the log.
void OptionStore::noteWritten(const QMap<qulonglong, QString> &values)
{
    for (auto value = values.begin(); value != values.end(); ++value) {
        OptionRow *row = find(value.key());
        if (!row)
            continue;
        const QString wanted = sql::storable(value.value());
        const bool isSecret = describeOption(*row).kind == OptionKind::Secret;
        if (wanted != row->value)
            noteAction(OptionStoreText::tr("настройка ") +
                       (isSecret ? notedSecret(row->name) : noted(row->name, row->value, wanted)));
        row->value = value.value();
    }
}

TransactionStep OptionStore::write(const QMap<qulonglong, QString> &values)
{
    m_conflicts.clear();
    QList<OptionRow> rows;
    for (const QString &ids : sql::idLists(values.keys())) {
        QList<SqlRow> locked;
        if (!readLockedRows("options", selectOptions + " WHERE id IN (" + ids + ") ORDER BY id",
                            locked))
            return TransactionStep::Fail;
        rows += optionRows(locked);
    }
    QMap<qulonglong, QString> unwritten;
    for (auto value = values.begin(); value != values.end(); ++value) {
        const OptionRow *seen = find(value.key());
        if (!seen)
            continue;
        const OptionRow now = rowOf(rows, value.key());
        const QString wanted = sql::storable(value.value());
        if (now.id == 0 || (now.value != seen->value && now.value != wanted))
            m_conflicts += {.seen = *seen, .now = now};
        else if (now.value != wanted)
            unwritten.insert(now.id, wanted);
    }
    if (!m_conflicts.isEmpty())
        return TransactionStep::Refuse;
    if (unwritten.isEmpty())
        return TransactionStep::Done;
    for (auto value = unwritten.begin(); value != unwritten.end(); ++value) {
        if (!writeValue(value.key(), value.value()))
            return TransactionStep::Fail;
    }
    return TransactionStep::Commit;
}
