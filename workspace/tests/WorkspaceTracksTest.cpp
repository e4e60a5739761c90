#include "workspace/tests/TrackTestFiles.h"
#include "workspace/tests/WorkspaceFixture.h"

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace orvane::testing {
namespace {

class WorkspaceTracks : public WorkspaceFixture {
  protected:
    // Three tracks of 1000 frames, with no undo history behind them.
    void threeTracks() {
        edit([](CDProject& p) { p.tracks = {track("A", 1000), track("B", 1000, 0), track("C", 1000, 75)}; });
        ws->undoManager().removeAllActions();
        ws->recalculateTimeline(ReloadPlayback::yes);
        ws->recomputeModified();
    }
    const CDTrack& at(std::size_t i) const { return ws->project().tracks[i]; }
    Uuid id(std::size_t i) const { return ws->project().tracks[i].id; }
    std::vector<std::string> titles() const {
        std::vector<std::string> out;
        for (const auto& t : ws->project().tracks) {
            out.push_back(t.title);
        }
        return out;
    }
};

TEST_F(WorkspaceTracks, everyEditIsOneUndoStepAndUnknownIdsDoNothing) {
    // Each command changes the project and one undo brings back exactly the project before it;
    // the same command on an unknown id changes nothing and leaves no step.
    threeTracks();
    const Uuid nobody = Uuid::random();
    using Command = std::function<void(const Uuid&)>;
    const std::vector<std::pair<std::string, Command>> commands{
        {"fade", [&](const Uuid& t) { ws->updateTrackFade(t, 588, 1176, ReloadPlayback::yes); }},
        {"fadeCurve", [&](const Uuid& t) { ws->updateTrackFadeCurve(t, 0.5f, -0.5f, ReloadPlayback::yes); }},
        {"trim", [&](const Uuid& t) { ws->updateTrackTrim(t, 5880, 588, ReloadPlayback::yes); }},
        {"gain", [&](const Uuid& t) { ws->updateTrackGain(t, -3.0f, ReloadPlayback::yes); }},
        {"crossfade", [&](const Uuid& t) { ws->setTrackCrossfadeCurve(t, 1.0f, ReloadPlayback::yes); }},
        {"point", [&](const Uuid& t) { ws->addGainPoint(t, 1000, -6.0f, ReloadPlayback::yes); }},
        {"envelope", [&](const Uuid& t) { ws->setEnvelopeEnabled(t, true, ReloadPlayback::yes); }},
        {"smoothing", [&](const Uuid& t) { ws->setEnvelopeSmoothing(t, 0.5f, ReloadPlayback::yes); }},
        {"pregap", [&](const Uuid& t) { ws->updatePregap(t, -75, ReloadPlayback::yes); }},
        {"index", [&](const Uuid& t) { ws->updateIndexOffset(t, 40, ReloadPlayback::yes); }},
        {"subIndex", [&](const Uuid& t) { ws->addSubIndex(t); }},
        {"preEmphasis", [&](const Uuid& t) { ws->updateTrackPreEmphasis(t, true); }},
        {"trackSRC", [&](const Uuid& t) { ws->setTrackSRC(t, "SoX VHQ"); }},
        {"bulkText", [&](const Uuid& t) { ws->bulkSetCDTextField("arranger", {t}, "Arr"); }},
        {"bulkCopy", [&](const Uuid& t) { ws->bulkSetCopyPermitted({t}, true); }},
    };
    for (const auto& [name, command] : commands) {
        const CDProject before = ws->project();
        command(nobody);
        endTurn();
        EXPECT_EQ(ws->project(), before) << name;
        EXPECT_FALSE(ws->undoManager().canUndo()) << name;

        command(id(1));
        endTurn();
        EXPECT_NE(ws->project(), before) << name;
        ws->undo();
        EXPECT_EQ(ws->project(), before) << name;
        EXPECT_FALSE(ws->undoManager().canUndo()) << name;
        ws->undoManager().removeAllActions();
    }
}

TEST_F(WorkspaceTracks, valuesAreClampedIntoTheirRanges) {
    // Gain -24...12, crossfade curve -1...1.5, point level -60...0 and position 0...length,
    // smoothing 0...1; a value that is no number changes nothing.
    threeTracks();
    ws->updateTrackGain(id(0), 40.0f, ReloadPlayback::yes);
    EXPECT_FLOAT_EQ(at(0).gainDB, 12.0f);
    ws->updateTrackGain(id(0), -99.0f, ReloadPlayback::yes);
    EXPECT_FLOAT_EQ(at(0).gainDB, -24.0f);
    ws->updateTrackGain(id(0), std::numeric_limits<float>::quiet_NaN(), ReloadPlayback::yes);
    EXPECT_FLOAT_EQ(at(0).gainDB, -24.0f);
    ws->setTrackCrossfadeCurve(id(0), 3.0f, ReloadPlayback::yes);
    EXPECT_FLOAT_EQ(at(0).crossfadeCurve, 1.5f);
    ws->setTrackCrossfadeCurve(id(0), -3.0f, ReloadPlayback::yes);
    EXPECT_FLOAT_EQ(at(0).crossfadeCurve, -1.0f);

    ws->addGainPoint(id(0), 10'000'000, 6.0f, ReloadPlayback::yes);
    ws->addGainPoint(id(0), -5, -90.0f, ReloadPlayback::yes);
    ws->addGainPoint(id(0), 300, -3.0f, ReloadPlayback::yes);
    ASSERT_EQ(at(0).gainPoints.size(), 3u);
    EXPECT_EQ(at(0).gainPoints[0].positionSamples, 0);
    EXPECT_FLOAT_EQ(at(0).gainPoints[0].gainDB, -60.0f);
    EXPECT_EQ(at(0).gainPoints[1].positionSamples, 300);
    EXPECT_EQ(at(0).gainPoints[2].positionSamples, 1000 * 588);
    EXPECT_FLOAT_EQ(at(0).gainPoints[2].gainDB, 0.0f);

    const Uuid first = at(0).gainPoints[0].id;
    ws->moveGainPoint(id(0), first, 2000, -1.0f, ReloadPlayback::yes); // passes the one at 300
    EXPECT_EQ(at(0).gainPoints[1].id, first);
    ws->setGainPointSmoothing(id(0), first, 7.0f, ReloadPlayback::yes);
    EXPECT_EQ(at(0).gainPoints[1].smoothing, 1.0f);
    ws->removeGainPoint(id(0), first, ReloadPlayback::yes);
    EXPECT_EQ(at(0).gainPoints.size(), 2u);
    ws->setEnvelopeSmoothing(id(0), 0.4f, ReloadPlayback::yes);
    ws->resetEnvelope(id(0), ReloadPlayback::yes);
    EXPECT_TRUE(at(0).gainPoints.empty());
    EXPECT_EQ(at(0).envelopeSmoothing, 0.0f);
}

TEST_F(WorkspaceTracks, aTrimMovesLaterPointsToTheEndAndLeavesThemThere) {
    // Points beyond the new length wait at its end; lengthening again does not move them back.
    threeTracks();
    ws->addGainPoint(id(0), 900 * 588, -6.0f, ReloadPlayback::yes);
    ws->addGainPoint(id(0), 100 * 588, -3.0f, ReloadPlayback::yes);
    ws->updateTrackTrim(id(0), 0, 500 * 588, ReloadPlayback::yes);
    EXPECT_EQ(at(0).gainPoints[0].positionSamples, 100 * 588);
    EXPECT_EQ(at(0).gainPoints[1].positionSamples, 500 * 588);
    ws->updateTrackTrim(id(0), 0, 0, ReloadPlayback::yes);
    EXPECT_EQ(at(0).gainPoints[1].positionSamples, 500 * 588);
}

TEST_F(WorkspaceTracks, aDragFollowsQuietlyAndTheCommitReloads) {
    // With reload no, a gap change lays the disc out again without the engine hearing of it; the
    // commit hands the engine the new layout.
    threeTracks();
    engine->clearCalls();
    ws->updatePregap(id(2), 300, ReloadPlayback::no);
    EXPECT_EQ(ws->trackPositions()[2].audioStartLBA, 150 + 1000 + 1000 + 300);
    EXPECT_TRUE(engine->calls.empty()) << engine->joined();
    ws->updatePregap(id(2), 310, ReloadPlayback::yes);
    EXPECT_EQ(ws->trackPositions()[2].audioStartLBA, 150 + 1000 + 1000 + 310);
    EXPECT_NE(engine->joined().find("load"), std::string::npos);
}

TEST_F(WorkspaceTracks, reorderMovesTheSetAndGivesTheNewFirstTrackItsLeadIn) {
    // The moved tracks keep their order at the destination (counted without them); a crossfaded
    // track that arrives first gets 150 frames; the former first keeps its gap.
    threeTracks();
    ws->updatePregap(id(1), -75, ReloadPlayback::yes);
    endTurn();
    ws->undoManager().removeAllActions();
    ws->reorderTracks({1}, 0);
    endTurn();
    EXPECT_EQ(titles(), (std::vector<std::string>{"B", "A", "C"}));
    EXPECT_EQ(at(0).preGap.totalFrames, 150);
    EXPECT_EQ(at(1).preGap.totalFrames, 150);
    ws->undo();
    EXPECT_EQ(titles(), (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_EQ(at(1).preGap.totalFrames, -75);

    ws->reorderTracks({0, 1}, 3);
    EXPECT_EQ(titles(), (std::vector<std::string>{"C", "A", "B"}));
    ws->reorderTracks({0, 2, 9}, 2); // C and B; 9 is no track
    EXPECT_EQ(titles(), (std::vector<std::string>{"A", "C", "B"}));
}

TEST_F(WorkspaceTracks, removalForgetsTheTrackAndOneUndoBringsAllBack) {
    // Removing forgets selection, expansion and peaks; several removals undo together, and
    // invalid or repeated indexes are passed over.
    threeTracks();
    ws->setSelectedTrackID(id(1));
    ws->toggleExpanded(id(1));
    ws->storePeaks(id(1), {0.5f});
    const Uuid removed = id(1);
    ws->removeTrack(1);
    ws->removeTrack(7);
    endTurn();
    EXPECT_EQ(titles(), (std::vector<std::string>{"A", "C"}));
    EXPECT_FALSE(ws->selectedTrackID().has_value());
    EXPECT_EQ(ws->expandedTrackIDs().count(removed), 0u);
    EXPECT_EQ(ws->peaksCache().count(removed), 0u);
    ws->undo();
    ws->undoManager().removeAllActions();

    ws->removeTracks({0, 2, 2, 5});
    endTurn();
    EXPECT_EQ(titles(), (std::vector<std::string>{"B"}));
    ws->undo();
    EXPECT_EQ(titles(), (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_FALSE(ws->undoManager().canUndo());
}

TEST_F(WorkspaceTracks, subIndexesGoToThePlayheadOrTheMiddleAndStayInside) {
    // A new index lands at the playhead when it is inside the track, else in the middle, and moves
    // on past taken offsets; an update is clamped to 1...length-1 and keeps the list sorted.
    threeTracks();
    // Track 1: INDEX 01 at 150, end at 1150 (length 1000).
    ws->addSubIndex(id(0));
    ws->addSubIndex(id(0));
    EXPECT_EQ(at(0).subIndexFrames, (std::vector<std::int64_t>{500, 501}));
    engine->sample = testing::samplesAt(170.0 / 75.0);
    ws->addSubIndex(id(0));
    EXPECT_EQ(at(0).subIndexFrames, (std::vector<std::int64_t>{20, 500, 501}));
    ws->updateSubIndex(id(0), 0, 5000);
    EXPECT_EQ(at(0).subIndexFrames, (std::vector<std::int64_t>{500, 501, 999}));
    ws->updateSubIndex(id(0), 0, -4);
    EXPECT_EQ(at(0).subIndexFrames, (std::vector<std::int64_t>{1, 501, 999}));
    ws->removeSubIndex(id(0), 1);
    ws->removeSubIndex(id(0), 9);
    EXPECT_EQ(at(0).subIndexFrames, (std::vector<std::int64_t>{1, 999}));
}

TEST_F(WorkspaceTracks, isrcNumberingCountsUpAndCutsAnOverflowingCode) {
    // Tracks from the second on count up the trailing digits at their width; a number that
    // outgrows five digits lengthens the code and the cut to 12 drops its last digit.
    threeTracks();
    ws->autofillISRC("DEA123400098");
    EXPECT_FALSE(at(0).isrc.has_value());
    EXPECT_EQ(at(1).isrc, "DEA123400099");
    EXPECT_EQ(at(2).isrc, "DEA123400100");
    ws->autofillISRC("DEA129999999");
    EXPECT_EQ(at(1).isrc, "DEA129910000"); // 100000 cut to 10000
    const CDProject before = ws->project();
    ws->autofillISRC("NODIGITS");
    EXPECT_EQ(ws->project(), before);

    EXPECT_TRUE(WorkspaceState::isValidISRC("USRC17607839"));
    EXPECT_FALSE(WorkspaceState::isValidISRC("usRC17607839"));
    EXPECT_FALSE(WorkspaceState::isValidISRC("USRC1760783"));
    EXPECT_FALSE(WorkspaceState::isValidISRC("US-C17607839"));
    EXPECT_FALSE(WorkspaceState::isValidISRC("USRC1760783X"));
}

TEST_F(WorkspaceTracks, fillDownAndBulkFlagsWriteOnlyWhatTheyName) {
    // Fill-down skips the first track and unknown fields; message is bulk-only; flags skip tracks
    // that already hold the value, and pre-emphasis reaches the engine without a reload.
    threeTracks();
    ws->autofillField("performer", "Band");
    EXPECT_FALSE(at(0).performer.has_value());
    EXPECT_EQ(at(2).performer, "Band");
    ws->autofillField("message", "Hi");
    EXPECT_FALSE(at(1).message.has_value());
    ws->bulkSetCDTextField("message", {id(0), Uuid::random(), id(2)}, "Hi");
    EXPECT_EQ(at(0).message, "Hi");
    EXPECT_FALSE(at(1).message.has_value());
    EXPECT_EQ(at(2).message, "Hi");

    engine->clearCalls();
    ws->updateTrackPreEmphasis(id(0), true);
    EXPECT_EQ(engine->joined(), "update reflect");
    ws->bulkSetPreEmphasis({id(0), id(1)}, true);
    EXPECT_TRUE(at(1).preEmphasis);
    ws->bulkSetCopyPermitted({id(2)}, true);
    EXPECT_TRUE(at(2).copyPermitted);
    EXPECT_FALSE(at(0).copyPermitted);
}

TEST_F(WorkspaceTracks, inVinylModeEditsLandInTheOverride) {
    // The CD track stays as it is; the first touch makes an override from the CD edit, a track on
    // no side can't be edited, and gaps are bounded so 300 frames of each neighbour stay clear.
    threeTracks();
    CDProject p = ws->project();
    VinylProgram program;
    program.sides = {ProgramGroup{Uuid::random(), "Side A", {}, std::nullopt},
                     ProgramGroup{Uuid::random(), "Side B", {}, std::nullopt}};
    program.sides[0].entries = {ProgramEntry{Uuid::random(), p.tracks[0].id, 150, std::nullopt},
                                ProgramEntry{Uuid::random(), p.tracks[1].id, 150, std::nullopt}};
    p.vinylProgram = program;
    ws->setProject(p);
    endTurn();
    ws->setVinylMode(true);
    ws->undoManager().removeAllActions();
    const CDProject before = ws->project();

    ws->updateTrackGain(id(0), 3.0f, ReloadPlayback::yes);
    ws->updateTrackFade(id(2), 588, 588, ReloadPlayback::yes); // on no side
    endTurn();
    EXPECT_EQ(ws->project().tracks, before.tracks);
    const auto edit = ws->project().vinylProgram->edit(id(0));
    ASSERT_TRUE(edit.has_value());
    EXPECT_FLOAT_EQ(edit->gainDB, 3.0f);
    EXPECT_EQ(edit->fadeInSamples, 0);
    EXPECT_FALSE(ws->project().vinylProgram->edit(id(2)).has_value());
    ws->undo();
    EXPECT_EQ(ws->project(), before);

    const auto gapOf = [&](std::size_t position) {
        return ws->project().vinylProgram->sides[0].entries[position].gapFrames;
    };
    ws->updatePregap(id(0), -50, ReloadPlayback::yes);
    EXPECT_EQ(gapOf(0), 0);
    ws->updatePregap(id(1), -5000, ReloadPlayback::yes);
    EXPECT_EQ(gapOf(1), -700);                                     // min(1000, 1000) - 300
    ws->updateTrackTrim(id(1), 0, 800 * 588, ReloadPlayback::yes); // the override leaves 200 frames
    ws->updatePregap(id(1), -100, ReloadPlayback::yes);
    EXPECT_EQ(gapOf(1), 0);
    EXPECT_EQ(ws->project().tracks, before.tracks);
}

TEST_F(WorkspaceTracks, droppedFilesLandInOrderWithExactLengthsAndOneUndo) {
    // Readable files become tracks at the index in list order, lengths in disc samples by the
    // file's rate; an unreadable file is skipped; the first new track is selected; one undo.
    threeTracks();
    const auto cd = folder / "Song One.wav";
    const auto hi = folder / "hi res.wav";
    const auto bad = folder / "broken.wav";
    const auto odd = folder / "odd.wav";
    writeTone(cd, 44100.0, 44100 + 17);
    writeTone(hi, 96000.0, 96000 * 3 + 1);
    writeTone(odd, 48000.0, 48000);
    writeGarbage(bad);

    ws->addDroppedFiles({cd, bad, hi, odd, folder / "missing.wav"}, 1);
    endTurn();
    EXPECT_EQ(titles(), (std::vector<std::string>{"A", "Song One", "hi res", "odd", "B", "C"}));
    EXPECT_EQ(at(1).sourceAudioSamples, 44117);
    EXPECT_EQ(at(2).sourceAudioSamples, static_cast<std::int64_t>(44100.0 / 96000.0 * 288001.0));
    EXPECT_EQ(at(2).sourceAudioSamples, 132300); // 132300.459... truncated
    EXPECT_EQ(at(3).sourceAudioSamples, 44100);
    EXPECT_EQ(at(1).preGap.totalFrames, 150);
    EXPECT_EQ(at(1).audioFileURL, FileURL::fromPath(cd));
    EXPECT_EQ(ws->selectedTrackID(), id(1));
    EXPECT_EQ(ws->trackPositions().size(), 6u);

    ws->undo();
    EXPECT_EQ(titles(), (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_FALSE(ws->undoManager().canUndo());

    ws->addDroppedFiles({bad});
    endTurn();
    EXPECT_FALSE(ws->undoManager().canUndo());
    ws->addDroppedFiles({cd});
    EXPECT_EQ(titles().back(), "Song One");
}

} // namespace
} // namespace orvane::testing
