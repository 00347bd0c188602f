#include "db/engine.h"

#include "app/settings.h"

#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

const Engine *Engine::ofType(const QString &dbtype)
{
    if (dbtype == QLatin1String("sqlite"))
        return &sqliteEngine();
    if (dbtype == QLatin1String("mysql"))
        return &mySqlEngine();
    return dbtype == QLatin1String("postgresql") ? &postgreSqlEngine() : nullptr;
}

const Engine &Engine::of(const QString &connectionName)
{
    const QString driver = QSqlDatabase::database(connectionName, false).driverName();
    for (const Engine *engine : {&mySqlEngine(), &postgreSqlEngine()}) {
        if (driver == engine->driver())
            return *engine;
    }
    return sqliteEngine();
}

bool Engine::isFile() const
{
    return false;
}

bool Engine::knowsTls() const
{
    return false;
}

qint64 Engine::answerLimit(const QSqlDatabase &) const
{
    return 0;
}

QString Engine::idleStatement() const
{
    return {};
}

FailureCause Engine::cause(const QSqlDatabase &database, const QSqlError &error) const
{
    if (error.type() == QSqlError::NoError)
        return FailureCause::None;
    const FailureCause cause = causeOf(error);
    return cause == FailureCause::Other && isConnectionLost(database, error)
               ? FailureCause::Unreachable
               : cause;
}

FailureCause Engine::openingCause(const QSqlError &error) const
{
    const FailureCause cause = causeOf(error);
    // The libraries of the servers have many codes for it, or none. Our own refusals have no type.
    return cause == FailureCause::Other && !isFile() && error.type() != QSqlError::UnknownError
               ? FailureCause::Unreachable
               : cause;
}

bool Engine::runWord(QSqlDatabase &database, const QString &word, QSqlError &error) const
{
    const bool done = word == QLatin1String("BEGIN")    ? database.transaction()
                      : word == QLatin1String("COMMIT") ? database.commit()
                                                        : database.rollback();
    error = database.lastError();
    return done;
}

bool Engine::endsBrokenTransaction() const
{
    return false;
}

Engine::Lock Engine::rowLock(const QString &) const
{
    return {};
}

Engine::Lock Engine::tableLock(const QString &) const
{
    return {};
}

QString Engine::translate(const QString &sqlText) const
{
    return sqlText;
}

QString Engine::divisor(const QString &expression) const
{
    return expression;
}

QString Engine::joinInOrder() const
{
    return QStringLiteral(" CROSS JOIN ");
}

QString Engine::decimal(const QString &column) const
{
    return column;
}

bool Engine::sortsNullsFirst() const
{
    return true;
}

bool Engine::sameAmount(double a, double b) const
{
    return a == b;
}

QString Engine::column(const QString &declaration) const
{
    // Only SQLite knows columns without a type.
    return declaration.trimmed().contains(u' ') ? declaration : declaration + " TEXT";
}

QString Engine::tableOptions() const
{
    return {};
}

bool Engine::ordersTextsByIndex() const
{
    return true;
}

QString Engine::indexedText(const QString &column, int) const
{
    return column;
}

bool Engine::tellsCaseApart() const
{
    return false;
}

QString Engine::nonTransactionalTables() const
{
    return {};
}

QString Engine::unhurried(bool) const
{
    return {};
}

QString Engine::sequenceCheck(const QString &) const
{
    return {};
}

QString Engine::sequenceMove(const QString &) const
{
    return {};
}

void Engine::configureServer(QSqlDatabase &database, const ConnectionEntry &entry)
{
    const QStringList hostAndPort = entry.dbhostname.split(u':');
    database.setHostName(hostAndPort.first());
    if (hostAndPort.size() > 1)
        database.setPort(hostAndPort.at(1).toInt());
    database.setUserName(entry.dbusername);
    database.setPassword(entry.dbpassword);
    database.setDatabaseName(entry.databasename);
}

bool Engine::runAll(QSqlDatabase &database, const QStringList &statements, QSqlError &error)
{
    for (const QString &statement : statements) {
        QSqlQuery query(database);
        if (!query.exec(statement)) {
            error = query.lastError();
            return false;
        }
    }
    return true;
}

qint64 Engine::numberOption(const QSqlDatabase &database, const QString &option)
{
    const QRegularExpression pattern(option + QStringLiteral("=(\\d+)"));
    return pattern.match(database.connectOptions()).captured(1).toLongLong();
}
