#pragma once

#include <QCoreApplication>

#include <functional>

#include "income/customeralerts.h"
#include "income/missedcodes.h"
#include "income/posting.h"

class QWidget;

/// The talk with the user around a posting: what is to be posted and how it is paid, how it went,
/// which customers were told.
class PostingTalk
{
    Q_DECLARE_TR_FUNCTIONS(PostingTalk)

public:
    /// What the user made of the question.
    struct Answer
    {
        bool post = false;
        PaymentType paymentType = PaymentType::Cash;
        bool listChanged = false; ///< by another workstation, while the question stood there
    };

    explicit PostingTalk(QWidget *parent);

    /// Whether the posting may go on although scanned codes are not in the receipt. showMissed
    /// shows these codes.
    bool askAboutMissed(const QList<MissedCode> &missed,
                        const std::function<void()> &showMissed) const;

    /// Asks whether and how to post the list that the posting has looked at.
    Answer ask(ReceiptPosting &posting, const ReceiptSummary &summary) const;

    /// Posts with a progress bar, without a word at the end.
    PostingResult post(ReceiptPosting &posting, PaymentType paymentType) const;

    /// Tells in a box what the status line has no room for.
    void showResult(const PostingResult &result) const;

    /// Tells the customers. Nothing of the posting is open any more: a gateway may be as slow as
    /// it likes.
    void tellCustomers(const QList<DueAlert> &due);

private:
    QWidget *m_parent;
    CustomerAlerts m_customerAlerts;
};
