// The mapping between disc positions and the canvas, the zoom rules and the ruler.

#include "interface/Viewport.h"

#include "interface/TimelineRuler.h"

#include <gtest/gtest.h>

#include <limits>

namespace orvane {
namespace {

TEST(Viewport, mapsFramesAndSamplesToPointsAndBackByTruncation) {
    // At the starting zoom of 10 points a second, a frame is 10/75 of a point.
    const ViewportState start;
    EXPECT_DOUBLE_EQ(start.pixelsPerSecond, 10.0);
    EXPECT_DOUBLE_EQ(Viewport::xOfFrame(75, 10.0), 10.0);
    EXPECT_DOUBLE_EQ(Viewport::widthOfSamples(44100, 10.0), 10.0);
    EXPECT_DOUBLE_EQ(Viewport::xOfSeconds(2.5, 10.0), 25.0);
    // From the pointer: truncate(x / pps * 75), never below 0.
    EXPECT_EQ(Viewport::frameAtX(10.0, 10.0), 75);
    EXPECT_EQ(Viewport::frameAtX(10.13, 10.0), 75);
    EXPECT_EQ(Viewport::frameAtX(-4.0, 10.0), 0);
    EXPECT_EQ(Viewport::framesForDistance(-10.13, 10.0), -75);
    EXPECT_EQ(Viewport::samplesForDistance(1.0, 75.0), 588);
    // A pointer far off (or no number at all) from a broken event never wraps around.
    EXPECT_GT(Viewport::frameAtX(std::numeric_limits<double>::infinity(), 10.0), 0);
    EXPECT_EQ(Viewport::framesForDistance(std::numeric_limits<double>::quiet_NaN(), 10.0), 0);
    EXPECT_LT(Viewport::samplesForDistance(-1e300, 10.0), 0);
}

TEST(Viewport, zoomStaysWithinItsLimitsAndKeepsTheAnchorInPlace) {
    EXPECT_DOUBLE_EQ(Viewport::wheelZoomedPixelsPerSecond(100.0, 1.0), 108.0);
    EXPECT_DOUBLE_EQ(Viewport::wheelZoomedPixelsPerSecond(0.44, -5.0), 0.44);
    EXPECT_DOUBLE_EQ(Viewport::wheelZoomedPixelsPerSecond(49000.0, 5.0), 50000.0);
    EXPECT_DOUBLE_EQ(Viewport::wheelZoomedAmplitude(99.0, 3.0), 100.0);
    EXPECT_DOUBLE_EQ(Viewport::wheelZoomedAmplitude(0.1, -1.0), 0.1);
    EXPECT_DOUBLE_EQ(Viewport::clampPixelsPerSecond(std::numeric_limits<double>::quiet_NaN()), 0.44);
    // The second under the anchor (300 points into the view at origin 700) stays 300 points in.
    const double origin = Viewport::anchoredScrollOrigin(10.0, 20.0, 700.0, 300.0);
    EXPECT_DOUBLE_EQ((origin + 300.0) / 20.0, (700.0 + 300.0) / 10.0);
    // The content is the disc plus 500 points, never narrower than the view.
    EXPECT_DOUBLE_EQ(Viewport::contentWidth(10.0, 120.0, 800.0), 1700.0);
    EXPECT_DOUBLE_EQ(Viewport::contentWidth(10.0, 1.0, 800.0), 800.0);
}

TEST(TimelineRuler, labelStepGrowsWithTheVisibleSpan) {
    EXPECT_EQ(TimelineRuler::labelStepSeconds(600.0), 30);
    EXPECT_EQ(TimelineRuler::labelStepSeconds(600.001), 60);
    EXPECT_EQ(TimelineRuler::labelStepSeconds(120.0), 10);
    EXPECT_EQ(TimelineRuler::labelStepSeconds(120.5), 30);
    EXPECT_EQ(TimelineRuler::labelStepSeconds(60.5), 10);
    EXPECT_EQ(TimelineRuler::labelStepSeconds(60.0), 5);
    EXPECT_EQ(TimelineRuler::labelStepSeconds(20.0), 1);
    EXPECT_EQ(TimelineRuler::label(420, 60), "7");
    EXPECT_EQ(TimelineRuler::label(65, 5), "1:05");
}

TEST(TimelineRuler, labelsEveryStepAndShortTicksOnlyAboveFivePointsASecond) {
    // 1000 points at 10 pps: a 100 s span, a label every 10 s.
    const auto ticks = TimelineRuler::ticks(10.0, 1000.0, 0.0, 300.0);
    ASSERT_EQ(ticks.size(), 31u); // seconds 0...30
    EXPECT_EQ(ticks[20].label, "0:20");
    EXPECT_DOUBLE_EQ(ticks[20].height, TimelineRuler::longTickHeight);
    EXPECT_EQ(ticks[20].color, TimelineRuler::longTickColor);
    EXPECT_FALSE(ticks[21].label);
    EXPECT_DOUBLE_EQ(ticks[21].height, 8.0);
    EXPECT_EQ(ticks[21].color, TimelineRuler::shortTickColor);

    // At 5 pps only the labelled seconds remain; the walk starts 60 points before the dirty edge.
    const auto sparse = TimelineRuler::ticks(5.0, 1000.0, 1000.0, 1500.0);
    ASSERT_FALSE(sparse.empty());
    for (const auto& tick : sparse) {
        EXPECT_TRUE(tick.label.has_value()) << tick.second;
    }
    // A 200 s span labels every 30 s: the first from (1000 - 60) / 5 = 188 is 210.
    EXPECT_EQ(sparse.front().second, 210);
    EXPECT_EQ(sparse.front().label, "3:30");
}

} // namespace
} // namespace orvane
