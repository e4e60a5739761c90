#include "interface/TimelineOverlays.h"

#include "interface/Viewport.h"
#include "model/EnvelopeCurve.h"
#include "model/RedBook.h"
#include "model/TrackGain.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace orvane::TimelineOverlays {

using TimelineGeometry::Lane;

AudioSpan audioSpan(const TrackPosition& position, double pps) {
    return {Viewport::xOfFrame(position.audioStartLBA, pps), Viewport::xOfFrame(position.audioEndLBA, pps)};
}

Rect fadeInLengthHandle(double x0, double fadeWidth) {
    return {x0 + fadeWidth - 5.0, TimelineGeometry::topPad - 5.0, 10.0, 16.0};
}

Rect fadeOutLengthHandle(double x1, double fadeWidth) {
    return {x1 - fadeWidth - 5.0, TimelineGeometry::topPad - 5.0, 10.0, 16.0};
}

double fadeControlY(const Lane& lane, float curve) {
    return lane.top + 0.5 * lane.height - 0.5 * lane.height * static_cast<double>(curve);
}

namespace {

// The curve's midpoint: a quarter of each end and half the control point.
double curveMidY(const Lane& lane, float curve) {
    return 0.25 * lane.top + 0.25 * lane.bottom + 0.5 * fadeControlY(lane, curve);
}

Polyline bezier(Point p0, Point control, Point p2, int segments) {
    Polyline line;
    const int n = std::max(segments, 1);
    line.reserve(static_cast<std::size_t>(n) + 1);
    for (int k = 0; k <= n; ++k) {
        const double t = static_cast<double>(k) / n;
        const double u = 1.0 - t;
        line.push_back({u * u * p0.x + 2 * u * t * control.x + t * t * p2.x,
                        u * u * p0.y + 2 * u * t * control.y + t * t * p2.y});
    }
    return line;
}

} // namespace

Rect fadeInCurveHandle(double x0, double fadeWidth, const Lane& lane, float curve) {
    return {x0 + 0.5 * fadeWidth - 5.0, curveMidY(lane, curve) - 5.0, 10.0, 10.0};
}

Rect fadeOutCurveHandle(double x1, double fadeWidth, const Lane& lane, float curve) {
    return {x1 - 0.5 * fadeWidth - 5.0, curveMidY(lane, curve) - 5.0, 10.0, 10.0};
}

Polyline fadeInCurve(double x0, double fadeWidth, const Lane& lane, float curve, int segments) {
    return bezier({x0, lane.bottom}, {x0 + 0.5 * fadeWidth, fadeControlY(lane, curve)},
                  {x0 + fadeWidth, lane.top}, segments);
}

Polyline fadeOutCurve(double x1, double fadeWidth, const Lane& lane, float curve, int segments) {
    return bezier({x1, lane.bottom}, {x1 - 0.5 * fadeWidth, fadeControlY(lane, curve)},
                  {x1 - fadeWidth, lane.top}, segments);
}

std::optional<Rect> crossfadeOverlapRect(const TrackPosition& earlier, const TrackPosition& later, double pps,
                                         const Lane& lane) {
    if (later.audioStartLBA >= earlier.audioEndLBA) {
        return std::nullopt;
    }
    const double x0 = Viewport::xOfFrame(later.audioStartLBA, pps);
    const double x1 = Viewport::xOfFrame(earlier.audioEndLBA, pps);
    return Rect{x0, lane.top, x1 - x0, std::max(lane.height, 0.0)};
}

double crossfadeHandleHeight(float curve) {
    return std::exp2(-std::exp2(-static_cast<double>(curve)));
}

Point crossfadeHandlePoint(const Rect& overlap, float curve) {
    return {overlap.midX(), overlap.maxY() - overlap.height * crossfadeHandleHeight(curve)};
}

float crossfadeCurveFromY(double y, const Lane& lane) {
    if (!(lane.height > 0)) {
        return 0.0f;
    }
    const double h = std::clamp((lane.bottom - y) / lane.height, 0.06, 0.97);
    const double curve = -std::log2(std::log(h) / std::log(0.5));
    return static_cast<float>(std::clamp(curve, -1.0, 1.5));
}

std::pair<Polyline, Polyline> crossfadeGainCurves(const Rect& overlap, float curve, int segments) {
    Polyline out;
    Polyline in;
    const int n = std::max(segments, 1);
    for (int k = 0; k <= n; ++k) {
        const float x = static_cast<float>(k) / static_cast<float>(n);
        const auto gains = TrackGain::crossfadeGains(x, curve);
        const double px = overlap.x + overlap.width * static_cast<double>(x);
        out.push_back({px, overlap.maxY() - overlap.height * static_cast<double>(gains.out)});
        in.push_back({px, overlap.maxY() - overlap.height * static_cast<double>(gains.fadeIn)});
    }
    return {out, in};
}

namespace {

std::int64_t lengthSamples(const CDTrack& track) {
    return track.effectiveLength().totalFrames * RedBook::samplesPerFrame;
}

} // namespace

double envelopeSamplesPerPixel(const CDTrack& track, const AudioSpan& span) {
    const double width = span.x1 - span.x0;
    return width > 0 ? static_cast<double>(lengthSamples(track)) / width : 0.0;
}

double yOfDB(float dB, const Lane& lane) {
    const double level = std::min(static_cast<double>(std::max(dB, TrackGain::curveMinDB)), 0.0);
    return lane.top + lane.height * (level / static_cast<double>(TrackGain::curveMinDB));
}

float dBAtY(double y, const Lane& lane) {
    if (!(lane.height > 0)) {
        return 0.0f;
    }
    const double frac = (y - lane.top) / lane.height;
    return static_cast<float>(std::clamp(frac * static_cast<double>(TrackGain::curveMinDB),
                                         static_cast<double>(TrackGain::curveMinDB), 0.0));
}

std::int64_t positionAtX(double x, const CDTrack& track, const AudioSpan& span) {
    const double spp = envelopeSamplesPerPixel(track, span);
    const double inside = std::min(std::max(x, span.x0), span.x1) - span.x0;
    const auto position = static_cast<std::int64_t>(std::trunc(spp * inside));
    return std::clamp<std::int64_t>(position, 0, lengthSamples(track));
}

Point envelopePoint(const GainPoint& point, const CDTrack& track, const AudioSpan& span, const Lane& lane) {
    const double spp = envelopeSamplesPerPixel(track, span);
    const double x = spp > 0 ? span.x0 + static_cast<double>(point.positionSamples) / spp : span.x0;
    return {x, yOfDB(point.gainDB, lane)};
}

Polyline envelopeLine(const CDTrack& track, const AudioSpan& span, const Lane& lane, double minX, double maxX,
                      double stepPx) {
    Polyline line;
    const double from = std::max(minX, span.x0);
    const double to = std::min(maxX, span.x1);
    const double spp = envelopeSamplesPerPixel(track, span);
    if (!(to >= from) || !(spp > 0) || !(stepPx > 0)) {
        return line;
    }
    const EnvelopeCurve curve(track.gainPoints, track.envelopeSmoothing);
    std::int64_t seg = 0;
    for (double x = from;; x += stepPx) {
        const double at = std::min(x, to);
        const auto sample = static_cast<std::int64_t>(std::trunc((at - span.x0) * spp));
        line.push_back({at, yOfDB(curve.dB(sample, seg), lane)});
        if (at >= to) {
            break;
        }
    }
    return line;
}

CDTrack envelopeMirrored(const CDTrack& track, const Uuid& pointID, std::int64_t positionSamples,
                         float gainDB) {
    CDTrack mirrored = track;
    for (GainPoint& p : mirrored.gainPoints) {
        if (p.id == pointID) {
            p.positionSamples = positionSamples;
            p.gainDB = gainDB;
        }
    }
    std::stable_sort(
        mirrored.gainPoints.begin(), mirrored.gainPoints.end(),
        [](const GainPoint& a, const GainPoint& b) { return a.positionSamples < b.positionSamples; });
    return mirrored;
}

std::string envelopeValueLabel(float gainDB) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f dB", static_cast<double>(gainDB));
    return text;
}

std::vector<MarkerFlag> markerFlags(const CDProject& project, const std::vector<TrackPosition>& positions,
                                    double pps) {
    std::vector<MarkerFlag> flags;
    const std::size_t n = std::min(project.tracks.size(), positions.size());
    for (std::size_t i = 0; i < n; ++i) {
        const CDTrack& track = project.tracks[i];
        if (track.indexLocked) {
            continue;
        }
        const std::int64_t index01 = positions[i].index01LBA;
        flags.push_back(
            {MarkerFlag::Kind::index01, track.id, i, 0, index01, Viewport::xOfFrame(index01, pps)});
        for (std::size_t k = 0; k < track.subIndexFrames.size(); ++k) {
            const std::int64_t frame = index01 + track.subIndexFrames[k];
            flags.push_back(
                {MarkerFlag::Kind::subIndex, track.id, i, k, frame, Viewport::xOfFrame(frame, pps)});
        }
    }
    return flags;
}

bool flagHit(const MarkerFlag& flag, double x) {
    if (flag.kind == MarkerFlag::Kind::index01) {
        return x >= flag.x - 7.0 && x <= flag.x + 18.0;
    }
    return x >= flag.x - 6.0 && x <= flag.x + 12.0;
}

namespace {

Rect stripArea(double from, double to, double canvasHeight) {
    const double top = TimelineGeometry::rulerStripTop(canvasHeight);
    return {from, top, to - from, std::max(canvasHeight - top, 0.0)};
}

} // namespace

std::vector<Flag> locatorFlags(std::optional<std::int64_t> loopStartFrame,
                               std::optional<std::int64_t> loopEndFrame, std::optional<double> pinSeconds,
                               double pps, double canvasHeight) {
    std::vector<Flag> flags;
    if (loopStartFrame && loopEndFrame) {
        const double xs = Viewport::xOfFrame(*loopStartFrame, pps);
        const double xe = Viewport::xOfFrame(*loopEndFrame, pps);
        if (*loopStartFrame == *loopEndFrame) {
            flags.push_back({xs, stripArea(xs - 11.0, xs + 11.0, canvasHeight), loopColor, "L"});
        } else {
            flags.push_back({xs, stripArea(xs - 5.0, xs + 11.0, canvasHeight), loopColor, "["});
            flags.push_back({xe, stripArea(xe - 11.0, xe + 5.0, canvasHeight), loopColor, "]"});
        }
    }
    if (pinSeconds) {
        const double x = pps * *pinSeconds;
        flags.push_back({x, stripArea(x - 8.0, x + 8.0, canvasHeight), pinColor, "PIN"});
    }
    return flags;
}

std::vector<Flag> indexFlags(const std::vector<MarkerFlag>& markers, double canvasHeight) {
    std::vector<Flag> flags;
    for (const MarkerFlag& m : markers) {
        const bool index01 = m.kind == MarkerFlag::Kind::index01;
        char label[24];
        std::snprintf(label, sizeof label, "%02zu", index01 ? std::size_t{1} : m.ordinal + 2);
        const Rect area = index01 ? stripArea(m.x - 7.0, m.x + 18.0, canvasHeight)
                                  : stripArea(m.x - 6.0, m.x + 12.0, canvasHeight);
        flags.push_back({m.x, area, indexColor, label});
    }
    return flags;
}

std::optional<Rect> loopBand(std::optional<std::int64_t> loopStartFrame,
                             std::optional<std::int64_t> loopEndFrame, double pps, double canvasHeight) {
    if (!loopStartFrame || !loopEndFrame || *loopStartFrame == *loopEndFrame) {
        return std::nullopt;
    }
    const double a = Viewport::xOfFrame(std::min(*loopStartFrame, *loopEndFrame), pps);
    const double b = Viewport::xOfFrame(std::max(*loopStartFrame, *loopEndFrame), pps);
    return Rect{a, TimelineGeometry::topPad, b - a, std::max(canvasHeight - TimelineGeometry::topPad, 0.0)};
}

std::pair<Point, Point> playheadLine(double seconds, double pps, double canvasHeight) {
    const double x = pps * seconds;
    return {{x, 0.0}, {x, canvasHeight}};
}

} // namespace orvane::TimelineOverlays
