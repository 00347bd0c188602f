#include "login/loginsequence.h"

#include "app/messages.h"
#include "db/auditlog.h"
#include "db/connections.h"
#include "db/query.h"
#include "db/schema.h"
#include "db/session.h"

#include <QCoreApplication>
#include <QScopeGuard>

namespace {

/// Texts of this file in the translations.
QString tr(const char *text)
{
    return QCoreApplication::translate("LoginSequence", text);
}

using SchemaWork = bool (*)(QWidget *, const QString &, SchemaFaults *);

/// Runs the work; all that it could not make is told in one box.
bool workOnSchema(QWidget *parent, SchemaWork work, const QString &failure)
{
    SchemaFaults faults;
    if (work(parent, mainConnection, &faults))
        return true;
    QStringList parts = {failure};
    if (faults.count > 0)
        parts += tr("Не выполнено операций: %1.").arg(faults.count);
    if (!faults.sentence.isEmpty())
        parts += faults.sentence;
    parts += tr("Подробности записаны в журнал.");
    showFailure(parent, parts.join(u' '), faults.words.join(QStringLiteral("\n\n")));
    return false;
}

bool askToUpgrade(QWidget *parent)
{
    // The other workstations may still run the older program: Return alone does nothing.
    const QString question = tr("База данных имеет более старую версию, чем программа. "
                                "При обновлении базы данных необходимо обновить Лавкор "
                                "на всех компьютерах, работающих с ней.");
    return askQuestion(parent, question, {tr("Обновить"), tr("Отмена")}, 1, 1) == 0;
}

bool prepareDatabase(QWidget *parent, const ConnectionEntry &entry)
{
    const QString notCreated = tr("Не удалось создать базу данных целиком.");
    const QString notUpgraded = tr("Не удалось обновить базу данных.");
    switch (schemaState(parent, mainConnection)) {
    case SchemaState::Missing:
        return workOnSchema(parent, createSchema, notCreated);
    case SchemaState::Foreign: {
        const QString question = tr(
            "В базе данных «%1» (подключение «%2») уже есть таблицы другой программы. Создать в "
            "ней таблицы Лавкора? Чужим таблицам с такими же именами будут добавлены столбцы, их "
            "строки останутся.");
        // The shipped rows would write over theirs.
        return askQuestion(parent, question.arg(entry.databasename, entry.name),
                           {tr("Создать"), tr("Отмена")}, 1, 1) == 0 &&
               workOnSchema(parent, upgradeSchema, notCreated);
    }
    case SchemaState::Unrecorded:
        return askToUpgrade(parent) && workOnSchema(parent, adoptSchema, notUpgraded);
    case SchemaState::Older:
        return askToUpgrade(parent) && workOnSchema(parent, upgradeSchema, notUpgraded);
    case SchemaState::Current:
        // A database made by another program may lack our indexes. Without the right to create
        // them the work is slower, but it must go on.
        workOnSchema(parent, upgradeSchema,
                     tr("Не удалось дополнить базу данных. Работать можно, но поиск и проведение "
                        "могут быть медленными."));
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
    return password &&
           giveFirstPassword(parent, Session::instance().user(), *password, mainConnection);
}

bool logIn(QWidget *parent, const LoginRequest &request, const NewPasswordQuestion &askNewPassword)
{
    switch (Session::instance().logIn(parent, request.login, request.password, mainConnection)) {
    case LoginResult::Accepted:
        return true;
    case LoginResult::PasswordNeeded:
        return setFirstPassword(parent, request, askNewPassword);
    case LoginResult::NoPassword:
        showWarning(parent,
                    tr("У пользователя «%1» ещё нет пароля. Первый пароль даёт администратор: он "
                       "вводит в этом окне свои логин и пароль и нажимает «Пароли пользователей…».")
                        .arg(request.login));
        return false;
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

LoginStep takeStepsToUser(QWidget *parent, const LoginRequest &request,
                          const NewPasswordQuestion &askNewPassword)
{
    if (!createConnection(parent, request.connection, mainConnection))
        return LoginStep::Connect;
    // Not only at the first scan.
    const DatabaseFailure fault = databaseWriteFault(request.connection, mainConnection);
    if (!fault.text.isEmpty()) {
        showFailure(parent, fault.text, fault.details);
        return LoginStep::Connect;
    }
    if (!prepareDatabase(parent, request.connection))
        return LoginStep::PrepareDatabase;
    return logIn(parent, request, askNewPassword) ? LoginStep::Done : LoginStep::LogIn;
}

LoginStep takeSteps(QWidget *parent, const LoginRequest &request,
                    const NewPasswordQuestion &askNewPassword)
{
    const LoginStep step = takeStepsToUser(parent, request, askNewPassword);
    if (step != LoginStep::Done)
        return step;
    if (!Session::instance().loadOptions(parent, mainConnection))
        return LoginStep::LoadOptions;
    warnOfTablesWithoutTransactions(parent);
    return LoginStep::Done;
}

} // namespace

bool giveFirstPassword(QWidget *parent, const SessionUser &user, const QString &password,
                       const QString &connectionName)
{
    if (user.id != Session::instance().user().id && !mayDo(parent, Command::ManageUsers))
        return false;
    const FirstPassword result =
        Session::setFirstPassword(parent, user.id, password, connectionName);
    if (result == FirstPassword::AlreadySet)
        showWarning(parent, tr("Пароль пользователя «%1» тем временем задали на другом рабочем "
                               "месте. Действует тот пароль, введённый здесь не сохранён.")
                                .arg(user.login));
    if (result == FirstPassword::Set)
        noteAction(
            tr("изменён пользователь № %1 «%2»: ").arg(QString::number(user.id), user.login) +
            notedSecret(tr("пароль")));
    return result == FirstPassword::Set;
}

void givePasswords(QWidget *parent, const LoginRequest &request,
                   const NewPasswordQuestion &askNewPassword, const PasswordWork &work)
{
    const CommandScope command;
    Session::instance().reset();
    const auto close = qScopeGuard([] {
        Session::instance().reset();
        removeConnection(mainConnection);
    });
    if (takeStepsToUser(parent, request, askNewPassword) != LoginStep::Done)
        return;
    if (Session::instance().hasRight(Right::ManageUsers))
        work();
    else
        showWarning(parent, tr("Пароли даёт тот, у кого есть право управлять пользователями. У "
                               "пользователя «%1» этого права нет.")
                                .arg(request.login));
}

LoginStep runLogin(QWidget *parent, const LoginRequest &request,
                   const NewPasswordQuestion &askNewPassword)
{
    const CommandScope command;
    Session::instance().reset();
    const LoginStep step = takeSteps(parent, request, askNewPassword);
    if (step != LoginStep::Done) {
        Session::instance().reset();
        removeConnection(mainConnection);
    }
    return step;
}
