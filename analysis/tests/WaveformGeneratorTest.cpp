#include "analysis/WaveformGenerator.h"

#include "analysis/tests/AnalysisTestFiles.h"

#include <vector>

namespace orvane::testing {
namespace {

using WaveformGeneratorTest = TempFolderTest;

// A ramp whose mono mix at frame i is exactly i / 64: left 3i/128, right i/128.
float rampLeftRight(int channel, std::int64_t frame) {
    return static_cast<float>(frame) * (channel == 0 ? 3.0f : 1.0f) / 128.0f;
}

TEST_F(WaveformGeneratorTest, everyThirtyTwoFramesGiveAMinimumAndAMaximumAndTheRestOneMorePair) {
    // 32 frames make one bucket, 33 make two (the second holding one frame), 64 make two; the values
    // are the extremes of (left + right) / 2 within each bucket, minimum first.
    writeSamples(file("32.wav"), 2, 32, rampLeftRight);
    writeSamples(file("33.wav"), 2, 33, rampLeftRight);
    writeSamples(file("64.wav"), 2, 64, rampLeftRight);

    EXPECT_EQ(WaveformGenerator::generatePeaks(file("32.wav")), (std::vector<float>{0.0f, 31.0f / 64}));
    EXPECT_EQ(WaveformGenerator::generatePeaks(file("33.wav")),
              (std::vector<float>{0.0f, 31.0f / 64, 32.0f / 64, 32.0f / 64}));
    EXPECT_EQ(WaveformGenerator::generatePeaks(file("64.wav")),
              (std::vector<float>{0.0f, 31.0f / 64, 32.0f / 64, 63.0f / 64}));
}

TEST_F(WaveformGeneratorTest, opposedChannelsCancel) {
    // Left and right in opposite phase draw as silence: the channels are mixed before the extremes are taken.
    writeSamples(file("opposed.wav"), 2, 40, [](int c, std::int64_t i) {
        return (i % 2 == 0 ? 0.75f : -0.25f) * (c == 0 ? 1.0f : -1.0f);
    });
    EXPECT_EQ(WaveformGenerator::generatePeaks(file("opposed.wav")),
              (std::vector<float>{0.0f, 0.0f, 0.0f, 0.0f}));
}

TEST_F(WaveformGeneratorTest, aFileThatCannotBeReadOrHoldsNothingGivesNoPeaks) {
    // No file, a file that is not audio, and an audio file without frames all give an empty list.
    writeNotAudio(file("text.wav"));
    writeSamples(file("empty.wav"), 2, 0, rampLeftRight);
    EXPECT_TRUE(WaveformGenerator::generatePeaks(file("missing.wav")).empty());
    EXPECT_TRUE(WaveformGenerator::generatePeaks(file("text.wav")).empty());
    EXPECT_TRUE(WaveformGenerator::generatePeaks(file("empty.wav")).empty());
    EXPECT_TRUE(WaveformGenerator::generatePeaks(folder).empty()); // a folder
}

TEST_F(WaveformGeneratorTest, aFileLongerThanOneReadBlockIsBucketedAcrossTheBlocks) {
    // Past the first block of reads the buckets go on from where they were: every bucket but the
    // last holds 32 frames, and a spike in the final partial bucket lands in the final pair only.
    const auto frames = static_cast<std::int64_t>(WaveformGenerator::readBlockFrames) + 40;
    const std::int64_t spikeFrame = frames - 3;
    writeSamples(file("long.wav"), 1, frames, [&](int, std::int64_t i) {
        if (i == spikeFrame) {
            return 1.0f;
        }
        return i % 32 == 0 ? -0.5f : 0.0f; // every bucket starts with a dip
    });
    const std::vector<float> peaks = WaveformGenerator::generatePeaks(file("long.wav"));
    const std::size_t buckets = static_cast<std::size_t>((frames + 31) / 32);
    ASSERT_EQ(peaks.size(), 2 * buckets);
    for (std::size_t k = 0; k + 1 < buckets; ++k) {
        ASSERT_EQ(peaks[2 * k], -0.5f) << "bucket " << k;
        ASSERT_EQ(peaks[2 * k + 1], 0.0f) << "bucket " << k;
    }
    EXPECT_EQ(peaks[2 * buckets - 2], -0.5f);
    EXPECT_EQ(peaks[2 * buckets - 1], 1.0f);
}

} // namespace
} // namespace orvane::testing
