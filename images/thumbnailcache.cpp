#include "images/thumbnailcache.h"

#include "app/configdir.h"
#include "images/imagesstore.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QImageReader>
#include <QThreadPool>

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr qsizetype memoryBound = 48LL * 1024 * 1024;
constexpr auto fetchDelay = 80ms; ///< in which a list may scroll on
constexpr qint64 mostPixels = 64'000'000;

qsizetype bytesOf(const QPixmap &pixmap)
{
    return qsizetype(pixmap.width()) * pixmap.height() * 4;
}

/// Runs in a worker thread.
QImage decoded(QByteArray bytes, const QSize &largest)
{
    QBuffer buffer(&bytes);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (qint64(size.width()) * size.height() > mostPixels)
        return {};
    if (size.width() > largest.width() || size.height() > largest.height()) {
        // The decoder scales by the way, which is faster; it does not know of a rotation yet.
        QSize bound = largest;
        if (reader.transformation() & QImageIOHandler::TransformationRotate90)
            bound.transpose();
        reader.setScaledSize(size.scaled(bound, Qt::KeepAspectRatio).expandedTo({1, 1}));
    }
    return reader.read();
}

} // namespace

ThumbnailCache::ThumbnailCache(ImagesStore &store, QObject *parent)
    : QObject(parent),
      m_store(&store),
      m_pixmaps(memoryBound)
{
    connect(&store, &ImagesStore::getCompleted, this, &ThumbnailCache::takeBytes);
    connect(&store, &ImagesStore::getFailed, this, &ThumbnailCache::takeFailure);
    connect(&store, &ImagesStore::putCompleted, this, &ThumbnailCache::forget);
    connect(&store, &ImagesStore::removeCompleted, this, &ThumbnailCache::forget);
    connect(&store, &ImagesStore::opened, this, [this] {
        m_pixmaps.clear();
        m_versions.clear();
        openDisk();
        const QStringList asked = m_requests.keys();
        for (const QString &fileName : asked)
            startAnew(fileName);
    });
    m_delay.setSingleShot(true);
    m_delay.setInterval(fetchDelay);
    connect(&m_delay, &QTimer::timeout, this, &ThumbnailCache::fetchWaiting);
    openDisk();
}

ThumbnailCache::~ThumbnailCache() = default;

ThumbnailCache &ThumbnailCache::instance()
{
    static QPointer<ThumbnailCache> cache;
    if (!cache)
        cache = new ThumbnailCache(ImagesStore::instance(), &ImagesStore::instance());
    return *cache;
}

void ThumbnailCache::setBounds(const QSize &largest, qsizetype bytes)
{
    m_largest = largest;
    m_pixmaps.setMaxCost(bytes);
}

QPixmap ThumbnailCache::find(const QString &fileName) const
{
    const QPixmap *pixmap = m_pixmaps.object(fileName);
    return pixmap ? *pixmap : QPixmap();
}

void ThumbnailCache::request(const QString &fileName)
{
    const auto asked = m_requests.find(fileName);
    if (asked != m_requests.end()) {
        ++asked->askers;
        return;
    }
    m_requests.insert(fileName, {.number = ++m_lastNumber});
    m_delay.start();
    const int number = m_lastNumber;
    QMetaObject::invokeMethod(
        this,
        [this, fileName, number] {
            if (m_requests.value(fileName).number != number)
                return;
            const QPixmap pixmap = find(fileName);
            const QByteArray bytes =
                m_disk && pixmap.isNull() ? m_disk->find(diskName(fileName)) : QByteArray();
            if (!bytes.isEmpty())
                return decode(fileName, bytes);
            if (pixmap.isNull())
                return;
            m_requests.remove(fileName);
            emit ready(fileName, pixmap);
        },
        Qt::QueuedConnection);
}

void ThumbnailCache::cancel(const QString &fileName)
{
    const auto asked = m_requests.find(fileName);
    if (asked != m_requests.end() && --asked->askers <= 0)
        drop(fileName);
}

void ThumbnailCache::drop(const QString &fileName)
{
    const auto found = m_requests.constFind(fileName);
    if (found == m_requests.cend())
        return;
    const bool isFetching = found->stage == Stage::Fetching;
    m_requests.erase(found);
    if (isFetching && m_store)
        m_store->cancel(fileName);
}

void ThumbnailCache::keepOnly(const QStringList &fileNames)
{
    const QStringList asked = m_requests.keys();
    for (const QString &fileName : asked) {
        if (!fileNames.contains(fileName))
            drop(fileName);
    }
}

void ThumbnailCache::forget(const QString &fileName)
{
    m_pixmaps.remove(fileName);
    if (m_disk)
        m_disk->remove(diskName(fileName));
    startAnew(fileName);
}

void ThumbnailCache::expect(const QString &fileName, const QString &version)
{
    const auto known = m_versions.constFind(fileName);
    if (known != m_versions.cend() && *known == version)
        return;
    const bool isOther = known != m_versions.cend();
    m_versions.insert(fileName, version);
    if (isOther)
        forget(fileName);
}

/// What is being decoded is out of date.
void ThumbnailCache::startAnew(const QString &fileName)
{
    const auto found = m_requests.find(fileName);
    if (found == m_requests.end() || found->stage != Stage::Decoding)
        return;
    found->stage = Stage::Waiting;
    found->number = ++m_lastNumber;
    m_delay.start();
}

QString ThumbnailCache::diskName(const QString &fileName) const
{
    return fileName + u'\n' + m_versions.value(fileName);
}

void ThumbnailCache::openDisk()
{
    m_disk.reset();
    if (m_store && m_store->settings().isWebdav())
        m_disk = std::make_unique<DiskCache>(configDirPath() + QStringLiteral("/imagescache"),
                                             m_store->settings().displayName());
}

void ThumbnailCache::fetchWaiting()
{
    QStringList wanted;
    for (auto it = m_requests.begin(); it != m_requests.end(); ++it) {
        if (it->stage == Stage::Waiting) {
            it->stage = Stage::Fetching;
            wanted += it.key();
        }
    }
    for (const QString &fileName : std::as_const(wanted)) {
        if (m_store)
            m_store->get(fileName);
    }
}

void ThumbnailCache::takeBytes(const QString &fileName, const QByteArray &bytes)
{
    const auto found = m_requests.constFind(fileName);
    if (found == m_requests.cend() || found->stage != Stage::Fetching)
        return;
    if (m_disk)
        m_disk->insert(diskName(fileName), bytes);
    decode(fileName, bytes);
}

void ThumbnailCache::takeFailure(const QString &fileName, const QString &reason, bool missing)
{
    const auto found = m_requests.constFind(fileName);
    if (found == m_requests.cend() || found->stage != Stage::Fetching)
        return;
    m_requests.erase(found);
    emit failed(fileName, reason, missing);
}

void ThumbnailCache::decode(const QString &fileName, const QByteArray &bytes)
{
    Request &request = m_requests[fileName];
    request.stage = Stage::Decoding;
    const int number = request.number;
    const QPointer<ThumbnailCache> guard(this);
    QThreadPool::globalInstance()->start([guard, fileName, bytes, number, largest = m_largest] {
        const QImage image = decoded(bytes, largest);
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [guard, fileName, number, image] {
                if (guard)
                    guard->takeImage(fileName, number, image);
            },
            Qt::QueuedConnection);
    });
}

void ThumbnailCache::takeImage(const QString &fileName, int number, const QImage &image)
{
    if (m_requests.value(fileName).number != number)
        return;
    m_requests.remove(fileName);
    if (image.isNull()) {
        forget(fileName);
        emit failed(fileName, tr("это не изображение"), false);
        return;
    }
    const QPixmap pixmap = QPixmap::fromImage(image);
    m_pixmaps.insert(fileName, new QPixmap(pixmap), bytesOf(pixmap));
    emit ready(fileName, pixmap);
}
