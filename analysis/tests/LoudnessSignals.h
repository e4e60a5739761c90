#pragma once
// Test signals of the loudness tests: 1 kHz stereo sines in sections of given level and length, and
// single sines of chosen frequency and phase for the true-peak cases, as their published definitions
// describe them. Written as float WAV so that the levels are exact. Tests only.

#include "analysis/tests/AnalysisTestFiles.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <numbers>
#include <vector>

namespace orvane::testing {

struct Section {
    double dBFS;    // peak level of the sine on each channel
    double seconds; // length
};

// A 1 kHz sine on both channels, section after section, continuous in phase.
inline std::filesystem::path writeSections(const std::filesystem::path& path,
                                           const std::vector<Section>& sections, double rate = 44100.0,
                                           int channels = 2) {
    std::vector<std::int64_t> ends;
    std::vector<double> amplitudes;
    std::int64_t at = 0;
    for (const auto& s : sections) {
        at += static_cast<std::int64_t>(std::llround(s.seconds * rate));
        ends.push_back(at);
        amplitudes.push_back(std::pow(10.0, s.dBFS / 20.0));
    }
    return writeSource(path, rate, channels, at, [&, rate](int, std::int64_t n) {
        std::size_t k = 0;
        while (k + 1 < ends.size() && n >= ends[k])
            ++k;
        return static_cast<float>(amplitudes[k] *
                                  std::sin(2.0 * std::numbers::pi * 1000.0 * static_cast<double>(n) / rate));
    });
}

// A sine at `hz` whose samples start at `phaseDegrees`, peak `dBFS` of its continuous wave. It rises
// and falls over 10 ms: a hard cut is a step, and a step's reconstruction overshoots whatever the
// tone, which is not what these cases are about.
inline std::filesystem::path writePhasedSine(const std::filesystem::path& path, double hz,
                                             double phaseDegrees, double dBFS, double seconds, double rate) {
    const double amplitude = std::pow(10.0, dBFS / 20.0);
    const double phase = phaseDegrees * std::numbers::pi / 180.0;
    const auto frames = static_cast<std::int64_t>(seconds * rate);
    const auto ramp = static_cast<std::int64_t>(0.01 * rate);
    return writeSource(path, rate, 2, frames, [=](int, std::int64_t n) {
        const std::int64_t edge = std::min(n, frames - 1 - n);
        const double shape = edge >= ramp
                                 ? 1.0
                                 : 0.5 - 0.5 * std::cos(std::numbers::pi * static_cast<double>(edge) /
                                                        static_cast<double>(ramp));
        return static_cast<float>(
            shape * amplitude *
            std::sin(2.0 * std::numbers::pi * hz * static_cast<double>(n) / rate + phase));
    });
}

// A track that plays the whole file, at the file's length in disc samples.
inline CDTrack wholeFileTrack(const std::filesystem::path& path, double seconds) {
    return trackOf(path, 150, static_cast<std::int64_t>(seconds * 44100.0));
}

} // namespace orvane::testing
