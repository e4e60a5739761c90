// The transport bar: the time display's modes, the zoom cross and the monitor knob.

#include "interface/TransportBar.h"

#include "workspace/tests/WorkspaceFixture.h"

#include <gtest/gtest.h>

namespace orvane::testing {
namespace {

using namespace TransportBar;

const std::vector<TrackPosition> disc{{1, 0, 150, 3150, 150, 3150}, {2, 3150, 3300, 6300, 3300, 6300}};

TEST(TransportBarTime, showsElapsedTrackAndDiscRemaining) {
    const double total = 84.0;
    auto d = timeDisplay(TimeMode::elapsed, 10.5, total, disc);
    EXPECT_EQ(d.legend, "TIME");
    EXPECT_EQ(d.time, "00:10:37");
    EXPECT_EQ(d.trackNumber, "01");
    d = timeDisplay(TimeMode::trackRemaining, 10.5, total, disc);
    EXPECT_EQ(d.legend, "TRK −");
    EXPECT_EQ(d.time, "00:31:37"); // 42 - 10.5 s = 31.5 s
    // At the very end of a track the value is 0, not negative, and the number is still shown.
    d = timeDisplay(TimeMode::trackRemaining, 84.0, total, disc);
    EXPECT_EQ(d.time, "00:00:00");
    EXPECT_EQ(d.trackNumber, "02");
    d = timeDisplay(TimeMode::discRemaining, 90.0, total, disc);
    EXPECT_EQ(d.legend, "TOT −");
    EXPECT_EQ(d.time, "00:00:00");
    EXPECT_EQ(timeDisplay(TimeMode::elapsed, 3.0, 120.0, {}).trackNumber, "--");
    // A dragged flag shows its own time under "TIME", marked by its kind.
    d = timeDisplay(TimeMode::discRemaining, 5.0, total, disc,
                    TimecodeOverride{TimecodeOverride::Loop{2 * 44100}});
    EXPECT_EQ(d.legend, "TIME");
    EXPECT_EQ(d.time, "00:02:00");
    EXPECT_EQ(d.overrideKind, "LOOP");

    EXPECT_EQ(timeModeFromRaw(7), TimeMode::elapsed);
    EXPECT_EQ(timeModeFromRaw(2), TimeMode::discRemaining);
    EXPECT_EQ(nextTimeMode(TimeMode::discRemaining), TimeMode::elapsed);
    EXPECT_EQ(previousTooltip(3.0), "Previous track boundary −3 s (right-click to change)");
    EXPECT_EQ(nextTooltip(0.0), "Next track (right-click for pre-roll)");
}

using TransportBarTest = WorkspaceFixture;

TEST_F(TransportBarTest, theZoomCrossStepsWithinItsLimits) {
    ViewportState viewport;
    viewport.pixelsPerSecond = 0.44;
    applyZoom(ZoomWedge::left, viewport, *ws);
    EXPECT_DOUBLE_EQ(viewport.pixelsPerSecond, 0.44);
    applyZoom(ZoomWedge::right, viewport, *ws);
    EXPECT_DOUBLE_EQ(viewport.pixelsPerSecond, 0.66);
    applyZoom(ZoomWedge::up, viewport, *ws);
    EXPECT_DOUBLE_EQ(viewport.amplitudeZoom, 1.25);
    viewport.amplitudeZoom = 0.11;
    applyZoom(ZoomWedge::down, viewport, *ws);
    EXPECT_DOUBLE_EQ(viewport.amplitudeZoom, 0.1);
    const auto trigger = ws->centerOnPlayheadTrigger();
    applyZoom(ZoomWedge::centre, viewport, *ws);
    EXPECT_EQ(ws->centerOnPlayheadTrigger(), trigger + 1);
    EXPECT_EQ(zoomTooltip(ZoomWedge::centre), "Center to cursor");

    engine->sample = testing::samplesAt(12.25);
    togglePin(*ws);
    EXPECT_EQ(ws->lockedPlayStartSample(), testing::samplesAt(12.25));
    togglePin(*ws);
    EXPECT_FALSE(ws->lockedPlayStartSample());
}

TEST(TransportBarKnob, aDragSpans190PointsAfterATwoPointDeadZone) {
    EXPECT_DOUBLE_EQ(VolumeKnob::angleDegrees(0.0), -135.0);
    EXPECT_DOUBLE_EQ(VolumeKnob::angleDegrees(0.5), 0.0);
    VolumeKnob knob(0.5);
    knob.beginDrag();
    EXPECT_FALSE(knob.dragTo(-2.0));
    EXPECT_DOUBLE_EQ(*knob.dragTo(-97.0), 1.0);
    EXPECT_DOUBLE_EQ(*knob.endDrag(), 1.0);

    // At the top an upward drag holds at 1, and turning back takes effect at once from the start.
    knob.beginDrag();
    EXPECT_DOUBLE_EQ(*knob.dragTo(-300.0), 1.0);
    EXPECT_DOUBLE_EQ(*knob.dragTo(21.0), 0.9);
    EXPECT_DOUBLE_EQ(*knob.endDrag(), 0.9);
    knob.beginDrag();
    EXPECT_FALSE(knob.endDrag()) << "a click without a drag commits nothing";

    EXPECT_NEAR(knob.wheel(1.0), 0.92, 1e-12);
    EXPECT_DOUBLE_EQ(knob.committedValue(), 0.9);
    EXPECT_NEAR(*knob.takeWheelCommit(), 0.92, 1e-12);
    EXPECT_FALSE(knob.takeWheelCommit());
}

TEST(TransportBarTier, stacksTheGroupsOnlyWhenTheyDontFitWithTheSlack) {
    EXPECT_EQ(barTier(500.0, std::nullopt, 8.0), MasterBarTier::single);
    const std::vector<double> groups{200.0, 300.0}; // 508 points with the spacing
    EXPECT_EQ(barTier(496.0, groups, 8.0), MasterBarTier::single);
    EXPECT_EQ(barTier(495.0, groups, 8.0), MasterBarTier::twoRow);
}

TEST(TransportBarButtons, oneScrollModeButtonEachWithTheChosenLit) {
    const auto buttons = scrollModeButtons(ScrollMode::center);
    ASSERT_EQ(buttons.size(), 3u);
    EXPECT_EQ(buttons[0].title, "No Scroll");
    EXPECT_FALSE(buttons[1].lit);
    EXPECT_TRUE(buttons[2].lit);
}

} // namespace
} // namespace orvane::testing
