#pragma once

#include <QList>
#include <QMap>
#include <QString>

#include <optional>

#include "db/currencies.h"
#include "db/rights.h"

class QWidget;

/// Who works at the station.
struct SessionUser
{
    qulonglong id = 0;
    QString login;
    QString name;
    int rights = 0;
};

enum class LoginResult {
    Accepted,
    PasswordNeeded, ///< the administrator of a fresh database, who must set a password
    NoPassword,     ///< a user who has none yet: the administrator gives the first one
    Refused,        ///< unknown login, wrong password or a disabled user
    Failed,         ///< the database did not answer
};

enum class FirstPassword {
    Set,
    AlreadySet, ///< somebody else was quicker; it stays as it is
    Failed,     ///< the database did not answer
};

/// What holds for the whole run: the user, the options and the currencies of the main database.
class Session
{
public:
    /// The process-wide session.
    static Session &instance();

    /// Forgets everything.
    void reset();

    /// Checks login and password against `users` and keeps the user on Accepted and
    /// PasswordNeeded.
    LoginResult logIn(QWidget *parent, const QString &login, const QString &password,
                      const QString &connectionName);

    /// Stores the first password of a user, only while there is none.
    static FirstPassword setFirstPassword(QWidget *parent, qulonglong userId,
                                          const QString &password, const QString &connectionName);

    /// Reads the enabled users who have no password yet, by login. False when that failed.
    static bool usersWithoutPassword(QWidget *parent, QList<SessionUser> &users,
                                     const QString &connectionName);

    const SessionUser &user() const;
    void setUser(const SessionUser &user);
    bool hasRight(Right right) const;

    /// Reads the table `options` and the currencies. False when a query failed.
    bool loadOptions(QWidget *parent, const QString &connectionName);

    /// Reads the options anew, as another workstation may have changed them; what is known stays
    /// when that fails.
    bool refreshOptions(QWidget *parent, const QString &connectionName);

    /// The value of an option, empty when there is none of this name.
    QString option(const QString &name) const;

    /// Reads the table of currencies in the order of ids; on failure the list is empty.
    bool loadCurrencies(const QString &connectionName);

    /// loadCurrencies() that tells when it fails. Goes before every conversion that is shown as a
    /// proposal or written: another workstation may have changed any rate or added a currency.
    bool refreshRates(QWidget *parent, const QString &connectionName);

    const QList<Currency> &currencies() const;

    /// An amount of the named currency in the main currency, unrounded. An unknown code leaves
    /// the amount unchanged and writes a debug line.
    double convertCurrencyToMain(double amount, const QString &code) const;

    /// An amount of the main currency in the named currency, unrounded; unknown code as above.
    /// A currency of value 0 gives infinity.
    double convertCurrencyFromMain(double amount, const QString &code) const;

    /// The symbol of the main currency: the first by id whose value is 1; empty when there is none.
    QString mainCurrencySymbol() const;

    /// The number for the next receipt: MAX(id)+1 of `incomereports`.
    std::optional<qulonglong> nextReportId(QWidget *parent, const QString &connectionName) const;

private:
    static LoginResult logInWithoutPassword(QWidget *parent, const SessionUser &user,
                                            const QString &password, const QString &connectionName);
    bool readCurrencies(QWidget *parent, const QString &connectionName);
    const Currency *findCurrency(const QString &code) const;

    SessionUser m_user;
    QMap<QString, QString> m_options;
    QList<Currency> m_currencies;
};
