#include "workspace/RecentProjectsStore.h"

#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

namespace fs = std::filesystem;

class RecentProjectsStoreTest : public ::testing::Test {
  protected:
    fs::path project(int n) const { return folder_.path / ("Disc " + std::to_string(n) + ".ovproj"); }

    testing::TempFolder folder_{"orvane-recent"};
    std::unique_ptr<DefaultsStore> defaults_ =
        std::make_unique<DefaultsStore>(folder_.path / "defaults.json");
};

TEST_F(RecentProjectsStoreTest, reopeningAnEntryMovesItToTheTopOnceAndTenAreKept) {
    // Recording a path already listed leaves one entry, at the front, in the stored default too;
    // a relative spelling of the same file is the same entry; the eleventh pushes out the oldest.
    RecentProjectsStore recent{*defaults_};
    recent.record(project(1));
    recent.record(project(2));
    recent.record(project(1));
    EXPECT_EQ(recent.urls(), (std::vector<fs::path>{project(1), project(2)}));

    const auto previous = fs::current_path();
    fs::current_path(folder_.path);
    recent.record("./Disc 2.ovproj");
    fs::current_path(previous);
    EXPECT_EQ(recent.urls(), (std::vector<fs::path>{project(2), project(1)}));

    EXPECT_EQ(defaults_->stringListValue("recentProjectPaths"),
              (std::vector<std::string>{project(2).string(), project(1).string()}));
    EXPECT_EQ(RecentProjectsStore{*defaults_}.urls(), recent.urls());

    for (int n = 3; n <= 12; ++n)
        recent.record(project(n));
    EXPECT_EQ(recent.urls().size(), 10u);
    EXPECT_EQ(recent.urls().front(), project(12));
    EXPECT_EQ(recent.urls().back(), project(3));
}

TEST_F(RecentProjectsStoreTest, removeAndClearUpdateTheListAndTellTheObserver) {
    // remove drops the path, clear empties the list; each change is announced; a stored value of
    // the wrong type reads as an empty list and is replaced by the next record.
    RecentProjectsStore recent{*defaults_};
    int changes = 0;
    recent.setOnChange([&] { ++changes; });
    recent.record(project(1));
    recent.record(project(2));
    recent.remove(project(1));
    EXPECT_EQ(recent.urls(), std::vector<fs::path>{project(2)});
    recent.clear();
    EXPECT_TRUE(recent.urls().empty());
    EXPECT_EQ(changes, 4);

    defaults_->setInt("recentProjectPaths", 7);
    RecentProjectsStore fromBadValue{*defaults_};
    EXPECT_TRUE(fromBadValue.urls().empty());
    fromBadValue.record(project(3));
    EXPECT_EQ(defaults_->stringListValue("recentProjectPaths"),
              std::vector<std::string>{project(3).string()});
}

} // namespace
} // namespace orvane
