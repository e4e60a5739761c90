#include "delivery/detail/RasterImage.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <algorithm>
#include <cmath>

namespace orvane::detail {

namespace {

// The loader named by the data's signature, so that no other loader ever sees the bytes.
const char* loaderFor(std::span<const std::uint8_t> b) {
    const auto starts = [&](std::initializer_list<std::uint8_t> sig) {
        return b.size() >= sig.size() && std::equal(sig.begin(), sig.end(), b.begin());
    };
    if (starts({0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'}))
        return "png";
    if (starts({0xFF, 0xD8, 0xFF}))
        return "jpeg";
    if (starts({'I', 'I', 0x2A, 0x00}) || starts({'M', 'M', 0x00, 0x2A}))
        return "tiff";
    return nullptr;
}

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};

// Before any pixel is decoded: bound the size, keeping the shape.
void limitSize(GdkPixbufLoader* loader, int width, int height, gpointer) {
    const int longest = std::max(width, height);
    if (longest <= kMaxImageSide || width <= 0 || height <= 0)
        return;
    const double factor = static_cast<double>(kMaxImageSide) / longest;
    gdk_pixbuf_loader_set_size(loader, std::max(1, static_cast<int>(std::lround(width * factor))),
                               std::max(1, static_cast<int>(std::lround(height * factor))));
}

// cairo's ARGB32 is premultiplied and held as one native 32-bit word a pixel.
Surface toSurface(GdkPixbuf* pixbuf) {
    const int width = gdk_pixbuf_get_width(pixbuf);
    const int height = gdk_pixbuf_get_height(pixbuf);
    const int channels = gdk_pixbuf_get_n_channels(pixbuf);
    if (width <= 0 || height <= 0 || gdk_pixbuf_get_bits_per_sample(pixbuf) != 8 || channels < 3)
        return nullptr;
    const bool alpha = gdk_pixbuf_get_has_alpha(pixbuf) && channels == 4;
    Surface surface(
        cairo_image_surface_create(alpha ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24, width, height));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS)
        return nullptr;
    cairo_surface_flush(surface.get());
    const guchar* source = gdk_pixbuf_read_pixels(pixbuf);
    const int sourceStride = gdk_pixbuf_get_rowstride(pixbuf);
    unsigned char* target = cairo_image_surface_get_data(surface.get());
    const int targetStride = cairo_image_surface_get_stride(surface.get());
    for (int y = 0; y < height; ++y) {
        const guchar* in = source + static_cast<std::ptrdiff_t>(y) * sourceStride;
        auto* out = reinterpret_cast<std::uint32_t*>(target + static_cast<std::ptrdiff_t>(y) * targetStride);
        for (int x = 0; x < width; ++x, in += channels) {
            const std::uint32_t a = alpha ? in[3] : 255u;
            const auto premultiply = [a](std::uint32_t c) { return (c * a + 127u) / 255u; };
            out[x] = (a << 24) | (premultiply(in[0]) << 16) | (premultiply(in[1]) << 8) | premultiply(in[2]);
        }
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

} // namespace

Surface decodeRasterImage(std::span<const std::uint8_t> bytes) {
    const char* type = loaderFor(bytes);
    if (type == nullptr)
        return nullptr;
    GError* error = nullptr;
    std::unique_ptr<GdkPixbufLoader, GObjectUnref> loader(gdk_pixbuf_loader_new_with_type(type, &error));
    if (!loader) {
        g_clear_error(&error);
        return nullptr;
    }
    g_signal_connect(loader.get(), "size-prepared", G_CALLBACK(limitSize), nullptr);
    const bool written = gdk_pixbuf_loader_write(loader.get(), bytes.data(), bytes.size(), &error);
    g_clear_error(&error);
    // Closing is needed whatever the write said; it finishes the decode or releases it.
    const bool closed = gdk_pixbuf_loader_close(loader.get(), &error);
    g_clear_error(&error);
    if (!written || !closed)
        return nullptr;
    GdkPixbuf* pixbuf = gdk_pixbuf_loader_get_pixbuf(loader.get()); // owned by the loader
    return pixbuf == nullptr ? nullptr : toSurface(pixbuf);
}

} // namespace orvane::detail
