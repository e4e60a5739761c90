#include "render/SRCPrewarmer.h"

#include "render/SRCRenderer.h"
#include "testsupport/TempFolder.h"
#include "testsupport/TestAudio.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

namespace orvane {
namespace {

namespace fs = std::filesystem;

struct Report {
    Uuid id;
    SRCCacheState state;
    bool operator==(const Report&) const = default;
};

class SRCPrewarmerTest : public ::testing::Test {
  protected:
    void SetUp() override { SRCRenderer::overrideCacheDirectory(root_ / "cache"); }
    void TearDown() override { SRCRenderer::overrideCacheDirectory(std::nullopt); }

    // Two thousand frames of mono silence.
    fs::path writeSource(const std::string& name, double rate) const {
        return testing::writeSource(root_ / name, rate, 1, 2000, [](int, std::int64_t) { return 0.0f; });
    }

    // The main queue of the test: tasks run at once, in posting order, under one lock.
    SRCPrewarmer::PostToMain poster() {
        return [this](std::function<void()> task) {
            std::lock_guard lock(mutex_);
            task();
        };
    }
    SRCPrewarmer::StateReport recorder() {
        return [this](const Uuid& id, SRCCacheState state) { reports_.push_back({id, state}); };
    }

    const testing::TempFolder folder_{"srcprewarm"};
    const fs::path& root_ = folder_.path;
    std::mutex mutex_;
    std::vector<Report> reports_;
    std::atomic<int> afterJobsCalls_{0};
};

TEST_F(SRCPrewarmerTest, buildsEveryTakeThatNeedsSRCAndReportsRenderingThenReady) {
    // Tracks' active files and versions that need SRC are all reported rendering, then built in order with
    // their own settings over the master's, each reported ready; a disc-rate take gets no job.
    CDProject project;
    project.masterSRC = "SoX VHQ";
    CDTrack hiRes = CDTrack::make("A", std::nullopt, 150, 0);
    hiRes.audioFileURL = FileURL::fromPath(writeSource("a.wav", 96000));
    TrackVersion take = TrackVersion::make(FileURL::fromPath(writeSource("b.wav", 48000)));
    take.srcAlgorithm = "Velmont SRC";
    hiRes.versions.push_back(take);
    CDTrack cd = CDTrack::make("C", std::nullopt, 150, 0);
    cd.audioFileURL = FileURL::fromPath(writeSource("c.wav", 44100));
    project.tracks = {hiRes, cd};
    {
        SRCPrewarmer prewarmer(poster(), recorder(), [this] { ++afterJobsCalls_; });
        prewarmer.rebuildSRCCaches(project);
        prewarmer.waitUntilIdle();
    }
    const std::vector<Report> expected = {{hiRes.id, SRCCacheState::rendering},
                                          {take.id, SRCCacheState::rendering},
                                          {hiRes.id, SRCCacheState::ready},
                                          {take.id, SRCCacheState::ready}};
    EXPECT_EQ(reports_, expected);
    EXPECT_EQ(afterJobsCalls_, 1);
    EXPECT_TRUE(SRCRenderer::srcStatus(hiRes.audioFileURL->path(), "SoX VHQ", "Linear").cached);
    EXPECT_TRUE(SRCRenderer::srcStatus(take.url.path(), "Velmont SRC", "Linear").cached);
    EXPECT_FALSE(SRCRenderer::srcStatus(take.url.path(), "SoX VHQ", "Linear").cached);
}

TEST_F(SRCPrewarmerTest, oneTakeReportsNotNeededOrRenderingAndAlwaysEndsReady) {
    // A single job reports notNeeded for a disc-rate file and rendering otherwise, then ready even when the
    // build fails (a missing file).
    const Uuid cdID = Uuid::random();
    const Uuid missingID = Uuid::random();
    const Uuid hiResID = Uuid::random();
    const fs::path hiRes = writeSource("d.wav", 88200);
    {
        SRCPrewarmer prewarmer(poster(), recorder(), [this] { ++afterJobsCalls_; });
        prewarmer.rebuildSRCCache(cdID, writeSource("e.wav", 44100), "Velmont SRC", std::nullopt, "Linear",
                                  std::nullopt);
        prewarmer.rebuildSRCCache(missingID, root_ / "gone.wav", "Velmont SRC", std::nullopt, "Linear",
                                  std::nullopt);
        prewarmer.rebuildSRCCache(hiResID, hiRes, "Velmont SRC", "SoX VHQ", "Linear", "Minimum");
        prewarmer.waitUntilIdle();
    }
    const std::vector<Report>& queued = reports_;
    EXPECT_EQ(std::count(queued.begin(), queued.end(), Report{cdID, SRCCacheState::notNeeded}), 1);
    EXPECT_EQ(std::count(queued.begin(), queued.end(), Report{missingID, SRCCacheState::notNeeded}), 1);
    EXPECT_EQ(std::count(queued.begin(), queued.end(), Report{hiResID, SRCCacheState::rendering}), 1);
    for (const Uuid& id : {cdID, missingID, hiResID})
        EXPECT_EQ(std::count(queued.begin(), queued.end(), Report{id, SRCCacheState::ready}), 1);
    EXPECT_EQ(afterJobsCalls_, 3);
    EXPECT_TRUE(SRCRenderer::srcStatus(hiRes, "SoX VHQ", "Minimum").cached);
}

} // namespace
} // namespace orvane
