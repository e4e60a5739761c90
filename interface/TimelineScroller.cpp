#include "interface/TimelineScroller.h"

#include "model/RedBook.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace orvane {

namespace {

// A cheap signature of a peak list: its length and a few of its values, enough to see a new file.
std::uint64_t peaksSignature(const std::vector<float>& peaks) {
    std::uint64_t sig = peaks.size();
    const std::size_t step = std::max<std::size_t>(peaks.size() / 16, 1);
    for (std::size_t i = 0; i < peaks.size(); i += step) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &peaks[i], sizeof bits);
        sig = sig * 1099511628211ull ^ bits;
    }
    return sig;
}

double centredOn(double pps, double seconds, double visibleWidth) {
    return std::max(pps * seconds - 0.5 * visibleWidth, 0.0);
}

} // namespace

CanvasFingerprint CanvasFingerprint::of(const WorkspaceState& ws, const ViewportState& viewport) {
    CanvasFingerprint f;
    f.pps = viewport.pixelsPerSecond;
    f.amplitudeZoom = viewport.amplitudeZoom;
    f.selectedTrackID = ws.selectedTrackID();
    f.vinylMode = ws.vinylMode();
    f.activeSideIndex = ws.activeSideIndex();
    f.positions = ws.displayPositions();
    f.tracks = ws.displayProject().tracks;
    const PreviewState& preview = ws.preview();
    f.previewURL = preview.previewURL;
    f.previewSourceID = preview.previewSourceID;
    f.previewLengthFrames = preview.previewLengthFrames;
    f.previewPeaksCount = preview.previewPeaks.size();
    f.previewPeaksSig = peaksSignature(preview.previewPeaks);
    f.previewColorHex = preview.previewColorHex;
    f.loopStartFrame = ws.loopStartFrame();
    f.loopEndFrame = ws.loopEndFrame();
    f.lockedPlayStart = ws.lockedPlayStartSeconds();
    for (const CDTrack& track : f.tracks) {
        const auto* peaks = ws.peaks(track);
        f.peaksShape.emplace_back(track.id, peaks ? peaks->size() : 0);
    }
    for (const auto& [url, peaks] : ws.takePeaksCache()) {
        f.takePeaksShape.emplace_back(url, peaks.size());
    }
    std::sort(f.takePeaksShape.begin(), f.takePeaksShape.end());
    return f;
}

double TimelineScroller::contentSeconds(const WorkspaceState& ws) {
    if (ws.preview().previewURL) {
        return static_cast<double>(ws.preview().previewLengthFrames) /
               static_cast<double>(RedBook::framesPerSecond);
    }
    const auto& positions = ws.displayPositions();
    if (positions.empty()) {
        return defaultEmptySeconds;
    }
    return static_cast<double>(positions.back().endLBA) / static_cast<double>(RedBook::framesPerSecond);
}

TimelineScroller::ViewInput TimelineScroller::inputFrom(const WorkspaceState& ws,
                                                        const ViewportState& viewport, double visibleWidth,
                                                        bool gestureRunning) {
    ViewInput in;
    in.pps = viewport.pixelsPerSecond;
    in.currentTime = ws.currentTime();
    in.visibleWidth = visibleWidth;
    in.contentSeconds = contentSeconds(ws);
    in.centerOnPlayheadTrigger = ws.centerOnPlayheadTrigger();
    in.revealPlayheadTrigger = ws.revealPlayheadTrigger();
    in.fingerprint = CanvasFingerprint::of(ws, viewport);
    in.gestureRunning = gestureRunning;
    return in;
}

TimelineScroller::ViewUpdate TimelineScroller::update(const ViewInput& in) {
    ViewUpdate out;
    out.contentWidth = Viewport::contentWidth(in.pps, in.contentSeconds, in.visibleWidth);
    if (std::abs(in.pps - lastPPS_) > 0.001) {
        if (explicitScrollTargetX_) {
            out.scrollTo = *explicitScrollTargetX_;
            explicitScrollTargetX_.reset();
        } else {
            out.scrollTo = centredOn(in.pps, in.currentTime, in.visibleWidth);
        }
        lastPPS_ = in.pps;
    }
    if (in.centerOnPlayheadTrigger != lastCenterTrigger_) {
        lastCenterTrigger_ = in.centerOnPlayheadTrigger;
        out.scrollTo = centredOn(in.pps, in.currentTime, in.visibleWidth);
    }
    if (in.revealPlayheadTrigger != lastRevealTrigger_) {
        lastRevealTrigger_ = in.revealPlayheadTrigger;
        out.scrollTo = std::max(in.pps * in.currentTime - revealFraction * in.visibleWidth, 0.0);
    }
    if (!in.gestureRunning && (!lastFingerprint_ || !(*lastFingerprint_ == in.fingerprint))) {
        lastFingerprint_ = in.fingerprint;
        out.redrawAll = true;
    }
    return out;
}

TimelineScroller::Follow TimelineScroller::follow(ScrollMode mode, double pps, double oldTime, double newTime,
                                                  const ScrollGeometry& view, bool playing, double scale) {
    Follow out;
    const double oldX = pps * oldTime;
    const double x = pps * newTime;
    out.oldBand = {oldX - 10.0, oldX + 10.0};
    out.newBand = {x - 10.0, x + 10.0};
    if (!playing) {
        return out;
    }
    switch (mode) {
    case ScrollMode::none:
        break;
    case ScrollMode::page:
        if (x >= view.maxX() - followMarginPx || x < view.originX) {
            out.scrollTo = x;
        }
        break;
    case ScrollMode::center: {
        const double s = scale > 0 ? scale : 2.0;
        const double target = std::round(std::max(x - 0.5 * view.visibleWidth, 0.0) * s) / s;
        if (std::abs(target - view.originX) > 0.001) {
            out.scrollTo = target;
        }
        break;
    }
    }
    return out;
}

} // namespace orvane
