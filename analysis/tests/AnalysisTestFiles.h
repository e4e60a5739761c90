#pragma once
// Audio files made by the analysis tests: exact sample values in 32-bit float WAV (which reads back
// unchanged), in a fresh temporary folder per test. Tests only.

#include "testsupport/TempFolder.h"
#include "testsupport/TestAudio.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace orvane::testing {

// Writes `frames` frames whose sample of channel c at frame i is value(c, i).
inline void writeSamples(const std::filesystem::path& path, int channels, std::int64_t frames,
                         const Signal& value, double rate = 44100.0) {
    writeSource(path, rate, channels, frames, value);
}

inline void writeNotAudio(const std::filesystem::path& path) {
    std::ofstream(path, std::ios::binary) << "RIFF? no, just text";
}

// A temporary folder that goes with the test.
class TempFolderTest : public ::testing::Test {
  protected:
    std::filesystem::path file(const std::string& name) const { return folder / name; }

    const TempFolder temp{"orvane-analysis-test"};
    const std::filesystem::path& folder = temp.path;
};

} // namespace orvane::testing
