// The track table's row actions: where drags and file drops may land, edits over several rows, the
// SRC cell's choices and the LP column, driven on a real workspace.

#include "interface/TrackTable.h"
#include "workspace/tests/TrackTestFiles.h"
#include "workspace/tests/WorkspaceFixture.h"

#include <gtest/gtest.h>

namespace orvane::testing {
namespace {

using namespace TrackTable;

class TrackTableActionsTest : public WorkspaceFixture {
  protected:
    void useProject(CDProject p) {
        ws->importProject(std::move(p));
        ws->recalculateTimeline(ReloadPlayback::yes);
        endTurn();
    }
    void useTracks(std::vector<CDTrack> tracks) {
        CDProject p;
        p.tracks = std::move(tracks);
        useProject(std::move(p));
    }
    std::vector<std::string> titles() const {
        std::vector<std::string> out;
        for (const auto& t : ws->project().tracks) {
            out.push_back(t.title);
        }
        return out;
    }
    std::vector<Uuid> ids() const {
        std::vector<Uuid> out;
        for (const auto& t : ws->project().tracks) {
            out.push_back(t.id);
        }
        return out;
    }
    static TrackVersion take() {
        TrackVersion v;
        v.id = Uuid::random();
        return v;
    }
};

TEST_F(TrackTableActionsTest, dragsCarryTrackRowsAndRefuseDropsThatChangeNothingOrSplitTakes) {
    CDTrack b = track("B", 3000);
    b.versions.push_back(take());
    useTracks({track("A", 3000), b, track("C", 3000), track("D", 3000)});
    // Rows: A, B, B's take, C, D.
    const auto rows = computeRows(ws->project(), {ws->project().tracks[1].id}, false);
    ASSERT_EQ(rows.size(), 5u);
    EXPECT_EQ(draggableRows(rows, {2, 1, 1}), (std::vector<std::size_t>{1})) << "the take stays behind";
    EXPECT_FALSE(validateDrop(rows, {2}, 0)) << "a take alone can't be dragged";
    EXPECT_FALSE(validateDrop(rows, {1}, 2)) << "between B and its own take";
    EXPECT_FALSE(validateDrop(rows, {1}, 1)) << "at its own place";
    EXPECT_FALSE(validateDrop(rows, {1}, 3)) << "just after itself and its takes";
    EXPECT_FALSE(validateDrop(rows, {0, 1}, 0)) << "a block at its own start";
    EXPECT_TRUE(validateDrop(rows, {3}, 0));
    EXPECT_TRUE(validateDrop(rows, {0}, rows.size())) << "to the end";
    EXPECT_TRUE(validateDrop(rows, {0, 3}, 1)) << "separated rows close up";
    EXPECT_FALSE(validateDrop(rows, {0}, rows.size() + 1));

    // Rows 4 (D) dragged before row 0: one step, undone whole.
    ASSERT_TRUE(acceptDrop(*ws, rows, {4}, 0));
    endTurn();
    EXPECT_EQ(titles(), (std::vector<std::string>{"D", "A", "B", "C"}));
    ws->undo();
    endTurn();
    EXPECT_EQ(titles(), (std::vector<std::string>{"A", "B", "C", "D"}));
}

TEST_F(TrackTableActionsTest, droppedFilesEnterAtTheRowAsOneStep) {
    useTracks({track("A", 3000), track("B", 3000)});
    const auto wav = folder / "New Song.wav";
    writeTone(wav, 44100.0, 44100);
    writeGarbage(folder / "broken.wav");
    auto rows = computeRows(ws->project(), {}, false);
    EXPECT_EQ(fileDropIndex(rows, 1, 2), 1u);
    EXPECT_EQ(fileDropIndex(rows, 2, 2), 2u) << "past the last row is the end";
    ASSERT_TRUE(acceptFileDrop(*ws, rows, {folder / "broken.wav", wav}, 1));
    endTurn();
    ASSERT_EQ(ws->project().tracks.size(), 3u) << "the unreadable file is passed over";
    EXPECT_EQ(ws->project().tracks[0].title, "A");
    EXPECT_EQ(ws->project().tracks[2].title, "B");
    ASSERT_TRUE(ws->project().tracks[1].audioFileURL);
    EXPECT_EQ(ws->project().tracks[1].audioFileURL->path(), wav);
    ws->undo();
    endTurn();
    EXPECT_EQ(titles(), (std::vector<std::string>{"A", "B"}));

    CDTrack withTakes = track("T", 3000);
    withTakes.versions.push_back(take());
    useTracks({withTakes});
    rows = computeRows(ws->project(), {ws->project().tracks[0].id}, false);
    EXPECT_FALSE(fileDropIndex(rows, 1, 1)) << "not between a track and its takes";
    EXPECT_FALSE(acceptFileDrop(*ws, rows, {wav}, 1));
    EXPECT_FALSE(acceptFileDrop(*ws, rows, {}, 0));
    EXPECT_EQ(ws->project().tracks.size(), 1u);
}

TEST_F(TrackTableActionsTest, bulkEditsShowTheCommonStateAndAreEachOneStep) {
    CDTrack a = track("A", 3000);
    a.preEmphasis = true;
    useTracks({a, track("B", 3000), track("C", 3000), track("D", 3000)});
    const auto all = ids();
    const std::vector<Uuid> three{all[0], all[1], all[2]};
    EXPECT_EQ(flagState({}), FlagState::off);
    EXPECT_EQ(flagState({true, true}), FlagState::on);
    EXPECT_EQ(flagState({true, false}), FlagState::mixed);

    BulkMenu menu = multiSelectionMenu(ws->project(), {all[0], all[1], all[2], Uuid::random()});
    ASSERT_EQ(menu.fieldTitles.size(), bulkFields.size());
    EXPECT_EQ(menu.fieldTitles[0], "Performer… for 3 tracks") << "an unknown ID isn't counted";
    EXPECT_EQ(menu.fieldTitles[4], "Message… for 3 tracks");
    EXPECT_EQ(menu.preEmphasis, FlagState::mixed);
    EXPECT_EQ(menu.copyPermitted, FlagState::off);

    // Mixed turns every one on; then every one has it, so the next toggle clears them all.
    multiTogglePreEmphasis(*ws, three);
    endTurn();
    EXPECT_EQ(multiSelectionMenu(ws->project(), three).preEmphasis, FlagState::on);
    EXPECT_FALSE(ws->project().tracks[3].preEmphasis) << "an unselected track is left alone";
    multiTogglePreEmphasis(*ws, three);
    endTurn();
    EXPECT_EQ(multiSelectionMenu(ws->project(), three).preEmphasis, FlagState::off);
    ws->undo();
    endTurn();
    EXPECT_EQ(multiSelectionMenu(ws->project(), three).preEmphasis, FlagState::on) << "one undo, one toggle";

    multiToggleCopyPermitted(*ws, {all[1], all[3]});
    endTurn();
    EXPECT_TRUE(ws->project().tracks[1].copyPermitted);
    EXPECT_TRUE(ws->project().tracks[3].copyPermitted);

    multiSetCDTextField(*ws, "composer", three, "J. Doe");
    endTurn();
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(ws->project().tracks[i].composer.value_or(""), "J. Doe");
    }
    EXPECT_FALSE(ws->project().tracks[3].composer);
    ws->undo();
    endTurn();
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_FALSE(ws->project().tracks[i].composer) << "all three come back in one step";
    }
}

TEST_F(TrackTableActionsTest, theSRCPopupWritesTheRowsOwnChoiceOnlyInHybridMode) {
    CDTrack a = track("A", 3000);
    TrackVersion v = take();
    a.versions.push_back(v);
    CDProject p;
    p.tracks = {a};
    p.masterSRC = "SoX VHQ";
    useProject(p);
    auto rows = computeRows(ws->project(), {ws->project().tracks[0].id}, false);
    auto popup = srcPopup(rows[0], ws->project());
    ASSERT_TRUE(popup);
    EXPECT_FALSE(popup->enabled) << "locked mode: the master decides";
    EXPECT_EQ(popup->algorithm, "SoX VHQ");
    EXPECT_EQ(popup->algorithms.size(), 5u);
    EXPECT_FALSE(chooseSRCAlgorithm(*ws, rows[0], "r8brain Free"));
    EXPECT_FALSE(srcPopup(SideHeaderRow{0, "Side A"}, ws->project()));

    ws->setMasterHybrid();
    endTurn();
    rows = computeRows(ws->project(), {ws->project().tracks[0].id}, false);
    popup = srcPopup(rows[0], ws->project());
    ASSERT_TRUE(popup);
    EXPECT_TRUE(popup->enabled);
    EXPECT_TRUE(popup->phaseEnabled) << "SoX offers a phase choice";
    EXPECT_FALSE(chooseSRCAlgorithm(*ws, rows[0], "No Such Converter"));
    ASSERT_TRUE(chooseSRCAlgorithm(*ws, rows[0], "Velmont SRC"));
    endTurn();
    EXPECT_EQ(ws->project().tracks[0].srcAlgorithm.value_or(""), "Velmont SRC");
    EXPECT_EQ(ws->project().tracks[0].versions[0].srcAlgorithm.value_or(""), "SoX VHQ")
        << "the take keeps its own";
    rows = computeRows(ws->project(), {ws->project().tracks[0].id}, false);
    popup = srcPopup(rows[0], ws->project());
    EXPECT_FALSE(popup->phaseEnabled) << "a linear-only converter";
    EXPECT_EQ(popup->phase, "Linear");
    EXPECT_FALSE(chooseSRCPhase(*ws, rows[0], "Minimum"));

    ASSERT_TRUE(chooseSRCPhase(*ws, rows[1], "Minimum"));
    endTurn();
    EXPECT_EQ(ws->project().tracks[0].versions[0].srcPhase.value_or(""), "Minimum");
    EXPECT_FALSE(chooseSRCPhase(*ws, rows[1], "Sideways"));
}

TEST_F(TrackTableActionsTest, theLPColumnNamesSideAndPlace) {
    CDProject p;
    p.tracks = {track("A", 3000), track("B", 3000), track("C", 3000)};
    EXPECT_EQ(lpText(p, p.tracks[0].id), "") << "no vinyl programme";
    VinylProgram program;
    program.sides.resize(2);
    program.sides[0].label = VinylProgram::sideLabel(0);
    program.sides[1].label = VinylProgram::sideLabel(1);
    program.sides[0].entries.push_back(ProgramEntry{Uuid::random(), p.tracks[2].id, 0, std::nullopt});
    program.sides[1].entries.push_back(ProgramEntry{Uuid::random(), p.tracks[1].id, 0, std::nullopt});
    program.sides[0].entries.push_back(ProgramEntry{Uuid::random(), p.tracks[0].id, 0, std::nullopt});
    p.vinylProgram = program;
    EXPECT_EQ(lpText(p, p.tracks[2].id), "A1");
    EXPECT_EQ(lpText(p, p.tracks[0].id), "A2");
    EXPECT_EQ(lpText(p, p.tracks[1].id), "B1");
    p.vinylProgram->sides[1].entries.clear();
    EXPECT_EQ(lpText(p, p.tracks[1].id), "\u2014");
}

} // namespace
} // namespace orvane::testing
