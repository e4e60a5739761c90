#pragma once
// Shared set-up for the playback engine's tests: synthesised source files, a project over them, an
// engine on a MainLoop with a manual clock, and the test output that pulls its callback. Tests only.

#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "model/TimelineCalculator.h"
#include "monitoring/PlaybackEngine.h"
#include "monitoring/tests/TestAudioOutput.h"
#include "platform/DefaultsStore.h"
#include "render/TimelineRenderer.h"
#include "testsupport/TempFolder.h"
#include "testsupport/TestAudio.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace orvane::testing {

namespace fs = std::filesystem;

// A float WAV at 44.1 kHz whose sample n is sample(channel, n).
inline fs::path writeSignal(const fs::path& file, std::int64_t frames,
                            const std::function<float(int, std::int64_t)>& sample) {
    return writeSource(file, 44100.0, 2, frames, sample);
}

inline fs::path writeTone(const fs::path& file, std::int64_t frames, double hz) {
    return writeSignal(file, frames, [hz](int ch, std::int64_t n) {
        return static_cast<float>((ch == 0 ? 0.5 : 0.4) *
                                  std::sin(2.0 * M_PI * hz * static_cast<double>(n) / 44100.0));
    });
}

// Sample n holds n / rampScale on both channels, so a captured value tells where it was read.
inline constexpr double rampScale = 1048576.0;
inline fs::path writeRamp(const fs::path& file, std::int64_t frames) {
    return writeSignal(file, frames, [](int, std::int64_t n) { return static_cast<float>(n / rampScale); });
}

// Largest difference between the capture (from `offset`) and `expected`.
inline float maxDiff(const std::vector<float>& captured, std::size_t offset,
                     const std::vector<float>& expected) {
    float worst = 0.0f;
    for (std::size_t i = 0; i < expected.size(); ++i)
        worst = std::max(worst, std::abs(captured.at(offset + i) - expected[i]));
    return worst;
}

inline bool allZero(const std::vector<float>& v, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i)
        if (v.at(i) != 0.0f)
            return false;
    return true;
}

// A time in seconds as the transport's disc sample, and back.
inline std::int64_t at(double seconds) {
    return std::llround(seconds * PlaybackEngine::sampleRate);
}
inline double secondsOf(std::int64_t sample) {
    return static_cast<double>(sample) / PlaybackEngine::sampleRate;
}

class EngineTest : public ::testing::Test {
  protected:
    EngineTest()
        : clock(std::make_shared<ManualClock>()), loop(clock), defaults(folder.path / "defaults.json") {}

    void makeEngine() { engine = std::make_unique<PlaybackEngine>(loop, defaults, output); }

    // Three tone tracks of 3, 2 and 4 seconds with 2-second pre-gaps (first one 2 s as well).
    void loadThreeTracks() {
        project.tracks = {trackOf(writeTone(folder.path / "a.wav", 3 * 44100, 441.0), 150, 3 * 44100),
                          trackOf(writeTone(folder.path / "b.wav", 2 * 44100, 660.0), 150, 2 * 44100),
                          trackOf(writeTone(folder.path / "c.wav", 4 * 44100, 550.0), 150, 4 * 44100)};
        relayout();
        engine->load(project, positions);
    }
    void relayout() { positions = TimelineCalculator::calculatePositions(project).value(); }

    // What the renderer gives for the current project, independently of the engine.
    std::vector<float> rendered(std::int64_t from, std::int64_t count, int channel = 0) {
        const auto snapshot = TimelineRenderer::Snapshot::make(project, positions);
        TimelineRenderer renderer;
        std::vector<float> l(static_cast<std::size_t>(count)), r(static_cast<std::size_t>(count));
        renderer.render(l.data(), r.data(), from, count, snapshot);
        return channel == 0 ? l : r;
    }

    // Waits (bounded) until the producer has put at least `frames` frames in the ring.
    void waitForRing(std::int64_t frames) {
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (engine->ringFilledFrames() < frames && std::chrono::steady_clock::now() < giveUp)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        ASSERT_GE(engine->ringFilledFrames(), frames) << "the producer did not fill the ring";
    }
    // Pulls block by block, each time only once the ring holds the block: no underrun in tests.
    void pullFilled(std::size_t frames, std::size_t block = 512) {
        while (frames > 0) {
            const std::size_t n = std::min(frames, block);
            waitForRing(static_cast<std::int64_t>(n));
            output.pull(n, n);
            frames -= n;
        }
    }
    // Moves the manual clock by one display tick and runs the main loop once.
    void tick(double seconds = PlaybackEngine::displayTickSeconds) {
        clock->advanceBy(seconds);
        loop.runOneTurn();
    }

    TempFolder folder{"orvane-engine"};
    std::shared_ptr<ManualClock> clock;
    MainLoop loop;
    DefaultsStore defaults;
    TestAudioOutput output;
    std::unique_ptr<PlaybackEngine> engine;
    CDProject project;
    std::vector<TrackPosition> positions;
};

} // namespace orvane::testing
