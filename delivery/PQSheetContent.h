#pragma once
// What a PQ sheet says, as plain text before any drawing: the columns the model asks for, one row
// of cell texts per track, the head lines and the lead-out. The PDF and the CSV are both made from
// this, so they cannot disagree. Pure functions of their inputs; any thread.

#include "delivery/PQSheetModel.h"
#include "model/CDProject.h"
#include "model/TrackLoudness.h"
#include "model/TrackPosition.h"
#include "model/Uuid.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace orvane {

// Measured loudness by track id; a track without an entry shows "—".
using TrackLoudnessMap = std::unordered_map<Uuid, TrackLoudness>;

struct PQSheetColumn {
    std::string header;
    std::optional<double> width; // points; nothing: the widest of header and values at the body font + 10
    bool rightAlign = false;

    bool operator==(const PQSheetColumn&) const = default;
};

struct PQSheetHeadLine {
    std::string label; // "Album", "Performer", "UPC/EAN", "Client", "Engineer", "Loudness", "Note"
    std::string value;

    bool operator==(const PQSheetHeadLine&) const = default;
};

struct PQSheetContent {
    std::vector<PQSheetColumn> columns;         // "#" first, then the model's columns in fixed order
    std::vector<std::vector<std::string>> rows; // one per position with a matching track, a cell per column
    std::vector<PQSheetHeadLine> headLines;     // "Album" always, the others only when they have a value
    std::optional<std::string> leadOutTime;     // with includeTotal and a position: the last endLBA

    // Walks the positions in order; a position whose track number has no track ends the rows.
    static PQSheetContent make(const CDProject& project, const std::vector<TrackPosition>& positions,
                               const PQSheetModel& model, const TrackLoudnessMap& loudness,
                               const std::optional<TrackLoudness>& albumLoudness);

    // "%02d:%02d:%02d" of minutes (frames / 4500), seconds and frames; minutes do not wrap.
    static std::string timeText(std::int64_t frames);

    bool operator==(const PQSheetContent&) const = default;
};

} // namespace orvane
