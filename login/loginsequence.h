#pragma once

#include <QString>

#include <functional>
#include <optional>

#include "app/settings.h"

class QWidget;
struct SessionUser;

/// The steps from a chosen connection to a logged-in user.
enum class LoginStep {
    Connect,
    PrepareDatabase, ///< create or upgrade the schema
    LogIn,           ///< login, password, a first password
    LoadOptions,
    Done,
};

struct LoginRequest
{
    ConnectionEntry connection;
    QString login;
    QString password;
};

/// Asks the user of that login for a first password; nothing when the user gives up.
using NewPasswordQuestion = std::function<std::optional<QString>(const QString &login)>;

/// Stores the first password of a user on a connection; who was not the first is told. False when
/// it was not stored.
bool giveFirstPassword(QWidget *parent, const SessionUser &user, const QString &password,
                       const QString &connectionName);

/// Has somebody choose among the users who have no password yet and enter one, as often as he
/// likes.
using PasswordWork = std::function<void()>;

/// Logs in on the main connection whoever may manage users, lets him do the work there, and closes
/// the connection again. What stands in the way is told in boxes over the parent.
void givePasswords(QWidget *parent, const LoginRequest &request,
                   const NewPasswordQuestion &askNewPassword, const PasswordWork &work);

/// Takes all steps on the main connection. What goes wrong is told in boxes over the parent, and
/// then neither the connection nor a session is left. Returns the step that failed, or Done.
LoginStep runLogin(QWidget *parent, const LoginRequest &request,
                   const NewPasswordQuestion &askNewPassword);
