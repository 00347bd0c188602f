#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <tuple>

#include "db/query.h"

class QWidget;

/// incomereports.payment_type.
enum class PaymentType : int { Cash = 1, Cashless = 4 };

/// How a posting ended.
enum class PostingOutcome {
    Posted,
    EmptyList,      ///< there was nothing to post
    ZeroQuantity,   ///< refused: a line has no quantity
    ListChanged,    ///< refused: another workstation changed the list meanwhile
    Failed,         ///< rolled back after a failure
    OutcomeUnknown, ///< the connection was lost at the end and could not be had back
};

struct PostingResult
{
    PostingOutcome outcome = PostingOutcome::Failed;
    qulonglong reportId = 0;
    int lines = 0;
    double total = 0; ///< main currency, purchase prices
    QString message;  ///< for the user; empty when all went as wished, and after EmptyList
};

/// What a posting wants from the outside. All may be empty.
struct PostingCallbacks
{
    /// The work begins; so many lines are to be posted.
    std::function<void(int lines)> started;
    /// Called before each line with the number of lines done; lets pending events be processed.
    std::function<void(int done)> progress;
    /// Sends one message and tells whether the gateway took it.
    std::function<bool(const QString &phone, const QString &text)> sendSms;
};

/// Turns the working list into a numbered receipt: receipt lines, stock, prices, price-change marks
/// and open carts in one transaction, waiting customers told, the list emptied. Either all of it
/// happens or nothing, whatever fails. Only a mark, a cart or an alert that the database refuses
/// alone does not hold up the receipt: it is tried again after the transaction, and told when it
/// fails for good.
class ReceiptPosting
{
public:
    /// The parent (may be null) serves the questions about a lost connection before the
    /// transaction begins; failures of statements are told by the result.
    ReceiptPosting(QWidget *parent, const QString &connectionName);

    PostingResult post(PaymentType paymentType, const PostingCallbacks &callbacks);

private:
    struct Alert
    {
        qulonglong id;
        qulonglong wareId;
        QString phone;
    };
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
    static QList<Line> sorted(QList<Line> lines);

    bool readAlerts();
    bool readLines();
    bool lockAndCompare(PostingResult &result);
    bool postLines(PostingResult &result, const PostingCallbacks &callbacks);
    bool postLine(const Line &line, PostingResult &result, const PostingCallbacks &callbacks);
    void markPriceChange(const Line &line);
    void tellCustomers(const Line &line, const PostingCallbacks &callbacks);
    bool writeReport(const PostingResult &result, PaymentType paymentType);
    bool emptyList(PostingResult &result);
    void settleLostCommit(PostingResult &result, PaymentType paymentType);

    bool run(const QString &sqlText);
    void runOptional(const QStringList &statements);
    void makeUpForMissed(PostingResult &result);
    PostingResult failed(PostingResult result, PostingOutcome outcome,
                         const QString &message) const;
    QString failureText() const;

    QWidget *m_parent;
    QString m_connectionName;
    QList<Alert> m_alerts;
    QList<Line> m_lines;
    QSqlQuery m_query;             ///< used again for every statement
    QStringList m_unknownProducts; ///< ids of posted lines whose product is not in the catalogue
    QList<QStringList> m_missed; ///< optional statements that failed without ending the transaction
    QString m_reportTimestamp;
};
