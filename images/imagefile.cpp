#include "images/imagefile.h"

#include "images/heicimage.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QtEndian>

#include <algorithm>

namespace {

struct ImageFile
{
    Q_DECLARE_TR_FUNCTIONS(ImageFile)
};

constexpr int bytesOfPixel = 8; ///< the most that Qt keeps them in
constexpr int bytesOfMegabyte = 1024 * 1024;

/// Scaled while they are decoded, pictures still have these times the pixels a side that are
/// wanted, and so lose nothing.
constexpr int reserve = 2;

constexpr QSize largestLogo(1600, 1600); ///< a fifth of the largest picture

ImageKind kindOf(const QByteArray &bytes)
{
    if (bytes.startsWith("\xff\xd8\xff"))
        return ImageKind::Jpeg;
    if (bytes.startsWith("\x89PNG\r\n\x1a\n"))
        return ImageKind::Png;
    if (bytes.startsWith("RIFF") && QByteArrayView(bytes).sliced(4).size() >= 8 &&
        QByteArrayView(bytes).sliced(8, 4) == "WEBP")
        return ImageKind::Webp;
    return isHeic(bytes) ? ImageKind::Heic : ImageKind::None;
}

/// Whether a JPEG file has its end; the decoder would fill what is missing with grey. The search
/// begins behind the head, which may hold a small picture of its own.
bool hasEnd(const QByteArray &jpeg)
{
    constexpr qsizetype markerLength = 2;
    constexpr char startOfScan = '\xda';
    qsizetype place = markerLength;
    while (place + 2 * markerLength <= jpeg.size() && jpeg.at(place) == '\xff') {
        if (jpeg.at(place + 1) == startOfScan)
            return jpeg.indexOf("\xff\xd9", place) > 0;
        place += markerLength + qFromBigEndian<quint16>(jpeg.constData() + place + markerLength);
    }
    return true; // what this is the decoder knows better
}

/// The size as it stands at the beginning of a PNG file; the decoder would read on to the picture.
QSize pngSize(const QByteArray &bytes)
{
    constexpr qsizetype widthPlace = 16;
    constexpr qsizetype heightPlace = 20;
    constexpr qsizetype headLength = 24;
    if (bytes.size() < headLength)
        return {};
    return {qFromBigEndian<qint32>(bytes.constData() + widthPlace),
            qFromBigEndian<qint32>(bytes.constData() + heightPlace)};
}

const char *formatOf(ImageKind kind)
{
    switch (kind) {
    case ImageKind::Jpeg:
        return "jpeg";
    case ImageKind::Png:
        return "png";
    case ImageKind::Webp:
        return "webp";
    case ImageKind::Heic:
    case ImageKind::None:
        break;
    }
    return "";
}

bool isTooLarge(const QSize &size)
{
    return qint64(size.width()) * size.height() > mostImagePixels;
}

QImage inStandardColours(QImage image)
{
    const QColorSpace standard(QColorSpace::SRgb);
    if (image.colorSpace().isValid() && image.colorSpace() != standard)
        image.convertToColorSpace(standard);
    return image;
}

/// The size to decode in, of the picture as it lies in the file.
QSize sizeToDecode(const QSize &lying, const QSize &atLeast, bool isTurned)
{
    const QSize wanted = reserve * (isTurned ? atLeast.transposed() : atLeast);
    if (wanted.isEmpty() || wanted.width() >= lying.width() || wanted.height() >= lying.height())
        return lying;
    return lying.scaled(wanted, Qt::KeepAspectRatioByExpanding);
}

} // namespace

ImageHeader readImageHeader(const QByteArray &bytes)
{
    ImageHeader header = {.kind = kindOf(bytes)};
    if (header.kind == ImageKind::None)
        return header;
    if (header.kind == ImageKind::Heic || header.kind == ImageKind::Png) {
        header.size = header.kind == ImageKind::Heic ? heicSize(bytes) : pngSize(bytes);
        return header;
    }
    QBuffer buffer;
    buffer.setData(bytes);
    QImageReader reader(&buffer, formatOf(header.kind));
    header.size = reader.size();
    if (reader.transformation().testFlag(QImageIOHandler::TransformationRotate90))
        header.size.transpose();
    return header;
}

QString imageExtension(ImageKind kind)
{
    switch (kind) {
    case ImageKind::Jpeg:
        return QStringLiteral("jpg");
    case ImageKind::Heic:
        return QStringLiteral("heic");
    case ImageKind::Png:
    case ImageKind::Webp:
        return QString::fromLatin1(formatOf(kind));
    case ImageKind::None:
        break;
    }
    return {};
}

ImageFault faultOf(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return ImageFault::Empty;
    if (bytes.size() > mostImageBytes)
        return ImageFault::TooLarge;
    const ImageHeader header = readImageHeader(bytes);
    if (header.kind == ImageKind::None)
        return ImageFault::NoImage;
    if (header.size.isEmpty() || (header.kind == ImageKind::Jpeg && !hasEnd(bytes)))
        return ImageFault::Broken;
    return isTooLarge(header.size) ? ImageFault::TooManyPixels : ImageFault::None;
}

QImage decodeImage(const QByteArray &bytes, const QSize &atLeast)
{
    const ImageHeader header = readImageHeader(bytes);
    if (header.size.isEmpty() || isTooLarge(header.size))
        return {};
    if (header.kind == ImageKind::Heic)
        return inStandardColours(decodeHeic(bytes));
    static const bool hasRoom = [] {
        QImageReader::setAllocationLimit(int(mostImagePixels * bytesOfPixel / bytesOfMegabyte) + 1);
        return true;
    }();
    Q_UNUSED(hasRoom)
    QBuffer buffer;
    buffer.setData(bytes);
    QImageReader reader(&buffer, formatOf(header.kind));
    reader.setAutoTransform(true);
    const bool isTurned = reader.transformation().testFlag(QImageIOHandler::TransformationRotate90);
    const QSize lying = reader.size();
    if (header.kind == ImageKind::Jpeg && !atLeast.isEmpty()) {
        const QSize size = sizeToDecode(lying, atLeast, isTurned);
        if (size != lying)
            reader.setScaledSize(size);
    }
    return inStandardColours(reader.read());
}

QImage decodeLogo(const QByteArray &bytes)
{
    return thumbnailOf(decodeImage(bytes), largestLogo);
}

ImportedImage renderImage(const QByteArray &original, const ImageEdit &edit,
                          const ImageOptions &options, const QImage &logo)
{
    ImportedImage image = {.fault = faultOf(original)};
    if (image.fault != ImageFault::None)
        return image;
    const ImageHeader header = readImageHeader(original);
    image.kind = header.kind;
    // As many pixels as the frame needs of the whole.
    const ImageFrame frame = frameOf(tidied(edit), header.size, options);
    const double scale = processedSize(frame, options).width() / frame.size.width();
    const QImage decoded = decodeImage(original, (QSizeF(header.size) * scale).toSize());
    const QImage shown = processed(decoded, header.size, edit, options, logo);
    image.processed = shown.isNull() ? QByteArray() : toJpeg(shown, options.quality);
    image.thumb =
        shown.isNull() ? QByteArray() : toJpeg(thumbnailOf(shown, options.thumb), options.quality);
    if (image.processed.isEmpty() || image.thumb.isEmpty())
        image.fault = ImageFault::Broken;
    else
        image.original = original;
    return image;
}

ImportedImage importImage(const QString &path, const ImageOptions &options, const QImage &logo)
{
    QFile file(path);
    // A pipe or a device would never end.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return {.fault = ImageFault::Unreadable};
    if (file.size() > mostImageBytes)
        return {.fault = ImageFault::TooLarge};
    const QByteArray bytes = file.read(mostImageBytes + 1);
    if (file.error() != QFileDevice::NoError)
        return {.fault = ImageFault::Unreadable};
    return renderImage(bytes, {}, options, logo);
}

QString importFaultText(ImageFault fault, const QString &name)
{
    switch (fault) {
    case ImageFault::None:
        break;
    case ImageFault::Unreadable:
        return ImageFile::tr("Файл «%1» не удалось прочитать.").arg(name);
    case ImageFault::Empty:
        return ImageFile::tr("Файл «%1» пуст.").arg(name);
    case ImageFault::TooLarge:
        return ImageFile::tr("Файл «%1» больше 20 МБ.").arg(name);
    case ImageFault::NoImage:
        return ImageFile::tr("Файл «%1» не является изображением jpg, heic, png или webp.")
            .arg(name);
    case ImageFault::TooManyPixels:
        return ImageFile::tr("В изображении «%1» больше 64 мегапикселей.").arg(name);
    case ImageFault::Broken:
        return ImageFile::tr("Изображение «%1» повреждено.").arg(name);
    }
    return {};
}
