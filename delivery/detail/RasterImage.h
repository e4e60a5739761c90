#pragma once
// Image bytes as a cairo surface for the PDF documents: PNG, JPEG or TIFF, told by their first
// bytes (never by a name), decoded with gdk-pixbuf. Other formats, damaged data and images without
// area give nothing. Very large images are scaled down while they decode so that a hostile file
// cannot claim gigabytes. Any thread.

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <span>

namespace orvane::detail {

struct SurfaceDeleter {
    void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;

// The longest side a decoded image keeps; a logo is drawn a few centimetres wide.
inline constexpr int kMaxImageSide = 2048;

Surface decodeRasterImage(std::span<const std::uint8_t> bytes);

} // namespace orvane::detail
