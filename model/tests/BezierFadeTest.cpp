#include "model/BezierFade.h"

#include "model/CDTrack.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

constexpr float kTolerance = 1e-6f;

TEST(BezierFade, curveParameterMovesTheControlPointAndProgressIsClamped) {
    // 0 is the straight line, +1 and -1 bend it up and down; progress outside 0...1 holds the ends.
    EXPECT_NEAR(BezierFade::multiplier(0.5f, 0.0f), 0.5f, kTolerance);
    EXPECT_NEAR(BezierFade::multiplier(0.5f, 1.0f), 0.75f, kTolerance);
    EXPECT_NEAR(BezierFade::multiplier(0.5f, -1.0f), 0.25f, kTolerance);
    for (const float curve : {-1.0f, 0.0f, 1.5f}) {
        EXPECT_EQ(BezierFade::multiplier(-0.4f, curve), 0.0f) << curve;
        EXPECT_EQ(BezierFade::multiplier(3.0f, curve), 1.0f) << curve;
    }
}

TEST(BezierFade, fadeOutMirrorsTheFadeInAndEndsAtTheFrameRoundedLength) {
    // 10,000 samples make 18 frames (10,584 samples): the fade-out at end - s equals the fade-in at s.
    CDTrack track = CDTrack::make("T", std::nullopt, 150, 10000);
    const std::int64_t end = 18 * 588;
    track.fadeInSamples = 3000;
    track.fadeOutSamples = 3000;
    track.fadeInCurve = 0.6f;
    track.fadeOutCurve = 0.6f;
    for (std::int64_t s = 0; s <= 3000; s += 37)
        EXPECT_NEAR(BezierFade::fadeMultiplier(track, end - s), BezierFade::fadeMultiplier(track, s), 1e-5f)
            << s;
    EXPECT_EQ(BezierFade::fadeMultiplier(track, 3000), 1.0f);
    EXPECT_EQ(BezierFade::fadeMultiplier(track, end - 3001), 1.0f);
    EXPECT_NEAR(BezierFade::fadeMultiplier(track, end), 0.0f, kTolerance);

    // A fade-in as long as the track decides every sample; the fade-out is never multiplied in.
    track.fadeInSamples = end;
    track.fadeInCurve = 0.0f;
    for (std::int64_t s = 0; s < end; s += 97)
        EXPECT_NEAR(BezierFade::fadeMultiplier(track, s), static_cast<float>(s) / end, kTolerance) << s;
}

TEST(BezierFade, fadesAtAnotherRateAreScaledToTheNearestSample) {
    // At 96 kHz (1280 samples a frame) 441 disc samples are 960 samples and the end is frames * 1280.
    CDTrack track = CDTrack::make("T", std::nullopt, 150, 100 * 588);
    track.fadeInSamples = 441;
    track.fadeOutSamples = 441;
    const BezierFade::TrackFades fades = BezierFade::trackFades(track, 1280);
    EXPECT_EQ(fades, (BezierFade::TrackFades{960, 960, 100 * 1280 - 960, 0.0f, 0.0f}));
    EXPECT_NEAR(fades.multiplier(480), 0.5f, kTolerance);
    EXPECT_EQ(BezierFade::trackFades(track), (BezierFade::TrackFades{441, 441, 100 * 588 - 441, 0.0f, 0.0f}));
}

} // namespace
} // namespace orvane
