#include "workspace/RecentProjectsStore.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace orvane {
namespace {

namespace fs = std::filesystem;

class RecentProjectsStoreTest : public ::testing::Test {
  protected:
    void SetUp() override {
        folder_ =
            fs::temp_directory_path() / ("orvane-recent-" + std::to_string(::getpid()) + "-" +
                                         ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(folder_);
        fs::create_directories(folder_);
        defaults_ = std::make_unique<DefaultsStore>(folder_ / "defaults.json");
    }
    void TearDown() override { fs::remove_all(folder_); }

    fs::path project(int n) const { return folder_ / ("Disc " + std::to_string(n) + ".ovproj"); }

    fs::path folder_;
    std::unique_ptr<DefaultsStore> defaults_;
};

TEST_F(RecentProjectsStoreTest, reopeningAnEntryMovesItToTheTopOnce) {
    // Recording a path already listed leaves one entry, at the front, in the stored default too;
    // a relative spelling of the same file is the same entry.
    RecentProjectsStore recent{*defaults_};
    recent.record(project(1));
    recent.record(project(2));
    recent.record(project(1));
    EXPECT_EQ(recent.urls(), (std::vector<fs::path>{project(1), project(2)}));

    const auto previous = fs::current_path();
    fs::current_path(folder_);
    recent.record("./Disc 2.ovproj");
    fs::current_path(previous);
    EXPECT_EQ(recent.urls(), (std::vector<fs::path>{project(2), project(1)}));

    EXPECT_EQ(defaults_->stringListValue("recentProjectPaths"),
              (std::vector<std::string>{project(2).string(), project(1).string()}));
    EXPECT_EQ(RecentProjectsStore{*defaults_}.urls(), recent.urls());
}

TEST_F(RecentProjectsStoreTest, theEleventhProjectPushesOutTheOldest) {
    // The list holds the ten most recent paths, newest first.
    RecentProjectsStore recent{*defaults_};
    for (int n = 1; n <= 11; ++n)
        recent.record(project(n));
    ASSERT_EQ(recent.urls().size(), 10u);
    EXPECT_EQ(recent.urls().front(), project(11));
    EXPECT_EQ(recent.urls().back(), project(2));
    EXPECT_EQ(std::count(recent.urls().begin(), recent.urls().end(), project(1)), 0);
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
