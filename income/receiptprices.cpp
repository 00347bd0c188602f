#include "income/receiptprices.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "income/pricerules.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

namespace {

class ReceiptPrices
{
    Q_DECLARE_TR_FUNCTIONS(ReceiptPrices)

public:
    explicit ReceiptPrices(const QString &connectionName)
        : m_connectionName(connectionName),
          m_statements(connectionName)
    {
    }

    PriceUpdate update(QWidget *parent, const std::function<void(int done, int total)> &progress);

private:
    bool updateLine(const SqlRow &row);

    QString m_connectionName;
    QuietStatements m_statements;
};

PriceUpdate ReceiptPrices::update(QWidget *parent,
                                  const std::function<void(int done, int total)> &progress)
{
    PriceUpdate result;
    const QVariant count =
        QueryValue(parent, "SELECT COUNT(id) FROM incomeinvoice;", m_connectionName);
    QList<SqlRow> rows;
    if (!count.isValid() ||
        !QueryRows(parent,
                   "SELECT incomeinvoice.id,warehouse.id, incomeinvoice.incost, "
                   "incomeinvoice.inoutratio, incomeinvoice.outcost, warehouse.quantity, "
                   "warehouse.currency, warehouse.outcost FROM incomeinvoice LEFT JOIN warehouse "
                   "ON warehouse.id = incomeinvoice.wareid;",
                   rows, m_connectionName))
        return result;
    result.read = true;

    for (const SqlRow &row : std::as_const(rows)) {
        if (!updateLine(row)) {
            ++result.failed;
            if (!m_statements.isReachable())
                break;
        }
        ++result.lines;
        if (progress)
            progress(result.lines, std::max(count.toInt(), result.lines));
    }
    if (result.failed > 0) {
        showWarning(parent, tr("Не все цены обновлены. Строк с ошибками: %1.").arg(result.failed) +
                                u'\n' + m_statements.reason());
    }
    return result;
}

bool ReceiptPrices::updateLine(const SqlRow &row)
{
    const QString lineId = sql::id(row.at(0).toULongLong());
    const double incost = row.at(2).toDouble();
    const double ratio = row.at(3).toDouble();
    const double lineOutcost = row.at(4).toDouble();
    double outcost = lineOutcost;
    if (ratio > 0) {
        outcost = sellingPrice(incost, ratio);
        if (!pricesEqual(outcost, lineOutcost) &&
            !m_statements.run("UPDATE incomeinvoice SET outcost='" + sql::exact(outcost) +
                              "' WHERE id='" + lineId + "';"))
            return false;
    }
    if (row.at(1).isNull())
        return true; // the product was deleted

    const QString currency = row.at(6).toString();
    const double converted = Session::instance().convertCurrencyFromMain(incost, currency);
    if (!std::isfinite(converted) || !std::isfinite(outcost))
        return m_statements.fail(tr("Курс валюты %1 равен нулю.").arg(currency));
    const qulonglong wareid = row.at(1).toULongLong();
    if (!m_statements.run("UPDATE warehouse SET incost='" + sql::exact(converted) +
                          "', inoutratio='" + sql::exact(ratio) + "', outcost='" +
                          sql::exact(outcost) + "' WHERE id='" + sql::id(wareid) + "';"))
        return false;
    if (pricesEqual(outcost, row.at(7).toDouble()) || !(row.at(5).toDouble() > 0))
        return true;
    return m_statements.markPriceChange(wareid);
}

} // namespace

PriceUpdate updateCosts(QWidget *parent, const QString &connectionName,
                        const std::function<void(int done, int total)> &progress)
{
    return ReceiptPrices(connectionName).update(parent, progress);
}
