#include "catalogue/imageintake.h"

#include "catalogue/wareimages.h"
#include "images/background.h"
#include "images/imagesstore.h"
#include "images/storerequests.h"

#include <QBuffer>
#include <QFileInfo>
#include <QMimeData>
#include <QUrl>
#include <QWidget>

#include <utility>

namespace {

/// A picture without a file as one; empty when that fails.
QByteArray toPng(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    return image.save(&buffer, "png") ? bytes : QByteArray();
}

ImportedImage import(const ImageSource &source, const ImageOptions &options, const QImage &logo)
{
    if (!source.path.isEmpty())
        return importImage(source.path, options, logo);
    if (source.image.isNull())
        return renderImage(source.bytes, {}, options, logo);
    if (qint64(source.image.width()) * source.image.height() > mostImagePixels)
        return {.fault = ImageFault::TooManyPixels};
    return renderImage(toPng(source.image), {}, options, logo);
}

} // namespace

QList<ImageSource> imageSources(const QMimeData *data)
{
    QList<ImageSource> sources;
    if (data->formats().isEmpty()) // a program that does not answer is awaited once, not for each
        return sources;
    const QList<QUrl> urls = data->urls();
    for (const QUrl &url : urls) {
        if (url.isLocalFile())
            sources += {.path = url.toLocalFile(), .name = QFileInfo(url.toLocalFile()).fileName()};
    }
    if (!sources.isEmpty())
        return sources;
    const QString name = ImageIntake::tr("из буфера обмена");
    for (const char *type : {"image/jpeg", "image/heic", "image/webp", "image/png"}) {
        const QByteArray bytes = data->data(QLatin1String(type));
        if (!bytes.isEmpty() && readImageHeader(bytes).kind != ImageKind::None)
            return {{.bytes = bytes, .name = name}};
    }
    if (data->hasImage()) {
        if (const auto image = data->imageData().value<QImage>(); !image.isNull())
            return {{.image = image, .name = name}};
    }
    return {};
}

ImageIntake::ImageIntake(qulonglong wareid, std::function<QString()> title, QWidget *window)
    : QObject(window),
      m_wareid(wareid),
      m_title(std::move(title)),
      m_window(window)
{
}

ImageIntake::~ImageIntake()
{
    abandon();
}

void ImageIntake::add(const QList<ImageSource> &sources)
{
    m_waiting += sources;
    m_total += int(sources.size());
    if (!m_current)
        next();
}

void ImageIntake::abandon()
{
    ++m_run;
    m_waiting.clear();
    m_current.reset();
    removeFiles();
    m_refusals.clear();
    m_number = 0;
    m_total = 0;
}

bool ImageIntake::isBusy() const
{
    return m_current.has_value();
}

void ImageIntake::next()
{
    if (m_waiting.isEmpty()) {
        end();
        return;
    }
    m_current = m_waiting.takeFirst();
    emit progressed(++m_number, m_total);
    if (m_logo) {
        decode(*m_logo);
        return;
    }
    getLogo(this, ImagesStore::instance(),
            [this, run = m_run](const QImage &logo, const QString &reason) {
                if (run != m_run)
                    return;
                if (reason.isEmpty())
                    decode(m_logo.emplace(logo));
                else
                    stop(reason);
            });
}

void ImageIntake::decode(const QImage &logo)
{
    runInBackground(
        this,
        [source = *m_current, options = imageOptions(), logo] {
            return import(source, options, logo);
        },
        [this, run = m_run](const ImportedImage &image) {
            if (run != m_run)
                return;
            if (image.fault == ImageFault::None)
                store(image);
            else
                refuse(importFaultText(image.fault, m_current->name));
        });
}

void ImageIntake::store(const ImportedImage &image)
{
    m_fileName = newImageFileName(imageExtension(image.kind));
    putFiles(this, ImagesStore::instance(),
             {{originalsFolder + u'/' + m_fileName, image.original},
              {processedFolder + u'/' + m_fileName, image.processed},
              {thumbsFolder + u'/' + m_fileName, image.thumb}},
             [this, run = m_run](const QString &reason) {
                 if (run == m_run)
                     write(reason);
             });
}

void ImageIntake::write(const QString &reason)
{
    if (!reason.isEmpty()) {
        stop(reason);
        return;
    }
    bool isUnknown = false;
    const std::optional<qulonglong> id = addWareImage(
        m_window, {.wareid = m_wareid, .fileName = m_fileName, .title = m_title()}, &isUnknown);
    if (!id) {
        if (isUnknown)
            m_fileName.clear(); // the row may need them
        stop({});
        return;
    }
    m_fileName.clear();
    emit added(*id);
    next();
}

void ImageIntake::refuse(const QString &text)
{
    m_refusals += text;
    next();
}

/// The store or the database would fare no better with the next one. text: why, if that has not
/// been told.
void ImageIntake::stop(const QString &text)
{
    const QString fault =
        tr("Не добавлено изображений: %1. %2").arg(m_waiting.size() + 1).arg(text);
    m_waiting.clear();
    removeFiles();
    end(fault.trimmed());
}

void ImageIntake::removeFiles()
{
    const QStringList files =
        m_fileName.isEmpty() ? QStringList() : storedFilesOf(std::exchange(m_fileName, {}));
    for (const QString &file : files)
        ImagesStore::instance().remove(file);
}

void ImageIntake::end(const QString &fault)
{
    m_current.reset();
    m_logo.reset();
    m_number = 0;
    m_total = 0;
    emit finished(std::exchange(m_refusals, {}), fault);
}
