#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QImage>
#include <QSize>
#include <QString>

#include "images/imageprocessing.h"

/// Files of pictures: what they are, whether they may come in, and what is made of them. Plain
/// functions for any thread.

inline constexpr qint64 mostImageBytes = 20 * 1024 * 1024;
inline constexpr qint64 mostImagePixels = 64'000'000;

/// By the first bytes of a file, whatever it is called.
enum class ImageKind { None, Jpeg, Heic, Png, Webp };

/// Why a file does not come in.
enum class ImageFault {
    None,
    Unreadable, ///< there is no such file, or it may not be read
    Empty,
    TooLarge,      ///< more than mostImageBytes
    NoImage,       ///< none of the kinds above
    TooManyPixels, ///< more than mostImagePixels
    Broken,        ///< an image by its first bytes, but it cannot be decoded
};

/// What the head of a file tells; nothing is decoded for it.
struct ImageHeader
{
    ImageKind kind = ImageKind::None;
    QSize size = {}; ///< of the upright picture; none when the head is broken
};

/// A picture with what is needed to put it into the store.
struct ImportedImage
{
    ImageFault fault = ImageFault::None;
    ImageKind kind = ImageKind::None;
    QByteArray original = {}; ///< byte for byte
    QByteArray processed = {};
    QByteArray thumb = {};
};

ImageHeader readImageHeader(const QByteArray &bytes);

/// The ending of a file name, without the point.
QString imageExtension(ImageKind kind);

/// What is wrong with the contents of a file as far as its head tells.
ImageFault faultOf(const QByteArray &bytes);

/// Decodes an upright picture in the colours of sRGB. With a size it may come smaller than it is,
/// but not smaller than that. Null when it is broken, or larger than a picture may be.
QImage decodeImage(const QByteArray &bytes, const QSize &atLeast = {});

/// Decodes the logo of the shop, no larger than it can get onto a picture.
QImage decodeLogo(const QByteArray &bytes);

/// Makes the processed picture and the thumbnail of an original; the fault is Broken, or the
/// reason why the original would not have come in.
ImportedImage renderImage(const QByteArray &original, const ImageEdit &edit,
                          const ImageOptions &options, const QImage &logo);

/// The same for a file; no more of it is read than may come in.
ImportedImage importImage(const QString &path, const ImageOptions &options, const QImage &logo);

/// A sentence for the user about a file that does not come in. name: how the user knows it.
QString importFaultText(ImageFault fault, const QString &name);
