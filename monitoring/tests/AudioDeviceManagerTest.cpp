#include "monitoring/AudioDeviceManager.h"

#include "platform/DefaultsStore.h"
#include "platform/MainLoop.h"
#include "platform/tests/ScriptedAudioOutput.h"
#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace orvane {
namespace {

namespace fs = std::filesystem;

// Each device change stops the transport, so every call here is a stop the user would notice.
class RecordingTarget final : public OutputDeviceTarget {
  public:
    std::vector<std::uint32_t> moves;
    void setOutputDevice(std::uint32_t deviceID) override { moves.push_back(deviceID); }
};

const AudioOutputDevice builtIn{11, "alsa:Built-in", "Built-in"};
const AudioOutputDevice usb{12, "alsa:USB DAC", "USB DAC"};
const AudioOutputDevice hdmi{13, "pulse:HDMI", "HDMI"};

class AudioDeviceManagerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        output_.listed = {builtIn};
        output_.systemDefault = builtIn.id;
    }

    // Lets the poll timer fire once, as two seconds of wall time would.
    void passPollInterval() {
        clock_->advanceBy(AudioDeviceManager::pollIntervalSeconds);
        loop_.runOneTurn();
    }

    testing::TempFolder folder_{"orvane-devices"};
    fs::path storePath_ = folder_.path / "defaults.json";
    std::unique_ptr<DefaultsStore> store_ = std::make_unique<DefaultsStore>(storePath_);
    std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
    MainLoop loop_{clock_};
    testing::ScriptedAudioOutput output_;
    RecordingTarget engine_;
};

TEST_F(AudioDeviceManagerTest, aSavedDeviceMissingAtStartIsUsedWhenItComesBackAndLeftWhenItGoes) {
    // The stored choice survives its device being absent; the engine stays on the default until the
    // device appears, returns to the default when it is unplugged, and back again when replugged.
    store_->setString(AudioDeviceManager::outputDeviceUIDKey, usb.uid);
    AudioDeviceManager manager(output_, *store_, &loop_);
    manager.attach(engine_);
    EXPECT_TRUE(manager.listenersInstalled());
    EXPECT_EQ(manager.selectedUID(), usb.uid);
    EXPECT_TRUE(engine_.moves.empty());
    EXPECT_EQ(manager.devices(), std::vector{builtIn});

    passPollInterval();
    EXPECT_TRUE(engine_.moves.empty()) << "nothing changed";

    output_.listed = {builtIn, usb};
    passPollInterval();
    EXPECT_EQ(manager.devices(), (std::vector{builtIn, usb}));
    EXPECT_EQ(engine_.moves, std::vector<std::uint32_t>{usb.id});

    output_.listed = {builtIn};
    passPollInterval();
    EXPECT_EQ(engine_.moves, (std::vector<std::uint32_t>{usb.id, builtIn.id}));
    EXPECT_EQ(manager.selectedUID(), usb.uid);

    output_.listed = {usb, builtIn};
    passPollInterval();
    EXPECT_EQ(engine_.moves, (std::vector<std::uint32_t>{usb.id, builtIn.id, usb.id}));
    EXPECT_EQ(manager.appliedDeviceID(), usb.id);
}

TEST_F(AudioDeviceManagerTest, theSystemDefaultIsFollowedOnlyWhileNoChoiceIsMade) {
    // Without a choice a new system default moves the output; with one it is ignored; removing the
    // choice removes the stored key and returns to the current default.
    output_.listed = {builtIn, usb, hdmi};
    AudioDeviceManager manager(output_, *store_, &loop_);
    manager.attach(engine_);
    EXPECT_TRUE(engine_.moves.empty());

    output_.systemDefault = usb.id;
    passPollInterval();
    EXPECT_EQ(engine_.moves, std::vector<std::uint32_t>{usb.id});

    manager.select(hdmi.uid);
    EXPECT_EQ(store_->stringValue(AudioDeviceManager::outputDeviceUIDKey), hdmi.uid);
    EXPECT_EQ(engine_.moves, (std::vector<std::uint32_t>{usb.id, hdmi.id}));

    output_.systemDefault = builtIn.id;
    passPollInterval();
    EXPECT_EQ(engine_.moves.size(), 2u) << "a choice outranks the system default";

    manager.select(std::nullopt);
    EXPECT_FALSE(store_->contains(AudioDeviceManager::outputDeviceUIDKey));
    EXPECT_FALSE(DefaultsStore(storePath_).contains(AudioDeviceManager::outputDeviceUIDKey));
    EXPECT_EQ(engine_.moves, (std::vector<std::uint32_t>{usb.id, hdmi.id, builtIn.id}));

    output_.systemDefault = std::nullopt; // unreadable: the output stays where it is
    passPollInterval();
    output_.systemDefault = 0;
    passPollInterval();
    EXPECT_EQ(engine_.moves.size(), 3u);
}

TEST_F(AudioDeviceManagerTest, selectingTheAppliedDeviceLeavesTheTransportAlone) {
    // Choosing the device already in use stores the choice and tells observers, but moves nothing,
    // so playback isn't stopped; the choice is read back by the next manager.
    output_.listed = {builtIn, usb};
    AudioDeviceManager manager(output_, *store_, &loop_);
    int told = 0;
    const auto observer = manager.addObserver([&told] { ++told; });
    manager.attach(engine_);
    manager.select(usb.uid);
    ASSERT_EQ(engine_.moves, std::vector<std::uint32_t>{usb.id});
    const int toldAfterFirst = told;

    manager.select(usb.uid);
    manager.applySelection();
    EXPECT_EQ(engine_.moves.size(), 1u);
    EXPECT_EQ(told, toldAfterFirst) << "the same choice again is no change";

    DefaultsStore reopened(storePath_);
    AudioDeviceManager next(output_, reopened, nullptr);
    EXPECT_EQ(next.selectedUID(), usb.uid);

    manager.removeObserver(observer);
    output_.listed = {usb};
    passPollInterval();
    EXPECT_EQ(told, toldAfterFirst);
    EXPECT_EQ(manager.devices(), std::vector{usb});
}

TEST_F(AudioDeviceManagerTest, aChoiceConnectedAtAttachIsAppliedAndADetachedEngineIsLeftAlone) {
    // With the chosen device present, attaching moves the engine to it at once; after detach,
    // changes are still tracked but nothing calls the engine.
    store_->setString(AudioDeviceManager::outputDeviceUIDKey, hdmi.uid);
    output_.listed = {builtIn, hdmi};
    AudioDeviceManager manager(output_, *store_, &loop_);
    manager.attach(engine_);
    EXPECT_EQ(engine_.moves, std::vector<std::uint32_t>{hdmi.id});
    EXPECT_EQ(manager.appliedDeviceID(), hdmi.id);

    manager.detach();
    EXPECT_FALSE(manager.isAttached());
    manager.select(std::nullopt);
    output_.listed = {builtIn};
    output_.systemDefault = usb.id;
    passPollInterval();
    EXPECT_EQ(manager.devices(), std::vector{builtIn});
    EXPECT_EQ(engine_.moves.size(), 1u);
}

} // namespace
} // namespace orvane
