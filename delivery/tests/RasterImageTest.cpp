#include "delivery/detail/RasterImage.h"

#include "delivery/MasteringReportBuilder.h"
#include "delivery/MasteringReportModel.h"
#include "delivery/tests/PQSheetFixture.h"
#include "testsupport/TempFolder.h"

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtest/gtest.h>
#include <poppler/cpp/poppler-document.h>
#include <poppler/cpp/poppler-image.h>
#include <poppler/cpp/poppler-page-renderer.h>
#include <poppler/cpp/poppler-page.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace orvane {
namespace {

// An image of the given size in the named gdk-pixbuf format, filled with one colour; the left half
// of an image with alpha is fully transparent.
std::vector<std::uint8_t> encoded(const char* type, int width, int height, bool withAlpha = false) {
    GdkPixbuf* pixbuf = gdk_pixbuf_new(GDK_COLORSPACE_RGB, withAlpha, 8, width, height);
    gdk_pixbuf_fill(pixbuf, 0xCC1A1AFFu); // RGBA
    if (withAlpha) {
        guchar* pixels = gdk_pixbuf_get_pixels(pixbuf);
        const int stride = gdk_pixbuf_get_rowstride(pixbuf);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width / 2; ++x)
                pixels[y * stride + x * 4 + 3] = 0;
    }
    gchar* buffer = nullptr;
    gsize size = 0;
    GError* error = nullptr;
    const bool saved = gdk_pixbuf_save_to_buffer(pixbuf, &buffer, &size, type, &error, nullptr);
    g_object_unref(pixbuf);
    EXPECT_TRUE(saved) << (error ? error->message : type);
    g_clear_error(&error);
    std::vector<std::uint8_t> bytes(buffer, buffer + size);
    g_free(buffer);
    return bytes;
}

std::uint32_t pixel(const detail::Surface& s, int x, int y) {
    cairo_surface_flush(s.get());
    const unsigned char* row = cairo_image_surface_get_data(s.get()) +
                               static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(s.get());
    return reinterpret_cast<const std::uint32_t*>(row)[x];
}

TEST(RasterImage, pngJpegAndTiffDecodeToTheirSizeAndColour) {
    for (const char* type : {"png", "jpeg", "tiff"}) {
        SCOPED_TRACE(type);
        const auto image = detail::decodeRasterImage(encoded(type, 120, 40));
        ASSERT_TRUE(image);
        EXPECT_EQ(cairo_image_surface_get_width(image.get()), 120);
        EXPECT_EQ(cairo_image_surface_get_height(image.get()), 40);
        const std::uint32_t p = pixel(image, 60, 20);
        // JPEG is lossy: the red stays near 0xCC, green and blue near 0x1A.
        EXPECT_NEAR(static_cast<int>((p >> 16) & 0xFF), 0xCC, 4);
        EXPECT_NEAR(static_cast<int>((p >> 8) & 0xFF), 0x1A, 4);
        EXPECT_NEAR(static_cast<int>(p & 0xFF), 0x1A, 4);
    }
    // Transparency survives, premultiplied as cairo wants it.
    const auto clear = detail::decodeRasterImage(encoded("png", 20, 4, true));
    ASSERT_TRUE(clear);
    EXPECT_EQ(pixel(clear, 2, 1), 0u);
    EXPECT_EQ(pixel(clear, 15, 1) >> 24, 0xFFu);
}

TEST(RasterImage, otherFormatsDamagedDataAndGiantsAreHandledSafely) {
    EXPECT_FALSE(detail::decodeRasterImage({}));
    const std::string svg = "<svg xmlns='http://www.w3.org/2000/svg' width='10' height='10'/>";
    EXPECT_FALSE(detail::decodeRasterImage(std::vector<std::uint8_t>(svg.begin(), svg.end())));
    EXPECT_FALSE(detail::decodeRasterImage(encoded("bmp", 10, 10)));
    for (const char* type : {"png", "jpeg", "tiff"}) {
        SCOPED_TRACE(type);
        auto bytes = encoded(type, 64, 64);
        bytes.resize(bytes.size() / 3); // cut off mid-stream
        // A partial image may or may not decode, but never into something without area.
        if (const auto partial = detail::decodeRasterImage(bytes)) {
            EXPECT_GT(cairo_image_surface_get_width(partial.get()), 0);
        }
        auto garbled = encoded(type, 64, 64);
        for (std::size_t i = 16; i < garbled.size(); i += 7)
            garbled[i] ^= 0x5A;
        if (const auto damaged = detail::decodeRasterImage(garbled)) {
            EXPECT_GT(cairo_image_surface_get_height(damaged.get()), 0);
        }
    }
    // A very wide image comes back within the bound, with its shape.
    const auto wide = detail::decodeRasterImage(encoded("png", 6000, 30));
    ASSERT_TRUE(wide);
    EXPECT_EQ(cairo_image_surface_get_width(wide.get()), detail::kMaxImageSide);
    EXPECT_NEAR(cairo_image_surface_get_height(wide.get()), 30.0 * detail::kMaxImageSide / 6000.0, 1.0);
}

TEST(RasterImage, aJpegLogoIsDrawnAtTheReportsTopRight) {
    testing::TempFolder temp{"orvane-logo-test"};
    DefaultsStore defaults{temp.path / "defaults.json"};
    MasteringReportModel model(defaults, false);
    model.setStudioName("Harbour Mastering");
    model.setLogoData(encoded("jpeg", 300, 84));
    CDProject project;
    project.tracks.push_back(pqtest::secondsTrack("Only", 150, 30));
    const auto pdf =
        MasteringReportBuilder::pdfData(project, pqtest::positionsOf(project), model, {}, std::nullopt);
    ASSERT_TRUE(pdf.has_value()) << pdf.error();
    std::unique_ptr<poppler::document> doc(
        poppler::document::load_from_raw_data(pdf->data(), static_cast<int>(pdf->size())));
    ASSERT_TRUE(doc);
    std::unique_ptr<poppler::page> page(doc->create_page(0));
    poppler::page_renderer renderer;
    const poppler::image image = renderer.render_page(page.get(), 72.0, 72.0);
    ASSERT_TRUE(image.is_valid());
    ASSERT_EQ(image.format(), poppler::image::format_argb32);
    // The 150 x 42 point box ends at the right margin near the top: its middle is the logo's red.
    int reddish = 0;
    for (int y = 20; y < 90; ++y) {
        const auto* row =
            reinterpret_cast<const std::uint32_t*>(image.const_data() + y * image.bytes_per_row());
        for (int x = 380; x < 560; ++x) {
            const std::uint32_t p = row[x];
            if (((p >> 16) & 0xFF) > 0xB0 && ((p >> 8) & 0xFF) < 0x40)
                ++reddish;
        }
    }
    EXPECT_GT(reddish, 150 * 42 / 2);
}

} // namespace
} // namespace orvane
