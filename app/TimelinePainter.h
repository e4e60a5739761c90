#pragma once
// Paints the timeline canvas with QPainter from what the canvas logic lays out: the lane and its
// gaps, each track's clip, waveform outline, fades and envelope, the crossfades, the ruler with its
// INDEX, loop and pin flags, the loop band and the playhead. Nothing here decides a position; every
// shape comes from interface/. The painter is set to canvas coordinates by the caller. GUI thread.

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
};

// Paints the canvas span [minX, maxX) (canvas points) over its whole height.
void paint(QPainter& painter, const Scene& scene, WaveformStripCache& strips, double minX, double maxX);

} // namespace orvane::app::TimelinePainter
