#pragma once

#include <QString>
#include <QStringList>

#include <optional>

#include "db/connections.h"
#include "db/transaction.h"

class QWidget;

/// Whether two prices are the same: they differ by less than 0.0001.
bool pricesEqual(double a, double b);

/// The selling price that follows from a purchase price (main currency) and a fixed coefficient.
double sellingPrice(double incost, double coefficient);

/// Whether nobody sells like that on purpose: for nothing, or below the purchase price.
bool isDoubtfulPrice(double incost, double outcost);

/// The same as a condition on lines of `incomeinvoice`.
QString doubtfulPriceCondition();

/// What a selling price brings, in per cent and in money, for the user.
QString marginText(double incost, double outcost, const QString &currency);

/// The number when it is one, 0 for infinities and NaN.
double finiteOrZero(double value);

/// The prices of a product as somebody has entered them, for the log.
struct PriceSet
{
    double incost = 0;
    QString currency = {}; ///< of the purchase price; none: the main currency
    double inoutratio = 0;
    double outcost = 0;
};

/// Notes in the log that somebody has changed prices by hand, unless they are the same. In: what
/// the prices are those of.
void notePrices(const QString &what, const PriceSet &before, const PriceSet &after);

/// A product in words for the log; the name may be missing.
QString notedProduct(qulonglong wareid, const QString &name);

/// A new selling price of a product, as far as it decides about new price labels.
struct PriceStep
{
    qulonglong wareid = 0;
    std::optional<double> before = {}; ///< nothing: it counts as another one
    double after = 0;
    double stock = 0;
};

/// Which goods need new price labels when their selling price changes.
enum class MarkRule {
    OnShelf,  ///< those in stock
    AnyStock, ///< all
};

/// The statements that note that a product needs new price labels; none where it does not. For who
/// runs them by a policy of his own, as a posting does.
QStringList priceMark(const PriceStep &step, MarkRule rule);

/// Writes prices with the mark that they need inside an open transaction, so that it is both or
/// neither: else a repetition would find the new price in place and never note the labels. In: an
/// UPDATE of `warehouse`. False when a statement failed.
bool writePrices(const QString &update, const PriceStep &step, MarkRule rule,
                 const QString &connectionName = mainConnection);

/// The same in a transaction of its own. With a parent the user may be asked about a lost
/// connection; a failure is not told.
TransactionResult writePricesAlone(QWidget *parent, const QString &update, const PriceStep &step,
                                   MarkRule rule, const QString &connectionName = mainConnection);

/// Statements of a long loop: they fail without a box, and the first failure is kept, so that the
/// user is told once at the end.
class QuietStatements
{
public:
    explicit QuietStatements(const QString &connectionName);

    /// writePricesAlone(); false when it failed.
    bool writePrices(const QString &update, const PriceStep &step, MarkRule rule);

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
    bool m_general = false; ///< what failed last
};
