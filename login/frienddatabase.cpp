#include "login/frienddatabase.h"

#include "app/messages.h"
#include "app/settings.h"
#include "db/connections.h"

#include <QCoreApplication>
#include <QDebug>

namespace {

struct FriendDatabase
{
    Q_DECLARE_TR_FUNCTIONS(FriendDatabase)
};

} // namespace

bool openFriendDatabase(QWidget *parent)
{
    const Settings &settings = Settings::instance();
    const QString name = settings.value(SettingsKey::FriendConnection);
    const ConnectionEntry *entry = name.isEmpty() ? nullptr : settings.findConnection(name);
    // SQLite would make an empty file of a mistyped name.
    if (entry && isDatabaseFileMissing(*entry)) {
        showWarning(parent, FriendDatabase::tr("Файл справочной базы данных не найден: %1")
                                .arg(entry->databasename));
        entry = nullptr;
    }
    if (entry && createConnection(parent, *entry, friendConnection))
        return true;
    qDebug() << "No friend connection.";
    return false;
}
