#include "income/posting.h"

#include "app/logging.h"
#include "app/messages.h"
#include "db/dialect.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "db/transaction.h"
#include "income/listlock.h"
#include "income/pricerules.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr double priceTolerance = 0.0001;

QString tr(const char *text)
{
    return QCoreApplication::translate("ReceiptPosting", text);
}

QString listChangedText()
{
    return tr("Список прихода изменён на другом рабочем месте. Накладная не проведена, проверьте "
              "список и повторите.");
}

} // namespace

ReceiptPosting::ReceiptPosting(QWidget *parent, const QString &connectionName)
    : m_parent(parent),
      m_connectionName(connectionName)
{
}

PostingResult ReceiptPosting::post(PaymentType paymentType, const PostingCallbacks &callbacks)
{
    PostingResult result;
    if (!readAlerts()) // with a parent the user has been told
        return failed(result, PostingOutcome::Failed, m_parent ? QString() : failureText());
    const std::optional<qulonglong> reportId =
        Session::instance().nextReportId(nullptr, m_connectionName);
    if (!reportId)
        return failed(result, PostingOutcome::Failed, failureText());
    result.reportId = *reportId;

    const QString zeroText = tr("В накладной имеются позиции с нулевым количеством.");
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, QStringLiteral("SELECT id FROM incomeinvoice WHERE quantity=0;"), rows,
                   m_connectionName))
        return failed(result, PostingOutcome::Failed, failureText());
    if (!rows.isEmpty())
        return failed(result, PostingOutcome::ZeroQuantity, zeroText);

    if (!QueryRows(nullptr, QStringLiteral("SELECT COUNT(id) FROM incomeinvoice;"), rows,
                   m_connectionName))
        return failed(result, PostingOutcome::Failed, failureText());
    const int count = rows.isEmpty() ? 0 : rows.first().first().toInt();
    if (count == 0)
        return failed(result, PostingOutcome::EmptyList, {});
    if (callbacks.started)
        callbacks.started(count);

    if (!readLines())
        return failed(result, PostingOutcome::Failed, failureText());
    // Posted by another station since it was counted: there is no receipt under this number.
    if (m_lines.isEmpty())
        return failed(result, PostingOutcome::ListChanged, listChangedText());
    // A line without any quantity would pass the test for zero.
    if (std::any_of(m_lines.cbegin(), m_lines.cend(),
                    [](const Line &line) { return line.quantity == 0.0; }))
        return failed(result, PostingOutcome::ZeroQuantity, zeroText);

    // Another station may have changed the rates, and without any prices would go unconverted.
    if (!Session::instance().loadCurrencies(m_connectionName))
        return failed(result, PostingOutcome::Failed, failureText());

    logMessage(QStringLiteral("Posting receipt %1 with %2 lines.")
                   .arg(result.reportId)
                   .arg(m_lines.size()));
    TransactionGuard transaction(m_connectionName);
    if (!transaction.isActive())
        return failed(result, PostingOutcome::Failed, failureText());
    if (!lockAndCompare(result) || !postLines(result, callbacks)) {
        transaction.rollback();
        return failed(result, result.outcome, result.message);
    }
    m_reportTimestamp = currentTimestamp();
    if (result.lines > 0 && !writeReport(result, paymentType)) {
        result.message = failureText();
        transaction.rollback();
        return failed(result, PostingOutcome::Failed, result.message);
    }
    if (!emptyList(result)) {
        transaction.rollback();
        return failed(result, result.outcome, result.message);
    }
    if (!transaction.commit()) {
        if (!lastOutcomeUnknown(m_connectionName))
            return failed(result, PostingOutcome::Failed, failureText());
        settleLostCommit(result, paymentType);
        if (result.outcome != PostingOutcome::Posted)
            return failed(result, result.outcome, result.message);
    }
    result.outcome = PostingOutcome::Posted;
    if (dialectOf(m_connectionName) == Dialect::PostgreSql) {
        // The id was written by hand; the next one that the database gives must lie behind it.
        run(QStringLiteral("SELECT setval(pg_get_serial_sequence('incomereports','id'),"
                           "(SELECT MAX(id) FROM incomereports));"));
    }
    logMessage(QStringLiteral("Receipt %1 is posted.").arg(result.reportId));
    if (!m_unknownProducts.isEmpty()) {
        result.message += (result.message.isEmpty() ? QString() : QStringLiteral("\n\n")) +
                          tr("Накладная № %1 проведена, но этих товаров нет в каталоге, их остаток "
                             "и цены не записаны. Номера наименований:")
                              .arg(result.reportId) +
                          u' ' + shortened(m_unknownProducts).join(QStringLiteral(", "));
        logMessage(result.message);
    }
    makeUpForMissed(result);
    return result;
}

bool ReceiptPosting::readAlerts()
{
    QList<SqlRow> rows;
    if (!QueryRows(m_parent, QStringLiteral("SELECT id, wareid, phone FROM alerts;"), rows,
                   m_connectionName))
        return false;
    m_alerts.clear();
    for (const SqlRow &row : std::as_const(rows))
        m_alerts += {row.at(0).toULongLong(), row.at(1).toULongLong(), row.at(2).toString()};
    return true;
}

bool ReceiptPosting::readLines()
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
        return false;
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
    return true;
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

bool ReceiptPosting::lockAndCompare(PostingResult &result)
{
    QList<SqlRow> rows;
    if (!readLockedList(
            QStringLiteral("SELECT wareid, quantity, incost, inoutratio, outcost, userid, "
                           "timestamp FROM incomeinvoice"),
            rows, m_connectionName)) {
        result.message = failureText();
        return false;
    }
    QList<Line> lines;
    lines.reserve(rows.size());
    for (const SqlRow &row : std::as_const(rows))
        lines += lineOf(row);
    const QList<Line> found = sorted(std::move(lines));
    const QList<Line> posted = sorted(m_lines);
    if (std::equal(found.cbegin(), found.cend(), posted.cbegin(), posted.cend(),
                   [](const Line &a, const Line &b) { return a.key() == b.key(); }))
        return true;
    result.outcome = PostingOutcome::ListChanged;
    result.message = listChangedText();
    return false;
}

bool ReceiptPosting::postLines(PostingResult &result, const PostingCallbacks &callbacks)
{
    for (const Line &line : std::as_const(m_lines)) {
        if (callbacks.progress)
            callbacks.progress(result.lines);
        if (!postLine(line, result, callbacks)) {
            if (result.message.isEmpty())
                result.message = failureText();
            return false;
        }
        result.total += line.quantity * line.incost;
        ++result.lines;
    }
    return true;
}

bool ReceiptPosting::postLine(const Line &line, PostingResult &result,
                              const PostingCallbacks &callbacks)
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

    if (std::abs(line.outcost - line.oldOutcost) >= priceTolerance && line.stock > 0)
        markPriceChange(line);
    runOptional({QStringLiteral("UPDATE cart SET outcost='") + outcost +
                 QStringLiteral("' WHERE wareid='") + wareId + QStringLiteral("';")});
    if (line.quantity > 0 && line.stock + line.quantity > 0 && !m_alerts.isEmpty() &&
        !transactionBroken(m_connectionName))
        tellCustomers(line, callbacks);
    // A failure that has ended the transaction on the database's side ends the posting.
    return !transactionBroken(m_connectionName);
}

void ReceiptPosting::markPriceChange(const Line &line)
{
    const QString wareId = sql::id(line.wareId);
    runOptional({QStringLiteral("DELETE FROM changeoutcostinfo WHERE wareid='") + wareId +
                     QStringLiteral("';"),
                 QStringLiteral("INSERT INTO changeoutcostinfo(wareid,ctime) VALUES('") + wareId +
                     QStringLiteral("',") + sql::now() + QStringLiteral(");")});
}

void ReceiptPosting::tellCustomers(const Line &line, const PostingCallbacks &callbacks)
{
    if (!callbacks.sendSms)
        return;
    QString text = Session::instance().option(QStringLiteral("SMS_ONSALE_TEXT"));
    text.replace(QStringLiteral("<PRODUCT>"), line.wareName);
    for (qsizetype i = 0; i < m_alerts.size() && !transactionBroken(m_connectionName);) {
        if (m_alerts.at(i).wareId != line.wareId ||
            !callbacks.sendSms(m_alerts.at(i).phone, text)) {
            ++i;
            continue;
        }
        runOptional({QStringLiteral("DELETE FROM alerts WHERE id='") + sql::id(m_alerts.at(i).id) +
                     QStringLiteral("';")});
        m_alerts.removeAt(i);
    }
}

bool ReceiptPosting::writeReport(const PostingResult &result, PaymentType paymentType)
{
    return run(QStringLiteral(
                   "INSERT INTO incomereports(id,total,payment_type,userid,timestamp) VALUES(") +
               sql::id(result.reportId) + QStringLiteral(", ") + sql::exact(result.total) +
               QStringLiteral(", ") + sql::integer(static_cast<int>(paymentType)) +
               QStringLiteral(", ") + sql::id(Session::instance().user().id) + QStringLiteral(",") +
               sql::text(m_reportTimestamp) + QStringLiteral(");"));
}

bool ReceiptPosting::emptyList(PostingResult &result)
{
    QSqlQuery query;
    if (!QueryExec(nullptr, QStringLiteral("DELETE FROM incomeinvoice;"), query,
                   m_connectionName)) {
        result.message = failureText();
        return false;
    }
    if (query.numRowsAffected() == result.lines)
        return true;
    result.outcome = PostingOutcome::ListChanged;
    result.message = listChangedText();
    return false;
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
    if (!ensureConnectionOpen(m_parent, m_connectionName))
        return;
    // Behind the lock on the list the lost session has either ended or has committed.
    TransactionGuard transaction(m_connectionName);
    QList<SqlRow> rows;
    if (!transaction.isActive() ||
        !readLockedList(QStringLiteral("SELECT id FROM incomeinvoice"), rows, m_connectionName) ||
        !QueryRows(nullptr,
                   QStringLiteral("SELECT id FROM incomereports WHERE id='") +
                       sql::id(result.reportId) + QStringLiteral("' AND payment_type='") +
                       sql::integer(static_cast<int>(paymentType)) +
                       QStringLiteral("' AND userid='") + sql::id(Session::instance().user().id) +
                       QStringLiteral("' AND timestamp=") + sql::text(m_reportTimestamp) +
                       QStringLiteral(";"),
                   rows, m_connectionName))
        return;
    transaction.rollback();
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
    QString error;
    for (const QStringList &statements : std::exchange(m_missed, {})) {
        TransactionGuard transaction(m_connectionName);
        const bool reached = transaction.isActive();
        bool done = reached;
        for (const QString &sqlText : statements)
            done = done && run(sqlText);
        if (done && transaction.commit())
            continue;
        if (error.isEmpty())
            error = lastQueryError(m_connectionName);
        logMessage(QStringLiteral("Left out of receipt %1: ").arg(result.reportId) +
                   statements.join(u' '));
        if (!reached)
            break; // the rest would wait for the database as long, and in vain
    }
    if (error.isEmpty())
        return;
    if (!result.message.isEmpty())
        result.message += QStringLiteral("\n\n");
    result.message += tr("Накладная № %1 проведена, но записано не всё, что за ней следует: цены в "
                         "открытых заказах, отметки о новых ценах или оповещения покупателей. "
                         "Проверьте ценники.")
                          .arg(result.reportId) +
                      QStringLiteral("\n\n") + error;
    logMessage(result.message);
}

PostingResult ReceiptPosting::failed(PostingResult result, PostingOutcome outcome,
                                     const QString &message) const
{
    result.outcome = outcome;
    result.message = message;
    result.lines = 0;
    result.total = 0;
    if (outcome != PostingOutcome::EmptyList)
        logMessage(QStringLiteral("Receipt %1 is not posted: ").arg(result.reportId) + message);
    return result;
}

QString ReceiptPosting::failureText() const
{
    const QString error = lastQueryError(m_connectionName);
    return tr("Накладная не проведена, все изменения отменены.") +
           (error.isEmpty() ? QString() : QStringLiteral("\n\n") + error);
}
