// The playback engine's ring path and transport, driven through a test output on the test thread.

#include "monitoring/tests/EngineFixture.h"

#include <gmock/gmock.h>

namespace orvane {
namespace {

using testing::allZero;
using testing::EngineTest;
using testing::maxDiff;

constexpr double sr = 44100.0;

TEST_F(EngineTest, playsFromTheSeekPointAndReportsTheHeardPosition) {
    // What reaches the output is the rendered timeline from the locate point on, and the tick
    // publishes the counted position less the output latency.
    makeEngine();
    loadThreeTracks();
    output.latencySeconds = 0.05;
    std::vector<double> told;
    engine->setTimeUpdateHandler([&](std::int64_t t) { told.push_back(testing::secondsOf(t)); });

    engine->seek(testing::at(2.5));
    EXPECT_EQ(engine->currentTime(), 2.5);
    ASSERT_EQ(told.size(), 1u);
    engine->play();
    ASSERT_TRUE(engine->isPlaying());
    const std::size_t n = 3 * 4096 + 100;
    pullFilled(n);
    EXPECT_LT(maxDiff(output.capturedL, 0, rendered(110250, static_cast<std::int64_t>(n), 0)), 1e-6f);
    EXPECT_LT(maxDiff(output.capturedR, 0, rendered(110250, static_cast<std::int64_t>(n), 1)), 1e-6f);

    const double expected = 2.5 + static_cast<double>(n) / sr - 0.05;
    EXPECT_NEAR(testing::secondsOf(engine->heardPosition().sample), expected, 1e-9);
    tick();
    EXPECT_NEAR(engine->currentTime(), expected, 1e-9);
    EXPECT_NEAR(told.back(), expected, 1e-9);
    EXPECT_EQ(engine->underrunCount(), 0u);
}

TEST_F(EngineTest, loopPlaysItsBodyRepeatedWithoutAGap) {
    // A latched loop repeats its body back to back, also when the body is shorter than a producer
    // block; the position folds into the loop.
    makeEngine();
    loadThreeTracks();
    for (const std::int64_t body : {22050, 100}) {
        const double start = 2.0;
        engine->setLoopRange(testing::at(start), testing::at(start) + body);
        output.clearCapture();
        engine->seek(testing::at(start));
        engine->play();
        const std::size_t n = 3 * static_cast<std::size_t>(body) + 4096 + 17;
        pullFilled(n);
        const auto bodyL = rendered(88200, body, 0);
        bool repeats = true;
        for (std::size_t i = 0; i < n && repeats; ++i)
            repeats = std::abs(output.capturedL[i] - bodyL[i % static_cast<std::size_t>(body)]) < 1e-6f;
        EXPECT_TRUE(repeats) << "body " << body;
        const auto heard = engine->heardPosition();
        EXPECT_TRUE(heard.looping);
        EXPECT_NEAR(testing::secondsOf(heard.sample),
                    start + static_cast<double>(n % static_cast<std::size_t>(body)) / sr, 1e-6);
        engine->pause();
    }
}

TEST_F(EngineTest, aLoopSetInFramesPlaysExactlyThoseSamplesWrapAfterWrap) {
    // Loop edges travel as whole samples: frames 173 to 200 play samples 173 * 588 up to (not
    // including) 200 * 588 of the disc, every wrap, with no sample lost or repeated at either edge.
    makeEngine();
    project.tracks = {
        testing::trackOf(testing::writeRamp(folder.path / "ramp.wav", 10 * 44100), 150, 10 * 44100)};
    relayout();
    engine->load(project, positions);
    constexpr std::int64_t in = 173 * 588;
    constexpr std::int64_t out = 200 * 588;
    engine->setLoopRange(in, out);
    engine->seek(in);
    engine->play();
    const std::size_t n = 5 * static_cast<std::size_t>(out - in) + 333;
    pullFilled(n);
    const std::int64_t firstFileSample = in - 150 * 588; // the ramp starts after the 2-second pre-gap
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const auto expected = firstFileSample + static_cast<std::int64_t>(i) % (out - in);
        if (std::llround(output.capturedL[i] * testing::rampScale) != expected)
            ++wrong;
    }
    EXPECT_EQ(wrong, 0u);
}

TEST_F(EngineTest, loopIsLatchedOnlyWhenTheStartLiesBeforeItsEnd) {
    // A start behind the loop's end plays straight on; a loop end past the disc is cut to the disc's
    // end; an empty loop is no loop.
    makeEngine();
    loadThreeTracks();
    const double total = engine->totalTime();

    engine->setLoopRange(testing::at(2.0), testing::at(3.0));
    engine->seek(testing::at(4.0));
    engine->play();
    pullFilled(8192);
    EXPECT_FALSE(engine->heardPosition().looping);
    EXPECT_LT(maxDiff(output.capturedL, 0, rendered(4 * 44100, 8192)), 1e-6f);
    engine->pause();

    engine->setLoopRange(testing::at(total - 0.5), testing::at(total + 10.0));
    output.clearCapture();
    engine->seek(testing::at(total - 0.5));
    engine->play();
    const auto loopStart = static_cast<std::int64_t>(std::trunc((total - 0.5) * sr));
    const auto body = static_cast<std::int64_t>(std::trunc(total * sr)) - loopStart;
    pullFilled(2 * static_cast<std::size_t>(body));
    const auto tail = rendered(loopStart, body);
    EXPECT_LT(maxDiff(output.capturedL, 0, tail), 1e-6f);
    EXPECT_LT(maxDiff(output.capturedL, static_cast<std::size_t>(body), tail), 1e-6f)
        << "wrapped at the disc's end";
    engine->pause();

    engine->setLoopRange(testing::at(3.0), testing::at(3.0));
    engine->seek(testing::at(2.0));
    engine->play();
    EXPECT_FALSE(engine->heardPosition().looping);
}

TEST_F(EngineTest, editDuringPlayNeitherFlushesTheRingNorMovesThePosition) {
    // A new snapshot reaches the audio only behind what is already in the ring, and the position
    // runs on unbroken.
    makeEngine();
    loadThreeTracks();
    engine->seek(testing::at(2.0));
    engine->play();
    pullFilled(4096);
    waitForRing(8192);
    const auto before = testing::secondsOf(engine->heardPosition().sample);
    const auto oldAudio = rendered(88200 + 4096, 1024);

    project.tracks[0].gainEnabled = true;
    project.tracks[0].gainDB = -6.0f;
    engine->updateProjectAndPositions(project, positions);
    EXPECT_TRUE(engine->isPlaying());
    pullFilled(1024);
    EXPECT_LT(maxDiff(output.capturedL, 4096, oldAudio), 1e-6f);
    EXPECT_NEAR(testing::secondsOf(engine->heardPosition().sample), before + 1024.0 / sr, 1e-9);

    // Behind the ring's depth the edit is heard.
    pullFilled(65536 + 8192);
    const std::size_t at = output.capturedL.size() - 2048;
    EXPECT_LT(maxDiff(output.capturedL, at, rendered(88200 + static_cast<std::int64_t>(at), 2048)), 1e-6f);
    EXPECT_NEAR(testing::secondsOf(engine->heardPosition().sample),
                2.0 + static_cast<double>(output.capturedL.size()) / sr, 1e-9);
}

TEST_F(EngineTest, pauseLandsOnTheHeardPositionAndPlayResumesThere) {
    // Pause publishes what was audible (counted frames less the latency), silences the output, and
    // the next play starts from that sample.
    makeEngine();
    loadThreeTracks();
    output.latencySeconds = 0.1;
    engine->seek(testing::at(3.0));
    engine->play();
    pullFilled(10000);
    engine->pause();
    EXPECT_FALSE(engine->isPlaying());
    const double expected = 3.0 + 10000.0 / sr - 0.1;
    EXPECT_NEAR(engine->currentTime(), expected, 1e-9);

    output.clearCapture();
    output.pull(1024);
    EXPECT_TRUE(allZero(output.capturedL, 0, 1024));

    output.clearCapture();
    engine->play();
    pullFilled(2048);
    const auto resumeAt = static_cast<std::int64_t>(std::trunc(expected * sr));
    EXPECT_LT(maxDiff(output.capturedL, 0, rendered(resumeAt, 2048)), 1e-6f);

    engine->stop();
    EXPECT_EQ(engine->currentTime(), 0.0);
    EXPECT_FALSE(engine->isPlaying());
    EXPECT_EQ(engine->ringFilledFrames(), 0);
}

TEST_F(EngineTest, endOfDiscStopsOnTheTickAndPlayAtTheEndStartsOver) {
    // Once the last sample has gone out the tick publishes the total and stops; play from there
    // starts at 0. With no tracks play does nothing.
    makeEngine();
    engine->play();
    EXPECT_FALSE(engine->isPlaying());

    loadThreeTracks();
    const double total = engine->totalTime();
    EXPECT_DOUBLE_EQ(total, static_cast<double>(positions.back().endLBA) / 75.0);
    std::vector<double> told;
    engine->setTimeUpdateHandler([&](std::int64_t t) { told.push_back(testing::secondsOf(t)); });
    engine->seek(testing::at(total - 0.1));
    engine->play();
    pullFilled(4000);
    tick();
    EXPECT_TRUE(engine->isPlaying());
    pullFilled(1000);
    tick();
    EXPECT_FALSE(engine->isPlaying());
    EXPECT_EQ(engine->currentTime(), total);
    EXPECT_EQ(told.back(), total);

    output.clearCapture();
    engine->play();
    EXPECT_NEAR(testing::secondsOf(engine->heardPosition().sample), 0.0, 1e-12);
    pullFilled(4096);
    EXPECT_LT(maxDiff(output.capturedL, 0, rendered(0, 4096)), 1e-6f);
}

TEST_F(EngineTest, trackKeysLocateByIndexOneWithPreRoll) {
    // Previous goes to the track before within 2 s of INDEX 01 and to the own INDEX 01 after that;
    // a pre-roll starts the roll; next on the last track does nothing; a pre-gap counts to its track.
    makeEngine();
    loadThreeTracks();
    const auto idx = [&](std::size_t i) { return static_cast<double>(positions[i].index01LBA) / 75.0; };

    engine->seek(testing::at(idx(2) + 1.9));
    engine->previousTrack(testing::at(0));
    EXPECT_DOUBLE_EQ(engine->currentTime(), idx(1));
    engine->seek(testing::at(idx(2) + 2.1));
    engine->previousTrack(testing::at(0));
    EXPECT_DOUBLE_EQ(engine->currentTime(), idx(2));
    engine->seek(testing::at(idx(0) + 1.0));
    engine->previousTrack(testing::at(0));
    EXPECT_DOUBLE_EQ(engine->currentTime(), idx(0));
    EXPECT_FALSE(engine->isPlaying());

    engine->seek(testing::at(idx(0) + 0.5));
    engine->previousTrack(testing::at(3.0)); // INDEX 01 at 2 s less 3 s of pre-roll
    EXPECT_EQ(engine->currentTime(), 0.0);
    EXPECT_TRUE(engine->isPlaying());
    engine->pause();

    engine->seek(testing::at(idx(2) + 1.0));
    const double onLast = engine->currentTime();
    engine->nextTrack(testing::at(3.0));
    EXPECT_EQ(engine->currentTime(), onLast);
    EXPECT_FALSE(engine->isPlaying());

    engine->seek(
        testing::at(static_cast<double>(positions[1].startLBA) / 75.0 + 0.5)); // in track 2's pre-gap
    ASSERT_EQ(engine->trackIndex(engine->currentSample()), 1u);
    engine->nextTrack(testing::at(0));
    EXPECT_DOUBLE_EQ(engine->currentTime(), idx(2));
    EXPECT_FALSE(engine->isPlaying());

    engine->seek(testing::at(-5.0));
    EXPECT_EQ(engine->currentTime(), 0.0);
    engine->seek(testing::at(1e9));
    EXPECT_EQ(engine->currentTime(), engine->totalTime());
}

TEST_F(EngineTest, monitorPathSurvivesAFailedStartAndAppliesTheVolumeLast) {
    // A failed start is reported on stdout and leaves a usable engine; the volume is clamped and
    // scales the output.
    output.failStart = true;
    ::testing::internal::CaptureStdout();
    makeEngine();
    EXPECT_THAT(::testing::internal::GetCapturedStdout(),
                ::testing::HasSubstr("Engine start failed: no such device"));
    EXPECT_FALSE(engine->isEngineRunning());
    loadThreeTracks();
    engine->play();
    EXPECT_TRUE(engine->isPlaying());

    output.failStart = false;
    engine->setOutputDevice(2);
    EXPECT_TRUE(engine->isEngineRunning());
    EXPECT_EQ(output.startedDevice, 2u);
    EXPECT_FALSE(engine->isPlaying());

    engine->setOutputVolume(7.0);
    EXPECT_EQ(engine->outputVolume(), 1.0f);
    engine->setOutputVolume(-1.0);
    EXPECT_EQ(engine->outputVolume(), 0.0f);
    engine->setOutputVolume(0.5);
    engine->seek(testing::at(2.5));
    engine->play();
    pullFilled(4096);
    auto half = rendered(110250, 4096);
    for (float& s : half)
        s *= 0.5f;
    EXPECT_LT(maxDiff(output.capturedL, 0, half), 1e-6f);
}

TEST_F(EngineTest, takeSwitchWhilePlayingLandsOnTheSameSecond) {
    // Switching takes continues the new file at the audible position of the old one without stopping;
    // a shorter take clamps to its end, and the tick then stops; stopping the audition returns to
    // the disc.
    makeEngine();
    loadThreeTracks();
    const auto a = testing::writeRamp(folder.path / "takeA.wav", 5 * 44100);
    const auto b = testing::writeSignal(folder.path / "takeB.wav", 4 * 44100, [](int, std::int64_t n) {
        return static_cast<float>(0.5 + static_cast<double>(n) / testing::rampScale);
    });
    const auto shortTake = testing::writeRamp(folder.path / "short.wav", 44100 / 5);
    engine->loadPreview(a, 5 * 75);
    EXPECT_TRUE(engine->isPreviewMode());
    EXPECT_EQ(engine->totalTime(), 5.0);
    engine->play();
    pullFilled(20000);
    EXPECT_NEAR(output.capturedL[19999] * testing::rampScale, 19999.0, 0.01);

    engine->switchPreview(b, 4 * 75);
    EXPECT_TRUE(engine->isPlaying());
    EXPECT_EQ(engine->totalTime(), 4.0);
    output.clearCapture();
    pullFilled(1024);
    for (std::size_t i = 0; i < 1024; i += 97)
        EXPECT_NEAR((output.capturedL[i] - 0.5) * testing::rampScale, 20000.0 + static_cast<double>(i), 1.01)
            << i;

    engine->switchPreview(shortTake, 15);
    EXPECT_DOUBLE_EQ(engine->currentTime(), 0.2);
    pullFilled(1024);
    tick();
    EXPECT_FALSE(engine->isPlaying());
    EXPECT_DOUBLE_EQ(engine->currentTime(), 0.2);

    engine->stopPreview();
    EXPECT_FALSE(engine->isPreviewMode());
    EXPECT_DOUBLE_EQ(engine->totalTime(), static_cast<double>(positions.back().endLBA) / 75.0);
    EXPECT_EQ(engine->currentTime(), 0.0);
}

} // namespace
} // namespace orvane
