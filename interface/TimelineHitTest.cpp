#include "interface/TimelineHitTest.h"

#include "interface/TimelineGeometry.h"
#include "interface/TimelineOverlays.h"
#include "interface/Viewport.h"
#include "model/EnvelopeCurve.h"

#include <cmath>
#include <limits>

namespace orvane::TimelineHitTest {

namespace {

using Zone = CanvasHit::Zone;

std::optional<CanvasHit> locatorHit(const CanvasHitContext& c, double x) {
    if (c.pinSeconds && std::abs(x - c.pps * *c.pinSeconds) <= pinTolerance) {
        return CanvasHit{Zone::pin};
    }
    if (!c.loopStartFrame || !c.loopEndFrame) {
        return std::nullopt;
    }
    const double xs = Viewport::xOfFrame(*c.loopStartFrame, c.pps);
    const double xe = Viewport::xOfFrame(*c.loopEndFrame, c.pps);
    if (*c.loopStartFrame == *c.loopEndFrame) {
        if (std::abs(x - xs) <= 11.0) {
            CanvasHit hit{Zone::loopSplit};
            hit.frame = *c.loopStartFrame;
            return hit;
        }
        return std::nullopt;
    }
    if (x >= xs - 5.0 && x <= xs + 11.0) {
        CanvasHit hit{Zone::loopStart};
        hit.frame = *c.loopStartFrame;
        return hit;
    }
    if (x >= xe - 11.0 && x <= xe + 5.0) {
        CanvasHit hit{Zone::loopEnd};
        hit.frame = *c.loopEndFrame;
        return hit;
    }
    return std::nullopt;
}

std::optional<CanvasHit> crossfadeHit(const CanvasHitContext& c, const TimelineGeometry::Lane& lane, double x,
                                      double y) {
    const auto& tracks = c.project->tracks;
    const auto& positions = *c.positions;
    for (std::size_t i = 1; i < tracks.size() && i < positions.size(); ++i) {
        const auto overlap =
            TimelineOverlays::crossfadeOverlapRect(positions[i - 1], positions[i], c.pps, lane);
        if (!overlap) {
            continue;
        }
        const Point handle = TimelineOverlays::crossfadeHandlePoint(*overlap, tracks[i].crossfadeCurve);
        if (std::hypot(x - handle.x, y - handle.y) <= crossfadeHandleRadius) {
            CanvasHit hit{Zone::crossfadeHandle};
            hit.trackIndex = i;
            return hit;
        }
    }
    return std::nullopt;
}

std::optional<CanvasHit> envelopeHit(const CanvasHitContext& c, const TimelineGeometry::Lane& lane, double x,
                                     double y, int clickCount) {
    const auto& tracks = c.project->tracks;
    const auto& positions = *c.positions;
    std::optional<CanvasHit> best;
    double bestDistance = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < tracks.size() && i < positions.size(); ++i) {
        if (!tracks[i].envelopeEnabled) {
            continue;
        }
        const auto span = TimelineOverlays::audioSpan(positions[i], c.pps);
        for (const GainPoint& point : tracks[i].gainPoints) {
            const Point p = TimelineOverlays::envelopePoint(point, tracks[i], span, lane);
            if (std::abs(x - p.x) > envelopePointTolerance || std::abs(y - p.y) > envelopePointTolerance) {
                continue;
            }
            const double d = (x - p.x) * (x - p.x) + (y - p.y) * (y - p.y);
            if (d < bestDistance) {
                bestDistance = d;
                best = CanvasHit{Zone::envelopePoint, i, point.id};
            }
        }
    }
    if (best || clickCount < 2) {
        return best;
    }
    for (std::size_t i = 0; i < tracks.size() && i < positions.size(); ++i) {
        const auto span = TimelineOverlays::audioSpan(positions[i], c.pps);
        if (!tracks[i].envelopeEnabled || x < span.x0 || x > span.x1) {
            continue;
        }
        const EnvelopeCurve curve(tracks[i].gainPoints, tracks[i].envelopeSmoothing);
        const std::int64_t at = TimelineOverlays::positionAtX(x, tracks[i], span);
        if (std::abs(y - TimelineOverlays::yOfDB(curve.dB(at), lane)) <= envelopeLineTolerance) {
            return CanvasHit{Zone::envelopeLine, i};
        }
    }
    return std::nullopt;
}

std::optional<CanvasHit> trackHit(const CanvasHitContext& c, const TimelineGeometry::Lane& lane,
                                  std::size_t i, double x, double y, int clickCount) {
    const auto& tracks = c.project->tracks;
    const auto& positions = *c.positions;
    const CDTrack& track = tracks[i];
    const auto span = TimelineOverlays::audioSpan(positions[i], c.pps);
    const double wIn = Viewport::widthOfSamples(track.fadeInSamples, c.pps);
    const double wOut = Viewport::widthOfSamples(track.fadeOutSamples, c.pps);
    const Point p{x, y};
    if (TimelineOverlays::fadeInLengthHandle(span.x0, wIn).contains(p)) {
        return CanvasHit{Zone::fadeInLength, i};
    }
    if (track.fadeInSamples >= 1 &&
        TimelineOverlays::fadeInCurveHandle(span.x0, wIn, lane, track.fadeInCurve).contains(p)) {
        return CanvasHit{Zone::fadeInCurve, i};
    }
    if (TimelineOverlays::fadeOutLengthHandle(span.x1, wOut).contains(p)) {
        return CanvasHit{Zone::fadeOutLength, i};
    }
    if (track.fadeOutSamples >= 1 &&
        TimelineOverlays::fadeOutCurveHandle(span.x1, wOut, lane, track.fadeOutCurve).contains(p)) {
        return CanvasHit{Zone::fadeOutCurve, i};
    }
    const bool insideX = x >= span.x0 && x <= span.x1;
    if (clickCount >= 2 && insideX && y >= lane.top && y <= lane.bottom) {
        return CanvasHit{Zone::trackAudio, i};
    }
    if (y > TimelineGeometry::topPad + trimBelowTopPad) {
        if (std::abs(x - span.x0) <= trimEdgeTolerance) {
            return CanvasHit{Zone::trimStart, i};
        }
        if (std::abs(x - span.x1) <= trimEdgeTolerance) {
            return CanvasHit{Zone::trimEnd, i};
        }
    }
    if (!insideX) {
        return std::nullopt;
    }
    // The span that moves the track leaves out both overlaps with its neighbours.
    double moveFrom = span.x0;
    double moveTo = span.x1;
    if (i > 0 && track.preGap.totalFrames < 0) {
        moveFrom = Viewport::xOfFrame(positions[i - 1].audioEndLBA, c.pps);
    }
    if (i + 1 < tracks.size() && i + 1 < positions.size() && tracks[i + 1].preGap.totalFrames < 0) {
        moveTo = Viewport::xOfFrame(positions[i + 1].audioStartLBA, c.pps);
    }
    return CanvasHit{x >= moveFrom && x <= moveTo ? Zone::trackBody : Zone::trackOverlap, i};
}

} // namespace

CanvasHit hitTest(const CanvasHitContext& c, double x, double y, int clickCount) {
    if (c.project == nullptr || c.positions == nullptr) {
        return {};
    }
    const auto lane = TimelineGeometry::lane(c.canvasHeight);
    if (y >= TimelineGeometry::rulerStripTop(c.canvasHeight)) {
        if (auto hit = locatorHit(c, x)) {
            return *hit;
        }
        if (!c.vinylMode && !c.previewShown) {
            for (const auto& flag : TimelineOverlays::markerFlags(*c.project, *c.positions, c.pps)) {
                if (TimelineOverlays::flagHit(flag, x)) {
                    const bool index01 = flag.kind == TimelineOverlays::MarkerFlag::Kind::index01;
                    CanvasHit hit{index01 ? Zone::index01Flag : Zone::subIndexFlag, flag.trackIndex};
                    hit.ordinal = flag.ordinal;
                    return hit;
                }
            }
        }
        return CanvasHit{Zone::ruler};
    }
    if (c.previewShown) {
        return {};
    }
    if (auto hit = crossfadeHit(c, lane, x, y)) {
        return *hit;
    }
    if (auto hit = envelopeHit(c, lane, x, y, clickCount)) {
        return *hit;
    }
    for (std::size_t i = 0; i < c.project->tracks.size() && i < c.positions->size(); ++i) {
        if (auto hit = trackHit(c, lane, i, x, y, clickCount)) {
            return *hit;
        }
    }
    return {};
}

} // namespace orvane::TimelineHitTest
