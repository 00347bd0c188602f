#include "catalogue/imagesync.h"

#include "db/connections.h"
#include "db/sqltext.h"
#include "images/background.h"
#include "images/imagefile.h"
#include "images/imagesstore.h"
#include "images/storerequests.h"

#include <QCryptographicHash>
#include <QSet>
#include <QWidget>

#include <algorithm>
#include <utility>

namespace {

constexpr qsizetype productsPerRead = 200; ///< the length of a statement is limited
constexpr int mostLanes = 3;               ///< products whose pictures are fetched at once
constexpr int mostFailuresInRow = 5;       ///< then the rest would fail, too

const QStringList pictureFolders = {originalsFolder, processedFolder, thumbsFolder};

QString inFolder(const QString &folder, const QString &name)
{
    return folder + u'/' + name;
}

/// Whether a name may be that of a file in a folder of the store.
bool isFileName(const QString &name)
{
    return isStoreName(name) && !name.contains(u'/');
}

} // namespace

ImageSync::ImageSync(QWidget *window)
    : BackgroundWork(window),
      m_window(window)
{
}

ImageSync::~ImageSync() = default;

QString ImageSync::result() const
{
    QStringList parts = {tr("Скопировано изображений: %1").arg(m_copied),
                         tr("уже были: %1").arg(m_present)};
    if (m_made > 0)
        parts += tr("восстановлено файлов: %1").arg(m_made);
    if (!m_failures.isEmpty())
        parts += tr("с ошибками: %1 (%2)").arg(m_failures.size()).arg(m_failures.last());
    if (state() == State::Cancelled)
        parts += tr("остановлено");
    else if (state() != State::Done)
        parts += tr("прервано: %1").arg(reason());
    return parts.join(QLatin1String(", ")) + u'.';
}

bool ImageSync::isComplete() const
{
    return state() == State::Done && m_failures.isEmpty();
}

void ImageSync::begin()
{
    advance(0, -1);
    const auto foreign = ImagesStoreSettings::read(StoreOwner::Reference);
    if (foreign.displayName() != ImagesStoreSettings::read().displayName()) {
        m_reference = std::make_unique<ImagesStore>(foreign);
        m_reference->setSilent(true);
    }
    getLogo(this, ImagesStore::instance(), [this](const QImage &logo, const QString &reason) {
        if (!reason.isEmpty())
            return fail(reason);
        m_logo = logo;
        list(ImagesStore::instance(), m_ours, pictureFolders, &ImageSync::listForeign);
    });
}

void ImageSync::list(ImagesStore &store, StoreFiles &files, const QStringList &folders,
                     void (ImageSync::*then)())
{
    listFolders(this, store, folders,
                [this, &files, then](const StoreFiles &found, const QString &reason) {
                    if (isOver())
                        return;
                    if (!reason.isEmpty())
                        return fail(reason);
                    files = found;
                    (this->*then)();
                });
}

void ImageSync::listForeign()
{
    if (m_reference)
        list(*m_reference, m_foreign, {originalsFolder}, &ImageSync::readProducts);
    else
        readProducts();
}

void ImageSync::readProducts()
{
    const CommandScope command;
    QList<SqlRow> rows;
    if (!QueryRows(m_window, "SELECT id, wuid FROM warehouse WHERE wuid<>'' ORDER BY id;", rows))
        return fail(tr("база данных не прочитана"));
    for (const SqlRow &row : std::as_const(rows)) {
        const QString wuid = row.at(1).toString();
        if (!wuid.trimmed().isEmpty())
            m_products += {row.at(0).toULongLong(), wuid};
    }
    readNextBatch();
}

/// Some hundred products in each turn of the event loop.
void ImageSync::readNextBatch()
{
    if (isOver())
        return;
    const CommandScope command;
    const QList<Product> products = m_products.mid(m_nextProduct, productsPerRead);
    if (products.isEmpty())
        return startLanes();
    m_nextProduct += products.size();
    QHash<QString, QList<WareImage>> foreign;
    QList<qulonglong> ids;
    for (const Product &product : products)
        ids += product.id;
    QList<WareImage> images;
    if (!readForeign(products, foreign) || !loadWareImages(m_window, ids, images, mainConnection))
        return fail(tr("база данных не прочитана"));
    QHash<qulonglong, QList<WareImage>> ours;
    for (const WareImage &image : std::as_const(images))
        ours[image.wareid] += image;
    for (const Product &product : products) {
        if (foreign.contains(product.wuid))
            planProduct(product, ours.value(product.id), foreign.value(product.wuid));
    }
    advance(m_nextProduct, m_products.size());
    QMetaObject::invokeMethod(this, &ImageSync::readNextBatch, Qt::QueuedConnection);
}

/// The pictures of the reference database by the identifiers of their products.
bool ImageSync::readForeign(const QList<Product> &products,
                            QHash<QString, QList<WareImage>> &images)
{
    QStringList wuids;
    for (const Product &product : products)
        wuids += sql::text(product.wuid);
    QList<SqlRow> rows;
    if (!QueryRows(m_window,
                   "SELECT id, wuid FROM warehouse WHERE wuid IN (" + wuids.join(u',') + ");", rows,
                   friendConnection))
        return false;
    QHash<qulonglong, QString> known;
    for (const SqlRow &row : std::as_const(rows))
        known.insert(row.at(0).toULongLong(), row.at(1).toString());
    QList<WareImage> found;
    if (!loadWareImages(m_window, known.keys(), found, friendConnection))
        return false;
    for (const WareImage &image : std::as_const(found))
        images[known.value(image.wareid)] += image;
    return true;
}

void ImageSync::planProduct(const Product &product, const QList<WareImage> &ours,
                            const QList<WareImage> &foreign)
{
    QHash<QString, WareImage> rows;
    for (const WareImage &image : ours)
        rows.insert(image.fileName, image);
    QSet<QString> seen;
    Jobs jobs;
    for (const WareImage &image : foreign) {
        if (seen.contains(image.fileName))
            continue;
        seen += image.fileName;
        const QString other = nameFor(product, image.fileName);
        const QString name = rows.contains(image.fileName) ? image.fileName : other;
        Job job = {.image = rows.value(name), .foreignName = image.fileName};
        job.hasRow = job.image.id != 0;
        if (!job.hasRow) {
            job.image = image;
            job.image.id = 0;
            job.image.wareid = product.id;
            job.image.fileName = name;
        } else {
            ++m_present;
        }
        if (!isComplete(job))
            jobs += job;
    }
    m_total += static_cast<int>(jobs.size());
    if (!jobs.isEmpty())
        m_jobs += jobs;
}

/// The name of a picture in our store: its own, unless another picture has that here. The other
/// name is always the same one, so that the next time the picture is known.
QString ImageSync::nameFor(const Product &product, const QString &foreignName) const
{
    const QString file = inFolder(originalsFolder, foreignName);
    const auto ours = m_ours.constFind(file);
    if (!m_reference || ours == m_ours.cend() || ours->size == m_foreign.value(file).size)
        return foreignName;
    const QByteArray hash = QCryptographicHash::hash((product.wuid + u'\n' + foreignName).toUtf8(),
                                                     QCryptographicHash::Sha1);
    return QString::fromLatin1(hash.toHex().left(12)) + u'-' + foreignName;
}

/// Whether nothing is left to be done.
bool ImageSync::isComplete(const Job &job) const
{
    return job.hasRow &&
           std::all_of(pictureFolders.begin(), pictureFolders.end(), [&](const QString &folder) {
               return m_ours.contains(inFolder(folder, job.image.fileName));
           });
}

void ImageSync::startLanes()
{
    advance(0, m_total);
    while (m_lanes < mostLanes && !m_jobs.isEmpty() && !isOver()) {
        ++m_lanes;
        next(std::make_shared<Jobs>(m_jobs.takeFirst()));
    }
    if (m_lanes == 0 && !isOver())
        succeed();
}

/// Goes on with the product, or with the next one.
void ImageSync::next(const std::shared_ptr<Jobs> &jobs)
{
    if (isOver())
        return;
    if (jobs->isEmpty() && !m_jobs.isEmpty())
        *jobs = m_jobs.takeFirst();
    if (!jobs->isEmpty())
        return fetch(jobs);
    if (--m_lanes == 0)
        succeed();
}

void ImageSync::fetch(const std::shared_ptr<Jobs> &jobs)
{
    const Job &job = jobs->first();
    if (!isFileName(job.image.fileName) || !isFileName(job.foreignName))
        return jobDone(jobs, tr("недопустимое имя файла: %1").arg(job.foreignName));
    const QString ours = inFolder(originalsFolder, job.image.fileName);
    const bool isOurs = !m_reference || m_ours.contains(ours);
    ImagesStore &from = isOurs ? ImagesStore::instance() : *m_reference;
    getFile(
        this, from, isOurs ? ours : inFolder(originalsFolder, job.foreignName),
        [this, jobs, isOurs](const FetchedFile &file) {
            if (!file.reason.isEmpty())
                jobDone(jobs, file.reason, !file.missing);
            else if (!isOver())
                render(jobs, file.bytes, !isOurs);
        },
        job.image.id);
}

void ImageSync::render(const std::shared_ptr<Jobs> &jobs, const QByteArray &original, bool isNew)
{
    runInBackground(
        this,
        [original, edit = jobs->first().image.edit, options = imageOptions(), logo = m_logo] {
            return renderImage(original, edit, options, logo);
        },
        [this, jobs, original, isNew](const ImportedImage &image) {
            const QString name = jobs->first().image.fileName;
            if (image.fault != ImageFault::None)
                return jobDone(jobs, importFaultText(image.fault, name));
            QList<FileContents> files;
            if (isNew)
                files += {inFolder(originalsFolder, name), original};
            for (const auto &[folder, bytes] : {std::pair(processedFolder, image.processed),
                                                std::pair(thumbsFolder, image.thumb)}) {
                if (!m_ours.contains(inFolder(folder, name)))
                    files += {inFolder(folder, name), bytes};
            }
            store(jobs, files);
        });
}

void ImageSync::store(const std::shared_ptr<Jobs> &jobs, const QList<FileContents> &files)
{
    if (isOver())
        return;
    if (files.isEmpty())
        return write(jobs);
    const int count = jobs->first().hasRow ? static_cast<int>(files.size()) : 0;
    putFiles(this, ImagesStore::instance(), files, [this, jobs, count](const QString &reason) {
        if (!reason.isEmpty())
            return jobDone(jobs, reason, true);
        m_made += count;
        write(jobs);
    });
}

/// The row comes last: a picture whose files are not there is worse than none.
void ImageSync::write(const std::shared_ptr<Jobs> &jobs)
{
    if (isOver())
        return;
    const CommandScope command;
    const Job &job = jobs->first();
    if (!job.hasRow) {
        if (!addWareImage(m_window, job.image))
            return fail(tr("база данных не записала изображение"));
        ++m_copied;
    }
    jobDone(jobs);
}

void ImageSync::jobDone(const std::shared_ptr<Jobs> &jobs, const QString &failure, bool isOfStore)
{
    if (isOver())
        return;
    m_failuresInRow = isOfStore ? m_failuresInRow + 1 : 0;
    if (!failure.isEmpty())
        m_failures += failure;
    if (m_failuresInRow == mostFailuresInRow)
        return fail(failure);
    jobs->removeFirst();
    advance(++m_done, m_total);
    QMetaObject::invokeMethod(
        this, [this, jobs] { next(jobs); }, Qt::QueuedConnection); // not one within the other
}
