// The inspectors' field rules: seconds read as whole frames and samples, limits, marks and texts.

#include "interface/InspectorRules.h"

#include "workspace/tests/WorkspaceFixture.h"

#include <gtest/gtest.h>

namespace orvane::testing {
namespace {

using namespace InspectorRules;

class InspectorRulesTest : public WorkspaceFixture {
  protected:
    void useTracks(std::vector<CDTrack> tracks) {
        CDProject p;
        p.tracks = std::move(tracks);
        ws->importProject(std::move(p));
        ws->recalculateTimeline(ReloadPlayback::yes);
        endTurn();
    }
    const CDTrack& trackAt(std::size_t i) const { return ws->project().tracks[i]; }
};

TEST(InspectorSeconds, readDecimalsAsTheNearestFrameOrSample) {
    EXPECT_EQ(parseSeconds(" 1,5 "), 1.5);
    EXPECT_FALSE(parseSeconds("1.5s"));
    EXPECT_FALSE(parseSeconds(""));
    EXPECT_FALSE(parseSeconds("nan"));
    EXPECT_EQ(framesFromSeconds(1.49), 112) << "a shown value reads back as its frame";
    EXPECT_EQ(secondsText(112), "1.49");
    EXPECT_EQ(framesFromSeconds(-2.0), -150);
    EXPECT_EQ(samplesFromSeconds(0.5), 22050);
    EXPECT_EQ(secondsTextOfSamples(66150), "1.50");
}

TEST_F(InspectorRulesTest, masterCountersAndTheMCNMark) {
    CDTrack a = track("A", 4500);
    a.isrc = "SKXXX2600001";
    useTracks({a, track("B", 3000)});
    EXPECT_EQ(discTotalText(ws->trackPositions()), "1:44"); // 7800 frames
    EXPECT_EQ(isrcCount(ws->project()), 1u);
    EXPECT_EQ(cacheSizeText(999), "SRC Cache: 999 bytes");
    EXPECT_EQ(cacheSizeText(12'345'678), "SRC Cache: 12.3 MB");

    EXPECT_FALSE(mcnMark(""));
    EXPECT_EQ(mcnMark("4006381333931"), (Mark{true, "Valid EAN-13"}));
    EXPECT_EQ(mcnMark("4006381333932"), (Mark{false, "Invalid EAN-13 check digit"}));
    commitMCN(*ws, "4006381333932");
    EXPECT_EQ(ws->project().mcn, "4006381333932") << "an invalid code is stored and marked";
}

TEST_F(InspectorRulesTest, theConverterChoiceIsOffWhenNothingNeedsConversion) {
    CDTrack a = track("A", 3000);
    CDTrack b = track("B", 3000);
    useTracks({a, b});
    const auto none = [](const CDTrack&) { return false; };
    const auto second = [this](const CDTrack& t) { return t.id == trackAt(1).id; };
    SRCChoice choice = srcChoice(ws->project(), none);
    EXPECT_FALSE(choice.enabled);
    EXPECT_EQ(choice.tooltip, "All sources are 44.1 kHz — no conversion needed");
    EXPECT_EQ(phaseChoice(ws->project(), none).shown, "Disabled");
    choice = srcChoice(ws->project(), second);
    EXPECT_TRUE(choice.enabled);
    EXPECT_FALSE(choice.mixedNote);
    EXPECT_EQ(phaseChoice(ws->project(), second).shown, "Linear");

    CDProject p = ws->project();
    p.tracks[1].srcAlgorithm = "SoX VHQ";
    ws->setProject(p);
    EXPECT_EQ(srcChoice(ws->project(), second).mixedNote,
              "Tracks use different SRC algorithms — pick one to apply to all");
}

TEST_F(InspectorRulesTest, indexOffsetsHaveTheirLimitAndNoCrossfadeFieldOnTheFirstTrack) {
    CDTrack a = track("A", 300);
    a.indexLocked = false;
    CDTrack c = track("C", 3000, -600);
    c.indexLocked = false;
    useTracks({a, track("B", 3000), c});
    auto field = indexOffsetField(trackAt(0), 0);
    ASSERT_TRUE(field);
    EXPECT_EQ(field->label, "Offset (audible pregap, seconds)");
    EXPECT_EQ(field->maxFrames, 0) << "a track of 300 frames or less has no room";
    EXPECT_EQ(field->hint, "Audio before track start. Max 0.00s.");
    EXPECT_FALSE(commitIndexOffsetSeconds(*ws, trackAt(0).id, "0.5"));

    field = indexOffsetField(trackAt(2), 2);
    ASSERT_TRUE(field);
    EXPECT_EQ(field->label, "INDEX 01 in crossfade (s, ± from middle)");
    EXPECT_TRUE(commitIndexOffsetSeconds(*ws, trackAt(2).id, "-10"));
    EXPECT_EQ(trackAt(2).index01OffsetFrames, -300) << "held inside the overlap";
    EXPECT_EQ(crossfadeText(trackAt(2)), "Crossfade: 8.00s");
    CDTrack locked = trackAt(2);
    locked.indexLocked = true;
    EXPECT_FALSE(indexOffsetField(locked, 2));
}

TEST_F(InspectorRulesTest, secondsFieldsCommitThroughTheOperationsWithinTheirBounds) {
    useTracks({track("A", 3000), track("B", 3000)});
    const Uuid id = trackAt(1).id;
    EXPECT_TRUE(commitPregapSeconds(*ws, id, "1,49"));
    EXPECT_EQ(trackAt(1).preGap.totalFrames, 112);
    EXPECT_TRUE(commitTrimSeconds(*ws, id, TrimEdge::start, "1.5"));
    EXPECT_EQ(trackAt(1).trimStartSamples, 66150);
    EXPECT_FALSE(commitTrimSeconds(*ws, id, TrimEdge::end, "37")) << "four seconds must stay";
    EXPECT_TRUE(commitTrimSeconds(*ws, id, TrimEdge::end, "34.5"));
    EXPECT_EQ(trackAt(1).trimEndSamples, 34.5 * 44100);
    EXPECT_TRUE(commitFadeSeconds(*ws, id, FadeSide::out, "2"));
    EXPECT_EQ(trackAt(1).fadeOutSamples, 88200);
    EXPECT_FALSE(commitFadeSeconds(*ws, id, FadeSide::in, "5")) << "longer than the audio left";
    EXPECT_FALSE(commitGainDB(*ws, id, "13"));
    EXPECT_TRUE(commitGainDB(*ws, id, "-3.5"));
    EXPECT_FLOAT_EQ(trackAt(1).gainDB, -3.5f);
    EXPECT_TRUE(commitSmoothingPercent(*ws, id, 40.0));
    EXPECT_DOUBLE_EQ(smoothingPercent(trackAt(1)), 40.000000596046448);
    EXPECT_FALSE(commitSmoothingPercent(*ws, id, 140.0));
    EXPECT_FALSE(commitPregapSeconds(*ws, id, "later"));
}

TEST(InspectorTakeTab, textsOfTakesAndLoudness) {
    EXPECT_EQ(takeNumberText(3), "03");
    EXPECT_EQ(takeLabelText(std::nullopt), "Untitled");
    EXPECT_EQ(takeLabelText(std::string("Brighter")), "Brighter");
    EXPECT_EQ(versionHeading(2), "Version of Track 3");
    EXPECT_EQ(loudnessText(std::nullopt), "Not measured");
    StoredLoudness l;
    l.lufs = -14.04;
    l.truePeak = -1.0;
    EXPECT_EQ(loudnessText(l), "-14.0 LUFS   -1.0 dBTP");
    l.lra = 6.5;
    EXPECT_EQ(loudnessText(l), "-14.0 LUFS   -1.0 dBTP   6.5 LRA");
    EXPECT_EQ(analyzeButtonTitle(l), "Re-analyze");
    EXPECT_EQ(ratingTooltip(4), "Rate 4");
    EXPECT_EQ(deleteTakePrompt(true).title, "Delete this take?");
    CDTrack t = CDTrack::make("A", std::nullopt, 150, 3000 * 588);
    t.subIndexFrames = {75, 150};
    EXPECT_EQ(subIndexRows(t), (std::vector<SubIndexRow>{{"02", "1.00"}, {"03", "2.00"}}));
}

} // namespace
} // namespace orvane::testing
