// The shapes over the waveform: fades, crossfades, the envelope and the marker flags.

#include "interface/TimelineOverlays.h"

#include "interface/TimelineHitTest.h"
#include "interface/TimelineScroller.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using namespace TimelineOverlays;

const TimelineGeometry::Lane lane = TimelineGeometry::lane(200.0); // 10...152, 142 high

TEST(TimelineOverlays, laneAndFadeHandlesFollowTheCanvasGeometry) {
    EXPECT_DOUBLE_EQ(lane.bottom, 152.0);
    EXPECT_DOUBLE_EQ(lane.height, 142.0);
    EXPECT_DOUBLE_EQ(TimelineGeometry::rulerStripTop(200.0), 150.0);
    EXPECT_EQ(fadeInLengthHandle(100.0, 40.0), (Rect{135.0, 5.0, 10.0, 16.0}));
    EXPECT_EQ(fadeOutLengthHandle(500.0, 40.0), (Rect{455.0, 5.0, 10.0, 16.0}));
    // The curve handle sits on the drawn curve's midpoint, for any curve.
    for (float curve : {-1.0f, 0.0f, 0.6f}) {
        const Rect handle = fadeInCurveHandle(100.0, 40.0, lane, curve);
        const Polyline drawn = fadeInCurve(100.0, 40.0, lane, curve, 2);
        ASSERT_EQ(drawn.size(), 3u);
        EXPECT_DOUBLE_EQ(handle.x + 5.0, drawn[1].x);
        EXPECT_DOUBLE_EQ(handle.y + 5.0, drawn[1].y);
        EXPECT_EQ(drawn.front(), (Point{100.0, lane.bottom}));
        EXPECT_EQ(drawn.back(), (Point{140.0, lane.top}));
    }
    EXPECT_EQ(fadeOutCurve(500.0, 40.0, lane, 0.0f).back(), (Point{460.0, lane.top}));
}

TEST(TimelineOverlays, theCrossfadeHandleAndItsCurveFromYAreInverses) {
    TrackPosition earlier{1, 0, 150, 3150, 150, 3150};
    TrackPosition later{2, 2400, 2550, 6150, 2550, 5550};
    const auto overlap = crossfadeOverlapRect(earlier, later, 75.0, lane);
    ASSERT_TRUE(overlap);
    EXPECT_EQ(*overlap, (Rect{2550.0, 10.0, 600.0, 142.0}));
    EXPECT_DOUBLE_EQ(crossfadeHandleHeight(0.0f), 0.5);
    EXPECT_EQ(crossfadeHandlePoint(*overlap, 0.0f), (Point{2850.0, 152.0 - 71.0}));
    for (float curve : {-0.9f, 0.0f, 0.5f, 1.2f}) {
        const Point p = crossfadeHandlePoint(*overlap, curve);
        EXPECT_NEAR(crossfadeCurveFromY(p.y, lane), curve, 1e-5);
    }
    // Out of reach the curve holds at its limits; a lane of no height reads 0.
    EXPECT_FLOAT_EQ(crossfadeCurveFromY(-500.0, lane), 1.5f);
    EXPECT_FLOAT_EQ(crossfadeCurveFromY(500.0, lane), -1.0f);
    EXPECT_FLOAT_EQ(crossfadeCurveFromY(50.0, TimelineGeometry::lane(48.0)), 0.0f);
    later.audioStartLBA = 3150;
    EXPECT_FALSE(crossfadeOverlapRect(earlier, later, 75.0, lane));
}

TEST(TimelineOverlays, envelopePointsMapBetweenLevelAndHeight) {
    EXPECT_DOUBLE_EQ(yOfDB(0.0f, lane), 10.0);
    EXPECT_DOUBLE_EQ(yOfDB(3.0f, lane), 10.0) << "above 0 dB draws at the top";
    EXPECT_DOUBLE_EQ(yOfDB(-30.0f, lane), 81.0);
    EXPECT_DOUBLE_EQ(yOfDB(-90.0f, lane), 152.0);
    EXPECT_FLOAT_EQ(dBAtY(81.0, lane), -30.0f);
    EXPECT_FLOAT_EQ(dBAtY(0.0, lane), 0.0f);
    EXPECT_FLOAT_EQ(dBAtY(400.0, lane), -60.0f);

    CDTrack t = CDTrack::make("A", std::nullopt, 150, 3000 * 588 - 100); // 3000 whole sectors
    const AudioSpan span{150.0, 3150.0};
    EXPECT_EQ(positionAtX(1150.0, t, span), 1000 * 588);
    EXPECT_EQ(positionAtX(9000.0, t, span), 3000 * 588);
    EXPECT_EQ(positionAtX(0.0, t, span), 0);
    const GainPoint p{Uuid::random(), 1000 * 588, -30.0f, std::nullopt};
    EXPECT_EQ(envelopePoint(p, t, span, lane), (Point{1150.0, 81.0}));

    // The line follows the mirrored point before the commit.
    t.envelopeEnabled = true;
    t.gainPoints = {p};
    const CDTrack moved = envelopeMirrored(t, p.id, 2000 * 588, 0.0f);
    const Polyline line = envelopeLine(moved, span, lane, 0.0, 5000.0, 1000.0);
    ASSERT_FALSE(line.empty());
    EXPECT_DOUBLE_EQ(line.front().x, 150.0);
    EXPECT_DOUBLE_EQ(line.back().x, 3150.0);
    EXPECT_DOUBLE_EQ(line.front().y, 10.0);
    EXPECT_EQ(envelopeValueLabel(-6.04f), "-6.0 dB");
}

TEST(TimelineOverlays, markerFlagsShowOnlyUnlockedTracksAndAnswerOnTheirSides) {
    CDProject project;
    project.tracks = {CDTrack::make("A", std::nullopt, 150, 3000 * 588),
                      CDTrack::make("B", std::nullopt, 150, 3000 * 588)};
    project.tracks[1].indexLocked = false;
    project.tracks[1].subIndexFrames = {750};
    const std::vector<TrackPosition> positions{{1, 0, 150, 3150, 150, 3150},
                                               {2, 3150, 3300, 6300, 3300, 6300}};
    const auto flags = markerFlags(project, positions, 75.0);
    ASSERT_EQ(flags.size(), 2u);
    EXPECT_EQ(flags[0].kind, MarkerFlag::Kind::index01);
    EXPECT_DOUBLE_EQ(flags[0].x, 3300.0);
    EXPECT_EQ(flags[1].frame, 4050);
    EXPECT_TRUE(flagHit(flags[0], 3293.0));
    EXPECT_FALSE(flagHit(flags[0], 3292.9));
    EXPECT_TRUE(flagHit(flags[0], 3318.0));
    EXPECT_TRUE(flagHit(flags[1], 4044.0));
    EXPECT_FALSE(flagHit(flags[1], 4062.1));
}

TEST(TimelineScroller, aZoomScrollsToItsTargetAndRequestsAreEachTakenOnce) {
    TimelineScroller scroller;
    TimelineScroller::ViewInput in;
    in.pps = 10.0;
    in.currentTime = 100.0;
    in.visibleWidth = 800.0;
    in.contentSeconds = 300.0;
    auto out = scroller.update(in);
    EXPECT_DOUBLE_EQ(out.contentWidth, 3500.0);
    EXPECT_EQ(out.scrollTo, 600.0) << "a new zoom centres the playhead";
    EXPECT_TRUE(out.redrawAll);
    out = scroller.update(in);
    EXPECT_FALSE(out.scrollTo);
    EXPECT_FALSE(out.redrawAll) << "nothing drawn changed";

    in.pps = 20.0;
    scroller.setExplicitScrollTarget(1234.0);
    EXPECT_EQ(scroller.update(in).scrollTo, 1234.0);
    EXPECT_FALSE(scroller.explicitScrollTargetX());

    in.revealPlayheadTrigger = 1;
    EXPECT_EQ(scroller.update(in).scrollTo, 2000.0 - 0.06 * 800.0);
    in.centerOnPlayheadTrigger = 1;
    EXPECT_EQ(scroller.update(in).scrollTo, 1600.0);
    in.fingerprint.pps = 20.0;
    in.gestureRunning = true;
    EXPECT_FALSE(scroller.update(in).redrawAll) << "a gesture asks for its own bands";
}

TEST(TimelineScroller, followingThePlayheadByScrollMode) {
    const ScrollGeometry view{1000.0, 800.0, 10000.0};
    auto f = TimelineScroller::follow(ScrollMode::page, 10.0, 177.0, 178.0, view, true);
    EXPECT_EQ(f.newBand, std::make_pair(1770.0, 1790.0));
    EXPECT_EQ(f.scrollTo, 1780.0) << "within 20 points of the right edge the page turns";
    EXPECT_FALSE(TimelineScroller::follow(ScrollMode::page, 10.0, 177.0, 177.9, view, true).scrollTo);
    EXPECT_EQ(TimelineScroller::follow(ScrollMode::page, 10.0, 0.0, 99.0, view, true).scrollTo, 990.0);
    EXPECT_FALSE(TimelineScroller::follow(ScrollMode::page, 10.0, 177.0, 178.0, view, false).scrollTo);
    EXPECT_FALSE(TimelineScroller::follow(ScrollMode::none, 10.0, 177.0, 178.0, view, true).scrollTo);
    // Centre mode lands on the device's pixel grid and ignores a move below 0.001.
    EXPECT_EQ(TimelineScroller::follow(ScrollMode::center, 10.0, 0.0, 142.0123, view, true).scrollTo, 1020.0);
    EXPECT_FALSE(TimelineScroller::follow(ScrollMode::center, 10.0, 0.0, 140.0, view, true).scrollTo);
}

TEST(TimelineOverlays, drawnFlagsAnswerWhereTheCanvasHitTestsThem) {
    CDProject project;
    project.tracks = {CDTrack::make("A", std::nullopt, 150, 3000 * 588)};
    project.tracks[0].indexLocked = false;
    project.tracks[0].subIndexFrames = {1500};
    const std::vector<TrackPosition> positions{{1, 0, 150, 3150, 150, 3150}};
    CanvasHitContext c;
    c.project = &project;
    c.positions = &positions;
    c.pps = 75.0;
    c.canvasHeight = 200.0;
    c.loopStartFrame = 600;
    c.loopEndFrame = 1000;
    c.pinSeconds = 30.0;
    std::vector<Flag> flags =
        locatorFlags(c.loopStartFrame, c.loopEndFrame, c.pinSeconds, c.pps, c.canvasHeight);
    const auto index = indexFlags(markerFlags(project, positions, c.pps), c.canvasHeight);
    flags.insert(flags.end(), index.begin(), index.end());
    ASSERT_EQ(flags.size(), 5u);
    const std::vector<CanvasHit::Zone> zones{CanvasHit::Zone::loopStart, CanvasHit::Zone::loopEnd,
                                             CanvasHit::Zone::pin, CanvasHit::Zone::index01Flag,
                                             CanvasHit::Zone::subIndexFlag};
    for (std::size_t i = 0; i < flags.size(); ++i) {
        const Rect& a = flags[i].hitArea;
        EXPECT_DOUBLE_EQ(a.y, 150.0);
        EXPECT_EQ(TimelineHitTest::hitTest(c, a.x, 170.0, 1).zone, zones[i]) << i;
        EXPECT_EQ(TimelineHitTest::hitTest(c, a.maxX(), 170.0, 1).zone, zones[i]) << i;
        EXPECT_NE(TimelineHitTest::hitTest(c, a.maxX() + 0.5, 170.0, 1).zone, zones[i]) << i;
    }
    EXPECT_EQ(flags[4].label, "02");
    EXPECT_EQ(loopBand(600, 1000, 75.0, 200.0), (Rect{600.0, 10.0, 400.0, 190.0}));
    EXPECT_FALSE(loopBand(600, 600, 75.0, 200.0));
    // Equal edges draw one flag.
    EXPECT_EQ(locatorFlags(600, 600, std::nullopt, 75.0, 200.0).size(), 1u);
}

} // namespace
} // namespace orvane
