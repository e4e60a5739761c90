#include "delivery/MasteringReportBuilder.h"

#include "delivery/detail/PdfText.h"
#include "delivery/detail/RasterImage.h"
#include "model/DeliverySanitizing.h"
#include "platform/AudioFileReader.h"

#include <cairo-pdf.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <mutex>
#include <numeric>

namespace orvane::MasteringReportBuilder {

namespace {

using detail::Font;
using detail::makeFont;
using detail::Typesetter;

constexpr double kStudioPoints = 19.0;
constexpr double kTitlePoints = 16.0;
constexpr double kSmallPoints = 8.5;
constexpr double kLabelPoints = 7.5;
constexpr double kValuePoints = 9.5;
constexpr double kTablePoints = 9.0;
constexpr double kCellInset = 4.0;
constexpr double kValueX = 108.0;
constexpr const char* kDash = "\u2014";

std::string oneDecimal(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return "";
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

struct Column {
    std::string header;
    std::optional<double> width; // nothing: as wide as its widest text + 10
    bool rightAlign = false;
};

struct Table {
    std::vector<Column> columns;
    std::vector<std::vector<std::string>> rows;
    std::vector<std::size_t> trackIndexes; // the track of each row
    std::vector<double> widths;
    double scale = 1.0;
    double rowHeight = 14.0;
};

Table makeTable(const CDProject& project, const std::vector<TrackPosition>& positions, bool notes,
                const TrackLoudnessMap& loudness, const Typesetter& setter) {
    Table table;
    table.columns = {{"#", 24.0, false}, {"TITLE", std::nullopt, false}};
    if (notes)
        table.columns.push_back({"NOTE", std::nullopt, false});
    table.columns.insert(table.columns.end(), {{"ISRC", 92.0, false},
                                               {"START", 58.0, true},
                                               {"LENGTH", 58.0, true},
                                               {"LUFS", 46.0, true},
                                               {"dBTP", 46.0, true},
                                               {"LRA", 42.0, true}});
    for (const auto& position : positions) {
        if (position.trackIndex < 1 || static_cast<std::size_t>(position.trackIndex) > project.tracks.size())
            break;
        const auto index = static_cast<std::size_t>(position.trackIndex - 1);
        const CDTrack& track = project.tracks[index];
        char number[24];
        std::snprintf(number, sizeof number, "%02zu", index + 1);
        std::vector<std::string> row{number, track.title};
        if (notes)
            row.push_back(track.note.value_or(""));
        row.push_back(DDPWriter::sanitizedISRC(track.isrc));
        row.push_back(PQSheetContent::timeText(position.index01LBA));
        row.push_back(PQSheetContent::timeText(position.endLBA - position.index01LBA));
        const auto found = loudness.find(track.id);
        if (found == loudness.end()) {
            row.insert(row.end(), {kDash, kDash, kDash});
        } else {
            row.push_back(oneDecimal(found->second.lufs));
            row.push_back(oneDecimal(found->second.truePeak));
            row.push_back(found->second.lra ? oneDecimal(*found->second.lra) : kDash);
        }
        table.rows.push_back(std::move(row));
        table.trackIndexes.push_back(index);
    }
    const Font body = makeFont(detail::kMonoFamily, PANGO_WEIGHT_NORMAL, kTablePoints);
    for (std::size_t c = 0; c < table.columns.size(); ++c) {
        if (table.columns[c].width) {
            table.widths.push_back(*table.columns[c].width);
            continue;
        }
        double widest = setter.width(table.columns[c].header, *body);
        for (const auto& row : table.rows)
            widest = std::max(widest, setter.width(row[c], *body));
        table.widths.push_back(widest + 10.0);
    }
    const double available = pageWidthPoints - 2 * marginPoints;
    const double total = std::accumulate(table.widths.begin(), table.widths.end(), 0.0);
    if (total > available) {
        table.scale = available / total;
        for (auto& w : table.widths)
            w *= table.scale;
    }
    table.rowHeight = std::max(14.0 * table.scale, 8.0);
    return table;
}

using detail::Surface;

// The logo as an image surface, or nothing when the bytes are not an image of positive size.
Surface decodeLogo(const std::optional<std::vector<std::uint8_t>>& bytes) {
    if (!bytes || bytes->empty())
        return nullptr;
    return detail::decodeRasterImage(*bytes);
}

enum class Align { left, right };

class ReportPainter final {
  public:
    ReportPainter(cairo_t* cr, const Typesetter& setter, const CDProject& project,
                  const std::vector<TrackPosition>& positions, const MasteringReportModel& model,
                  const std::optional<TrackLoudness>& album, const Table& table)
        : cr_(cr), setter_(setter), project_(project), positions_(positions), model_(model), album_(album),
          table_(table), studio_(makeFont(detail::kSansFamily, PANGO_WEIGHT_BOLD, kStudioPoints)),
          title_(makeFont(detail::kSansFamily, PANGO_WEIGHT_BOLD, kTitlePoints)),
          small_(makeFont(detail::kSansFamily, PANGO_WEIGHT_NORMAL, kSmallPoints)),
          label_(makeFont(detail::kSansFamily, PANGO_WEIGHT_BOLD, kLabelPoints)),
          value_(makeFont(detail::kSansFamily, PANGO_WEIGHT_NORMAL, kValuePoints)),
          tableHeader_(makeFont(detail::kSansFamily, PANGO_WEIGHT_BOLD, kLabelPoints * table.scale)),
          tableBody_(makeFont(detail::kMonoFamily, PANGO_WEIGHT_NORMAL, kTablePoints * table.scale)),
          labelDrop_(setter.baseline(*value_) - setter.baseline(*label_)) {}

    void paint() {
        beginPage();
        drawBranding();
        drawTitleAndHead();
        drawLoudness();
        drawTableHeader();
        for (const auto& row : table_.rows) {
            if (y_ + table_.rowHeight > bottom())
                nextPage(true);
            drawCells(row, *tableBody_);
            y_ += table_.rowHeight;
        }
        if (!table_.rows.empty()) {
            y_ += 2.0;
            rule(y_);
            y_ += 6.0;
            if (y_ + 30.0 > bottom())
                nextPage(false);
            text(marginPoints, y_ + labelDrop_, "TOTAL", *label_);
            text(kValueX, y_, totalText(), *value_);
            y_ += 13.0;
        }
        if (model_.includeSourceFiles() && !table_.rows.empty())
            drawSourceFiles();
        endPage();
    }

  private:
    double bottom() const { return pageHeightPoints - marginPoints - 14.0; }
    double right() const { return pageWidthPoints - marginPoints; }

    std::string totalText() const {
        return std::to_string(table_.rows.size()) + " tracks, " +
               PQSheetContent::timeText(positions_.empty() ? 0 : positions_.back().endLBA);
    }

    void beginPage() {
        ++page_;
        y_ = marginPoints;
        if (page_ > 1) {
            text(marginPoints, y_, "MASTERING REPORT \u2014 page " + std::to_string(page_), *small_);
            y_ += 16.0;
        }
    }
    void endPage() {
        const double footerY = pageHeightPoints - marginPoints + 6.0;
        text(marginPoints, footerY, "Generated by Orvane", *small_);
        text(right(), footerY, "Page " + std::to_string(page_), *small_, Align::right);
        cairo_show_page(cr_);
    }
    void nextPage(bool withTableHeader) {
        endPage();
        beginPage();
        if (withTableHeader)
            drawTableHeader();
    }

    void drawBranding() {
        bool drawn = false;
        double bottomY = y_;
        if (const Surface logo = decodeLogo(model_.logoData())) {
            const double w = cairo_image_surface_get_width(logo.get());
            const double h = cairo_image_surface_get_height(logo.get());
            const LogoBox box = logoBox(w, h);
            cairo_save(cr_);
            cairo_translate(cr_, right() - box.width, y_);
            cairo_scale(cr_, box.width / w, box.height / h);
            cairo_set_source_surface(cr_, logo.get(), 0, 0);
            cairo_paint(cr_);
            cairo_restore(cr_);
            bottomY = std::max(bottomY, y_ + box.height);
            drawn = true;
        }
        // The name and contact keep clear of the logo's column.
        const double textLimit = right() - marginPoints - (drawn ? logoMaxWidthPoints + 8.0 : 0.0);
        double textY = y_;
        if (const auto name = trimmed(model_.studioName()); !name.empty()) {
            text(marginPoints, textY, name, *studio_, Align::left, textLimit);
            textY += 26.0;
            drawn = true;
        }
        if (const auto contact = trimmed(model_.studioContact()); !contact.empty()) {
            text(marginPoints, textY, contact, *small_, Align::left, textLimit);
            textY += 14.0;
            drawn = true;
        }
        if (drawn) {
            y_ = std::max(bottomY, textY) + 8.0;
            rule(y_);
            y_ += 14.0;
        }
    }

    void drawTitleAndHead() {
        text(marginPoints, y_, "MASTERING REPORT", *title_);
        text(right(), y_ + 5.0, model_.dateString(), *value_, Align::right);
        y_ += 28.0;
        const auto line = [&](const std::string& label, const std::string& value) {
            if (value.empty())
                return;
            text(marginPoints, y_ + labelDrop_, label, *label_);
            text(kValueX, y_, value, *value_, Align::left, right() - kValueX);
            y_ += 14.0;
        };
        line("Album", project_.albumTitle.empty() ? "Untitled" : project_.albumTitle);
        line("Performer", project_.albumPerformer.value_or(""));
        line("UPC/EAN", DDPWriter::sanitizedMCN(project_.mcn));
        line("Client", model_.client());
        line("Engineer", model_.engineer());
        line("Format", "CD-DA \u2014 44.1 kHz / 16-bit");
        if (!table_.rows.empty()) {
            line("Programme",
                 std::to_string(table_.rows.size()) + " tracks \u00b7 total " +
                     PQSheetContent::timeText(positions_.empty() ? 0 : positions_.back().endLBA));
        }
        line("Note", project_.masterNote.value_or(""));
    }

    void drawLoudness() {
        y_ += 8.0;
        if (!album_) {
            text(marginPoints, y_,
                 "Loudness not measured \u2014 run Export \u2192 Analyze Loudness (Ctrl+L) to include R128 "
                 "figures.",
                 *small_);
            y_ += 18.0;
            return;
        }
        const double width = right() - marginPoints;
        cairo_set_source_rgb(cr_, 0.93, 0.93, 0.93);
        cairo_rectangle(cr_, marginPoints, y_, width, 42.0);
        cairo_fill(cr_);
        const std::string cells[3][2] = {
            {"INTEGRATED LOUDNESS", oneDecimal(album_->lufs) + " LUFS"},
            {"TRUE PEAK", oneDecimal(album_->truePeak) + " dBTP"},
            {"LOUDNESS RANGE", album_->lra ? oneDecimal(*album_->lra) + " LU" : kDash},
        };
        for (int i = 0; i < 3; ++i) {
            const double x = marginPoints + width / 3.0 * i + 14.0;
            text(x, y_ + 7.0, cells[i][0], *label_);
            text(x, y_ + 25.0 - setter_.baseline(*value_) + setter_.baseline(*label_), cells[i][1], *value_);
        }
        text(right() - 6.0, y_ + 4.0, "EBU R128", *label_, Align::right);
        y_ += 56.0;
    }

    void drawTableHeader() {
        std::vector<std::string> headers;
        for (const auto& column : table_.columns)
            headers.push_back(column.header);
        drawCells(headers, *tableHeader_);
        rule(y_ + 11.0);
        y_ += 16.0;
    }

    void drawCells(const std::vector<std::string>& cells, const PangoFontDescription& font) {
        double x = marginPoints;
        for (std::size_t c = 0; c < cells.size() && c < table_.widths.size(); ++c) {
            const double width = table_.widths[c];
            if (table_.columns[c].rightAlign)
                text(x + width - kCellInset, y_, cells[c], font, Align::right, width - kCellInset);
            else
                text(x, y_, cells[c], font, Align::left, width - kCellInset);
            x += width;
        }
    }

    void drawSourceFiles() {
        y_ += 12.0;
        if (y_ + 46.0 > bottom())
            nextPage(false);
        text(marginPoints, y_, "SOURCE FILES", *label_);
        rule(y_ + 11.0);
        y_ += 16.0;
        const double infoLeft = right() - 100.0;
        for (std::size_t r = 0; r < table_.rows.size(); ++r) {
            if (y_ + table_.rowHeight > bottom())
                nextPage(false);
            const CDTrack& track = project_.tracks[table_.trackIndexes[r]];
            text(marginPoints, y_, table_.rows[r][0], *tableBody_, Align::left, 24.0 - kCellInset);
            const std::string name = track.audioFileURL ? track.audioFileURL->lastPathComponent() : "";
            text(70.0, y_, name, *tableBody_, Align::left, infoLeft - 70.0 - kCellInset);
            if (track.audioFileURL)
                text(right() - kCellInset, y_, sourceFileInfo(*track.audioFileURL), *tableBody_, Align::right,
                     100.0 - kCellInset);
            y_ += table_.rowHeight;
        }
    }

    void text(double x, double y, const std::string& line, const PangoFontDescription& font,
              Align align = Align::left, std::optional<double> limit = std::nullopt) {
        if (line.empty())
            return;
        auto layout = setter_.layout(line, font, limit);
        const double width = Typesetter::logicalWidth(*layout);
        cairo_set_source_rgb(cr_, 0.0, 0.0, 0.0);
        cairo_move_to(cr_, align == Align::right ? x - width : x, y);
        pango_cairo_show_layout(cr_, layout.get());
    }

    void rule(double y) {
        cairo_set_source_rgb(cr_, 0.6, 0.6, 0.6);
        cairo_set_line_width(cr_, 0.5);
        cairo_move_to(cr_, marginPoints, y);
        cairo_line_to(cr_, right(), y);
        cairo_stroke(cr_);
    }

    cairo_t* cr_;
    const Typesetter& setter_;
    const CDProject& project_;
    const std::vector<TrackPosition>& positions_;
    const MasteringReportModel& model_;
    const std::optional<TrackLoudness>& album_;
    const Table& table_;
    Font studio_, title_, small_, label_, value_, tableHeader_, tableBody_;
    double labelDrop_;
    double y_ = 0.0;
    int page_ = 0;
};

} // namespace

LogoBox logoBox(double imageWidth, double imageHeight) {
    if (imageWidth <= 0.0 || imageHeight <= 0.0)
        return {};
    const double factor = std::min(logoMaxWidthPoints / imageWidth, logoMaxHeightPoints / imageHeight);
    return {imageWidth * factor, imageHeight * factor};
}

std::string sourceFileInfo(const FileURL& url) {
    static std::mutex lock;
    static std::map<std::string, std::string> known;
    {
        const std::lock_guard guard(lock);
        if (const auto found = known.find(url.absoluteString); found != known.end())
            return found->second;
    }
    std::string info = kDash;
    if (auto reader = AudioFileReader::open(url.path()); reader && reader->sampleRate() > 0.0) {
        const double kHz = reader->sampleRate() / 1000.0;
        char text[64];
        if (kHz == std::floor(kHz))
            std::snprintf(text, sizeof text, "%.0f kHz", kHz);
        else
            std::snprintf(text, sizeof text, "%.1f kHz", kHz);
        info = text;
        if (const int depth = AudioFileFormats::bitDepth(reader->fileFormat().sampleFormat); depth > 0)
            info += " / " + std::to_string(depth) + "-bit";
    }
    const std::lock_guard guard(lock);
    known.emplace(url.absoluteString, info);
    return info;
}

tl::expected<std::string, std::string> pdfData(const CDProject& project,
                                               const std::vector<TrackPosition>& positions,
                                               const MasteringReportModel& model,
                                               const TrackLoudnessMap& loudness,
                                               const std::optional<TrackLoudness>& albumLoudness) {
    const Typesetter setter;
    const Table table = makeTable(project, positions, model.includeTrackNotes(), loudness, setter);
    std::string bytes;
    cairo_surface_t* surface =
        cairo_pdf_surface_create_for_stream(detail::appendBytes, &bytes, pageWidthPoints, pageHeightPoints);
    cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_TITLE, "Mastering Report");
    cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_CREATOR, "Orvane");
    cairo_t* cr = cairo_create(surface);
    ReportPainter(cr, setter, project, positions, model, albumLoudness, table).paint();
    cairo_status_t status = cairo_status(cr);
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    if (status == CAIRO_STATUS_SUCCESS)
        status = cairo_surface_status(surface);
    cairo_surface_destroy(surface);
    if (status != CAIRO_STATUS_SUCCESS)
        return tl::unexpected(std::string("The mastering report could not be drawn: ") +
                              cairo_status_to_string(status) + ".");
    return bytes;
}

} // namespace orvane::MasteringReportBuilder
