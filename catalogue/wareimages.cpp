#include "catalogue/wareimages.h"

#include "db/connections.h"
#include "db/sqltext.h"
#include "db/transaction.h"
#include "images/imagesstore.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QSet>
#include <QUuid>

#include <algorithm>
#include <utility>

namespace {

struct WareImages
{
    Q_DECLARE_TR_FUNCTIONS(WareImages)
};

constexpr int firstEditColumn = 6;

QString selectImages()
{
    QString text = QStringLiteral("SELECT id,wareid,ordernum,filename,description,angle");
    for (const ImageEditField &column : imageEditFields)
        text += u',' + QLatin1String(column.name);
    return text + ",timestamp FROM images WHERE ";
}

WareImage imageOf(const SqlRow &row)
{
    WareImage image = {.id = row.at(0).toULongLong(),
                       .wareid = row.at(1).toULongLong(),
                       .ordernum = row.at(2).toInt(),
                       .fileName = row.at(3).toString(),
                       .title = row.at(4).toString(),
                       .edit = {.angle = row.at(5).toDouble()}};
    int place = firstEditColumn;
    for (const ImageEditField &column : imageEditFields)
        column.member(image.edit) = row.at(place++).toInt();
    image.edit = tidied(image.edit);
    image.version = row.at(place).toString();
    return image;
}

/// Databases differ in where rows without a number stand.
void sort(QList<WareImage> &images)
{
    std::sort(images.begin(), images.end(), [](const WareImage &one, const WareImage &other) {
        return std::pair(one.ordernum, one.id) < std::pair(other.ordernum, other.id);
    });
}

QString ofWare(qulonglong wareid)
{
    return "wareid=" + sql::quotedId(wareid);
}

QString withId(qulonglong id)
{
    return "id=" + sql::quotedId(id);
}

/// Reads rows and keeps other stations from adding or changing any of them.
bool readLocked(const QString &condition, QList<WareImage> &images)
{
    QList<SqlRow> rows;
    if (!readLockedTable("images", selectImages() + condition, rows))
        return false;
    images.clear();
    for (const SqlRow &row : std::as_const(rows))
        images += imageOf(row);
    sort(images);
    return true;
}

bool writeOrder(qulonglong id, int ordernum)
{
    return QueryExec(nullptr, "UPDATE images SET ordernum=" + sql::integer(ordernum) + " WHERE " +
                                  withId(id) + u';');
}

/// The product of a picture, read under no lock; a picture never changes it but from 0.
LoadState findProduct(qulonglong id, qulonglong &wareid)
{
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, "SELECT wareid FROM images WHERE " + withId(id) + u';', rows))
        return LoadState::Failed;
    if (rows.isEmpty())
        return LoadState::NotFound;
    wareid = rows.first().first().toULongLong();
    return LoadState::Loaded;
}

bool run(QWidget *parent, const std::function<TransactionStep()> &body, bool *inDoubt = nullptr)
{
    const TransactionResult result = runInTransaction(
        parent, mainConnection, body, {.inDoubt = inDoubt, .needs = {Command::EditProducts}});
    if (result.isDone())
        return true;
    if (result.state != TransactionState::Refused && !result.givenUp)
        showDatabaseFailure(parent, result.failure, WareImages::tr("Не записано."));
    return false;
}

/// Swaps the numbers of two neighbours; where numbers repeat, all get new ones.
TransactionStep swapPlaces(QList<WareImage> images, qsizetype one, qsizetype other)
{
    QList<int> numbers;
    for (const WareImage &image : std::as_const(images))
        numbers += image.ordernum;
    if (std::adjacent_find(numbers.begin(), numbers.end()) != numbers.end())
        std::generate(numbers.begin(), numbers.end(), [next = 0]() mutable { return ++next; });
    images.swapItemsAt(one, other);
    for (qsizetype i = 0; i < images.size(); ++i) {
        if (images.at(i).ordernum != numbers.at(i) && !writeOrder(images.at(i).id, numbers.at(i)))
            return TransactionStep::Fail;
    }
    return TransactionStep::Commit;
}

/// Deletes rows of one product, all of which are given; those behind them close up.
bool removeRows(const QList<WareImage> &images, const QList<qulonglong> &ids, QStringList &files)
{
    QStringList gone;
    int last = 0; // of what stays
    for (const WareImage &image : images) {
        if (ids.contains(image.id)) {
            gone += sql::quotedId(image.id);
            files += image.fileName;
        } else {
            last = image.ordernum;
        }
    }
    if (!gone.isEmpty() &&
        !QueryExec(nullptr, "DELETE FROM images WHERE id IN (" + gone.join(u',') + ");"))
        return false;
    // The last first: the numbers before it still hold then.
    return std::all_of(images.crbegin(), images.crend(), [&](const WareImage &image) {
        return !ids.contains(image.id) || image.ordernum >= last ||
               QueryExec(nullptr, "UPDATE images SET ordernum=ordernum-1 WHERE ordernum>" +
                                      sql::integer(image.ordernum) + " AND " +
                                      ofWare(image.wareid) + u';');
    });
}

/// Those that rows still have: two databases may share a store, and so may two rows a file. False
/// when that can't be told.
bool findUsed(const QStringList &fileNames, QSet<QString> &used)
{
    QStringList names;
    for (const QString &name : fileNames)
        names += sql::text(name);
    for (const QString &connection : {mainConnection, friendConnection}) {
        QList<SqlRow> rows;
        if (!isConnectionRegistered(connection))
            continue;
        if (!QueryRows(nullptr,
                       "SELECT DISTINCT filename FROM images WHERE filename IN (" +
                           names.join(u',') + ");",
                       rows, connection))
            return false;
        for (const SqlRow &row : std::as_const(rows))
            used += row.first().toString();
    }
    return true;
}

} // namespace

QString newImageFileName(const QString &extension)
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces) + u'.' + extension;
}

QStringList storedFilesOf(const QString &fileName)
{
    QStringList files;
    for (const QString &folder : {originalsFolder, processedFolder, thumbsFolder})
        files += folder + u'/' + fileName;
    return files;
}

void removeStoredFiles(const QStringList &fileNames)
{
    QSet<QString> used = {QString()};
    if (fileNames.isEmpty() || !findUsed(fileNames, used))
        return;
    for (const QString &name : fileNames) {
        if (used.contains(name))
            continue;
        for (const QString &file : storedFilesOf(name))
            ImagesStore::instance().remove(file);
    }
}

bool loadWareImages(QWidget *parent, qulonglong wareid, QList<WareImage> &images)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, selectImages() + ofWare(wareid) + u';', rows))
        return false;
    images.clear();
    for (const SqlRow &row : std::as_const(rows))
        images += imageOf(row);
    sort(images);
    return true;
}

bool loadWareImages(QWidget *parent, const QList<qulonglong> &wareids, QList<WareImage> &images,
                    const QString &connectionName)
{
    images.clear();
    if (wareids.isEmpty())
        return true;
    QStringList ids;
    for (const qulonglong wareid : wareids)
        ids += sql::quotedId(wareid);
    QList<SqlRow> rows;
    if (!QueryRows(parent, selectImages() + "wareid IN (" + ids.join(u',') + ");", rows,
                   connectionName))
        return false;
    for (const SqlRow &row : std::as_const(rows))
        images += imageOf(row);
    sort(images);
    return true;
}

LoadState loadWareImage(QWidget *parent, qulonglong id, WareImage &image)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, selectImages() + withId(id) + u';', rows))
        return LoadState::Failed;
    if (rows.isEmpty())
        return LoadState::NotFound;
    image = imageOf(rows.first());
    return LoadState::Loaded;
}

QString firstImageQuery(qulonglong wareid)
{
    return "SELECT filename,timestamp FROM images WHERE " + ofWare(wareid) +
           " ORDER BY COALESCE(ordernum,0), id LIMIT 1;";
}

std::optional<qulonglong> addWareImage(QWidget *parent, const WareImage &image, bool *isUnknown)
{
    qulonglong id = 0;
    bool inDoubt = false;
    const auto add = [&] {
        QList<WareImage> others;
        if (!readLocked(ofWare(image.wareid), others))
            return TransactionStep::Fail;
        const auto former = std::find_if(others.begin(), others.end(), [&](const WareImage &one) {
            return one.fileName == image.fileName;
        });
        if (former != others.end()) { // a COMMIT without an answer, or another station
            id = former->id;
            return TransactionStep::Done;
        }
        inDoubt = false;
        ImageEdit edit = image.edit;
        QString columns;
        QString values;
        for (const ImageEditField &column : imageEditFields) {
            columns += u',' + QLatin1String(column.name);
            values += u',' + sql::integer(column.member(edit));
        }
        const int last = others.isEmpty() ? 0 : others.last().ordernum;
        QSqlQuery query;
        if (!QueryExec(nullptr,
                       "INSERT INTO images(wareid,ordernum,filename,description,angle" + columns +
                           ",timestamp) VALUES(" + sql::quotedId(image.wareid) + u',' +
                           sql::integer(last + 1) + u',' + sql::text(image.fileName) + u',' +
                           sql::text(image.title) + ",'" + sql::exact(edit.angle) + u'\'' + values +
                           u',' + sql::now() + ");",
                       query))
            return TransactionStep::Fail;
        id = query.lastInsertId().toULongLong();
        return TransactionStep::Commit;
    };
    if (run(parent, add, &inDoubt))
        return id;
    if (isUnknown)
        *isUnknown = inDoubt;
    return {};
}

bool moveWareImage(QWidget *parent, qulonglong id, bool forward)
{
    bool inDoubt = false;
    qsizetype before = -1;
    return run(
        parent,
        [&] {
            qulonglong wareid = 0;
            QList<WareImage> images;
            const LoadState found = findProduct(id, wareid);
            if (found == LoadState::NotFound)
                return TransactionStep::Done;
            if (found == LoadState::Failed || !readLocked(ofWare(wareid), images))
                return TransactionStep::Fail;
            const auto place = std::find_if(images.begin(), images.end(),
                                            [&](const WareImage &one) { return one.id == id; }) -
                               images.begin();
            if (std::exchange(inDoubt, false) && place != before)
                return TransactionStep::Done; // the former COMMIT went through
            before = place;
            const qsizetype other = forward ? place - 1 : place + 1;
            if (place == images.size() || other < 0 || other >= images.size())
                return TransactionStep::Done;
            return swapPlaces(images, place, other);
        },
        &inDoubt);
}

bool removeWareImages(QWidget *parent, const QList<qulonglong> &ids, std::optional<qulonglong> only)
{
    QStringList files;
    QStringList list;
    for (const qulonglong id : ids)
        list += sql::quotedId(id);
    bool inDoubt = false;
    const auto remove = [&] {
        if (!std::exchange(inDoubt, false))
            files.clear();
        const qsizetype before = files.size();
        QList<SqlRow> products;
        if (!QueryRows(nullptr,
                       "SELECT DISTINCT wareid FROM images WHERE id IN (" + list.join(u',') + ");",
                       products))
            return TransactionStep::Fail;
        for (const SqlRow &product : std::as_const(products)) {
            const qulonglong wareid = product.first().toULongLong();
            QList<WareImage> images;
            if (only.value_or(wareid) == wareid &&
                (!readLocked(ofWare(wareid), images) || !removeRows(images, ids, files)))
                return TransactionStep::Fail;
        }
        return files.size() > before ? TransactionStep::Commit : TransactionStep::Done;
    };
    if (!run(parent, remove, &inDoubt))
        return false;
    removeStoredFiles(files);
    return true;
}

bool removeLeftImages(QWidget *parent)
{
    const QString yesterday =
        QDateTime::currentDateTime().addDays(-1).toString("yyyy-MM-dd hh:mm:ss");
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT id FROM images WHERE wareid='0' AND timestamp<" + sql::text(yesterday) +
                       u';',
                   rows))
        return false;
    QList<qulonglong> ids;
    for (const SqlRow &row : std::as_const(rows))
        ids += row.first().toULongLong();
    return ids.isEmpty() || removeWareImages(parent, ids, 0);
}

WriteState writeWareImage(QWidget *parent, const WareImage &seen, const WareImage &wanted,
                          WareImage &now)
{
    const auto isSame = [&](const WareImage &other) {
        return now.title == other.title && now.edit == other.edit;
    };
    bool isOther = false;
    bool inDoubt = false;
    const auto write = [&] {
        QList<WareImage> images;
        if (!readLocked(withId(seen.id), images))
            return TransactionStep::Fail;
        now = images.isEmpty() ? WareImage() : images.first();
        isOther = images.isEmpty() || (!isSame(seen) && !isSame(wanted));
        if (isOther)
            return TransactionStep::Refuse;
        ImageEdit edit = wanted.edit;
        QString text = "UPDATE images SET description=" + sql::text(wanted.title) + ",angle='" +
                       sql::exact(edit.angle) + u'\'';
        for (const ImageEditField &column : imageEditFields)
            text += u',' + QLatin1String(column.name) + u'=' + sql::integer(column.member(edit));
        return QueryExec(nullptr,
                         text + ",timestamp=" + sql::now() + " WHERE " + withId(seen.id) + u';')
                   ? TransactionStep::Commit
                   : TransactionStep::Fail;
    };
    if (run(parent, write, &inDoubt)) // done twice it is the same
        return WriteState::Written;
    return isOther ? WriteState::NotFound : WriteState::Failed;
}
