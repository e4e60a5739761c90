// The recovery copy: what the file holds and refuses, and when the workspace's tick writes,
// skips or deletes it.

#include "workspace/AutosaveStore.h"
#include "workspace/CrashRecoveryPrompt.h"
#include "workspace/ProjectStore.h"
#include "workspace/tests/WorkspaceFixture.h"

#include <gtest/gtest.h>

#include <fstream>

namespace orvane {
namespace {

using testing::WorkspaceFixture;

class AutosaveTest : public WorkspaceFixture {
  protected:
    AutosaveTest() { ws->startAutosaveTimer(recovery); }

    // Moves the clock past one tick and waits for the queue, so the file is as the tick left it.
    void tick() {
        clock->advanceBy(WorkspaceState::autosaveIntervalSeconds);
        loop.runUntilIdle();
        ws->autosaveQueue().waitUntilIdle();
    }

    void writeFile(const std::string& bytes) {
        std::filesystem::create_directories(recovery);
        std::ofstream(AutosaveStore::fileURL(recovery)) << bytes;
    }

    std::filesystem::path recovery = folder / "Recovery";
};

// A copy survives the round trip whole, and a file that is not a readable copy of a known version
// loads as nothing rather than throwing.
TEST_F(AutosaveTest, storeRoundTripsAndRefusesWhatItCannotRead) {
    CDProject project;
    project.albumTitle = "Night Drive";
    project.tracks.push_back(track("One", 3000));
    AutosaveStore::write(project, folder / "Night Drive.ovproj", recovery);
    auto loaded = AutosaveStore::load(recovery);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->project, project);
    EXPECT_EQ(loaded->version, 1);
    EXPECT_EQ(loaded->originalPath, (folder / "Night Drive.ovproj").string());
    EXPECT_EQ(AutosaveStore::displayName(*loaded), "Night Drive");

    const std::string good = AutosaveStore::encode(*loaded);
    for (const std::string& bad : {std::string("{"), std::string("[]"), std::string("{\"version\":1}"),
                                   good.substr(0, good.size() / 2)}) {
        writeFile(bad);
        EXPECT_FALSE(AutosaveStore::load(recovery)) << bad;
    }
    RecoveryFile newer = *loaded;
    newer.version = 2;
    writeFile(AutosaveStore::encode(newer));
    EXPECT_FALSE(AutosaveStore::load(recovery));

    AutosaveStore::clear(recovery);
    EXPECT_FALSE(AutosaveStore::exists(recovery));
    AutosaveStore::clear(recovery); // a missing file is no error
}

TEST_F(AutosaveTest, displayNameFallsBackToTitleThenUntitled) {
    RecoveryFile file;
    EXPECT_EQ(AutosaveStore::displayName(file), "Untitled");
    file.project.albumTitle = "Blue Hour";
    EXPECT_EQ(AutosaveStore::displayName(file), "Blue Hour");
}

// The data folder follows XDG_DATA_HOME, where the desktop's tests point it at their own folders.
TEST_F(AutosaveTest, defaultDirectoryFollowsTheDataHome) {
    const char* old = std::getenv("XDG_DATA_HOME");
    const std::string saved = old ? old : "";
    setenv("XDG_DATA_HOME", folder.c_str(), 1);
    EXPECT_EQ(AutosaveStore::fileURL(), folder / "Orvane" / "Recovery" / "Recovery.json");
    if (old) {
        setenv("XDG_DATA_HOME", saved.c_str(), 1);
    } else {
        unsetenv("XDG_DATA_HOME");
    }
}

// A new empty project is never written; a change is written once per change, not once per tick.
TEST_F(AutosaveTest, tickWritesOnlyChangedUnsavedWork) {
    tick();
    EXPECT_FALSE(AutosaveStore::exists(recovery));

    edit([](CDProject& p) { p.tracks.push_back(track("One", 3000)); });
    tick();
    ASSERT_TRUE(AutosaveStore::exists(recovery));
    EXPECT_EQ(AutosaveStore::load(recovery)->project, ws->project());

    // Unchanged: the file is not rewritten (a marker written by hand survives the tick).
    const auto firstWrite = std::filesystem::last_write_time(AutosaveStore::fileURL(recovery));
    std::filesystem::last_write_time(AutosaveStore::fileURL(recovery), firstWrite - std::chrono::hours(1));
    tick();
    EXPECT_EQ(std::filesystem::last_write_time(AutosaveStore::fileURL(recovery)),
              firstWrite - std::chrono::hours(1));

    edit([](CDProject& p) { p.albumTitle = "Later"; });
    tick();
    EXPECT_EQ(AutosaveStore::load(recovery)->project.albumTitle, "Later");
}

// A tick during a drag writes nothing; the next one after the drag writes the finished state.
TEST_F(AutosaveTest, tickWaitsForAnOpenGesture) {
    ws->beginInteractiveChange();
    change([](CDProject& p) { p.tracks.push_back(track("Dragged", 3000)); });
    tick();
    EXPECT_FALSE(AutosaveStore::exists(recovery));
    change([](CDProject& p) { p.tracks[0].title = "Dropped"; });
    ws->endInteractiveChange();
    endTurn();
    tick();
    ASSERT_TRUE(AutosaveStore::exists(recovery));
    EXPECT_EQ(AutosaveStore::load(recovery)->project.tracks.at(0).title, "Dropped");
}

// Undoing back to the saved state, saving and quitting each remove the copy.
TEST_F(AutosaveTest, copyGoesWithUndoSaveAndQuit) {
    edit([](CDProject& p) { p.tracks.push_back(track("One", 3000)); });
    tick();
    ASSERT_TRUE(AutosaveStore::exists(recovery));
    ws->undo();
    endTurn();
    tick();
    EXPECT_FALSE(AutosaveStore::exists(recovery));

    ws->redo();
    endTurn();
    tick();
    ASSERT_TRUE(AutosaveStore::exists(recovery));
    ws->saveProject(folder / "Saved.ovproj");
    ws->autosaveQueue().waitUntilIdle();
    EXPECT_FALSE(AutosaveStore::exists(recovery));

    edit([](CDProject& p) { p.albumTitle = "Changed"; });
    tick();
    ASSERT_TRUE(AutosaveStore::exists(recovery));
    ws->clearAutosaveForTermination(); // synchronous: no wait needed
    EXPECT_FALSE(AutosaveStore::exists(recovery));
}

// Restoring against an unchanged document gives an unmodified project at that document; against a
// document that has gone, a modified one with no document.
TEST_F(AutosaveTest, restoreComparesWithTheDocumentOnDisk) {
    edit([](CDProject& p) {
        p.albumTitle = "Restored";
        p.tracks.push_back(track("One", 3000));
    });
    const auto document = folder / "Restored.ovproj";
    ws->saveProject(document);
    const CDProject saved = ws->project();
    AutosaveStore::write(saved, document, recovery);
    const RecoveryFile file = *AutosaveStore::load(recovery);

    makeWorkspace();
    ws->restoreFromRecovery(file);
    EXPECT_EQ(ws->project(), saved);
    EXPECT_EQ(ws->projectFileURL(), document);
    EXPECT_FALSE(ws->isModified());
    EXPECT_FALSE(ws->canUndo());

    RecoveryFile edited = file;
    edited.project.albumTitle = "Edited since";
    makeWorkspace();
    ws->restoreFromRecovery(edited);
    EXPECT_TRUE(ws->isModified());
    EXPECT_EQ(ws->projectFileURL(), document);

    std::filesystem::remove(document);
    makeWorkspace();
    ws->restoreFromRecovery(file);
    EXPECT_EQ(ws->project(), saved);
    EXPECT_FALSE(ws->projectFileURL());
    EXPECT_TRUE(ws->isModified());
    // The restore leaves the copy in place until the next save, open, close or quit.
    EXPECT_TRUE(AutosaveStore::exists(recovery));
}

// Answers the recovery question with one button and keeps what it was asked.
class AnsweringHost final : public PanelHost {
  public:
    explicit AnsweringHost(std::size_t answer) : answer_(answer) {}
    std::size_t showAlert(const AlertRequest& request) override {
        asked.push_back(request);
        return answer_;
    }
    std::optional<std::filesystem::path> runOpenPanel(const OpenPanelRequest&) override { return {}; }
    std::optional<std::filesystem::path> runSavePanel(const SavePanelRequest&) override { return {}; }
    std::vector<AlertRequest> asked;

  private:
    std::size_t answer_;
};

// The question names the copy and its date; "Restore" brings the project back, "Discard" and a
// damaged or too new file delete the copy, the latter two without a question.
TEST_F(AutosaveTest, promptRestoresOrDiscards) {
    const auto date = [](Timestamp) { return std::string("24 Nov 2026, 21:00"); };
    AnsweringHost none(0);
    EXPECT_EQ(CrashRecoveryPrompt::runIfNeeded(*ws, none, recovery, date),
              CrashRecoveryPrompt::Outcome::noCopy);

    CDProject project;
    project.tracks.push_back(track("Lost", 3000));
    AutosaveStore::write(project, std::nullopt, recovery);
    AnsweringHost restore(0);
    EXPECT_EQ(CrashRecoveryPrompt::runIfNeeded(*ws, restore, recovery, date),
              CrashRecoveryPrompt::Outcome::restored);
    ASSERT_EQ(restore.asked.size(), 1u);
    EXPECT_EQ(restore.asked[0].message, "Restore Auto-Saved Project?");
    EXPECT_EQ(restore.asked[0].informativeText, "Orvane did not shut down properly. An auto-saved copy of "
                                                "\u201cUntitled\u201d from 24 Nov 2026, 21:00 is available.");
    EXPECT_EQ(restore.asked[0].buttons, (std::vector<std::string>{"Restore", "Discard"}));
    EXPECT_EQ(ws->project().tracks, project.tracks);
    EXPECT_TRUE(ws->isModified());

    AnsweringHost discard(1);
    EXPECT_EQ(CrashRecoveryPrompt::runIfNeeded(*ws, discard, recovery, date),
              CrashRecoveryPrompt::Outcome::discarded);
    EXPECT_FALSE(AutosaveStore::exists(recovery));

    writeFile("{\"version\": 2, \"savedAt\": \"2026-11-24T21:00:00Z\", \"project\": {}}");
    AnsweringHost unasked(0);
    EXPECT_EQ(CrashRecoveryPrompt::runIfNeeded(*ws, unasked, recovery, date),
              CrashRecoveryPrompt::Outcome::discardedUnreadable);
    EXPECT_TRUE(unasked.asked.empty());
    EXPECT_FALSE(AutosaveStore::exists(recovery));
}

} // namespace
} // namespace orvane
