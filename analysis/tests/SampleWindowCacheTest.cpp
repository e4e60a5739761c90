#include "analysis/SampleWindowCache.h"

#include "analysis/tests/AnalysisTestFiles.h"

#include <cmath>
#include <future>
#include <limits>
#include <string>
#include <vector>

namespace orvane::testing {
namespace {

using Fraction = SampleWindowCache::Fraction;

constexpr std::int64_t longFrames = 400000;

// Mono frame i holds i / 2^19, exact in a float, so a sample names its own frame.
float frameValue(std::int64_t i) {
    return static_cast<float>(i) / 524288.0f;
}

class SampleWindowCacheTest : public TempFolderTest {
  protected:
    void SetUp() override {
        // Stereo, left twice the frame value and right zero: the mono mix is the frame value.
        writeSamples(file("long.wav"), 2, longFrames,
                     [](int c, std::int64_t i) { return c == 0 ? 2.0f * frameValue(i) : 0.0f; });
    }
    // The frame a window sample came from.
    static std::int64_t frameOf(float sample) { return static_cast<std::int64_t>(sample * 524288.0f); }
};

TEST_F(SampleWindowCacheTest, aWindowHoldsTheStretchAndAMarginOnEitherSideBoundedByTheFile) {
    // The window starts a span (at least 131072 frames) before the stretch and ends a span after it,
    // never outside the file; a wide stretch takes its own width as margin; 0 to 1 is the whole file.
    const auto narrow = SampleWindowCache::loadWindow(file("long.wav"), Fraction{0.5, 0.5009765625});
    ASSERT_TRUE(narrow);
    EXPECT_EQ(narrow->nativeTotal, longFrames);
    EXPECT_EQ(narrow->nativeStart, 200000 - 131072);
    EXPECT_EQ(narrow->nativeEnd(), 200391 + 131072);
    EXPECT_EQ(frameOf(narrow->samples.front()), narrow->nativeStart);
    EXPECT_EQ(frameOf(narrow->samples.back()), narrow->nativeEnd() - 1);
    EXPECT_EQ(narrow->samples[1000], frameValue(narrow->nativeStart + 1000));

    const auto nearStart = SampleWindowCache::loadWindow(file("long.wav"), Fraction{0.015625, 0.03125});
    ASSERT_TRUE(nearStart);
    EXPECT_EQ(nearStart->nativeStart, 0);
    EXPECT_EQ(nearStart->nativeEnd(), 12501 + 131072);

    const auto wide = SampleWindowCache::loadWindow(file("long.wav"), Fraction{0.5, 0.875});
    ASSERT_TRUE(wide);
    EXPECT_EQ(wide->nativeStart, 200000 - 150001);
    EXPECT_EQ(wide->nativeEnd(), longFrames);

    const auto whole = SampleWindowCache::loadWindow(file("long.wav"), Fraction{0.0, 1.0});
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->nativeStart, 0);
    EXPECT_EQ(whole->samples.size(), static_cast<std::size_t>(longFrames));
}

TEST_F(SampleWindowCacheTest, aMonoFileIsReadAsItIsAndBadRequestsGiveNothing) {
    // A one-channel file gives its own samples; an unreadable or empty file, an empty or reversed
    // stretch and a fraction that is no number give nothing; fractions beyond 0...1 are clamped.
    writeSamples(file("mono.wav"), 1, 1000, [](int, std::int64_t i) { return frameValue(i); });
    writeSamples(file("empty.wav"), 2, 0, [](int, std::int64_t) { return 0.0f; });
    writeNotAudio(file("text.wav"));

    const auto mono = SampleWindowCache::loadWindow(file("mono.wav"), Fraction{0.25, 0.5});
    ASSERT_TRUE(mono);
    EXPECT_EQ(mono->nativeStart, 0);
    ASSERT_EQ(mono->samples.size(), 1000u);
    EXPECT_EQ(mono->samples[999], frameValue(999));

    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(SampleWindowCache::loadWindow(file("text.wav"), Fraction{0.0, 1.0}));
    EXPECT_FALSE(SampleWindowCache::loadWindow(file("missing.wav"), Fraction{0.0, 1.0}));
    EXPECT_FALSE(SampleWindowCache::loadWindow(file("empty.wav"), Fraction{0.0, 1.0}));
    EXPECT_FALSE(SampleWindowCache::loadWindow(file("mono.wav"), Fraction{0.8, 0.2}));
    EXPECT_FALSE(SampleWindowCache::loadWindow(file("mono.wav"), Fraction{nan, 0.5}));
    EXPECT_FALSE(SampleWindowCache::loadWindow(file("mono.wav"), Fraction{1.0, 1.0})); // past the last frame

    const auto clamped = SampleWindowCache::loadWindow(file("mono.wav"), Fraction{-3.0, 7.0});
    ASSERT_TRUE(clamped);
    EXPECT_EQ(clamped->samples.size(), 1000u);

    SampleWindowCache cache;
    EXPECT_EQ(cache.window(file("text.wav"), Fraction{0.0, 1.0}), nullptr);
    EXPECT_TRUE(cache.cachedFiles().empty());
}

TEST_F(SampleWindowCacheTest, aRequestInsideTheWindowIsServedFromItAndOnePastItReplacesIt) {
    // A second request within the held window is the same window; a request ending just past it
    // reads a new window for that file, which replaces the old one.
    SampleWindowCache cache;
    const auto first = cache.window(file("long.wav"), Fraction{0.5, 0.5009765625});
    ASSERT_NE(first, nullptr);
    const double endFraction = static_cast<double>(first->nativeEnd() - 1) / longFrames;
    EXPECT_EQ(cache.window(file("long.wav"), Fraction{0.3, endFraction - 1e-7}), first);

    const auto moved = cache.window(file("long.wav"), Fraction{0.3, endFraction + 3e-6});
    ASSERT_NE(moved, nullptr);
    EXPECT_NE(moved, first);
    EXPECT_GT(moved->nativeEnd(), first->nativeEnd());
    EXPECT_EQ(cache.cachedFiles(), std::vector<std::filesystem::path>{file("long.wav")});
    EXPECT_EQ(cache.window(file("long.wav"), Fraction{0.3, endFraction + 3e-6}), moved);
}

TEST_F(SampleWindowCacheTest, theSeventhFileEvictsTheLeastRecentlyUsed) {
    // Six files fit; a hit counts as a use; the seventh file pushes out the one unused longest.
    std::vector<std::filesystem::path> files;
    for (int i = 0; i < 7; ++i) {
        files.push_back(file("f" + std::to_string(i) + ".wav"));
        writeSamples(files.back(), 1, 100, [](int, std::int64_t j) { return frameValue(j); });
    }
    SampleWindowCache cache;
    for (int i = 0; i < 6; ++i) {
        ASSERT_NE(cache.window(files[i], Fraction{0.0, 1.0}), nullptr);
    }
    const auto kept = cache.window(files[0], Fraction{0.0, 0.5}); // a hit: f0 is now the newest
    ASSERT_NE(cache.window(files[6], Fraction{0.0, 1.0}), nullptr);
    EXPECT_EQ(cache.cachedFiles(), (std::vector<std::filesystem::path>{files[2], files[3], files[4], files[5],
                                                                       files[0], files[6]}));
    EXPECT_EQ(cache.window(files[0], Fraction{0.0, 1.0}), kept);
}

TEST_F(SampleWindowCacheTest, aPrewarmRunsOncePerFileAndLeavesTheWindowForTheNextRequest) {
    // While a prewarm of a file waits or runs, another for the same file (any stretch) queues
    // nothing; once done the window answers without a read, and a prewarm it answers queues nothing.
    SampleWindowCache cache;
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    cache.prewarmQueue().async([released] { released.wait(); }); // holds the queue

    cache.prewarm(file("long.wav"), Fraction{0.5, 0.5009765625});
    EXPECT_TRUE(cache.isInFlight(file("long.wav")));
    cache.prewarm(file("long.wav"), Fraction{0.0, 0.1});
    EXPECT_EQ(cache.prewarmQueue().pendingCount(), 2u);
    EXPECT_TRUE(cache.cachedFiles().empty());

    release.set_value();
    cache.prewarmQueue().waitUntilIdle();
    EXPECT_FALSE(cache.isInFlight(file("long.wav")));
    EXPECT_EQ(cache.cachedFiles(), std::vector<std::filesystem::path>{file("long.wav")});
    const auto held = cache.window(file("long.wav"), Fraction{0.5, 0.5009765625});
    ASSERT_NE(held, nullptr);
    EXPECT_EQ(held->nativeStart, 200000 - 131072);

    cache.prewarm(file("long.wav"), Fraction{0.5, 0.5009765625});
    EXPECT_FALSE(cache.isInFlight(file("long.wav")));
    EXPECT_EQ(cache.prewarmQueue().pendingCount(), 0u);

    // A prewarm of a file that can't be read ends with nothing stored and nothing left in flight.
    writeNotAudio(file("text.wav"));
    cache.prewarm(file("text.wav"), Fraction{0.0, 1.0});
    cache.prewarmQueue().waitUntilIdle();
    EXPECT_FALSE(cache.isInFlight(file("text.wav")));
    EXPECT_EQ(cache.cachedFiles().size(), 1u);
}

} // namespace
} // namespace orvane::testing
