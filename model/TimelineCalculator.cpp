#include "model/TimelineCalculator.h"

#include "model/CDProject.h"
#include "model/detail/SaturatingMath.h"

#include <algorithm>

namespace orvane {

namespace {

using detail::saturatingAdd;

struct AudioRange {
    std::int64_t start = 0;
    std::int64_t end = 0;
};

// A later track with a negative pre-gap overlaps its predecessor; track 1 never does.
bool isCrossfaded(const std::vector<CDTrack>& tracks, std::size_t i) {
    return i > 0 && tracks[i].preGap.totalFrames < 0;
}

std::vector<AudioRange> audioRanges(const std::vector<CDTrack>& tracks) {
    std::vector<AudioRange> ranges;
    ranges.reserve(tracks.size());
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        const std::int64_t gap = tracks[i].preGap.totalFrames;
        // Track 1 honours a longer lead-in but never a shorter one than the fixed 2 seconds.
        const std::int64_t start =
            i == 0 ? std::max(gap, RedBook::track1PregapFrames) : saturatingAdd(ranges.back().end, gap);
        ranges.push_back({start, saturatingAdd(start, tracks[i].effectiveLength().totalFrames)});
    }
    return ranges;
}

// Where the markers of a crossfaded track and its predecessor meet inside their overlap.
std::int64_t transitionPoint(const CDTrack& track, const AudioRange& range, const AudioRange& previous) {
    const std::int64_t overlap = detail::saturatingNegate(track.preGap.totalFrames);
    std::int64_t point = saturatingAdd(range.start, overlap / 2);
    if (!track.indexLocked)
        point = saturatingAdd(point, track.index01OffsetFrames);
    point = std::min(point, previous.end);
    // The lower limit is applied last so that it wins when the two limits cross.
    return std::max(point, range.start);
}

} // namespace

tl::expected<std::vector<TrackPosition>, DDPError>
TimelineCalculator::calculatePositions(const CDProject& project) {
    const auto& tracks = project.tracks;
    const std::vector<AudioRange> ranges = audioRanges(tracks);

    std::vector<std::int64_t> transitions(tracks.size(), 0);
    for (std::size_t i = 1; i < tracks.size(); ++i)
        if (isCrossfaded(tracks, i))
            transitions[i] = transitionPoint(tracks[i], ranges[i], ranges[i - 1]);

    std::vector<TrackPosition> positions;
    positions.reserve(std::min<std::size_t>(tracks.size(), RedBook::maxTracks));
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        if (positions.size() == static_cast<std::size_t>(RedBook::maxTracks))
            return tl::unexpected(DDPError::tooManyTracks());

        const std::int64_t offset = tracks[i].effectiveIndex01Offset();
        TrackPosition position;
        position.trackIndex = static_cast<std::int64_t>(i) + 1;
        position.audioStartLBA = ranges[i].start;
        position.audioEndLBA = ranges[i].end;
        if (i == 0) {
            position.startLBA = 0;
            position.index01LBA = saturatingAdd(ranges[i].start, offset);
        } else if (isCrossfaded(tracks, i)) {
            // A crossfaded track has no pre-gap of its own.
            position.startLBA = transitions[i];
            position.index01LBA = transitions[i];
        } else {
            position.startLBA = ranges[i - 1].end;
            position.index01LBA = saturatingAdd(ranges[i].start, offset);
        }
        // Silence before a track belongs to the track that follows, as its pre-gap.
        const bool nextCrossfaded = i + 1 < tracks.size() && isCrossfaded(tracks, i + 1);
        position.endLBA = nextCrossfaded ? transitions[i + 1] : ranges[i].end;

        if (detail::saturatingSub(position.endLBA, position.index01LBA) < 1)
            return tl::unexpected(DDPError::trackTooShort(position.trackIndex));
        positions.push_back(position);
    }
    return positions;
}

} // namespace orvane
