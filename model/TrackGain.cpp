#include "model/TrackGain.h"

#include "model/CDTrack.h"

namespace orvane {

bool TrackGain::isActive(const CDTrack& track) noexcept {
    return (track.gainEnabled && track.gainDB != 0.0f) ||
           (track.envelopeEnabled && !track.gainPoints.empty());
}

} // namespace orvane
