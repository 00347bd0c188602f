#pragma once

#include <QString>
#include <QStringList>

#include "db/failure.h"

class QSqlDatabase;
class QSqlError;
struct ConnectionEntry;

/// What differs between the kinds of database, one object for each kind. No other file asks which
/// database it is.
class Engine
{
public:
    virtual ~Engine() = default;
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    /// The engine of a settings "dbtype" ("sqlite", "mysql", "postgresql"; case-sensitive), nullptr
    /// for other texts.
    static const Engine *ofType(const QString &dbtype);

    /// The engine of an added connection; SQLite's when there is no such connection.
    static const Engine &of(const QString &connectionName);

    // --- Connections ---

    /// The name of the Qt SQL driver.
    virtual QString driver() const = 0;

    /// Whether the database is a file of this machine and not a server, which can be lost.
    virtual bool isFile() const;

    /// Whether a connection can be given keys for TLS.
    virtual bool knowsTls() const;

    /// Fills in address, account and options of a new connection.
    virtual void configure(QSqlDatabase &database, const ConnectionEntry &entry) const = 0;

    /// Sets an opened session up. False, with the error, when it cannot be used; an error of our
    /// own has the type UnknownError.
    virtual bool setUpSession(QSqlDatabase &database, QSqlError &error) const = 0;

    /// How long an answer may take before the client or the server's host gives the connection up,
    /// as its options say, in milliseconds; 0: as long as it likes.
    virtual qint64 answerLimit(const QSqlDatabase &database) const;

    /// A statement for quiet moments; empty when there is nothing to do.
    virtual QString idleStatement() const;

    // --- Errors ---

    /// The cause that the code of an error stands for. A lost connection is not looked for here.
    virtual FailureCause causeOf(const QSqlError &error) const = 0;

    /// The cause of an error on a connection, a lost connection included.
    FailureCause cause(const QSqlDatabase &database, const QSqlError &error) const;

    /// The cause of an error at the opening of a connection.
    FailureCause openingCause(const QSqlError &error) const;

    /// Whether an error means that the connection is gone.
    virtual bool isConnectionLost(const QSqlDatabase &database, const QSqlError &error) const = 0;

    /// Whether a statement that met a lost connection may have run all the same.
    virtual bool mayHaveRun(const QSqlError &error) const = 0;

    /// Whether the database has ended its transaction because of this error.
    virtual bool endsTransaction(const QSqlDatabase &database, const QSqlError &error) const = 0;

    // --- Transactions and locks ---

    /// Runs "BEGIN", "COMMIT" or "ROLLBACK". False, with the error, when the database refused.
    virtual bool runWord(QSqlDatabase &database, const QString &word, QSqlError &error) const;

    /// Whether a transaction that a failure has broken is ended already and knows no ROLLBACK.
    virtual bool endsBrokenTransaction() const;

    /// What locks rows that a SELECT reads: a statement in front, empty for none, and the end of
    /// the SELECT.
    struct Lock
    {
        QString before = {};
        QString end = {};
    };

    /// Locks the rows of the table that are read; joined rows may be locked too.
    virtual Lock rowLock(const QString &table) const;

    /// Locks the table, or the rows and gaps that the SELECT reads, so that nobody changes such a
    /// row or adds one.
    virtual Lock tableLock(const QString &table) const;

    // --- Words and values ---

    /// A statement of the common form (see query.h) in the words of this database.
    virtual QString translate(const QString &sqlText) const;

    /// A divisor with which a division by zero gives NULL.
    virtual QString divisor(const QString &expression) const;

    /// What stands between two tables to have the first one read first, as far as the database lets
    /// itself be told; the condition between them follows with WHERE.
    virtual QString joinInOrder() const;

    /// A REAL column as the decimal number that was written, for computing with it.
    virtual QString decimal(const QString &column) const;

    /// Whether rows without a value stand before all others in an ascending order.
    virtual bool sortsNullsFirst() const;

    /// Whether two amounts are the same in the database, one of which may be as it was entered.
    virtual bool sameAmount(double a, double b) const;

    /// Whether an index on a text gives its rows in order.
    virtual bool ordersTextsByIndex() const;

    // --- Schema ---

    /// The type of a table's key.
    virtual QString keyType() const = 0;

    /// A declared column, "name type", with the nearest type that the database has.
    virtual QString column(const QString &declaration) const;

    /// What stands behind the columns of CREATE TABLE.
    virtual QString tableOptions() const;

    /// A text column in an index, of which so many characters are enough.
    virtual QString indexedText(const QString &column, int length) const;

    /// The SELECTs of all tables, of their columns and of the columns of each index, with commas
    /// between them: two columns each, the first one the name of the table.
    struct Contents
    {
        QString tables;
        QString columns;
        QString indexes;
    };
    virtual Contents contents() const = 0;

    /// Whether names of tables that differ in letter case are different names.
    virtual bool tellsCaseApart() const;

    /// A SELECT that gives no row, or NULL, when there is no such table.
    virtual QString tableProbe(const QString &table) const = 0;

    /// The SELECT of tables that cannot be rolled back; empty where there are none.
    virtual QString nonTransactionalTables() const;

    /// Lets the session not wait for the disk at every statement, or wait again; may be empty.
    virtual QString unhurried(bool on) const;

    /// Rows written with their ids may leave the sequence of a table's `id` behind. A SELECT that
    /// gives the name of the table when it lags and may be moved; empty when there are no
    /// sequences.
    virtual QString sequenceCheck(const QString &table) const;

    /// Moves the sequence behind the highest id, never back; empty when there are no sequences.
    virtual QString sequenceMove(const QString &table) const;

protected:
    Engine() = default;

    /// Address and account of a server.
    static void configureServer(QSqlDatabase &database, const ConnectionEntry &entry);

    /// Runs statements until one fails; false, with the error, then.
    static bool runAll(QSqlDatabase &database, const QStringList &statements, QSqlError &error);

    /// The number of an option of a connection, 0 without it.
    static qint64 numberOption(const QSqlDatabase &database, const QString &option);
};

/// The engines, each in its file. Internal to db/.
const Engine &sqliteEngine();
const Engine &mySqlEngine();
const Engine &postgreSqlEngine();
