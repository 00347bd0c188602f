#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QDirIterator>
#include <QList>
#include <QString>

/// A file of a store.
struct StoreFile
{
    QString name; ///< within its folder
    qint64 size = -1;
    QDateTime modified = {};
};

/// No picture is larger, and what is read stands in memory.
inline constexpr qint64 largestFile = 64LL * 1024 * 1024;

/// Files below a local directory. Every name has been looked at by isStoreName().
class LocalFolder
{
public:
    enum class Outcome {
        Done,
        Missing,
        Refused, ///< this one file
        Failed,  ///< the folder does not work
    };

    explicit LocalFolder(QString root);

    QString filePath(const QString &name) const;

    /// Reads a whole file.
    Outcome read(const QString &name, QByteArray &bytes, QString &reason) const;

    /// Writes a file, its folders too where they are missing. Whoever reads it meanwhile finds the
    /// former one or the new one, whole.
    Outcome write(const QString &name, const QByteArray &bytes, QString &reason) const;

    /// Deletes a file; Missing when there is none.
    Outcome remove(const QString &name, QString &reason) const;

    /// Whether a folder can be listed, as one can that is not there.
    bool canList(const QString &folder, QString &reason) const;

private:
    QString m_root;
};

/// Lists the files of a directory some hundred at a time.
class LocalLister
{
public:
    explicit LocalLister(const QString &directory);

    /// Adds the next files; false when there are no more.
    bool step(QList<StoreFile> &files);

private:
    QDirIterator m_iterator;
};
