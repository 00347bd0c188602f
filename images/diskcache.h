#pragma once

#include <QByteArray>
#include <QString>

/// Copies of small files on disk, bounded in size: those not used for longest go first. They are
/// copies, so that every failure just means that nothing is kept.
class DiskCache
{
public:
    /// subject: whose files these are; another subject's are never found.
    DiskCache(QString directory, const QString &subject, qint64 largest = 200LL * 1024 * 1024);

    /// Empty when there is none, or when the copy is older than a day.
    QByteArray find(const QString &name);

    void insert(const QString &name, const QByteArray &bytes);
    void remove(const QString &name);

private:
    QString pathOf(const QString &name) const;
    void trim();

    QString m_directory;
    QString m_subject;
    qint64 m_largest;
    qint64 m_size = -1; ///< of all copies, about; -1: not looked at yet
};
