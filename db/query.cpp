#include "db/query.h"

#include "app/logging.h"
#include "app/messages.h"
#include "db/connectionstate.h"
#include "db/engine.h"

#include <QCoreApplication>
#include <QDebug>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlRecord>

namespace {

StatementObserver &statementObserver()
{
    static StatementObserver observer;
    return observer;
}

/// A server that drops the connection on every try must not keep the window waiting for ever.
constexpr int maxSilentReconnects = 3;

QString tr(const char *text)
{
    return QCoreApplication::translate("Query", text);
}

/// Whether running the statement twice would change more than running it once.
bool mustNotRunTwice(const QString &sqlText)
{
    static const QRegularExpression additive(
        QStringLiteral("^\\s*(INSERT\\s+INTO\\b|UPDATE\\b.*\\b(\\w+)\\s*=\\s*\\2\\s*[-+])"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    return additive.match(sqlText).hasMatch();
}

/// Keeps, shows and logs a failure of a statement. The query must have been let go of: nothing may
/// hold the database while the user reads the box.
void reportFailure(QWidget *parent, const QSqlError &error, FailureCause cause,
                   const QString &statement, const QString &connectionName)
{
    ConnectionState &state = connectionState(connectionName);
    state.lastError = tr("Ошибка SQL:") + QString::number(error.type()) + u' ' + error.text();
    state.cause = cause;
    const DatabaseFailure failure = lastFailure(connectionName);
    if (parent && shallTell(state, cause))
        showFailure(parent, failure.text, failure.details);
    else
        showWarning(parent, state.lastError, false);
    showWarning(parent, statement, false);
    qWarning().noquote() << state.lastError;
}

/// One statement on its way through reconnects and the retry.
class StatementRun
{
public:
    StatementRun(QWidget *parent, const QString &sqlText, QSqlQuery &query,
                 const SqlBindings *bindings, const QString &connectionName)
        : m_parent(parent),
          m_sqlText(sqlText),
          m_query(query),
          m_bindings(bindings),
          m_connectionName(connectionName),
          m_state(connectionState(connectionName)),
          m_engine(Engine::of(connectionName)),
          m_inTransaction(m_state.inTransaction),
          m_formerError(m_state.lastError),
          m_formerCause(m_state.cause)
    {
        m_state.lastError.clear();
        m_state.cause = FailureCause::None;
        m_state.outcomeUnknown = false;
    }

    bool run()
    {
        for (;;) {
            if (!makeReady())
                return false;
            m_state.idle = 0;
            QElapsedTimer waiting;
            waiting.start();
            if (execute())
                return true;
            m_waited = waiting.elapsed();
            const QSqlError error = m_query.lastError();
            if (error.type() == QSqlError::NoError)
                return true;
            if (!shallRepeat(error))
                return false;
        }
    }

private:
    QSqlDatabase database() const
    {
        return QSqlDatabase::database(m_connectionName, false);
    }

    /// Opens the connection when that is allowed and asks the user when it fails.
    bool makeReady()
    {
        if (m_inTransaction) {
            if (!m_state.broken && database().isOpen())
                return true;
            // The first failure is the reason; what follows it only finds the transaction ended.
            if (!m_state.broken) {
                m_state.broken = true;
                m_formerError = tr("Соединение с базой данных потеряно.");
                m_formerCause = FailureCause::Unreachable;
                logMessage(m_formerError);
            }
            m_state.lastError = m_formerError;
            m_state.cause = m_formerCause;
            return false;
        }
        for (;;) {
            if (!ensureConnectionOpen(m_parent, m_connectionName))
                return false;
            if (!m_engine.isFile() && mustNotRunTwice(m_sqlText) && !m_pinged) {
                // A connection that died while idle is found out before the statement is sent,
                // so that it can be reopened without a doubt whether the statement has run.
                m_pinged = true;
                QSqlQuery ping(database());
                if (!ping.exec(QStringLiteral("SELECT 1")) &&
                    m_engine.isConnectionLost(database(), ping.lastError())) {
                    ping = QSqlQuery();
                    closeConnection(m_connectionName);
                    continue;
                }
            }
            return true;
        }
    }

    bool execute()
    {
        QSqlDatabase db = database();
        // A query used again on the same connection is as good as a fresh one, and cheaper.
        if (m_bindings || m_query.driver() != db.driver())
            m_query = QSqlQuery(db);
        // SQLite's driver would keep a copy of every row read. The server drivers have the
        // whole result at hand anyway; forward-only would block the connection there.
        if (m_engine.isFile())
            m_query.setForwardOnly(true);
        const QString statement = m_engine.translate(observeStatement(m_sqlText, m_connectionName));
        if (!m_bindings) {
            if (debugLogEnabled())
                debugLog(QStringLiteral("QueryExec: ") + m_sqlText);
            return m_query.exec(statement);
        }
        debugLog(QStringLiteral("QueryExecPrepared: ") + m_sqlText);
        if (!m_query.prepare(statement))
            return false;
        for (const auto &[name, value] : *m_bindings)
            m_query.bindValue(name, value);
        return m_query.exec();
    }

    bool shallRepeat(const QSqlError &error)
    {
        const FailureCause cause = m_engine.cause(database(), error);
        if (m_inTransaction) {
            m_state.broken = m_engine.endsTransaction(database(), error);
            report(error, cause, false);
            return false;
        }
        if (m_engine.isConnectionLost(database(), error))
            return shallReconnect(error);
        // Nobody waits twice for an answer that came too late, or anew for what was just told.
        if (!m_retried && cause != FailureCause::TimedOut && m_state.told.count(cause) == 0) {
            m_retried = true;
            dropConnection();
            return true;
        }
        report(error, cause, true);
        return false;
    }

    bool shallReconnect(const QSqlError &error)
    {
        const bool unknown = mustNotRunTwice(m_sqlText) && m_engine.mayHaveRun(error);
        const qint64 limit = m_engine.answerLimit(database());
        const bool tooLate = limit > 0 && m_waited >= limit;
        if (!unknown && !tooLate && ++m_reconnects <= maxSilentReconnects) {
            dropConnection();
            return true;
        }
        dropConnection();
        if (unknown || tooLate) {
            m_state.outcomeUnknown = unknown;
            report(error, unknown ? FailureCause::Unreachable : FailureCause::TimedOut, true);
            return false;
        }
        if (askToReconnect(m_parent, m_connectionName, error.text())) {
            m_reconnects = 0;
            return true;
        }
        report(error, FailureCause::Unreachable, false);
        return false;
    }

    void dropConnection()
    {
        m_query = QSqlQuery();
        closeConnection(m_connectionName);
    }

    void report(const QSqlError &error, FailureCause cause, bool showBox)
    {
        const QString statement = m_query.lastQuery().isEmpty() ? m_sqlText : m_query.lastQuery();
        m_query = QSqlQuery();
        reportFailure(showBox ? m_parent : nullptr, error, cause, statement, m_connectionName);
    }

    QWidget *m_parent;
    const QString &m_sqlText;
    QSqlQuery &m_query;
    const SqlBindings *m_bindings;
    const QString &m_connectionName;
    ConnectionState &m_state;
    const Engine &m_engine;
    bool m_inTransaction;
    QString m_formerError;
    FailureCause m_formerCause;
    qint64 m_waited = 0; ///< for the answer that has failed, in milliseconds
    bool m_retried = false;
    bool m_pinged = false;
    int m_reconnects = 0;
};

} // namespace

void setStatementObserver(StatementObserver observer)
{
    statementObserver() = std::move(observer);
}

QString observeStatement(const QString &sqlText, const QString &connectionName)
{
    QString statement = sqlText;
    if (statementObserver())
        statementObserver()(statement, connectionName);
    return statement;
}

bool QueryExec(QWidget *parent, const QString &sqlText, QSqlQuery &query,
               const QString &connectionName)
{
    return StatementRun(parent, sqlText, query, nullptr, connectionName).run();
}

bool QueryExecPrepared(QWidget *parent, const QString &sqlText, QSqlQuery &query,
                       const SqlBindings &bindings, const QString &connectionName)
{
    return StatementRun(parent, sqlText, query, &bindings, connectionName).run();
}

bool QueryExec(QWidget *parent, const QString &sqlText, const QString &connectionName)
{
    QSqlQuery query;
    return QueryExec(parent, sqlText, query, connectionName);
}

bool QueryRows(QWidget *parent, const QString &sqlText, QList<SqlRow> &rows,
               const QString &connectionName)
{
    rows.clear();
    QSqlQuery query;
    if (!QueryExec(parent, sqlText, query, connectionName))
        return false;
    const int columns = query.record().count();
    while (query.next()) {
        SqlRow row;
        row.reserve(columns);
        for (int column = 0; column < columns; ++column)
            row.append(query.value(column));
        rows.append(std::move(row));
    }
    return readToEnd(parent, query, connectionName);
}

bool readToEnd(QWidget *parent, QSqlQuery &query, const QString &connectionName)
{
    const QSqlError error = query.lastError();
    if (error.type() == QSqlError::NoError)
        return true;
    const QString statement = query.lastQuery();
    const QSqlDatabase database = QSqlDatabase::database(connectionName, false);
    const Engine &engine = Engine::of(connectionName);
    ConnectionState &state = connectionState(connectionName);
    if (state.inTransaction)
        state.broken = engine.endsTransaction(database, error);
    query = QSqlQuery();
    reportFailure(state.inTransaction ? nullptr : parent, error, engine.cause(database, error),
                  statement, connectionName);
    return false;
}

QVariant QueryValue(QWidget *parent, const QString &sqlText, const QString &connectionName)
{
    QSqlQuery query;
    if (!QueryExec(parent, sqlText, query, connectionName) || !query.next())
        return {};
    return query.value(0);
}

DatabaseFailure lastFailure(const QString &connectionName)
{
    const ConnectionState &state = connectionState(connectionName);
    if (state.lastError.isEmpty())
        return {};
    const QString sentence =
        state.outcomeUnknown
            ? tr("Связь с базой данных прервалась во время записи, и неизвестно, "
                 "выполнена ли она. Проверьте, что записано, прежде чем повторять.")
            : sentenceOf(state.cause);
    const QString front = connectionName == friendConnection ? tr("Справочная база.\n") : QString();
    if (sentence.isEmpty())
        return {.text = front + state.lastError};
    return {.text = front + sentence,
            .details = state.lastError,
            .general = state.outcomeUnknown || state.cause != FailureCause::BadSigns};
}

void showDatabaseFailure(QWidget *parent, const DatabaseFailure &failure, const QString &otherwise,
                         const QString &front)
{
    const QString text = failure.text.isEmpty() ? otherwise : failure.text;
    showFailure(parent, front.isEmpty() ? text : front + QStringLiteral("\n\n") + text,
                failure.details);
}
