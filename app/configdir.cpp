#include "app/configdir.h"

#include <QDir>
#include <QFile>

QString configDirPath()
{
    return QDir::homePath() + QStringLiteral("/.lavkor");
}

bool ensureConfigDir()
{
    const QString path = configDirPath();
    if (QDir(path).exists())
        return true;
    if (!QDir().mkpath(path))
        return false;
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return true;
}

QString settingsFilePath()
{
    return configDirPath() + QStringLiteral("/lavkor.settings");
}
