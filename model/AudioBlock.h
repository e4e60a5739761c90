#pragma once
// The linear map of what sounds at each frame of the disc, in disc order. Track indexes are
// 0-based into CDProject::tracks; file positions are frames from the start of the source file
// (588 disc samples each), so trims are already in them. Pure; any thread.

#include "model/TrackPosition.h"

#include <cstdint>
#include <variant>
#include <vector>

namespace orvane {

struct CDProject;

struct AudioBlock {
    struct Silence {
        std::int64_t startFrame = 0;
        std::int64_t durationFrames = 0;
        bool operator==(const Silence&) const = default;
    };
    struct Track {
        std::int64_t trackIndex = 0;
        std::int64_t startFrame = 0;
        std::int64_t durationFrames = 0;
        std::int64_t fileStartFrame = 0;
        bool operator==(const Track&) const = default;
    };
    struct Crossfade {
        std::int64_t trackIndex1 = 0;
        std::int64_t trackIndex2 = 0;
        std::int64_t startFrame = 0;
        std::int64_t durationFrames = 0;
        std::int64_t fileStartFrame1 = 0;
        std::int64_t fileStartFrame2 = 0;
        bool operator==(const Crossfade&) const = default;
    };

    std::variant<Silence, Track, Crossfade> value;

    std::int64_t startFrame() const;
    std::int64_t durationFrames() const;
    std::int64_t endFrame() const { return startFrame() + durationFrames(); }

    // Blocks in disc order for the given layout; empty positions give an empty list. Never fails.
    static std::vector<AudioBlock> construct(const CDProject& project,
                                             const std::vector<TrackPosition>& positions);

    bool operator==(const AudioBlock&) const = default;
};

} // namespace orvane
