#include "model/GainEvaluator.h"

#include "model/BezierFade.h"
#include "model/CDTrack.h"
#include "testsupport/AllocationCounter.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

GainPoint point(std::int64_t position, float gainDB) {
    return GainPoint{Uuid::random(), position, gainDB, std::nullopt};
}

CDTrack plainTrack() {
    return CDTrack::make("T", std::nullopt, 150, 10 * 44100);
}

TEST(GainEvaluator, staticGainAndEnvelopeHaveTheirOwnSwitches) {
    // Gain counts only when enabled, points only when the envelope is; together they multiply.
    CDTrack track = plainTrack();
    GainEvaluator untouched(track);
    EXPECT_TRUE(untouched.isUnity);
    EXPECT_EQ(untouched.multiplier(1000), 1.0f);

    track.gainEnabled = true;
    track.gainDB = 6.0f;
    GainEvaluator gainOnly(track);
    EXPECT_FALSE(gainOnly.isUnity);
    EXPECT_FALSE(gainOnly.hasPoints);
    EXPECT_NEAR(gainOnly.multiplier(0), 1.995262f, 1e-5f);

    // Points without the envelope switch are ignored.
    track.gainPoints = {point(0, -6.0f)};
    GainEvaluator pointsIgnored(track);
    EXPECT_FALSE(pointsIgnored.hasPoints);
    EXPECT_NEAR(pointsIgnored.multiplier(500), 1.995262f, 1e-5f);

    track.envelopeEnabled = true;
    GainEvaluator both(track);
    EXPECT_TRUE(both.hasPoints);
    EXPECT_NEAR(both.multiplier(500), 1.995262f * 0.501187f, 1e-5f);

    // A disabled gain of 6 dB leaves the envelope alone.
    track.gainEnabled = false;
    GainEvaluator envelopeOnly(track);
    EXPECT_EQ(envelopeOnly.baseMultiplier, 1.0f);
    for (const std::int64_t s : {-10, 0, 500, 440999})
        EXPECT_NEAR(envelopeOnly.multiplier(s), 0.501187f, 1e-6f) << s;

    // An enabled gain of exactly 0 dB with no envelope costs nothing.
    track.envelopeEnabled = false;
    track.gainEnabled = true;
    track.gainDB = 0.0f;
    EXPECT_TRUE(GainEvaluator(track).isUnity);
}

TEST(GainEvaluator, envelopeAtTheFloorIsExactSilence) {
    // A point at -60 dB silences exactly whatever the static gain, and a fade down to it ends in silence.
    CDTrack track = plainTrack();
    track.envelopeEnabled = true;
    track.gainEnabled = true;
    track.gainDB = 12.0f;
    track.gainPoints = {point(0, -60.0f)};
    EXPECT_EQ(GainEvaluator(track).multiplier(100), 0.0f);
    track.gainPoints = {point(0, 0.0f), point(1000, -60.0f)};
    GainEvaluator fadeDown(track);
    EXPECT_GT(fadeDown.multiplier(999), 0.0f);
    EXPECT_EQ(fadeDown.multiplier(1000), 0.0f);
    EXPECT_EQ(fadeDown.multiplier(50000), 0.0f);
}

TEST(GainEvaluator, pointsAreCarriedToTheRenderRate) {
    // At 96 kHz a point at 441 disc samples lies at 960, and the curve matches the 44.1 kHz one in time.
    CDTrack track = plainTrack();
    track.envelopeEnabled = true;
    track.envelopeSmoothing = 0.5f;
    track.gainPoints = {point(441, 0.0f), point(44100, -20.0f), point(88200, -3.0f)};
    GainEvaluator disc(track);
    GainEvaluator hiRes(track, 1280);
    ASSERT_EQ(hiRes.curve.pts.size(), 3u);
    EXPECT_EQ(hiRes.curve.pts[0].positionSamples, 960);
    EXPECT_EQ(hiRes.curve.pts[1].positionSamples, 96000);
    EXPECT_EQ(hiRes.curve.pts[2].positionSamples, 192000);
    EXPECT_EQ(disc.curve.pts[1].positionSamples, 44100);
    for (std::int64_t s = 0; s <= 88200; s += 2205)
        EXPECT_NEAR(hiRes.multiplier(s * 1280 / 588), disc.multiplier(s), 1e-3f) << s;
    // A point at 1 disc sample rounds to the nearest sample at 48 kHz (640 a frame): 1.088 gives 1.
    track.gainPoints = {point(1, 0.0f)};
    EXPECT_EQ(GainEvaluator(track, 640).curve.pts[0].positionSamples, 1);
}

TEST(GainEvaluator, perSampleEvaluationNeverAllocates) {
    // Once made, the evaluator, the fades and the crossfade law run without touching the heap.
    CDTrack track = plainTrack();
    track.envelopeEnabled = true;
    track.gainEnabled = true;
    track.gainDB = -3.0f;
    track.fadeInSamples = 4410;
    track.fadeOutSamples = 4410;
    for (std::int64_t i = 0; i < 50; ++i)
        track.gainPoints.push_back(point(i * 8000, static_cast<float>(-(i % 7) * 3)));
    const std::size_t beforeMaking = testing::allocationCount();
    GainEvaluator evaluator(track);
    const BezierFade::TrackFades fades = BezierFade::trackFades(track);
    EXPECT_GT(testing::allocationCount(), beforeMaking); // the counter is live

    const std::size_t before = testing::allocationCount();
    float sum = 0.0f;
    for (std::int64_t s = 0; s < 441000; s += 3)
        sum += evaluator.multiplier(s) * fades.multiplier(s);
    for (std::int64_t s = 400000; s > 0; s -= 77777)
        sum += evaluator.multiplier(s) + TrackGain::crossfadeGains(static_cast<float>(s) / 4e5f, 1.0f).out;
    EXPECT_EQ(testing::allocationCount(), before);
    EXPECT_GT(sum, 0.0f);
}

} // namespace
} // namespace orvane
