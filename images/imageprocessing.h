#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>
#include <QSizeF>

#include <array>

/// How the pictures of a product are made of their originals. Plain functions without state; all
/// but imageOptions() may run on any thread.

/// The settings of one colour: what becomes black, what becomes full, and the gamma between in
/// percent, 100 leaving it as it is.
struct ImageChannel
{
    int bottom = 0;
    int top = 255;
    int gamma = 100;

    bool operator==(const ImageChannel &) const = default;
};

/// What is done to an original, as the row of the picture has it. Places are pixels of the upright
/// original.
struct ImageEdit
{
    int centerX = 0;
    int centerY = 0;
    int width = 0;    ///< of the frame that is cut out, before it is scaled; 0: none was drawn
    double angle = 0; ///< by which the picture is turned clockwise, in degrees
    ImageChannel red = {};
    ImageChannel green = {};
    ImageChannel blue = {};
    int saturation = 0; ///< -100: grey, 0: as it is, 100: twice as strong

    bool operator==(const ImageEdit &) const = default;
};

/// One whole number of the settings, by the name of its column.
struct ImageEditField
{
    const char *name;
    int &(*member)(ImageEdit &edit);
};

/// All of them; those of the colours last, each kind in the order of the colours.
extern const std::array<ImageEditField, 13> imageEditFields;

/// The options of the shop for what is made.
struct ImageOptions
{
    QSize thumb = {300, 200}; ///< room for a thumbnail; its shape is that of the frame, too
    int width = 600;          ///< of a processed picture
    bool crop = false;        ///< whether a picture without a frame is cut to the frame's shape
    int quality = 90;         ///< of JPEG, 0 to 100

    bool operator==(const ImageOptions &) const = default;
};

/// What is cut out of an upright original of some size.
struct ImageFrame
{
    QPointF center;
    QSizeF size;
};

/// Where the values stand that a picture may have, at most.
inline constexpr int leastGamma = 10;
inline constexpr int mostGamma = 500;

/// The options of the session, each brought into its bounds.
ImageOptions imageOptions();

/// The settings with each value in its bounds; what another program has left empty changes nothing.
ImageEdit tidied(ImageEdit edit);

/// What is cut out: the frame that was drawn, else all of the picture or the largest part of its
/// middle that has the frame's shape.
ImageFrame frameOf(const ImageEdit &edit, const QSize &original, const ImageOptions &options);

/// The size of the processed picture: that of the frame, but no wider than the options say.
QSize processedSize(const ImageFrame &frame, const ImageOptions &options);

/// Cuts the frame out of a picture that was decoded in whatever size, turned, and with its colours
/// as they are. original: the size of the upright original. White where the original has nothing.
QImage cutOut(const QImage &decoded, const QSize &original, const ImageFrame &frame, double angle,
              const QSize &size);

/// Levels, gamma and saturation.
void applyColours(QImage &image, const ImageEdit &edit);

/// Puts the logo into the lower right corner, a fifth of the picture wide at most.
void putLogo(QImage &image, const QImage &logo);

/// All of it: what the customer sees of an original.
QImage processed(const QImage &decoded, const QSize &original, const ImageEdit &edit,
                 const ImageOptions &options, const QImage &logo);

/// A picture made small enough for the room; never made larger.
QImage thumbnailOf(const QImage &image, const QSize &room);

/// The picture as a JPEG file without anything but the picture; empty when that fails.
QByteArray toJpeg(const QImage &image, int quality);
