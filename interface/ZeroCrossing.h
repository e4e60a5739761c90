#pragma once
// Moves a trim edge onto the nearest zero crossing of the source within 5 ms, so that a cut doesn't
// click, while keeping the 4 seconds that must stay between the trims. Reads the file on the calling
// thread (a few hundred frames); main thread in practice.

#include <cstdint>
#include <filesystem>
#include <optional>

namespace orvane::ZeroCrossing {

inline constexpr double searchSeconds = 0.005; // to either side of the edge
inline constexpr std::int64_t minKeptSamples = 176400;

// The zero crossing of the file's mono mix nearest to `sample441` (a 44.1 kHz position), back on
// the 44.1 kHz grid; the earlier one on a tie. Nothing without a crossing in reach, or when the file
// can't be read (said nowhere: a trim simply stays where it was put).
std::optional<std::int64_t> nearest(const std::filesystem::path& file, std::int64_t sample441);

struct Trims {
    std::int64_t trimStartSamples = 0;
    std::int64_t trimEndSamples = 0;
    bool operator==(const Trims&) const = default;
};

enum class Edge { start, end };

// The trims with one edge moved to the crossing `z` (a position in the source), within the rule
// that at least 176400 samples stay between them.
Trims snapped(Trims trims, std::int64_t sourceSamples, Edge edge, std::int64_t z);

} // namespace orvane::ZeroCrossing
