#pragma once
// Lays the running order out on the disc: one TrackPosition per track, in order.
// Pure function of the project; runs after every edit. Any thread.

#include "model/DDPError.h"
#include "model/TrackPosition.h"

#include <tl/expected.hpp>
#include <vector>

namespace orvane {

struct CDProject;

namespace TimelineCalculator {

// Fails with trackTooShort (1-based) or, past 99 good positions, tooManyTracks.
tl::expected<std::vector<TrackPosition>, DDPError> calculatePositions(const CDProject& project);

} // namespace TimelineCalculator

} // namespace orvane
