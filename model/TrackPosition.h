#pragma once
// Where one track lies on the disc, computed by TimelineCalculator and never stored.
// All fields but trackIndex are LBAs (frames from the start of track 1's pre-gap).

#include <cstdint>

namespace orvane {

struct TrackPosition {
    std::int64_t trackIndex = 0;    // 1-based track number
    std::int64_t startLBA = 0;      // INDEX 00, start of the pre-gap
    std::int64_t index01LBA = 0;    // INDEX 01, where a player jumps to
    std::int64_t endLBA = 0;        // end of the track in the PQ sense
    std::int64_t audioStartLBA = 0; // first frame of the track's audio
    std::int64_t audioEndLBA = 0;   // frame after the last frame of its audio

    bool operator==(const TrackPosition&) const = default;
};

} // namespace orvane
