#include "analysis/detail/DiscLevel.h"

#include "model/CDTrack.h"
#include "model/RedBook.h"

namespace orvane::detail {

DiscLevel::DiscLevel(const CDTrack& track)
    : fades_(BezierFade::trackFades(track, RedBook::samplesPerFrame)),
      gain_(track, RedBook::samplesPerFrame) {}

void DiscLevel::apply(float* left, float* right, std::size_t count, std::int64_t offset) noexcept {
    const auto n = static_cast<std::int64_t>(count);
    const bool touchesFadeIn = fades_.fadeInSamples >= 1 && offset < fades_.fadeInSamples;
    const bool touchesFadeOut = fades_.fadeOutSamples >= 1 && offset + n > fades_.fadeOutStartSamples;
    if (!touchesFadeIn && !touchesFadeOut && !gain_.hasPoints) {
        // No fade in reach and a flat gain: one factor for the whole stretch.
        const float factor = gain_.multiplier(offset);
        if (factor != 1.0f)
            for (std::size_t i = 0; i < count; ++i) {
                left[i] *= factor;
                right[i] *= factor;
            }
        return;
    }
    for (std::int64_t i = 0; i < n; ++i) {
        const float factor = fades_.multiplier(offset + i) * gain_.multiplier(offset + i);
        if (factor != 1.0f) {
            left[i] *= factor;
            right[i] *= factor;
        }
    }
}

} // namespace orvane::detail
