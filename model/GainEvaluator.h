#pragma once
// A track's gain stage for one rendered stretch: the static gain and the envelope as one
// multiplier per sample. Made per chunk or render call and private to the thread that made it;
// evaluation moves its segment cursor, so it is not shared.

#include "model/EnvelopeCurve.h"
#include "model/RedBook.h"
#include "model/TrackGain.h"

#include <cstdint>

namespace orvane {

struct CDTrack;

struct GainEvaluator {
    EnvelopeCurve curve;
    float baseMultiplier = 1.0f; // static gain as a multiplier, 1 when gain is off
    bool isUnity = true;         // the track's gain stage does nothing
    bool hasPoints = false;      // the envelope is enabled and has points
    std::int64_t seg = 0;        // segment cursor of the envelope

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
        return TrackGain::linearCurve(curve.dB(atSample, seg)) * baseMultiplier;
    }

    bool operator==(const GainEvaluator&) const = default;
};

} // namespace orvane
