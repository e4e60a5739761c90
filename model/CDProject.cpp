#include "model/CDProject.h"

namespace orvane {

std::string CDProject::effectiveMasterSRC() const {
    return masterSRC.value_or("Velmont SRC");
}

std::string CDProject::effectiveMasterDither() const {
    return masterDither.value_or("TPDF");
}

std::string CDProject::effectiveMasterSRCPhase() const {
    return masterSRCPhase.value_or("Linear");
}

std::optional<std::size_t> CDProject::indexOfTrack(const Uuid& id) const {
    for (std::size_t i = 0; i < tracks.size(); ++i)
        if (tracks[i].id == id)
            return i;
    return std::nullopt;
}

} // namespace orvane
