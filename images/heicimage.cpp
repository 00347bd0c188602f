#include "images/heicimage.h"

#include <QColorSpace>

#include <libheif/heif.h>

#include <algorithm>
#include <array>
#include <memory>

namespace {

constexpr int brandPlace = 8;
constexpr int brandLength = 4;

template<auto release>
struct Releasing
{
    template<typename T>
    void operator()(T *what) const
    {
        release(what);
    }
};

using Context = std::unique_ptr<heif_context, Releasing<heif_context_free>>;
using Handle = std::unique_ptr<heif_image_handle, Releasing<heif_image_handle_release>>;
using Picture = std::unique_ptr<heif_image, Releasing<heif_image_release>>;

/// The first picture of a file. The bytes must live as long as the context.
Handle primaryOf(const Context &context, const QByteArray &bytes)
{
    if (!context || heif_context_read_from_memory_without_copy(context.get(), bytes.constData(),
                                                               size_t(bytes.size()), nullptr)
                            .code != heif_error_Ok)
        return nullptr;
    heif_image_handle *handle = nullptr;
    if (heif_context_get_primary_image_handle(context.get(), &handle).code != heif_error_Ok)
        return nullptr;
    return Handle(handle);
}

QColorSpace coloursOf(const heif_image_handle *handle)
{
    const size_t size = heif_image_handle_get_raw_color_profile_size(handle);
    if (size == 0)
        return {};
    QByteArray profile(qsizetype(size), Qt::Uninitialized);
    if (heif_image_handle_get_raw_color_profile(handle, profile.data()).code != heif_error_Ok)
        return {};
    return QColorSpace::fromIccProfile(profile);
}

} // namespace

bool isHeic(const QByteArray &bytes)
{
    constexpr std::array brands = {"heic", "heix", "heim", "heis", "mif1", "msf1"};
    const QByteArrayView view(bytes);
    if (view.size() < brandPlace + brandLength || view.sliced(4, brandLength) != "ftyp")
        return false;
    const QByteArrayView brand = view.sliced(brandPlace, brandLength);
    return std::any_of(brands.begin(), brands.end(),
                       [&](const char *known) { return brand == known; });
}

QSize heicSize(const QByteArray &bytes)
{
    const Context context(heif_context_alloc());
    const Handle handle = primaryOf(context, bytes);
    if (!handle)
        return {};
    return {heif_image_handle_get_width(handle.get()), heif_image_handle_get_height(handle.get())};
}

QImage decodeHeic(const QByteArray &bytes)
{
    const Context context(heif_context_alloc());
    const Handle handle = primaryOf(context, bytes);
    heif_image *decoded = nullptr;
    if (!handle || heif_decode_image(handle.get(), &decoded, heif_colorspace_RGB,
                                     heif_chroma_interleaved_RGBA, nullptr)
                           .code != heif_error_Ok)
        return {};
    const Picture picture(decoded);
    int stride = 0;
    const uint8_t *plane =
        heif_image_get_plane_readonly(picture.get(), heif_channel_interleaved, &stride);
    const int width = heif_image_get_width(picture.get(), heif_channel_interleaved);
    const int height = heif_image_get_height(picture.get(), heif_channel_interleaved);
    if (!plane || width <= 0 || height <= 0)
        return {};
    const auto format = heif_image_handle_has_alpha_channel(handle.get()) != 0
                            ? QImage::Format_RGBA8888
                            : QImage::Format_RGBX8888;
    QImage image = QImage(plane, width, height, stride, format).copy();
    image.setColorSpace(coloursOf(handle.get()));
    return image;
}
