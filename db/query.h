#pragma once

#include <QList>
#include <QPair>
#include <QSqlQuery>
#include <QString>
#include <QVariant>

#include "db/connections.h"

#include <functional>

class QWidget;

using SqlBindings = QList<QPair<QString, QVariant>>;
using SqlRow = QList<QVariant>;

/// Runs one literal SQL text. The text is written in the common form (names in backquotes, "REPLACE
/// INTO t(id,…) VALUES(…)", "INSERT OR IGNORE INTO", LIKE without regard to letter case) and turned
/// into the words of the database. A lost connection is reopened silently a few times, any other
/// failure but an answer that came too late is retried once on a reopened connection; then the
/// error is shown over the parent (with a parent) as lastFailure() has it, the message and the
/// statement are logged, and false is returned. Inside a transaction nothing is retried and no box
/// is shown: the failure is logged and the caller rolls back.
bool QueryExec(QWidget *parent, const QString &sqlText, QSqlQuery &query,
               const QString &connectionName = mainConnection);

/// The same for a statement with named placeholders.
bool QueryExecPrepared(QWidget *parent, const QString &sqlText, QSqlQuery &query,
                       const SqlBindings &bindings, const QString &connectionName = mainConnection);

/// QueryExec() for a statement whose result is not read.
bool QueryExec(QWidget *parent, const QString &sqlText,
               const QString &connectionName = mainConnection);

/// Runs a SELECT and reads all its rows, so that no statement stays open. False on failure.
bool QueryRows(QWidget *parent, const QString &sqlText, QList<SqlRow> &rows,
               const QString &connectionName = mainConnection);

/// After next() has returned false: whether it was the end of the rows and not a failure in the
/// middle, which is reported like a failed statement.
bool readToEnd(QWidget *parent, QSqlQuery &query, const QString &connectionName = mainConnection);

/// Runs a SELECT and returns the first column of its first row; an invalid QVariant when there is
/// no row or the statement failed.
QVariant QueryValue(QWidget *parent, const QString &sqlText,
                    const QString &connectionName = mainConnection);

/// What went wrong last on the connection, as it is told to the user: a sentence for locks, rights,
/// disks and lost connections, with the database's words as details, otherwise those words alone.
/// No text after a success.
DatabaseFailure lastFailure(const QString &connectionName = mainConnection);

/// Shows a failure over the parent, or the text when the failure has none, with a text of the
/// caller in front when one is given.
void showDatabaseFailure(QWidget *parent, const DatabaseFailure &failure, const QString &otherwise,
                         const QString &front = {});

/// Sees every statement just before it goes to its connection, also "BEGIN", "COMMIT" and
/// "ROLLBACK" of the transaction helpers, and may exchange it. For diagnosis and for making faults
/// in tests; an empty function takes it off.
using StatementObserver = std::function<void(QString &sqlText, const QString &connectionName)>;
void setStatementObserver(StatementObserver observer);
