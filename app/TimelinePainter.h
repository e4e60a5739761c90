#pragma once
// Paints the timeline canvas with QPainter from what the canvas logic lays out: the lane and its
// gaps, each track's clip, waveform outline (its real samples at a close zoom), fades and envelope, the
// crossfades, the ruler with its INDEX, loop and pin flags, the loop band, and apart from them the playhead.
// Nothing here decides a position; every shape comes from interface/. The painter is set to canvas
// coordinates by the caller. GUI thread.

#include "analysis/SampleWindowCache.h"
#include "app/WaveformStripCache.h"
#include "interface/TimelineCanvas.h"
#include "interface/Viewport.h"
#include "workspace/WorkspaceState.h"

class QPainter;

namespace orvane::app::TimelinePainter {

struct Scene {
    const WorkspaceState& workspace;
    const TimelineCanvas& canvas;
    const ViewportState& viewport;
    double canvasHeight = 0.0;
    double visibleWidth = 0.0;
    // Real samples for a close zoom; without it the peaks are drawn at every zoom.
    SampleWindowCache* samples = nullptr;
};

// Paints the canvas span [minX, maxX) (canvas points) over its whole height: everything but the
// playhead, which moves on its own during playback.
void paint(QPainter& painter, const Scene& scene, WaveformStripCache& strips, double minX, double maxX);
// The playhead's line and cap, when they meet [minX, maxX).
void paintPlayhead(QPainter& painter, const Scene& scene, double minX, double maxX);

} // namespace orvane::app::TimelinePainter
