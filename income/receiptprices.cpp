#include "income/receiptprices.h"

#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "db/auditlog.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace {

const QString linesQuery = QStringLiteral(
    "SELECT incomeinvoice.id,warehouse.id, incomeinvoice.incost, incomeinvoice.inoutratio, "
    "incomeinvoice.outcost, warehouse.quantity, warehouse.currency, warehouse.outcost FROM "
    "incomeinvoice LEFT JOIN warehouse ON warehouse.id = incomeinvoice.wareid");

class ReceiptPrices
{
    Q_DECLARE_TR_FUNCTIONS(ReceiptPrices)

public:
    explicit ReceiptPrices(const QString &connectionName)
        : m_connectionName(connectionName),
          m_statements(connectionName)
    {
    }

    PriceUpdate update(QWidget *parent, const ProgressStep &progress);

private:
    bool updateLine(const QString &lineId, PriceUpdate &result);
    TransactionStep tryLine(const QString &lineId);
    bool writeProduct(const SqlRow &row, double outcost);
    void tell(QWidget *parent, const PriceUpdate &result) const;

    QString m_connectionName;
    QuietStatements m_statements;
    bool m_notConverted = false;  ///< the product's currency has no rate; only the line was written
    int m_left = 0;               ///< lines that were not looked at any more
    bool m_stopped = false;       ///< by the user
    bool m_waitedTooLong = false; ///< another station holds the list; the rest was left alone
};

PriceUpdate ReceiptPrices::update(QWidget *parent, const ProgressStep &progress)
{
    PriceUpdate result;
    if (!mayDo(parent, Command::UpdateCosts) ||
        !Session::instance().refreshRates(parent, m_connectionName))
        return result;
    const QVariant count =
        QueryValue(parent, "SELECT COUNT(id) FROM incomeinvoice;", m_connectionName);
    QList<SqlRow> rows;
    if (!count.isValid() || !QueryRows(parent, linesQuery + ";", rows, m_connectionName))
        return result;
    result.read = true;
    const int total = std::max(count.toInt(), int(rows.size()));
    m_stopped = !rows.isEmpty() && !goOn(progress, 0, total);
    for (const SqlRow &row : std::as_const(rows)) {
        if (m_stopped) {
            m_left = int(rows.size()) - result.lines;
            break;
        }
        if (!updateLine(sql::id(row.at(0).toULongLong()), result) &&
            (m_waitedTooLong || !m_statements.isReachable())) {
            m_left = int(rows.size()) - result.lines - 1;
            break;
        }
        ++result.lines;
        m_stopped = !goOn(progress, result.lines, total);
    }
    if (result.lines > result.failed + result.gone)
        noteAction(tr("Цены в каталоге обновлены по приходу, строк: %1")
                       .arg(result.lines - result.failed - result.gone));
    tell(parent, result);
    return result;
}

/// False when something could not be written.
bool ReceiptPrices::updateLine(const QString &lineId, PriceUpdate &result)
{
    bool inDoubt = false; // the line is read and computed anew by every try
    const TransactionResult written = runInTransaction(
        nullptr, m_connectionName, [&] { return tryLine(lineId); }, {.inDoubt = &inDoubt});
    const bool gone = written.state == TransactionState::Refused;
    const bool databaseError = !written.isDone() && !gone;
    m_waitedTooLong = databaseError && written.waitedLong;
    if (databaseError)
        m_statements.fail(written.failure);
    const bool failed = databaseError || (written.isDone() && m_notConverted);
    result.failed += failed ? 1 : 0;
    result.gone += gone ? 1 : 0;
    return !failed;
}

/// Computes from what the locked line holds now: since the list was read another workstation may
/// have priced, posted or deleted it. Refuses when it is gone.
TransactionStep ReceiptPrices::tryLine(const QString &lineId)
{
    m_notConverted = false;
    QList<SqlRow> rows;
    if (!readLockedRows(QStringLiteral("incomeinvoice"),
                        linesQuery + " WHERE incomeinvoice.id='" + lineId + "'", rows,
                        m_connectionName))
        return TransactionStep::Fail;
    if (rows.isEmpty())
        return TransactionStep::Refuse;
    const SqlRow &row = rows.first();
    const double ratio = row.at(3).toDouble();
    const double lineOutcost = row.at(4).toDouble();
    double outcost = lineOutcost;
    if (ratio > 0) {
        outcost = sellingPrice(row.at(2).toDouble(), ratio);
        if (!pricesEqual(outcost, lineOutcost) &&
            !QueryExec(nullptr,
                       "UPDATE incomeinvoice SET outcost='" + sql::exact(outcost) + "' WHERE id='" +
                           lineId + "';",
                       m_connectionName))
            return TransactionStep::Fail;
    }
    const bool isInCatalogue = !row.at(1).isNull();
    return !isInCatalogue || writeProduct(row, outcost) ? TransactionStep::Commit
                                                        : TransactionStep::Fail;
}

bool ReceiptPrices::writeProduct(const SqlRow &row, double outcost)
{
    const double incost = row.at(2).toDouble();
    const QString currency = row.at(6).toString();
    const double converted = Session::instance().convertCurrencyFromMain(incost, currency);
    if (!std::isfinite(converted) || !std::isfinite(outcost)) {
        m_statements.fail({.text = tr("Курс валюты %1 равен нулю.").arg(currency)});
        m_notConverted = true;
        return true;
    }
    const qulonglong wareid = row.at(1).toULongLong();
    return writePrices("UPDATE warehouse SET incost='" + sql::exact(converted) + "', inoutratio='" +
                           sql::exact(row.at(3).toDouble()) + "', outcost='" + sql::exact(outcost) +
                           "' WHERE id='" + sql::id(wareid) + "';",
                       {.wareid = wareid,
                        .before = row.at(7).toDouble(),
                        .after = outcost,
                        .stock = row.at(5).toDouble()},
                       MarkRule::OnShelf, m_connectionName);
}

void ReceiptPrices::tell(QWidget *parent, const PriceUpdate &result) const
{
    QStringList parts;
    if (result.failed > 0) {
        parts += tr("Не все цены обновлены. Строк с ошибками: %1.").arg(result.failed);
        parts += m_statements.failure().text;
    }
    if (m_waitedTooLong)
        parts += tr("Приход занят на другом рабочем месте.");
    if (m_left > 0)
        parts += m_stopped
                     ? tr("Остановлено. Остальные строки не пересчитаны: %1.").arg(m_left)
                     : tr("Остальные строки не пересчитаны: %1. Повторите позже.").arg(m_left);
    if (result.gone > 0) {
        parts += tr("Строк, которые тем временем провели или удалили на другом рабочем месте: %1. "
                    "Цены по ним не обновлены.")
                     .arg(result.gone);
    }
    if (!parts.isEmpty())
        showFailure(parent, parts.join(u'\n'), m_statements.failure().details);
}

} // namespace

PriceUpdate updateCosts(QWidget *parent, const QString &connectionName,
                        const ProgressStep &progress)
{
    return ReceiptPrices(connectionName).update(parent, progress);
}
