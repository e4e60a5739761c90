#pragma once
// The zoom and scroll state of the timeline's scroll view: the content width, where the view
// scrolls after a zoom or a centring request, when the canvas must be redrawn whole, and how the
// view follows the playhead while the engine plays. Main thread only.

#include "interface/Viewport.h"
#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "model/ProjectEnums.h"
#include "model/TrackPosition.h"
#include "model/Uuid.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orvane {

class WorkspaceState;

// The scroll view's visible part and its content, in canvas points.
struct ScrollGeometry {
    double originX = 0.0; // the visible part's left edge
    double visibleWidth = 0.0;
    double contentWidth = 0.0;
    double maxX() const { return originX + visibleWidth; }
    bool operator==(const ScrollGeometry&) const = default;
};

// Everything drawn whole: when it changes, the canvas is redrawn in full.
struct CanvasFingerprint {
    double pps = 0.0;
    double amplitudeZoom = 0.0;
    std::optional<Uuid> selectedTrackID;
    bool vinylMode = false;
    std::int64_t activeSideIndex = 0;
    std::vector<TrackPosition> positions;
    std::vector<CDTrack> tracks;
    std::optional<FileURL> previewURL;
    std::optional<Uuid> previewSourceID;
    std::int64_t previewLengthFrames = 0;
    std::size_t previewPeaksCount = 0;
    std::uint64_t previewPeaksSig = 0;
    std::optional<std::string> previewColorHex;
    std::optional<std::int64_t> loopStartFrame;
    std::optional<std::int64_t> loopEndFrame;
    std::optional<double> lockedPlayStart;
    std::vector<std::pair<Uuid, std::size_t>> peaksShape; // per shown track, the peak list's length
    std::vector<std::pair<FileURL, std::size_t>> takePeaksShape;

    static CanvasFingerprint of(const WorkspaceState& ws, const ViewportState& viewport);
    bool operator==(const CanvasFingerprint&) const = default;
};

class TimelineScroller final {
  public:
    static constexpr double followMarginPx = 20.0; // page mode turns the page this far from the edge
    static constexpr double revealFraction = 0.06; // the playhead this far in from the left
    static constexpr double defaultEmptySeconds = 120.0;

    struct ViewInput {
        double pps = 10.0;
        double currentTime = 0.0;
        double visibleWidth = 0.0;
        double contentSeconds = defaultEmptySeconds;
        std::int64_t centerOnPlayheadTrigger = 0;
        std::int64_t revealPlayheadTrigger = 0;
        CanvasFingerprint fingerprint;
        bool gestureRunning = false; // a drag asks for its own bands; no full redraw meanwhile
    };
    struct ViewUpdate {
        double contentWidth = 0.0;
        std::optional<double> scrollTo;
        bool redrawAll = false;
        bool operator==(const ViewUpdate&) const = default;
    };

    // The seconds the content spans: the last endLBA, 120 s with no track, or the audition's length.
    static double contentSeconds(const WorkspaceState& ws);
    // A ViewInput from the workspace and the viewport.
    static ViewInput inputFrom(const WorkspaceState& ws, const ViewportState& viewport, double visibleWidth,
                               bool gestureRunning);

    // One update of the scroll view after a change of state, in the fixed order: content width, a
    // zoom's scroll (to the explicit target, else centring the playhead), a centring request, a
    // reveal request, then the fingerprint.
    ViewUpdate update(const ViewInput& input);

    void setExplicitScrollTarget(double x) { explicitScrollTargetX_ = x; }
    const std::optional<double>& explicitScrollTargetX() const { return explicitScrollTargetX_; }

    struct Follow {
        std::pair<double, double> oldBand; // x - 10 to x + 10 around the old and the new playhead
        std::pair<double, double> newBand;
        std::optional<double> scrollTo;
        bool operator==(const Follow&) const = default;
    };
    // A position update from the engine: the bands to redraw and, while playing, the scroll that
    // the scroll mode asks for. `scale` is the screen's pixels per point (2 when none is known).
    static Follow follow(ScrollMode mode, double pps, double oldTime, double newTime,
                         const ScrollGeometry& view, bool playing, double scale = 2.0);

  private:
    double lastPPS_ = -1.0;
    std::optional<double> explicitScrollTargetX_;
    std::int64_t lastCenterTrigger_ = 0;
    std::int64_t lastRevealTrigger_ = 0;
    std::optional<CanvasFingerprint> lastFingerprint_;
};

} // namespace orvane
