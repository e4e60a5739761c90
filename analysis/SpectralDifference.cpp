#include "analysis/SpectralDifference.h"

#include <algorithm>
#include <cmath>

namespace orvane::SpectralDifference {

std::optional<Panel> panel(const SpectralImprint& reference, const SpectralImprint& target, double fMin,
                           double fMax, bool nyquistStyle) {
    // Matched below the band where converters differ, so a filter edge doesn't shift the whole curve.
    const SpectralImprint a = reference.normalized(18000.0, 0.0);
    const SpectralImprint b = target.normalized(18000.0, 0.0);
    const auto d = b.difference(a);
    if (!d)
        return std::nullopt;
    Panel out;
    double largest = 0.0;
    for (std::size_t i = 0; i < d->frequencies.size(); ++i) {
        if (d->frequencies[i] < fMin || d->frequencies[i] > fMax)
            continue;
        out.frequencies.push_back(d->frequencies[i]);
        out.differences.push_back(d->magnitudesDb[i]);
        largest = std::max(largest, std::fabs(d->magnitudesDb[i]));
    }
    out.half = std::clamp(largest * 1.18, nyquistStyle ? 0.2 : 0.01, 120.0);
    return out;
}

} // namespace orvane::SpectralDifference
