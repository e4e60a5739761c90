#pragma once
// The gesture logic of the timeline canvas: presses, drags and releases of either button, the wheel,
// the arrow keys and the hover pass, on abstract events. A gesture edits a mirror of the values it
// changes and commits them on release, so that one gesture is one undo step; only a moved track's
// pre-gap is written while it moves. What the engine must hear at once, what the view must redraw and
// where it must scroll go out through the hooks. Main thread only; made for one canvas view, and the
// workspace, viewport and loop must outlive it.

#include "interface/DragMode.h"
#include "interface/InputEvents.h"
#include "interface/TimelineHitTest.h"
#include "interface/TimelineOverlays.h"
#include "interface/TimelineScroller.h"
#include "interface/Viewport.h"
#include "model/CDTrack.h"
#include "monitoring/TimecodeOverride.h"
#include "platform/MainLoop.h"
#include "workspace/WorkspaceState.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace orvane {

// What the canvas asks of the rest of the program. Every hook may be left empty.
struct TimelineCanvasHooks {
    // A fade under drag, made audible at once (the engine's live fade).
    std::function<void(const Uuid& trackID, std::int64_t fadeInSamples, std::int64_t fadeOutSamples,
                       float inCurve, float outCurve)>
        liveFade;
    // The time the transport display shows while a locator flag is dragged; nothing ends it.
    std::function<void(std::optional<TimecodeOverride>)> timecodeOverride;
    std::function<void(double minX, double maxX)> redrawBand; // canvas x, both ends
    std::function<void()> redrawAll;
    std::function<void(double originX)> scrollTo; // the scroll view's new left edge
};

// The mirrors a gesture writes and the drawing reads instead of the project.
struct CanvasMirrors {
    struct Fade {
        Uuid trackID;
        std::int64_t fadeInSamples = 0;
        std::int64_t fadeOutSamples = 0;
        float fadeInCurve = 0.0f;
        float fadeOutCurve = 0.0f;
        bool operator==(const Fade&) const = default;
    };
    struct Trim {
        Uuid trackID;
        std::int64_t trimStartSamples = 0;
        std::int64_t trimEndSamples = 0;
        bool operator==(const Trim&) const = default;
    };
    struct Envelope {
        Uuid trackID;
        Uuid pointID;
        std::int64_t positionSamples = 0;
        float gainDB = 0.0f;
        bool operator==(const Envelope&) const = default;
    };
    struct Index {
        Uuid trackID;
        std::int64_t frame = 0;
        std::int64_t offset = 0;
        bool operator==(const Index&) const = default;
    };
    struct SubIndex {
        Uuid trackID;
        std::size_t ordinal = 0;
        std::int64_t frame = 0;
        std::int64_t offset = 0;
        bool operator==(const SubIndex&) const = default;
    };
    struct Crossfade {
        Uuid trackID;
        float curve = 0.0f;
        bool operator==(const Crossfade&) const = default;
    };
    struct Smoothing { // a wheel edit of one point's smoothing, committed after a pause
        Uuid trackID;
        Uuid pointID;
        float smoothing = 0.0f;
        bool operator==(const Smoothing&) const = default;
    };
    struct Hover {
        Uuid trackID;
        Uuid pointID;
        bool operator==(const Hover&) const = default;
    };

    std::optional<Fade> fade;
    std::optional<Trim> trim;
    std::optional<Envelope> envelope;
    std::optional<Index> index;
    std::optional<SubIndex> subIndex;
    std::optional<Crossfade> crossfade;
    std::optional<Smoothing> smoothing;
    std::optional<Hover> hoverEnvelope;
    // The canvas's copies of the loop edges and the pin while a locator gesture runs.
    std::optional<std::int64_t> loopStartFrame;
    std::optional<std::int64_t> loopEndFrame;
    std::optional<double> lockedPlayStartTime;
    bool operator==(const CanvasMirrors&) const = default;
};

// The pointer's look over each zone; its drawing is the shell's.
enum class CanvasCursor { arrow, resizeHorizontal, resizeVertical, move, pointPick, locator };

class TimelineCanvas final {
  public:
    static constexpr double envelopeSmoothingCommitDelay = 0.2; // seconds after the last wheel event
    static constexpr double zoomSettleDelay = 0.13;
    static constexpr double autoscrollInterval = 1.0 / 60.0;
    static constexpr std::int64_t minTrimmedSamples = 176400; // 4 s stay between the trims
    static constexpr double snapTolerancePx = 8.0;

    TimelineCanvas(WorkspaceState& workspace, ViewportState& viewport, MainLoop& loop,
                   TimelineCanvasHooks hooks = {});
    ~TimelineCanvas();
    TimelineCanvas(const TimelineCanvas&) = delete;
    TimelineCanvas& operator=(const TimelineCanvas&) = delete;

    // The canvas's height and the scroll view's visible part, as the shell lays them out.
    void setCanvasHeight(double height) { canvasHeight_ = height; }
    double canvasHeight() const { return canvasHeight_; }
    void setScrollGeometry(ScrollGeometry geometry) { scroll_ = geometry; }
    const ScrollGeometry& scrollGeometry() const { return scroll_; }

    void pointerDown(const PointerEvent& event);
    void pointerDragged(const PointerEvent& event);
    void pointerUp(const PointerEvent& event);
    // True when the event was used; otherwise the scroll view should scroll with it.
    bool wheel(const WheelEvent& event);
    // True when the key was used; otherwise it passes on.
    bool key(const KeyEvent& event);
    // The hover pass: the cursor for the zone under the pointer, and the envelope point under it.
    CanvasCursor hover(double x, double y);
    void pointerExited();

    const DragMode& dragMode() const { return dragMode_; }
    const CanvasMirrors& mirrors() const { return mirrors_; }
    bool hasDragged() const { return hasDragged_; }
    bool scrubActive() const { return scrubActive_; }
    bool autoscrollRunning() const { return autoscrollTimer_.has_value(); }
    TimelineScroller& scroller() { return scroller_; }

    // What to draw for a track: its fades, trims and envelope with any gesture's mirror applied.
    CDTrack trackAsShown(const CDTrack& track) const;
    // The loop edges and the pin as shown: the canvas's copies during a locator gesture.
    std::optional<std::int64_t> shownLoopStartFrame() const;
    std::optional<std::int64_t> shownLoopEndFrame() const;
    std::optional<double> shownPin() const;
    // Where a shown track's audio lies while a trim drag changes its length (the start stays, the end
    // follows the effective length of the mirrored trims); otherwise its laid-out span.
    TimelineOverlays::AudioSpan shownAudioSpan(std::size_t trackIndex) const;
    // The marker flags with a dragged INDEX 01 or sub-index at its mirrored frame.
    std::vector<TimelineOverlays::MarkerFlag> shownMarkerFlags() const;

    // `frame` moved to the nearest candidate (the playhead, each track's INDEX 01, audio start and
    // audio end, except `excludeTrack`) within 8 points, unless snapping is off or Ctrl is held.
    std::int64_t snapFrame(std::int64_t frame, Modifiers modifiers,
                           std::optional<Uuid> excludeTrack = std::nullopt) const;
    // Arrow-key nudge of the selected track's pre-gap by `deltaFrames`, within the move limit.
    void nudgeSelectedTrack(std::int64_t deltaFrames);

  private:
    CanvasHitContext hitContext() const;
    void setDragMode(DragMode mode);
    void selectTrackFromCanvas(const Uuid& trackID);
    void pressPrimary(const PointerEvent& event);
    void pressSecondary(const PointerEvent& event);
    bool beginLocatorDrag(const CanvasHit& hit);
    void pressInLane(const PointerEvent& event, const CanvasHit& hit);
    void dragPrimary(const PointerEvent& event);
    void dragSecondary(const PointerEvent& event);
    void dragTrim(double x);
    void dragGainPoint(const CanvasDrag::DraggingGainPoint& mode, const PointerEvent& event);
    void dragSubIndex(const CanvasDrag::MovingSubIndex& mode, double x);
    void dragFade(const PointerEvent& event);
    void dragIndex(const CanvasDrag::MovingIndex& mode, double x);
    void dragLocator(const PointerEvent& event);
    void scrubTo(double x);
    void releasePrimary(const PointerEvent& event);
    void releaseSecondary();
    void commitGesture(const PointerEvent& event);
    void commitTrim(const PointerEvent& event);
    void commitFade();
    void clearMirrors();
    bool updateScrubEdgeAutoscroll(double x);
    void autoscrollTick();
    void stopAutoscroll();
    bool envelopeScrollSmooth(const WheelEvent& event);
    void markZooming();
    void redrawBand(double a, double b);
    void redrawTrack(const Uuid& trackID);
    const CDTrack* shownTrack(const Uuid& trackID, std::size_t* index = nullptr) const;
    std::int64_t moveLimit(std::size_t index) const;
    double pps() const { return viewport_.pixelsPerSecond; }

    WorkspaceState& ws_;
    ViewportState& viewport_;
    MainLoop& loop_;
    TimelineCanvasHooks hooks_;
    TimelineScroller scroller_;
    double canvasHeight_ = 0.0;
    ScrollGeometry scroll_;

    DragMode dragMode_ = CanvasDrag::None{};
    CanvasMirrors mirrors_;
    bool hasDragged_ = false;
    bool scrubActive_ = false;
    bool secondaryGesture_ = false;
    int scrubAutoscrollDir_ = 0;
    double scrubAutoscrollDepth_ = 0.0;
    double lastPointerX_ = 0.0;
    std::optional<MainLoop::TimerID> autoscrollTimer_;
    std::optional<MainLoop::TimerID> smoothingCommitTimer_;
    std::optional<MainLoop::TimerID> zoomSettleTimer_;
};

} // namespace orvane
