#pragma once
// The PQ sheet that goes with a master to the plant: the disc's tracks with timing, ISRCs and flags,
// as A4 PDF pages (text embedded and selectable) and as a CSV, both from the same column list.
// Stateless functions; any thread (each call uses its own drawing context).

#include "delivery/PQSheetContent.h"
#include "delivery/PQSheetModel.h"
#include "model/CDProject.h"
#include "model/TrackLoudness.h"
#include "model/TrackPosition.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <vector>

namespace orvane {

// The two files of a sheet, as bytes.
struct PQSheetFiles {
    std::string pdf;
    std::string csv; // UTF-8, no byte-order mark

    bool operator==(const PQSheetFiles&) const = default;
};

// How the table sits on the page once content widths are measured and autoFit has had its say.
struct PQSheetTableLayout {
    std::vector<double> columnWidths; // points, after scaling
    double scale = 1.0;               // available width / table width when autoFit shrinks, else 1
    double rowHeightPoints = 14.0;    // max(14 * scale, 8)

    bool operator==(const PQSheetTableLayout&) const = default;
};

namespace PQSheetBuilder {

inline constexpr std::string_view pdfFileName = "PQSheet.pdf";
inline constexpr std::string_view csvFileName = "PQSheet.csv";

// Page box in points: A4 portrait, or turned with `landscape`.
inline constexpr double a4ShortSidePoints = 595.0;
inline constexpr double a4LongSidePoints = 842.0;
inline constexpr double marginPoints = 42.0;

// Header line, one line per track, then with includeTotal an empty line and "LEAD-OUT,<time>".
// Lines end in a line feed; a field with a comma or a double quote is quoted, inner quotes doubled.
std::string csv(const CDProject& project, const std::vector<TrackPosition>& positions,
                const PQSheetModel& model, const TrackLoudnessMap& loudness);

// Column widths, scale and row height for this content on the model's page.
PQSheetTableLayout tableLayout(const PQSheetContent& content, const PQSheetModel& model);

// The PDF's bytes. Fails only when the drawing library does, with its reason as text.
tl::expected<std::string, std::string> pdfData(const CDProject& project,
                                               const std::vector<TrackPosition>& positions,
                                               const PQSheetModel& model, const TrackLoudnessMap& loudness,
                                               const std::optional<TrackLoudness>& albumLoudness);

// The measurements stored in the project that still match their tracks' files (size and date),
// by track id. Reads file attributes; a file that cannot be read gives no entry.
TrackLoudnessMap storedLoudness(const CDProject& project);

// Both files with a fresh model's defaults: what an export adds to its fileset as "PQSheet.pdf"
// and "PQSheet.csv".
tl::expected<PQSheetFiles, std::string> exportFiles(const CDProject& project,
                                                    const std::vector<TrackPosition>& positions,
                                                    const TrackLoudnessMap& loudness,
                                                    const std::optional<TrackLoudness>& albumLoudness);

// Writes "PQSheet.pdf" and "PQSheet.csv" into an existing folder, each atomically. The error is a
// sentence for the user; a file already written stays.
tl::expected<void, std::string> writeFiles(const std::filesystem::path& folder, const CDProject& project,
                                           const std::vector<TrackPosition>& positions,
                                           const PQSheetModel& model, const TrackLoudnessMap& loudness,
                                           const std::optional<TrackLoudness>& albumLoudness);

} // namespace PQSheetBuilder

} // namespace orvane
