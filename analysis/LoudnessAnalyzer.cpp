#include "analysis/LoudnessAnalyzer.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <vector>

namespace orvane::LoudnessAnalyzer {

namespace {

// The filter constants of BS.1770-4, written so that the design works at any rate.
constexpr double kShelfPiF0 = 5284.078578647628; // pi x 1681.974450955533 Hz
constexpr double kShelfQ = 0.7071752369554196;
constexpr double kShelfVh = 1.5848647011308556;
constexpr double kShelfVb = 1.2587209302325617;
constexpr double kHighPassPiF0 = 119.8061151453059; // pi x 38.13547087602444 Hz
constexpr double kHighPassQ = 0.5003270373238773;

double percentile(const std::vector<double>& sorted, double p) {
    const double x = p / 100.0 * static_cast<double>(sorted.size() - 1);
    const auto a = static_cast<std::size_t>(std::floor(x));
    const auto b = static_cast<std::size_t>(std::ceil(x));
    if (a == b) {
        return sorted[a];
    }
    const double frac = x - static_cast<double>(a);
    return (1.0 - frac) * sorted[a] + frac * sorted[b];
}

} // namespace

std::array<Biquad, 2> kWeightingFilters(double fs) {
    assert(fs > 0.0);
    Biquad shelf;
    {
        const double k = std::tan(kShelfPiF0 / fs);
        const double a0 = k * k + k / kShelfQ + 1.0;
        shelf.b0 = (kShelfVh + kShelfVb * k / kShelfQ + k * k) / a0;
        shelf.b1 = 2.0 * (k * k - kShelfVh) / a0;
        shelf.b2 = (kShelfVh - kShelfVb * k / kShelfQ + k * k) / a0;
        shelf.a1 = 2.0 * (k * k - 1.0) / a0;
        shelf.a2 = (k * k - k / kShelfQ + 1.0) / a0;
    }
    Biquad highPass;
    {
        const double k = std::tan(kHighPassPiF0 / fs);
        const double a0 = k * k + k / kHighPassQ + 1.0;
        highPass.b0 = 1.0;
        highPass.b1 = -2.0;
        highPass.b2 = 1.0;
        highPass.a1 = 2.0 * (k * k - 1.0) / a0;
        highPass.a2 = (k * k - k / kHighPassQ + 1.0) / a0;
    }
    return {shelf, highPass};
}

double blockLoudness(double meanSquare) noexcept {
    return -0.691 + 10.0 * std::log10(std::max(meanSquare, 1e-15));
}

std::optional<double> integrated(std::span<const double> fromBlockMeanSquares) {
    double absSum = 0.0;
    std::size_t absCount = 0;
    for (double ms : fromBlockMeanSquares) {
        if (blockLoudness(ms) > -70.0) {
            absSum += ms;
            ++absCount;
        }
    }
    if (absCount == 0) {
        return std::nullopt;
    }
    const double threshold = blockLoudness(absSum / static_cast<double>(absCount)) - 10.0;
    double relSum = 0.0;
    std::size_t relCount = 0;
    for (double ms : fromBlockMeanSquares) {
        const double l = blockLoudness(ms);
        if (l > -70.0 && l > threshold) {
            relSum += ms;
            ++relCount;
        }
    }
    if (relCount == 0) {
        return std::nullopt;
    }
    return blockLoudness(relSum / static_cast<double>(relCount));
}

std::optional<double> loudnessRange(std::span<const double> fromHopEnergies, long hopSamples) {
    constexpr std::size_t kWindowHops = 30;
    if (fromHopEnergies.size() < kWindowHops || hopSamples < 1) {
        return std::nullopt;
    }
    const double windowSamples = static_cast<double>(hopSamples) * static_cast<double>(kWindowHops);
    const std::size_t windowCount = fromHopEnergies.size() - kWindowHops + 1;

    // Running sums over the hops: prefix[i] is the sum of hops before i.
    std::vector<double> prefix(fromHopEnergies.size() + 1, 0.0);
    for (std::size_t i = 0; i < fromHopEnergies.size(); ++i) {
        prefix[i + 1] = prefix[i] + fromHopEnergies[i];
    }
    std::vector<double> energies;
    energies.reserve(windowCount);
    double keptSum = 0.0;
    for (std::size_t i = 0; i < windowCount; ++i) {
        const double e = (prefix[i + kWindowHops] - prefix[i]) / windowSamples;
        if (blockLoudness(e) >= -70.0) {
            energies.push_back(e);
            keptSum += e;
        }
    }
    if (energies.empty()) {
        return std::nullopt;
    }
    const double relativeGate = blockLoudness(keptSum / static_cast<double>(energies.size())) - 20.0;
    std::vector<double> levels;
    levels.reserve(energies.size());
    for (double e : energies) {
        const double l = blockLoudness(e);
        if (l >= relativeGate) {
            levels.push_back(l);
        }
    }
    if (levels.size() < 2) {
        return std::nullopt;
    }
    std::sort(levels.begin(), levels.end());
    return percentile(levels, 95.0) - percentile(levels, 10.0);
}

} // namespace orvane::LoudnessAnalyzer
