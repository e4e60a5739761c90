#pragma once
// The mastering report: the studio's branded PDF for the client, upright A4 pages with the studio's
// name, contact and logo, the disc's identification, the album loudness in a box, the track table
// with each track's figures and the list of source files. Text is real text in embedded fonts, so
// it can be selected and searched. Any thread; sourceFileInfo's table is shared under a lock.

#include "delivery/MasteringReportModel.h"
#include "delivery/PQSheetContent.h"
#include "model/CDProject.h"
#include "model/FileURL.h"
#include "model/TrackLoudness.h"
#include "model/TrackPosition.h"

#include <optional>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace orvane::MasteringReportBuilder {

inline constexpr double pageWidthPoints = 595.0;
inline constexpr double pageHeightPoints = 842.0;
inline constexpr double marginPoints = 46.0;
inline constexpr double logoMaxWidthPoints = 150.0;
inline constexpr double logoMaxHeightPoints = 42.0;

// The PDF's bytes; the drawing layer's failure as text otherwise. A logo that is not a readable PNG
// is left out.
tl::expected<std::string, std::string> pdfData(const CDProject& project,
                                               const std::vector<TrackPosition>& positions,
                                               const MasteringReportModel& model,
                                               const TrackLoudnessMap& loudness,
                                               const std::optional<TrackLoudness>& albumLoudness);

// "44.1 kHz / 16-bit", "96 kHz / 24-bit", "48 kHz" for a compressed file; "—" when the file can't be
// opened. Each file is opened once per process; later calls read the kept answer.
std::string sourceFileInfo(const FileURL& url);

// The logo's size on the page: scaled with one factor to fit 150 × 42 points.
struct LogoBox {
    double width = 0.0;
    double height = 0.0;
};
LogoBox logoBox(double imageWidth, double imageHeight);

} // namespace orvane::MasteringReportBuilder
