#pragma once
// Audio files made by the analysis tests: exact sample values in 32-bit float WAV (which reads back
// unchanged), in a fresh temporary folder per test. Tests only.

#include "platform/AudioFileWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>

namespace orvane::testing {

// Writes `frames` frames whose sample of channel c at frame i is value(c, i).
inline void writeSamples(const std::filesystem::path& path, int channels, std::int64_t frames,
                         const std::function<float(int channel, std::int64_t frame)>& value,
                         double rate = 44100.0) {
    AudioWriteSettings settings;
    settings.sampleFormat = AudioSampleFormat::float32;
    settings.sampleRate = rate;
    settings.channelCount = channels;
    auto writer = AudioFileWriter::open(path, settings);
    ASSERT_TRUE(writer.has_value()) << writer.error().message;
    AudioBuffer block(rate, channels, 8192);
    for (std::int64_t done = 0; done < frames;) {
        const auto n = static_cast<std::size_t>(std::min<std::int64_t>(8192, frames - done));
        for (int c = 0; c < channels; ++c) {
            for (std::size_t i = 0; i < n; ++i) {
                block.channel(c)[i] = value(c, done + static_cast<std::int64_t>(i));
            }
        }
        block.setFrameLength(n);
        ASSERT_TRUE(writer->write(block).has_value());
        done += static_cast<std::int64_t>(n);
    }
    ASSERT_TRUE(writer->finish().has_value());
}

inline void writeNotAudio(const std::filesystem::path& path) {
    std::ofstream(path, std::ios::binary) << "RIFF? no, just text";
}

// A temporary folder that goes with the test.
class TempFolderTest : public ::testing::Test {
  protected:
    TempFolderTest() {
        std::random_device seed;
        folder = std::filesystem::temp_directory_path() /
                 ("orvane-analysis-test-" + std::to_string(seed()) + std::to_string(seed()));
        std::filesystem::create_directories(folder);
    }
    ~TempFolderTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    std::filesystem::path file(const std::string& name) const { return folder / name; }

    std::filesystem::path folder;
};

} // namespace orvane::testing
