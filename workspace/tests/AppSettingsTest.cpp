#include "workspace/AppSettings.h"

#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

namespace fs = std::filesystem;

class AppSettingsTest : public ::testing::Test {
  protected:
    testing::TempFolder folder_{"orvane-settings"};
    std::unique_ptr<DefaultsStore> present_ =
        std::make_unique<DefaultsStore>(folder_.path / "orvane" / "defaults.json");
};

TEST_F(AppSettingsTest, unsetOrMistypedSettingsReadTheirDefaults) {
    // With nothing stored, or a value of the wrong type, a setting reads its own default.
    const AppSettings settings{*present_};
    EXPECT_FALSE(settings.defaultsMigratedFromLegacyDomain());
    present_->setString("orvane.snapEnabled", "no");
    present_->setInt("showCorrelation", 1);
    present_->setInt("orvane.scrubAudio", 0);
    EXPECT_TRUE(settings.snapEnabled());
    EXPECT_FALSE(settings.showCorrelation());
    EXPECT_TRUE(settings.scrubAudio());
    EXPECT_EQ(settings.outputDeviceUID(), std::nullopt);
}

TEST_F(AppSettingsTest, settersWriteTheirOwnKeysThrough) {
    // Each setter lands under its documented key and survives a fresh store; clearing the output
    // device removes its key.
    {
        AppSettings settings{*present_};
        settings.setShowVUMeter(false);
        settings.setSnapEnabled(false);
        settings.setClipTruePeak(true);
        settings.setShowCorrelation(true);
        settings.setInspectorSectionExpanded(InspectorSection::fades, false);
        settings.setOutputDeviceUID(std::string{"hw:1,0"});
        settings.setExportIncludePQSheet(true);
    }
    DefaultsStore reloaded{present_->filePath()};
    EXPECT_EQ(reloaded.boolValue("showVUMeter"), std::optional<bool>{false});
    EXPECT_EQ(reloaded.boolValue("orvane.snapEnabled"), std::optional<bool>{false});
    EXPECT_EQ(reloaded.boolValue("orvane.clipTruePeak"), std::optional<bool>{true});
    EXPECT_EQ(reloaded.boolValue("showCorrelation"), std::optional<bool>{true});
    EXPECT_EQ(reloaded.boolValue("inspectorFadesExpanded"), std::optional<bool>{false});
    EXPECT_EQ(reloaded.stringValue("orvane.outputDeviceUID"), "hw:1,0");
    EXPECT_EQ(reloaded.boolValue("exportIncludePQSheet"), std::optional<bool>{true});

    AppSettings settings{reloaded};
    EXPECT_FALSE(settings.showVUMeter());
    EXPECT_TRUE(settings.inspectorSectionExpanded(InspectorSection::gain));
    settings.setOutputDeviceUID(std::nullopt);
    EXPECT_FALSE(reloaded.contains("orvane.outputDeviceUID"));
}

TEST_F(AppSettingsTest, legacySettingsFillOnlyTheGapsAndOnlyOnce) {
    // Keys the present domain lacks are copied with their values and types; present keys keep theirs;
    // the guard is set and a second run copies nothing, even when the legacy domain has changed.
    DefaultsStore legacy{folder_.path / "orvane-legacy" / "defaults.json"};
    legacy.setBool("showVUMeter", false);
    legacy.setBool("orvane.snapEnabled", false);
    legacy.setStringList("recentProjectPaths", {"/old/Disc.ovt"});
    legacy.setDouble("someLevel", -3.5);
    present_->setBool("showVUMeter", true);

    EXPECT_EQ(AppSettings::migrateLegacyDefaultsIfNeeded(*present_, legacy), 3u);
    const AppSettings settings{*present_};
    EXPECT_TRUE(settings.showVUMeter());
    EXPECT_FALSE(settings.snapEnabled());
    EXPECT_EQ(settings.recentProjectPaths(), std::vector<std::string>{"/old/Disc.ovt"});
    EXPECT_EQ(present_->doubleValue("someLevel"), std::optional<double>{-3.5});
    EXPECT_TRUE(settings.defaultsMigratedFromLegacyDomain());

    legacy.setBool("showSpectrum", false);
    EXPECT_EQ(AppSettings::migrateLegacyDefaultsIfNeeded(*present_, legacy), 0u);
    EXPECT_FALSE(present_->contains("showSpectrum"));
    EXPECT_EQ(DefaultsStore{present_->filePath()}.boolValue("orvane.defaultsMigratedFromLegacyDomain"),
              std::optional<bool>{true});
}

TEST_F(AppSettingsTest, anEmptyOrMissingLegacyDomainStillSetsTheGuard) {
    // With no legacy file at all the migration copies nothing, marks itself done, and makes no file
    // for the legacy domain.
    const auto legacyFile = folder_.path / "orvane-legacy" / "defaults.json";
    EXPECT_EQ(AppSettings::migrateLegacyDefaultsIfNeeded(*present_, legacyFile), 0u);
    EXPECT_EQ(present_->keys(), std::vector<std::string>{"orvane.defaultsMigratedFromLegacyDomain"});
    EXPECT_TRUE(AppSettings{*present_}.defaultsMigratedFromLegacyDomain());
    EXPECT_FALSE(fs::exists(legacyFile));
}

} // namespace
} // namespace orvane
