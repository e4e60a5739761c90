#include "model/EnvelopeCurve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <vector>

namespace orvane {
namespace {

GainPoint point(std::int64_t position, float gainDB, std::optional<float> smoothing = std::nullopt) {
    return GainPoint{Uuid::random(), position, gainDB, smoothing};
}

TEST(EnvelopeCurve, pointsAreSortedStablyAndEachGetsOneTangent) {
    // Sorting by position keeps the order of points that share a position.
    const GainPoint late = point(300, -3.0f);
    const GainPoint firstAt100 = point(100, -6.0f);
    const GainPoint secondAt100 = point(100, -12.0f);
    const GainPoint early = point(0, 0.0f);
    const EnvelopeCurve curve({late, firstAt100, secondAt100, early}, 0.5f);
    ASSERT_EQ(curve.pts.size(), 4u);
    EXPECT_EQ(curve.pts[0].id, early.id);
    EXPECT_EQ(curve.pts[1].id, firstAt100.id);
    EXPECT_EQ(curve.pts[2].id, secondAt100.id);
    EXPECT_EQ(curve.pts[3].id, late.id);
    EXPECT_EQ(curve.tan.size(), 4u);
    EXPECT_EQ(EnvelopeCurve({point(5, -1.0f)}, 0.5f).tan, std::vector<float>{0.0f});
    EXPECT_EQ(EnvelopeCurve({}, 7.0f).global, 1.0f);
}

TEST(EnvelopeCurve, tangentsAreMonotoneFlatAtExtremaAndAtTheEnds) {
    // A run keeps the mean slope, a turning point and both ends are flat, and a steep neighbour is limited.
    const EnvelopeCurve valley({point(0, 0.0f), point(100, -10.0f), point(200, -20.0f), point(300, -10.0f)},
                               1.0f);
    ASSERT_EQ(valley.tan.size(), 4u);
    EXPECT_EQ(valley.tan[0], 0.0f);
    EXPECT_NEAR(valley.tan[1], -0.1f, 1e-7f);
    EXPECT_EQ(valley.tan[2], 0.0f);
    EXPECT_EQ(valley.tan[3], 0.0f);

    // Slopes -10 and -0.1: the mean -5.05 would overshoot the gentle segment, so it is scaled to the
    // Fritsch–Carlson circle of radius 3 on that segment.
    const EnvelopeCurve cliff({point(0, 0.0f), point(1, -10.0f), point(101, -20.0f)}, 1.0f);
    const float a = -5.05f / -0.1f;
    EXPECT_NEAR(cliff.tan[1], -5.05f * 3.0f / std::sqrt(a * a + 1.0f), 1e-5f);
    float previous = cliff.dB(1);
    for (std::int64_t s = 2; s <= 101; ++s) {
        const float level = cliff.dB(s);
        EXPECT_LE(level, previous + 1e-5f) << s;
        EXPECT_GE(level, -20.0f - 1e-5f) << s;
        previous = level;
    }

    const EnvelopeCurve plateau({point(0, -6.0f), point(1000, -6.0f), point(2000, 0.0f)}, 1.0f);
    EXPECT_EQ(plateau.tan[0], 0.0f);
    EXPECT_EQ(plateau.tan[1], 0.0f);
    for (std::int64_t s = 0; s <= 1000; s += 50)
        EXPECT_NEAR(plateau.dB(s), -6.0f, 1e-5f) << s;
}

TEST(EnvelopeCurve, levelHoldsOutsideThePointsAndSmoothingBendsTheSegment) {
    // No points is 0 dB, one point is its level everywhere; smoothing 0 is a straight line in dB.
    EXPECT_EQ(EnvelopeCurve({}, 1.0f).dB(1234), 0.0f);
    const EnvelopeCurve single({point(500, -6.0f)}, 1.0f);
    for (const std::int64_t s : {-100000, 0, 500, 501, 999999999})
        EXPECT_EQ(single.dB(s), -6.0f) << s;

    const std::vector<GainPoint> ramp{point(1000, 0.0f), point(2000, -20.0f)};
    const EnvelopeCurve straight(ramp, 0.0f);
    EXPECT_EQ(straight.dB(0), 0.0f);
    EXPECT_EQ(straight.dB(5000), -20.0f);
    EXPECT_NEAR(straight.dB(1250), -5.0f, 1e-4f);
    EXPECT_NEAR(straight.dB(1500), -10.0f, 1e-4f);

    // Full smoothing with flat ends is the smoothstep: slower than the line near the start.
    const EnvelopeCurve eased(ramp, 1.0f);
    EXPECT_NEAR(eased.dB(1500), -10.0f, 1e-4f);
    EXPECT_NEAR(eased.dB(1250), -20.0f * (3.0f * 0.0625f - 2.0f * 0.015625f), 1e-4f);

    // A point's own smoothing wins over the track's.
    const EnvelopeCurve overridden({point(1000, 0.0f, 0.0f), point(2000, -20.0f, 0.0f)}, 1.0f);
    EXPECT_NEAR(overridden.dB(1250), -5.0f, 1e-4f);
    const EnvelopeCurve halfEased({point(1000, 0.0f, 1.0f), point(2000, -20.0f)}, 0.0f);
    EXPECT_GT(halfEased.dB(1100), straight.dB(1100) + 0.1f);
}

TEST(EnvelopeCurve, pointsAtOnePositionMakeAStepWithoutDividingByZero) {
    // The later of two points at one position holds from there on; every level stays finite.
    const EnvelopeCurve curve({point(0, 0.0f), point(100, -6.0f), point(100, -20.0f), point(200, -20.0f)},
                              1.0f);
    for (const float tangent : curve.tan)
        EXPECT_TRUE(std::isfinite(tangent));
    for (std::int64_t s = -5; s <= 205; ++s)
        ASSERT_TRUE(std::isfinite(curve.dB(s))) << s;
    for (std::int64_t s = 0; s < 100; ++s) {
        EXPECT_LE(curve.dB(s), 1e-5f) << s;
        EXPECT_GE(curve.dB(s), -6.0f - 1e-5f) << s;
    }
    EXPECT_EQ(curve.dB(100), -20.0f);
    EXPECT_EQ(curve.dB(150), -20.0f);
}

TEST(EnvelopeCurve, reusedCursorGivesTheSameLevelAsAFreshOneAfterAnyJump) {
    // Over a long random walk with backward seeks, the running cursor never changes a level.
    std::mt19937_64 random(20261122);
    std::vector<GainPoint> points;
    std::uniform_int_distribution<std::int64_t> position(0, 200000);
    std::uniform_real_distribution<float> level(-70.0f, 0.0f);
    std::uniform_real_distribution<float> smoothing(0.0f, 1.0f);
    for (int i = 0; i < 60; ++i) {
        const std::int64_t at = position(random);
        points.push_back(
            point(at, level(random), i % 3 == 0 ? std::optional<float>{smoothing(random)} : std::nullopt));
        if (i % 10 == 0)
            points.push_back(point(at, level(random)));
    }
    const EnvelopeCurve curve(points, 0.4f);

    std::int64_t cursor = 0;
    std::int64_t s = -1000;
    std::uniform_int_distribution<std::int64_t> step(-40000, 60000);
    std::uniform_int_distribution<int> mode(0, 9);
    for (int i = 0; i < 20000; ++i) {
        const int m = mode(random);
        if (m == 0)
            s = position(random); // a seek anywhere
        else if (m < 3)
            s += step(random);
        else
            s += 1; // consecutive samples
        const float fresh = curve.dB(s);
        ASSERT_EQ(curve.dB(s, cursor), fresh) << "step " << i << " at " << s;
    }
    std::int64_t wild = 1000000;
    EXPECT_EQ(curve.dB(100000, wild), curve.dB(100000));
    wild = -7;
    EXPECT_EQ(curve.dB(100000, wild), curve.dB(100000));
}

TEST(EnvelopeCurve, aRunGivesTheLevelsOfSingleLookUpsBitForBit) {
    // dBRun fills whole segments at once; every value must be the one dB() gives for that sample,
    // across points, steps, the flat ends, and positions whose offsets do not fit 32 bits.
    constexpr std::int64_t huge = std::numeric_limits<std::int64_t>::max();
    struct Case {
        const char* name;
        std::vector<GainPoint> points;
        float smoothing;
        std::int64_t from;
        std::size_t count;
    };
    const Case cases[] = {
        {"segments and a step",
         {point(100, -6.0f), point(700, 0.0f), point(700, -3.0f), point(1900, -60.0f)},
         0.6f,
         0,
         2500},
        {"one point", {point(50, -2.0f)}, 0.0f, 0, 120},
        {"no points", {}, 1.0f, -10, 30},
        {"beyond 32 bits", {point(-huge, -20.0f), point(huge, 0.0f)}, 1.0f, huge - 300, 300},
        {"up to 32 bits",
         {point(0, -12.0f), point(std::int64_t{1} << 33, 0.0f)},
         0.3f,
         (std::int64_t{1} << 31) - 300,
         290},
        {"across 32 bits",
         {point(0, -12.0f), point(std::int64_t{1} << 33, 0.0f)},
         0.3f,
         (std::int64_t{1} << 31) - 100,
         200},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const EnvelopeCurve curve(c.points, c.smoothing);
        std::vector<float> run(c.count + 1, 1234.0f);
        std::int64_t cursor = 7;
        curve.dBRun(c.from, c.count, run.data(), cursor);
        for (std::size_t i = 0; i < c.count; ++i)
            ASSERT_EQ(run[i], curve.dB(c.from + static_cast<std::int64_t>(i))) << "sample " << i;
        EXPECT_EQ(run[c.count], 1234.0f);
    }
}

} // namespace
} // namespace orvane
