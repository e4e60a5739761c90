#pragma once
// Files for the workspace's tests: a quiet stereo tone of an exact length at any rate, written as
// 16-bit WAV block by block (long ones too), and files that are not audio. Tests only.

#include "platform/AudioFileWriter.h"
#include "testsupport/TestAudio.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace orvane::testing {

inline void writeTone(const std::filesystem::path& path, double rate, std::int64_t frames) {
    AudioWriteSettings settings;
    settings.sampleRate = rate;
    auto writer = AudioFileWriter::open(path, settings);
    ASSERT_TRUE(writer.has_value()) << writer.error().message;
    AudioBuffer block(rate, 2, 4096);
    std::int64_t written = 0;
    while (written < frames) {
        const auto n = static_cast<std::size_t>(std::min<std::int64_t>(4096, frames - written));
        for (std::size_t i = 0; i < n; ++i) {
            const float s = 0.1f * static_cast<float>(std::sin(0.05 * static_cast<double>(written + i)));
            block.channel(0)[i] = s;
            block.channel(1)[i] = s;
        }
        block.setFrameLength(n);
        ASSERT_TRUE(writer->write(block).has_value());
        written += static_cast<std::int64_t>(n);
    }
    ASSERT_TRUE(writer->finish().has_value());
}

inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline void writeGarbage(const std::filesystem::path& path) {
    writeFile(path, "this is not audio at all");
}

} // namespace orvane::testing
