#pragma once
// A track's gain stage for one rendered stretch: the static gain and the envelope as one
// multiplier per sample. Made per chunk or render call and private to the thread that made it;
// evaluation moves its segment cursor, so it is not shared.

#include "model/EnvelopeCurve.h"
#include "model/RedBook.h"
#include "model/TrackGain.h"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace orvane {

struct CDTrack;

struct GainEvaluator {
    EnvelopeCurve curve;
    float baseMultiplier = 1.0f;                            // static gain as a multiplier, 1 when gain is off
    bool isUnity = true;                                    // the track's gain stage does nothing
    bool hasPoints = false;                                 // the envelope is enabled and has points
    std::int64_t seg = 0;                                   // segment cursor of the envelope
    float lastDB = std::numeric_limits<float>::quiet_NaN(); // the level last turned into a gain...
    float lastLinear = 0.0f;                                // ...and that gain

    GainEvaluator() = default;
    // For a render at samplesPerFrame samples per CD frame; at a rate other than 44.1 kHz point
    // positions are carried to that rate, and offsets given to multiplier() must be too.
    explicit GainEvaluator(const CDTrack& track, std::int64_t samplesPerFrame = RedBook::samplesPerFrame);

    // Multiplier at a sample offset after the head trim. Only a live envelope costs a power.
    float multiplier(std::int64_t atSample) noexcept {
        if (isUnity)
            return 1.0f;
        if (!hasPoints)
            return baseMultiplier;
        // Flat stretches of the envelope (before the first point, after the last, between equal
        // points) give the same level sample after sample: the power is taken once for them.
        const float dB = curve.dB(atSample, seg);
        if (dB != lastDB) {
            lastDB = dB;
            lastLinear = TrackGain::linearCurve(dB);
        }
        return lastLinear * baseMultiplier;
    }

    // multiplier() of `count` consecutive samples from `fromSample` into `out`, the same values.
    void multipliers(std::int64_t fromSample, std::size_t count, float* out) noexcept;

    // The same stage; the cursor and the last level are only where evaluation has got to.
    bool operator==(const GainEvaluator& other) const {
        return curve == other.curve && baseMultiplier == other.baseMultiplier && isUnity == other.isUnity &&
               hasPoints == other.hasPoints;
    }
};

} // namespace orvane
