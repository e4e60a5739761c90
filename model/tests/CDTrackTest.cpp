#include "model/CDTrack.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

CDTrack trackOfFrames(std::int64_t frames) {
    return CDTrack::make("T", std::nullopt, 150, frames * 588);
}

TEST(CDTrack, effectiveLengthRoundsTheTrimmedSourceUpAndNeverGoesNegative) {
    // The audible part after both trims, rounded up to frames; trims beyond the source give 0.
    CDTrack track = CDTrack::make("T", std::nullopt, 150, 44100);
    EXPECT_EQ(track.effectiveLength().totalFrames, 75);
    track.trimStartSamples = 1;
    EXPECT_EQ(track.effectiveLength().totalFrames, 75);
    track.trimEndSamples = 588;
    EXPECT_EQ(track.effectiveLength().totalFrames, 74);
    track.trimStartSamples = 30000;
    track.trimEndSamples = 30000;
    EXPECT_EQ(track.effectiveLength().totalFrames, 0);
    EXPECT_EQ(track.maxIndex01Offset(), 0);
}

TEST(CDTrack, index01OffsetIsClampedOnlyWhenUnlocked) {
    // A locked track ignores its offset; an unlocked one keeps 300 frames after INDEX 01.
    CDTrack track = trackOfFrames(1000);
    track.index01OffsetFrames = 500;
    EXPECT_EQ(track.maxIndex01Offset(), 700);
    EXPECT_EQ(track.effectiveIndex01Offset(), 0);
    track.indexLocked = false;
    EXPECT_EQ(track.effectiveIndex01Offset(), 500);
    track.index01OffsetFrames = 900;
    EXPECT_EQ(track.effectiveIndex01Offset(), 700);
    track.index01OffsetFrames = -20;
    EXPECT_EQ(track.effectiveIndex01Offset(), 0);

    CDTrack shortTrack = trackOfFrames(200);
    shortTrack.indexLocked = false;
    shortTrack.index01OffsetFrames = 50;
    EXPECT_EQ(shortTrack.effectiveIndex01Offset(), 0);
}

TEST(CDTrack, sanitizedSubIndexesAreUniqueSortedInRangeAndAtMost98) {
    // Only offsets 1 <= v < maxExclusive survive, once each, ascending, INDEX 02 to 99 at most.
    CDTrack track = trackOfFrames(1000);
    track.subIndexFrames = {50, 50, 0, -3, 9000};
    EXPECT_EQ(track.sanitizedSubIndexOffsets(1000), (std::vector<std::int64_t>{50}));
    track.subIndexFrames = {30, 1, 20, 999, 1000};
    EXPECT_EQ(track.sanitizedSubIndexOffsets(1000), (std::vector<std::int64_t>{1, 20, 30, 999}));
    EXPECT_TRUE(track.sanitizedSubIndexOffsets(1).empty());
    track.subIndexFrames = {1};
    EXPECT_EQ(track.sanitizedSubIndexOffsets(2), (std::vector<std::int64_t>{1}));

    track.subIndexFrames.clear();
    for (std::int64_t v = 200; v >= 1; --v)
        track.subIndexFrames.push_back(v);
    const auto cut = track.sanitizedSubIndexOffsets(10000);
    ASSERT_EQ(cut.size(), 98u);
    EXPECT_EQ(cut.front(), 1);
    EXPECT_EQ(cut.back(), 98);
}

} // namespace
} // namespace orvane
