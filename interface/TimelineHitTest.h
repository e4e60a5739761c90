#pragma once
// Which zone of the timeline canvas a point lies in, tested in the canvas's fixed order (locator
// flags, marker flags, the ruler, crossfade handles, envelope points and line, then each track's fade
// handles, audio, trim edges and body): the first hit decides. Presses and the hover pass share it.
// Pure; main thread.

#include "model/CDProject.h"
#include "model/TrackPosition.h"
#include "model/Uuid.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace orvane {

struct CanvasHitContext {
    const CDProject* project = nullptr; // the shown project (the disc or the vinyl side)
    const std::vector<TrackPosition>* positions = nullptr;
    double pps = 10.0;
    double canvasHeight = 0.0;
    std::optional<std::int64_t> loopStartFrame;
    std::optional<std::int64_t> loopEndFrame;
    std::optional<double> pinSeconds;
    bool vinylMode = false;
    bool previewShown = false; // an audition is shown: only locator flags answer
};

struct CanvasHit {
    enum class Zone {
        nothing,
        pin,
        loopStart,
        loopEnd,
        loopSplit, // the one flag of a loop whose edges are equal
        index01Flag,
        subIndexFlag,
        ruler, // elsewhere in the ruler strip
        crossfadeHandle,
        envelopePoint,
        envelopeLine, // a double press near the line adds a point on it
        fadeInLength,
        fadeInCurve,
        fadeOutLength,
        fadeOutCurve,
        trackAudio, // a double press in the audio adds a point where it is
        trimStart,
        trimEnd,
        trackBody,   // the part of a track that moves it
        trackOverlap // inside a crossfade: selects, and a drag from there scrubs
    };
    Zone zone = Zone::nothing;
    std::size_t trackIndex = 0; // in the shown project
    Uuid pointID = Uuid{};      // of an envelope point
    std::size_t ordinal = 0;    // of a sub-index
    std::int64_t frame = 0;     // of a loop edge
    bool operator==(const CanvasHit&) const = default;
};

namespace TimelineHitTest {

inline constexpr double pinTolerance = 8.0;
inline constexpr double crossfadeHandleRadius = 7.0;
inline constexpr double envelopePointTolerance = 6.0;
inline constexpr double envelopeLineTolerance = 6.0;
inline constexpr double trimEdgeTolerance = 5.0;
inline constexpr double trimBelowTopPad = 15.0; // trim edges answer only below the fade handles

// `clickCount` 2 lets the double-press zones answer (envelope line, track audio).
CanvasHit hitTest(const CanvasHitContext& context, double x, double y, int clickCount);

} // namespace TimelineHitTest

} // namespace orvane
