#include "platform/RtAudioOutput.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace orvane {
namespace {

TEST(RtAudioOutput, offersOnlyReadableOutputDevicesInTheApisOrderWithDistinctIds) {
    // Input-only, unprobed and nameless devices are passed over; the rest keep the API's order,
    // carry the API in their id, and get a uid of API and name that tells duplicates apart.
    const std::vector<RtAudioDeviceProbe> alsa{
        {"Microphone", 0, true, false}, {"HDA Intel PCH: ALC892 Analog (hw:0,0)", 2, true, false},
        {"Busy Card", 2, false, false}, {"USB DAC", 8, true, true},
        {"", 2, true, false},           {"USB DAC", 2, true, false},
    };
    const auto listed = RtAudioOutput::outputDevices(1, "alsa", alsa);
    ASSERT_EQ(listed.size(), 3u);
    EXPECT_EQ(listed[0],
              (AudioOutputDevice{RtAudioOutput::deviceID(1, 1), "alsa:HDA Intel PCH: ALC892 Analog (hw:0,0)",
                                 "HDA Intel PCH: ALC892 Analog (hw:0,0)"}));
    EXPECT_EQ(listed[1].uid, "alsa:USB DAC");
    EXPECT_EQ(listed[1].id, RtAudioOutput::deviceID(1, 3));
    EXPECT_EQ(listed[2].uid, "alsa:USB DAC #2");
    EXPECT_EQ(listed[2].name, "USB DAC");

    // The same card seen through another API is another device.
    const auto pulse = RtAudioOutput::outputDevices(2, "pulse", {{"USB DAC", 2, true, true}});
    ASSERT_EQ(pulse.size(), 1u);
    EXPECT_EQ(pulse[0].uid, "pulse:USB DAC");
    std::set<std::uint32_t> ids{pulse[0].id};
    for (const auto& device : listed)
        ids.insert(device.id);
    EXPECT_EQ(ids.size(), 4u);
    EXPECT_EQ(ids.count(0), 0u) << "0 means no device to the device manager";
}

TEST(RtAudioOutput, asksThisMachinesApisQuietlyAndRefusesDevicesItDoesNotHave) {
    // Whatever hardware the machine has (often none), enumeration returns consistent devices
    // without printing, and a start on a device that isn't there fails with a reason, not a hang.
    ::testing::internal::CaptureStderr();
    RtAudioOutput output;
    const auto listed = output.devices();
    const auto defaultID = output.defaultDevice();
    const auto polledAgain = output.devices();
    auto bogus = output.start(RtAudioOutput::deviceID(0x7FFF, 3), [](float*, float*, std::size_t, double) {});
    output.stop();
    const std::string printed = ::testing::internal::GetCapturedStderr();

    EXPECT_EQ(printed, "");
    EXPECT_EQ(listed, polledAgain);
    const auto apis = output.apiNames();
    std::set<std::uint32_t> ids;
    for (const auto& device : listed) {
        ids.insert(device.id);
        const auto api = device.uid.substr(0, device.uid.find(':'));
        EXPECT_NE(std::find(apis.begin(), apis.end(), api), apis.end()) << device.uid;
    }
    EXPECT_EQ(ids.size(), listed.size());
    if (defaultID)
        EXPECT_EQ(ids.count(*defaultID), 1u);
    else
        EXPECT_TRUE(listed.empty());

    ASSERT_FALSE(bogus);
    EXPECT_FALSE(bogus.error().empty());
    EXPECT_FALSE(output.isRunning());
    EXPECT_FALSE(output.start(std::nullopt, AudioRenderCallback{})) << "no callback, no stream";
    if (!defaultID) {
        auto none = output.start(std::nullopt, [](float*, float*, std::size_t, double) {});
        ASSERT_FALSE(none);
        EXPECT_EQ(none.error(), "No audio output device is available.");
    }
}

} // namespace
} // namespace orvane
