#pragma once
// The raw measurement of one track or take: the energies of its 400 ms blocks and 100 ms hops and
// its true peak. The figures are derived from it, and an album figure can be formed from several
// without reading audio again. A value; any thread.

#include "model/StoredLoudness.h"
#include "model/TrackLoudness.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace orvane {

struct TrackLoudnessData {
    std::vector<double> blocks; // mean square of each 400 ms block, both channels summed, one per hop
    std::vector<double> hops;   // summed squares of each 100 ms hop, both channels, undivided
    std::int64_t hopSamples = 4410;
    double peak = 0.0; // linear true peak, 1.0 is full scale

    // The figures; nothing when no block passes the gate (silence, or too little audio).
    std::optional<TrackLoudness> summary() const;
    // The figures with the packed energies, tied to the measured file; nothing without a summary.
    std::optional<StoredLoudness> stored(std::int64_t fileSize, Timestamp fileModified) const;
    // The energies back from a stored measurement; nothing when they are missing, undecodable or
    // hold no block. The peak comes back from the stored true peak.
    static std::optional<TrackLoudnessData> unpacked(const StoredLoudness& from);

    bool operator==(const TrackLoudnessData&) const = default;
};

} // namespace orvane
