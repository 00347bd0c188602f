#include "income/posting.h"

#include "app/logging.h"
#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "db/auditlog.h"
#include "db/engine.h"
#include "db/money.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "db/transaction.h"
#include "income/receiptsums.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("ReceiptPosting", text);
}

/// What both the look at the list and its comparison under the lock read.
const QString lineColumns = QStringLiteral(
    "SELECT wareid, quantity, incost, inoutratio, outcost, userid, timestamp FROM incomeinvoice");

void addPart(QString &message, const QString &part)
{
    message += (message.isEmpty() ? QString() : QStringLiteral("\n\n")) + part;
}

/// Adds to the message what the database's failure means, and keeps its own words as details.
void addFailure(PostingResult &result, const DatabaseFailure &failure)
{
    if (!failure.details.isEmpty())
        addPart(result.message, failure.text);
    result.details = failure.words();
}

} // namespace

QString ReceiptSummary::text() const
{
    QStringList parts = {
        tr("Строк: %1, единиц: %2").arg(QString::number(lines), formatQuantity(units)),
        tr("Приходная сумма: ") + formatMoney(purchase),
        tr("Расходная сумма: ") + formatMoney(selling)};
    if (doubtfulPrices > 0)
        parts += tr("Строк с расходной ценой 0 или ниже приходной: %1").arg(doubtfulPrices);
    return parts.join(u'\n');
}

QString PostingResult::headline() const
{
    const QString number = QString::number(reportId);
    const QString refused = tr("Накладная не проведена: ");
    switch (outcome) {
    case PostingOutcome::Posted:
        return tr("Накладная № %1 проведена, строк: %2, приходная сумма: %3")
            .arg(number, QString::number(lines), formatMoney(total));
    case PostingOutcome::EmptyList:
        return tr("Приход уже пуст: его провели или удалили на другом рабочем месте");
    case PostingOutcome::ZeroQuantity:
        return refused + tr("есть позиции с нулевым количеством");
    case PostingOutcome::ListChanged:
        return refused + tr("список изменён на другом рабочем месте");
    case PostingOutcome::OutcomeUnknown:
        return tr("Неизвестно, проведена ли накладная № %1: связь с базой данных прервалась")
            .arg(number);
    case PostingOutcome::Failed:
        break;
    }
    return refused + (message.isEmpty() || !details.isEmpty() ? tr("ошибка базы данных") : message);
}

ReceiptPosting::ReceiptPosting(QWidget *parent, const QString &connectionName)
    : m_parent(parent),
      m_connectionName(connectionName)
{
}

std::optional<ReceiptSummary> ReceiptPosting::look()
{
    QList<SqlRow> rows;
    if (!QueryRows(m_parent, lineColumns + u';', rows, m_connectionName))
        return std::nullopt;
    m_lookedAt = sortedLines(rows);
    ReceiptSummary summary;
    AmountSum units;
    AmountSum purchase;
    AmountSum selling;
    for (const Line &line : std::as_const(*m_lookedAt)) {
        ++summary.lines;
        units.add(line.quantity);
        purchase.add(line.incost, line.quantity);
        selling.add(line.outcost, line.quantity);
        if (isDoubtfulPrice(line.incost, line.outcost))
            ++summary.doubtfulPrices;
    }
    summary.units = units.value();
    summary.purchase = purchase.value();
    summary.selling = selling.value();
    return summary;
}

bool ReceiptPosting::hasChanged()
{
    QList<SqlRow> rows;
    return m_lookedAt && QueryRows(nullptr, lineColumns + u';', rows, m_connectionName) &&
           !areSame(sortedLines(rows), *m_lookedAt);
}

PostingResult ReceiptPosting::post(PaymentType paymentType, const PostingCallbacks &callbacks)
{
    PostingResult result;
    if (!check(result, callbacks) || !write(result, paymentType, callbacks))
        return failed(result);
    finish(result);
    return result;
}

/// Reads what the posting needs and looks whether the list can be posted.
bool ReceiptPosting::check(PostingResult &result, const PostingCallbacks &callbacks)
{
    if (!readAlerts()) {
        databaseFailed(result);
        if (m_parent) // the user has been told
            result.message.clear();
        return false;
    }
    const std::optional<qulonglong> reportId =
        Session::instance().nextReportId(nullptr, m_connectionName);
    if (!reportId)
        return databaseFailed(result);
    result.reportId = *reportId;
    int count = 0;
    if (!checkQuantities(result) || !countLines(count, result))
        return false;
    if (count == 0) {
        result.outcome = PostingOutcome::EmptyList;
        return false;
    }
    if (callbacks.started)
        callbacks.started(count);
    // Another station may have changed the rates, and without any prices would go unconverted.
    return readLines(result) &&
           (Session::instance().loadCurrencies(m_connectionName) || databaseFailed(result));
}

/// The transaction, which is not tried again: its lines may be many.
bool ReceiptPosting::write(PostingResult &result, PaymentType paymentType,
                           const PostingCallbacks &callbacks)
{
    logMessage(QStringLiteral("Posting receipt %1 with %2 lines.")
                   .arg(result.reportId)
                   .arg(m_lines.size()));
    const TransactionResult written =
        runInTransaction(nullptr, m_connectionName,
                         [&] {
                             return lockAndCompare(result) && postLines(result, callbacks) &&
                                            writeReport(result, paymentType) && emptyList(result)
                                        ? TransactionStep::Commit
                                        : TransactionStep::Refuse; // the result says why
                         },
                         {.tries = 1, .needs = {Command::PostReceipt}});
    switch (written.state) {
    case TransactionState::Done:
        result.outcome = PostingOutcome::Posted;
        return true;
    case TransactionState::Refused:
        return false;
    case TransactionState::Failed:
        if (written.noRight) {
            result.message = written.failure.text;
            return false;
        }
        return databaseFailed(result, written.failure);
    case TransactionState::Unknown:
        break;
    }
    settleLostCommit(result, paymentType);
    return result.outcome == PostingOutcome::Posted;
}

/// What a posted receipt leaves to do and to tell.
void ReceiptPosting::finish(PostingResult &result)
{
    // The id was written by hand; the next one that the database gives must lie behind it.
    const QString sequence =
        Engine::of(m_connectionName).sequenceMove(QStringLiteral("incomereports"));
    if (!sequence.isEmpty())
        run(sequence);
    noteAction(result.headline());
    if (!m_unknownProducts.isEmpty()) {
        addPart(result.message,
                tr("Накладная № %1 проведена, но этих товаров нет в каталоге, их остаток и цены не "
                   "записаны. Номера наименований:")
                        .arg(result.reportId) +
                    u' ' + shortened(m_unknownProducts).join(QStringLiteral(", ")));
        logMessage(result.message);
    }
    makeUpForMissed(result);
}

bool ReceiptPosting::readAlerts()
{
    QList<SqlRow> rows;
    if (!QueryRows(m_parent, QStringLiteral("SELECT id, wareid, phone FROM alerts;"), rows,
                   m_connectionName))
        return false;
    m_alerts.clear();
    for (const SqlRow &row : std::as_const(rows))
        m_alerts += {.id = row.at(0).toULongLong(),
                     .wareId = row.at(1).toULongLong(),
                     .phone = row.at(2).toString(),
                     .wareName = {}};
    return true;
}

bool ReceiptPosting::checkQuantities(PostingResult &result)
{
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, QStringLiteral("SELECT id FROM incomeinvoice WHERE quantity=0;"), rows,
                   m_connectionName))
        return databaseFailed(result);
    return rows.isEmpty() || zeroQuantity(result);
}

bool ReceiptPosting::countLines(int &count, PostingResult &result)
{
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, QStringLiteral("SELECT COUNT(id) FROM incomeinvoice;"), rows,
                   m_connectionName))
        return databaseFailed(result);
    count = rows.isEmpty() ? 0 : rows.first().first().toInt();
    return true;
}

bool ReceiptPosting::readLines(PostingResult &result)
{
    QList<SqlRow> rows;
    if (!QueryRows(
            nullptr,
            QStringLiteral("SELECT wareid, incomeinvoice.quantity, incomeinvoice.incost, "
                           "incomeinvoice.inoutratio, incomeinvoice.outcost, incomeinvoice.userid, "
                           "incomeinvoice.timestamp, warehouse.name, warehouse.quantity, "
                           "warehouse.currency, warehouse.outcost FROM incomeinvoice LEFT JOIN "
                           "warehouse ON warehouse.id=incomeinvoice.wareid;"),
            rows, m_connectionName))
        return databaseFailed(result);
    m_lines.clear();
    m_lines.reserve(rows.size());
    for (const SqlRow &row : std::as_const(rows)) {
        Line line = lineOf(row);
        line.wareName = row.at(7).toString();
        line.stock = row.at(8).toDouble();
        line.currency = row.at(9).toString();
        line.oldOutcost = row.at(10).toDouble();
        m_lines += std::move(line);
    }
    // Posted by another station since it was counted: there is no receipt under this number.
    if (m_lines.isEmpty() || (m_lookedAt && !areSame(sorted(m_lines), *m_lookedAt)))
        return listChanged(result);
    // A line without any quantity would pass the test for zero.
    const bool hasZero = std::any_of(m_lines.cbegin(), m_lines.cend(),
                                     [](const Line &line) { return line.quantity == 0.0; });
    return !hasZero || zeroQuantity(result);
}

/// The columns product, quantity, purchase price, ratio, selling price, user, time stamp.
ReceiptPosting::Line ReceiptPosting::lineOf(const SqlRow &row)
{
    return {.wareId = row.at(0).toULongLong(),
            .quantity = finiteOrZero(row.at(1).toDouble()),
            .incost = row.at(2).toDouble(),
            .inoutratio = row.at(3).toDouble(),
            .outcost = row.at(4).toDouble(),
            .userId = row.at(5).toULongLong(),
            .timestamp = row.at(6).toString()};
}

QList<ReceiptPosting::Line> ReceiptPosting::sorted(QList<Line> lines)
{
    std::sort(lines.begin(), lines.end(),
              [](const Line &a, const Line &b) { return a.key() < b.key(); });
    return lines;
}

QList<ReceiptPosting::Line> ReceiptPosting::sortedLines(const QList<SqlRow> &rows)
{
    QList<Line> lines;
    lines.reserve(rows.size());
    for (const SqlRow &row : rows)
        lines += lineOf(row);
    return sorted(std::move(lines));
}

bool ReceiptPosting::areSame(const QList<Line> &a, const QList<Line> &b)
{
    return std::equal(a.cbegin(), a.cend(), b.cbegin(), b.cend(),
                      [](const Line &x, const Line &y) { return x.key() == y.key(); });
}

bool ReceiptPosting::lockAndCompare(PostingResult &result)
{
    QList<SqlRow> rows;
    if (!readLockedTable(QStringLiteral("incomeinvoice"), lineColumns, rows, m_connectionName))
        return databaseFailed(result);
    return areSame(sortedLines(rows), sorted(m_lines)) || listChanged(result);
}

bool ReceiptPosting::postLines(PostingResult &result, const PostingCallbacks &callbacks)
{
    AmountSum total;
    for (const Line &line : std::as_const(m_lines)) {
        if (callbacks.progress)
            callbacks.progress(result.lines);
        if (!postLine(line, result))
            return !result.message.isEmpty() ? false : databaseFailed(result);
        total.add(line.incost, line.quantity);
        ++result.lines;
    }
    result.total = total.value();
    return true;
}

bool ReceiptPosting::postLine(const Line &line, PostingResult &result)
{
    const QString wareId = sql::id(line.wareId);
    const QString outcost = sql::exact(line.outcost);
    const QString quantity = sql::exact(line.quantity);
    const double warehouseIncost =
        Session::instance().convertCurrencyFromMain(line.incost, line.currency);
    if (!std::isfinite(warehouseIncost)) {
        result.message = tr("Курс валюты «%1» равен нулю: приходная цена наименования %2 не "
                            "пересчитывается. Накладная не проведена.")
                             .arg(line.currency, wareId);
        return false;
    }

    if (!run(QStringLiteral("INSERT INTO income(reportid,wareid,incost,quantity,userid,timestamp) "
                            "VALUES('") +
             sql::id(result.reportId) + QStringLiteral("','") + wareId + QStringLiteral("','") +
             sql::exact(line.incost) + QStringLiteral("','") + quantity + QStringLiteral("','") +
             sql::id(line.userId) + QStringLiteral("',") + sql::text(line.timestamp) +
             QStringLiteral(");")))
        return false;
    if (!run(QStringLiteral("UPDATE warehouse SET incost='") + sql::exact(warehouseIncost) +
             QStringLiteral("',inoutratio='") + sql::exact(line.inoutratio) +
             QStringLiteral("', outcost='") + outcost +
             QStringLiteral("', quantity=COALESCE(quantity,0)+'") + quantity +
             QStringLiteral("', orderquantity='0' WHERE id='") + wareId + QStringLiteral("';")))
        return false;
    if (m_query.numRowsAffected() == 0)
        m_unknownProducts += wareId;
    if (!run(QStringLiteral("UPDATE articles SET orderquantity='0' WHERE wareid='") + wareId +
             QStringLiteral("';")))
        return false;

    runOptional(priceMark({.wareid = line.wareId,
                           .before = line.oldOutcost,
                           .after = line.outcost,
                           .stock = line.stock},
                          MarkRule::OnShelf));
    runOptional({QStringLiteral("UPDATE cart SET outcost='") + outcost +
                 QStringLiteral("' WHERE wareid='") + wareId + QStringLiteral("';")});
    if (line.quantity > 0 && line.stock + line.quantity > 0)
        noteDueAlerts(line, result);
    // A failure that has ended the transaction on the database's side ends the posting.
    return !transactionBroken(m_connectionName);
}

void ReceiptPosting::noteDueAlerts(const Line &line, PostingResult &result)
{
    for (qsizetype i = 0; i < m_alerts.size();) {
        if (m_alerts.at(i).wareId != line.wareId) {
            ++i;
            continue;
        }
        DueAlert alert = m_alerts.takeAt(i);
        alert.wareName = line.wareName;
        result.due += std::move(alert);
    }
}

bool ReceiptPosting::writeReport(PostingResult &result, PaymentType paymentType)
{
    m_reportTimestamp = currentTimestamp();
    return run(QStringLiteral(
                   "INSERT INTO incomereports(id,total,payment_type,userid,timestamp) VALUES(") +
               sql::id(result.reportId) + QStringLiteral(", ") + sql::exact(result.total) +
               QStringLiteral(", ") + sql::integer(static_cast<int>(paymentType)) +
               QStringLiteral(", ") + sql::id(Session::instance().user().id) + QStringLiteral(",") +
               sql::text(m_reportTimestamp) + QStringLiteral(");")) ||
           databaseFailed(result);
}

bool ReceiptPosting::emptyList(PostingResult &result)
{
    QSqlQuery query;
    if (!QueryExec(nullptr, QStringLiteral("DELETE FROM incomeinvoice;"), query, m_connectionName))
        return databaseFailed(result);
    return query.numRowsAffected() == result.lines || listChanged(result);
}

void ReceiptPosting::settleLostCommit(PostingResult &result, PaymentType paymentType)
{
    logMessage(QStringLiteral("The connection was lost while receipt %1 was being committed; "
                              "looking whether it is there.")
                   .arg(result.reportId));
    result.outcome = PostingOutcome::OutcomeUnknown;
    result.message = tr("Связь с базой данных прервалась в конце проведения. Неизвестно, проведена "
                        "ли накладная № %1. Не проводите список повторно, пока не проверите это.")
                         .arg(result.reportId);
    // Behind the lock on the list the lost session has either ended or has committed.
    QList<SqlRow> rows;
    const TransactionResult look = runInTransaction(m_parent, m_connectionName, [&] {
        return readLockedTable(QStringLiteral("incomeinvoice"),
                               QStringLiteral("SELECT id FROM incomeinvoice"), rows,
                               m_connectionName) &&
                       QueryRows(nullptr, reportQuery(result.reportId, paymentType), rows,
                                 m_connectionName)
                   ? TransactionStep::Done
                   : TransactionStep::Fail;
    });
    if (!look.isDone())
        return;
    if (!rows.isEmpty()) {
        result.outcome = PostingOutcome::Posted;
        result.message = tr("Связь с базой данных прервалась, но накладная № %1 проведена.")
                             .arg(result.reportId);
        return;
    }
    result.outcome = PostingOutcome::Failed;
    result.message = tr("Связь с базой данных прервалась. Накладная не проведена, ничего не "
                        "записано.");
}

/// Finds the report that this posting has written.
QString ReceiptPosting::reportQuery(qulonglong reportId, PaymentType paymentType) const
{
    return QStringLiteral("SELECT id FROM incomereports WHERE id='") + sql::id(reportId) +
           QStringLiteral("' AND payment_type='") + sql::integer(static_cast<int>(paymentType)) +
           QStringLiteral("' AND userid='") + sql::id(Session::instance().user().id) +
           QStringLiteral("' AND timestamp=") + sql::text(m_reportTimestamp) + u';';
}

bool ReceiptPosting::run(const QString &sqlText)
{
    return QueryExec(nullptr, sqlText, m_query, m_connectionName);
}

/// Runs statements that belong together; when one fails, all of them are tried again at the end.
void ReceiptPosting::runOptional(const QStringList &statements)
{
    bool done = true;
    for (const QString &sqlText : statements)
        done = run(sqlText) && done;
    if (!done && !transactionBroken(m_connectionName))
        m_missed.append(statements);
}

void ReceiptPosting::makeUpForMissed(PostingResult &result)
{
    DatabaseFailure failure;
    for (const QStringList &statements : std::exchange(m_missed, {})) {
        const TransactionResult written = runInTransaction(
            nullptr, m_connectionName,
            [&] {
                return std::all_of(statements.cbegin(), statements.cend(),
                                   [this](const QString &sqlText) { return run(sqlText); })
                           ? TransactionStep::Commit
                           : TransactionStep::Fail;
            },
            {.tries = 1});
        if (written.isDone())
            continue;
        if (failure.text.isEmpty())
            failure = written.failure;
        logMessage(QStringLiteral("Left out of receipt %1: ").arg(result.reportId) +
                   statements.join(u' '));
        if (!written.begun)
            break; // the rest would wait for the database as long, and in vain
    }
    if (failure.text.isEmpty())
        return;
    addPart(result.message,
            tr("Накладная № %1 проведена, но записано не всё, что за ней следует: цены в открытых "
               "заказах или отметки о новых ценах. Проверьте ценники.")
                .arg(result.reportId));
    addFailure(result, failure);
    logMessage(result.message);
}

/// Notes the failure of the last statement. Always false, like the refusals below.
bool ReceiptPosting::databaseFailed(PostingResult &result) const
{
    return databaseFailed(result, lastFailure(m_connectionName));
}

bool ReceiptPosting::databaseFailed(PostingResult &result, const DatabaseFailure &failure)
{
    result.outcome = PostingOutcome::Failed;
    result.message = tr("Накладная не проведена, все изменения отменены.");
    addFailure(result, failure);
    return false;
}

bool ReceiptPosting::listChanged(PostingResult &result)
{
    result.outcome = PostingOutcome::ListChanged;
    result.message = tr("Список прихода изменён на другом рабочем месте. Накладная не проведена, "
                        "проверьте список и повторите.");
    return false;
}

bool ReceiptPosting::zeroQuantity(PostingResult &result)
{
    result.outcome = PostingOutcome::ZeroQuantity;
    result.message = tr("В накладной имеются позиции с нулевым количеством.");
    return false;
}

/// Takes out what would only be true of a posted receipt.
PostingResult ReceiptPosting::failed(PostingResult result)
{
    result.lines = 0;
    result.total = 0;
    result.due.clear();
    if (result.outcome != PostingOutcome::EmptyList)
        logMessage(QStringLiteral("Receipt %1 is not posted: ").arg(result.reportId) +
                   QString(result.message + u' ' + result.details).trimmed());
    return result;
}
