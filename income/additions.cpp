#include "income/additions.h"

#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "db/auditlog.h"
#include "db/money.h"
#include "db/sqltext.h"
#include "db/transaction.h"

void Additions::add(const Addition &addition)
{
    m_additions.append(addition);
    m_inDoubt = false;
}

void Additions::clear()
{
    m_additions.clear();
    m_inDoubt = false;
}

bool Additions::isEmpty() const
{
    return m_additions.isEmpty();
}

Additions::Result Additions::takeBack(QWidget *parent)
{
    if (m_additions.isEmpty())
        return {.text = tr("Отменять нечего: после проведения или запуска ничего не добавлено")};
    const Addition addition = m_additions.last();
    const TransactionResult undo =
        addition.after.isEmpty()
            ? TransactionResult{.state = TransactionState::Refused}
            : runInTransaction(parent, mainConnection, [&] { return tryUndo(addition); },
                               {.inDoubt = &m_inDoubt, .needs = {Command::EnterLines}});
    if (undo.state == TransactionState::Unknown) {
        const QString text =
            tr("Неизвестно, отменено ли последнее добавление: связь с базой данных "
               "прервалась. Проверьте приход: %1")
                .arg(addition.name);
        if (!undo.givenUp)
            showFailure(parent, text, undo.failure.words());
        return {.wareid = addition.wareid, .text = text};
    }
    if (undo.state == TransactionState::Failed) {
        if (!undo.givenUp)
            showDatabaseFailure(parent, undo.failure, {},
                                tr("Последнее добавление не отменено, приход не изменён."));
        return {.wareid = addition.wareid,
                .text = undo.noRight
                            ? tr("Не отменено, недостаточно прав: %1").arg(addition.name)
                            : tr("Не отменено из-за ошибки базы данных: %1").arg(addition.name)};
    }
    m_additions.removeLast();
    m_inDoubt = false;
    Result result{.done = undo.isDone(), .wareid = addition.wareid};
    if (!result.done) {
        result.text = tr("Не отменено, строку изменили на другом рабочем месте или удалили: %1")
                          .arg(addition.name);
        return result;
    }
    double units = 0;
    for (const ReceiptLine &line : addition.before)
        units += line.quantity;
    result.text =
        addition.before.isEmpty()
            ? tr("Отменено, строка убрана: %1").arg(addition.name)
            : tr("Отменено, снова в приходе %1: %2").arg(formatQuantity(units), addition.name);
    noteAction(result.text);
    return result;
}

QString Additions::linesQuery(qulonglong wareid)
{
    return "SELECT id, quantity, incost, inoutratio, outcost, userid, timestamp FROM incomeinvoice "
           "WHERE wareid='" +
           sql::id(wareid) + "' ORDER BY id";
}

QList<ReceiptLine> Additions::linesOf(const QList<SqlRow> &rows)
{
    QList<ReceiptLine> lines;
    lines.reserve(rows.size());
    for (const SqlRow &row : rows) {
        lines.append({.id = row.at(0).toULongLong(),
                      .quantity = finiteOrZero(row.at(1).toDouble()),
                      .incost = finiteOrZero(row.at(2).toDouble()),
                      .inoutratio = finiteOrZero(row.at(3).toDouble()),
                      .outcost = finiteOrZero(row.at(4).toDouble()),
                      .userid = row.at(5).toULongLong(),
                      .timestamp = row.at(6).toString()});
    }
    return lines;
}

/// No box is shown while the lines are locked.
TransactionStep Additions::tryUndo(const Addition &addition)
{
    QList<SqlRow> rows;
    if (!readLockedRows(QStringLiteral("incomeinvoice"), linesQuery(addition.wareid), rows))
        return TransactionStep::Fail;
    const QList<ReceiptLine> lines = linesOf(rows);
    if (m_inDoubt && lines == addition.before)
        return TransactionStep::Done;
    if (lines != addition.after)
        return TransactionStep::Refuse;
    m_inDoubt = false;
    return restore(addition) ? TransactionStep::Commit : TransactionStep::Fail;
}

bool Additions::restore(const Addition &addition)
{
    for (const ReceiptLine &line : addition.before) {
        if (!QueryExec(nullptr,
                       "UPDATE incomeinvoice SET quantity='" + sql::exact(line.quantity) +
                           "', incost='" + sql::exact(line.incost) + "', inoutratio='" +
                           sql::exact(line.inoutratio) + "', outcost='" + sql::exact(line.outcost) +
                           "', userid='" + sql::id(line.userid) + "', timestamp=" +
                           sql::text(line.timestamp) + " WHERE id='" + sql::id(line.id) + "';"))
            return false;
    }
    if (addition.insertedId != 0 && !QueryExec(nullptr, "DELETE FROM incomeinvoice WHERE id='" +
                                                            sql::id(addition.insertedId) + "';"))
        return false;
    return restoreColumn(addition, QStringLiteral("expiretime"), addition.expiry) &&
           restoreColumn(addition, QStringLiteral("latime"), addition.audit);
}

/// Only what nobody has written over since.
bool Additions::restoreColumn(const Addition &addition, const QString &column,
                              const Addition::Change &change)
{
    return !change ||
           QueryExec(nullptr, "UPDATE warehouse SET " + column + '=' + sql::text(change->first) +
                                  " WHERE id='" + sql::id(addition.wareid) + "' AND " + column +
                                  '=' + sql::text(change->second) + ';');
}
