#include "delivery/detail/PdfText.h"

#include <algorithm>

namespace orvane::detail {

Font makeFont(const char* family, PangoWeight weight, double points) {
    Font font(pango_font_description_new());
    pango_font_description_set_family(font.get(), family);
    pango_font_description_set_weight(font.get(), weight);
    pango_font_description_set_absolute_size(font.get(), points * PANGO_SCALE);
    return font;
}

Typesetter::Typesetter() : context_(pango_font_map_create_context(pango_cairo_font_map_get_default())) {
    pango_cairo_context_set_resolution(context_.get(), 72.0);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    pango_cairo_context_set_font_options(context_.get(), options);
    cairo_font_options_destroy(options);
    // Whole-point glyph positions would make small scaled fonts measure far off their true width.
    pango_context_set_round_glyph_positions(context_.get(), FALSE);
}

std::unique_ptr<PangoLayout, GObjectDeleter> Typesetter::layout(const std::string& text,
                                                                const PangoFontDescription& font,
                                                                std::optional<double> limitPoints) const {
    std::unique_ptr<PangoLayout, GObjectDeleter> line(pango_layout_new(context_.get()));
    pango_layout_set_font_description(line.get(), &font);
    pango_layout_set_single_paragraph_mode(line.get(), TRUE);
    if (limitPoints) {
        pango_layout_set_width(line.get(), static_cast<int>(std::max(1.0, *limitPoints) * PANGO_SCALE));
        pango_layout_set_ellipsize(line.get(), PANGO_ELLIPSIZE_END);
    }
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr)) {
        pango_layout_set_text(line.get(), text.data(), static_cast<int>(text.size()));
    } else {
        // A stray byte in a title must not cost the line: it is drawn as a replacement mark.
        gchar* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
        pango_layout_set_text(line.get(), valid, -1);
        g_free(valid);
    }
    return line;
}

double Typesetter::baseline(const PangoFontDescription& font) const {
    return static_cast<double>(pango_layout_get_baseline(layout("X", font).get())) / PANGO_SCALE;
}

double Typesetter::logicalWidth(PangoLayout& line) {
    PangoRectangle logical{};
    pango_layout_get_extents(&line, nullptr, &logical);
    return static_cast<double>(logical.width) / PANGO_SCALE;
}

cairo_status_t appendBytes(void* closure, const unsigned char* data, unsigned int length) {
    static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
}

} // namespace orvane::detail
