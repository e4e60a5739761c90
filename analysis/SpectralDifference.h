#pragma once
// The level-matched difference of a take against its master, as the data of one graph panel: the
// points within the panel's band and the symmetric scale that fits them. Pure; any thread.

#include "analysis/SpectralImprint.h"

#include <optional>
#include <vector>

namespace orvane::SpectralDifference {

struct Panel {
    std::vector<double> frequencies; // Hz, ascending, within the panel's band
    std::vector<double> differences; // dB; above 0 the take has more energy in that band
    double half = 0.0;               // the scale runs from -half to +half dB
};

// Both imprints matched to 0 dB below 18 kHz, the take minus the master, kept between fMin and fMax.
// The scale is the largest deviation × 1.18, at least 0.2 dB (nyquistStyle) or 0.01 dB, at most 120.
// Nothing when the grids differ.
std::optional<Panel> panel(const SpectralImprint& reference, const SpectralImprint& target, double fMin,
                           double fMax, bool nyquistStyle);

} // namespace orvane::SpectralDifference
