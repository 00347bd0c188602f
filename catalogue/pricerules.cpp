#include "catalogue/pricerules.h"

#include "db/currencies.h"
#include "db/query.h"
#include "db/sqltext.h"

#include <cmath>

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

double finiteOrZero(double value)
{
    return std::isfinite(value) ? value : 0;
}

bool markPriceChange(QWidget *parent, qulonglong wareid, const QString &connectionName)
{
    return QueryExec(parent,
                     "DELETE FROM changeoutcostinfo WHERE wareid='" + sql::id(wareid) + "';",
                     connectionName) &&
           QueryExec(parent,
                     "INSERT INTO changeoutcostinfo(wareid,ctime) VALUES('" + sql::id(wareid) +
                         "'," + sql::now() + ");",
                     connectionName);
}

QuietStatements::QuietStatements(const QString &connectionName)
    : m_connectionName(connectionName)
{
}

bool QuietStatements::run(const QString &sqlText)
{
    return QueryExec(nullptr, sqlText, m_connectionName) || fail(lastFailure(m_connectionName));
}

bool QuietStatements::markPriceChange(qulonglong wareid)
{
    return ::markPriceChange(nullptr, wareid, m_connectionName) ||
           fail(lastFailure(m_connectionName));
}

bool QuietStatements::fail(const DatabaseFailure &failure)
{
    if (m_failure.text.isEmpty())
        m_failure = failure;
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
    return !lastFailure(m_connectionName).general && isReachable();
}
