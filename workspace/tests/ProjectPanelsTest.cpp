#include "workspace/ProjectPanels.h"

#include "workspace/ProjectStore.h"
#include "workspace/tests/WorkspaceFixture.h"

#include <deque>
#include <fstream>

namespace orvane {
namespace {

namespace fs = std::filesystem;

// Answers each dialog from a script and keeps what it was asked. An unscripted dialog fails the test.
class ScriptedPanelHost final : public PanelHost {
  public:
    std::size_t showAlert(const AlertRequest& request) override {
        alerts.push_back(request);
        if (alertAnswers.empty())
            return 0; // an unscripted alert is an error alert with one "OK"
        const auto answer = alertAnswers.front();
        alertAnswers.pop_front();
        return answer;
    }
    std::optional<fs::path> runOpenPanel(const OpenPanelRequest& request) override {
        openRequests.push_back(request);
        return next(openAnswers, "open");
    }
    std::optional<fs::path> runSavePanel(const SavePanelRequest& request) override {
        saveRequests.push_back(request);
        return next(saveAnswers, "save");
    }

    std::deque<std::size_t> alertAnswers;
    std::deque<std::optional<fs::path>> openAnswers;
    std::deque<std::optional<fs::path>> saveAnswers;
    std::vector<AlertRequest> alerts;
    std::vector<OpenPanelRequest> openRequests;
    std::vector<SavePanelRequest> saveRequests;

  private:
    static std::optional<fs::path> next(std::deque<std::optional<fs::path>>& answers, const char* kind) {
        if (answers.empty()) {
            ADD_FAILURE() << "unscripted " << kind << " panel";
            return std::nullopt;
        }
        auto answer = answers.front();
        answers.pop_front();
        return answer;
    }
};

class ProjectPanelsTest : public testing::WorkspaceFixture {
  protected:
    ProjectPanelsTest() : recent(*defaults), panels(host, recent) {}

    void makeModified() {
        edit([](CDProject& p) { p.tracks.push_back(track("One", 600)); });
        ASSERT_TRUE(ws->isModified());
    }

    // A document on disk whose tracks reference these files under `folder`.
    fs::path documentWithAudio(const std::string& name, const std::vector<std::string>& audioNames) {
        CDProject project;
        project.albumTitle = "Disc";
        for (const auto& audio : audioNames) {
            auto t = track(audio, 600);
            t.audioFileURL = FileURL::fromPath(folder / audio);
            project.tracks.push_back(t);
        }
        const auto path = folder / name;
        ProjectStore::save(project, path);
        return path;
    }

    ScriptedPanelHost host;
    RecentProjectsStore recent;
    ProjectPanels panels;
};

const std::string kMissingIntro =
    "The project references audio files that no longer exist (moved, renamed, or on a "
    "disconnected volume). Affected tracks show an empty waveform and play silence:\n\n";

TEST_F(ProjectPanelsTest, theDiscardGuardAsksOnlyForAModifiedProjectAndFollowsTheButton) {
    // Unmodified passes silently; "Cancel" refuses, "Don't Save" agrees, and "Save" agrees only
    // once the save dialog was answered and the file written.
    EXPECT_TRUE(panels.confirmDiscardChanges(*ws));
    EXPECT_TRUE(host.alerts.empty());

    makeModified();
    host.alertAnswers = {2};
    EXPECT_FALSE(panels.confirmDiscardChanges(*ws));
    ASSERT_EQ(host.alerts.size(), 1u);
    EXPECT_EQ(host.alerts[0], (AlertRequest{"Do you want to save the changes to this project?",
                                            "Your changes will be lost if you don't save them.",
                                            {"Save", "Don't Save", "Cancel"},
                                            AlertStyle::warning}));

    host.alertAnswers = {1};
    EXPECT_TRUE(panels.confirmDiscardChanges(*ws));
    host.alertAnswers = {99}; // closed without a button
    EXPECT_FALSE(panels.confirmDiscardChanges(*ws));

    host.alertAnswers = {0};
    host.saveAnswers = {std::nullopt};
    EXPECT_FALSE(panels.confirmDiscardChanges(*ws));
    EXPECT_TRUE(ws->isModified());

    host.alertAnswers = {0};
    host.saveAnswers = {folder / "Chosen"};
    EXPECT_TRUE(panels.confirmDiscardChanges(*ws));
    EXPECT_TRUE(fs::exists(folder / "Chosen.ovproj"));
    EXPECT_FALSE(ws->isModified());
    EXPECT_EQ(host.saveRequests.back(),
              (SavePanelRequest{"Save Orvane Project", "Untitled", "ovproj", true}));
}

TEST_F(ProjectPanelsTest, saveWritesToTheDocumentOrAsksAndReportsFailures) {
    // Save As proposes the album title and records the file; Save then writes there without a
    // dialog; a write failure shows "Save Failed" and leaves the document modified.
    makeModified();
    edit([](CDProject& p) { p.albumTitle = "Live/Studio"; });
    host.saveAnswers = {folder / "Album.ovproj"};
    ASSERT_TRUE(panels.save(*ws));
    EXPECT_EQ(host.saveRequests.back().proposedName, "Live-Studio");
    EXPECT_EQ(ws->projectFileURL(), std::optional<fs::path>{folder / "Album.ovproj"});
    EXPECT_EQ(recent.urls().front(), folder / "Album.ovproj");

    edit([](CDProject& p) { p.albumTitle = "Changed"; });
    EXPECT_TRUE(panels.save(*ws));
    EXPECT_EQ(host.saveRequests.size(), 1u);
    EXPECT_EQ(ProjectStore::load(folder / "Album.ovproj").project.albumTitle, "Changed");

    edit([](CDProject& p) { p.albumTitle = "Again"; });
    host.saveAnswers = {folder / "no such folder" / "X.ovproj"};
    EXPECT_FALSE(panels.saveAs(*ws));
    ASSERT_FALSE(host.alerts.empty());
    EXPECT_EQ(host.alerts.back().message, "Save Failed");
    EXPECT_NE(host.alerts.back().informativeText.find("X.ovproj"), std::string::npos);
    EXPECT_TRUE(ws->isModified());
    EXPECT_EQ(ws->projectFileURL(), std::optional<fs::path>{folder / "Album.ovproj"});
}

TEST_F(ProjectPanelsTest, openingRecordsTheFileAndWarnsOfMissingAudioOnce) {
    // The open dialog offers the three extensions; a good document opens, goes to the top of the
    // recent list, and the missing files are listed with their track numbers.
    const auto document = documentWithAudio("Disc.ovproj", {"Here.wav", "Gone.wav"});
    std::ofstream{folder / "Here.wav"} << "x";
    host.openAnswers = {document};
    ASSERT_TRUE(panels.open(*ws));
    EXPECT_EQ(host.openRequests.back(),
              (OpenPanelRequest{"Open Orvane Project", {"ovproj", "ovt", "orvane"}, true, false, false}));
    EXPECT_EQ(ws->project().tracks.size(), 2u);
    EXPECT_EQ(recent.urls().front(), document);
    ASSERT_EQ(host.alerts.size(), 1u);
    EXPECT_EQ(host.alerts[0].message, "Missing Audio Files");
    EXPECT_EQ(host.alerts[0].informativeText, kMissingIntro + "2 \u2013 Gone.wav");

    host.openAnswers = {std::nullopt};
    EXPECT_FALSE(panels.open(*ws));
    EXPECT_EQ(host.alerts.size(), 1u);
}

TEST_F(ProjectPanelsTest, aFailedOpenShowsTheErrorAndKeepsTheProject) {
    // A newer version and a broken file each show "Open Failed" with the error's own text; the open
    // project and the recent list stay as they were.
    makeModified();
    const auto newer = folder / "Newer.ovproj";
    ProjectStore::writeAtomically(
        newer, R"({"version": 2, "project": {"mcn": "", "albumTitle": "", "tracks": []}})");
    host.openAnswers = {newer};
    EXPECT_FALSE(panels.open(*ws));
    ASSERT_EQ(host.alerts.size(), 1u);
    EXPECT_EQ(host.alerts[0].message, "Open Failed");
    EXPECT_EQ(host.alerts[0].informativeText,
              "Project file version 2 is not supported by this version of Orvane.");
    EXPECT_EQ(ws->project().tracks.size(), 1u);
    EXPECT_TRUE(recent.urls().empty());

    const auto broken = folder / "Broken.ovt";
    ProjectStore::writeAtomically(broken, "{");
    EXPECT_FALSE(panels.openRecent(*ws, broken));
    EXPECT_EQ(host.alerts.back().message, "Open Failed");
    EXPECT_NE(host.alerts.back().informativeText.find("Broken.ovt"), std::string::npos);
    EXPECT_TRUE(ws->isModified());
}

TEST_F(ProjectPanelsTest, aRecentEntryWhoseFileIsGoneIsDroppedWithAnAlert) {
    // Choosing a dead entry removes it and says which file is gone; a live one opens and moves up.
    const auto live = documentWithAudio("Live.ovproj", {});
    const auto dead = folder / "Dead.ovproj";
    recent.record(dead);
    recent.record(live);
    EXPECT_FALSE(panels.openRecent(*ws, dead));
    EXPECT_EQ(recent.urls(), std::vector<fs::path>{live});
    ASSERT_EQ(host.alerts.size(), 1u);
    EXPECT_EQ(host.alerts[0].message, "Open Failed");
    EXPECT_EQ(host.alerts[0].informativeText, "File no longer exists:\n" + dead.string());

    EXPECT_TRUE(panels.openRecent(*ws, live));
    EXPECT_EQ(ws->projectFileURL(), std::optional<fs::path>{live});
    EXPECT_EQ(host.alerts.size(), 1u);
}

TEST(ProjectPanelsMissingAudio, eightLinesAreShownAndTheRestCounted) {
    // 8 missing files give 8 lines and no tail; 9 give the first 8 and "… and 1 more".
    std::vector<std::string> lines;
    for (int i = 1; i <= 9; ++i)
        lines.push_back(std::to_string(i) + " \u2013 f" + std::to_string(i) + ".wav");
    const std::vector<std::string> eight(lines.begin(), lines.begin() + 8);
    std::string eightText = kMissingIntro;
    for (std::size_t i = 0; i < 8; ++i)
        eightText += (i > 0 ? "\n" : "") + lines[i];
    EXPECT_EQ(ProjectPanels::missingAudioText(eight), eightText);
    EXPECT_EQ(ProjectPanels::missingAudioText(lines), eightText + "\n\u2026 and 1 more");
    lines.resize(20, "x");
    EXPECT_TRUE(ProjectPanels::missingAudioText(lines).ends_with("\n8 \u2013 f8.wav\n\u2026 and 12 more"));
}

TEST(ProjectPanelsMissingAudio, onlyActiveFilesThatAreGoneAreListedByTrackNumber) {
    // Tracks without audio and takes in the stack are not checked; numbers count every track.
    CDProject project;
    auto silent = CDTrack::make("Silence", std::nullopt, 150, 588 * 300);
    auto present = CDTrack::make("Here", std::nullopt, 150, 588 * 300);
    present.audioFileURL = FileURL::fromPath("/present/Here.wav");
    auto gone = CDTrack::make("Gone", std::nullopt, 150, 588 * 300);
    gone.audioFileURL = FileURL::fromPath("/gone/My Song.wav");
    TrackVersion oldTake;
    oldTake.id = Uuid::random();
    oldTake.url = FileURL::fromPath("/gone/Old take.wav");
    present.versions.push_back(oldTake);
    project.tracks = {silent, present, gone};
    const auto lines = ProjectPanels::missingAudioLines(
        project, [](const FileURL& url) { return url.path().string().starts_with("/present/"); });
    EXPECT_EQ(lines, std::vector<std::string>{"3 \u2013 My Song.wav"});
    EXPECT_FALSE(ProjectPanels::audioFileExists(FileURL{"https://example.com/a.wav"}));
}

} // namespace
} // namespace orvane
