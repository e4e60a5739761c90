#pragma once
// BS.1770 loudness building blocks: the K-weighting filters, the loudness of a mean square, the
// gated integrated loudness and the EBU Tech 3342 loudness range. Pure functions, any thread.
// Reading and measuring whole tracks (analyzeTrackData, analyze, albumSummary, storage) is not here yet.

#include <array>
#include <optional>
#include <span>

namespace orvane::LoudnessAnalyzer {

// A direct-form-I biquad with a0 = 1: y = b0 x + b1 x1 + b2 x2 - a1 y1 - a2 y2.
struct Biquad {
    double b0 = 1.0, b1 = 0.0, b2 = 0.0, a1 = 0.0, a2 = 0.0;
    double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;

    double process(double x) noexcept {
        const double y = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    }
    void resetState() noexcept { x1 = x2 = y1 = y2 = 0.0; }

    bool operator==(const Biquad&) const = default;
};

// The two K-weighting stages for this sample rate, in order: the high shelf, then the high pass.
// Fresh state. The rate must be positive.
std::array<Biquad, 2> kWeightingFilters(double fs);

// L(ms) = -0.691 + 10 log10(max(ms, 1e-15)).
double blockLoudness(double meanSquare) noexcept;

// Gated integrated loudness of 400 ms blocks' mean squares (channels summed): absolute gate above
// -70, relative gate above the kept mean - 10. Nothing when empty or when no block survives.
std::optional<double> integrated(std::span<const double> fromBlockMeanSquares);

// Loudness range of 3 s windows built from 100 ms hop energies (sums of squares, not divided):
// P95 - P10 of the windows at or above -70 and at or above the kept mean - 20. Nothing with fewer
// than 30 hops, hopSamples below 1, or fewer than 2 windows left.
std::optional<double> loudnessRange(std::span<const double> fromHopEnergies, long hopSamples);

} // namespace orvane::LoudnessAnalyzer
