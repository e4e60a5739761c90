#pragma once
// What the PDF documents of delivery share: fonts, single lines of text laid out and measured in
// points with pango (unhinted, so measuring matches what the PDF holds), and the byte sink for a
// PDF written to memory. A Typesetter is used by one thread at a time.

#include <cairo.h>
#include <pango/pangocairo.h>

#include <memory>
#include <optional>
#include <string>

namespace orvane::detail {

// DejaVu stands in for the system font; its mono face gives the table figures of equal width.
inline constexpr const char* kSansFamily = "DejaVu Sans";
inline constexpr const char* kMonoFamily = "DejaVu Sans Mono";

struct FontDeleter {
    void operator()(PangoFontDescription* f) const { pango_font_description_free(f); }
};
using Font = std::unique_ptr<PangoFontDescription, FontDeleter>;

Font makeFont(const char* family, PangoWeight weight, double points);

struct GObjectDeleter {
    void operator()(gpointer object) const { g_object_unref(object); }
};

class Typesetter final {
  public:
    Typesetter();
    Typesetter(const Typesetter&) = delete;
    Typesetter& operator=(const Typesetter&) = delete;

    // The line's layout; with a limit, text wider than it ends in "…". Bytes that are not UTF-8 are
    // drawn as replacement marks.
    std::unique_ptr<PangoLayout, GObjectDeleter>
    layout(const std::string& text, const PangoFontDescription& font,
           std::optional<double> limitPoints = std::nullopt) const;

    double width(const std::string& text, const PangoFontDescription& font) const {
        return logicalWidth(*layout(text, font));
    }

    // Distance from the top of a line in this font to its baseline.
    double baseline(const PangoFontDescription& font) const;

    static double logicalWidth(PangoLayout& line);

  private:
    std::unique_ptr<PangoContext, GObjectDeleter> context_;
};

// cairo's write callback for a PDF kept in a std::string (the closure).
cairo_status_t appendBytes(void* closure, const unsigned char* data, unsigned int length);

} // namespace orvane::detail
