#include "bench/gallery.h"

#include "bench/figures.h"
#include "catalogue/waregallery.h"
#include "images/imageprocessing.h"
#include "images/imagesstore.h"
#include "images/thumbnailcache.h"
#include "tests/support/davserver.h"
#include "tests/support/files.h"

#include <QApplication>
#include <QListWidget>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

namespace {

constexpr int repetitions = 15;
constexpr int pictures = 200;
constexpr int product = 4711;
constexpr QSize screenSize(3840, 2160); ///< which shows all of them at once

/// Coloured noise with some structure, as much work to decode as a photograph.
QImage photograph(quint32 seed)
{
    QRandomGenerator random(seed);
    QImage coarse(60, 40, QImage::Format_RGB32);
    random.fillRange(reinterpret_cast<quint32 *>(coarse.bits()), coarse.sizeInBytes() / 4);
    return coarse.scaled(300, 200, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

QString fileName(int number)
{
    return QString("bench%1.jpg").arg(number);
}

void writeRows()
{
    if (!QueryExec(nullptr, QString("DELETE FROM images WHERE wareid=%1").arg(product)))
        qFatal("no pictures");
    for (int i = 0; i < pictures; ++i)
        QueryExec(nullptr, QString("INSERT INTO images(wareid,ordernum,filename,description) "
                                   "VALUES(%1,%2,'%3','Picture %2')")
                               .arg(product)
                               .arg(i + 1)
                               .arg(fileName(i)));
}

/// Milliseconds until the gallery has painted all its thumbnails.
double openGallery()
{
    WareGallery gallery(
        product, [] { return QString(); }, nullptr);
    gallery.resize(screenSize);
    gallery.show();
    QCoreApplication::processEvents();
    int waiting = pictures;
    return milliseconds([&] {
        QObject::connect(&ThumbnailCache::instance(), &ThumbnailCache::ready, &gallery,
                         [&] { --waiting; });
        QObject::connect(&ThumbnailCache::instance(), &ThumbnailCache::failed, &gallery,
                         [](const QString &name, const QString &reason) {
                             qFatal("%s: %s", qPrintable(name), qPrintable(reason));
                         });
        if (!ThumbnailCache::instance().find("thumbs/" + fileName(0)).isNull())
            waiting = 0;
        gallery.read();
        do
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        while (waiting > 0);
        gallery.findChild<QListWidget *>()->viewport()->repaint();
    });
}

/// Milliseconds of decoding and painting alone.
double paintBare(const QString &folder, const QSize &size)
{
    return milliseconds([&] {
        QPixmap canvas(screenSize);
        QPainter painter(&canvas);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        const int columns = screenSize.width() / size.width();
        for (int i = 0; i < pictures; ++i)
            painter.drawPixmap(
                QRect(QPoint(i % columns * size.width(), i / columns * size.height()), size),
                QPixmap(folder + '/' + fileName(i)));
    });
}

} // namespace

void benchGallery(Table &table)
{
    const QTemporaryDir folder;
    std::optional<DavServer> server(std::in_place, DavServer::Kind::Apache,
                                    DavServer::Access::Open);
    const ImagesStoreSettings settings = {.type = "webdav",
                                          .path = "dav",
                                          .host = "http://127.0.0.1",
                                          .port = QString::number(server->port())};
    ImagesStore &store = ImagesStore::instance();
    store.open(settings);
    for (int i = 0; i < pictures; ++i) {
        const QByteArray bytes = toJpeg(photograph(quint32(i)), 90);
        writeFile(folder.filePath(fileName(i)), bytes);
        store.put("thumbs/" + fileName(i), bytes);
    }
    while (store.isBusy())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    writeRows();
    openGallery(); // fills the disk cache
    server.reset();
    std::vector<double> fromDisk;
    std::vector<double> fromMemory;
    std::vector<double> bare;
    for (int turn = 0; turn < repetitions; ++turn) {
        store.open(settings); // forgets what is in memory
        fromDisk.push_back(openGallery());
        fromMemory.push_back(openGallery());
        bare.push_back(paintBare(folder.path(), {180, 120}));
    }
    table.row("gallery of 200 from the disk cache / decoded and painted", median(fromDisk),
              median(bare), 2);
    table.row("gallery of 200 from memory / decoded and painted", median(fromMemory), median(bare),
              2);
}
