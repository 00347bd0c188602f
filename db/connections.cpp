#include "db/connections.h"

#include "app/configdir.h"
#include "app/logging.h"
#include "app/messages.h"
#include "app/settings.h"
#include "db/connectionstate.h"
#include "db/dialect.h"
#include "db/sqlitefunctions.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QThread>
#include <QVariant>

#include <sqlite3.h>

#include <map>
#include <set>
#include <vector>

namespace {

/// Texts of this file in the translations.
QString tr(const char *text)
{
    return QCoreApplication::translate("Connections", text);
}

std::map<QString, ConnectionState> &states()
{
    static std::map<QString, ConnectionState> all;
    return all;
}

/// How deep the event loops were nested at the start of each open scope.
std::vector<int> &commandLevels()
{
    static std::vector<int> levels;
    return levels;
}

void beginCommandAnew()
{
    for (auto &[name, state] : states()) {
        state.givenUp.clear();
        state.told.clear();
    }
}

/// Keeps what went wrong at the opening.
void noteOpeningFailure(ConnectionState &state, Dialect dialect, const QSqlError &error)
{
    state.lastError = error.text();
    state.cause = causeOf(dialect, error);
    // The libraries of the servers have many codes for it, or none. Our own refusals have no type.
    if (dialect != Dialect::Sqlite && state.cause == FailureCause::Other &&
        error.type() != QSqlError::UnknownError)
        state.cause = FailureCause::Unreachable;
}

/// What to tell of a connection that cannot be opened for the first time.
QString openingSentence(FailureCause cause)
{
    switch (cause) {
    case FailureCause::Unreachable:
        return tr(
            "Сервер базы данных не отвечает или отказал в соединении. Проверьте сеть и "
            "сервер, а в подключении — адрес, имя базы, имя пользователя, пароль и файлы TLS.");
    case FailureCause::NoRight:
        return tr("Сервер не принимает имя и пароль пользователя базы данных или не пускает его в "
                  "эту базу. Исправьте подключение.");
    default:
        return sentenceOf(cause);
    }
}

std::set<QString> &registeredNames()
{
    static std::set<QString> names;
    return names;
}

void addServerConnection(QSqlDatabase &database, const ConnectionEntry &entry)
{
    const QStringList hostAndPort = entry.dbhostname.split(u':');
    database.setHostName(hostAndPort.first());
    if (hostAndPort.size() > 1)
        database.setPort(hostAndPort.at(1).toInt());
    database.setUserName(entry.dbusername);
    database.setPassword(entry.dbpassword);
    database.setDatabaseName(entry.databasename);
}

QString tlsOptions(const ConnectionEntry &entry)
{
    const QPair<const char *, const QString &> keys[] = {{"SSL_KEY=", entry.dbclientkey},
                                                         {"SSL_CERT=", entry.dbclientcert},
                                                         {"SSL_CA=", entry.dbcacert}};
    QStringList options;
    for (const auto &[key, value] : keys) {
        if (!value.isEmpty())
            options += QLatin1String(key) + value;
    }
    return options.join(u';');
}

QString sqlitePath(const ConnectionEntry &entry)
{
    return entry.databasename.contains(u'/') ? entry.databasename
                                             : configDirPath() + u'/' + entry.databasename;
}

/// Whether MySQL's client library itself reports it, not the server. Which one of them a broken
/// connection gets depends on the cause and on TLS.
bool isMySqlClientError(int code)
{
    return code >= 2000 && code < 3000;
}

/// What belongs to the connection and is gone when it closes. The first failure ends it.
QStringList setupStatements(Dialect dialect)
{
    switch (dialect) {
    case Dialect::Sqlite:
        // A posting of thousands of lines touches pages all over the file: they must fit into the
        // cache, and its COMMIT must not copy them back at once. checkpointWhenIdle() does that.
        return {QStringLiteral("PRAGMA busy_timeout=5000"),
                QStringLiteral("PRAGMA foreign_keys=OFF"),
                QStringLiteral("PRAGMA cache_size=-49152"),
                QStringLiteral("PRAGMA wal_autocheckpoint=16384"),
                // Is it a database at all? Opening alone does not look into the file.
                QStringLiteral("SELECT COUNT(*) FROM sqlite_master")};
    case Dialect::MySql:
        // A backslash in a name must stay a backslash and must not end the text; next-key locks
        // keep other stations from adding lines to a list that is being posted.
        return {QStringLiteral("SET NAMES utf8mb4"),
                QStringLiteral("SET SESSION sql_mode='STRICT_TRANS_TABLES,NO_BACKSLASH_ESCAPES,"
                               "NO_ENGINE_SUBSTITUTION'"),
                QStringLiteral("SET SESSION TRANSACTION ISOLATION LEVEL REPEATABLE READ"),
                QStringLiteral("SET SESSION innodb_lock_wait_timeout=10"),
                QStringLiteral("SET SESSION lock_wait_timeout=10")};
    case Dialect::PostgreSql:
        return {QStringLiteral("SET standard_conforming_strings=on"),
                QStringLiteral("SET client_min_messages=warning"),
                QStringLiteral("SET lock_timeout='10s'"),
                QStringLiteral("SET statement_timeout='120s'"),
                // A station that has lost its power must not hold the list for ever.
                QStringLiteral("SET idle_in_transaction_session_timeout='180s'"),
                QStringLiteral("SET tcp_keepalives_idle=30"),
                QStringLiteral("SET tcp_keepalives_interval=10"),
                QStringLiteral("SET tcp_keepalives_count=3"),
                QStringLiteral("SET SESSION CHARACTERISTICS AS TRANSACTION ISOLATION LEVEL READ "
                               "COMMITTED")};
    }
    return {};
}

/// Runs a statement of the set-up, which may be repeated at will. A cluster's node now and then
/// refuses the first statement of a new session as if it were part of a refused transaction.
bool runSetup(QSqlQuery &query, const QString &statement)
{
    constexpr int maxTries = 3;
    constexpr int deadlock = 1213;
    for (int tries = 1; !query.exec(statement); ++tries) {
        if (tries == maxTries || query.lastError().nativeErrorCode().toInt() != deadlock)
            return false;
    }
    return true;
}

/// Whether the connection is as secret as its TLS keys ask for: with a server that offers no TLS
/// MySQL's client library goes on in clear text without a word.
bool isSecretEnough(const QSqlDatabase &database)
{
    if (!database.connectOptions().contains(QLatin1String("SSL_")))
        return true;
    QSqlQuery query(database);
    return runSetup(query, QStringLiteral("SHOW STATUS LIKE 'Ssl_cipher'")) && query.next() &&
           !query.value(1).toString().isEmpty();
}

/// In a cluster the node may lag behind the others: a line just added there, or the receipt that
/// this station posted before it was sent to another node, would not be seen. Reads, UPDATE and
/// DELETE wait until the node has caught up.
bool waitForCluster(QSqlDatabase &database, QSqlError &error)
{
    // A server that does not know the variable is no node of a cluster.
    QSqlQuery query(database);
    if (!runSetup(query, QStringLiteral("SHOW VARIABLES LIKE 'wsrep_on'")) || !query.next() ||
        query.value(1).toString() != QLatin1String("ON"))
        return true;
    if (runSetup(query, QStringLiteral("SET SESSION wsrep_sync_wait=3")))
        return true;
    error = query.lastError();
    return false;
}

bool setUpSession(QSqlDatabase &database, const QString &connectionName, QSqlError &error)
{
    const auto refuse = [&error](const QString &text) {
        error = QSqlError(text, {}, QSqlError::UnknownError);
        return false;
    };
    const Dialect dialect = dialectOf(connectionName);
    if (dialect == Dialect::MySql && !isSecretEnough(database))
        return refuse(tr("Сервер не шифрует соединение, хотя для него указаны ключи TLS."));
    for (const QString &statement : setupStatements(dialect)) {
        QSqlQuery query(database);
        if (!runSetup(query, statement)) {
            error = query.lastError();
            return false;
        }
    }
    if (dialect == Dialect::MySql) {
        // A station that has lost its power must not hold the list for ever. Only MariaDB knows it.
        QSqlQuery query(database);
        runSetup(query, QStringLiteral("SET SESSION idle_transaction_timeout=180"));
        return waitForCluster(database, error);
    }
    if (dialect != Dialect::Sqlite)
        return true;
    // No statement may be active while functions are registered.
    if (!registerSqliteFunctions(database))
        return refuse(tr("Функции SQLite недоступны."));
    // A read-only file, or one that another program holds, can be used without it.
    QSqlQuery journal(database);
    if (!journal.exec(QStringLiteral("PRAGMA journal_mode=WAL")))
        debugLog(QStringLiteral("No write-ahead log: ") + journal.lastError().text());
    return true;
}

} // namespace

CommandScope::CommandScope()
{
    std::vector<int> &levels = commandLevels();
    const int level = QThread::currentThread()->loopLevel();
    if (levels.empty() || level > levels.back())
        beginCommandAnew();
    levels.push_back(level);
}

CommandScope::~CommandScope()
{
    commandLevels().pop_back();
    if (commandLevels().empty())
        beginCommandAnew();
}

ConnectionState &connectionState(const QString &connectionName)
{
    return states()[connectionName];
}

FailureCause failureCause(const QSqlDatabase &database, const QSqlError &error)
{
    if (error.type() == QSqlError::NoError)
        return FailureCause::None;
    const FailureCause cause = causeOf(dialectOf(database.connectionName()), error);
    return cause == FailureCause::Other && isConnectionLost(database, error)
               ? FailureCause::Unreachable
               : cause;
}

bool askToReconnect(QWidget *parent, const QString &connectionName, const QString &error)
{
    ConnectionState &state = connectionState(connectionName);
    if (!parent || !state.givenUp.isEmpty())
        return false;
    const QString text = tr("Ошибка открытия базы данных: %1").arg(error);
    if (askQuestion(parent, text, {tr("Повторить"), tr("Отмена")}, 0, 1) == 0)
        return true;
    if (!commandLevels().empty())
        state.givenUp = error.isEmpty() ? text : error;
    return false;
}

bool shallTell(ConnectionState &state, FailureCause cause)
{
    return cause == FailureCause::Other || commandLevels().empty() ||
           state.told.insert(cause).second;
}

qint64 answerLimit(const QSqlDatabase &database)
{
    static const QRegularExpression option(
        QStringLiteral("(MYSQL_OPT_READ_TIMEOUT|tcp_user_timeout)=(\\d+)"));
    const QRegularExpressionMatch match = option.match(database.connectOptions());
    constexpr qint64 second = 1000;
    return match.captured(2).toLongLong() * (match.captured(1).startsWith(u'M') ? second : 1);
}

bool isConnectionLost(const QSqlDatabase &database, const QSqlError &error)
{
    const QString code = error.nativeErrorCode();
    switch (dialectOf(database.connectionName())) {
    case Dialect::Sqlite:
        return false;
    case Dialect::MySql: {
        // Shutting down; connection killed or timed out.
        static const std::set<int> lostCodes = {1053, 1152, 1184, 1927, 4031};
        return isMySqlClientError(code.toInt()) || lostCodes.count(code.toInt()) > 0;
    }
    case Dialect::PostgreSql:
        return !database.isOpen() || code.startsWith(QLatin1String("08")) ||
               code.startsWith(QLatin1String("57P0"));
    }
    return false;
}

bool mayHaveRun(const QSqlDatabase &database, const QSqlError &error)
{
    const QString code = error.nativeErrorCode();
    switch (dialectOf(database.connectionName())) {
    case Dialect::Sqlite:
        return false;
    case Dialect::MySql: {
        // Not when there was no connection yet, or none any more, to send it through.
        static const std::set<int> unsentCodes = {2002, 2003, 2005, 2006};
        return isMySqlClientError(code.toInt()) && unsentCodes.count(code.toInt()) == 0;
    }
    case Dialect::PostgreSql:
        // With a state the server has refused or ended the statement itself.
        return code.isEmpty() || code.startsWith(QLatin1String("08"));
    }
    return false;
}

bool endsTransaction(const QSqlDatabase &database, const QSqlError &error)
{
    if (isConnectionLost(database, error))
        return true;
    switch (dialectOf(database.connectionName())) {
    case Dialect::Sqlite: {
        const QVariant handle = database.driver()->handle();
        if (qstrcmp(handle.typeName(), "sqlite3*") != 0)
            return true;
        auto *sqlite = *static_cast<sqlite3 *const *>(handle.constData());
        return !sqlite || sqlite3_get_autocommit(sqlite) != 0;
    }
    case Dialect::MySql: {
        // A deadlock (or a refused certification in a cluster) and a full lock table roll
        // everything back; a lock wait time-out may, depending on the server's settings.
        const int code = error.nativeErrorCode().toInt();
        return code == 1213 || code == 1205 || code == 1206 || code == 1047;
    }
    case Dialect::PostgreSql:
        return true;
    }
    return true;
}

bool createConnection(QWidget *parent, const ConnectionEntry &entry, const QString &connectionName)
{
    removeConnection(connectionName);
    const std::optional<Dialect> dialect = dialectOfDbType(entry.dbtype);
    if (!dialect) {
        showWarning(parent, tr("Ошибка создания соединения: %1")
                                .arg(tr("неизвестный вид базы данных «%1». Исправьте подключение.")
                                         .arg(entry.dbtype)));
        return false;
    }
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(driverName(*dialect), connectionName);
        if (dialect == Dialect::MySql) {
            addServerConnection(database, entry);
            const QString options = tlsOptions(entry);
            debugLog(QStringLiteral("MySQL connect options: ") + options);
            // An unreachable server must not hold the window for minutes.
            database.setConnectOptions(
                (options.isEmpty() ? QString() : options + u';') +
                QStringLiteral("MYSQL_OPT_CONNECT_TIMEOUT=10;MYSQL_OPT_READ_TIMEOUT=120;"
                               "MYSQL_OPT_WRITE_TIMEOUT=120;"
                               // Count rows that an UPDATE met, as the other databases do.
                               "CLIENT_FOUND_ROWS=1"));
        } else if (dialect == Dialect::PostgreSql) {
            addServerConnection(database, entry);
            // A server that has gone without a word is given up after as long as on MySQL.
            database.setConnectOptions(
                QStringLiteral("connect_timeout=10;keepalives=1;keepalives_idle=30;"
                               "keepalives_interval=10;keepalives_count=3;"
                               "tcp_user_timeout=120000"));
        } else {
            ensureConfigDir();
            database.setDatabaseName(sqlitePath(entry));
        }
        if (!database.isValid())
            debugLog(QStringLiteral("addDatabase: db not valid. ") + database.lastError().text());
    }
    connectionState(connectionName) = {};
    if (openConnection(connectionName)) {
        registeredNames().insert(connectionName);
        return true;
    }
    const ConnectionState state = connectionState(connectionName);
    removeConnection(connectionName);
    const QString text = tr("Ошибка создания соединения: %1");
    // SQLite's own words are the same for everything that stands in its way.
    QString reason = dialect == Dialect::Sqlite ? databaseFileFault(entry) : QString();
    if (reason.isEmpty())
        reason = openingSentence(state.cause);
    if (reason.isEmpty())
        showWarning(parent, text.arg(state.lastError));
    else
        showFailure(parent, text.arg(reason), state.lastError);
    return false;
}

bool isDatabaseFileMissing(const ConnectionEntry &entry)
{
    return dialectOfDbType(entry.dbtype) == Dialect::Sqlite && !QFile::exists(sqlitePath(entry));
}

QString databaseFileFault(const ConnectionEntry &entry)
{
    const QFileInfo file(sqlitePath(entry));
    const QFileInfo directory(file.absolutePath());
    const bool roomBeside = directory.isDir() && directory.isWritable(); // the log lies there too
    if (!file.exists())
        return roomBeside
                   ? QString()
                   : tr("В каталоге %1 нельзя создать файл базы данных.").arg(directory.filePath());
    if (roomBeside && file.isWritable())
        return {};
    return tr("Файл базы данных %1 нельзя изменить. Проверьте права доступа к файлу и каталогу.")
        .arg(file.filePath());
}

DatabaseFailure databaseWriteFault(const ConnectionEntry &entry, const QString &connectionName)
{
    if (dialectOfDbType(entry.dbtype) != Dialect::Sqlite || !openConnection(connectionName))
        return {};
    QSqlQuery query(QSqlDatabase::database(connectionName, false));
    // A real write, taken back: BEGIN alone succeeds on a file that can only be read.
    bool written = query.exec(QStringLiteral("BEGIN IMMEDIATE")) &&
                   query.exec(QStringLiteral("PRAGMA user_version")) && query.next();
    if (written) {
        const QString version = query.value(0).toString();
        written = query.exec(QStringLiteral("PRAGMA user_version=") + version);
    }
    const QSqlError error = query.lastError();
    query.exec(QStringLiteral("ROLLBACK"));
    if (written)
        return {};
    const FailureCause cause = causeOf(Dialect::Sqlite, error);
    if (cause == FailureCause::Locked || cause == FailureCause::Other)
        return {};
    const QString fault = databaseFileFault(entry);
    return {.text = fault.isEmpty() ? sentenceOf(cause) : fault,
            .details = error.text(),
            .general = true};
}

bool ensureConnectionOpen(QWidget *parent, const QString &connectionName)
{
    while (!openConnection(connectionName)) {
        if (!askToReconnect(parent, connectionName, connectionState(connectionName).lastError))
            return false;
    }
    return true;
}

void removeConnection(const QString &connectionName)
{
    if (QSqlDatabase::contains(connectionName)) {
        QSqlDatabase::database(connectionName, false).close();
        QSqlDatabase::removeDatabase(connectionName);
    }
    registeredNames().erase(connectionName);
    states().erase(connectionName);
}

bool isConnectionRegistered(const QString &connectionName)
{
    return registeredNames().count(connectionName) > 0;
}

int idleCount(const QString &connectionName)
{
    return connectionState(connectionName).idle;
}

void countIdle(const QString &connectionName)
{
    ++connectionState(connectionName).idle;
}

void checkpointWhenIdle(const QString &connectionName)
{
    const QSqlDatabase database = QSqlDatabase::database(connectionName, false);
    if (!database.isOpen() || dialectOf(connectionName) != Dialect::Sqlite)
        return;
    // Other stations are not waited for: what they still read stays in the log until later.
    QSqlQuery query(database);
    query.exec(QStringLiteral("PRAGMA wal_checkpoint(PASSIVE)"));
}

bool openConnection(const QString &connectionName)
{
    QSqlDatabase database = QSqlDatabase::database(connectionName, false);
    if (database.isOpen())
        return true;
    ConnectionState &state = connectionState(connectionName);
    if (!state.givenUp.isEmpty()) {
        state.lastError = state.givenUp;
        state.cause = FailureCause::Unreachable;
        return false;
    }
    if (!database.isValid()) {
        state.lastError = database.lastError().text();
        state.cause = FailureCause::Other;
        return false;
    }
    const Dialect dialect = dialectOf(connectionName);
    database.close(); // an unusable handle of a lost server must not be kept
    if (!database.open()) {
        noteOpeningFailure(state, dialect, database.lastError());
        return false;
    }
    QSqlError error;
    if (!setUpSession(database, connectionName, error)) {
        noteOpeningFailure(state, dialect, error);
        database.close();
        return false;
    }
    return true;
}

void closeConnection(const QString &connectionName)
{
    QSqlDatabase::database(connectionName, false).close();
}
