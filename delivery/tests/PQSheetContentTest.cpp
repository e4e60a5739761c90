#include "delivery/PQSheetContent.h"

#include "delivery/tests/PQSheetFixture.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using pqtest::positionsOf;
using pqtest::threeTrackDisc;
using Row = std::vector<std::string>;

std::vector<std::string> headersOf(const PQSheetContent& content) {
    std::vector<std::string> headers;
    for (const auto& column : content.columns)
        headers.push_back(column.header);
    return headers;
}

PQSheetModel everyColumn() {
    PQSheetModel model;
    model.colPerformer = model.colEnd = model.colNote = model.colLUFS = model.colTP = model.colFlags = true;
    return model;
}

TEST(PQSheetContent, everyColumnInFixedOrderWithFlagsAndMissingLoudnessAsDash) {
    // All columns stand in their fixed order; flags read "PRE", "DCP"; loudness shows one decimal
    // for a measured track and "—" for the others.
    const CDProject project = threeTrackDisc();
    TrackLoudnessMap loudness{{project.tracks[0].id, TrackLoudness{-14.26, -1.04, 5.0}}};
    const auto content =
        PQSheetContent::make(project, positionsOf(project), everyColumn(), loudness, std::nullopt);

    EXPECT_EQ(headersOf(content), (Row{"#", "TITLE", "PERFORMER", "NOTE", "ISRC", "FLAGS", "PREGAP", "START",
                                       "LENGTH", "END", "LUFS", "dBTP"}));
    EXPECT_EQ(content.rows[0][10], "-14.3");
    EXPECT_EQ(content.rows[0][11], "-1.0");
    EXPECT_EQ(content.rows[1][10], "\u2014");
    EXPECT_EQ(content.rows[2][11], "\u2014");
    EXPECT_EQ(content.rows[1][5], "PRE");
    EXPECT_EQ(content.rows[2][5], "DCP");
    EXPECT_EQ(content.rows[0][5], "");
    EXPECT_EQ(content.rows[1][3], "fade ok");
    EXPECT_EQ(content.rows[2][2], "Guest");
    EXPECT_EQ(content.rows[1][9], "00:52:00"); // END of track 2 is the crossfade's transition point
}

TEST(PQSheetContent, headLinesAppearOnlyWithAValue) {
    // "Album" always ("Untitled" without a title); UPC/EAN only for 13 digits; Loudness only with an
    // album figure and a loudness column; empty client and engineer give no line.
    CDProject project = threeTrackDisc();
    PQSheetModel model = everyColumn();
    model.client = "Northwind";
    const TrackLoudness album{-9.04, -0.31, 6.2};
    auto content = PQSheetContent::make(project, positionsOf(project), model, {}, album);
    EXPECT_EQ(content.headLines, (std::vector<PQSheetHeadLine>{
                                     {"Album", "Harbour Lights"},
                                     {"Performer", "The Quay"},
                                     {"UPC/EAN", "4006381333931"},
                                     {"Client", "Northwind"},
                                     {"Loudness", "-9.0 LUFS, true peak -0.3 dBTP, LRA 6.2 LU (EBU R128)"},
                                     {"Note", "Ref. B"}}));

    project.albumTitle.clear();
    project.mcn = "400638133393"; // 12 digits
    project.albumPerformer.reset();
    project.masterNote.reset();
    model.colLUFS = model.colTP = false;
    content = PQSheetContent::make(project, positionsOf(project), model, {}, album);
    EXPECT_EQ(content.headLines,
              (std::vector<PQSheetHeadLine>{{"Album", "Untitled"}, {"Client", "Northwind"}}));

    model.colTP = true;
    content = PQSheetContent::make(project, positionsOf(project), model, {}, TrackLoudness{-9.0, -0.3, {}});
    EXPECT_EQ(content.headLines.back(),
              (PQSheetHeadLine{"Loudness", "-9.0 LUFS, true peak -0.3 dBTP (EBU R128)"}));
}

TEST(PQSheetContent, rowsStopAtAPositionWithoutTrackAndTotalFollowsTheModel) {
    // A position whose track number has no track ends the rows; includeTotal off or no positions
    // leaves out the lead-out.
    const CDProject project = threeTrackDisc();
    auto positions = positionsOf(project);
    positions.insert(positions.begin() + 1, TrackPosition{7, 0, 0, 0, 0, 0});
    auto content = PQSheetContent::make(project, positions, PQSheetModel{}, {}, std::nullopt);
    EXPECT_EQ(content.rows.size(), 1u);

    PQSheetModel noTotal;
    noTotal.includeTotal = false;
    EXPECT_FALSE(PQSheetContent::make(project, positionsOf(project), noTotal, {}, std::nullopt).leadOutTime);
    EXPECT_FALSE(PQSheetContent::make(CDProject{}, {}, PQSheetModel{}, {}, std::nullopt).leadOutTime);
}

TEST(PQSheetContent, timeTextCountsMinutesPastAnHour) {
    // Minutes are frames / 4500 and do not wrap; seconds and frames are two digits.
    EXPECT_EQ(PQSheetContent::timeText(0), "00:00:00");
    EXPECT_EQ(PQSheetContent::timeText(74), "00:00:74");
    EXPECT_EQ(PQSheetContent::timeText(4500 * 100 + 75 * 59 + 1), "100:59:01");
}

TEST(PQSheetModel, theDateReadsInTheMediumStyle) {
    // Month abbreviation, day without a leading zero, comma, four-digit year.
    std::tm date{};
    date.tm_year = 126;
    date.tm_mon = 0;
    date.tm_mday = 3;
    EXPECT_EQ(PQSheetModel::mediumDateText(date), "Jan 3, 2026");
}

} // namespace
} // namespace orvane
