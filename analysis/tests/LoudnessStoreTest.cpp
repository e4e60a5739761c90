#include "analysis/LoudnessStore.h"

#include "analysis/LoudnessJobs.h"
#include "analysis/LoudnessRun.h"
#include "analysis/tests/LoudnessSignals.h"
#include "model/ProjectCoding.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

namespace orvane {
namespace {

using testing::Section;

class LoudnessStorage : public testing::TempFolderTest {
  protected:
    CDTrack track(const std::string& name, double dB, double seconds = 4.0) {
        return testing::wholeFileTrack(testing::writeSections(file(name), {{dB, seconds}}), seconds);
    }
    TrackLoudnessData measure(const CDTrack& t) {
        auto data = LoudnessAnalyzer::analyzeTrackData(t);
        EXPECT_TRUE(data.has_value());
        return data.value_or(TrackLoudnessData{});
    }
    // Saved and read back, as a document would be.
    static CDProject reopened(const CDProject& project) {
        const auto decoded = ProjectCoding::decode(ProjectCoding::encode(project));
        EXPECT_TRUE(decoded.has_value());
        return decoded.value_or(CDProject{});
    }
};

TEST_F(LoudnessStorage, albumFigureExistsOnlyWhileEveryTrackIsMeasured) {
    CDProject project;
    project.tracks = {track("a.wav", -20.0), track("b.wav", -20.0), track("c.wav", -20.0)};
    LoudnessStore store;
    int changes = 0;
    store.onChange = [&] { ++changes; };
    store.storeLoudnessData(project, measure(project.tracks[0]), project.tracks[0].id);
    store.storeLoudnessData(project, measure(project.tracks[1]), project.tracks[1].id);
    EXPECT_GT(changes, 0);
    EXPECT_EQ(store.loudness().size(), 2u);
    EXPECT_FALSE(store.albumLoudness().has_value());

    // Removing the only unmeasured track brings the album figure back with no new measurement.
    CDProject shorter = project;
    shorter.tracks.pop_back();
    store.rederiveAlbumLoudness(shorter);
    ASSERT_TRUE(store.albumLoudness().has_value());
    EXPECT_NEAR(store.albumLoudness()->lufs, -20.0, 0.05);
    store.rederiveAlbumLoudness(project);
    EXPECT_FALSE(store.albumLoudness().has_value());

    // Silence is measured data with no figure, and leaves the album without one too.
    const auto silent = file("silent.wav");
    testing::writeSamples(silent, 2, 44100 * 2, [](int, std::int64_t) { return 0.0f; });
    project.tracks[2] = testing::wholeFileTrack(silent, 2.0);
    store.storeLoudnessData(project, measure(project.tracks[2]), project.tracks[2].id);
    EXPECT_FALSE(store.loudness().contains(project.tracks[2].id));
    EXPECT_EQ(store.loudnessData().size(), 3u);
    ASSERT_TRUE(store.albumLoudness().has_value()); // gated blocks simply drop out
    EXPECT_NEAR(store.albumLoudness()->lufs, -20.0, 0.05);

    store.forget(project, project.tracks[0].id);
    EXPECT_FALSE(store.albumLoudness().has_value());
}

TEST_F(LoudnessStorage, savedMeasurementsComeBackOnlyWhileTheirFilesAreUnchanged) {
    CDProject project;
    project.tracks = {track("a.wav", -18.0), track("b.wav", -24.0)};
    project.tracks[1].versions.push_back(TrackVersion::make(FileURL::fromPath(file("a.wav"))));
    LoudnessStore store;
    for (const auto& t : project.tracks)
        store.storeLoudnessData(project, measure(t), t.id);
    store.setLoudness(project.tracks[1].versions[0].id, TrackLoudness{-18.0, -18.0, std::nullopt});
    ASSERT_TRUE(store.albumLoudness().has_value());
    const TrackLoudness album = *store.albumLoudness();

    const auto b = file("b.wav");
    const auto setDate = [&](std::int64_t milliseconds) {
        const auto system =
            std::chrono::sys_time<std::chrono::milliseconds>(std::chrono::milliseconds(milliseconds));
        std::filesystem::last_write_time(b, std::chrono::file_clock::from_sys(system));
    };
    setDate(1700000000200);
    const CDProject saved = reopened(store.projectWithLoudness(project));
    ASSERT_TRUE(saved.tracks[0].loudness.has_value());
    EXPECT_TRUE(saved.tracks[0].loudness->blocks.has_value());
    ASSERT_TRUE(saved.tracks[1].versions[0].loudness.has_value());
    EXPECT_FALSE(saved.tracks[1].versions[0].loudness->blocks.has_value()); // a take keeps figures only

    LoudnessStore reopenedStore;
    reopenedStore.seedLoudnessFromProject(saved);
    ASSERT_TRUE(reopenedStore.albumLoudness().has_value());
    EXPECT_NEAR(reopenedStore.albumLoudness()->lufs, album.lufs, 1e-3);
    EXPECT_NEAR(reopenedStore.albumLoudness()->truePeak, album.truePeak, 1e-3);
    EXPECT_EQ(reopenedStore.loudness().size(), 3u);

    // Touched by half a second: still the measured file.
    setDate(1700000000700);
    reopenedStore.seedLoudnessFromProject(saved);
    EXPECT_EQ(reopenedStore.loudness().size(), 3u);
    // Rewritten at another size: that track (and the album) read as not measured; the rest stay.
    testing::writeSections(b, {{-24.0, 5.0}});
    reopenedStore.seedLoudnessFromProject(saved);
    EXPECT_FALSE(reopenedStore.loudness().contains(project.tracks[1].id));
    EXPECT_TRUE(reopenedStore.loudness().contains(project.tracks[0].id));
    EXPECT_TRUE(reopenedStore.loudness().contains(project.tracks[1].versions[0].id));
    EXPECT_FALSE(reopenedStore.albumLoudness().has_value());

    // A project written now carries nothing for the changed file.
    const CDProject again = reopenedStore.projectWithLoudness(saved);
    EXPECT_FALSE(again.tracks[1].loudness.has_value());
    EXPECT_TRUE(again.tracks[0].loudness.has_value());
}

TEST_F(LoudnessStorage, jobsMeasureActiveTakesAlwaysAndStackTakesOnce) {
    CDProject project;
    project.tracks = {track("a.wav", -20.0), track("b.wav", -20.0)};
    project.tracks[1].title = "";
    project.tracks[1].versions = {TrackVersion::make(FileURL::fromPath(file("a.wav"))),
                                  TrackVersion::make(FileURL::fromPath(file("gone.wav")))};
    const std::set<Uuid> both{project.tracks[0].id, project.tracks[1].id};
    auto list = LoudnessJobs::jobs(project, both, {});
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list[1].label, "Track 02");
    EXPECT_EQ(list[2].label, "Track 02 \u2014 take 1/2");
    EXPECT_FALSE(list[2].isMaster);
    EXPECT_EQ(list[2].track.title, "a");
    EXPECT_EQ(list[2].track.sourceAudioSamples, 44100 * 4);
    EXPECT_EQ(list[2].track.trimStartSamples, 0);
    EXPECT_EQ(list[3].track.sourceAudioSamples, 0); // its file is missing

    const std::map<Uuid, TrackLoudness> measured{{project.tracks[1].versions[0].id, TrackLoudness{}},
                                                 {project.tracks[1].id, TrackLoudness{}}};
    list = LoudnessJobs::jobs(project, both, measured);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[1].id, project.tracks[1].id);
    EXPECT_EQ(list[2].id, project.tracks[1].versions[1].id);
    EXPECT_EQ(LoudnessJobs::jobs(project, {project.tracks[0].id}, measured).size(), 1u);
}

TEST(LoudnessAlerts, summaryAndFailureTextsSayWhatHappened) {
    auto alert = LoudnessJobs::summaryAlert(TrackLoudness{-14.04, -1.26, 6.55}, true);
    EXPECT_EQ(alert.title, "Loudness Analysis Complete");
    EXPECT_EQ(alert.text,
              "Album: -14.0 LUFS, true peak -1.3 dBTP, LRA 6.5 LU\nPer-track values are in the table "
              "and PQ sheet.");
    alert = LoudnessJobs::summaryAlert(TrackLoudness{-9.0, 0.0, std::nullopt}, true);
    EXPECT_EQ(alert.text.substr(0, alert.text.find('\n')), "Album: -9.0 LUFS, true peak 0.0 dBTP");
    EXPECT_EQ(LoudnessJobs::summaryAlert(std::nullopt, true).text.rfind("No album summary", 0), 0u);
    EXPECT_EQ(LoudnessJobs::summaryAlert(std::nullopt, false).text, "No analyzable audio found.");

    EXPECT_EQ(LoudnessJobs::failureAlert({"A"}).title, "One item could not be measured");
    std::vector<std::string> nine;
    for (char c = 'A'; c < 'A' + 9; ++c)
        nine.emplace_back(1, c);
    const auto many = LoudnessJobs::failureAlert(nine);
    EXPECT_EQ(many.title, "9 items could not be measured");
    EXPECT_NE(many.text.find(":\n\nA\nB\nC\nD\nE\nF\nG\nH\n\u2026 and 1 more\n\nCheck"), std::string::npos);
    EXPECT_EQ(many.text.find("\nI\n"), std::string::npos);
}

TEST_F(LoudnessStorage, aRunStoresResultsThroughTheMainLoopAndEndsWithFailuresThenSummary) {
    MainLoop loop;
    CDProject project;
    project.tracks = {track("a.wav", -20.0), track("b.wav", -20.0)};
    project.tracks[1].audioFileURL = FileURL::fromPath(file("missing.wav"));
    LoudnessStore store;
    LoudnessRun run(loop, store, [&]() -> const CDProject& { return project; });
    std::vector<double> fractions;
    run.onProgress = [&](const std::string&, double f) { fractions.push_back(f); };
    std::optional<std::vector<LoudnessAlert>> finished;
    run.onFinished = [&](const std::vector<LoudnessAlert>& alerts) { finished = alerts; };
    int refused = 0;
    run.onAlreadyRunning = [&] { ++refused; };

    ASSERT_TRUE(run.runAlbum());
    EXPECT_FALSE(run.runAlbum()); // a second run never starts beside the first
    EXPECT_EQ(refused, 1);
    for (int turns = 0; !finished && turns < 100000; ++turns) {
        loop.runOneTurn();
        std::this_thread::yield();
    }
    ASSERT_TRUE(finished.has_value());
    EXPECT_FALSE(run.isRunning());
    ASSERT_EQ(finished->size(), 2u);
    EXPECT_EQ((*finished)[0].title, "One item could not be measured");
    EXPECT_NE((*finished)[0].text.find("\n\nb\n\n"), std::string::npos);
    EXPECT_EQ((*finished)[1].text.rfind("No album summary", 0), 0u);
    EXPECT_TRUE(store.loudness().contains(project.tracks[0].id));
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_FALSE(fractions.empty());
}

} // namespace
} // namespace orvane
