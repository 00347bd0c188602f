#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <tuple>

#include "db/query.h"

class QWidget;

/// incomereports.payment_type.
enum class PaymentType : int { Cash = 1, Cashless = 4 };

/// How a posting ended.
enum class PostingOutcome {
    Posted,
    EmptyList,      ///< there was nothing left to post
    ZeroQuantity,   ///< refused: a line has no quantity
    ListChanged,    ///< refused: another workstation changed the list meanwhile
    Failed,         ///< rolled back after a failure
    OutcomeUnknown, ///< the connection was lost at the end and could not be had back
};

/// A customer who waits for a product of a posted receipt.
struct DueAlert
{
    qulonglong id = 0; ///< of the row in `alerts`
    qulonglong wareId = 0;
    QString phone;
    QString wareName;

    bool operator==(const DueAlert &other) const
    {
        return id == other.id && wareId == other.wareId && phone == other.phone;
    }
};

/// What the working list comes to.
struct ReceiptSummary
{
    int lines = 0;
    double units = 0;
    double purchase = 0; ///< main currency, as all sums of a receipt
    double selling = 0;
    int doubtfulPrices = 0; ///< lines sold for nothing or for less than they cost

    /// A line of text for each.
    QString text() const;
};

struct PostingResult
{
    PostingOutcome outcome = PostingOutcome::Failed;
    qulonglong reportId = 0;
    int lines = 0;
    double total = 0;     ///< main currency, purchase prices
    QString message = {}; ///< for the user; empty when all went as wished, and after EmptyList
    QString details = {}; ///< what the database said of the failure
    QList<DueAlert> due =
        {}; ///< who is to be told now that the goods are there; see CustomerAlerts

    /// How it ended, in one line.
    QString headline() const;
};

/// What a posting wants from the outside. All may be empty.
struct PostingCallbacks
{
    /// The work begins; so many lines are to be posted.
    std::function<void(int lines)> started;
    /// Called before each line with the number of lines done; lets pending events be processed.
    std::function<void(int done)> progress;
};

/// Turns the working list into a numbered receipt: receipt lines, stock, prices, price-change marks
/// and open carts in one transaction, the list emptied. Either all of it happens or nothing,
/// whatever fails. Only a mark or a cart that the database refuses alone does not hold up the
/// receipt: it is tried again after the transaction, and told when it fails for good. Which
/// customers are to be told is settled too, but nobody waits for a gateway in a transaction.
class ReceiptPosting
{
public:
    /// The parent (may be null) serves the questions about a lost connection before the
    /// transaction begins; failures of statements are told by the result.
    ReceiptPosting(QWidget *parent, const QString &connectionName);

    /// Reads the list that the user is about to be asked about; post() then posts no other. Nothing
    /// on failure, told over the parent.
    std::optional<ReceiptSummary> look();

    /// Whether another workstation has changed the list since look(); false when that cannot be
    /// told.
    bool hasChanged();

    PostingResult post(PaymentType paymentType, const PostingCallbacks &callbacks);

private:
    struct Line
    {
        qulonglong wareId = 0;
        double quantity = 0;
        double incost = 0;
        double inoutratio = 0;
        double outcost = 0;
        qulonglong userId = 0;
        QString timestamp = {};
        // Of the product; not compared with what is in the list later.
        QString wareName = {};
        double stock = 0;
        QString currency = {};
        double oldOutcost = 0;

        auto key() const
        {
            return std::tie(wareId, quantity, incost, inoutratio, outcost, userId, timestamp);
        }
    };

    static Line lineOf(const SqlRow &row);
    static QList<Line> sortedLines(const QList<SqlRow> &rows);
    static bool areSame(const QList<Line> &a, const QList<Line> &b);
    static QList<Line> sorted(QList<Line> lines);

    bool check(PostingResult &result, const PostingCallbacks &callbacks);
    bool write(PostingResult &result, PaymentType paymentType, const PostingCallbacks &callbacks);
    void finish(PostingResult &result);
    bool readAlerts();
    bool checkQuantities(PostingResult &result);
    bool countLines(int &count, PostingResult &result);
    bool readLines(PostingResult &result);
    bool lockAndCompare(PostingResult &result);
    bool postLines(PostingResult &result, const PostingCallbacks &callbacks);
    bool postLine(const Line &line, PostingResult &result);
    void noteDueAlerts(const Line &line, PostingResult &result);
    bool writeReport(PostingResult &result, PaymentType paymentType);
    bool emptyList(PostingResult &result);
    QString reportQuery(qulonglong reportId, PaymentType paymentType) const;
    void settleLostCommit(PostingResult &result, PaymentType paymentType);

    bool run(const QString &sqlText);
    void runOptional(const QStringList &statements);
    void makeUpForMissed(PostingResult &result);
    bool databaseFailed(PostingResult &result) const;
    static bool databaseFailed(PostingResult &result, const DatabaseFailure &failure);
    static bool listChanged(PostingResult &result);
    static bool zeroQuantity(PostingResult &result);
    static PostingResult failed(PostingResult result);

    QWidget *m_parent;
    QString m_connectionName;
    QList<DueAlert> m_alerts; ///< that no line has answered yet
    QList<Line> m_lines;
    std::optional<QList<Line>> m_lookedAt; ///< sorted
    QSqlQuery m_query;                     ///< used again for every statement
    QStringList m_unknownProducts; ///< ids of posted lines whose product is not in the catalogue
    QList<QStringList> m_missed; ///< optional statements that failed without ending the transaction
    QString m_reportTimestamp;
};
