#pragma once

#include <QString>

#include <functional>
#include <optional>

#include "app/settings.h"

class QWidget;

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

/// Takes all steps on the main connection. What goes wrong is told in boxes over the parent, and
/// then neither the connection nor a session is left. Returns the step that failed, or Done.
LoginStep runLogin(QWidget *parent, const LoginRequest &request,
                   const NewPasswordQuestion &askNewPassword);
