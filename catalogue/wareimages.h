#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

#include "db/query.h"
#include "db/rowstate.h"
#include "images/imageprocessing.h"

class QWidget;

/// The pictures of products: rows of `images`. Their files have the same name in each folder of the
/// store. Failures are told over the parent; then nothing was written.
struct WareImage
{
    qulonglong id = 0;
    qulonglong wareid = 0; ///< 0: of a product that is not saved yet
    int ordernum = 0;
    QString fileName = {};
    QString title = {};
    ImageEdit edit = {};
};

/// A name for a new file that nothing else has, and that says nothing of the user's.
QString newImageFileName(const QString &extension);

/// The names of a picture's files from the root of the store.
QStringList storedFilesOf(const QString &fileName);

/// Deletes the files of pictures whose rows are gone, but for those that other rows have, here or
/// in the reference database, or may have as far as is known. Done later; the store tells of
/// failures.
void removeStoredFiles(const QStringList &fileNames);

/// The pictures of a product in their order. False when that failed.
bool loadWareImages(QWidget *parent, qulonglong wareid, QList<WareImage> &images);

/// The pictures of some hundred products of any database, each product's in their order.
bool loadWareImages(QWidget *parent, const QList<qulonglong> &wareids, QList<WareImage> &images,
                    const QString &connectionName);

/// One picture.
LoadState loadWareImage(QWidget *parent, qulonglong id, WareImage &image);

/// The statement for the file name of a product's first picture.
QString firstImageQuery(qulonglong wareid);

/// Adds a picture behind the others of its product, at once with any that another station adds.
/// Returns its id; of a file that the product has already, that of its row. isUnknown: without an
/// id, whether the row may be there all the same.
std::optional<qulonglong> addWareImage(QWidget *parent, const WareImage &image,
                                       bool *isUnknown = nullptr);

/// Makes a picture change places with the one in front of it or behind it; nothing happens at the
/// end of the list.
bool moveWareImage(QWidget *parent, qulonglong id, bool forward);

/// Deletes pictures and closes the gaps, and then their files as far as no other row has them. With
/// only: those that still belong to that product.
bool removeWareImages(QWidget *parent, const QList<qulonglong> &ids,
                      std::optional<qulonglong> only = {});

/// Deletes what cards of new products have left that ended more than a day ago without being able
/// to do so themselves.
bool removeLeftImages(QWidget *parent);

/// Writes the title of a picture and how it is made of its original, unless it is no more as it was
/// seen: then that is NotFound, and now holds what it is instead, or the id 0 when it is gone.
WriteState writeWareImage(QWidget *parent, const WareImage &seen, const WareImage &wanted,
                          WareImage &now);
