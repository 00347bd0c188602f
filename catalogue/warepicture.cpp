#include "catalogue/warepicture.h"

#include "catalogue/wareimages.h"
#include "images/imagesstore.h"
#include "images/pixmapwidget.h"
#include "images/thumbnailcache.h"

#include <utility>

namespace {

constexpr int restTime = 250; ///< ms on a product before its picture is looked for

} // namespace

WarePicture::WarePicture(PixmapWidget *widget)
    : QObject(widget),
      m_widget(widget)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(restTime);
    connect(&m_timer, &QTimer::timeout, this, &WarePicture::look);
}

void WarePicture::show(qulonglong wareid)
{
    if (wareid == m_wareid)
        return;
    m_wareid = wareid;
    letGo();
    m_widget->setPixmap({});
    m_widget->setText({});
    refresh();
}

void WarePicture::refresh()
{
    if (m_wareid != 0)
        m_timer.start();
    else
        m_timer.stop();
}

void WarePicture::letGo()
{
    if (const QString file = std::exchange(m_fileName, {});
        !file.isEmpty() && m_widget->pixmap().isNull())
        ThumbnailCache::instance().cancel(file);
}

/// Without a parent for boxes: a picture is not worth a question.
void WarePicture::look()
{
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, firstImageQuery(m_wareid), rows) || rows.isEmpty())
        rows = {{QString(), QString()}};
    const QString name = rows.first().first().toString();
    const QString file = name.isEmpty() ? QString() : thumbsFolder + u'/' + name;
    if (file != m_fileName)
        letGo();
    m_fileName = file;
    if (file.isEmpty()) {
        showThumbnail(file, {});
        return;
    }
    // Not before: a shop without pictures needs no store.
    ThumbnailCache &cache = ThumbnailCache::instance();
    connect(&cache, &ThumbnailCache::ready, this, &WarePicture::showThumbnail,
            Qt::UniqueConnection);
    connect(&cache, &ThumbnailCache::failed, this, &WarePicture::showNone, Qt::UniqueConnection);
    cache.expect(file, rows.first().last().toString());
    if (const QPixmap pixmap = cache.find(file); !pixmap.isNull())
        showThumbnail(file, pixmap);
    else
        cache.request(file);
}

void WarePicture::showThumbnail(const QString &fileName, const QPixmap &pixmap)
{
    if (fileName != m_fileName)
        return;
    m_widget->setPixmap(pixmap);
    m_widget->setText(pixmap.isNull() ? tr("нет изображения") : QString());
}

void WarePicture::showNone(const QString &fileName)
{
    showThumbnail(fileName, {});
}
