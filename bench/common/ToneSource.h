#pragma once
// Synthetic 24-bit stereo sources for the benchmarks: a tone on the left and one a fifth above on
// the right, at 0.4 of full scale. A write failure ends the benchmark with the error's text.

#include "platform/AudioBuffer.h"
#include "platform/AudioFileWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace orvane::bench {

inline void writeToneSource(const std::filesystem::path& file, double rate, std::int64_t frames, double hz) {
    AudioWriteSettings settings;
    settings.sampleFormat = AudioSampleFormat::int24;
    settings.sampleRate = rate;
    auto writer = AudioFileWriter::open(file, settings);
    if (!writer) {
        std::fprintf(stderr, "%s\n", writer.error().message.c_str());
        std::exit(1);
    }
    constexpr std::size_t block = 32768;
    AudioBuffer buffer(rate, 2, block);
    for (std::int64_t at = 0; at < frames; at += static_cast<std::int64_t>(block)) {
        const auto n = static_cast<std::size_t>(std::min<std::int64_t>(block, frames - at));
        for (std::size_t i = 0; i < n; ++i) {
            const double t = static_cast<double>(at + static_cast<std::int64_t>(i)) / rate;
            buffer.channel(0)[i] = static_cast<float>(0.4 * std::sin(2 * M_PI * hz * t));
            buffer.channel(1)[i] = static_cast<float>(0.4 * std::sin(2 * M_PI * hz * 1.5 * t));
        }
        buffer.setFrameLength(n);
        if (!writer->write(buffer)) {
            std::fprintf(stderr, "writing %s failed\n", file.c_str());
            std::exit(1);
        }
    }
    (void)writer->finish();
}

} // namespace orvane::bench
