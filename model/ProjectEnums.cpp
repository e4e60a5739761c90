#include "model/ProjectEnums.h"

namespace orvane {

std::string_view rawValue(SRCPhase phase) {
    switch (phase) {
    case SRCPhase::linear:
        return "Linear";
    case SRCPhase::minimum:
        return "Minimum";
    }
    return "Linear";
}

std::optional<SRCPhase> srcPhaseFromRaw(std::string_view raw) {
    if (raw == "Linear")
        return SRCPhase::linear;
    if (raw == "Minimum")
        return SRCPhase::minimum;
    return std::nullopt;
}

std::string_view rawValue(ScrollMode mode) {
    switch (mode) {
    case ScrollMode::none:
        return "No Scroll";
    case ScrollMode::page:
        return "Page";
    case ScrollMode::center:
        return "Center";
    }
    return "No Scroll";
}

std::optional<ScrollMode> scrollModeFromRaw(std::string_view raw) {
    if (raw == "No Scroll")
        return ScrollMode::none;
    if (raw == "Page")
        return ScrollMode::page;
    if (raw == "Center")
        return ScrollMode::center;
    return std::nullopt;
}

} // namespace orvane
