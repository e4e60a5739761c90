#include "model/TrackVersion.h"

#include "model/CDTrack.h"

#include <utility>

namespace orvane {

TrackVersion TrackVersion::make(FileURL url, std::optional<Timestamp> creationDate) {
    TrackVersion version;
    version.id = Uuid::random();
    version.url = std::move(url);
    version.creationDate = creationDate;
    return version;
}

TrackVersion TrackVersion::cdActiveOf(const CDTrack& track, FileURL url) {
    TrackVersion version;
    version.id = track.id;
    version.url = std::move(url);
    version.creationDate = track.creationDate;
    version.colorHex = track.activeColorHex;
    version.label = track.activeLabel;
    version.note = track.activeNote;
    version.srcAlgorithm = track.srcAlgorithm;
    version.srcPhase = track.srcPhase;
    version.rating = track.activeRating;
    return version;
}

} // namespace orvane
