#include "model/TrackGain.h"

#include "model/CDTrack.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvane {
namespace {

TEST(TrackGain, curveLevelIsSilenceAtAndBelowTheFloorAndTenToTheDBOver20Above) {
    // -60 dB and below is exactly 0 on the curve, while the plain conversion never is.
    EXPECT_NEAR(TrackGain::linear(0.0f), 1.0f, 1e-7f);
    EXPECT_NEAR(TrackGain::linear(-6.0f), 0.501187f, 1e-6f);
    EXPECT_NEAR(TrackGain::linear(12.0f), 3.981072f, 1e-5f);
    EXPECT_NEAR(TrackGain::linear(-60.0f), 0.001f, 1e-8f);
    EXPECT_EQ(TrackGain::linearCurve(-60.0f), 0.0f);
    EXPECT_EQ(TrackGain::linearCurve(-90.0f), 0.0f);
    EXPECT_NEAR(TrackGain::linearCurve(-59.9f), 0.0010116f, 1e-7f);
    EXPECT_EQ(TrackGain::linearCurve(-6.0f), TrackGain::linear(-6.0f));
}

TEST(TrackGain, crossfadeCurveRunsFromEqualGainToEqualPower) {
    // Curve 0 keeps the sum at 1, curve 1 keeps the power at 1, curve -1 squares both sides.
    const auto half = TrackGain::crossfadeGains(0.5f, 1.0f);
    EXPECT_NEAR(half.out, 0.70711f, 1e-5f);
    EXPECT_NEAR(half.fadeIn, 0.70711f, 1e-5f);
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
    const auto steep = TrackGain::crossfadeGains(0.25f, 1.5f);
    EXPECT_NEAR(steep.fadeIn, std::pow(0.25f, std::pow(2.0f, -1.5f)), 1e-6f);
    // x is clamped, so a zero-length overlap read as 1 hands over completely.
    EXPECT_EQ(TrackGain::crossfadeGains(-0.5f, 0.7f), (TrackGain::CrossfadeGains{1.0f, 0.0f}));
    EXPECT_EQ(TrackGain::crossfadeGains(4.0f, 0.7f), (TrackGain::CrossfadeGains{0.0f, 1.0f}));
}

TEST(TrackGain, gainStageIsActiveOnlyWhenAnEnabledPartChangesTheLevel) {
    // An enabled 0 dB gain alone, a disabled gain, or an envelope without points do nothing.
    CDTrack track = CDTrack::make("T", std::nullopt, 150, 44100);
    EXPECT_FALSE(TrackGain::isActive(track));
    track.gainEnabled = true;
    EXPECT_FALSE(TrackGain::isActive(track));
    track.gainDB = -0.5f;
    EXPECT_TRUE(TrackGain::isActive(track));
    track.gainEnabled = false;
    EXPECT_FALSE(TrackGain::isActive(track));
    track.envelopeEnabled = true;
    EXPECT_FALSE(TrackGain::isActive(track));
    track.gainPoints.push_back(GainPoint{Uuid::random(), 0, 0.0f, std::nullopt});
    EXPECT_TRUE(TrackGain::isActive(track));
    track.envelopeEnabled = false;
    EXPECT_FALSE(TrackGain::isActive(track));
}

} // namespace
} // namespace orvane
