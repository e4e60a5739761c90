#include "monitoring/Metering.h"

#include "analysis/LoudnessAnalyzer.h"
#include "monitoring/VUMeterModel.h"
#include "monitoring/tests/MeteringTestSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

namespace orvane {
namespace {

using namespace orvane::testing;

double meanSquareFor(double lufs) {
    return std::pow(10.0, (lufs + 0.691) / 10.0);
}

std::vector<float> quietWith(std::size_t frames,
                             std::initializer_list<std::pair<std::size_t, float>> spikes) {
    std::vector<float> v(frames, 0.25f);
    for (const auto& [index, value] : spikes) {
        v[index] = value;
    }
    return v;
}

// The tests' metering: a tap over a throw-away defaults store, made once the test has set it up.
class MeteringTest : public ::testing::Test {
  protected:
    Metering& tapped() {
        metering_.emplace(defaults.store());
        metering_->installMeterTap(kRate);
        return *metering_;
    }

    TempDefaults defaults;
    std::optional<Metering> metering_;
};

TEST_F(MeteringTest, aSineAtMinusTwentyReadsATenthAQuarterOfTheScaleAndPeaksInItsOwnBand) {
    // A 997 Hz sine at -20 dBFS: bars and markers at 0.1, no clip, and the spectrum's loudest band
    // is the one holding 997 Hz at the windowed level of such a sine.
    Metering& metering = tapped();
    const auto tone = sine(997.0, 0.1f, 8192);
    const double end = feedStereo(metering, tone, 10.0);

    const MeterLevels levels = metering.meterLevels(end);
    EXPECT_NEAR(levels.fastL, 0.1f, 0.0005f);
    EXPECT_NEAR(levels.fastR, 0.1f, 0.0005f);
    EXPECT_NEAR(levels.peakL, 0.1f, 0.0005f);
    EXPECT_FALSE(levels.clipL || levels.clipR);
    EXPECT_NEAR(MeterScale::position(levels.fastL), 0.25f, 0.002f);

    const SpectrumReading spectrum = metering.spectrumBands(end);
    ASSERT_EQ(spectrum.bands.size(), 48u);
    const auto loudest =
        std::max_element(spectrum.bands.begin(), spectrum.bands.end()) - spectrum.bands.begin();
    const auto [lo, hi] = metering.bandBinRanges()[static_cast<std::size_t>(loudest)];
    const int toneBin = static_cast<int>(997.0 / (kRate / 2048.0));
    EXPECT_LE(lo, toneBin);
    EXPECT_GE(hi, toneBin);
    // -20 dB through the normalised window is -21.76 dB on a bin; off-centre loses up to 1.5 dB more.
    EXPECT_LE(spectrum.bands[static_cast<std::size_t>(loudest)], -21.7f);
    EXPECT_GE(spectrum.bands[static_cast<std::size_t>(loudest)], -23.3f);
    EXPECT_LT(spectrum.bands[5], -60.0f);
    EXPECT_LT(spectrum.bands[45], -60.0f);
}

TEST_F(MeteringTest, aFullScaleSineOnABinReadsLikeAPackedRealTransform) {
    // The band level uses a packed real FFT's bins (twice the plain DFT): a full-scale sine centred on
    // bin 100 reads 10 log10(4 x (0.5 x 0.8165)^2) = -1.76 dB, and the band table follows the rate.
    Metering& metering = tapped();
    const auto tone = sine(100.0 * kRate / 2048.0, 1.0f, 4096);
    const double end = feedStereo(metering, tone, 1.0);
    const SpectrumReading spectrum = metering.spectrumBands(end);
    ASSERT_EQ(spectrum.bands.size(), 48u);
    EXPECT_NEAR(*std::max_element(spectrum.bands.begin(), spectrum.bands.end()), -1.76f, 0.05f);

    const auto& ranges = metering.bandBinRanges();
    EXPECT_EQ(ranges.front().first, 1); // the lowest bands share the first bins
    EXPECT_EQ(ranges[1].first, 1);
    EXPECT_EQ(ranges.back().second, 1023);
    for (const auto& [first, last] : ranges) {
        EXPECT_LE(first, last);
    }
}

TEST_F(MeteringTest, correlationIsPlusOneForIdenticalSilentOrMonoAndMinusOneForInverted) {
    // Phase correlation of the buffer, +1 whenever it cannot be formed.
    defaults.store().setBool("showCorrelation", true);
    Metering& metering = tapped();
    const auto tone = sine(440.0, 0.5f, 512);
    const auto inverted = negated(tone);
    const std::vector<float> silence(512, 0.0f);

    const auto correlationOf = [&](const std::vector<float>& l, const std::vector<float>* r, double t) {
        feed(metering, l, r, t);
        return metering.correlation(t).value;
    };
    EXPECT_NEAR(correlationOf(tone, &tone, 1.0), 1.0f, 1e-6f);
    EXPECT_NEAR(correlationOf(tone, &inverted, 2.0), -1.0f, 1e-6f);
    EXPECT_EQ(correlationOf(tone, &silence, 3.0), 1.0f);
    EXPECT_EQ(correlationOf(tone, nullptr, 4.0), 1.0f);
    const MeterLevels mono = metering.meterLevels(4.0);
    EXPECT_EQ(mono.fastL, mono.fastR);
    EXPECT_EQ(mono.peakL, mono.peakR);

    defaults.store().setBool("showCorrelation", false);
    metering.syncMeterTapFlags();
    EXPECT_EQ(correlationOf(tone, &inverted, 5.0), 1.0f); // not computed when not shown
}

TEST_F(MeteringTest, clipNeedsThreeFullScaleSamplesInARunEvenAcrossBuffers) {
    // Two full-scale samples closing one buffer and one opening the next light the lamp; runs broken
    // by a lower sample, or made of 0.9998, do not.
    Metering& metering = tapped();
    const auto quiet = quietWith(512, {});
    const auto endsHot = quietWith(512, {{510, 1.0f}, {511, -1.0f}});
    const auto startsHot = quietWith(512, {{0, 1.0f}});

    metering.processBuffer(endsHot.data(), quiet.data(), 512, 2, 1.0, false);
    EXPECT_FALSE(metering.meterLevels(1.0).clipL);
    metering.processBuffer(startsHot.data(), quiet.data(), 512, 2, 1.1, false);
    const MeterLevels across = metering.meterLevels(1.1);
    EXPECT_TRUE(across.clipL);
    EXPECT_FALSE(across.clipR);

    // A quiet buffer in between breaks the run.
    metering.processBuffer(endsHot.data(), quiet.data(), 512, 2, 1.2, false);
    metering.processBuffer(quiet.data(), quiet.data(), 512, 2, 1.3, false);
    metering.processBuffer(startsHot.data(), quiet.data(), 512, 2, 1.4, false);
    EXPECT_FALSE(metering.meterLevels(1.4).clipL);

    const auto broken = quietWith(512, {{10, 1.0f}, {11, 1.0f}, {12, 0.5f}, {13, 1.0f}});
    metering.processBuffer(broken.data(), broken.data(), 512, 2, 1.5, false);
    EXPECT_FALSE(metering.meterLevels(1.5).clipL);

    const auto nearly = quietWith(512, {{100, 0.9998f}, {101, 0.9998f}, {102, -0.9998f}});
    metering.processBuffer(nearly.data(), nearly.data(), 512, 2, 1.6, false);
    EXPECT_FALSE(metering.meterLevels(1.6).clipL);

    const auto three = quietWith(512, {{100, 0.9999f}, {101, 1.0f}, {102, -1.0f}});
    metering.processBuffer(three.data(), three.data(), 512, 2, 1.7, false);
    EXPECT_TRUE(metering.meterLevels(1.7).clipL);
    EXPECT_TRUE(metering.meterLevels(1.7).clipR);
}

TEST_F(MeteringTest, truePeakModeLightsOnASingleOverAndIsRememberedInTheDefaults) {
    // "Sample Peak" ignores one sample of 1.01; "True Peak" lights on it, and the choice is stored.
    const auto over = quietWith(512, {{200, 1.01f}});
    {
        Metering& metering = tapped();
        EXPECT_FALSE(metering.clipTruePeak());
        metering.processBuffer(over.data(), over.data(), 512, 2, 1.0, false);
        EXPECT_FALSE(metering.meterLevels(1.0).clipL);

        metering.setClipTruePeak(true);
        EXPECT_EQ(defaults.store().boolValue("orvane.clipTruePeak"), true);
        metering.processBuffer(over.data(), over.data(), 512, 2, 2.0, false);
        EXPECT_TRUE(metering.meterLevels(2.0).clipL);

        const auto justOver = quietWith(512, {{200, 1.001f}});
        metering.processBuffer(justOver.data(), justOver.data(), 512, 2, 3.0, false);
        EXPECT_FALSE(metering.meterLevels(3.0).clipL);
    }
    Metering reopened(defaults.store());
    EXPECT_TRUE(reopened.clipTruePeak());
}

TEST_F(MeteringTest, scrubAudioAndAQuarterSecondAfterItStayOutOfTheFigureWhileEarlierBlocksStay) {
    // A -23 dBFS 1 kHz tone reads -23 LUFS; after a scrub the next 11025 frames are skipped and the
    // measurement goes on with its old blocks.
    defaults.store().setBool("showSpectrum", false);
    Metering& metering = tapped();
    double t = feedStereo(metering, sine(1000.0, dbToLinear(-23.0), 5 * 44100), 1.0); // 47 blocks
    ASSERT_NEAR(*metering.rtIntegratedLUFS(), -23.0, 0.1);

    const auto loud = sine(1000.0, 1.0f, 11025);
    metering.processBuffer(loud.data(), loud.data(), 512, 2, t, true);
    metering.processBuffer(loud.data(), loud.data(), 11025, 2, t + 0.02, false); // the drain
    EXPECT_NEAR(*metering.rtIntegratedLUFS(), -23.0, 0.1);

    t = feedStereo(metering, sine(1000.0, dbToLinear(-33.0), 2 * 44100), t + 0.3); // 17 more blocks
    const double expected =
        LoudnessAnalyzer::blockLoudness((47.0 * meanSquareFor(-23.0) + 17.0 * meanSquareFor(-33.0)) / 64.0);
    EXPECT_NEAR(*metering.rtIntegratedLUFS(), expected, 0.1);
}

TEST_F(MeteringTest, resetClearsTheFigureAtOnceAndTheBlocksAtTheNextBuffer) {
    // After a reset only what follows counts: nothing until a block is gated in, then the new level.
    defaults.store().setBool("showSpectrum", false);
    Metering& metering = tapped();
    double t = feedStereo(metering, sine(1000.0, dbToLinear(-23.0), 3 * 44100), 1.0);
    ASSERT_TRUE(metering.rtIntegratedLUFS().has_value());

    metering.resetRTLufs();
    EXPECT_FALSE(metering.rtIntegratedLUFS().has_value());
    const auto quieter = sine(1000.0, dbToLinear(-33.0), 44100);
    t = feed(metering, std::vector<float>(quieter.begin(), quieter.begin() + 512), nullptr,
             t); // mono: the left channel counts twice
    EXPECT_FALSE(metering.rtIntegratedLUFS().has_value());
    feedStereo(metering, quieter, t);
    ASSERT_TRUE(metering.rtIntegratedLUFS().has_value());
    EXPECT_NEAR(*metering.rtIntegratedLUFS(), -33.0, 0.15);
}

TEST_F(MeteringTest, readersTakeTheFrameHeardNowAndTheQueueForgetsFramesAfterTwoSeconds) {
    // With output latency L, the frame shown at `now` is the newest stamped at or before now - L.
    Metering metering(defaults.store());
    EXPECT_EQ(metering.meterLevels(5.0), MeterLevels{});
    metering.installMeterTap(kRate);
    EXPECT_EQ(metering.spectrumBands(5.0), SpectrumReading{});
    metering.setOutputLatency(0.05);
    EXPECT_EQ(metering.outputLatency(), 0.05);

    const double step = 512.0 / kRate;
    for (int k = 0; k < 5; ++k) {
        const std::vector<float> level(512, 0.1f * static_cast<float>(k + 1));
        metering.processBuffer(level.data(), level.data(), 512, 2, 100.0 + k * step, false);
    }
    const MeterLevels third = metering.meterLevels(100.0 + 0.05 + 2 * step + 0.001);
    EXPECT_FLOAT_EQ(third.fastL, 0.3f);
    EXPECT_DOUBLE_EQ(third.time, 100.0 + 2 * step + 0.05);
    EXPECT_FLOAT_EQ(metering.meterLevels(99.0).fastL, 0.1f); // nothing due yet: the oldest
    EXPECT_FLOAT_EQ(metering.meterLevels(200.0).fastR, 0.5f);
    EXPECT_EQ(metering.queuedFrameCount(), 5u);

    const std::vector<float> later(512, 0.9f);
    metering.processBuffer(later.data(), later.data(), 512, 2, 100.0 + 2 * step + 2.0, false);
    EXPECT_EQ(metering.queuedFrameCount(), 4u); // the two oldest are more than 2 s older
    metering.processBuffer(later.data(), later.data(), 512, 2, 104.1, false);
    EXPECT_EQ(metering.queuedFrameCount(), 1u);
    EXPECT_DOUBLE_EQ(metering.meterLevels(99.0).time, 104.1 + 0.05);
}

TEST_F(MeteringTest, onlyShownMetersAreComputedAndTheLoudnessFollowsTheLevelMeter) {
    // The active flags come from the defaults; with the level meter off there is no loudness figure,
    // whatever "showRTLufs" says, and with nothing shown no frame is queued.
    const auto tone = sine(1000.0, 0.3f, 44100);
    {
        Metering metering(defaults.store());
        EXPECT_TRUE(metering.vuMeterActive() && metering.spectrumActive() && metering.rtLufsActive());
        EXPECT_FALSE(metering.correlationActive());
    }
    defaults.store().setBool("showVUMeter", false);
    defaults.store().setBool("showSpectrum", false);
    Metering metering(defaults.store());
    metering.installMeterTap(kRate);
    EXPECT_FALSE(metering.rtLufsActive());
    feedStereo(metering, tone, 1.0);
    EXPECT_EQ(metering.queuedFrameCount(), 0u);
    EXPECT_FALSE(metering.rtIntegratedLUFS().has_value());

    defaults.store().setBool("showVUMeter", true);
    defaults.store().setBool("showRTLufs", false);
    metering.syncMeterTapFlags();
    const double end = feedStereo(metering, tone, 2.0);
    EXPECT_GT(metering.queuedFrameCount(), 0u);
    EXPECT_NEAR(metering.meterLevels(end).fastL, 0.3f, 0.001f);
    EXPECT_TRUE(metering.spectrumBands(end).bands.empty());
    EXPECT_FALSE(metering.rtIntegratedLUFS().has_value());

    // Turning the figure back on goes on from the frozen measurement, here an empty one.
    defaults.store().setBool("showRTLufs", true);
    metering.syncMeterTapFlags();
    feedStereo(metering, tone, 3.0);
    EXPECT_TRUE(metering.rtIntegratedLUFS().has_value());

    EXPECT_THROW(metering.installMeterTap(0.0), std::invalid_argument);
}

TEST_F(MeteringTest, blocksPushedFromTheRenderThreadArriveAsWholeBuffersStampedByTheirFirstFrame) {
    // Blocks of any length are cut and joined into 512-frame buffers that the tap thread measures; a
    // buffer's time is its first frame's, and an unfinished last buffer waits.
    Metering& metering = tapped();
    constexpr std::size_t buffers = 20;
    constexpr std::size_t total = buffers * 512 + 100;
    std::vector<float> signal(total);
    for (std::size_t i = 0; i < total; ++i) {
        signal[i] = 0.01f * static_cast<float>(i / 512 + 1);
    }

    std::thread render([&] {
        for (std::size_t offset = 0; offset < total; offset += 300) {
            const std::size_t n = std::min<std::size_t>(300, total - offset);
            metering.pushFromRenderThread(signal.data() + offset, signal.data() + offset, n,
                                          50.0 + static_cast<double>(offset) / kRate, false);
        }
    });
    render.join();
    for (int waited = 0; waited < 1000 && metering.processedBufferCount() < buffers; ++waited) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_EQ(metering.processedBufferCount(), buffers);
    EXPECT_EQ(metering.droppedBlockCount(), 0u);
    EXPECT_EQ(metering.queuedFrameCount(), buffers);
    for (std::size_t k = 0; k < buffers; ++k) {
        const double stamp = 50.0 + static_cast<double>(k * 512) / kRate;
        const MeterLevels levels = metering.meterLevels(stamp + 1e-9);
        EXPECT_NEAR(levels.time, stamp, 1e-9) << k;
        EXPECT_FLOAT_EQ(levels.fastL, 0.01f * static_cast<float>(k + 1)) << k;
    }
}

} // namespace
} // namespace orvane
