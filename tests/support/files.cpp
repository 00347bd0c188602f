#include "tests/support/files.h"

#include "app/configdir.h"

#include <csignal>
#include <sys/resource.h>

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

FullDisk::FullDisk(quint64 bytes)
{
    std::signal(SIGXFSZ, SIG_IGN); // the write fails instead
    const rlimit limit{rlim_t(bytes), RLIM_INFINITY};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
        qFatal("no limit for files");
}

FullDisk::~FullDisk()
{
    const rlimit limit{RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
}
