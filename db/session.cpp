#include "db/session.h"

#include "app/logging.h"
#include "app/messages.h"
#include "db/passwords.h"
#include "db/query.h"
#include "db/sqltext.h"

namespace {

constexpr qulonglong shippedAdministrator = 1;

const QString withoutPassword = QStringLiteral("(password IS NULL OR password='')");

} // namespace

Session &Session::instance()
{
    static Session session;
    return session;
}

void Session::reset()
{
    m_user = {};
    m_options.clear();
    m_currencies.clear();
}

LoginResult Session::logIn(QWidget *parent, const QString &login, const QString &password,
                           const QString &connectionName)
{
    QSqlQuery query;
    if (!QueryExecPrepared(parent,
                           "SELECT id, login, password, name, rights, enabled FROM users WHERE "
                           "login=:login ORDER BY id;",
                           query, {{":login", login}}, connectionName))
        return LoginResult::Failed;
    SessionUser user;
    QString stored;
    bool found = false;
    while (query.next()) {
        // A server's collation may take "Admin" or "admin " for "admin".
        if (found || query.value(1).toString() != login || query.value(5).toInt() == 0)
            continue;
        found = true;
        user = {.id = query.value(0).toULongLong(),
                .login = login,
                .name = query.value(3).toString(),
                .rights = query.value(4).toInt()};
        stored = query.value(2).toString();
    }
    if (!readToEnd(parent, query, connectionName))
        return LoginResult::Failed;
    if (!found)
        return LoginResult::Refused;
    const LoginResult result = stored.isEmpty()
                                   ? logInWithoutPassword(parent, user, password, connectionName)
                               : verifyPassword(password, stored) ? LoginResult::Accepted
                                                                  : LoginResult::Refused;
    if (result == LoginResult::Accepted || result == LoginResult::PasswordNeeded)
        m_user = user;
    return result;
}

/// Whoever comes first could take over an account without a password. Only on a fresh database, of
/// which nobody has a password yet, there is nobody who could give one.
LoginResult Session::logInWithoutPassword(QWidget *parent, const SessionUser &user,
                                          const QString &password, const QString &connectionName)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT COUNT(id) FROM users WHERE NOT " + withoutPassword + u';', rows,
                   connectionName) ||
        rows.isEmpty())
        return LoginResult::Failed;
    const bool fresh = rows.first().first().toInt() == 0;
    if (!fresh || user.id != shippedAdministrator ||
        (user.rights & static_cast<int>(Right::ManageUsers)) == 0)
        return LoginResult::NoPassword;
    return password.isEmpty() ? LoginResult::PasswordNeeded : LoginResult::Refused;
}

FirstPassword Session::setFirstPassword(QWidget *parent, qulonglong userId, const QString &password,
                                        const QString &connectionName)
{
    const QString stored = hashPassword(password);
    QSqlQuery query;
    if (!QueryExecPrepared(parent,
                           "UPDATE users SET password=:password WHERE id=:id AND " +
                               withoutPassword + u';',
                           query, {{":password", stored}, {":id", userId}}, connectionName))
        return FirstPassword::Failed;
    if (query.numRowsAffected() > 0)
        return FirstPassword::Set;
    // Our own first try may have done it before its connection was lost.
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT password FROM users WHERE id='" + sql::id(userId) + "';", rows,
                   connectionName))
        return FirstPassword::Failed;
    return !rows.isEmpty() && rows.first().first().toString() == stored ? FirstPassword::Set
                                                                        : FirstPassword::AlreadySet;
}

bool Session::usersWithoutPassword(QWidget *parent, QList<SessionUser> &users,
                                   const QString &connectionName)
{
    users.clear();
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT id, login, name, rights FROM users WHERE enabled<>0 AND login<>'' AND " +
                       withoutPassword + " ORDER BY login, id;",
                   rows, connectionName))
        return false;
    for (const SqlRow &row : std::as_const(rows)) {
        users.append({.id = row.at(0).toULongLong(),
                      .login = row.at(1).toString(),
                      .name = row.at(2).toString(),
                      .rights = row.at(3).toInt()});
    }
    return true;
}

const SessionUser &Session::user() const
{
    return m_user;
}

void Session::setUser(const SessionUser &user)
{
    m_user = user;
}

bool Session::hasRight(Right right) const
{
    return (m_user.rights & static_cast<int>(right)) != 0;
}

bool Session::loadOptions(QWidget *parent, const QString &connectionName)
{
    m_options.clear();
    return refreshOptions(parent, connectionName) && refreshRates(parent, connectionName);
}

bool Session::refreshOptions(QWidget *parent, const QString &connectionName)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT name, value FROM options ORDER BY id;", rows, connectionName))
        return false;
    m_options.clear();
    for (const SqlRow &row : std::as_const(rows)) {
        if (!m_options.contains(row.at(0).toString()))
            m_options.insert(row.at(0).toString(), row.at(1).toString());
    }
    return true;
}

QString Session::option(const QString &name) const
{
    return m_options.value(name);
}

bool Session::loadCurrencies(const QString &connectionName)
{
    return readCurrencies(nullptr, connectionName);
}

bool Session::readCurrencies(QWidget *parent, const QString &connectionName)
{
    m_currencies.clear();
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT id, c_code, symbol, value FROM currencies ORDER BY id;", rows,
                   connectionName))
        return false;
    for (const SqlRow &row : std::as_const(rows)) {
        m_currencies.append({.id = row.at(0).toULongLong(),
                             .code = row.at(1).toString(),
                             .symbol = row.at(2).toString(),
                             .value = row.at(3).toDouble()});
    }
    return true;
}

bool Session::refreshRates(QWidget *parent, const QString &connectionName)
{
    return readCurrencies(parent, connectionName);
}

const QList<Currency> &Session::currencies() const
{
    return m_currencies;
}

const Currency *Session::findCurrency(const QString &code) const
{
    for (const Currency &currency : m_currencies) {
        if (currency.code == code)
            return &currency;
    }
    return nullptr;
}

double Session::convertCurrencyToMain(double amount, const QString &code) const
{
    if (const Currency *currency = findCurrency(code))
        return amount * currency->value;
    debugLog("convertCurrencyToMain: Not found currency " + code);
    return amount;
}

double Session::convertCurrencyFromMain(double amount, const QString &code) const
{
    if (const Currency *currency = findCurrency(code))
        return amount / currency->value;
    debugLog("convertCurrencyFromMain: Not found currency " + code);
    return amount;
}

QString Session::mainCurrencySymbol() const
{
    for (const Currency &currency : m_currencies) {
        if (currency.value == 1)
            return currency.symbol;
    }
    return {};
}

std::optional<qulonglong> Session::nextReportId(QWidget *parent,
                                                const QString &connectionName) const
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, "SELECT MAX(id) FROM incomereports;", rows, connectionName) ||
        rows.isEmpty())
        return std::nullopt;
    return rows.first().first().toULongLong() + 1;
}
