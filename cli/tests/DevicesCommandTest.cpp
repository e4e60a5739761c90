// orvane-cli devices, run as a user runs it: the list always ends with the offline device, the
// stored choice is marked, and the JSON form carries the same facts.

#include "CliRunner.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

class DevicesCommand : public CliTest {
  protected:
    void SetUp() override {
        CliTest::SetUp();
        std::filesystem::create_directories(dir_ / "config" / "orvane");
        // The command reads the user's defaults; give it a store of its own.
        const char* previous = std::getenv("XDG_CONFIG_HOME");
        previousConfig_ = previous ? std::optional<std::string>(previous) : std::nullopt;
        ::setenv("XDG_CONFIG_HOME", (dir_ / "config").c_str(), 1);
    }
    void TearDown() override {
        if (previousConfig_)
            ::setenv("XDG_CONFIG_HOME", previousConfig_->c_str(), 1);
        else
            ::unsetenv("XDG_CONFIG_HOME");
        CliTest::TearDown();
    }

    void storeChoice(const std::string& uid) {
        std::ofstream(dir_ / "config" / "orvane" / "defaults.json")
            << nlohmann::json{{"orvane.outputDeviceUID", uid}}.dump();
    }

    std::optional<std::string> previousConfig_;
};

TEST_F(DevicesCommand, listsTheOfflineDeviceLastAndMarksTheChoice) {
    // Text and JSON both end with "Offline"; a stored choice of it is marked, and a choice that
    // isn't connected is reported instead of marked.
    storeChoice("offline");
    const auto text = runCli({"devices"}, dir_);
    ASSERT_EQ(text.status, 0) << text.err;
    const auto lastLine = text.out.substr(text.out.rfind('\n', text.out.size() - 2) + 1);
    EXPECT_NE(lastLine.find("offline"), std::string::npos) << text.out;
    EXPECT_NE(lastLine.find("Offline  (chosen)"), std::string::npos) << text.out;

    const auto json = runCli({"devices", "--json"}, dir_);
    ASSERT_EQ(json.status, 0) << json.err;
    const auto parsed = nlohmann::json::parse(json.out);
    const auto& devices = parsed.at("devices");
    ASSERT_FALSE(devices.empty());
    const auto& offline = devices.back();
    EXPECT_EQ(offline.at("uid"), "offline");
    EXPECT_EQ(offline.at("name"), "Offline");
    EXPECT_EQ(offline.at("isChosen"), true);
    EXPECT_EQ(parsed.at("chosenUID"), "offline");
    int defaults = 0;
    for (const auto& device : devices)
        defaults += device.at("isDefault").get<bool>() ? 1 : 0;
    EXPECT_EQ(defaults, 1) << "exactly one device is the default, Offline when there is no hardware";

    storeChoice("alsa:Unplugged Card");
    const auto missing = runCli({"devices"}, dir_);
    ASSERT_EQ(missing.status, 0);
    EXPECT_EQ(missing.out.find("(chosen)"), std::string::npos);
    EXPECT_NE(missing.out.find("alsa:Unplugged Card is not connected"), std::string::npos) << missing.out;
}

TEST_F(DevicesCommand, explainsItselfAndRefusesUnknownArguments) {
    // --help describes the command; anything else it doesn't know is a usage error.
    const auto help = runCli({"devices", "--help"}, dir_);
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("usage: orvane-cli devices [--json]"), std::string::npos);
    const auto bad = runCli({"devices", "--loud"}, dir_);
    EXPECT_EQ(bad.status, 2);
    EXPECT_NE(bad.err.find("--loud"), std::string::npos);
}

} // namespace
} // namespace orvane::testing
