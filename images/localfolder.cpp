#include "images/localfolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace {

struct LocalFolderTexts
{
    Q_DECLARE_TR_FUNCTIONS(LocalFolder)
};

/// What it means that a file is not to be seen.
LocalFolder::Outcome notSeen(const QString &path, QString &reason)
{
    const bool isThere = ::access(QFile::encodeName(path).constData(), F_OK) == 0;
    const bool isMissing = isThere || errno == ENOENT || errno == ENOTDIR;
    reason = isMissing ? LocalFolderTexts::tr("Файла нет")
                       : QString::fromLocal8Bit(std::strerror(errno));
    return isMissing ? LocalFolder::Outcome::Missing : LocalFolder::Outcome::Failed;
}

} // namespace

LocalFolder::LocalFolder(QString root)
    : m_root(std::move(root))
{
}

QString LocalFolder::filePath(const QString &name) const
{
    return m_root + u'/' + name;
}

LocalFolder::Outcome LocalFolder::read(const QString &name, QByteArray &bytes,
                                       QString &reason) const
{
    const QFileInfo info(filePath(name));
    if (!info.exists())
        return notSeen(info.filePath(), reason);
    QFile file(info.filePath());
    if (!info.isFile()) { // a pipe would never end
        reason = LocalFolderTexts::tr("Это не файл");
        return Outcome::Refused;
    } else if (info.size() > largestFile) {
        reason = LocalFolderTexts::tr("Файл слишком велик");
        return Outcome::Refused;
    } else if (!file.open(QIODevice::ReadOnly)) {
        reason = file.errorString();
    } else {
        bytes = file.readAll();
        if (file.error() == QFileDevice::NoError)
            return Outcome::Done;
        reason = file.errorString();
    }
    return Outcome::Failed;
}

LocalFolder::Outcome LocalFolder::write(const QString &name, const QByteArray &bytes,
                                        QString &reason) const
{
    const QString path = filePath(name);
    const QString folder = QFileInfo(path).path();
    if (!QDir().mkpath(folder)) {
        reason = LocalFolderTexts::tr("Не удалось создать папку %1").arg(folder);
        return Outcome::Failed;
    }
    // Not a QSaveFile: it waits until the disk has written everything, and the window with it.
    QFile file(folder + QStringLiteral("/.") + QUuid::createUuid().toString(QUuid::WithoutBraces) +
               QStringLiteral(".part"));
    if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        // The last of it may be what finds no room on the disk.
        const bool isWhole = file.write(bytes) == bytes.size() && file.flush();
        // Qt has no word for a disk that has taken a part of it.
        reason = file.error() == QFileDevice::NoError ? LocalFolderTexts::tr("на диске нет места")
                                                      : file.errorString();
        file.close();
        if (isWhole && std::rename(QFile::encodeName(file.fileName()).constData(),
                                   QFile::encodeName(path).constData()) == 0)
            return Outcome::Done;
        if (isWhole)
            reason = QString::fromLocal8Bit(std::strerror(errno));
        file.remove();
    } else {
        reason = file.errorString();
    }
    return Outcome::Failed;
}

LocalFolder::Outcome LocalFolder::remove(const QString &name, QString &reason) const
{
    QFile file(filePath(name));
    if (file.remove())
        return Outcome::Done;
    if (!QFileInfo::exists(file.fileName()))
        return notSeen(file.fileName(), reason);
    reason = file.errorString();
    return Outcome::Failed;
}

bool LocalFolder::canList(const QString &folder, QString &reason) const
{
    if (::access(QFile::encodeName(filePath(folder)).constData(), R_OK | X_OK) == 0 ||
        errno == ENOENT)
        return true;
    reason = QString::fromLocal8Bit(std::strerror(errno));
    return false;
}

LocalLister::LocalLister(const QString &directory)
    : m_iterator(directory, QDir::Files)
{
}

bool LocalLister::step(QList<StoreFile> &files)
{
    for (int i = 0; i < 500; ++i) {
        if (!m_iterator.hasNext())
            return false;
        m_iterator.next();
        const QFileInfo info = m_iterator.fileInfo();
        files += StoreFile{info.fileName(), info.size(), info.lastModified()};
    }
    return true;
}
