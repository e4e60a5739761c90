#pragma once
// The measured loudness of one track (or of the whole album): the figures that sheets and reports
// print. Made by the loudness analysis, read by delivery. Pure value; any thread.

#include <optional>

namespace orvane {

struct TrackLoudness {
    double lufs = 0.0;         // integrated loudness, LUFS
    double truePeak = 0.0;     // true peak, dBTP
    std::optional<double> lra; // loudness range, LU; absent when it could not be measured

    bool operator==(const TrackLoudness&) const = default;
};

} // namespace orvane
