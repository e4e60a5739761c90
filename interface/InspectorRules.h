#pragma once
// The rules in front of the inspector column's fields: the master tab's counters, marks and
// converter choice, the track tab's seconds fields (read as whole frames or samples) and their
// limits, and the texts of the take tab. Each commit goes through one workspace operation; a value
// that fails its check isn't stored and the field shows the stored value again. Main thread only.

#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "model/TrackVersion.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

class WorkspaceState;

namespace InspectorRules {

// --- Seconds typed into a field ---
// A decimal number of seconds ("1.5", "1,5", with spaces around); nothing for other text.
std::optional<double> parseSeconds(std::string_view text);
// Whole frames or samples nearest to the typed seconds, so that a value shown with two decimals
// reads back as the frame it came from.
std::int64_t framesFromSeconds(double seconds);
std::int64_t samplesFromSeconds(double seconds);
std::string secondsText(std::int64_t frames);           // "%.2f" of frames over 75
std::string secondsTextOfSamples(std::int64_t samples); // "%.2f" of samples over 44100

// --- Master tab ---
std::string discTotalText(const std::vector<TrackPosition>& positions); // "%d:%02d" of the last endLBA
inline constexpr std::string_view discTotalMax = "/ max 79:57";
inline constexpr std::string_view trackCountMax = "/ max 99";
std::size_t isrcCount(const CDProject& project);
// "SRC Cache: 12.3 MB": the cache folder's size in decimal units.
std::string cacheSizeText(std::uint64_t bytes);

struct SRCChoice {
    bool enabled = true;
    std::string tooltip;
    std::optional<std::string> mixedNote; // tracks differ while the mode isn't hybrid
    bool operator==(const SRCChoice&) const = default;
};
// `needsSRC` tells whether a track's source is at a rate other than 44,100 Hz.
SRCChoice srcChoice(const CDProject& project, const std::function<bool(const CDTrack&)>& needsSRC);

struct PhaseChoice {
    std::string shown; // "Linear", "Minimum" or "Disabled"
    std::string tooltip;
    std::optional<std::string> mixedNote;
    bool operator==(const PhaseChoice&) const = default;
};
PhaseChoice phaseChoice(const CDProject& project, const std::function<bool(const CDTrack&)>& needsSRC);

struct Mark {
    bool valid = false;
    std::string text;
    bool operator==(const Mark&) const = default;
};
// The check mark beside a non-empty MCN; the code is stored whether or not it is valid.
std::optional<Mark> mcnMark(std::string_view mcn);
void commitMCN(WorkspaceState& ws, std::string_view text);

// --- Track tab ---
// "Crossfade: 0.50s" for a negative pre-gap.
std::optional<std::string> crossfadeText(const CDTrack& track);

struct IndexOffsetField {
    std::string label;
    std::optional<std::int64_t> maxFrames; // the offset's limit, outside a crossfade
    std::optional<std::string> hint;       // "Audio before track start. Max 2.00s."
    bool operator==(const IndexOffsetField&) const = default;
};
// Nothing while INDEX 01 is locked to the audio start.
std::optional<IndexOffsetField> indexOffsetField(const CDTrack& track, std::size_t trackIndex);

struct SubIndexRow {
    std::string number; // "02", "03", ...
    std::string seconds;
    bool operator==(const SubIndexRow&) const = default;
};
std::vector<SubIndexRow> subIndexRows(const CDTrack& track);

// Each returns whether the value was stored.
bool commitPregapSeconds(WorkspaceState& ws, const Uuid& trackID, std::string_view text);
bool commitIndexOffsetSeconds(WorkspaceState& ws, const Uuid& trackID, std::string_view text);
bool commitSubIndexSeconds(WorkspaceState& ws, const Uuid& trackID, std::size_t ordinal,
                           std::string_view text);
enum class TrimEdge { start, end };
bool commitTrimSeconds(WorkspaceState& ws, const Uuid& trackID, TrimEdge edge, std::string_view text);
enum class FadeSide { in, out };
bool commitFadeSeconds(WorkspaceState& ws, const Uuid& trackID, FadeSide side, std::string_view text);
bool commitGainDB(WorkspaceState& ws, const Uuid& trackID, std::string_view text); // -24...12
// The envelope's smoothing as a percentage, 0 to 100.
double smoothingPercent(const CDTrack& track);
bool commitSmoothingPercent(WorkspaceState& ws, const Uuid& trackID, double percent);

// --- Take tab ---
std::string takeNumberText(std::int64_t number);                    // "%02d"
std::string takeLabelText(const std::optional<std::string>& label); // the label or "Untitled"
std::string versionHeading(std::size_t trackIndex);                 // "Version of Track 3"
// "-14.0 LUFS   -1.0 dBTP   6.5 LRA", or "Not measured".
std::string loudnessText(const std::optional<StoredLoudness>& loudness);
std::string analyzeButtonTitle(const std::optional<StoredLoudness>& loudness); // "Analyze" / "Re-analyze"
std::string ratingTooltip(std::int64_t stars);                                 // "Rate 3"

struct DeletePrompt {
    std::string title;
    std::string text;
    bool operator==(const DeletePrompt&) const = default;
};
DeletePrompt deleteTrackPrompt();
DeletePrompt deleteTakePrompt(bool activeTake);

} // namespace InspectorRules

} // namespace orvane
