#pragma once
// Small enumerations of the project model and their document strings.

#include <optional>
#include <string>
#include <string_view>

namespace orvane {

// Per-take state of the SRC disk cache, shown in the table; never stored.
enum class SRCCacheState { notNeeded, rendering, ready };

// Filter phase of a converter; stored as "Linear" / "Minimum".
enum class SRCPhase { linear, minimum };

inline constexpr bool isMinimum(SRCPhase p) {
    return p == SRCPhase::minimum;
}
std::string_view rawValue(SRCPhase phase);
std::optional<SRCPhase> srcPhaseFromRaw(std::string_view raw);

// How the timeline follows the playhead; a user setting, not part of a project.
enum class ScrollMode { none, page, center };

std::string_view rawValue(ScrollMode mode); // "No Scroll", "Page", "Center"
std::optional<ScrollMode> scrollModeFromRaw(std::string_view raw);

} // namespace orvane
