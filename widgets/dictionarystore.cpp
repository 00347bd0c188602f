#include "widgets/dictionarystore.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QCoreApplication>
#include <QHash>
#include <QSqlQuery>

#include <algorithm>
#include <functional>

namespace {

struct DictionaryStore
{
    Q_DECLARE_TR_FUNCTIONS(DictionaryStore)
};

/// The columns of an entry that are read, in the order of its SELECT.
QStringList readColumns(const Dictionary &dictionary)
{
    QStringList columns;
    if (dictionary.entrySelect.isEmpty())
        columns = dictionary.readFirst;
    for (const DictionaryField &field : dictionary.fields) {
        if (field.kind != FieldKind::Time && !columns.contains(field.column))
            columns += field.column;
    }
    return columns;
}

/// The SELECT of an entry, without a semicolon.
QString entryQuery(const Dictionary &dictionary, qulonglong id)
{
    return "SELECT " + readColumns(dictionary).join(QLatin1String(", ")) + " FROM " +
           dictionary.table + " WHERE id=" + sql::quotedId(id);
}

QVariantMap named(const QStringList &columns, const SqlRow &row)
{
    QVariantMap values;
    for (qsizetype i = 0; i < columns.size(); ++i)
        values.insert(columns.at(i), row.at(i));
    return values;
}

QString valueText(const DictionaryField &field, const QVariant &value, bool quoted)
{
    QString number;
    switch (field.kind) {
    case FieldKind::Text:
    case FieldKind::Memo:
    case FieldKind::Code:
        return sql::text(value.toString());
    case FieldKind::Time:
        return sql::now();
    case FieldKind::Number:
        number = sql::number(value.toDouble());
        break;
    case FieldKind::Flag:
    case FieldKind::Choice:
    case FieldKind::Fixed:
        number = sql::integer(value.toLongLong());
        break;
    }
    return quoted ? u'\'' + number + u'\'' : number;
}

/// The fields that a statement writes.
QList<DictionaryField> writtenFields(const Dictionary &dictionary, const QVariantMap &values,
                                     bool isNew)
{
    QList<DictionaryField> fields;
    for (const DictionaryField &field : dictionary.fields) {
        const bool applies = field.kind == FieldKind::Time || values.contains(field.column);
        const bool isOnce = field.once || (field.kind == FieldKind::Fixed && !field.rewritten);
        if (applies && (isNew || !isOnce))
            fields += field;
    }
    return fields;
}

/// What stands for a value in a statement.
QString placeOf(const Dictionary &dictionary, const DictionaryField &field,
                const QVariantMap &values, bool quoted)
{
    return dictionary.bound ? u':' + field.column
                            : valueText(field, values.value(field.column), quoted);
}

QString insertText(const Dictionary &dictionary, const QVariantMap &values)
{
    QStringList columns;
    QStringList places;
    for (const DictionaryField &field : writtenFields(dictionary, values, true)) {
        columns += field.column;
        places += placeOf(dictionary, field, values, true);
    }
    return "INSERT INTO " + dictionary.table + u'(' + columns.join(u',') + ") VALUES(" +
           places.join(QLatin1String(dictionary.bound ? "," : ", ")) + ");";
}

QString updateText(const Dictionary &dictionary, qulonglong id, const QVariantMap &values)
{
    QStringList assignments;
    for (const DictionaryField &field : writtenFields(dictionary, values, false))
        assignments += field.column + u'=' + placeOf(dictionary, field, values, field.quoted);
    return "UPDATE " + dictionary.table + " SET " + assignments.join(QLatin1String(", ")) +
           " WHERE id=" + (dictionary.bound ? sql::id(id) : sql::quotedId(id)) + ";";
}

QVariant boundValue(const DictionaryField &field, const QVariant &value)
{
    switch (field.kind) {
    case FieldKind::Text:
    case FieldKind::Memo:
    case FieldKind::Code:
        return sql::storable(value.toString());
    case FieldKind::Time:
        return currentTimestamp();
    case FieldKind::Number:
        return value.toDouble();
    case FieldKind::Flag:
    case FieldKind::Choice:
    case FieldKind::Fixed:
        break;
    }
    return value.toLongLong();
}

/// Runs the INSERT or UPDATE of an entry inside a transaction.
bool runEntryStatement(const Dictionary &dictionary, const QString &statement,
                       const QVariantMap &values, bool isNew, QSqlQuery &query)
{
    if (!dictionary.bound)
        return QueryExec(nullptr, statement, query);
    SqlBindings bindings;
    for (const DictionaryField &field : writtenFields(dictionary, values, isNew))
        bindings += {u':' + field.column, boundValue(field, values.value(field.column))};
    return QueryExecPrepared(nullptr, statement, query, bindings);
}

/// Which rows use an entry.
QString useCondition(const Dictionary &dictionary, const DictionaryUse &use, qulonglong id)
{
    const QString value = use.key == "id" ? sql::quotedId(id)
                                          : "(SELECT " + use.key + " FROM " + dictionary.table +
                                                " WHERE id=" + sql::quotedId(id) + u')';
    return " WHERE " + use.column + u'=' + value + (use.also.isEmpty() ? "" : " AND " + use.also) +
           u';';
}

QStringList deleteTexts(const Dictionary &dictionary, qulonglong id)
{
    QStringList before;
    QStringList behind;
    for (const DictionaryUse &use : dictionary.uses) {
        const QString condition = useCondition(dictionary, use, id);
        if (!use.goToo)
            before += "UPDATE " + use.table + " SET " + use.column + "='0'" + condition;
        else // by another key than the id they are found as long as the entry is there
            (use.key == "id" ? behind : before) += "DELETE FROM " + use.table + condition;
    }
    return before +
           QStringList{"DELETE FROM " + dictionary.table + " WHERE id=" + sql::quotedId(id) +
                       u';'} +
           behind;
}

/// Lets the rows follow that hold another column of an entry than its id.
bool followChange(const Dictionary &dictionary, const QVariantMap &before,
                  const QVariantMap &values)
{
    for (const DictionaryUse &use : dictionary.uses) {
        const QString former = before.value(use.key).toString();
        const QString now = values.value(use.key, former).toString();
        if (use.key != "id" && now != former &&
            !QueryExec(nullptr, "UPDATE " + use.table + " SET " + use.column + u'=' +
                                    sql::text(now) + " WHERE " + use.column + u'=' +
                                    sql::text(former) + u';'))
            return false;
    }
    return true;
}

/// Whether a column that is to be written is another one now than the user has seen.
bool isChanged(const QVariantMap &values, const QVariantMap &seen, const QVariantMap &now)
{
    const QStringList columns = values.keys();
    return std::any_of(columns.begin(), columns.end(), [&](const QString &column) {
        return seen.value(column).toString() != now.value(column).toString();
    });
}

/// Whether an entry holds already what is to be written, as far as the database keeps it.
bool isWritten(const Dictionary &dictionary, const QVariantMap &values, const QVariantMap &now)
{
    const QList<DictionaryField> fields = writtenFields(dictionary, values, false);
    return std::all_of(fields.begin(), fields.end(), [&](const DictionaryField &field) {
        return field.kind == FieldKind::Time ||
               valueText(field, values.value(field.column), true) ==
                   valueText(field, now.value(field.column), true);
    });
}

/// Whether a tree's entry would come under itself. rows: ids and parents of all entries.
bool makesCircle(const QList<SqlRow> &rows, qulonglong id, qulonglong parent)
{
    QHash<qulonglong, qulonglong> parents;
    for (const SqlRow &row : rows)
        parents.insert(row.at(0).toULongLong(), row.at(1).toULongLong());
    if (parents.value(id) == parent)
        return false;
    for (qsizetype steps = 0; steps <= parents.size() && parent != 0 && parent != id; ++steps)
        parent = parents.value(parent);
    return parent == id;
}

/// Runs a short body in a transaction and tells when it fails. inDoubt: see TransactionOptions.
bool write(QWidget *parent, const Dictionary &dictionary,
           const std::function<TransactionStep()> &body, bool *inDoubt = nullptr)
{
    const TransactionResult result =
        runInTransaction(parent, mainConnection, body,
                         {.inDoubt = inDoubt, .tries = 2, .needs = {dictionary.command}});
    if (result.state == TransactionState::Unknown)
        showFailure(parent,
                    DictionaryStore::tr("Связь с базой данных прервалась во время записи. "
                                        "Неизвестно, записано ли: закройте окно и проверьте."),
                    result.failure.words());
    else if (!result.isDone() && !result.givenUp)
        showDatabaseFailure(parent, result.failure, DictionaryStore::tr("Не записано."));
    return result.isDone();
}

} // namespace

QString dictionaryList(const Dictionary &dictionary, const QString &search,
                       const QString &condition)
{
    QStringList conditions;
    if (!condition.isEmpty())
        conditions += condition;
    const QStringList words = search.split(u' ', Qt::SkipEmptyParts);
    for (const QString &word : words) {
        QStringList places;
        for (const QString &column : dictionary.searched)
            places += column + " LIKE " + sql::containing(word);
        conditions += u'(' + places.join(QLatin1String(" OR ")) + u')';
    }
    QString text = selectList(dictionary.columns) + " FROM " + dictionary.table;
    if (!conditions.isEmpty())
        text += " WHERE " + conditions.join(QLatin1String(" AND "));
    return text + " ORDER BY " + dictionary.order + u';';
}

LoadState loadEntry(QWidget *parent, const Dictionary &dictionary, qulonglong id,
                    QVariantMap &values)
{
    const bool isMade = dictionary.entrySelect.isEmpty();
    QList<SqlRow> rows;
    if (!QueryRows(
            parent,
            (isMade ? entryQuery(dictionary, id) : dictionary.entrySelect + sql::quotedId(id)) +
                u';',
            rows))
        return LoadState::Failed;
    if (rows.isEmpty())
        return LoadState::NotFound;
    values = named(isMade ? readColumns(dictionary) : dictionary.readFirst, rows.first());
    return LoadState::Loaded;
}

std::optional<qulonglong> insertEntry(QWidget *parent, const Dictionary &dictionary,
                                      const QVariantMap &values)
{
    std::optional<qulonglong> id;
    bool inDoubt = false;
    const auto insert = [&] {
        QList<SqlRow> rows;
        // A former try whose COMMIT got no answer has left its row behind, or it has not.
        if (inDoubt &&
            !readLockedTable(dictionary.table, entryQuery(dictionary, id.value_or(0)), rows))
            return TransactionStep::Fail;
        if (!rows.isEmpty() &&
            isWritten(dictionary, values, named(readColumns(dictionary), rows.first())))
            return TransactionStep::Done;
        inDoubt = false;
        QSqlQuery query;
        if (!runEntryStatement(dictionary, insertText(dictionary, values), values, true, query))
            return TransactionStep::Fail;
        id = query.lastInsertId().toULongLong();
        return TransactionStep::Commit;
    };
    return write(parent, dictionary, insert, &inDoubt) ? id : std::nullopt;
}

EntryState updateEntry(QWidget *parent, const Dictionary &dictionary, qulonglong id,
                       const QVariantMap &values, QVariantMap &seen)
{
    EntryState state = EntryState::Failed;
    QVariantMap now;
    bool inDoubt = false;
    const auto update = [&] {
        QList<SqlRow> rows;
        // Two stations could otherwise hang two entries under each other.
        const qulonglong above = values.value(dictionary.parent).toULongLong();
        if (above != 0 &&
            !readLockedTable(dictionary.table,
                             "SELECT id, " + dictionary.parent + " FROM " + dictionary.table, rows))
            return TransactionStep::Fail;
        const bool circle = above != 0 && makesCircle(rows, id, above);
        if (!readLockedRows(dictionary.table, entryQuery(dictionary, id), rows))
            return TransactionStep::Fail;
        state = EntryState::Gone;
        if (rows.isEmpty())
            return TransactionStep::Done;
        now = named(readColumns(dictionary), rows.first());
        state = EntryState::Written;
        if (isChanged(values, seen, now)) {
            // By a former save of this entry, perhaps, whose COMMIT got no answer.
            if (!isWritten(dictionary, values, now))
                state = EntryState::Changed;
            return TransactionStep::Done;
        }
        if (circle) {
            state = EntryState::Circle;
            return TransactionStep::Done;
        }
        inDoubt = false;
        QSqlQuery query;
        return runEntryStatement(dictionary, updateText(dictionary, id, values), values, false,
                                 query) &&
                       followChange(dictionary, now, values)
                   ? TransactionStep::Commit
                   : TransactionStep::Fail;
    };
    if (!write(parent, dictionary, update, &inDoubt))
        return EntryState::Failed;
    if (state == EntryState::Changed)
        seen = now;
    return state;
}

std::optional<bool> isRepeated(QWidget *parent, const Dictionary &dictionary, qulonglong id,
                               const DictionaryField &field, const QVariantMap &values)
{
    const QString text = values.value(field.column).toString().simplified();
    QString select = "SELECT " + field.column + " FROM " + dictionary.table + " WHERE " +
                     field.column + " LIKE " + sql::containing(text) +
                     " AND id!=" + sql::quotedId(id);
    if (!field.repeatAmong.isEmpty())
        select += " AND COALESCE(" + field.repeatAmong +
                  ",0)=" + sql::integer(values.value(field.repeatAmong).toLongLong());
    QList<SqlRow> rows;
    if (!QueryRows(parent, select + u';', rows))
        return {};
    return std::any_of(rows.cbegin(), rows.cend(), [&](const SqlRow &row) {
        return row.first().toString().simplified().compare(text, Qt::CaseInsensitive) == 0;
    });
}

std::optional<qlonglong> countUses(QWidget *parent, const Dictionary &dictionary,
                                   const DictionaryUse &use, const QList<qulonglong> &ids)
{
    qlonglong count = 0;
    DictionaryUse others = use;
    if (use.table == dictionary.table && !use.goToo) // not those that are deleted themselves
        others.also = "id NOT IN (" + sql::idLists(ids).join(u',') + u')';
    for (const qulonglong id : ids) {
        const QVariant number = QueryValue(parent, "SELECT count(*) FROM " + use.table +
                                                       useCondition(dictionary, others, id));
        if (!number.isValid())
            return {};
        count += number.toLongLong();
    }
    return count;
}

bool deleteEntries(QWidget *parent, const Dictionary &dictionary, const QList<qulonglong> &ids)
{
    return write(parent, dictionary, [&] {
        for (const qulonglong id : ids) {
            const QStringList statements = deleteTexts(dictionary, id);
            for (const QString &statement : statements) {
                if (!QueryExec(nullptr, statement))
                    return TransactionStep::Fail;
            }
        }
        return TransactionStep::Commit;
    });
}
