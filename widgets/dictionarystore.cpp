#include "widgets/dictionarystore.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QCoreApplication>
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
    QStringList columns = dictionary.readFirst;
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
        if (applies && (isNew || field.kind != FieldKind::Fixed))
            fields += field;
    }
    return fields;
}

QString insertText(const Dictionary &dictionary, const QVariantMap &values)
{
    QStringList columns;
    QStringList texts;
    for (const DictionaryField &field : writtenFields(dictionary, values, true)) {
        columns += field.column;
        texts += valueText(field, values.value(field.column), true);
    }
    return "INSERT INTO " + dictionary.table + u'(' + columns.join(u',') + ") VALUES(" +
           texts.join(QLatin1String(", ")) + ");";
}

QString updateText(const Dictionary &dictionary, qulonglong id, const QVariantMap &values)
{
    QStringList assignments;
    for (const DictionaryField &field : writtenFields(dictionary, values, false))
        assignments +=
            field.column + u'=' + valueText(field, values.value(field.column), field.quoted);
    return "UPDATE " + dictionary.table + " SET " + assignments.join(QLatin1String(", ")) +
           " WHERE id=" + sql::quotedId(id) + ";";
}

QStringList deleteTexts(const Dictionary &dictionary, qulonglong id)
{
    const auto of = [id](const QString &column) {
        return " WHERE " + column + u'=' + sql::quotedId(id) + u';';
    };
    QStringList before;
    QStringList behind;
    for (const DictionaryUse &use : dictionary.uses) {
        if (use.goToo)
            behind += "DELETE FROM " + use.table + of(use.column);
        else
            before += "UPDATE " + use.table + " SET " + use.column + "='0'" + of(use.column);
    }
    return before + QStringList{"DELETE FROM " + dictionary.table + of("id")} + behind;
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

/// Runs a short body in a transaction and tells when it fails. inDoubt: see TransactionOptions.
bool write(QWidget *parent, const std::function<TransactionStep()> &body, bool *inDoubt = nullptr)
{
    const TransactionResult result =
        runInTransaction(parent, mainConnection, body, {.inDoubt = inDoubt});
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
    QList<SqlRow> rows;
    if (!QueryRows(parent, entryQuery(dictionary, id) + u';', rows))
        return LoadState::Failed;
    if (rows.isEmpty())
        return LoadState::NotFound;
    values = named(readColumns(dictionary), rows.first());
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
        if (!QueryExec(nullptr, insertText(dictionary, values), query))
            return TransactionStep::Fail;
        id = query.lastInsertId().toULongLong();
        return TransactionStep::Commit;
    };
    return write(parent, insert, &inDoubt) ? id : std::nullopt;
}

EntryState updateEntry(QWidget *parent, const Dictionary &dictionary, qulonglong id,
                       const QVariantMap &values, QVariantMap &seen)
{
    EntryState state = EntryState::Failed;
    QVariantMap now;
    bool inDoubt = false;
    const auto update = [&] {
        QList<SqlRow> rows;
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
        inDoubt = false;
        return QueryExec(nullptr, updateText(dictionary, id, values)) ? TransactionStep::Commit
                                                                      : TransactionStep::Fail;
    };
    if (!write(parent, update, &inDoubt))
        return EntryState::Failed;
    if (state == EntryState::Changed)
        seen = now;
    return state;
}

bool deleteEntries(QWidget *parent, const Dictionary &dictionary, const QList<qulonglong> &ids)
{
    return write(parent, [&] {
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
