#pragma once
// A timeline canvas on a real workspace with a recording engine: two tracks of 3000 frames laid out
// from frame 0, a zoom of 75 points a second so that one frame is one point, and a canvas 200 points
// high (lane from y 10 to 152, ruler strip from y 150). Tests only.

#include "interface/TimelineCanvas.h"
#include "workspace/tests/WorkspaceFixture.h"

#include <optional>
#include <string>
#include <vector>

namespace orvane::testing {

class CanvasFixture : public WorkspaceFixture {
  protected:
    static constexpr double height = 200.0;
    static constexpr double laneTop = 10.0;
    static constexpr double laneBottom = 152.0;
    static constexpr double rulerY = 170.0;
    static constexpr double midLane = 81.0;

    CanvasFixture() {
        viewport.pixelsPerSecond = 75.0;
        TimelineCanvasHooks hooks;
        hooks.liveFade = [this](const Uuid&, std::int64_t in, std::int64_t out, float, float) {
            liveFades.emplace_back(in, out);
        };
        hooks.timecodeOverride = [this](std::optional<TimecodeOverride> value) {
            overrides.push_back(value);
        };
        hooks.scrollTo = [this](double x) { scrolls.push_back(x); };
        canvas = std::make_unique<TimelineCanvas>(*ws, viewport, loop, hooks);
        canvas->setCanvasHeight(height);
        canvas->setScrollGeometry({0.0, 10000.0, 12000.0});
    }

    // Replaces the project by these tracks, laid out, as the saved state with no undo history.
    void useTracks(std::vector<CDTrack> tracks) {
        CDProject p;
        p.tracks = std::move(tracks);
        ws->importProject(std::move(p));
        ws->recalculateTimeline(ReloadPlayback::yes);
        endTurn();
        engine->clearCalls();
    }
    void useTwoTracks() { useTracks({track("A", 3000), track("B", 3000)}); }

    const CDTrack& trackAt(std::size_t i) const { return ws->project().tracks[i]; }
    const TrackPosition& positionAt(std::size_t i) const { return ws->trackPositions()[i]; }

    static PointerEvent at(double x, double y, int clicks = 1, Modifiers modifiers = {}) {
        PointerEvent e;
        e.x = x;
        e.y = y;
        e.clickCount = clicks;
        e.modifiers = modifiers;
        return e;
    }
    static PointerEvent secondary(double x, double y, int clicks = 1) {
        PointerEvent e = at(x, y, clicks);
        e.button = PointerButton::secondary;
        return e;
    }

    // A whole primary (or secondary) gesture from one point to another, then the end of the turn.
    void drag(PointerEvent from, double toX, double toY, Modifiers modifiers = {}) {
        canvas->pointerDown(from);
        PointerEvent step = from;
        step.clickCount = 1;
        step.modifiers = modifiers;
        step.x = (from.x + toX) / 2;
        step.y = (from.y + toY) / 2;
        canvas->pointerDragged(step);
        step.x = toX;
        step.y = toY;
        canvas->pointerDragged(step);
        canvas->pointerUp(step);
        endTurn();
    }

    // Undo steps available, counted by undoing them all and redoing them back.
    int undoDepth() {
        int n = 0;
        while (ws->canUndo()) {
            ws->undo();
            endTurn();
            ++n;
        }
        for (int i = 0; i < n; ++i) {
            ws->redo();
            endTurn();
        }
        return n;
    }

    ViewportState viewport;
    std::unique_ptr<TimelineCanvas> canvas;
    std::vector<std::pair<std::int64_t, std::int64_t>> liveFades;
    std::vector<std::optional<TimecodeOverride>> overrides;
    std::vector<double> scrolls;
};

} // namespace orvane::testing
