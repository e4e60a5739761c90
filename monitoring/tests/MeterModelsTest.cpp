#include "monitoring/CorrelationModel.h"
#include "monitoring/Metering.h"
#include "monitoring/SpectrumModel.h"
#include "monitoring/VUMeterModel.h"
#include "monitoring/tests/MeteringTestSignals.h"
#include "platform/MainLoop.h"

#include <gtest/gtest.h>

#include <memory>

namespace orvane {
namespace {

using namespace orvane::testing;

constexpr double kTick = 1.0 / 60.0;

class MeterModelsTest : public ::testing::Test {
  protected:
    void SetUp() override { metering_.installMeterTap(kRate); }

    // A constant level on both channels for `seconds`, starting at `start`.
    double feedLevel(float level, double seconds, double start) {
        const std::vector<float> v(static_cast<std::size_t>(seconds * kRate), level);
        return feedStereo(metering_, v, start);
    }

    TempDefaults defaults_;
    Metering metering_{defaults_.store()};
};

TEST(MeterScale, placesTheScaleMarksWhereTheMeterDrawsThem) {
    // -60 dB and below at 0, -20 dB at a quarter, -6 dB at 70 %, 0 dB and above at the top.
    EXPECT_EQ(MeterScale::position(0.0f), 0.0f);
    EXPECT_EQ(MeterScale::position(0.001f), 0.0f);
    EXPECT_NEAR(MeterScale::position(0.1f), 0.25f, 1e-5f);
    EXPECT_NEAR(MeterScale::position(dbToLinear(-13.0)), 0.475f, 1e-5f);
    EXPECT_NEAR(MeterScale::position(dbToLinear(-6.0)), 0.7f, 1e-5f);
    EXPECT_NEAR(MeterScale::position(1.0f), 1.0f, 1e-6f);
    EXPECT_EQ(MeterScale::position(2.0f), 1.0f);
}

TEST_F(MeterModelsTest, barRisesWithFortyMillisecondsFallsWithTwoHundredAndSegmentsFallSoftly) {
    // One tick moves the bar by the attack or release coefficient of the gap; LEDs light at once
    // and dim by 55 % of the gap per tick.
    VUMeterModel vu(&metering_, nullptr);
    const double end = feedLevel(0.1f, 1.0, 10.0);
    ASSERT_TRUE(vu.tick(10.0));
    EXPECT_NEAR(vu.state().bar[0], VUMeterModel::attackCoeff * 0.25, 1e-6);
    EXPECT_NEAR(VUMeterModel::attackCoeff, 1.0 - std::exp(-1.0 / (60.0 * 0.04)), 1e-15);
    EXPECT_NEAR(VUMeterModel::releaseCoeff, 1.0 - std::exp(-1.0 / (60.0 * 0.2)), 1e-15);
    for (int k = 1; k < 55; ++k) {
        vu.tick(10.0 + k * kTick);
    }
    const auto& s = vu.state();
    EXPECT_NEAR(s.bar[0], 0.25f, 1e-4f);
    EXPECT_NEAR(s.bar[1], 0.25f, 1e-4f);
    EXPECT_NEAR(s.segs[0][15], 1.0f, 1e-3f); // 16 of 64 LEDs lit
    EXPECT_LT(s.segs[0][16], 0.01f);

    const float before = s.bar[0];
    const float ledBefore = s.segs[0][15];
    vu.tick(end + 0.3); // stale: the target is the bottom of the scale
    EXPECT_NEAR(s.bar[0], before * (1.0 - VUMeterModel::releaseCoeff), 1e-6);
    const float lit = std::clamp((s.bar[0] - 15.0f / 64.0f) * 64.0f, 0.0f, 1.0f);
    EXPECT_NEAR(s.segs[0][15], ledBefore + (lit - ledBefore) * 0.55f, 1e-5f);
    EXPECT_GT(s.segs[0][15], lit);
}

TEST_F(MeterModelsTest, peakMarkerHangsThenFallsToTheBarAndTheMeterComesToRestWithOneLastPaint) {
    // After the signal stops the marker holds about 0.7 s, falls but never below the bar, fades,
    // and the tick after everything is at rest is the last one that asks for a redraw.
    VUMeterModel vu(&metering_, nullptr);
    const double end = feedLevel(0.5f, 0.1, 10.0);
    double now = 10.0;
    for (; now < end; now += kTick) {
        vu.tick(now);
    }
    const auto& s = vu.state();
    EXPECT_GT(s.peak[0], 0.68f);
    EXPECT_GT(s.peakAlpha[0], 0.7f);
    const float hung = s.peak[0];

    now = end + 0.3;
    int heldTicks = 0;
    while (s.peak[0] == hung && heldTicks < 100) {
        vu.tick(now);
        now += kTick;
        ++heldTicks;
        EXPECT_GE(s.peak[0], s.bar[0]);
    }
    EXPECT_GE(heldTicks, 41);
    EXPECT_LE(heldTicks, 44);

    bool lastPaintWasAtRest = false;
    int ticks = 0;
    while (vu.tick(now) && ticks < 1000) {
        EXPECT_GE(s.peak[0], s.bar[0]);
        lastPaintWasAtRest = s.bar[0] <= 0.001f && s.peak[0] <= 0.001f && s.peakAlpha[0] <= 0.02f;
        now += kTick;
        ++ticks;
    }
    EXPECT_LT(ticks, 1000);
    EXPECT_TRUE(lastPaintWasAtRest);
    EXPECT_FALSE(vu.tick(now + kTick));
    EXPECT_FALSE(s.wasActive);
}

TEST_F(MeterModelsTest, clipLampHoldsOneAndAHalfSecondsThenFadesInHalfASecond) {
    // A clipped frame lights the lamp; once frames stop it stays full 1.5 s and is dark 0.5 s later.
    VUMeterModel vu(&metering_, nullptr);
    std::vector<float> clipped(512, 0.2f);
    clipped[100] = clipped[101] = clipped[102] = 1.0f;
    metering_.processBuffer(clipped.data(), clipped.data(), 512, 2, 20.0, false);
    vu.tick(20.0);
    EXPECT_EQ(vu.state().clipGlow[0], 1.0f);
    EXPECT_EQ(vu.state().clipGlow[1], 1.0f);

    double now = 20.3; // the frame is stale from here on
    for (int k = 1; k <= 88; ++k) {
        vu.tick(now += kTick);
    }
    EXPECT_EQ(vu.state().clipGlow[0], 1.0f);
    for (int k = 0; k < 10; ++k) {
        vu.tick(now += kTick);
    }
    EXPECT_LT(vu.state().clipGlow[0], 1.0f);
    EXPECT_GT(vu.state().clipGlow[0], 0.5f);
    for (int k = 0; k < 30; ++k) {
        vu.tick(now += kTick);
    }
    EXPECT_EQ(vu.state().clipGlow[0], 0.0f);
}

TEST_F(MeterModelsTest, loudnessReadoutShowsTheRunningFigureAndAClickEmptiesIt) {
    // The readout shows one decimal of the running figure; a click shows "—" at once and redraws.
    int redraws = 0;
    VUMeterModel vu(&metering_, [&] { ++redraws; });
    EXPECT_EQ(vu.state().lufsText, "\u2014");
    const double end = feedStereo(metering_, sine(1000.0, dbToLinear(-23.0), 44100), 10.0);
    EXPECT_TRUE(vu.tick(end));
    EXPECT_EQ(vu.state().lufsText, "-23.0");

    vu.resetLufs();
    EXPECT_EQ(vu.state().lufsText, "\u2014");
    EXPECT_EQ(redraws, 1);
    EXPECT_FALSE(metering_.rtIntegratedLUFS().has_value());
    vu.tick(end);
    EXPECT_EQ(vu.state().lufsText, "\u2014");

    vu.setShowLufs(false);
    feedStereo(metering_, sine(1000.0, dbToLinear(-30.0), 44100), end);
    vu.tick(end + 1.0);
    EXPECT_EQ(vu.state().lufsText, "\u2014");

    VUMeterModel orphan(nullptr, [&] { ++redraws; });
    EXPECT_FALSE(orphan.tick(end));
}

TEST_F(MeterModelsTest, spectrumBandsJumpUpAndFallThreeQuartersOfADecibelATick) {
    // Bands follow a rise at once; once frames stop they fall 0.75 dB a tick to the floor, and
    // redraws stop one tick after the last band leaves the scale.
    SpectrumModel spectrum(&metering_, nullptr);
    EXPECT_FALSE(spectrum.tick(1.0)); // nothing queued and nothing shown
    const double end = feedStereo(metering_, sine(997.0, 0.5f, 4096), 10.0);
    const SpectrumReading heard = metering_.spectrumBands(end);
    ASSERT_TRUE(spectrum.tick(end));
    const auto& s = spectrum.state();
    const auto loudest =
        static_cast<std::size_t>(std::max_element(s.dbState.begin(), s.dbState.end()) - s.dbState.begin());
    EXPECT_EQ(s.dbState[loudest], heard.bands[loudest]);
    EXPECT_NEAR(s.levels[loudest], (heard.bands[loudest] + 60.0f) / 60.0f, 1e-6f);

    double now = end + 0.3;
    for (int k = 0; k < 20; ++k) {
        const float before = s.dbState[loudest];
        spectrum.tick(now += kTick);
        EXPECT_NEAR(before - s.dbState[loudest], 0.75f, 1e-4f);
    }
    int ticks = 0;
    while (spectrum.tick(now += kTick) && ticks < 1000) {
        ++ticks;
    }
    EXPECT_LT(ticks, 1000);
    for (float level : s.levels) {
        EXPECT_LE(level, 0.005f);
    }
    for (int k = 0; k < 200; ++k) {
        spectrum.tick(now += kTick);
    }
    EXPECT_EQ(s.dbState[loudest], -80.0f);
}

TEST_F(MeterModelsTest, correlationEasesWithAHundredAndFiftyMillisecondsAndRestsAtPlusOne) {
    // The needle moves by coeff of the gap a tick, goes back to +1 in silence, and is redrawn only
    // when it moves visibly.
    defaults_.store().setBool("showCorrelation", true);
    metering_.syncMeterTapFlags();
    CorrelationModel meter(&metering_, nullptr);
    EXPECT_TRUE(meter.tick(1.0)); // the first tick always draws
    EXPECT_EQ(meter.state().value, 1.0f);
    EXPECT_FALSE(meter.tick(1.0 + kTick));

    const auto tone = sine(300.0, 0.5f, 44100);
    const auto inverted = negated(tone);
    const double end = feed(metering_, tone, &inverted, 10.0);
    EXPECT_TRUE(meter.tick(10.0));
    EXPECT_NEAR(meter.state().value, 1.0 - 2.0 * CorrelationModel::coeff, 1e-5);
    EXPECT_NEAR(CorrelationModel::coeff, 1.0 - std::exp(-1.0 / (60.0 * 0.15)), 1e-15);
    double now = 10.0;
    for (int k = 0; k < 55; ++k) {
        meter.tick(now += kTick);
    }
    EXPECT_NEAR(meter.state().value, -1.0f, 0.01f);

    for (int k = 0; k < 120; ++k) {
        meter.tick(end + 0.3 + k * kTick);
    }
    EXPECT_NEAR(meter.state().value, 1.0f, 0.001f);
}

TEST_F(MeterModelsTest, startedModelsTickOnTheMainLoopTimerAndStopWhenAsked) {
    // Each model ticks 60 times a second on the loop's clock and redraws through its callback.
    auto clock = std::make_shared<ManualClock>(100.0);
    MainLoop loop(clock);
    int vuRedraws = 0, correlationRedraws = 0, spectrumRedraws = 0;
    VUMeterModel vu(&metering_, [&] { ++vuRedraws; });
    CorrelationModel correlation(&metering_, [&] { ++correlationRedraws; });
    SpectrumModel spectrum(&metering_, [&] { ++spectrumRedraws; });
    vu.start(loop);
    correlation.start(loop);
    spectrum.start(loop);
    feedStereo(metering_, sine(1000.0, 0.5f, 4096), 100.0);

    for (int k = 0; k < 3; ++k) {
        clock->advanceBy(kTick);
        loop.runUntilIdle();
    }
    EXPECT_EQ(vuRedraws, 3);
    EXPECT_EQ(spectrumRedraws, 3);
    EXPECT_EQ(correlationRedraws, 1);
    EXPECT_GT(vu.state().bar[0], 0.4f);

    vu.stop();
    correlation.stop();
    spectrum.stop();
    clock->advanceBy(kTick);
    loop.runUntilIdle();
    EXPECT_EQ(vuRedraws, 3);
    EXPECT_FALSE(loop.nextTimerDeadline().has_value());
}

} // namespace
} // namespace orvane
