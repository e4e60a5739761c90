#include "platform/AtomicFile.h"
#include "workspace/ProjectStore.h"
#include "workspace/VersionPalette.h"
#include "workspace/tests/TrackTestFiles.h"
#include "workspace/tests/WorkspaceFixture.h"

#include <atomic>
#include <fstream>
#include <string>

namespace orvane::testing {
namespace {

using WorkspaceDocuments = WorkspaceFixture;

TEST_F(WorkspaceDocuments, saveMakesTheSavedStateAndUndoRedoCrossIt) {
    // Edit, save, undo reads modified; redo back to the saved state reads unmodified; the history
    // survives the save; a new name becomes the document and the earlier file stays.
    EXPECT_FALSE(ws->isModified()); // a fresh start equals its empty snapshot
    edit([](CDProject& p) { p.tracks.push_back(track("One", 750)); });
    EXPECT_TRUE(ws->isModified());

    const auto first = folder / "Album.ovproj";
    ws->saveProject(first);
    EXPECT_FALSE(ws->isModified());
    EXPECT_EQ(ws->projectFileURL(), first);
    EXPECT_TRUE(ws->canUndo());

    ws->undo();
    EXPECT_TRUE(ws->isModified());
    ws->redo();
    EXPECT_FALSE(ws->isModified());

    const std::string bytes = fileBytes(first);
    EXPECT_EQ(ProjectStore::decode(bytes).project, ws->project());

    const auto second = folder / "Album copy.ovproj";
    edit([](CDProject& p) { p.albumTitle = "Copy"; });
    ws->saveProject(second);
    EXPECT_EQ(ws->projectFileURL(), second);
    EXPECT_EQ(fileBytes(first), bytes); // the earlier file stays as it was
}

TEST_F(WorkspaceDocuments, saveWritesTheMeasuredCopyButComparesWithTheLiveProject) {
    // The loudness merge goes into the file only; the project still reads unmodified after the save.
    edit([](CDProject& p) { p.tracks.push_back(track("One", 750)); });
    ws->hooks.projectWithLoudness = [](const CDProject& p) {
        CDProject measured = p;
        StoredLoudness stored;
        stored.fileSize = 1234;
        stored.lufs = -14.0;
        measured.tracks[0].loudness = stored;
        return measured;
    };
    const auto path = folder / "Measured.ovproj";
    ws->saveProject(path);
    EXPECT_FALSE(ws->isModified());
    EXPECT_TRUE(ProjectStore::load(path).project.tracks[0].loudness);
    EXPECT_FALSE(ws->project().tracks[0].loudness);
}

TEST_F(WorkspaceDocuments, openingABadOrNewerDocumentLeavesEverythingAsItWas) {
    // Unreadable, invalid JSON, a missing required key and version 2 all throw before anything is
    // touched: project, history, selection and the playing engine stay.
    edit([](CDProject& p) { p.tracks.push_back(track("One", 750)); });
    ws->setSelectedTrackID(ws->project().tracks[0].id);
    engine->playing = true;
    engine->clearCalls();
    const CDProject before = ws->project();

    CDProject other;
    other.tracks.push_back(track("Other", 750));
    const std::string good = ProjectStore::encode(other);
    std::string newer = good;
    newer.replace(newer.find("\"version\": 1"), 12, "\"version\": 2");
    writeFile(folder / "newer.ovproj", newer);
    writeFile(folder / "garbage.ovproj", "{ not json");
    writeFile(folder / "notracks.ovproj", R"({"version": 1, "project": {"mcn": "", "albumTitle": ""}})");

    for (const char* name : {"absent.ovproj", "garbage.ovproj", "notracks.ovproj", "newer.ovproj"}) {
        EXPECT_THROW(ws->openProject(folder / name), ProjectStoreError) << name;
    }
    EXPECT_EQ(ws->project(), before);
    EXPECT_TRUE(ws->isModified());
    EXPECT_TRUE(ws->canUndo());
    EXPECT_EQ(ws->selectedTrackID(), before.tracks[0].id);
    EXPECT_TRUE(engine->playing);
    EXPECT_TRUE(engine->calls.empty());
}

TEST_F(WorkspaceDocuments, openingReplacesTheDocumentAndKeepsLoopPinAndTakePeaks) {
    // Opening (also an old version 0 document) stops the engine, clears selection, vinyl mode and
    // history, keeps the loop, the pin and take peaks, loads the new layout and reads unmodified.
    CDProject stored;
    stored.tracks = {track("A", 750), track("B", 750)};
    std::string bytes = ProjectStore::encode(stored);
    bytes.replace(bytes.find("\"version\": 1"), 12, "\"version\": 0");
    const auto path = folder / "Old.ovt";
    writeFile(path, bytes);

    edit([](CDProject& p) { p.tracks.push_back(track("Present", 750)); });
    ws->setSelectedTrackID(ws->project().tracks[0].id);
    ws->setExpandedTrackIDs({ws->project().tracks[0].id});
    ws->setVinylMode(true);
    ws->setActiveSideIndex(1);
    ws->setLoopStartFrame(100);
    ws->setLoopEndFrame(200);
    ws->setLockedPlayStartSample(testing::samplesAt(3.0));
    ws->storePeaks(ws->project().tracks[0].id, {1.0f});
    ws->storeTakePeaks(FileURL::fromPath("/takes/a.wav"), {1.0f});
    ws->setPreview(
        PreviewState{FileURL::fromPath("/takes/a.wav"), {}, 75, std::nullopt, std::nullopt, std::nullopt});
    int cleared = 0;
    int seeded = 0;
    int peakRuns = 0;
    ws->hooks.clearLoudness = [&] { ++cleared; };
    ws->hooks.seedLoudnessFromProject = [&] { ++seeded; };
    ws->hooks.regeneratePeaks = [&] { ++peakRuns; };
    engine->playing = true;
    engine->clearCalls();

    ws->openProject(path);
    EXPECT_EQ(ws->project(), stored);
    EXPECT_EQ(ws->projectFileURL(), path);
    EXPECT_FALSE(ws->isModified());
    EXPECT_FALSE(ws->canUndo());
    EXPECT_FALSE(ws->selectedTrackID());
    EXPECT_TRUE(ws->expandedTrackIDs().empty());
    EXPECT_FALSE(ws->vinylMode());
    EXPECT_EQ(ws->activeSideIndex(), 0);
    EXPECT_TRUE(ws->peaksCache().empty());
    EXPECT_EQ(ws->takePeaksCache().size(), 1u);
    EXPECT_EQ(ws->loopStartFrame(), 100);
    EXPECT_EQ(ws->lockedPlayStartSample(), testing::samplesAt(3.0));
    EXPECT_FALSE(ws->preview().previewURL);
    EXPECT_EQ(ws->trackPositions().size(), 2u);
    EXPECT_EQ(engine->joined(), "stop stopPreview load seek(0)");
    EXPECT_EQ(engine->positions, ws->trackPositions());
    EXPECT_EQ((std::vector<int>{cleared, seeded, peakRuns}), (std::vector<int>{1, 1, 1}));

    // Closing clears what opening keeps.
    ws->closeProject();
    EXPECT_TRUE(ws->project().tracks.empty());
    EXPECT_FALSE(ws->projectFileURL());
    EXPECT_FALSE(ws->loopStartFrame());
    EXPECT_FALSE(ws->loopMode());
    EXPECT_FALSE(ws->lockedPlayStartSample());
    EXPECT_TRUE(ws->takePeaksCache().empty());
    EXPECT_FALSE(ws->isModified());
    EXPECT_FALSE(ws->canUndo());
    EXPECT_TRUE(ws->trackPositions().empty());
}

TEST_F(WorkspaceDocuments, openingBringsOlderDocumentsUpToThePresentRulesWithoutAChange) {
    // Take colours are dealt in palette order (active take first, then the stack) and hybrid SRC
    // values are made concrete; the result is the saved state and no undo step.
    CDProject stored;
    stored.srcHybridMode = true;
    stored.masterSRC = "SoX VHQ";
    CDTrack stacked = track("Stacked", 750);
    stacked.audioFileURL = FileURL::fromPath("/audio/a.wav");
    stacked.versions = {TrackVersion::make(FileURL::fromPath("/audio/b.wav")),
                        TrackVersion::make(FileURL::fromPath("/audio/c.wav"))};
    stacked.versions[1].colorHex = "#000000";
    stacked.versions[1].srcAlgorithm = "Velmont SRC";
    CDTrack plain = track("Plain", 750);
    stored.tracks = {stacked, plain};
    const auto path = folder / "Legacy.ovproj";
    writeFile(path, ProjectStore::encode(stored));

    ws->openProject(path);
    const CDTrack& a = ws->project().tracks[0];
    EXPECT_EQ(a.activeColorHex, "#2DB6A3");
    EXPECT_EQ(a.versions[0].colorHex, "#D6BE3A");
    EXPECT_EQ(a.versions[1].colorHex, "#000000"); // a take keeps its colour for good
    EXPECT_EQ(a.versionColorSeq, 2);
    EXPECT_EQ(a.srcAlgorithm, "SoX VHQ");
    EXPECT_EQ(a.srcPhase, "Linear");
    EXPECT_EQ(a.versions[0].srcAlgorithm, "SoX VHQ");
    EXPECT_EQ(a.versions[1].srcAlgorithm, "Velmont SRC");
    const CDTrack& b = ws->project().tracks[1];
    EXPECT_FALSE(b.activeColorHex);
    EXPECT_EQ(b.versionColorSeq, 0);
    EXPECT_EQ(b.srcAlgorithm, "SoX VHQ");
    EXPECT_FALSE(ws->isModified());
    EXPECT_FALSE(ws->canUndo());
}

TEST_F(WorkspaceDocuments, anImportIsModifiedUntilItHoldsNoTracks) {
    // An imported project has no document and no saved state: with tracks it is modified at once,
    // and once its tracks are gone it reads unmodified.
    CDProject imported;
    imported.tracks = {track("A", 750), track("B", 750)};
    ws->importProject(imported);
    EXPECT_TRUE(ws->isModified());
    EXPECT_FALSE(ws->projectFileURL());
    EXPECT_FALSE(ws->savedSnapshot());
    EXPECT_FALSE(ws->canUndo());

    edit([](CDProject& p) { p.tracks.pop_back(); });
    EXPECT_TRUE(ws->isModified());
    edit([](CDProject& p) { p.tracks.clear(); });
    EXPECT_FALSE(ws->isModified());
    ws->undo();
    EXPECT_TRUE(ws->isModified());
}

TEST_F(WorkspaceDocuments, appendedTracksAreOneStepAndTheFirstIsSelected) {
    // Appending takes only the other project's tracks, makes hybrid values concrete, asks for peaks
    // of the new files, selects the first new track, and one undo removes them all.
    edit([](CDProject& p) {
        p.tracks.push_back(track("Present", 750));
        p.srcHybridMode = true;
    });
    CDProject other;
    other.albumTitle = "Not taken";
    other.tracks = {track("New 1", 750), track("New 2", 750)};
    other.tracks[0].audioFileURL = FileURL::fromPath("/audio/new1.wav");
    std::vector<std::string> peakTitles;
    ws->hooks.generateTrackPeaks = [&](const CDTrack& t) { peakTitles.push_back(t.title); };

    ws->appendImportedTracks(CDProject{}); // nothing to append: nothing happens
    endTurn();
    ws->appendImportedTracks(other);
    endTurn();
    ASSERT_EQ(ws->project().tracks.size(), 3u);
    EXPECT_EQ(ws->project().albumTitle, "");
    EXPECT_EQ(ws->project().tracks[1].srcAlgorithm, "Velmont SRC");
    EXPECT_EQ(ws->selectedTrackID(), other.tracks[0].id);
    EXPECT_EQ(peakTitles, std::vector<std::string>{"New 1"});
    EXPECT_EQ(ws->trackPositions().size(), 3u);

    ws->undo();
    EXPECT_EQ(ws->project().tracks.size(), 1u);
    EXPECT_FALSE(ws->project().tracks[0].srcAlgorithm); // the hybrid values came with the append
}

TEST_F(WorkspaceDocuments, documentOperationsClearTheRecoveryCopyOnTheAutosaveQueue) {
    // Save, open and close each queue one delete of the recovery file, off the main thread.
    std::atomic<int> clears{0};
    std::atomic<bool> offMain{true};
    ws->hooks.clearRecoveryFile = [&] {
        ++clears;
        offMain = offMain && !loop.isMainThread();
    };
    ws->setLastAutosaved(ws->project());
    const auto path = folder / "A.ovproj";
    ws->saveProject(path);
    EXPECT_FALSE(ws->lastAutosaved());
    ws->openProject(path);
    ws->closeProject();
    ws->autosaveQueue().waitUntilIdle();
    EXPECT_EQ(clears.load(), 3);
    EXPECT_TRUE(offMain.load());
}

TEST(VersionPalette, aDamagedNegativeCounterStillDealsAPaletteColour) {
    // A counter below zero wraps into the palette instead of reading outside it.
    CDTrack t = CDTrack::make("T", std::nullopt, 150, 588);
    t.versionColorSeq = -1;
    EXPECT_EQ(VersionPalette::takeNextColor(t), "#8A8FB0");
}

} // namespace
} // namespace orvane::testing
