// The broadcast loudness test signals, synthesised from their published definitions and measured
// through the whole track path (file, conversion, filters, gates, true peak), against the
// tolerances the standards give: ±0.1 LU integrated, ±1 LU range, +0.2/-0.4 dB true peak.

#include "analysis/LoudnessAnalyzer.h"
#include "analysis/tests/LoudnessSignals.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

namespace LA = LoudnessAnalyzer;
using testing::Section;

class EbuSignals : public testing::TempFolderTest {
  protected:
    TrackLoudness measure(const std::vector<Section>& parts) {
        double seconds = 0.0;
        for (const auto& p : parts)
            seconds += p.seconds;
        const auto path = testing::writeSections(file("s" + std::to_string(serial_++) + ".wav"), parts);
        const auto data = LA::analyzeTrackData(testing::wholeFileTrack(path, seconds));
        EXPECT_TRUE(data.has_value());
        const auto figures = data ? data->summary() : std::nullopt;
        EXPECT_TRUE(figures.has_value());
        return figures.value_or(TrackLoudness{});
    }
    double truePeak(double rate, double hz, double phaseDegrees, double dBFS) {
        const auto path = testing::writePhasedSine(file("tp" + std::to_string(serial_++) + ".wav"), hz,
                                                   phaseDegrees, dBFS, 5.0, rate);
        const auto data = LA::analyzeTrackData(testing::wholeFileTrack(path, 5.0));
        EXPECT_TRUE(data.has_value());
        return data ? LA::truePeakDB(data->peak) : 0.0;
    }
    int serial_ = 0;
};

TEST_F(EbuSignals, integratedLoudnessOfSteadyAndGatedSineProgrammes) {
    EXPECT_NEAR(measure({{-23.0, 20.0}}).lufs, -23.0, 0.1);
    EXPECT_NEAR(measure({{-33.0, 20.0}}).lufs, -33.0, 0.1);
    // Quiet passages around the programme fall to the relative gate...
    EXPECT_NEAR(measure({{-36.0, 10.0}, {-23.0, 60.0}, {-36.0, 10.0}}).lufs, -23.0, 0.1);
    // ...and near-silence to the absolute one.
    EXPECT_NEAR(measure({{-72.0, 10.0}, {-36.0, 10.0}, {-23.0, 60.0}, {-36.0, 10.0}, {-72.0, 10.0}}).lufs,
                -23.0, 0.1);
    // Level steps within the gate are averaged by energy.
    EXPECT_NEAR(measure({{-26.0, 20.0}, {-20.0, 20.1}, {-26.0, 20.0}}).lufs, -23.0, 0.1);
}

TEST_F(EbuSignals, loudnessRangeOfSteppedSineProgrammes) {
    const auto range = [&](const std::vector<Section>& parts) { return measure(parts).lra.value_or(-1.0); };
    EXPECT_NEAR(range({{-20.0, 20.0}, {-30.0, 20.0}}), 10.0, 1.0);
    EXPECT_NEAR(range({{-20.0, 20.0}, {-15.0, 20.0}}), 5.0, 1.0);
    EXPECT_NEAR(range({{-40.0, 20.0}, {-20.0, 20.0}}), 20.0, 1.0);
    EXPECT_NEAR(range({{-50.0, 20.0}, {-35.0, 20.0}, {-20.0, 20.0}, {-35.0, 20.0}, {-50.0, 20.0}}), 15.0,
                1.0);
}

TEST_F(EbuSignals, truePeakOfSinesWhosePeaksFallBetweenSamples) {
    const auto within = [](double measured, double expected) {
        EXPECT_LE(measured, expected + 0.2);
        EXPECT_GE(measured, expected - 0.4);
    };
    // Sources at 48 kHz, carried to the disc rate first.
    within(truePeak(48000.0, 12000.0, 0.0, -6.0), -6.0);
    within(truePeak(48000.0, 12000.0, 45.0, -6.0), -6.0);
    within(truePeak(48000.0, 8000.0, 60.0, -6.0), -6.0);
    within(truePeak(48000.0, 6000.0, 67.5, -6.0), -6.0);
    // Samples at full scale, the wave between them 3 dB above it.
    within(truePeak(48000.0, 12000.0, 45.0, 3.0103), 3.0);
    // At the disc rate itself, the quarter-rate, sixth-rate and eighth-rate cases; the sample peak alone
    // would read up to 3 dB low.
    within(truePeak(44100.0, 11025.0, 45.0, -1.0), -1.0);
    within(truePeak(44100.0, 7350.0, 60.0, -6.0), -6.0);
    within(truePeak(44100.0, 5512.5, 67.5, -6.0), -6.0);
}

} // namespace
} // namespace orvane
