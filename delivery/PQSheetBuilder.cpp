#include "delivery/PQSheetBuilder.h"

#include "delivery/detail/PdfText.h"
#include "platform/AtomicFile.h"

#include <cairo-pdf.h>
#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <memory>
#include <numeric>

namespace orvane {

namespace {

// ---- CSV ----

std::string csvField(const std::string& text) {
    if (text.find_first_of(",\"") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (char c : text) {
        quoted += c;
        if (c == '"')
            quoted += '"';
    }
    return quoted + '"';
}

std::string csvLine(const std::vector<std::string>& fields) {
    std::string line;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i > 0)
            line += ',';
        line += csvField(fields[i]);
    }
    return line + '\n';
}

// ---- Typesetting ----

using detail::Font;
using detail::kMonoFamily;
using detail::kSansFamily;
using detail::makeFont;
using detail::Typesetter;

constexpr double kTitlePoints = 15.0;
constexpr double kLabelPoints = 7.5;
constexpr double kTextPoints = 9.0;
constexpr double kFooterPoints = 6.5;
constexpr double kCellInsetPoints = 4.0;
constexpr double kRuleGray = 0.6;
constexpr double kRuleWidthPoints = 0.5;

PQSheetTableLayout layoutWith(const Typesetter& setter, const PQSheetContent& content,
                              const PQSheetModel& model) {
    const Font body = makeFont(kMonoFamily, PANGO_WEIGHT_NORMAL, kTextPoints);
    PQSheetTableLayout layout;
    for (std::size_t c = 0; c < content.columns.size(); ++c) {
        const auto& column = content.columns[c];
        if (column.width) {
            layout.columnWidths.push_back(*column.width);
            continue;
        }
        double widest = setter.width(column.header, *body);
        for (const auto& row : content.rows)
            widest = std::max(widest, setter.width(row[c], *body));
        layout.columnWidths.push_back(widest + 10.0);
    }
    const double pageWidth =
        model.landscape ? PQSheetBuilder::a4LongSidePoints : PQSheetBuilder::a4ShortSidePoints;
    const double available = pageWidth - 2 * PQSheetBuilder::marginPoints;
    const double total = std::accumulate(layout.columnWidths.begin(), layout.columnWidths.end(), 0.0);
    if (model.autoFit && total > available) {
        layout.scale = available / total;
        for (auto& width : layout.columnWidths)
            width *= layout.scale;
    }
    layout.rowHeightPoints = std::max(14.0 * layout.scale, 8.0);
    return layout;
}

// ---- Drawing ----

enum class Align { left, right };

// Draws one sheet page by page on a PDF context; y runs down from the top of the page.
class SheetPainter final {
  public:
    SheetPainter(cairo_t* cr, const Typesetter& setter, const PQSheetContent& content,
                 const PQSheetModel& model, const PQSheetTableLayout& table)
        : cr_(cr), setter_(setter), content_(content), model_(model), table_(table),
          pageWidth_(model.landscape ? PQSheetBuilder::a4LongSidePoints : PQSheetBuilder::a4ShortSidePoints),
          pageHeight_(model.landscape ? PQSheetBuilder::a4ShortSidePoints : PQSheetBuilder::a4LongSidePoints),
          title_(makeFont(kSansFamily, PANGO_WEIGHT_BOLD, kTitlePoints)),
          label_(makeFont(kSansFamily, PANGO_WEIGHT_BOLD, kLabelPoints)),
          text_(makeFont(kSansFamily, PANGO_WEIGHT_NORMAL, kTextPoints)),
          footer_(makeFont(kSansFamily, PANGO_WEIGHT_NORMAL, kFooterPoints)),
          tableHeader_(makeFont(kSansFamily, PANGO_WEIGHT_BOLD, kLabelPoints * table.scale)),
          tableBody_(makeFont(kMonoFamily, PANGO_WEIGHT_NORMAL, kTextPoints * table.scale)),
          labelDrop_(setter.baseline(*text_) - setter.baseline(*label_)) {}

    void paint() {
        beginPage();
        const double bottom = pageHeight_ - margin - 14.0;
        for (const auto& row : content_.rows) {
            if (y_ + table_.rowHeightPoints > bottom)
                nextPage();
            drawCells(row, *tableBody_);
            y_ += table_.rowHeightPoints;
        }
        if (content_.leadOutTime) {
            // The two closing lines move to a fresh page rather than run into the footer.
            if (y_ + 2.0 + 6.0 + 13.0 + table_.rowHeightPoints > bottom)
                nextPage();
            drawTotals(*content_.leadOutTime);
        }
        endPage();
    }

  private:
    static constexpr double margin = PQSheetBuilder::marginPoints;

    void nextPage() {
        endPage();
        beginPage();
    }

    void beginPage() {
        ++page_;
        y_ = margin;
        if (page_ == 1) {
            drawHead();
        } else {
            text(margin, y_, "PQ SHEET \u2014 page " + std::to_string(page_), *label_);
            y_ += 16.0;
        }
        std::vector<std::string> headers;
        for (const auto& column : content_.columns)
            headers.push_back(column.header);
        drawCells(headers, *tableHeader_);
        rule(y_ + 11.0);
        y_ += 16.0;
    }

    void endPage() {
        const double footerY = pageHeight_ - margin + 6.0;
        text(margin, footerY, "Generated by Orvane", *footer_);
        text(pageWidth_ - margin, footerY, "Page " + std::to_string(page_), *footer_, Align::right);
        cairo_show_page(cr_);
    }

    void drawHead() {
        text(margin, y_, "PQ SHEET", *title_);
        text(pageWidth_ - margin, y_ + 4.0, model_.dateString, *text_, Align::right);
        y_ += 22.0;
        for (const auto& line : content_.headLines) {
            text(margin, y_ + labelDrop_, line.label, *label_);
            text(margin + 58.0, y_, line.value, *text_);
            y_ += 13.0;
        }
        y_ += 6.0;
        rule(y_);
        y_ += 8.0;
    }

    void drawTotals(const std::string& leadOutTime) {
        y_ += 2.0;
        rule(y_);
        y_ += 6.0;
        text(margin, y_ + labelDrop_, "LEAD-OUT", *label_);
        text(216.0, y_, leadOutTime, *text_, Align::right);
        y_ += 13.0;
        text(margin, y_ + labelDrop_, "TOTAL", *label_);
        text(100.0, y_, std::to_string(content_.rows.size()) + " tracks, " + leadOutTime, *text_);
    }

    // One table line from the left margin, each cell as wide as its column.
    void drawCells(const std::vector<std::string>& cells, const PangoFontDescription& font) {
        double x = margin;
        for (std::size_t c = 0; c < cells.size() && c < table_.columnWidths.size(); ++c) {
            const double width = table_.columnWidths[c];
            const double limit = width - kCellInsetPoints;
            if (content_.columns[c].rightAlign)
                text(x + width - kCellInsetPoints, y_, cells[c], font, Align::right, limit);
            else
                text(x, y_, cells[c], font, Align::left, limit);
            x += width;
        }
    }

    // A line of text whose box starts at y; right-aligned text ends at x.
    void text(double x, double y, const std::string& line, const PangoFontDescription& font,
              Align align = Align::left, std::optional<double> limitPoints = std::nullopt) {
        if (line.empty())
            return;
        auto layout = setter_.layout(line, font, limitPoints);
        const double width = Typesetter::logicalWidth(*layout);
        cairo_set_source_rgb(cr_, 0.0, 0.0, 0.0);
        cairo_move_to(cr_, align == Align::right ? x - width : x, y);
        pango_cairo_show_layout(cr_, layout.get());
    }

    void rule(double y) {
        cairo_set_source_rgb(cr_, kRuleGray, kRuleGray, kRuleGray);
        cairo_set_line_width(cr_, kRuleWidthPoints);
        cairo_move_to(cr_, margin, y);
        cairo_line_to(cr_, pageWidth_ - margin, y);
        cairo_stroke(cr_);
    }

    cairo_t* cr_;
    const Typesetter& setter_;
    const PQSheetContent& content_;
    const PQSheetModel& model_;
    const PQSheetTableLayout& table_;
    double pageWidth_;
    double pageHeight_;
    Font title_, label_, text_, footer_, tableHeader_, tableBody_;
    double labelDrop_; // lowers a small bold label onto the baseline of the text beside it
    double y_ = 0.0;
    int page_ = 0;
};

} // namespace

namespace PQSheetBuilder {

std::string csv(const CDProject& project, const std::vector<TrackPosition>& positions,
                const PQSheetModel& model, const TrackLoudnessMap& loudness) {
    const PQSheetContent content = PQSheetContent::make(project, positions, model, loudness, std::nullopt);
    std::vector<std::string> headers;
    for (const auto& column : content.columns)
        headers.push_back(column.header);
    std::string text = csvLine(headers);
    for (const auto& row : content.rows)
        text += csvLine(row);
    if (content.leadOutTime)
        text += "\n" + csvLine({"LEAD-OUT", *content.leadOutTime});
    return text;
}

PQSheetTableLayout tableLayout(const PQSheetContent& content, const PQSheetModel& model) {
    const Typesetter setter;
    return layoutWith(setter, content, model);
}

} // namespace PQSheetBuilder

namespace PQSheetBuilder {

tl::expected<std::string, std::string> pdfData(const CDProject& project,
                                               const std::vector<TrackPosition>& positions,
                                               const PQSheetModel& model, const TrackLoudnessMap& loudness,
                                               const std::optional<TrackLoudness>& albumLoudness) {
    const PQSheetContent content = PQSheetContent::make(project, positions, model, loudness, albumLoudness);
    const Typesetter setter;
    const PQSheetTableLayout table = layoutWith(setter, content, model);

    std::string bytes;
    const double width = model.landscape ? a4LongSidePoints : a4ShortSidePoints;
    const double height = model.landscape ? a4ShortSidePoints : a4LongSidePoints;
    cairo_surface_t* surface =
        cairo_pdf_surface_create_for_stream(detail::appendBytes, &bytes, width, height);
    cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_TITLE, "PQ Sheet");
    cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_CREATOR, "Orvane");
    cairo_t* cr = cairo_create(surface);
    SheetPainter(cr, setter, content, model, table).paint();
    cairo_status_t status = cairo_status(cr);
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    if (status == CAIRO_STATUS_SUCCESS)
        status = cairo_surface_status(surface);
    cairo_surface_destroy(surface);
    if (status != CAIRO_STATUS_SUCCESS)
        return tl::unexpected(std::string("The PQ sheet could not be drawn: ") +
                              cairo_status_to_string(status) + ".");
    return bytes;
}

TrackLoudnessMap storedLoudness(const CDProject& project) {
    TrackLoudnessMap loudness;
    for (const auto& track : project.tracks)
        if (track.loudness && track.loudness->matches(track.audioFileURL))
            loudness[track.id] =
                TrackLoudness{track.loudness->lufs, track.loudness->truePeak, track.loudness->lra};
    return loudness;
}

tl::expected<PQSheetFiles, std::string> exportFiles(const CDProject& project,
                                                    const std::vector<TrackPosition>& positions,
                                                    const TrackLoudnessMap& loudness,
                                                    const std::optional<TrackLoudness>& albumLoudness) {
    const PQSheetModel model;
    auto pdf = pdfData(project, positions, model, loudness, albumLoudness);
    if (!pdf)
        return tl::unexpected(pdf.error());
    return PQSheetFiles{std::move(*pdf), csv(project, positions, model, loudness)};
}

tl::expected<void, std::string> writeFiles(const std::filesystem::path& folder, const CDProject& project,
                                           const std::vector<TrackPosition>& positions,
                                           const PQSheetModel& model, const TrackLoudnessMap& loudness,
                                           const std::optional<TrackLoudness>& albumLoudness) {
    // Both are made before either is written, so a drawing failure leaves the folder untouched.
    const auto pdf = pdfData(project, positions, model, loudness, albumLoudness);
    if (!pdf)
        return tl::unexpected(pdf.error());
    const std::string text = csv(project, positions, model, loudness);
    if (auto written = AtomicFile::write(folder / pdfFileName, *pdf); !written)
        return written;
    return AtomicFile::write(folder / csvFileName, text);
}

} // namespace PQSheetBuilder

} // namespace orvane

#if defined(__SANITIZE_ADDRESS__)
// fontconfig keeps the font patterns that pango asked for in caches it frees only at FcFini, which
// nothing calls before exit; without this the leak checker fails every program that drew a sheet.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}
extern "C" const char* __lsan_default_options() {
    return "print_suppressions=0";
}
#endif
