#include "model/CDTrack.h"

#include "model/detail/SaturatingMath.h"

#include <algorithm>
#include <utility>

namespace orvane {

namespace {
// INDEX 02 to 99.
constexpr std::size_t kMaxSubIndexes = 98;
} // namespace

CDTrack CDTrack::make(std::string title, std::optional<std::string> isrc, std::int64_t preGapFrames,
                      std::int64_t sourceAudioSamples) {
    CDTrack track;
    track.id = Uuid::random();
    track.title = std::move(title);
    track.isrc = std::move(isrc);
    track.preGap = CDTime::frames(preGapFrames);
    track.sourceAudioSamples = sourceAudioSamples;
    return track;
}

CDTime CDTrack::effectiveLength() const {
    const std::int64_t audible =
        detail::saturatingSub(detail::saturatingSub(sourceAudioSamples, trimStartSamples), trimEndSamples);
    return CDTime::fromSamples(std::max<std::int64_t>(0, audible));
}

std::int64_t CDTrack::maxIndex01Offset() const {
    return std::max<std::int64_t>(0, effectiveLength().totalFrames - RedBook::minTrackFrames);
}

std::int64_t CDTrack::effectiveIndex01Offset() const {
    if (indexLocked)
        return 0;
    return std::clamp<std::int64_t>(index01OffsetFrames, 0, maxIndex01Offset());
}

std::vector<std::int64_t> CDTrack::sanitizedSubIndexOffsets(std::int64_t maxExclusive) const {
    std::vector<std::int64_t> offsets;
    if (maxExclusive < 2)
        return offsets;
    for (const std::int64_t value : subIndexFrames)
        if (value >= 1 && value < maxExclusive)
            offsets.push_back(value);
    std::sort(offsets.begin(), offsets.end());
    offsets.erase(std::unique(offsets.begin(), offsets.end()), offsets.end());
    if (offsets.size() > kMaxSubIndexes)
        offsets.resize(kMaxSubIndexes);
    return offsets;
}

} // namespace orvane
