// The track table: its rows and cells, and the rules of text edits, clicks and deletes, driven on a
// real workspace.

#include "interface/TrackTable.h"

#include "workspace/tests/TrackTestFiles.h"
#include "workspace/tests/WorkspaceFixture.h"

#include <gtest/gtest.h>

namespace orvane::testing {
namespace {

using namespace TrackTable;

class TrackTableTest : public WorkspaceFixture {
  protected:
    void useTracks(std::vector<CDTrack> tracks) {
        CDProject p;
        p.tracks = std::move(tracks);
        ws->importProject(std::move(p));
        ws->recalculateTimeline(ReloadPlayback::yes);
        endTurn();
        engine->clearCalls();
    }
    const CDTrack& trackAt(std::size_t i) const { return ws->project().tracks[i]; }
    static TrackVersion take() {
        TrackVersion v;
        v.id = Uuid::random();
        return v;
    }
};

TEST(TrackTableColumns, holdTheirHeadingsWidthsAndEditRules) {
    const auto& all = columns();
    EXPECT_EQ(all.front().identifier, "index");
    EXPECT_EQ(all.back().identifier, "message");
    std::vector<std::string_view> editable;
    double width = 0;
    for (const auto& c : all) {
        width += c.width;
        if (c.editable) {
            editable.push_back(c.identifier);
        }
    }
    EXPECT_EQ(editable, (std::vector<std::string_view>{"pregap", "title", "isrc", "performer", "songwriter",
                                                       "composer", "arranger", "message"}));
    EXPECT_DOUBLE_EQ(width, 2171.0);
    EXPECT_EQ(heading("pregap", false), "Pregap");
    EXPECT_EQ(heading("pregap", true), "Gap");
    EXPECT_EQ(heading("tp", false), "dBTP");
}

TEST(TrackTablePregap, readsMinutesSecondsFramesOrDecimalSeconds) {
    EXPECT_EQ(parsePregapText("-00:01:00"), -75);
    EXPECT_EQ(parsePregapText("1,5"), 112);
    EXPECT_EQ(parsePregapText(" 2.0 "), 150);
    EXPECT_EQ(parsePregapText("01:02:03"), (60 + 2) * 75 + 3);
    EXPECT_EQ(parsePregapText("-0.5"), -37);
    EXPECT_FALSE(parsePregapText("abc"));
    EXPECT_FALSE(parsePregapText("1:2"));
    EXPECT_FALSE(parsePregapText("1:2:x"));
    EXPECT_FALSE(parsePregapText(""));
    EXPECT_FALSE(parsePregapText("1e400"));
}

TEST(TrackTableCells, showTimesLoudnessAndFormat) {
    CDTrack t = CDTrack::make("Song", std::nullopt, -75, 3000 * 588);
    t.loudness = StoredLoudness{};
    t.loudness->lufs = -14.04;
    t.loudness->truePeak = -1.0;
    t.preEmphasis = true;
    const TrackPosition p{2, 2925, 3000, 6000, 3000, 6000};
    EXPECT_EQ(trackCellText(t, 1, &p, "index"), "02");
    EXPECT_EQ(trackCellText(t, 1, &p, "start"), "00:40:00");
    EXPECT_EQ(trackCellText(t, 1, &p, "length"), "00:40:00");
    EXPECT_EQ(trackCellText(t, 1, &p, "pregap"), "-00:01:00");
    EXPECT_EQ(trackCellText(t, 1, &p, "lufs"), "-14.0");
    EXPECT_EQ(trackCellText(t, 1, &p, "lra"), "");
    EXPECT_EQ(trackCellText(t, 1, &p, "flags"), "PRE");
    EXPECT_EQ(formatLabel(44100.0, 16), "44.1k / 16");
    EXPECT_EQ(formatLabel(96000.0, 24), "96k / 24");
}

TEST_F(TrackTableTest, formatCacheReadsEachFileOnceAndMarksConversion) {
    const auto file = folder / "hi.wav";
    writeTone(file, 96000.0, 9600);
    writeGarbage(folder / "bad.wav");
    FormatCache cache;
    const auto& entry = cache.sourceFormat(file);
    EXPECT_EQ(entry.label, "96k / 16");
    EXPECT_TRUE(entry.needsSRC);
    EXPECT_TRUE(entry.hiRes);
    std::filesystem::remove(file);
    EXPECT_EQ(cache.sourceFormat(file).label, "96k / 16") << "kept, not read again";
    EXPECT_EQ(cache.sourceFormat(folder / "bad.wav").label, "Unknown");
}

TEST_F(TrackTableTest, rowsListTakesOfExpandedTracksOnly) {
    CDTrack a = track("A", 3000);
    a.versions.push_back(take());
    a.versions.push_back(take());
    useTracks({a, track("B", 3000)});
    EXPECT_EQ(computeRows(ws->project(), {}, false).size(), 2u);
    const auto rows = computeRows(ws->project(), {trackAt(0).id}, false);
    ASSERT_EQ(rows.size(), 4u);
    ASSERT_TRUE(std::holds_alternative<VersionRow>(rows[2]));
    EXPECT_EQ(std::get<VersionRow>(rows[2]).displayNumber, 2);
    EXPECT_FALSE(cellOpensForEditing(rows[1], "title", false)) << "a take's row is never edited as text";
    EXPECT_TRUE(cellOpensForEditing(rows[0], "title", false));
    EXPECT_FALSE(cellOpensForEditing(rows[0], "pregap", false)) << "the first track's gap is anchored";
    EXPECT_TRUE(cellOpensForEditing(rows[3], "pregap", false));
    EXPECT_FALSE(cellOpensForEditing(rows[3], "lufs", false));
}

TEST_F(TrackTableTest, anInvalidISRCKeepsTheOldCodeAndAValidOneOffersTheSeries) {
    CDTrack a = track("A", 3000);
    a.isrc = "SKXXX2600001";
    useTracks({a, track("B", 3000), track("C", 3000)});
    auto outcome = commitEdit(*ws, trackAt(0).id, "isrc", "SK-XX-26");
    EXPECT_FALSE(outcome.stored);
    ASSERT_TRUE(outcome.alert);
    EXPECT_EQ(outcome.alert->title, "Invalid ISRC Code");
    EXPECT_NE(outcome.alert->text.find("(SK-XX-26)"), std::string::npos);
    EXPECT_EQ(trackAt(0).isrc, "SKXXX2600001");

    outcome = commitEdit(*ws, trackAt(0).id, "isrc", "SKXXX2600010");
    endTurn();
    EXPECT_TRUE(outcome.stored);
    ASSERT_TRUE(outcome.question);
    EXPECT_EQ(outcome.question->title, "Auto-increment ISRC?");
    answer(*ws, *outcome.question, true);
    endTurn();
    EXPECT_EQ(trackAt(1).isrc, "SKXXX2600011");
    EXPECT_EQ(trackAt(2).isrc, "SKXXX2600012");
    ws->undo();
    endTurn();
    EXPECT_FALSE(trackAt(2).isrc) << "the series is one undo step";
    EXPECT_EQ(trackAt(0).isrc, "SKXXX2600010");

    commitEdit(*ws, trackAt(0).id, "isrc", "");
    EXPECT_FALSE(trackAt(0).isrc);
}

TEST_F(TrackTableTest, creditFieldsOfferToFillTheRemainingTracks) {
    useTracks({track("A", 3000), track("B", 3000)});
    auto outcome = commitEdit(*ws, trackAt(0).id, "performer", "The Band");
    ASSERT_TRUE(outcome.question);
    EXPECT_EQ(outcome.question->title, "Auto-fill Performer?");
    EXPECT_EQ(outcome.question->text, "Do you want to apply this performer to all remaining tracks?");
    answer(*ws, *outcome.question, false);
    EXPECT_FALSE(trackAt(1).performer);
    answer(*ws, *outcome.question, true);
    EXPECT_EQ(trackAt(1).performer, "The Band");
    // No question for a title, a message, a blank value or a single-track project.
    EXPECT_FALSE(commitEdit(*ws, trackAt(0).id, "message", "Hi").question);
    EXPECT_FALSE(commitEdit(*ws, trackAt(0).id, "composer", "   ").question);
    EXPECT_EQ(trackAt(0).message, "Hi");
    useTracks({track("A", 3000)});
    EXPECT_FALSE(commitEdit(*ws, trackAt(0).id, "performer", "X").question);
}

TEST_F(TrackTableTest, pregapTextMovesTheTrackOrIsIgnored) {
    useTracks({track("A", 3000), track("B", 3000)});
    EXPECT_TRUE(commitEdit(*ws, trackAt(1).id, "pregap", "-00:01:00").stored);
    EXPECT_EQ(trackAt(1).preGap.totalFrames, -75);
    EXPECT_EQ(ws->trackPositions()[1].audioStartLBA, 3075);
    EXPECT_FALSE(commitEdit(*ws, trackAt(1).id, "pregap", "soon").stored);
    EXPECT_EQ(trackAt(1).preGap.totalFrames, -75);
}

TEST_F(TrackTableTest, clicksSelectRowsAndAClickBelowTheLastRowClearsTheSelection) {
    CDTrack a = track("A", 3000);
    a.versions.push_back(take());
    useTracks({a, track("B", 3000)});
    const auto rows = computeRows(ws->project(), {trackAt(0).id}, false);
    handleRowClick(*ws, rows, {2}, 2);
    EXPECT_EQ(ws->selectedTrackID(), trackAt(1).id);
    EXPECT_EQ(ws->inspectorTab(), InspectorTab::track);
    handleRowClick(*ws, rows, {1}, 1);
    EXPECT_EQ(ws->selectedVersionID(), trackAt(0).versions[0].id);
    EXPECT_EQ(ws->inspectorTab(), InspectorTab::take);
    handleEmptyClick(*ws);
    EXPECT_FALSE(ws->selectedTrackID());
    EXPECT_FALSE(ws->selectedVersionID());
    EXPECT_EQ(ws->inspectorTab(), InspectorTab::master);

    // A double click outside an editable cell plays from the track's INDEX 01.
    playFromRow(*ws, rows[2]);
    EXPECT_EQ(engine->joined(), "seek(44) play");
    EXPECT_EQ(selectedTrackIDsForBulk(rows, {2, 1, 0}), (std::vector<Uuid>{trackAt(0).id, trackAt(1).id}));
}

TEST_F(TrackTableTest, deleteAsksByWhatIsSelectedAndRemovesInOneStep) {
    CDTrack a = track("A", 3000);
    a.versions.push_back(take());
    a.versions.push_back(take());
    useTracks({a, track("B", 3000), track("C", 3000)});
    auto rows = computeRows(ws->project(), {trackAt(0).id}, false);
    auto q = deleteQuestion(rows, {0});
    ASSERT_TRUE(q);
    EXPECT_EQ(q->title, "Delete track with 3 versions?");
    EXPECT_EQ(q->confirmButton, "Delete All Versions");
    EXPECT_NE(q->text.find("the active master plus 2 in its history"), std::string::npos);
    q = deleteQuestion(rows, {1});
    ASSERT_TRUE(q);
    EXPECT_EQ(q->title, "Delete this version?");
    answer(*ws, *q, true);
    endTurn();
    EXPECT_EQ(trackAt(0).versions.size(), 1u);

    rows = computeRows(ws->project(), {}, false);
    q = deleteQuestion(rows, {1, 2});
    ASSERT_TRUE(q);
    EXPECT_EQ(q->text,
              "Are you sure you want to delete these 2 tracks? Their alternative versions (takes, 0 in "
              "total) are deleted with them.");
    answer(*ws, *q, true);
    endTurn();
    ASSERT_EQ(ws->project().tracks.size(), 1u);
    ws->undo();
    endTurn();
    EXPECT_EQ(ws->project().tracks.size(), 3u);
}

TEST(TrackTableBulk, togglesClearOnlyWhenEveryTrackHasTheFlag) {
    EXPECT_FALSE(multiToggleTarget({true, true}));
    EXPECT_TRUE(multiToggleTarget({true, false}));
    EXPECT_TRUE(multiToggleTarget({false}));
    EXPECT_EQ(multiFieldMenuTitle("performer", 3), "Performer… for 3 tracks");
}

TEST_F(TrackTableTest, aDropMovesTheDraggedTracksAndTheLeadInGoesToTheNewFirst) {
    CDTrack b = track("B", 3000, 300);
    useTracks({track("A", 3000), b, track("C", 3000, 75)});
    const auto rows = computeRows(ws->project(), {}, false);
    ASSERT_TRUE(acceptDrop(*ws, rows, {0}, rows.size()));
    endTurn();
    EXPECT_EQ(trackAt(0).title, "B");
    EXPECT_EQ(trackAt(2).title, "A");
    EXPECT_EQ(trackAt(0).preGap.totalFrames, 300) << "a longer gap than the lead-in stays";
    EXPECT_EQ(ws->trackPositions()[0].index01LBA, 300);
    ws->undo();
    endTurn();
    EXPECT_EQ(trackAt(0).title, "A");
    // C to the front takes the 150-frame lead-in: its own 75 frames are too short for track 1.
    ASSERT_TRUE(acceptDrop(*ws, computeRows(ws->project(), {}, false), {2}, 0));
    EXPECT_EQ(trackAt(0).title, "C");
    EXPECT_EQ(trackAt(0).preGap.totalFrames, 150);
    EXPECT_FALSE(acceptDrop(*ws, {SideHeaderRow{0, "Side A"}}, {0}, 0));
}

TEST(TrackTableMarks, srcMarksAndMenusFollowTheRowAndTheMode) {
    EXPECT_EQ(srcMark(false, SRCCacheState::ready).look, SRCMark::Look::hidden);
    const SRCMark missing = srcMark(true, std::nullopt);
    EXPECT_EQ(missing.look, SRCMark::Look::red);
    EXPECT_TRUE(missing.clickBuilds);
    EXPECT_EQ(missing.tooltip, "SRC cache not built — click to build this take");
    EXPECT_TRUE(srcMark(true, SRCCacheState::rendering).pulsing);
    EXPECT_EQ(srcMark(true, SRCCacheState::ready).tooltip, "SRC engine cache ready");

    const SpreadsheetRow row = TrackRow{0, CDTrack::make("A", std::nullopt, 150, 588)};
    auto menu = contextMenu(row, false, false, {});
    ASSERT_EQ(menu.size(), 4u);
    EXPECT_EQ(menu[2].title, "") << "a separator before the analysis";
    menu = contextMenu(row, true, true, {"Side B"});
    ASSERT_EQ(menu.size(), 7u);
    EXPECT_EQ(menu[4].submenu, (std::vector<std::string>{"Linear", "Minimum"}));
    EXPECT_EQ(menu[5].title, "Move to Side B");
    EXPECT_EQ(menu[6].title, "Not on Vinyl");

    ColumnVisibility columns;
    columns.toggle("composer");
    columns.applyVinyl(true);
    EXPECT_FALSE(columns.isShown("isrc"));
    EXPECT_FALSE(columns.isShown("composer"));
    columns.toggle("composer");
    columns.applyVinyl(false);
    EXPECT_TRUE(columns.isShown("isrc"));
    EXPECT_FALSE(columns.isShown("composer")) << "the disc view's own choice comes back";
}

TEST_F(TrackTableTest, cellsAreRebuiltOnlyWhenWhatTheyShowChanges) {
    useTracks({track("A", 3000), track("B", 3000)});
    const auto before = TableCellFingerprint::of(*ws);
    ws->setSelectedTrackID(trackAt(1).id);
    ws->setCurrentSample(testing::samplesAt(12.0));
    EXPECT_EQ(TableCellFingerprint::of(*ws), before);
    ws->setSRCCacheState(trackAt(0).id, SRCCacheState::rendering);
    EXPECT_NE(TableCellFingerprint::of(*ws), before);
    const auto building = TableCellFingerprint::of(*ws);
    commitEdit(*ws, trackAt(1).id, "title", "Renamed");
    EXPECT_NE(TableCellFingerprint::of(*ws), building);
}

} // namespace
} // namespace orvane::testing
