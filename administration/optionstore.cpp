#include "administration/optionstore.h"

#include "db/auditlog.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <QCoreApplication>

#include <algorithm>

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
    QList<SqlRow> locked;
    for (const QString &ids : sql::idLists(values.keys())) {
        if (!readLockedRows("options", selectOptions + " WHERE id IN (" + ids + ") ORDER BY id",
                            locked))
            return TransactionStep::Fail;
    }
    const QList<OptionRow> rows = optionRows(locked);
    QStringList statements;
    for (auto value = values.begin(); value != values.end(); ++value) {
        const OptionRow *seen = find(value.key());
        if (!seen)
            continue;
        const OptionRow now = rowOf(rows, value.key());
        const QString wanted = sql::storable(value.value());
        if (now.id == 0 || (now.value != seen->value && now.value != wanted))
            m_conflicts += {.seen = *seen, .now = now};
        else if (now.value != wanted)
            statements += "UPDATE options SET value=" + sql::text(wanted) +
                          ", timestamp=" + sql::now() + " WHERE id=" + sql::quotedId(now.id) + u';';
    }
    if (!m_conflicts.isEmpty())
        return TransactionStep::Refuse;
    if (statements.isEmpty())
        return TransactionStep::Done;
    return std::all_of(statements.begin(), statements.end(),
                       [](const QString &statement) { return QueryExec(nullptr, statement); })
               ? TransactionStep::Commit
               : TransactionStep::Fail;
}
