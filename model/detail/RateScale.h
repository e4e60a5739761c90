#pragma once
// Disc-sample counts carried to another render rate: (v * samplesPerFrame + 294) / 588, truncated,
// which rounds to the nearest sample for positive values. Saturates instead of overflowing, since
// the counts come from documents. Pure; any thread.

#include "model/RedBook.h"

#include <cstdint>
#include <limits>

namespace orvane::detail {

inline std::int64_t scaleDiscSamples(std::int64_t discSamples, std::int64_t samplesPerFrame) noexcept {
    if (samplesPerFrame == RedBook::samplesPerFrame)
        return discSamples;
    constexpr std::int64_t half = RedBook::samplesPerFrame / 2;
    std::int64_t product = 0;
    if (__builtin_mul_overflow(discSamples, samplesPerFrame, &product))
        product = (discSamples < 0) != (samplesPerFrame < 0) ? std::numeric_limits<std::int64_t>::min()
                                                             : std::numeric_limits<std::int64_t>::max();
    std::int64_t rounded = 0;
    if (__builtin_add_overflow(product, half, &rounded))
        rounded = std::numeric_limits<std::int64_t>::max();
    return rounded / RedBook::samplesPerFrame;
}

} // namespace orvane::detail
