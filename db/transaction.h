#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

#include "db/connections.h"
#include "db/query.h"
#include "db/rights.h"

class QWidget;

/// Starts a transaction; a connection that was lost before is reopened first. On SQLite it takes
/// the write lock at once (BEGIN IMMEDIATE). False and a line on the debug channel on failure.
bool transactionBegin(const QString &connectionName = mainConnection);

/// Ends the transaction keeping its work; false when the database did not confirm it. The
/// transaction is over in any case.
bool transactionCommit(const QString &connectionName = mainConnection);

/// Ends the transaction undoing its work. False when the driver said so; a lost connection has
/// undone it by itself.
bool transactionRollback(const QString &connectionName = mainConnection);

/// Whether a transaction is open, be it still usable or broken by a failure.
bool inTransaction(const QString &connectionName = mainConnection);

/// Whether a failure has ended the open transaction on the database's side: it can only be
/// rolled back, statements are refused.
bool transactionBroken(const QString &connectionName = mainConnection);

/// A transaction that is rolled back at the end of the scope unless it was committed.
class TransactionGuard
{
public:
    explicit TransactionGuard(const QString &connectionName = mainConnection);
    ~TransactionGuard();
    TransactionGuard(const TransactionGuard &) = delete;
    TransactionGuard &operator=(const TransactionGuard &) = delete;

    /// Whether the transaction was started and is not over.
    bool isActive() const;

    bool commit();
    void rollback();

private:
    QString m_connectionName;
    bool m_active = false;
};

/// What the body of a transaction has come to.
enum class TransactionStep {
    Commit, ///< what it has written is to stay
    Done,   ///< nothing is left to write
    Refuse, ///< it decided against it
    Fail,   ///< a statement failed
};

enum class TransactionState {
    Done,
    Refused, ///< rolled back, as the body wanted
    Failed,  ///< rolled back, nothing was written
    Unknown, ///< COMMIT got no answer, and nobody knows what became of it
};

struct TransactionResult
{
    TransactionState state = TransactionState::Failed;
    DatabaseFailure failure = {}; ///< of Failed and Unknown
    bool begun = false;           ///< otherwise the database could not be had at all
    bool givenUp = false;         ///< the user did not want to wait for the connection
    bool noRight = false;         ///< the failure says which one is missing
    bool waitedLong = false;      ///< another station must be holding what is needed

    bool isDone() const
    {
        return state == TransactionState::Done;
    }
};

struct TransactionOptions
{
    /// With it a COMMIT without an answer is followed by another try, in which the body finds true
    /// here and looks, under its locks, what became of the former one; it sets false when it knows.
    /// May be true from an earlier run. Without it such a COMMIT ends the run as Unknown.
    bool *inDoubt = nullptr;
    int tries = 3;
    /// What the user must be allowed to do; see checkRight(). Otherwise the body does not run and
    /// the transaction has failed.
    QList<Command> needs = {};
};

/// Runs a short body, which asks nobody anything, in a transaction of its own; inside of another
/// one it fails. What fails is tried again, as with servers that throw out one of two stations
/// which wait for each other, unless it has waited long or is of no use. Only between the tries the
/// user is asked about a lost connection, with a parent.
TransactionResult runInTransaction(QWidget *parent, const QString &connectionName,
                                   const std::function<TransactionStep()> &body,
                                   const TransactionOptions &options = {});

/// Runs statements in a transaction of their own, which may be run twice without harm. False when
/// nothing was written, which is told over the parent as a failure or with the text.
bool runStatements(QWidget *parent, const QStringList &statements, const QString &notDone,
                   const QString &connectionName = mainConnection,
                   const QList<Command> &needs = {});

/// Reads rows inside a transaction and locks them until its end. In: the table whose rows are meant
/// and a SELECT from it without a semicolon; joined tables are read, and on MySQL locked too. Out:
/// its rows. False when it fails. No box is shown.
bool readLockedRows(const QString &table, const QString &select, QList<SqlRow> &rows,
                    const QString &connectionName = mainConnection);

/// The same for a whole table, or for the rows that an index finds for the SELECT; until the end of
/// the transaction nobody changes such a row or adds one, and on this server no lost session is
/// left that has.
bool readLockedTable(const QString &table, const QString &select, QList<SqlRow> &rows,
                     const QString &connectionName = mainConnection);
