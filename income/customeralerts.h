#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

#include "app/progressstep.h"
#include "db/connections.h"
#include "income/posting.h"

struct SmsRun;

/// How the messages after a posting ended.
struct AlertReport
{
    int told = 0;
    int untold = 0;
    QStringList faults;  ///< what went wrong, one for each customer
    QStringList answers; ///< what the gateway said to those messages that it took

    /// What the user is told; empty when there was nobody to tell.
    QString text() const;
};

/// What telling customers wants from the outside.
struct AlertCallbacks
{
    /// Called before each message with the number of customers done. Who is not told when it stops
    /// waits for the next receipt.
    ProgressStep progress;
    /// Sends one message and tells whether the gateway took it.
    std::function<bool(const QString &phone, const QString &text, SmsRun &run)> send;
};

/// Tells the customers who waited for products of a posted receipt. It works outside of any
/// transaction, so that nobody waits for a gateway; each alert that was answered is deleted at
/// once. An alert whose deletion failed is kept in mind and not answered again in this run.
class CustomerAlerts
{
public:
    explicit CustomerAlerts(const QString &connectionName = mainConnection);

    /// Sends what is due by the options that the database has now. Without a gateway in the
    /// settings nothing is sent and a log line says so. Failures are told by the report.
    AlertReport tell(const QList<DueAlert> &due, const AlertCallbacks &callbacks);

private:
    enum class Standing { Waits, Answered, Unknown };

    Standing look(const DueAlert &alert) const;
    bool remove(const DueAlert &alert);

    QString m_connectionName;
    QList<DueAlert> m_undeleted; ///< answered, but still in the table
};
