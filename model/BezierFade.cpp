#include "model/BezierFade.h"

#include "model/CDTrack.h"
#include "model/detail/RateScale.h"
#include "model/detail/SaturatingMath.h"

#include <limits>

namespace orvane {

BezierFade::TrackFades BezierFade::trackFades(const CDTrack& track, std::int64_t samplesPerFrame) {
    TrackFades fades;
    fades.fadeInSamples = detail::scaleDiscSamples(track.fadeInSamples, samplesPerFrame);
    fades.fadeOutSamples = detail::scaleDiscSamples(track.fadeOutSamples, samplesPerFrame);
    // The frame-rounded end, not the raw sample count: the last frame is completed by silence.
    std::int64_t endSamples = 0;
    if (__builtin_mul_overflow(track.effectiveLength().totalFrames, samplesPerFrame, &endSamples))
        endSamples = std::numeric_limits<std::int64_t>::max();
    fades.fadeOutStartSamples = detail::saturatingSub(endSamples, fades.fadeOutSamples);
    fades.fadeInCurve = track.fadeInCurve;
    fades.fadeOutCurve = track.fadeOutCurve;
    return fades;
}

float BezierFade::fadeMultiplier(const CDTrack& track, std::int64_t offsetSamples) noexcept {
    return trackFades(track).multiplier(offsetSamples);
}

} // namespace orvane
