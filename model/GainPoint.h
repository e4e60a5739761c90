#pragma once
// One point of a track's gain envelope.

#include "model/Uuid.h"

#include <cstdint>
#include <optional>

namespace orvane {

struct GainPoint {
    Uuid id;                          // so that a drag follows one point
    std::int64_t positionSamples = 0; // disc samples after the head trim
    float gainDB = 0.0f;
    std::optional<float> smoothing; // absent uses the track's envelopeSmoothing

    bool operator==(const GainPoint&) const = default;
};

} // namespace orvane
