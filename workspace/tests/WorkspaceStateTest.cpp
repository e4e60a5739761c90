#include "workspace/tests/WorkspaceFixture.h"

#include <cmath>
#include <functional>
#include <thread>
#include <vector>

namespace orvane::testing {
namespace {

using WorkspaceCore = WorkspaceFixture;

TEST_F(WorkspaceCore, settingAnEqualProjectRegistersNoStepAndKeepsTheFlag) {
    // An equal value is stored and announced, but makes no undo step and leaves isModified alone.
    std::vector<WorkspaceProperty> told;
    ws->subscribe([&](WorkspaceProperty p) { told.push_back(p); });
    ws->setProject(ws->project());
    endTurn();
    EXPECT_FALSE(ws->canUndo());
    EXPECT_FALSE(ws->isModified());
    EXPECT_EQ(told, std::vector<WorkspaceProperty>{WorkspaceProperty::project});

    edit([](CDProject& p) { p.tracks.push_back(track("One", 750)); });
    ws->setProject(ws->project());
    endTurn();
    ws->undo();
    EXPECT_TRUE(ws->project().tracks.empty()); // the one real step, not an empty one
    EXPECT_FALSE(ws->canUndo());
}

TEST_F(WorkspaceCore, aGestureIsOneStepAndNoneWhenItEndsWhereItBegan) {
    // Intermediate values of a gesture touch neither undo nor the modified flag; the gesture as a
    // whole is one step, and a gesture back to the start leaves none.
    edit([](CDProject& p) { p.tracks.push_back(track("One", 750)); });
    ws->undoManager().removeAllActions();
    ws->recomputeModified();
    const CDProject start = ws->project();

    ws->beginInteractiveChange();
    for (int fade = 1; fade <= 100; ++fade)
        edit([fade](CDProject& p) { p.tracks[0].fadeInSamples = fade * 588; });
    EXPECT_FALSE(ws->canUndo());
    ws->setProject(start);
    ws->endInteractiveChange();
    endTurn();
    EXPECT_FALSE(ws->canUndo());
    EXPECT_FALSE(ws->isInteractive());

    // Nested brackets: only the outermost end registers.
    ws->beginInteractiveChange();
    ws->withUndoGroup([&] { change([](CDProject& p) { p.tracks[0].gainDB = -3.0f; }); });
    EXPECT_TRUE(ws->isInteractive());
    EXPECT_FALSE(ws->canUndo());
    change([](CDProject& p) { p.tracks[0].title = "Renamed"; });
    ws->endInteractiveChange();
    endTurn();
    EXPECT_TRUE(ws->canUndo());
    ws->undo();
    EXPECT_EQ(ws->project(), start);
    EXPECT_FALSE(ws->canUndo());
    ws->redo();
    EXPECT_EQ(ws->project().tracks[0].title, "Renamed");
    EXPECT_EQ(ws->project().tracks[0].gainDB, -3.0f);
}

TEST_F(WorkspaceCore, severalSetsInOneTurnUndoTogetherAndTheOldestOfMoreThanAHundredGoes) {
    // Commands that set the project several times in a turn are one step; the 101st step drops the
    // first, so undoing everything stops at the state after the first change.
    change([](CDProject& p) { p.tracks.push_back(track("One", 750)); });
    edit([](CDProject& p) { p.albumTitle = "Album"; });
    ws->undo();
    EXPECT_TRUE(ws->project().tracks.empty());
    EXPECT_EQ(ws->project().albumTitle, "");

    for (int i = 1; i <= 101; ++i)
        edit([i](CDProject& p) { p.albumTitle = "Take " + std::to_string(i); });
    int undos = 0;
    while (ws->canUndo()) {
        ws->undo();
        ++undos;
    }
    EXPECT_EQ(undos, 100);
    EXPECT_EQ(ws->project().albumTitle, "Take 1");
    EXPECT_TRUE(ws->canRedo());
}

TEST_F(WorkspaceCore, undoRecalculatesReloadsAndRepairsTheSelection) {
    // After undo the layout follows the restored project, the engine gets it, peaks are asked for,
    // and a selected track or take that no longer exists is forgotten.
    int peakRequests = 0;
    ws->hooks.regeneratePeaks = [&] { ++peakRequests; };
    CDTrack withTake = track("One", 750);
    withTake.versions.push_back(TrackVersion::make(FileURL::fromPath("/takes/alt.wav")));
    const Uuid trackID = withTake.id;
    const Uuid takeID = withTake.versions[0].id;

    edit([&](CDProject& p) { p.tracks.push_back(withTake); });          // step 1: add
    edit([&](CDProject& p) { p.tracks.push_back(track("Two", 750)); }); // step 2: add another
    edit([&](CDProject& p) { p.tracks[0].versions.clear(); });          // step 3: drop the take
    ws->recalculateTimeline(ReloadPlayback::no);
    ASSERT_EQ(ws->trackPositions().size(), 2u);

    ws->setSelectedTrackID(trackID);
    ws->setSelectedVersionID(takeID); // a take that is gone now
    engine->clearCalls();
    ws->undo(); // the take comes back: both selections stand
    EXPECT_EQ(ws->selectedVersionID(), takeID);
    EXPECT_EQ(peakRequests, 1);
    EXPECT_EQ(engine->joined(), "load seek(0)");

    ws->undo(); // track two goes
    EXPECT_EQ(ws->trackPositions().size(), 1u);
    EXPECT_EQ(ws->selectedTrackID(), trackID);

    ws->redo(); // track two back, then remove the take again by redo
    ws->redo();
    EXPECT_EQ(ws->selectedTrackID(), trackID);
    EXPECT_FALSE(ws->selectedVersionID()); // its take is gone again
    ws->setSelectedVersionID(takeID);
    ws->undo();
    ws->undo();
    ws->undo(); // the first track's addition: it disappears, and both selections with it
    EXPECT_TRUE(ws->project().tracks.empty());
    EXPECT_FALSE(ws->selectedTrackID());
    EXPECT_FALSE(ws->selectedVersionID());
    EXPECT_TRUE(ws->trackPositions().empty());
}

TEST_F(WorkspaceCore, aLayoutFailureKeepsTheLastGoodPositionsAndTellsTheConsole) {
    // A track too short for the disc leaves the previous layout and the engine alone.
    edit([](CDProject& p) { p.tracks.push_back(track("One", 750)); });
    ws->recalculateTimeline(ReloadPlayback::yes);
    const auto good = ws->trackPositions();
    ASSERT_EQ(good.size(), 1u);
    engine->clearCalls();

    edit([](CDProject& p) { p.tracks.push_back(track("Empty", 0)); });
    ::testing::internal::CaptureStdout();
    ws->recalculateTimeline(ReloadPlayback::yes);
    const std::string console = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(console, "RedBook Validation Error: trackTooShort(track: 2)\n");
    EXPECT_EQ(ws->trackPositions(), good);
    EXPECT_TRUE(engine->calls.empty());
    EXPECT_EQ(ws->project().tracks.size(), 2u); // the edit itself stays

    ws->recalculateTimelineQuietly();
    EXPECT_EQ(ws->trackPositions(), good);
}

// Three tracks of 10 s each; the engine plays the middle one.
class PlayingWorkspace : public WorkspaceFixture {
  protected:
    void SetUp() override {
        edit([](CDProject& p) { p.tracks = {track("One", 750), track("Two", 750), track("Three", 750)}; });
        ws->recalculateTimeline(ReloadPlayback::yes);
        engine->playing = true;
        engine->sample =
            testing::samplesAt(15.0); // inside track two (frames 900..1800, that is 12 s to 24 s)
        engine->clearCalls();
    }
};

TEST_F(PlayingWorkspace, onlyAnEditThatLeavesThePlayingTrackSoundingTheSameSwapsWithoutABreak) {
    // A fade on the playing track, or a change to another track that moves nothing here, keeps the
    // audio running; a change of position or trim under the playhead, a playhead outside every track
    // or an engine without a project pauses, reloads and resumes; a stopped engine only reloads.
    struct Case {
        const char* what;
        double time;
        bool playing;
        bool engineHasProject;
        std::function<void(CDProject&)> change;
        const char* calls;
    };
    const Case cases[] = {
        {"fade here", 15.0, true, true, [](CDProject& p) { p.tracks[1].fadeInSamples = 44100; }, "update"},
        {"gain elsewhere", 15.0, true, true, [](CDProject& p) { p.tracks[2].gainDB = -6.0f; }, "update"},
        {"trim here", 15.0, true, true, [](CDProject& p) { p.tracks[1].trimStartSamples = 5880; },
         "pause load seek(15) play"},
        {"gap before", 15.0, true, true, [](CDProject& p) { p.tracks[0].preGap.totalFrames = 300; },
         "pause load seek(15) play"},
        {"no track under the playhead", 500.0, true, true,
         [](CDProject& p) { p.tracks[1].fadeInSamples = 588; }, "pause load seek(500) play"},
        {"engine without a project", 15.0, true, false,
         [](CDProject& p) { p.tracks[1].fadeInSamples = 1176; }, "pause load seek(15) play"},
        {"stopped", 15.0, false, true, [](CDProject& p) { p.tracks[1].fadeOutSamples = 588; },
         "load seek(15)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        engine->sample = testing::samplesAt(c.time);
        engine->playing = c.playing;
        if (!c.engineHasProject)
            engine->project.reset();
        engine->clearCalls();
        edit(c.change);
        ws->recalculateTimeline(ReloadPlayback::yes);
        EXPECT_EQ(engine->joined(), c.calls);
        EXPECT_EQ(engine->project, ws->project());
    }
}

TEST_F(PlayingWorkspace, liveEditsAreThrottledAndCommitsAlwaysReachTheEngine) {
    // During a drag the engine hears at most one reflection per 0.14 s of wall clock; the commit
    // always reflects, and a trim commit seeks back to where the playhead was.
    ws->applyLiveEditDuringDrag();
    EXPECT_EQ(engine->joined(), "update reflect");
    wallSeconds += 0.10;
    ws->applyLiveEditDuringDrag();
    EXPECT_EQ(engine->calls.size(), 2u);
    wallSeconds += 0.05;
    ws->applyLiveEditDuringDrag();
    EXPECT_EQ(engine->calls.size(), 4u);

    engine->clearCalls();
    ws->commitLiveEdit();
    EXPECT_EQ(engine->joined(), "update reflect");
    ws->applyLiveEditDuringDrag(); // the commit reset the throttle
    EXPECT_EQ(engine->calls.size(), 4u);

    engine->clearCalls();
    ws->commitTrimEdit();
    EXPECT_EQ(engine->joined(), "update seek(15)");

    engine->clearCalls();
    engine->playing = false;
    ws->applyLiveEditDuringDrag();
    ws->commitLiveEdit();
    ws->commitTrimEdit();
    EXPECT_TRUE(engine->calls.empty());
}

TEST_F(PlayingWorkspace, theTrackUnderAStoppedPlayheadBecomesTheSelection) {
    // When the transport stops, the track under the playhead is selected, a selected take is
    // cleared and the track inspector shows; nothing happens while rolling or multi-selecting.
    ws->selectTrackAtPlayhead();
    EXPECT_FALSE(ws->selectedTrackID()); // still playing

    engine->playing = false;
    ws->tableMultiSelectionActive = true;
    ws->selectTrackAtPlayhead();
    EXPECT_FALSE(ws->selectedTrackID());

    ws->tableMultiSelectionActive = false;
    ws->setSelectedVersionID(Uuid::random());
    ws->selectTrackAtPlayhead();
    EXPECT_EQ(ws->selectedTrackID(), ws->project().tracks[1].id);
    EXPECT_FALSE(ws->selectedVersionID());
    EXPECT_EQ(ws->inspectorTab(), InspectorTab::track);

    engine->sample = testing::samplesAt(1.0); // the pre-gap of track one belongs to track one
    ws->selectTrackAtPlayhead();
    EXPECT_EQ(ws->selectedTrackID(), ws->project().tracks[0].id);
}

TEST_F(WorkspaceCore, playStartsFromThePinEveryTime) {
    // With the pin set, every start of a roll seeks to it first; pause only pauses.
    ws->togglePlayback();
    EXPECT_EQ(engine->joined(), "play");
    ws->togglePlayback();
    engine->clearCalls();

    ws->setLockedPlayStartSample(testing::samplesAt(10.0));
    engine->sample = testing::samplesAt(42.0);
    ws->togglePlayback();
    EXPECT_EQ(engine->joined(), "seek(10) play");
    engine->sample = testing::samplesAt(13.0);
    ws->togglePlayback();
    ws->togglePlayback();
    EXPECT_EQ(engine->joined(), "seek(10) play pause seek(10) play");
    EXPECT_EQ(engine->sample, testing::samplesAt(10.0));
}

TEST_F(WorkspaceCore, theLoopArmsOnlyWithTwoEdgesInTheRightOrder) {
    // One edge never arms the loop; the second edge on the right side arms it, hands the range in
    // seconds to the engine and seeks to latch it; an edge on the wrong side leaves it unarmed.
    engine->sample = testing::samplesAt(20.0);
    ws->setLoopOut();
    EXPECT_FALSE(ws->loopMode());
    EXPECT_FALSE(ws->loopRangeFrames());

    engine->sample = testing::samplesAt(30.0); // an in-point after the out-point
    ws->setLoopIn();
    EXPECT_FALSE(ws->loopMode());
    ASSERT_TRUE(ws->loopRangeFrames()); // a range exists, in either order, but is not armed
    EXPECT_EQ(*ws->loopRangeFrames(), (LoopFrames{1500, 2250}));
    EXPECT_FALSE(engine->loop);

    engine->clearCalls();
    engine->sample = testing::samplesAt(10.0);
    ws->setLoopIn();
    EXPECT_TRUE(ws->loopMode());
    EXPECT_EQ(engine->loop, std::make_pair(testing::samplesAt(10.0), testing::samplesAt(20.0)));
    EXPECT_EQ(engine->calls.back(), "seek(10)");

    engine->clearCalls();
    ws->clearLoop();
    EXPECT_FALSE(ws->loopStartFrame());
    EXPECT_FALSE(ws->loopEndFrame());
    EXPECT_FALSE(ws->loopMode());
    EXPECT_FALSE(engine->loop);
    EXPECT_EQ(engine->calls.back(), "seek(10)");

    // The button makes an empty loop at the playhead: armed, yet no range until a flag moves.
    engine->sample = testing::samplesAt(12.34);
    ws->enterLoopModeFromButton();
    EXPECT_TRUE(ws->loopMode());
    EXPECT_EQ(ws->loopStartFrame(), 925);
    EXPECT_EQ(ws->loopEndFrame(), 925);
    EXPECT_FALSE(ws->loopActive());
    EXPECT_FALSE(engine->loop);
    ws->setLoopEndFrame(1000);
    // Frame-exact: 925 and 1000 frames are whole sample counts, with no trip through seconds.
    EXPECT_EQ(engine->loop, std::make_pair(std::int64_t{925 * 588}, std::int64_t{1000 * 588}));

    engine->sample = testing::samplesAt(-3.0); // a playhead before zero gives frame 0
    ws->clearLoop();
    ws->setLoopIn();
    EXPECT_EQ(ws->loopStartFrame(), 0);
}

TEST_F(WorkspaceCore, dimHalvesTheMonitorLevelAndRestoresIt) {
    // DIM halves the level and returns to the exact level before; the engine gets levels within 0..1.
    ws->setMonitorVolume(0.8);
    ws->toggleMonitorDim();
    EXPECT_TRUE(ws->monitorDimmed());
    EXPECT_DOUBLE_EQ(ws->monitorVolume(), 0.4);
    EXPECT_DOUBLE_EQ(engine->outputVolume, 0.4);
    ws->toggleMonitorDim();
    EXPECT_FALSE(ws->monitorDimmed());
    EXPECT_DOUBLE_EQ(engine->outputVolume, 0.8);

    ws->setMonitorVolume(1.7);
    EXPECT_DOUBLE_EQ(engine->outputVolume, 1.0);
    ws->setScrubVolume(-0.2);
    EXPECT_DOUBLE_EQ(engine->scrubGain, 0.0);
    ws->setScrubVolume(std::nan(""));
    EXPECT_DOUBLE_EQ(engine->scrubGain, 0.0);
}

TEST_F(WorkspaceCore, snapIsStoredAsAUserDefaultAndReadAtStart) {
    // Snapping starts on when unset, every change is written, and a new workspace reads it back.
    EXPECT_TRUE(ws->snapEnabled());
    ws->setSnapEnabled(false);
    EXPECT_EQ(defaults->boolValue("orvane.snapEnabled"), false);
    makeWorkspace();
    EXPECT_FALSE(ws->snapEnabled());
}

TEST_F(WorkspaceCore, engineReportsReachTheMainThreadOnly) {
    // SRC state and playhead reports from another thread are applied on the next turn, and the
    // peaks lookup prefers the file's entry over the track's.
    std::thread reporter([&] {
        engine->srcHandler(Uuid{}, SRCCacheState::rendering);
        engine->timeHandler(testing::samplesAt(7.5));
    });
    reporter.join();
    EXPECT_TRUE(ws->srcCacheState().empty());
    endTurn();
    EXPECT_EQ(ws->srcCacheState().at(Uuid{}), SRCCacheState::rendering);
    EXPECT_EQ(ws->currentSample(), testing::samplesAt(7.5));

    CDTrack t = track("One", 750);
    EXPECT_EQ(ws->peaks(t), nullptr);
    ws->storePeaks(t.id, {0.5f});
    EXPECT_EQ(*ws->peaks(t), std::vector<float>{0.5f});
    t.audioFileURL = FileURL::fromPath("/music/one.wav");
    ws->storeTakePeaks(*t.audioFileURL, {0.25f});
    EXPECT_EQ(*ws->peaks(t), std::vector<float>{0.25f});
}

} // namespace
} // namespace orvane::testing
