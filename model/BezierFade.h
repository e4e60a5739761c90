#pragma once
// Fade-in and fade-out levels of a track: a quadratic Bézier from 0 to 1 shaped by one curve
// parameter. Every path that makes audio, and the drawn fades, use these. Pure; any thread.

#include "model/RedBook.h"
#include "model/detail/SaturatingMath.h"

#include <algorithm>
#include <cstdint>

namespace orvane {

struct CDTrack;

namespace BezierFade {

// Height of the Bézier from 0 to 1 whose control point lies at 0.5 + 0.5 * curve, at a progress
// clamped to 0...1. Curve 0 is the straight line, +1 rises at once, -1 rises late.
inline float multiplier(float progress, float curve) noexcept {
    const float t = std::clamp(progress, 0.0f, 1.0f);
    const float u = 1.0f - t;
    const float control = 0.5f + 0.5f * curve;
    return 2.0f * u * t * control + t * t;
}

// A track's fades prepared once for a render, in samples at the render rate. Offsets count from
// the track's first audible sample, the one right after the head trim.
struct TrackFades {
    std::int64_t fadeInSamples = 0;
    std::int64_t fadeOutSamples = 0;
    std::int64_t fadeOutStartSamples = 0; // frame-rounded end minus fadeOutSamples
    float fadeInCurve = 0.0f;
    float fadeOutCurve = 0.0f;

    // The fade-in wins where the two overlap; the fade-out runs its progress from 1 down to 0.
    float multiplier(std::int64_t offsetSamples) const noexcept {
        if (fadeInSamples >= 1 && offsetSamples < fadeInSamples)
            return BezierFade::multiplier(
                static_cast<float>(offsetSamples) / static_cast<float>(fadeInSamples), fadeInCurve);
        if (fadeOutSamples >= 1 && offsetSamples >= fadeOutStartSamples)
            return BezierFade::multiplier(
                1.0f - static_cast<float>(detail::saturatingSub(offsetSamples, fadeOutStartSamples)) /
                           static_cast<float>(fadeOutSamples),
                fadeOutCurve);
        return 1.0f;
    }

    bool operator==(const TrackFades&) const = default;
};

// The track's fades at a render rate of samplesPerFrame per CD frame; lengths are rounded to the
// nearest sample of that rate and the end is the frame-rounded effective length.
TrackFades trackFades(const CDTrack& track, std::int64_t samplesPerFrame = RedBook::samplesPerFrame);

// The fade multiplier of one sample at a disc-sample offset. Prepares the fades on every call:
// loops should hold a TrackFades instead.
float fadeMultiplier(const CDTrack& track, std::int64_t offsetSamples) noexcept;

} // namespace BezierFade

} // namespace orvane
