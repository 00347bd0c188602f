#include "db/connections.h"

#include "app/configdir.h"
#include "app/logging.h"
#include "app/messages.h"
#include "app/settings.h"
#include "db/connectionstate.h"
#include "db/engine.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>

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

bool askToReconnect(QWidget *parent, const QString &connectionName, const QString &error)
{
    ConnectionState &state = connectionState(connectionName);
    if (!parent || !state.givenUp.isEmpty())
        return false;
    const QString text =
        (connectionName == friendConnection ? tr("Ошибка открытия справочной базы данных: %1")
                                            : tr("Ошибка открытия базы данных: %1"))
            .arg(error);
    if (askQuestion(parent, text, {tr("Повторить"), tr("Отмена")}, 0, 1) == 0)
        return true;
    if (!commandLevels().empty())
        state.givenUp = error.isEmpty() ? text : error;
    return false;
}

bool shallTell(ConnectionState &state, FailureCause cause)
{
    return cause == FailureCause::Other || cause == FailureCause::BadSigns ||
           commandLevels().empty() || state.told.insert(cause).second;
}

bool createConnection(QWidget *parent, const ConnectionEntry &entry, const QString &connectionName)
{
    removeConnection(connectionName);
    const Engine *engine = Engine::ofType(entry.dbtype);
    if (!engine) {
        showWarning(parent, tr("Ошибка создания соединения: %1")
                                .arg(tr("неизвестный вид базы данных «%1». Исправьте подключение.")
                                         .arg(entry.dbtype)));
        return false;
    }
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(engine->driver(), connectionName);
        engine->configure(database, entry);
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
    QString reason = engine->isFile() ? databaseFileFault(entry) : QString();
    if (reason.isEmpty())
        reason = openingSentence(state.cause);
    if (reason.isEmpty())
        showWarning(parent, text.arg(state.lastError));
    else
        showFailure(parent, text.arg(reason), state.lastError);
    return false;
}

QString databaseFilePath(const ConnectionEntry &entry)
{
    return entry.databasename.contains(u'/') ? entry.databasename
                                             : configDirPath() + u'/' + entry.databasename;
}

bool isDatabaseFileMissing(const ConnectionEntry &entry)
{
    const Engine *engine = Engine::ofType(entry.dbtype);
    return engine && engine->isFile() && !QFile::exists(databaseFilePath(entry));
}

QString databaseFileFault(const ConnectionEntry &entry)
{
    const QFileInfo file(databaseFilePath(entry));
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
    const Engine &engine = Engine::of(connectionName);
    if (!engine.isFile() || !openConnection(connectionName))
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
    const FailureCause cause = engine.causeOf(error);
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
    const QString statement = Engine::of(connectionName).idleStatement();
    if (!statement.isEmpty() && database.isOpen())
        QSqlQuery(database).exec(statement);
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
    const Engine &engine = Engine::of(connectionName);
    const auto fail = [&](const QSqlError &error) {
        state.lastError = error.text();
        state.cause = engine.openingCause(error);
        database.close(); // an unusable handle of a lost server must not be kept
        return false;
    };
    database.close();
    QSqlError error;
    if (!database.open())
        return fail(database.lastError());
    return engine.setUpSession(database, error) || fail(error);
}

void closeConnection(const QString &connectionName)
{
    QSqlDatabase::database(connectionName, false).close();
}
