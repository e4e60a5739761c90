#pragma once
// Shared by the meter tests: a throw-away defaults store, synthesised tones, and a feeder that hands
// a signal to the tap in 512-frame buffers stamped with consecutive host times.

#include "monitoring/Metering.h"
#include "platform/DefaultsStore.h"
#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace orvane::testing {

constexpr double kRate = 44100.0;

// A defaults store in a fresh temporary folder.
struct TempDefaults {
    TempFolder folder{"orvane-meters"};
    DefaultsStore defaults{folder.path / "defaults.json"};
    DefaultsStore& store() { return defaults; }
};

inline float dbToLinear(double db) {
    return static_cast<float>(std::pow(10.0, db / 20.0));
}

inline std::vector<float> sine(double hz, float amplitude, std::size_t frames) {
    std::vector<float> out(frames);
    for (std::size_t i = 0; i < frames; ++i) {
        out[i] = amplitude *
                 static_cast<float>(std::sin(2.0 * std::numbers::pi * hz * static_cast<double>(i) / kRate));
    }
    return out;
}

inline std::vector<float> negated(std::vector<float> v) {
    for (float& x : v) {
        x = -x;
    }
    return v;
}

// Feeds `left`/`right` (right may be null for mono) in buffers of `bufferFrames`, the first stamped
// `startSeconds`. Gives the host time just after the last frame.
inline double feed(Metering& metering, const std::vector<float>& left, const std::vector<float>* right,
                   double startSeconds, bool scrubbing = false, std::size_t bufferFrames = 512) {
    std::size_t offset = 0;
    while (offset < left.size()) {
        const std::size_t n = std::min(bufferFrames, left.size() - offset);
        metering.processBuffer(left.data() + offset, right != nullptr ? right->data() + offset : nullptr, n,
                               right != nullptr ? 2 : 1, startSeconds + static_cast<double>(offset) / kRate,
                               scrubbing);
        offset += n;
    }
    return startSeconds + static_cast<double>(left.size()) / kRate;
}

inline double feedStereo(Metering& metering, const std::vector<float>& both, double startSeconds,
                         bool scrubbing = false) {
    return feed(metering, both, &both, startSeconds, scrubbing);
}

} // namespace orvane::testing
