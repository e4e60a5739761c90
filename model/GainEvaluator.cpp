#include "model/GainEvaluator.h"

#include "model/CDTrack.h"
#include "model/detail/RateScale.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace orvane {

GainEvaluator::GainEvaluator(const CDTrack& track, std::int64_t samplesPerFrame) {
    // The envelope has its own switch and does not depend on gainEnabled.
    std::vector<GainPoint> points;
    if (track.envelopeEnabled)
        points = track.gainPoints;
    for (GainPoint& point : points)
        point.positionSamples = detail::scaleDiscSamples(point.positionSamples, samplesPerFrame);

    curve = EnvelopeCurve(std::move(points), track.envelopeSmoothing);
    baseMultiplier = track.gainEnabled ? TrackGain::linear(track.gainDB) : 1.0f;
    isUnity = !TrackGain::isActive(track);
    hasPoints = !curve.isEmpty();
    seg = 0;
}

void GainEvaluator::multipliers(std::int64_t fromSample, std::size_t count, float* out) noexcept {
    if (isUnity || !hasPoints) {
        std::fill_n(out, count, isUnity ? 1.0f : baseMultiplier);
        return;
    }
    curve.dBRun(fromSample, count, out, seg);
    for (std::size_t i = 0; i < count; ++i) {
        if (out[i] != lastDB) {
            lastDB = out[i];
            lastLinear = TrackGain::linearCurve(out[i]);
        }
        out[i] = lastLinear * baseMultiplier;
    }
}

} // namespace orvane
