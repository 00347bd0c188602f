#include "images/diskcache.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <utility>

namespace {

/// Another station may have changed the file.
constexpr qint64 longestAge = 24 * 60 * 60;

} // namespace

DiskCache::DiskCache(QString directory, const QString &subject, qint64 largest)
    : m_directory(std::move(directory)),
      m_subject(subject),
      m_largest(largest)
{
    QDir().mkpath(m_directory);
    QFile::setPermissions(m_directory, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QByteArray DiskCache::find(const QString &name)
{
    QFile file(pathOf(name));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QFileInfo info(file);
    if (info.lastModified().secsTo(QDateTime::currentDateTime()) > longestAge) {
        file.close();
        remove(name);
        return {};
    }
    return file.readAll();
}

void DiskCache::insert(const QString &name, const QByteArray &bytes)
{
    if (bytes.size() > m_largest / 10)
        return;
    remove(name);
    // Not through a temporary file that is flushed: a copy that breaks is no picture and is fetched
    // again.
    QFile file(pathOf(name));
    if (!file.open(QIODevice::WriteOnly))
        return;
    if (file.write(bytes) != bytes.size() || !file.flush()) {
        file.remove();
        return;
    }
    if (m_size >= 0)
        m_size += bytes.size();
    if (m_size < 0 || m_size > m_largest)
        trim();
}

void DiskCache::remove(const QString &name)
{
    const QFileInfo info(pathOf(name));
    if (info.exists() && QFile::remove(info.filePath()) && m_size >= 0)
        m_size -= info.size();
}

QString DiskCache::pathOf(const QString &name) const
{
    const QByteArray key = (m_subject + u'\n' + name).toUtf8();
    const QByteArray hash = QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex();
    return m_directory + u'/' + QString::fromLatin1(hash);
}

/// Down to nine tenths, so that not every file that comes has to look at all of them.
void DiskCache::trim()
{
    const QFileInfoList files = QDir(m_directory).entryInfoList(QDir::Files, QDir::Time);
    m_size = 0;
    const qint64 bound = m_largest - m_largest / 10;
    for (const QFileInfo &file : files) { // the newest first
        if (m_size + file.size() > bound)
            QFile::remove(file.filePath());
        else
            m_size += file.size();
    }
}
