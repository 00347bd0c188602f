#pragma once

#include <QByteArray>
#include <QString>

/// Files below a local directory. Every name has been looked at by isStoreName().
class LocalFolder
{
public:
    enum class Outcome { Done, Missing, Failed };

    explicit LocalFolder(QString root);

    QString filePath(const QString &name) const;

    /// Reads a whole file.
    Outcome read(const QString &name, QByteArray &bytes, QString &reason) const;

    /// Writes a file, its folders too where they are missing. Whoever reads it meanwhile finds the
    /// former one or the new one, whole.
    Outcome write(const QString &name, const QByteArray &bytes, QString &reason) const;

    /// Deletes a file; Missing when there is none.
    Outcome remove(const QString &name, QString &reason) const;

private:
    QString m_root;
};
