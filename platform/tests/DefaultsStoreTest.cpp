#include "platform/DefaultsStore.h"

#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace orvane {
namespace {

namespace fs = std::filesystem;

class DefaultsStoreTest : public ::testing::Test {
  protected:
    fs::path file() const { return folder_ / "orvane" / "defaults.json"; }

    static std::string contents(const fs::path& path) {
        std::ifstream in{path, std::ios::binary};
        std::ostringstream out;
        out << in.rdbuf();
        return out.str();
    }

    static void put(const fs::path& path, const std::string& bytes) {
        fs::create_directories(path.parent_path());
        std::ofstream{path, std::ios::binary} << bytes;
    }

    testing::TempFolder temp_{"orvane-defaults"};
    const fs::path folder_ = temp_.path;
};

TEST_F(DefaultsStoreTest, everyTypeSurvivesAReloadAndAbsentDiffersFromFalseOrZero) {
    // Values written by one store read back the same from a fresh store on the file, with "absent"
    // told apart from false, 0 and empty.
    {
        DefaultsStore store{file()};
        EXPECT_TRUE(store.setBool("showVUMeter", false));
        EXPECT_TRUE(store.setInt("count", -9'000'000'000));
        EXPECT_TRUE(store.setDouble("level", 0.1));
        EXPECT_TRUE(store.setString("orvane.outputDeviceUID", "Built-in \u00C9couteurs"));
        EXPECT_TRUE(store.setStringList("recentProjectPaths", {"/a b.ovproj", ""}));
        EXPECT_TRUE(store.setStringList("emptyList", {}));
        EXPECT_TRUE(store.setInt("zero", 0));
    }
    DefaultsStore reloaded{file()};
    EXPECT_EQ(reloaded.boolValue("showVUMeter"), std::optional<bool>{false});
    EXPECT_EQ(reloaded.intValue("count"), std::optional<std::int64_t>{-9'000'000'000});
    EXPECT_EQ(reloaded.doubleValue("level"), std::optional<double>{0.1});
    EXPECT_EQ(reloaded.stringValue("orvane.outputDeviceUID"), "Built-in \u00C9couteurs");
    EXPECT_EQ(reloaded.stringListValue("recentProjectPaths"), (std::vector<std::string>{"/a b.ovproj", ""}));
    EXPECT_EQ(reloaded.stringListValue("emptyList"), std::vector<std::string>{});
    EXPECT_EQ(reloaded.intValue("zero"), std::optional<std::int64_t>{0});

    EXPECT_EQ(reloaded.boolValue("showSpectrum"), std::nullopt);
    EXPECT_EQ(reloaded.intValue("missing"), std::nullopt);
    EXPECT_EQ(reloaded.stringListValue("missing"), std::nullopt);
    EXPECT_FALSE(reloaded.contains("showSpectrum"));
    EXPECT_TRUE(reloaded.contains("zero"));
}

TEST_F(DefaultsStoreTest, aValueOfAnotherTypeReadsAsAbsent) {
    // A getter never converts between booleans, numbers and text; only a whole number reads as a double.
    put(file(),
        R"({"flag": 1, "text": true, "whole": 3, "half": 2.5, "mixed": ["a", 1], "huge": 18446744073709551615})");
    DefaultsStore store{file()};
    EXPECT_EQ(store.boolValue("flag"), std::nullopt);
    EXPECT_EQ(store.stringValue("text"), std::nullopt);
    EXPECT_EQ(store.doubleValue("whole"), std::optional<double>{3.0});
    EXPECT_EQ(store.intValue("half"), std::nullopt);
    EXPECT_EQ(store.stringListValue("mixed"), std::nullopt);
    EXPECT_EQ(store.intValue("huge"), std::nullopt);
    EXPECT_TRUE(store.contains("mixed"));
}

TEST_F(DefaultsStoreTest, theFileIsASortedJSONObjectWithNoTemporaryLeftBeside) {
    // After writes the folder holds only defaults.json, a JSON object with its keys in order; a
    // removed key leaves the file too, and removing an absent key is harmless.
    DefaultsStore store{file()};
    store.setBool("zeta", true);
    store.setBool("alpha", false);
    store.setString("mid", "x");
    EXPECT_EQ(nlohmann::json::parse(contents(file())),
              (nlohmann::json{{"alpha", false}, {"mid", "x"}, {"zeta", true}}));
    const std::string text = contents(file());
    EXPECT_LT(text.find("alpha"), text.find("mid"));
    EXPECT_LT(text.find("mid"), text.find("zeta"));
    EXPECT_EQ(store.keys(), (std::vector<std::string>{"alpha", "mid", "zeta"}));

    int entries = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(file().parent_path()))
        ++entries;
    EXPECT_EQ(entries, 1);

    EXPECT_TRUE(store.remove("mid"));
    EXPECT_TRUE(store.remove("never-there"));
    EXPECT_FALSE(store.contains("mid"));
    EXPECT_EQ(DefaultsStore{file()}.keys(), (std::vector<std::string>{"alpha", "zeta"}));
}

TEST_F(DefaultsStoreTest, aCorruptFileReadsEmptyAndIsReplacedOnlyByAWholeNewFile) {
    // Garbage or a non-object reads as no settings, stays untouched until a write, and is then
    // replaced by a complete object holding only what was written.
    for (const std::string& garbage : {std::string{"{\"showVUMeter\": fal"}, std::string{"[1, 2]"},
                                       std::string{"\xFF\xFE\x00", 3}, std::string{}}) {
        put(file(), garbage);
        DefaultsStore store{file()};
        EXPECT_TRUE(store.keys().empty());
        EXPECT_EQ(store.boolValue("showVUMeter"), std::nullopt);
        EXPECT_EQ(contents(file()), garbage);

        EXPECT_TRUE(store.setBool("showInspector", false));
        EXPECT_EQ(nlohmann::json::parse(contents(file())), (nlohmann::json{{"showInspector", false}}));
    }
}

TEST_F(DefaultsStoreTest, refusedValuesChangeNothing) {
    // Null, non-finite doubles and text that is not UTF-8 are refused and don't disturb later writes.
    DefaultsStore store{file()};
    store.setDouble("level", 0.5);
    EXPECT_FALSE(store.setDouble("level", std::nan("")));
    EXPECT_FALSE(store.setDouble("level", INFINITY));
    EXPECT_FALSE(store.setValue("level", nullptr));
    EXPECT_FALSE(store.setString("name", "bad \xC3"));
    EXPECT_FALSE(store.setStringList("list", {"ok", "\xFF"}));
    EXPECT_EQ(store.doubleValue("level"), std::optional<double>{0.5});
    EXPECT_FALSE(store.contains("name"));
    EXPECT_TRUE(store.setBool("after", true));
    EXPECT_EQ(DefaultsStore{file()}.keys(), (std::vector<std::string>{"after", "level"}));
}

TEST_F(DefaultsStoreTest, anUnwritableLocationFailsTheWriteButKeepsTheValueForTheSession) {
    // When the folder can't be made, a setter says so and the value still reads back in this process.
    put(folder_ / "blocker", "a file where a folder should be");
    DefaultsStore store{folder_ / "blocker" / "orvane" / "defaults.json"};
    EXPECT_FALSE(store.setBool("showVUMeter", false));
    EXPECT_EQ(store.boolValue("showVUMeter"), std::optional<bool>{false});
}

TEST_F(DefaultsStoreTest, concurrentWritersLoseNothing) {
    // Writes from several threads all reach the file.
    DefaultsStore store{file()};
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
        writers.emplace_back([&store, t] {
            for (int i = 0; i < 25; ++i)
                store.setInt("k" + std::to_string(t) + "_" + std::to_string(i), i);
        });
    }
    for (auto& writer : writers)
        writer.join();
    DefaultsStore reloaded{file()};
    EXPECT_EQ(reloaded.keys().size(), 100u);
    EXPECT_EQ(reloaded.intValue("k3_24"), std::optional<std::int64_t>{24});
}

TEST_F(DefaultsStoreTest, theDefaultLocationFollowsTheXDGConfigFolder) {
    // An absolute XDG_CONFIG_HOME is used; a relative one is ignored in favour of ~/.config.
    const char* oldXDG = std::getenv("XDG_CONFIG_HOME");
    const std::string saved = oldXDG != nullptr ? oldXDG : "";
    ::setenv("XDG_CONFIG_HOME", "/tmp/cfg", 1);
    EXPECT_EQ(DefaultsStore::defaultFilePath(), fs::path{"/tmp/cfg/orvane/defaults.json"});
    EXPECT_EQ(DefaultsStore::defaultFilePath("orvane-legacy"),
              fs::path{"/tmp/cfg/orvane-legacy/defaults.json"});
    ::setenv("XDG_CONFIG_HOME", "relative/cfg", 1);
    const auto fallback = DefaultsStore::defaultFilePath();
    EXPECT_TRUE(fallback.is_absolute());
    EXPECT_EQ(fallback.parent_path().parent_path().filename(), ".config");
    if (oldXDG != nullptr)
        ::setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
    else
        ::unsetenv("XDG_CONFIG_HOME");
}

} // namespace
} // namespace orvane
