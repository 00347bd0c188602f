#include "login/loginsequence.h"

#include "app/messages.h"
#include "db/connections.h"
#include "db/schema.h"
#include "db/session.h"

#include <QCoreApplication>

namespace {

/// Texts of this file in the translations.
QString tr(const char *text)
{
    return QCoreApplication::translate("LoginSequence", text);
}

bool upgrade(QWidget *parent)
{
    if (upgradeSchema(parent, mainConnection))
        return true;
    showWarning(parent, tr("Не удалось обновить базу данных. Подробности записаны в журнал."));
    return false;
}

bool prepareDatabase(QWidget *parent)
{
    switch (schemaState(parent, mainConnection)) {
    case SchemaState::Missing:
        if (createSchema(parent, mainConnection))
            return true;
        showWarning(parent,
                    tr("Не удалось создать базу данных целиком. Подробности записаны в журнал."));
        return false;
    case SchemaState::Older: {
        // The other workstations may still run the older program: Return alone does nothing.
        const QString question = tr("База данных имеет более старую версию, чем программа. "
                                    "При обновлении базы данных необходимо обновить Лавкор "
                                    "на всех компьютерах, работающих с ней.");
        return askQuestion(parent, question, {tr("Обновить"), tr("Отмена")}, 1, 1) == 0 &&
               upgrade(parent);
    }
    case SchemaState::Current:
        // A database made by another program may lack our indexes. Without the right to create
        // them the work is slower, but it must go on.
        if (!upgradeSchema(parent, mainConnection))
            showWarning(parent, tr("Не удалось дополнить базу данных. Работать можно, но поиск и "
                                   "проведение могут быть медленными. Подробности записаны в "
                                   "журнал."));
        return true;
    case SchemaState::Newer:
        showWarning(parent, tr("База данных имеет более новую версию, чем программа. "
                               "Пожалуйста, обновите Лавкор."));
        return false;
    case SchemaState::Unknown:
        return false;
    }
    return false;
}

bool setFirstPassword(QWidget *parent, const LoginRequest &request,
                      const NewPasswordQuestion &askNewPassword)
{
    const std::optional<QString> password = askNewPassword(request.login);
    return password && Session::instance().setPassword(parent, *password, mainConnection);
}

bool logIn(QWidget *parent, const LoginRequest &request, const NewPasswordQuestion &askNewPassword)
{
    switch (Session::instance().logIn(parent, request.login, request.password, mainConnection)) {
    case LoginResult::Accepted:
        return true;
    case LoginResult::PasswordNeeded:
        return setFirstPassword(parent, request, askNewPassword);
    case LoginResult::Refused:
        showWarning(parent, tr("Неверное имя пользователя или пароль. Если всё введено верно, "
                               "обратитесь к администратору: учётная запись может быть "
                               "отключена."));
        return false;
    case LoginResult::Failed:
        return false;
    }
    return false;
}

void warnOfTablesWithoutTransactions(QWidget *parent)
{
    const QStringList tables = nonTransactionalTables(parent, mainConnection);
    if (tables.isEmpty())
        return;
    showWarning(parent, tr("Эти таблицы базы данных нельзя вернуть в прежнее состояние, если "
                           "проведение прихода прервётся: %1. Работать можно, но сообщите "
                           "администратору базы данных.")
                            .arg(tables.join(QStringLiteral(", "))));
}

LoginStep takeSteps(QWidget *parent, const LoginRequest &request,
                    const NewPasswordQuestion &askNewPassword)
{
    if (!createConnection(parent, request.connection, mainConnection))
        return LoginStep::Connect;
    if (!prepareDatabase(parent))
        return LoginStep::PrepareDatabase;
    if (!logIn(parent, request, askNewPassword))
        return LoginStep::LogIn;
    if (!Session::instance().loadOptions(parent, mainConnection))
        return LoginStep::LoadOptions;
    warnOfTablesWithoutTransactions(parent);
    return LoginStep::Done;
}

} // namespace

LoginStep runLogin(QWidget *parent, const LoginRequest &request,
                   const NewPasswordQuestion &askNewPassword)
{
    Session::instance().reset();
    const LoginStep step = takeSteps(parent, request, askNewPassword);
    if (step != LoginStep::Done) {
        Session::instance().reset();
        removeConnection(mainConnection);
    }
    return step;
}
