#include "tests/support/files.h"

#include "app/configdir.h"

#include <QFile>

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("Cannot write %s", qPrintable(path));
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString logText()
{
    return QString::fromUtf8(readFile(configDirPath() + "/Lavkor_log.txt"));
}
