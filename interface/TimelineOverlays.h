#pragma once
// The geometry of what lies over the waveforms: fade handles and curves, the crossfade's overlap,
// its handle and the curve it stands for, the envelope's points and line, and the marker flags.
// The canvas hit-tests against the same shapes the painter draws. Pure; main thread.

#include "interface/DrawPrimitives.h"
#include "interface/TimelineGeometry.h"
#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "model/Uuid.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orvane::TimelineOverlays {

inline constexpr Rgba lengthHandleColor{1.0f, 0.84f, 0.0f, 1.0f}; // yellow, at the lane's top
inline constexpr Rgba curveHandleColor{1.0f, 1.0f, 1.0f, 1.0f};

// A track's audio on the canvas: x of audioStartLBA and of audioEndLBA.
struct AudioSpan {
    double x0 = 0.0;
    double x1 = 0.0;
    bool operator==(const AudioSpan&) const = default;
};
AudioSpan audioSpan(const TrackPosition& position, double pps);

// --- Fades ---
Rect fadeInLengthHandle(double x0, double fadeWidth);
Rect fadeOutLengthHandle(double x1, double fadeWidth);
// y of the fade curve's control point: top + L/2 - L/2 * curve.
double fadeControlY(const TimelineGeometry::Lane& lane, float curve);
Rect fadeInCurveHandle(double x0, double fadeWidth, const TimelineGeometry::Lane& lane, float curve);
Rect fadeOutCurveHandle(double x1, double fadeWidth, const TimelineGeometry::Lane& lane, float curve);
// The quadratic Bézier of a fade from the lane's bottom to its top (a fade-in rising from x0, a
// fade-out falling to x1), as `segments` + 1 points.
Polyline fadeInCurve(double x0, double fadeWidth, const TimelineGeometry::Lane& lane, float curve,
                     int segments = 32);
Polyline fadeOutCurve(double x1, double fadeWidth, const TimelineGeometry::Lane& lane, float curve,
                      int segments = 32);

// --- Crossfades ---
// From the later track's audioStartLBA to the earlier's audioEndLBA, over the lane; nothing when
// they don't overlap.
std::optional<Rect> crossfadeOverlapRect(const TrackPosition& earlier, const TrackPosition& later, double pps,
                                         const TimelineGeometry::Lane& lane);
// The incoming gain at the overlap's middle, 2^(-(2^(-curve))): 0.5 at curve 0.
double crossfadeHandleHeight(float curve);
Point crossfadeHandlePoint(const Rect& overlap, float curve);
// The inverse of the handle's height: the curve whose handle lies at y (0 on a lane of no height).
float crossfadeCurveFromY(double y, const TimelineGeometry::Lane& lane);
// The two gain curves across the overlap (outgoing, incoming), as polylines over the rectangle.
std::pair<Polyline, Polyline> crossfadeGainCurves(const Rect& overlap, float curve, int segments = 32);

// --- Envelope ---
// Samples under one point: the effective length in whole sectors over the audio's width.
double envelopeSamplesPerPixel(const CDTrack& track, const AudioSpan& span);
// 0 dB and above at the lane's top, -60 dB and below at its bottom.
double yOfDB(float dB, const TimelineGeometry::Lane& lane);
// The level of a point placed at y: (y - top) / L * -60, within -60...0.
float dBAtY(double y, const TimelineGeometry::Lane& lane);
// The position of a point placed at x, in samples after the head trim, within the track.
std::int64_t positionAtX(double x, const CDTrack& track, const AudioSpan& span);
Point envelopePoint(const GainPoint& point, const CDTrack& track, const AudioSpan& span,
                    const TimelineGeometry::Lane& lane);
// The envelope's line over [minX, maxX] of the audio, one point every `stepPx` points.
Polyline envelopeLine(const CDTrack& track, const AudioSpan& span, const TimelineGeometry::Lane& lane,
                      double minX, double maxX, double stepPx = 2.0);
// The track with one point at the values a drag holds, so the line follows the pointer.
CDTrack envelopeMirrored(const CDTrack& track, const Uuid& pointID, std::int64_t positionSamples,
                         float gainDB);
// "-6.0 dB", the label shown beside a hovered or dragged point.
std::string envelopeValueLabel(float gainDB);

// --- Marker flags in the ruler strip ---
struct MarkerFlag {
    enum class Kind { index01, subIndex };
    Kind kind = Kind::index01;
    Uuid trackID;
    std::size_t trackIndex = 0; // in the shown project
    std::size_t ordinal = 0;    // of a sub-index
    std::int64_t frame = 0;
    double x = 0.0;
    bool operator==(const MarkerFlag&) const = default;
};
// The INDEX 01 and sub-index flags of the tracks whose INDEX 01 is not locked.
std::vector<MarkerFlag> markerFlags(const CDProject& project, const std::vector<TrackPosition>& positions,
                                    double pps);
// Whether a press at x meets the flag: INDEX 01 in [X - 7, X + 18], a sub-index in [X - 6, X + 12].
bool flagHit(const MarkerFlag& flag, double x);

// --- Locators: the loop, the pin, the playhead ---
inline constexpr Rgba loopColor{1.0f, 0.75f, 0.0f, 1.0f}; // amber, as the bar's "LOOP"
inline constexpr Rgba pinColor{0.69f, 0.42f, 1.0f, 1.0f}; // purple, as the bar's "PIN"
inline constexpr Rgba indexColor{0.3f, 0.8f, 1.0f, 1.0f};
inline constexpr Rgba playheadColor{1.0f, 0.25f, 0.2f, 1.0f};

// A flag standing in the ruler strip: its stem at x from the lane's top down to the canvas's
// bottom, and the area that answers a press (the same the canvas hit-tests).
struct Flag {
    double x = 0.0;
    Rect hitArea;
    Rgba color;
    std::string label;
    bool operator==(const Flag&) const = default;
};
// The loop's flags (one when its edges are equal) and the pin's, for a canvas `canvasHeight` high.
std::vector<Flag> locatorFlags(std::optional<std::int64_t> loopStartFrame,
                               std::optional<std::int64_t> loopEndFrame, std::optional<double> pinSeconds,
                               double pps, double canvasHeight);
// The INDEX 01 ("01") and sub-index ("02"...) flags of unlocked tracks.
std::vector<Flag> indexFlags(const std::vector<MarkerFlag>& flags, double canvasHeight);
// The band between the loop's edges, over the lane and the ruler; nothing without two distinct edges.
std::optional<Rect> loopBand(std::optional<std::int64_t> loopStartFrame,
                             std::optional<std::int64_t> loopEndFrame, double pps, double canvasHeight);
// The playhead's line from the canvas's top to its bottom.
std::pair<Point, Point> playheadLine(double seconds, double pps, double canvasHeight);

} // namespace orvane::TimelineOverlays
