// Scrub and spool: the read head that chases the hand, and the tape-style keys. The source is a
// ramp, so each captured value tells where the head read it.

#include "monitoring/tests/EngineFixture.h"

namespace orvane {
namespace {

using testing::EngineTest;
using testing::rampScale;

constexpr std::int64_t block = PlaybackEngine::rtScrubBlock;

class ScrubTest : public EngineTest {
  protected:
    // A 10-second ramp auditioned on its own axis, scrubbed from `fromSeconds`.
    void beginScrubOnRamp(double fromSeconds) {
        makeEngine();
        loadThreeTracks();
        engine->loadPreview(testing::writeRamp(folder.path / "ramp.wav", 10 * 44100), 10 * 75);
        engine->seek(testing::at(fromSeconds));
        engine->beginScrub();
        ASSERT_TRUE(engine->isScrubbing());
    }
    // Moves the hand once the ring holds its full lead, so exactly that lead was made before the
    // move; the lead is pulled away and the next `blocks` blocks are returned.
    std::vector<float> moveAndListen(double toSeconds, int blocks) {
        waitForRing(PlaybackEngine::rtScrubFillAhead);
        engine->scrubTo(testing::at(toSeconds));
        pullFilled(PlaybackEngine::rtScrubFillAhead, block);
        output.clearCapture();
        pullFilled(static_cast<std::size_t>(blocks * block), block);
        return output.capturedL;
    }
    // Where the head read sample i of the capture.
    static double headAt(const std::vector<float>& captured, std::size_t i) {
        return captured[i] * rampScale;
    }
};

TEST_F(ScrubTest, headRunsAtMostSixteenTimesSpeedAndRestsInSilence) {
    // A 1.9 s move within one block's time is played at the 16x cap until the head arrives, then
    // the resting hand is silent; a small move back plays backwards at its own rate.
    beginScrubOnRamp(1.0);
    const double target = 2.9 * 44100.0;
    const auto heard = moveAndListen(2.9, 12);
    EXPECT_DOUBLE_EQ(engine->currentTime(), 2.9);
    for (std::size_t k = 0; k < 10; ++k) {
        const double start = 44100.0 + 8192.0 * static_cast<double>(k);
        EXPECT_NEAR(headAt(heard, k * block), start, 0.1) << "block " << k;
        EXPECT_NEAR(headAt(heard, k * block + 256), start + 4096.0, 0.1) << "block " << k;
    }
    // The 11th block covers the rest of the way at a lower rate.
    const double last = 44100.0 + 81920.0;
    EXPECT_NEAR(headAt(heard, 10 * block + 256), last + (target - last) / 2.0, 0.1);
    EXPECT_TRUE(testing::allZero(heard, 11 * block, 12 * block));

    const auto back = moveAndListen(2.9 - 0.05, 2);
    EXPECT_NEAR(headAt(back, 0), target, 0.1);
    EXPECT_NEAR(headAt(back, 511), target - 2205.0 * 511.0 / 512.0, 0.1);
    EXPECT_GT(back[100], back[400]); // reversed: values fall
    EXPECT_TRUE(testing::allZero(back, block, 2 * block));

    // Below 8 samples of travel per block nothing is heard.
    const auto rest = moveAndListen(2.85 + 5.0 / 44100.0, 2);
    EXPECT_TRUE(testing::allZero(rest, 0, rest.size()));
}

TEST_F(ScrubTest, jumpsAndMutedMovesLandOnTheTargetWithoutRunUp) {
    // A move of more than 2 s is not played through, and with the level at 0 the head follows in
    // silence; in both cases the next small move starts from the new place.
    beginScrubOnRamp(1.0);
    const auto jump = moveAndListen(4.0, 2);
    EXPECT_TRUE(testing::allZero(jump, 0, jump.size()));
    const auto after = moveAndListen(4.01, 1);
    EXPECT_NEAR(headAt(after, 0), 4.0 * 44100.0, 0.1);

    engine->setScrubGain(0.0);
    EXPECT_EQ(engine->scrubLevel(), 0.0f);
    const auto muted = moveAndListen(4.5, 2);
    EXPECT_TRUE(testing::allZero(muted, 0, muted.size()));
    EXPECT_DOUBLE_EQ(engine->currentTime(), 4.5);
    engine->setScrubGain(0.5);
    const auto raised = moveAndListen(4.5, 2);
    EXPECT_TRUE(testing::allZero(raised, 0, raised.size())) << "no run-up after raising the level";
    const auto halfLevel = moveAndListen(4.51, 1);
    EXPECT_NEAR(halfLevel[0] * rampScale * 2.0, 4.5 * 44100.0, 0.1);

    // Out of range: clamped to the audition's length, and nothing is read past its end.
    const auto beyond = moveAndListen(99.0, 2);
    EXPECT_DOUBLE_EQ(engine->currentTime(), 10.0);
    EXPECT_TRUE(testing::allZero(beyond, 0, beyond.size()));
}

TEST_F(ScrubTest, endingAScrubResumesPlayFromWhereTheDragEnded) {
    // A drag during play stops the roll; its end rolls on from the drag's last place. Without scrub
    // audio a drag only moves the playhead and the spool keys step 5 seconds.
    makeEngine();
    loadThreeTracks();
    engine->loadPreview(testing::writeRamp(folder.path / "ramp.wav", 10 * 44100), 10 * 75);
    engine->play();
    engine->beginScrub();
    EXPECT_FALSE(engine->isPlaying());
    engine->scrubTo(testing::at(6.0));
    engine->endScrub();
    EXPECT_FALSE(engine->isScrubbing());
    EXPECT_TRUE(engine->isPlaying());
    output.clearCapture();
    pullFilled(1024);
    EXPECT_NEAR(headAt(output.capturedL, 0), 6.0 * 44100.0, 1.01);

    defaults.setBool("orvane.scrubAudio", false);
    engine.reset();
    makeEngine();
    loadThreeTracks();
    engine->beginScrub();
    EXPECT_TRUE(engine->isScrubbing());
    engine->scrubTo(testing::at(3.0));
    output.clearCapture();
    output.pull(1024);
    EXPECT_TRUE(testing::allZero(output.capturedL, 0, 1024));
    engine->endScrub();
    engine->spoolStep(+1);
    EXPECT_FALSE(engine->isSpooling());
    EXPECT_DOUBLE_EQ(engine->currentTime(), 8.0);
    engine->spoolStep(-1);
    engine->spoolStep(-1);
    EXPECT_DOUBLE_EQ(engine->currentTime(), 0.0);
}

TEST_F(EngineTest, spoolKeysCycleTheSpeedsAndStopAtTheDiscEnds) {
    // Presses go 2x, 5x, 10x, release; the other key flips to 2x its way; the wall clock drives the
    // playhead; the disc's ends stop the spool (an empty disc has none, so a forward spool runs on);
    // Play during a spool rolls from the spooled place.
    makeEngine();
    engine->spoolStep(+1);
    tick(10.0);
    EXPECT_TRUE(engine->isSpooling());
    EXPECT_NEAR(engine->currentTime(), 20.0, 1e-9);
    engine->stop();
    EXPECT_FALSE(engine->isSpooling());
    EXPECT_EQ(engine->currentTime(), 0.0);

    loadThreeTracks();
    engine->seek(testing::at(5.0));
    engine->spoolStep(+1);
    EXPECT_TRUE(engine->isSpooling());
    tick(0.1);
    EXPECT_NEAR(engine->currentTime(), 5.2, 1e-9);
    engine->spoolStep(+1);
    tick(0.1);
    EXPECT_NEAR(engine->currentTime(), 5.7, 1e-9);
    engine->spoolStep(+1);
    tick(0.1);
    EXPECT_NEAR(engine->currentTime(), 6.7, 1e-9);
    engine->spoolStep(+1);
    EXPECT_FALSE(engine->isSpooling());
    EXPECT_FALSE(engine->isPlaying());
    tick(0.1);
    EXPECT_NEAR(engine->currentTime(), 6.7, 1e-9);

    engine->spoolStep(+1);
    engine->spoolStep(+1);
    engine->spoolStep(-1); // from 5x forward straight to 2x back
    tick(0.25);
    EXPECT_NEAR(engine->currentTime(), 6.2, 1e-9);
    tick(4.0);
    EXPECT_EQ(engine->currentTime(), 0.0);
    EXPECT_FALSE(engine->isSpooling());

    const double total = engine->totalTime();
    engine->seek(testing::at(total - 0.1));
    engine->spoolStep(+1);
    tick(0.1);
    EXPECT_EQ(engine->currentTime(), total);
    EXPECT_FALSE(engine->isSpooling());

    engine->seek(testing::at(3.0));
    engine->spoolStep(+1);
    tick(0.5);
    engine->play();
    EXPECT_FALSE(engine->isSpooling());
    EXPECT_TRUE(engine->isPlaying());
    output.clearCapture();
    pullFilled(2048);
    EXPECT_LT(testing::maxDiff(output.capturedL, 0, rendered(4 * 44100, 2048)), 1e-6f);
}

} // namespace
} // namespace orvane
