#pragma once

#include <QString>

#include "db/connections.h"

class QWidget;

/// Whether two prices are the same: they differ by less than 0.0001.
bool pricesEqual(double a, double b);

/// The selling price that follows from a purchase price (main currency) and a fixed coefficient.
double sellingPrice(double incost, double coefficient);

/// Whether nobody sells like that on purpose: for nothing, or below the purchase price.
bool isDoubtfulPrice(double incost, double outcost);

/// The same as a condition on lines of `incomeinvoice`.
QString doubtfulPriceCondition();

/// The number when it is one, 0 for infinities and NaN.
double finiteOrZero(double value);

/// Notes that goods of a product on the shelf need new price labels. False when a statement failed.
bool markPriceChange(QWidget *parent, qulonglong wareid,
                     const QString &connectionName = mainConnection);

/// Statements of a long loop: they fail without a box, and the first failure is kept, so that the
/// user is told once at the end.
class QuietStatements
{
public:
    explicit QuietStatements(const QString &connectionName);

    /// Runs a statement; false when it failed.
    bool run(const QString &sqlText);

    /// markPriceChange() in the same way.
    bool markPriceChange(qulonglong wareid);

    /// Keeps a failure for the user unless there is one already. Always false.
    bool fail(const DatabaseFailure &failure);

    /// The first failure, as it is told to the user; without a text when there was none.
    const DatabaseFailure &failure() const;

    /// Whether the connection can be had. In a loop it is asked after a failure: every further
    /// statement would wait for a server that is gone.
    bool isReachable() const;

    /// The same, and what failed last was about one row: locks, rights and disks stop them all.
    bool canGoOn() const;

private:
    QString m_connectionName;
    DatabaseFailure m_failure;
};
