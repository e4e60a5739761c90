#pragma once
// The rules of the bar at the top of the window: the time display and its three modes, the track
// number, the transport keys' tooltips, the zoom cross and the monitor knob. Values for the shell to
// show; the engine's commands stay the workspace's. Main thread only.

#include "interface/Viewport.h"
#include "model/ProjectEnums.h"
#include "model/TrackPosition.h"
#include "monitoring/TimecodeOverride.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

class WorkspaceState;

namespace TransportBar {

// --- Time display ---
enum class TimeMode { elapsed = 0, trackRemaining = 1, discRemaining = 2 };
// A stored value outside 0...2 reads as elapsed.
TimeMode timeModeFromRaw(std::int64_t raw);
TimeMode nextTimeMode(TimeMode mode); // a click cycles through the three
inline constexpr std::string_view timeModeTooltip =
    "Click to cycle time mode: elapsed · track remaining · disc remaining";

struct TimeDisplay {
    std::string legend;                      // "TIME", "TRK −" or "TOT −"
    std::string time;                        // "mm:ss:ff" of truncate(value * 75)
    std::string trackNumber;                 // "%02d", or "--" with no track under the playhead
    std::optional<std::string> overrideKind; // "PIN" or "LOOP" while a flag is dragged
    bool operator==(const TimeDisplay&) const = default;
};
// `t` is the playhead in seconds, `totalDuration` the disc's.
TimeDisplay timeDisplay(TimeMode mode, double t, double totalDuration,
                        const std::vector<TrackPosition>& positions,
                        const std::optional<TimecodeOverride>& timecodeOverride = std::nullopt);

// --- Transport keys ---
std::string previousTooltip(double prerollSeconds);
std::string nextTooltip(double prerollSeconds);
inline constexpr std::string_view rewindTooltip =
    "Rewind — tape spool 2×/5×/10× (press again to speed up, Stop/Play to release)";
inline constexpr std::string_view fastForwardTooltip =
    "Fast-forward — tape spool 2×/5×/10× (press again to speed up, Stop/Play to release)";
inline constexpr std::string_view pinTooltip = "Lock play start at playhead (press again to unlock)";
inline constexpr double prerollChoices[] = {0.0, 1.0, 3.0, 5.0, 10.0};
// The pin key: locks the play start at the playhead, or unlocks it.
void togglePin(WorkspaceState& ws);

// --- Scroll-mode buttons and the bar's options ---
struct ScrollModeButton {
    ScrollMode mode = ScrollMode::none;
    std::string title;
    bool lit = false;
    bool operator==(const ScrollModeButton&) const = default;
};
// One button per scroll mode, in declaration order; the chosen one lit.
std::vector<ScrollModeButton> scrollModeButtons(ScrollMode chosen);
inline constexpr std::string_view openTooltip = "Open Project (Ctrl+O)";
inline constexpr std::string_view saveTooltip = "Save Project (Ctrl+S)";
inline constexpr std::string_view vinylTooltip = "Vinyl mode (Alt+Ctrl+V) — right-click to pick side";
inline constexpr std::string_view toolbarOptions[] = {"VU Meter", "Spectrum Analyzer", "Correlation Meter",
                                                      "RT LUFS Readout", "Clip Detection"};

// --- Zoom cross ---
enum class ZoomWedge { right, left, up, down, centre };
std::string_view zoomTooltip(ZoomWedge wedge);
// Applies one click: horizontal * or / 1.5, vertical * or / 1.25 within the limits, or a centring
// request to the timeline.
void applyZoom(ZoomWedge wedge, ViewportState& viewport, WorkspaceState& ws);

// --- Monitor knob ---
class VolumeKnob final {
  public:
    static constexpr double dragSpanPoints = 190.0; // a drag of this many points spans the range
    static constexpr double deadZonePoints = 2.0;
    static constexpr double wheelStep = 0.02;
    static constexpr double wheelCommitDelay = 0.25;

    explicit VolumeKnob(double value = 1.0) : value_(value) {}
    double value() const { return liveValue_.value_or(value_); }
    double committedValue() const { return value_; }
    void setValue(double value); // from the model
    // The dial's angle in degrees: -135 at 0, +135 at 1.
    static double angleDegrees(double value);

    void beginDrag();
    // `dy` points since the press, positive downward. Returns the live value once the drag moved more
    // than 2 points (nothing before, and the first 2 points count for nothing).
    std::optional<double> dragTo(double dy);
    // Ends the drag; the value to commit, if it moved.
    std::optional<double> endDrag();
    // One wheel step (positive raises); the value to show at once. The commit waits for a pause.
    double wheel(double steps);
    std::optional<double> takeWheelCommit(); // the value a pause commits, once

  private:
    double value_;
    std::optional<double> dragStartValue_;
    std::optional<double> liveValue_;
    bool wheelPending_ = false;
};

inline constexpr std::string_view knobTooltip = "Monitor volume (double-click = DIM −50 %)";
inline constexpr std::string_view knobScrubTooltip =
    "Scrub level — % of monitor volume (right-click knob to exit)";

// --- Tiers ---
enum class MasterBarTier { single, twoRow };
inline constexpr double tierSlackPoints = 12.0;
// Two rows when the bar's groups, with their spacing, less 12 points of slack, don't fit the
// window; one row until the groups' widths are known.
MasterBarTier barTier(double windowWidth, const std::optional<std::vector<double>>& groupWidths,
                      double spacing);

} // namespace TransportBar

} // namespace orvane
