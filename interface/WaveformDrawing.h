#pragma once
// How a track's waveform is reduced to the screen, so that the picture shows what the listener
// hears: the fades and gain of the track scale every slot, the peaks path takes the true minimum and
// maximum of the buckets under each half-pixel slot, and the samples path draws real samples as
// bands or as a line of constant width. The results are outlines to fill; no painting happens here.
// Pure functions; main thread (or any thread, on values it owns).

#include "interface/DrawPrimitives.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace orvane {

struct CDTrack;

namespace WaveformDrawing {

inline constexpr double slotPx = 0.5; // two slots a pixel
inline constexpr double samplesPathMaxPointsPerPixel = 2.0;
inline constexpr double prewarmMaxPointsPerPixel = 8.0;
inline constexpr double defaultMinThicknessPx = 1.0; // a silent stretch still shows as a line

// The fades drawn for one track; during a fade drag they come from the canvas's mirror.
struct FadeShape {
    std::int64_t fadeInSamples = 0;
    std::int64_t fadeOutSamples = 0;
    float fadeInCurve = 0.0f;
    float fadeOutCurve = 0.0f;
    bool operator==(const FadeShape&) const = default;
};
FadeShape fadeShape(const CDTrack& track);

// The fade multiplier of sample `i` of the effective audio (0 at the first sample after the trim).
float fadeMultiplier(const FadeShape& fades, std::int64_t i, std::int64_t effectiveLengthSamples);

// The gain of a track as drawn: a constant, or a table of multipliers (static gain times envelope)
// spread evenly over the effective length. `version` grows with every rebuild so that a holder of
// a copy on the graphics side knows when to upload it again.
struct GainTable {
    float constGain = 1.0f;
    std::vector<float> values; // empty: constGain everywhere
    std::uint64_t version = 0;
    bool operator==(const GainTable&) const = default;
};
// A table of `count` entries (at least 2) when the track has a live envelope, else its constant.
GainTable gainTable(const CDTrack& track, std::size_t count, std::uint64_t version = 0);
// The gain at sample `i` of the effective audio, read from the table with linear interpolation.
float gainAt(const GainTable& table, std::int64_t i, std::int64_t effectiveLengthSamples);

enum class Path { samples, peaks };
// `pointsPerPixel`: source samples (at the file's rate) under one screen point.
Path choosePath(double pointsPerPixel);
// Above the samples path but close to it: the sample window is loaded ahead of a further zoom.
bool shouldPrewarmSamples(double pointsPerPixel);

// What both paths scale a slot by.
struct Scaling {
    FadeShape fades;
    const GainTable* gain = nullptr; // null: unity
    std::int64_t effectiveLengthSamples = 0;
    double amplitudeZoom = 1.0;
    float multiplier(std::int64_t i) const;
};

// One slot of the strip: its left x on the canvas and its top and bottom values, already scaled
// (before clipping to the track's height).
struct Slot {
    double x = 0.0;
    float maxValue = 0.0f;
    float minValue = 0.0f;
    bool operator==(const Slot&) const = default;
};

struct PeaksInput {
    const std::vector<float>* peaks = nullptr; // minimum, maximum, bucket after bucket
    double bucketsPerPixel = 0.0;
    std::int64_t trimStartBuckets = 0; // buckets of the file before the effective audio
    std::int64_t effectiveBuckets = 0; // buckets of the effective audio
    double samplesPerBucket = 32.0;    // disc samples a bucket spans, for the multiplier
    double audioStartX = 0.0;          // canvas x of the effective audio's first sample
    double localStart = 0.0;           // the redrawn span, in points from audioStartX
    double localEnd = 0.0;
    Scaling scaling;
};
// The slots on the half-pixel grid that meet [localStart, localEnd). A slot's buckets are those
// under its own pixel range, at least one, within the effective buckets: the grid follows the
// absolute position, so the picture doesn't shimmer when only part of it is redrawn.
std::vector<Slot> peaksSlots(const PeaksInput& in);

// The slots of two overlapping tracks added together, slot by slot on the same grid (the crossfade
// mix): `outgoing` and `incoming` must come from the same grid; a slot present in only one keeps its value.
std::vector<Slot> mixSlots(const std::vector<Slot>& outgoing, const std::vector<Slot>& incoming);

// The outline of a strip of slots inside a track `height` high at `top`: value v lies at
// top + h/2 - v * h/2, clipped to the track. Tops left to right, then bottoms right to left.
Polyline stripOutline(const std::vector<Slot>& slots, double top, double height);

struct SamplesInput {
    const std::vector<float>* samples = nullptr; // a mono sample window
    double bufferAtAudioStart = 0.0; // index into `samples` (may be fractional or negative) at audioStartX
    double bufferPerPixel = 0.0;     // window samples under one point
    double discSamplesPerPixel = 0.0;
    double audioStartX = 0.0;
    double localStart = 0.0;
    double localEnd = 0.0;
    double top = 0.0;
    double height = 0.0;
    double minThicknessPx = defaultMinThicknessPx;
    Scaling scaling;
};
// Whether a samples draw uses the line of constant width (less than one sample a slot) rather than
// bands; chosen for the whole draw.
bool samplesLineMode(double bufferPerPixel);
// The samples path: one band a slot (minimum to maximum of the samples one slot to either side of
// its centre, at least minThicknessPx tall), or one segment a slot from its centre to the next,
// minThicknessPx wide at a right angle to the segment.
std::vector<Quad> samplesStrip(const SamplesInput& in);

// --- One track's draw, from its record ---

// Source samples under one screen point: the measure that chooses the path.
double pointsPerPixel(double fileRate, double pps);
// The rate of a track's file as its peak list tells it (a pair per 32 file frames over
// `sourceAudioSamples` disc samples), taken to the nearest usual rate within 1 %; 44.1 kHz when
// either count is empty.
double fileRateOfPeaks(std::size_t peakValues, std::int64_t sourceAudioSamples);
// The fades, gain and zoom of a track as shown (pass the canvas's mirrored track during a drag).
Scaling scalingFor(const CDTrack& shown, const GainTable* gain, double amplitudeZoom);
// The peaks draw of a track whose effective audio starts at `audioStartX`, over the dirty span
// [dirtyMinX, dirtyMaxX) of the canvas. Peaks are one pair per 32 frames of the file at `fileRate`.
PeaksInput peaksInputFor(const CDTrack& shown, const std::vector<float>& peaks, double fileRate,
                         double audioStartX, double pps, double dirtyMinX, double dirtyMaxX,
                         const Scaling& scaling);
// The file frames (at its own rate) that the dirty span shows, first and one past the last, within
// the effective audio: what to ask of the sample window cache.
std::pair<std::int64_t, std::int64_t> visibleNativeRange(const CDTrack& shown, double fileRate,
                                                         double audioStartX, double pps, double dirtyMinX,
                                                         double dirtyMaxX);
// The samples draw of a track from a window of mono samples starting at file frame `windowStart`.
SamplesInput samplesInputFor(const CDTrack& shown, const std::vector<float>& window, std::int64_t windowStart,
                             double fileRate, double audioStartX, double pps, double dirtyMinX,
                             double dirtyMaxX, double top, double height, const Scaling& scaling);

// The crossfade law over an overlap from overlapMinX to overlapMaxX: the outgoing track's slots
// scaled by its falling gain, or the incoming track's by its rising one, so that mixSlots of both
// shows the sum the listener hears. Slots outside the overlap are left as they are.
// An auditioned file across the lane from x 0, at its own length in frames, with no fades or gain.
PeaksInput previewPeaksInput(const std::vector<float>& peaks, std::int64_t lengthFrames, double pps,
                             double dirtyMinX, double dirtyMaxX, double amplitudeZoom);

enum class CrossfadeSide { outgoing, incoming };
std::vector<Slot> withCrossfadeGain(std::vector<Slot> slots, double overlapMinX, double overlapMaxX,
                                    float curve, CrossfadeSide side);

} // namespace WaveformDrawing

} // namespace orvane
