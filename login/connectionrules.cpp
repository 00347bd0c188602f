#include "login/connectionrules.h"

#include "db/engine.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

/// Texts of this file in the translations.
QString tr(const char *text)
{
    return QCoreApplication::translate("ConnectionRules", text);
}

QString hostFault(const QString &host)
{
    if (host.isEmpty())
        return tr("Укажите адрес сервера.");
    const QStringList parts = host.split(u':');
    bool isNumber = true;
    const int port = parts.size() == 2 ? parts.at(1).toInt(&isNumber) : 1;
    if (parts.size() > 2 || parts.first().isEmpty() || !isNumber || port < 1 || port > 65535)
        return tr("Укажите адрес сервера в виде «сервер» или «сервер:порт».");
    return {};
}

QString tlsFileFault(const QString &path)
{
    if (path.isEmpty())
        return {};
    if (path.contains(u';')) // it parts the options of the driver
        return tr("В имени файла не должно быть точки с запятой.");
    return QFileInfo(path).isFile() ? QString() : tr("Файл %1 не найден.").arg(path);
}

} // namespace

std::optional<ConnectionFault> connectionNameFault(const ConnectionEntry &entry,
                                                   const QStringList &takenNames)
{
    if (entry.name.isEmpty())
        return ConnectionFault{&ConnectionEntry::name, tr("Укажите название подключения.")};
    if (takenNames.contains(entry.name)) {
        return ConnectionFault{
            &ConnectionEntry::name,
            tr("Подключение «%1» уже есть. Укажите другое название.").arg(entry.name)};
    }
    return std::nullopt;
}

std::optional<ConnectionFault> connectionFault(const ConnectionEntry &entry)
{
    const Engine *engine = Engine::ofType(entry.dbtype);
    if (!engine)
        return ConnectionFault{&ConnectionEntry::dbtype, tr("Выберите вид базы данных.")};
    if (engine->isFile()) {
        if (entry.databasename.isEmpty())
            return ConnectionFault{&ConnectionEntry::databasename, tr("Укажите файл базы данных.")};
        return std::nullopt;
    }
    if (const QString fault = hostFault(entry.dbhostname); !fault.isEmpty())
        return ConnectionFault{&ConnectionEntry::dbhostname, fault};
    if (entry.dbusername.isEmpty()) {
        return ConnectionFault{&ConnectionEntry::dbusername,
                               tr("Укажите имя пользователя базы данных.")};
    }
    if (entry.databasename.isEmpty())
        return ConnectionFault{&ConnectionEntry::databasename, tr("Укажите имя базы данных.")};
    for (const auto field : {&ConnectionEntry::dbcacert, &ConnectionEntry::dbclientkey,
                             &ConnectionEntry::dbclientcert}) {
        if (const QString fault = tlsFileFault(entry.*field); !fault.isEmpty())
            return ConnectionFault{field, fault};
    }
    return std::nullopt;
}

ConnectionEntry tidyConnection(const ConnectionEntry &entry)
{
    ConnectionEntry tidy = entry;
    for (const auto field :
         {&ConnectionEntry::name, &ConnectionEntry::dbhostname, &ConnectionEntry::dbusername,
          &ConnectionEntry::databasename, &ConnectionEntry::dbcacert, &ConnectionEntry::dbclientkey,
          &ConnectionEntry::dbclientcert})
        tidy.*field = (tidy.*field).trimmed();
    const Engine *engine = Engine::ofType(entry.dbtype);
    if (engine && engine->isFile()) {
        tidy.dbhostname.clear();
        tidy.dbusername.clear();
        tidy.dbpassword.clear();
    }
    if (!engine || !engine->knowsTls()) {
        tidy.dbcacert.clear();
        tidy.dbclientkey.clear();
        tidy.dbclientcert.clear();
    }
    return tidy;
}
