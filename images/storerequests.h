#pragma once

#include <QByteArray>
#include <QHash>
#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

#include "images/localfolder.h"

class ImagesStore;
class QObject;

/// Requests to a store that are answered by a call. None comes from within the request, and none
/// when the context is gone by then.

/// A file with what is to stand in it.
struct FileContents
{
    QString name; ///< from the root of the store
    QByteArray bytes;
};

/// Files by their names from the root.
using StoreFiles = QHash<QString, StoreFile>;

/// What became of a get().
struct FetchedFile
{
    QByteArray bytes = {};
    QString reason = {};  ///< why there are none; empty: there are
    bool missing = false; ///< the store has no such file
};

/// Writes files that belong together. reason: why they are not all there, empty when they are.
void putFiles(QObject *context, ImagesStore &store, const QList<FileContents> &files,
              const std::function<void(const QString &reason)> &done);

/// Reads a file.
void getFile(QObject *context, ImagesStore &store, const QString &name,
             const std::function<void(const FetchedFile &file)> &done, qulonglong imageId = 0);

/// Lists the files of folders. reason: why they are not known, empty when they are.
void listFolders(QObject *context, ImagesStore &store, const QStringList &folders,
                 const std::function<void(const StoreFiles &files, const QString &reason)> &done);

/// Deletes a file. reason: why it is still there, empty when it is not.
void removeFile(QObject *context, ImagesStore &store, const QString &name,
                const std::function<void(const QString &reason)> &done);

/// The folder and the name of the picture that the shop puts on its pictures, a PNG.
inline const QString logoFolder = QStringLiteral("logo");
inline const QString logoFile = QStringLiteral("logo/logo.png");

/// Reads the logo, which is null when the shop has none. reason: why that is not known.
void getLogo(QObject *context, ImagesStore &store,
             const std::function<void(const QImage &logo, const QString &reason)> &done);
