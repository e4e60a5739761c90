#include "platform/SystemAudioOutput.h"

#include "ScriptedAudioOutput.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

// The scripted hardware stays reachable through `hardware` while the output owns it.
struct Fixture {
    testing::ScriptedAudioOutput* hardware = nullptr;
    std::unique_ptr<SystemAudioOutput> output;

    Fixture() {
        auto owned = std::make_unique<testing::ScriptedAudioOutput>();
        hardware = owned.get();
        output = std::make_unique<SystemAudioOutput>(
            std::move(owned),
            std::make_unique<OfflineAudioOutput>(OfflineAudioOutputSettings{OfflinePacing::manual, {}, 0.1}));
    }
};

TEST(SystemAudioOutput, listsTheHardwareThenOfflineAndFallsBackToOfflineWithoutHardware) {
    // "Offline" is always the last device; it is the default only when the hardware names none.
    Fixture f;
    const auto none = f.output->devices();
    ASSERT_EQ(none.size(), 1u);
    EXPECT_EQ(none[0], (AudioOutputDevice{OfflineAudioOutput::deviceID, "offline", "Offline"}));
    EXPECT_EQ(f.output->defaultDevice(), OfflineAudioOutput::deviceID);

    f.hardware->listed = {{0x10000, "alsa:Card", "Card"}};
    f.hardware->systemDefault = 0x10000u;
    const auto both = f.output->devices();
    ASSERT_EQ(both.size(), 2u);
    EXPECT_EQ(both[0].uid, "alsa:Card");
    EXPECT_EQ(both[1].uid, "offline");
    EXPECT_EQ(f.output->defaultDevice(), 0x10000u);
}

TEST(SystemAudioOutput, startHandsTheStreamToTheBackendThatOwnsTheDevice) {
    // Starting on a hardware device runs the hardware; switching to Offline stops it and pulls the
    // callback offline; a device nobody has fails and leaves nothing running.
    Fixture f;
    f.hardware->listed = {{0x10000, "alsa:Card", "Card"}};
    f.hardware->systemDefault = 0x10000u;
    int calls = 0;
    const AudioRenderCallback callback = [&calls](float* left, float* right, std::size_t frames, double) {
        ++calls;
        std::fill(left, left + frames, 0.25f);
        std::fill(right, right + frames, -0.25f);
    };

    ASSERT_TRUE(f.output->start(std::nullopt, callback));
    EXPECT_EQ(f.hardware->startedOn, 0x10000u);
    EXPECT_TRUE(f.output->isRunning());
    EXPECT_FALSE(f.output->isOfflineActive());
    EXPECT_EQ(f.output->presentationLatency(), 0.02);

    ASSERT_TRUE(f.output->start(OfflineAudioOutput::deviceID, callback));
    EXPECT_FALSE(f.hardware->running);
    EXPECT_TRUE(f.output->isOfflineActive());
    EXPECT_EQ(f.output->presentationLatency(), 0.1);
    auto pulled = f.output->offline().pull(600);
    ASSERT_TRUE(pulled);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(pulled->left.back(), 0.25f);
    EXPECT_EQ(pulled->right.front(), -0.25f);

    EXPECT_FALSE(f.output->start(0x20005u, callback));
    EXPECT_FALSE(f.output->isRunning());
    EXPECT_FALSE(f.output->offline().isRunning());
    EXPECT_EQ(f.output->presentationLatency(), 0.0);
}

} // namespace
} // namespace orvane
