#include "model/TrackGain.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvane {
namespace {

TEST(TrackGain, curveLevelIsSilenceAtAndBelowTheFloorOnly) {
    // -60 dB and below is exactly 0 on the curve, while -59.9 dB and the plain conversion are not.
    EXPECT_NEAR(TrackGain::linear(-6.0f), 0.501187f, 1e-6f);
    EXPECT_NEAR(TrackGain::linear(-60.0f), 0.001f, 1e-8f);
    EXPECT_EQ(TrackGain::linearCurve(-60.0f), 0.0f);
    EXPECT_EQ(TrackGain::linearCurve(-90.0f), 0.0f);
    EXPECT_NEAR(TrackGain::linearCurve(-59.9f), 0.0010116f, 1e-7f);
}

TEST(TrackGain, crossfadeCurveRunsFromEqualGainToEqualPower) {
    // Curve 0 keeps the sum at 1, curve 1 keeps the power at 1, curve -1 squares both sides; x is clamped.
    EXPECT_NEAR(TrackGain::crossfadeGains(0.5f, 1.0f).out, 0.70711f, 1e-5f);
    EXPECT_EQ(TrackGain::crossfadeGains(0.5f, 0.0f), (TrackGain::CrossfadeGains{0.5f, 0.5f}));
    for (float x = 0.0f; x <= 1.0f; x += 0.0625f) {
        const auto linear = TrackGain::crossfadeGains(x, 0.0f);
        EXPECT_NEAR(linear.out + linear.fadeIn, 1.0f, 1e-6f) << x;
        const auto power = TrackGain::crossfadeGains(x, 1.0f);
        EXPECT_NEAR(power.out * power.out + power.fadeIn * power.fadeIn, 1.0f, 1e-5f) << x;
        const auto squared = TrackGain::crossfadeGains(x, -1.0f);
        EXPECT_NEAR(squared.out, (1.0f - x) * (1.0f - x), 1e-6f) << x;
        EXPECT_NEAR(squared.fadeIn, x * x, 1e-6f) << x;
    }
    EXPECT_NEAR(TrackGain::crossfadeGains(0.25f, 1.5f).fadeIn, std::pow(0.25f, std::pow(2.0f, -1.5f)), 1e-6f);
    EXPECT_EQ(TrackGain::crossfadeGains(-0.5f, 0.7f), (TrackGain::CrossfadeGains{1.0f, 0.0f}));
    EXPECT_EQ(TrackGain::crossfadeGains(4.0f, 0.7f), (TrackGain::CrossfadeGains{0.0f, 1.0f}));
}

} // namespace
} // namespace orvane
