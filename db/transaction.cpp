#include "db/transaction.h"

#include "db/connectionstate.h"
#include "db/engine.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>

namespace {

constexpr int maxBeginTries = 3;

bool runText(QSqlDatabase &database, const QString &sqlText, QSqlError &error)
{
    QSqlQuery query(database);
    const bool done = query.exec(sqlText);
    error = query.lastError();
    return done;
}

/// Runs a transaction word, or what the observer makes of it.
bool runWord(QSqlDatabase &database, const char *word, QSqlError &error)
{
    const QString name = QLatin1String(word);
    const QString observed = observeStatement(name, database.connectionName());
    return observed == name ? Engine::of(database.connectionName()).runWord(database, name, error)
                            : runText(database, observed, error);
}

/// In ms; less than the lock time-out of any of the databases. Who holds a lock for so long is not
/// waited for again and again.
constexpr int longestWait = 4000;

bool readLocked(const Engine::Lock &lock, const QString &select, QList<SqlRow> &rows,
                const QString &connectionName)
{
    return (lock.before.isEmpty() || QueryExec(nullptr, lock.before, connectionName)) &&
           QueryRows(nullptr, select + lock.end + u';', rows, connectionName);
}

/// Whether what failed may go well when it is done again: rights, disks and files do not mend by
/// themselves.
bool isWorthAnotherTry(FailureCause cause)
{
    return cause == FailureCause::None || cause == FailureCause::Locked ||
           cause == FailureCause::Unreachable || cause == FailureCause::Other;
}

/// The first of them that is not held, or Held.
RightCheck checkRights(const QList<Command> &commands)
{
    for (const Command command : commands) {
        if (const RightCheck check = checkRight(command); check.state != RightCheck::State::Held)
            return check;
    }
    return {RightCheck::State::Held};
}

} // namespace

bool transactionBegin(const QString &connectionName)
{
    ConnectionState &state = connectionState(connectionName);
    if (state.inTransaction) {
        qDebug() << "Transaction initiate failed.";
        return false;
    }
    const Engine &engine = Engine::of(connectionName);
    for (int attempt = 0; attempt < maxBeginTries; ++attempt) {
        if (!openConnection(connectionName))
            break;
        QSqlDatabase database = QSqlDatabase::database(connectionName, false);
        if (!database.driver()->hasFeature(QSqlDriver::Transactions)) {
            qDebug() << "Database driver does not support transactions.";
            return false;
        }
        QSqlError error;
        if (runWord(database, "BEGIN", error)) {
            state.inTransaction = true;
            state.broken = false;
            state.outcomeUnknown = false;
            state.idle = 0;
            state.lastError.clear();
            state.cause = FailureCause::None;
            return true;
        }
        state.lastError = error.text();
        state.cause = engine.cause(database, error);
        if (!engine.isConnectionLost(database, error))
            break;
        closeConnection(connectionName); // nothing is under way yet: open it anew
    }
    qDebug() << "Transaction initiate failed.";
    return false;
}

bool transactionCommit(const QString &connectionName)
{
    ConnectionState &state = connectionState(connectionName);
    QSqlDatabase database = QSqlDatabase::database(connectionName, false);
    if (!state.inTransaction || state.broken) {
        qDebug() << "Transaction commit failed.";
        if (state.inTransaction)
            transactionRollback(connectionName);
        return false;
    }
    QSqlError error;
    const bool done = runWord(database, "COMMIT", error);
    if (done) {
        state.inTransaction = false;
        return true;
    }
    qDebug() << "Transaction commit failed.";
    const Engine &engine = Engine::of(connectionName);
    state.outcomeUnknown = engine.isConnectionLost(database, error);
    const QString text = error.text();
    const FailureCause cause = engine.cause(database, error);
    const bool unknown = state.outcomeUnknown;
    transactionRollback(connectionName); // a refused COMMIT may leave the transaction open
    state.lastError = text;
    state.cause = cause;
    state.outcomeUnknown = unknown;
    return false;
}

bool transactionRollback(const QString &connectionName)
{
    ConnectionState &state = connectionState(connectionName);
    QSqlDatabase database = QSqlDatabase::database(connectionName, false);
    const bool wasBroken = state.broken;
    state.inTransaction = false;
    state.broken = false;
    QSqlError error;
    if (database.isOpen() && runWord(database, "ROLLBACK", error))
        return true;
    if (wasBroken && Engine::of(connectionName).endsBrokenTransaction())
        return true;
    qDebug() << "Transaction rollback failed.";
    // Whatever the connection still holds ends with it; the next statement opens it again.
    closeConnection(connectionName);
    return false;
}

bool inTransaction(const QString &connectionName)
{
    return connectionState(connectionName).inTransaction;
}

bool transactionBroken(const QString &connectionName)
{
    return connectionState(connectionName).broken;
}

TransactionGuard::TransactionGuard(const QString &connectionName)
    : m_connectionName(connectionName),
      m_active(transactionBegin(connectionName))
{
}

TransactionGuard::~TransactionGuard()
{
    rollback();
}

bool TransactionGuard::isActive() const
{
    return m_active;
}

bool TransactionGuard::commit()
{
    if (!m_active)
        return false;
    m_active = false;
    return transactionCommit(m_connectionName);
}

void TransactionGuard::rollback()
{
    if (m_active)
        transactionRollback(m_connectionName);
    m_active = false;
}

TransactionResult runInTransaction(QWidget *parent, const QString &connectionName,
                                   const std::function<TransactionStep()> &body,
                                   const TransactionOptions &options)
{
    bool ownDoubt = false;
    bool &inDoubt = options.inDoubt ? *options.inDoubt : ownDoubt;
    TransactionResult result;
    if (inTransaction(connectionName)) {
        result.failure = {.text = QStringLiteral("A transaction is open already.")};
        return result;
    }
    for (int tries = 0; tries < options.tries; ++tries) {
        result = {};
        if (!ensureConnectionOpen(parent, connectionName)) {
            result.failure = lastFailure(connectionName);
            result.givenUp = parent != nullptr;
            break;
        }
        // Before BEGIN: the first look of a transaction decides what its later ones see.
        const RightCheck check = checkRights(options.needs);
        if (check.state != RightCheck::State::Held) {
            result.noRight = check.state == RightCheck::State::Missing;
            result.failure = result.noRight
                                 ? DatabaseFailure{.text = check.refusal, .general = true}
                                 : lastFailure();
            if (result.noRight)
                break;
            continue;
        }
        QElapsedTimer waiting;
        waiting.start();
        TransactionGuard transaction(connectionName);
        result.begun = transaction.isActive();
        const TransactionStep step = result.begun ? body() : TransactionStep::Fail;
        if (step == TransactionStep::Refuse) {
            result.state = TransactionState::Refused;
            return result;
        }
        if (step == TransactionStep::Commit ? transaction.commit()
                                            : step == TransactionStep::Done) {
            result.state = TransactionState::Done;
            inDoubt = false;
            return result;
        }
        result.failure = lastFailure(connectionName);
        result.waitedLong = waiting.hasExpired(longestWait);
        const bool lost =
            step == TransactionStep::Commit && connectionState(connectionName).outcomeUnknown;
        inDoubt = inDoubt || lost;
        // What a lost COMMIT has done must be looked up however long it took.
        if (lost ? !options.inDoubt
                 : result.waitedLong || !isWorthAnotherTry(connectionState(connectionName).cause))
            break;
    }
    result.state = inDoubt ? TransactionState::Unknown : TransactionState::Failed;
    return result;
}

bool runStatements(QWidget *parent, const QStringList &statements, const QString &notDone,
                   const QString &connectionName, const QList<Command> &needs)
{
    bool inDoubt = false;
    const auto runAll = [&] {
        return std::all_of(
                   statements.begin(), statements.end(),
                   [&](const QString &text) { return QueryExec(nullptr, text, connectionName); })
                   ? TransactionStep::Commit
                   : TransactionStep::Fail;
    };
    const TransactionResult result =
        runInTransaction(parent, connectionName, runAll, {.inDoubt = &inDoubt, .needs = needs});
    if (!result.isDone() && !result.givenUp)
        showDatabaseFailure(parent, result.failure, notDone);
    return result.isDone();
}

bool readLockedRows(const QString &table, const QString &select, QList<SqlRow> &rows,
                    const QString &connectionName)
{
    return readLocked(Engine::of(connectionName).rowLock(table), select, rows, connectionName);
}

bool readLockedTable(const QString &table, const QString &select, QList<SqlRow> &rows,
                     const QString &connectionName)
{
    return readLocked(Engine::of(connectionName).tableLock(table), select, rows, connectionName);
}
