#include "catalogue/pricerules.h"

#include "db/auditlog.h"
#include "db/currencies.h"
#include "db/money.h"
#include "db/query.h"
#include "db/sqltext.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

namespace {

struct PriceRules
{
    Q_DECLARE_TR_FUNCTIONS(PriceRules)
};

} // namespace

bool pricesEqual(double a, double b)
{
    return std::abs(a - b) < 0.0001;
}

double sellingPrice(double incost, double coefficient)
{
    return roundSellingPrice(finiteOrZero(incost * coefficient));
}

bool isDoubtfulPrice(double incost, double outcost)
{
    return outcost <= 0 || (outcost < incost && !pricesEqual(incost, outcost));
}

QString doubtfulPriceCondition()
{
    return QStringLiteral("(COALESCE(outcost,0)<=0 OR COALESCE(incost,0)-outcost>=0.0001)");
}

QString marginText(double incost, double outcost, const QString &currency)
{
    const double margin = outcost - incost;
    if (incost <= 0)
        return PriceRules::tr("Наценка %1\u00a0%2").arg(formatMoney(margin), currency).trimmed();
    return PriceRules::tr("Наценка %1\u00a0%, %2\u00a0%3")
        .arg(QString::number(roundMoney(margin / incost * 100), 'f', 0), formatMoney(margin),
             currency)
        .trimmed();
}

double finiteOrZero(double value)
{
    return std::isfinite(value) ? value : 0;
}

void notePrices(const QString &what, const PriceSet &before, const PriceSet &after)
{
    const auto purchase = [](const PriceSet &prices) {
        return QString(sql::exact(prices.incost) + u' ' + prices.currency).trimmed();
    };
    QStringList changes = {
        noted(PriceRules::tr("приходная"), purchase(before), purchase(after)),
        noted(PriceRules::tr("коэффициент"), sql::exact(before.inoutratio),
              sql::exact(after.inoutratio)),
        noted(PriceRules::tr("расходная"), sql::exact(before.outcost), sql::exact(after.outcost))};
    changes.removeAll(QString());
    if (!changes.isEmpty())
        noteAction(what + QStringLiteral(": ") + changes.join(QStringLiteral(", ")));
}

QString notedProduct(qulonglong wareid, const QString &name)
{
    const QString number = PriceRules::tr("№ %1").arg(wareid);
    return name.isEmpty() ? number : number + QStringLiteral(" «") + name + u'»';
}

QStringList priceMark(const PriceStep &step, MarkRule rule)
{
    const bool sameLabel = step.before && pricesEqual(*step.before, step.after);
    if (sameLabel || (rule == MarkRule::OnShelf && !(step.stock > 0)))
        return {};
    const QString id = u'\'' + sql::id(step.wareid) + u'\'';
    return {"DELETE FROM changeoutcostinfo WHERE wareid=" + id + ";",
            "INSERT INTO changeoutcostinfo(wareid,ctime) VALUES(" + id + "," + sql::now() + ");"};
}

bool writePrices(const QString &update, const PriceStep &step, MarkRule rule,
                 const QString &connectionName)
{
    const QStringList statements = QStringList{update} + priceMark(step, rule);
    return std::all_of(statements.begin(), statements.end(), [&](const QString &statement) {
        return QueryExec(nullptr, statement, connectionName);
    });
}

TransactionResult writePricesAlone(QWidget *parent, const QString &update, const PriceStep &step,
                                   MarkRule rule, const QString &connectionName)
{
    bool inDoubt = false; // what is written twice is the same
    return runInTransaction(parent, connectionName,
                            [&] {
                                return writePrices(update, step, rule, connectionName)
                                           ? TransactionStep::Commit
                                           : TransactionStep::Fail;
                            },
                            {.inDoubt = &inDoubt});
}

QuietStatements::QuietStatements(const QString &connectionName)
    : m_connectionName(connectionName)
{
}

bool QuietStatements::writePrices(const QString &update, const PriceStep &step, MarkRule rule)
{
    const TransactionResult written =
        writePricesAlone(nullptr, update, step, rule, m_connectionName);
    return written.isDone() || fail(written.failure);
}

bool QuietStatements::fail(const DatabaseFailure &failure)
{
    if (m_failure.text.isEmpty())
        m_failure = failure;
    m_general = failure.general;
    return false;
}

const DatabaseFailure &QuietStatements::failure() const
{
    return m_failure;
}

bool QuietStatements::isReachable() const
{
    return openConnection(m_connectionName);
}

bool QuietStatements::canGoOn() const
{
    return !m_general && isReachable();
}
