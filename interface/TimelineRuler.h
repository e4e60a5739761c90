#pragma once
// The ruler under the timeline: which seconds get a labelled long tick, which a short one, and the
// labels' text, for the part of the canvas being redrawn. Pure; main thread.

#include "interface/DrawPrimitives.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvane::TimelineRuler {

inline constexpr double shortTickHeight = 8.0;
inline constexpr double longTickHeight = 14.0;
inline constexpr double shortTicksFromPPS = 5.0; // at or below this zoom only labelled seconds show
inline constexpr Rgba longTickColor{1.0f, 1.0f, 1.0f, 0.4f};
inline constexpr Rgba shortTickColor{1.0f, 1.0f, 1.0f, 0.22f};

// Seconds between two labels for a visible span of `spanSeconds`: 60 above 600, 30 above 120, 10
// above 60, 5 above 20, else 1.
std::int64_t labelStepSeconds(double spanSeconds);

// "7" (whole minutes) at a step of 60 s, else "m:ss".
std::string label(std::int64_t second, std::int64_t stepSeconds);

struct Tick {
    std::int64_t second = 0;
    double x = 0.0;
    double height = 0.0;
    Rgba color;
    std::optional<std::string> label;
    bool operator==(const Tick&) const = default;
};

// The ticks of the seconds from (dirtyMinX - 60) / pps to dirtyMaxX / pps (never before 0), for a
// visible width of `visibleWidth` points. A label sits at the tick's x; the painter places it.
std::vector<Tick> ticks(double pps, double visibleWidth, double dirtyMinX, double dirtyMaxX);

} // namespace orvane::TimelineRuler
