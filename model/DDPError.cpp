#include "model/DDPError.h"

namespace orvane {

std::string DDPError::description() const {
    if (const auto* tooShort = std::get_if<TrackTooShort>(&value))
        return "trackTooShort(track: " + std::to_string(tooShort->track) + ")";
    return "tooManyTracks";
}

} // namespace orvane
