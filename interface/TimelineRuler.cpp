#include "interface/TimelineRuler.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace orvane::TimelineRuler {

namespace {
constexpr std::int64_t maxTicks = 1'000'000;
} // namespace

std::int64_t labelStepSeconds(double spanSeconds) {
    if (spanSeconds > 600.0) {
        return 60;
    }
    if (spanSeconds > 120.0) {
        return 30;
    }
    if (spanSeconds > 60.0) {
        return 10;
    }
    if (spanSeconds > 20.0) {
        return 5;
    }
    return 1;
}

std::string label(std::int64_t second, std::int64_t stepSeconds) {
    char text[32];
    if (stepSeconds == 60) {
        std::snprintf(text, sizeof text, "%lld", static_cast<long long>(second / 60));
    } else {
        std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(second / 60),
                      static_cast<long long>(second % 60));
    }
    return text;
}

std::vector<Tick> ticks(double pps, double visibleWidth, double dirtyMinX, double dirtyMaxX) {
    std::vector<Tick> out;
    if (!(pps > 0) || !std::isfinite(dirtyMinX) || !std::isfinite(dirtyMaxX) || dirtyMaxX < dirtyMinX) {
        return out;
    }
    const std::int64_t step = labelStepSeconds(visibleWidth / pps);
    const auto first = static_cast<std::int64_t>(std::max(0.0, std::floor((dirtyMinX - 60.0) / pps)));
    const auto last = static_cast<std::int64_t>(std::max(0.0, std::ceil(dirtyMaxX / pps)));
    const bool shortTicks = pps > shortTicksFromPPS;
    if (last - first > maxTicks) {
        return out; // no screen holds that many seconds; a bogus region draws nothing
    }
    for (std::int64_t s = first; s <= last; ++s) {
        const double x = static_cast<double>(s) * pps;
        if (s % step == 0) {
            out.push_back(Tick{s, x, longTickHeight, longTickColor, label(s, step)});
        } else if (shortTicks) {
            out.push_back(Tick{s, x, shortTickHeight, shortTickColor, std::nullopt});
        }
    }
    return out;
}

} // namespace orvane::TimelineRuler
