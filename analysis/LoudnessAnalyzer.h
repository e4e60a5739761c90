#pragma once
// BS.1770 loudness of tracks as the disc carries them: the K-weighting filters, the loudness of a
// mean square, the gated integrated loudness, the EBU Tech 3342 loudness range, the measurement of a
// track's audio after its trims, fades, gain and envelope, and the album figure formed from stored
// energies. Stateless functions; any thread, and several tracks may be measured in parallel.

#include "analysis/TrackLoudnessData.h"
#include "model/CDProject.h"
#include "model/CDTrack.h"
#include "model/TrackLoudness.h"
#include "model/Uuid.h"

#include <array>
#include <functional>
#include <map>
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

// Called with the fraction done (0 ... 1) before each chunk; false cancels.
using Progress = std::function<bool(double fraction)>;

// Samples of one 100 ms hop and of one read chunk (5 s), at 44.1 kHz.
inline constexpr std::int64_t samplesPerHop = 4410;
inline constexpr std::int64_t chunkSamples = 220500;

// 20 log10 of a linear peak, with silence at -180 dB rather than minus infinity.
double truePeakDB(double linearPeak) noexcept;

// Measures the track's effective audio at 44.1 kHz stereo. Nothing when it has no file, the file
// cannot be opened, its effective length is 0, progress cancels, or no full 400 ms block was read.
// A read that fails or a file that ends early ends the measurement there, without error.
std::optional<TrackLoudnessData> analyzeTrackData(const CDTrack& track, const Progress& progress = {});

struct Result {
    std::map<Uuid, TrackLoudness> perTrack;
    std::optional<TrackLoudness> album; // only when every track gave a measurement
};

// Every track of the project in order; progress(i / n) before track i, and false stops the walk with
// what was done so far.
Result analyze(const CDProject& project, const Progress& progress = {});

// The album figure from the tracks' energies in running order: blocks and hops joined (windows may
// straddle two tracks), the largest peak. Nothing for an empty list or when no block passes the gate.
std::optional<TrackLoudness> albumSummary(std::span<const TrackLoudnessData> datas);

} // namespace orvane::LoudnessAnalyzer
