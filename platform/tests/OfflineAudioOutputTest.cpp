#include "platform/OfflineAudioOutput.h"

#include "platform/AudioFileReader.h"
#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>

namespace orvane {
namespace {

namespace fs = std::filesystem;

// A deterministic signal indexed by the frame count the callback has seen: a slow sawtooth on the
// left, its negated half on the right, so a dropped, repeated or swapped block shows.
float leftAt(std::uint64_t frame) {
    return static_cast<float>(frame % 997) / 997.0f - 0.5f;
}
float rightAt(std::uint64_t frame) {
    return -0.5f * leftAt(frame) + static_cast<float>(frame % 7) * 1e-3f;
}

// The callback keeps its own frame counter, touched only on the thread that pulls.
struct Signal {
    std::uint64_t nextFrame = 0;
    std::uint64_t blocks = 0;
    AudioRenderCallback callback() {
        return [this](float* left, float* right, std::size_t frames, double) {
            for (std::size_t i = 0; i < frames; ++i) {
                left[i] = leftAt(nextFrame + i);
                right[i] = rightAt(nextFrame + i);
            }
            nextFrame += frames;
            ++blocks;
        };
    }
};

class OfflineAudioOutputTest : public ::testing::Test {
  protected:
    std::vector<std::string> folderEntries() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_))
            names.push_back(entry.path().filename().string());
        return names;
    }

    // Reads the whole capture and checks every frame against the signal from frame 0.
    void expectCaptureHoldsSignal(const fs::path& wav, std::uint64_t expectedFrames) {
        auto reader = AudioFileReader::open(wav);
        ASSERT_TRUE(reader) << reader.error().message;
        EXPECT_EQ(reader->fileFormat().sampleFormat, AudioSampleFormat::float32);
        EXPECT_EQ(reader->sampleRate(), 44100.0);
        ASSERT_EQ(reader->channelCount(), 2);
        ASSERT_EQ(static_cast<std::uint64_t>(reader->lengthFrames()), expectedFrames);
        auto buffer = reader->makeBuffer(4096);
        std::uint64_t frame = 0;
        std::uint64_t mismatches = 0;
        while (true) {
            auto got = reader->read(buffer);
            ASSERT_TRUE(got);
            if (*got == 0)
                break;
            for (std::size_t i = 0; i < *got; ++i, ++frame) {
                if (buffer.channel(0)[i] != leftAt(frame) || buffer.channel(1)[i] != rightAt(frame))
                    ++mismatches;
            }
        }
        EXPECT_EQ(frame, expectedFrames);
        EXPECT_EQ(mismatches, 0u);
    }

    // Waits (bounded) until the device thread has pulled at least `frames`.
    static void waitForFrames(const OfflineAudioOutput& output, std::uint64_t frames) {
        for (int i = 0; i < 2000 && output.framesPulled() < frames; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }

    testing::TempFolder temp_{"orvane-offline"};
    const fs::path folder_ = temp_.path;
};

TEST_F(OfflineAudioOutputTest, pullRunsTheCallbackInOrderedBlocksOnItsOwnClockAndCapturesThem) {
    // pull() hands back exactly what the callback wrote, in blocks of at most 512 frames whose host
    // times advance by the audio pulled; it needs a start first and refuses other devices. The same
    // frames go to the capture, which the destructor finishes.
    const auto wav = folder_ / "manual.wav";
    {
        OfflineAudioOutput output({OfflinePacing::manual, wav, 0.25});
        EXPECT_EQ(output.presentationLatency(), 0.25);
        EXPECT_FALSE(output.pull(16)) << "no callback yet";

        Signal signal;
        EXPECT_FALSE(output.start(7u, signal.callback())) << "an unknown device is refused";
        EXPECT_FALSE(output.isRunning());
        ASSERT_TRUE(output.start(OfflineAudioOutput::deviceID, signal.callback()));
        EXPECT_TRUE(output.isRunning());

        auto first = output.pull(1300);
        ASSERT_TRUE(first) << first.error();
        ASSERT_EQ(first->left.size(), 1300u);
        ASSERT_EQ(first->blockHostTimesSeconds.size(), 3u); // 512 + 512 + 276
        EXPECT_NEAR(first->blockHostTimesSeconds[1] - first->blockHostTimesSeconds[0], 512.0 / 44100.0, 1e-9);
        EXPECT_NEAR(first->blockHostTimesSeconds[2] - first->blockHostTimesSeconds[1], 512.0 / 44100.0, 1e-9);
        auto second = output.pull(10);
        ASSERT_TRUE(second);
        EXPECT_NEAR(second->blockHostTimesSeconds[0] - first->blockHostTimesSeconds[0], 1300.0 / 44100.0,
                    1e-9);

        for (std::uint64_t i = 0; i < 1300; ++i) {
            ASSERT_EQ(first->left[i], leftAt(i)) << i;
            ASSERT_EQ(first->right[i], rightAt(i)) << i;
        }
        EXPECT_EQ(second->left.front(), leftAt(1300));
        EXPECT_EQ(output.framesPulled(), 1310u);
        EXPECT_EQ(signal.blocks, 4u);

        auto none = output.pull(0);
        ASSERT_TRUE(none);
        EXPECT_TRUE(none->left.empty());
        EXPECT_EQ(signal.blocks, 4u);
        EXPECT_FALSE(fs::exists(wav));
    }
    expectCaptureHoldsSignal(wav, 1310);
}

TEST_F(OfflineAudioOutputTest, captureHoldsEveryPulledFrameAndAppearsOnlyWhenStopped) {
    // Running as fast as it can, the device captures exactly the frames the callback produced;
    // while it runs the final name does not exist, and after stop() only the finished file remains.
    const auto wav = folder_ / "capture.wav";
    OfflineAudioOutput output({OfflinePacing::asFastAsPossible, wav, 0.0});
    Signal signal;
    ASSERT_TRUE(output.start(std::nullopt, signal.callback()));
    waitForFrames(output, 20000);
    EXPECT_FALSE(fs::exists(wav));
    EXPECT_FALSE(output.pull(16)) << "pull is refused while the device thread runs";
    output.stop();

    EXPECT_FALSE(output.isRunning());
    EXPECT_TRUE(output.captureError().empty()) << output.captureError();
    ASSERT_EQ(output.lastCapture(), wav);
    EXPECT_EQ(folderEntries(), std::vector<std::string>{"capture.wav"});
    EXPECT_GE(output.framesPulled(), 20000u);
    EXPECT_EQ(output.framesPulled() % OfflineAudioOutput::blockFrames, 0u);
    EXPECT_EQ(signal.nextFrame, output.framesPulled());
    expectCaptureHoldsSignal(wav, output.framesPulled());
}

TEST_F(OfflineAudioOutputTest, aRealTimeStreamCutShortStillLeavesAWholeFile) {
    // A paced stream stopped after a few blocks, or destroyed without a stop, finishes its capture:
    // the WAV reads back whole with every block the callback produced.
    const auto wav = folder_ / "paced.wav";
    {
        OfflineAudioOutput output({OfflinePacing::realTime, wav, 0.0});
        Signal signal;
        ASSERT_TRUE(output.start(std::nullopt, signal.callback()));
        waitForFrames(output, 3 * OfflineAudioOutput::blockFrames);
        output.stop();
        expectCaptureHoldsSignal(wav, output.framesPulled());
    }
    const auto second = folder_ / "dropped.wav";
    Signal signal; // outlives the output, so its counter can be read after the device is gone
    {
        OfflineAudioOutput output({OfflinePacing::realTime, second, 0.0});
        ASSERT_TRUE(output.start(std::nullopt, signal.callback()));
        waitForFrames(output, 2 * OfflineAudioOutput::blockFrames);
    }
    expectCaptureHoldsSignal(second, signal.nextFrame);
    EXPECT_EQ(folderEntries().size(), 2u);
}

TEST_F(OfflineAudioOutputTest, aCaptureThatCannotBeMadeFailsTheStartWithAReason) {
    // A capture into a missing folder or one without a name is refused at start, with text, and
    // nothing runs or is left behind.
    Signal signal;
    OfflineAudioOutput output({OfflinePacing::asFastAsPossible, folder_ / "missing" / "x.wav", 0.0});
    auto started = output.start(std::nullopt, signal.callback());
    ASSERT_FALSE(started);
    EXPECT_NE(started.error().find("x.wav"), std::string::npos) << started.error();
    EXPECT_FALSE(output.isRunning());
    EXPECT_EQ(signal.blocks, 0u);

    output.setCapturePath(folder_ / "");
    EXPECT_FALSE(output.start(std::nullopt, signal.callback()));
    EXPECT_FALSE(output.start(std::nullopt, AudioRenderCallback{}));
    EXPECT_TRUE(folderEntries().empty());
}

} // namespace
} // namespace orvane
