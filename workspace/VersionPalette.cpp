#include "workspace/VersionPalette.h"

#include <limits>

namespace orvane::VersionPalette {

std::string takeNextColor(CDTrack& track) {
    const auto size = static_cast<std::int64_t>(versionPalette.size());
    // A document may hold any counter, also a negative one; the colour still comes from the palette.
    const std::int64_t slot = ((track.versionColorSeq % size) + size) % size;
    // At the counter's ceiling, restart it at the same place in the palette rather than overflow.
    track.versionColorSeq = track.versionColorSeq == std::numeric_limits<std::int64_t>::max()
                                ? slot + 1
                                : track.versionColorSeq + 1;
    return std::string(versionPalette[static_cast<std::size_t>(slot)]);
}

} // namespace orvane::VersionPalette
