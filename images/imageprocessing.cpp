#include "images/imageprocessing.h"

#include "db/session.h"

#include <QBuffer>
#include <QImageWriter>
#include <QPainter>
#include <QPointF>
#include <QTransform>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr int fullLevel = 255;
constexpr int percent = 100;
constexpr int smallestSide = 16;
constexpr int largestSide = 8000;
constexpr double halfTurn = 180;
constexpr double wholeTurn = 360;
constexpr int logoShare = 5;   ///< of the width
constexpr int logoMargin = 50; ///< a share, too

using Levels = std::array<uchar, fullLevel + 1>;

int optionNumber(const char *name, int otherwise, int least, int most)
{
    bool ok = false;
    const int value = Session::instance().option(QLatin1String(name)).trimmed().toInt(&ok);
    return ok ? std::clamp(value, least, most) : otherwise;
}

ImageChannel tidied(ImageChannel channel)
{
    if (channel.gamma <= 0)
        channel.gamma = percent;
    channel.gamma = std::clamp(channel.gamma, leastGamma, mostGamma);
    channel.bottom = std::clamp(channel.bottom, 0, fullLevel);
    channel.top = std::clamp(channel.top, 0, fullLevel);
    if (channel.top <= channel.bottom) {
        channel.bottom = 0;
        channel.top = fullLevel;
    }
    return channel;
}

Levels levelsOf(const ImageChannel &channel)
{
    Levels levels = {};
    const double exponent = double(percent) / channel.gamma;
    for (int in = 0; in <= fullLevel; ++in) {
        const double part = std::clamp(
            double(in - channel.bottom) / double(channel.top - channel.bottom), 0.0, 1.0);
        levels[size_t(in)] = uchar(std::lround(std::pow(part, exponent) * fullLevel));
    }
    return levels;
}

/// A colour moved away from its grey, or towards it; strength in 256ths.
int saturated(int value, int grey, int strength)
{
    return std::clamp(grey + (value - grey) * strength / 256, 0, fullLevel);
}

/// A picture on white, in the form that the others here expect.
QImage onWhite(const QImage &image)
{
    if (!image.hasAlphaChannel())
        return image.convertToFormat(QImage::Format_RGB32);
    QImage opaque(image.size(), QImage::Format_RGB32);
    opaque.fill(Qt::white);
    QPainter(&opaque).drawImage(0, 0, image);
    return opaque;
}

} // namespace

const std::array<ImageEditField, 13> imageEditFields = {{
    {"centerx",
     [](ImageEdit &edit) -> int & {
         return edit.centerX;
     }},
    {"centery",
     [](ImageEdit &edit) -> int & {
         return edit.centerY;
     }},
    {"width",
     [](ImageEdit &edit) -> int & {
         return edit.width;
     }},
    {"saturation",
     [](ImageEdit &edit) -> int & {
         return edit.saturation;
     }},
    {"rbot",
     [](ImageEdit &edit) -> int & {
         return edit.red.bottom;
     }},
    {"gbot",
     [](ImageEdit &edit) -> int & {
         return edit.green.bottom;
     }},
    {"bbot",
     [](ImageEdit &edit) -> int & {
         return edit.blue.bottom;
     }},
    {"rgamma",
     [](ImageEdit &edit) -> int & {
         return edit.red.gamma;
     }},
    {"ggamma",
     [](ImageEdit &edit) -> int & {
         return edit.green.gamma;
     }},
    {"bgamma",
     [](ImageEdit &edit) -> int & {
         return edit.blue.gamma;
     }},
    {"rtop",
     [](ImageEdit &edit) -> int & {
         return edit.red.top;
     }},
    {"gtop",
     [](ImageEdit &edit) -> int & {
         return edit.green.top;
     }},
    {"btop",
     [](ImageEdit &edit) -> int & {
         return edit.blue.top;
     }},
}};

ImageOptions imageOptions()
{
    const ImageOptions usual;
    return {
        .thumb = {optionNumber("THUMB_WIDTH", usual.thumb.width(), smallestSide, largestSide),
                  optionNumber("THUMB_HEIGHT", usual.thumb.height(), smallestSide, largestSide)},
        .width = optionNumber("IMAGE_WIDTH", usual.width, smallestSide, largestSide),
        .crop = optionNumber("CROP_IMAGE", 0, 0, 1) != 0,
        .quality = optionNumber("JPEG_QUALITY", usual.quality, 0, percent)};
}

ImageEdit tidied(ImageEdit edit)
{
    edit.width = std::max(edit.width, 0);
    edit.angle = std::isfinite(edit.angle) ? std::remainder(edit.angle, wholeTurn) : 0;
    if (edit.angle == -halfTurn)
        edit.angle = halfTurn;
    for (ImageChannel *channel : {&edit.red, &edit.green, &edit.blue})
        *channel = tidied(*channel);
    edit.saturation = std::clamp(edit.saturation, -percent, percent);
    return edit;
}

ImageFrame frameOf(const ImageEdit &edit, const QSize &original, const ImageOptions &options)
{
    const double ratio = double(options.thumb.height()) / options.thumb.width();
    if (edit.width > 0) {
        const double width = std::min(edit.width, std::max(original.width(), original.height()));
        return {QPointF(std::clamp(edit.centerX, 0, original.width()),
                        std::clamp(edit.centerY, 0, original.height())),
                QSizeF(width, std::max(width * ratio, 1.0))};
    }
    const QPointF middle(original.width() / 2.0, original.height() / 2.0);
    QSizeF size = QTransform().rotate(edit.angle).mapRect(QRectF(QPointF(), original)).size();
    if (options.crop)
        size = QSizeF(options.thumb).scaled(size, Qt::KeepAspectRatio);
    return {middle, size};
}

QSize processedSize(const ImageFrame &frame, const ImageOptions &options)
{
    // A hair less than a whole pixel is what turning by a right angle leaves.
    const double shape = frame.size.height() / frame.size.width();
    const double width = std::min(
        {std::round(frame.size.width()), double(options.width), std::floor(largestSide / shape)});
    return {std::max(int(width), 1), std::clamp(int(std::lround(width * shape)), 1, largestSide)};
}

QImage cutOut(const QImage &decoded, const QSize &original, const ImageFrame &frame, double angle,
              const QSize &size)
{
    if (decoded.isNull() || original.isEmpty())
        return {};
    const double scale = size.width() / frame.size.width();
    // Scaled down first: a painter looks at four pixels only.
    QImage source = decoded;
    const QSize wanted(std::max(int(std::lround(original.width() * scale)), 1),
                       std::max(int(std::lround(original.height() * scale)), 1));
    if (wanted.width() < decoded.width() && wanted.height() < decoded.height())
        source = decoded.scaled(wanted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const QPointF middle(original.width() / 2.0, original.height() / 2.0);
    if (angle == 0 && source.size() == size && (frame.center - middle).manhattanLength() <= 1)
        return onWhite(source);
    QImage cut(size, QImage::Format_RGB32);
    cut.fill(Qt::white);
    QPainter painter(&cut);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.translate(size.width() / 2.0, size.height() / 2.0);
    painter.rotate(angle);
    painter.scale(scale, scale);
    painter.translate(-frame.center);
    painter.drawImage(QRectF(QPointF(), original), source);
    return cut;
}

void applyColours(QImage &image, const ImageEdit &edit)
{
    const ImageEdit usual;
    const bool isLevelled =
        edit.red != usual.red || edit.green != usual.green || edit.blue != usual.blue;
    if (!isLevelled && edit.saturation == 0)
        return;
    image.convertTo(QImage::Format_RGB32);
    const Levels red = levelsOf(edit.red);
    const Levels green = levelsOf(edit.green);
    const Levels blue = levelsOf(edit.blue);
    const int strength = (percent + edit.saturation) * 256 / percent;
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (QRgb *pixel = line; pixel != line + image.width(); ++pixel) {
            int r = red[size_t(qRed(*pixel))];
            int g = green[size_t(qGreen(*pixel))];
            int b = blue[size_t(qBlue(*pixel))];
            if (edit.saturation != 0) {
                const int grey = qGray(r, g, b);
                r = saturated(r, grey, strength);
                g = saturated(g, grey, strength);
                b = saturated(b, grey, strength);
            }
            *pixel = qRgb(r, g, b);
        }
    }
}

void putLogo(QImage &image, const QImage &logo)
{
    if (logo.isNull() || image.isNull())
        return;
    const QSize room(image.width() / logoShare, image.height() / logoShare);
    const QImage small = thumbnailOf(logo, room);
    const int margin = image.width() / logoMargin;
    QPainter(&image).drawImage(image.width() - small.width() - margin,
                               image.height() - small.height() - margin, small);
}

QImage processed(const QImage &decoded, const QSize &original, const ImageEdit &edit,
                 const ImageOptions &options, const QImage &logo)
{
    const ImageEdit settings = tidied(edit);
    const ImageFrame frame = frameOf(settings, original, options);
    QImage image = cutOut(decoded, original, frame, settings.angle, processedSize(frame, options));
    applyColours(image, settings);
    putLogo(image, logo);
    return image;
}

QImage thumbnailOf(const QImage &image, const QSize &room)
{
    if (image.isNull() || (image.width() <= room.width() && image.height() <= room.height()))
        return image;
    QSize size = image.size().scaled(room, Qt::KeepAspectRatio);
    size = size.expandedTo({1, 1});
    return image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

QByteArray toJpeg(const QImage &image, int quality)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    writer.setOptimizedWrite(true);
    QImage plain = onWhite(image);
    const QStringList keys = plain.textKeys();
    for (const QString &key : keys)
        plain.setText(key, {});
    return writer.write(plain) ? bytes : QByteArray();
}
