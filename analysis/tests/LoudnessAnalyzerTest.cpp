#include "analysis/LoudnessAnalyzer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace orvane {
namespace {

namespace LA = LoudnessAnalyzer;

// The mean square whose block loudness is `lufs`.
double meanSquareFor(double lufs) {
    return std::pow(10.0, (lufs + 0.691) / 10.0);
}

// Steady-state gain in dB of both K-weighting stages for a sine at `hz`, measured by running one.
double kWeightingGainDB(double hz, double fs) {
    auto filters = LA::kWeightingFilters(fs);
    const int settle = static_cast<int>(fs); // a second for the high pass to settle
    const int measure = static_cast<int>(fs);
    double in = 0.0, out = 0.0;
    for (int i = 0; i < settle + measure; ++i) {
        const double x = std::sin(2.0 * std::numbers::pi * hz * i / fs);
        const double y = filters[1].process(filters[0].process(x));
        if (i >= settle) {
            in += x * x;
            out += y * y;
        }
    }
    return 10.0 * std::log10(out / in);
}

TEST(LoudnessAnalyzerKWeighting, designMatchesThePublishedCoefficientsAtBothCommonRates) {
    // The rate-general design reproduces the known 44.1 kHz and 48 kHz coefficient sets.
    const auto at44 = LA::kWeightingFilters(44100.0);
    EXPECT_NEAR(at44[0].b0, 1.5308412300503478, 1e-12);
    EXPECT_NEAR(at44[0].b1, -2.6509799951547297, 1e-12);
    EXPECT_NEAR(at44[0].b2, 1.169079079921587, 1e-12);
    EXPECT_NEAR(at44[0].a1, -1.6636551132560204, 1e-12);
    EXPECT_NEAR(at44[0].a2, 0.7125954280732254, 1e-12);
    EXPECT_NEAR(at44[1].a1, -1.989169673629796, 1e-12);
    EXPECT_NEAR(at44[1].a2, 0.9891990357870393, 1e-12);

    const auto at48 = LA::kWeightingFilters(48000.0);
    EXPECT_NEAR(at48[0].b0, 1.53512485958697, 1e-9);
    EXPECT_NEAR(at48[0].b1, -2.69169618940638, 1e-9);
    EXPECT_NEAR(at48[0].b2, 1.19839281085285, 1e-9);
    EXPECT_NEAR(at48[0].a1, -1.69065929318241, 1e-9);
    EXPECT_NEAR(at48[0].a2, 0.73248077421585, 1e-9);
    EXPECT_NEAR(at48[1].a1, -1.99004745483398, 1e-9);
    EXPECT_NEAR(at48[1].a2, 0.99007225036621, 1e-9);
}

TEST(LoudnessAnalyzerKWeighting, liftsTheTopCutsTheBassAndPassesOneKilohertzNearUnity) {
    // The curve: about +0.69 dB at 1 kHz (what the -0.691 offset cancels), a shelf near +4 dB up high,
    // and a deep cut at 20 Hz.
    EXPECT_NEAR(kWeightingGainDB(1000.0, 44100.0), 0.69, 0.05);
    EXPECT_NEAR(kWeightingGainDB(10000.0, 44100.0), 3.9, 0.3);
    EXPECT_LT(kWeightingGainDB(20.0, 44100.0), -10.0);
    EXPECT_NEAR(kWeightingGainDB(1000.0, 48000.0), kWeightingGainDB(1000.0, 44100.0), 0.01);
}

TEST(LoudnessAnalyzerGating, integratedDropsSilentAndQuietBlocksAndAveragesEnergyNotDecibels) {
    // Absolute gate above -70, relative gate 10 below the kept mean, mean taken on mean squares.
    EXPECT_FALSE(LA::integrated({}).has_value());
    const std::vector<double> silent(20, 0.0);
    EXPECT_FALSE(LA::integrated(silent).has_value());
    const std::vector<double> belowAbsolute(20, meanSquareFor(-75.0));
    EXPECT_FALSE(LA::integrated(belowAbsolute).has_value());

    std::vector<double> loudAndQuiet(10, meanSquareFor(-20.0));
    loudAndQuiet.insert(loudAndQuiet.end(), 10, meanSquareFor(-40.0));
    loudAndQuiet.insert(loudAndQuiet.end(), 10, 0.0);
    EXPECT_NEAR(*LA::integrated(loudAndQuiet), -20.0, 1e-9);

    const std::vector<double> twoLevels{meanSquareFor(-20.0), meanSquareFor(-26.0)};
    const double energyMean = (meanSquareFor(-20.0) + meanSquareFor(-26.0)) / 2.0;
    EXPECT_NEAR(*LA::integrated(twoLevels), LA::blockLoudness(energyMean), 1e-9);
    EXPECT_GT(*LA::integrated(twoLevels), -23.0); // not the mean of the two dB figures

    EXPECT_NEAR(LA::blockLoudness(1.0), -0.691, 1e-12);
    EXPECT_NEAR(LA::blockLoudness(0.0), -150.691, 1e-9);
}

TEST(LoudnessAnalyzerRange, isTheSpreadBetweenTenthAndNinetyFifthPercentileOfThreeSecondWindows) {
    // A programme that steps from -20 to -30 LUFS has a range of 10 LU; a steady one has none.
    constexpr long hopSamples = 4410;
    const auto hopsAt = [&](double lufs, int count) {
        return std::vector<double>(static_cast<std::size_t>(count), meanSquareFor(lufs) * hopSamples);
    };
    EXPECT_FALSE(LA::loudnessRange(hopsAt(-20.0, 29), hopSamples).has_value());
    EXPECT_FALSE(LA::loudnessRange(hopsAt(-20.0, 60), 0).has_value());
    EXPECT_FALSE(LA::loudnessRange(hopsAt(-80.0, 60), hopSamples).has_value());
    // 30 hops make a single window, and one window has no spread to measure.
    EXPECT_FALSE(LA::loudnessRange(hopsAt(-20.0, 30), hopSamples).has_value());
    const auto twoWindows = LA::loudnessRange(hopsAt(-20.0, 31), hopSamples);
    ASSERT_TRUE(twoWindows.has_value());
    EXPECT_NEAR(*twoWindows, 0.0, 1e-9);
    const auto steady = LA::loudnessRange(hopsAt(-18.0, 200), hopSamples);
    ASSERT_TRUE(steady.has_value());
    EXPECT_NEAR(*steady, 0.0, 1e-9);

    auto stepped = hopsAt(-20.0, 100);
    const auto quieter = hopsAt(-30.0, 100);
    stepped.insert(stepped.end(), quieter.begin(), quieter.end());
    const auto steppedRange = LA::loudnessRange(stepped, hopSamples);
    ASSERT_TRUE(steppedRange.has_value());
    EXPECT_NEAR(*steppedRange, 10.0, 1e-6);

    // Windows more than 20 LU below the programme fall to the relative gate and widen nothing.
    auto withDistantQuiet = stepped;
    const auto distant = hopsAt(-60.0, 200);
    withDistantQuiet.insert(withDistantQuiet.end(), distant.begin(), distant.end());
    const auto range = LA::loudnessRange(withDistantQuiet, hopSamples);
    ASSERT_TRUE(range.has_value());
    EXPECT_GT(*range, 9.0);
    EXPECT_LT(*range, 15.0); // with the -60 windows kept it would be near 40
}

} // namespace
} // namespace orvane
