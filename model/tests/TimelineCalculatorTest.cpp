#include "model/TimelineCalculator.h"

#include "model/CDProject.h"

#include <gtest/gtest.h>

#include <limits>

namespace orvane {
namespace {

CDTrack track(std::int64_t preGapFrames, std::int64_t lengthFrames) {
    return CDTrack::make("T", std::nullopt, preGapFrames, lengthFrames * RedBook::samplesPerFrame);
}

CDProject projectOf(std::vector<CDTrack> tracks) {
    CDProject project;
    project.tracks = std::move(tracks);
    return project;
}

std::vector<TrackPosition> layout(const CDProject& project) {
    auto result = TimelineCalculator::calculatePositions(project);
    EXPECT_TRUE(result.has_value()) << (result ? "" : result.error().description());
    return result.value_or(std::vector<TrackPosition>{});
}

TEST(TimelineCalculator, firstTrackStartsAfterALeadInOfAtLeast150Frames) {
    // One second with the standard pre-gap lies at 150..225 with INDEX 00 at 0; a shorter or negative
    // first pre-gap reads as 150, a longer one is honoured.
    const auto positions = layout(projectOf({CDTrack::make("T", std::nullopt, 150, 44100)}));
    ASSERT_EQ(positions.size(), 1u);
    EXPECT_EQ(positions[0], (TrackPosition{1, 0, 150, 225, 150, 225}));
    EXPECT_TRUE(layout(CDProject{}).empty());
    EXPECT_EQ(layout(projectOf({track(-100, 400)}))[0], (TrackPosition{1, 0, 150, 550, 150, 550}));
    EXPECT_EQ(layout(projectOf({track(0, 400)}))[0].audioStartLBA, 150);
    EXPECT_EQ(layout(projectOf({track(300, 400)}))[0], (TrackPosition{1, 0, 300, 700, 300, 700}));
}

TEST(TimelineCalculator, silenceBeforeATrackIsItsPreGap) {
    // A positive gap starts the next track at the previous audio end; zero butts them together.
    const auto positions = layout(projectOf({track(150, 400), track(75, 400), track(0, 400)}));
    ASSERT_EQ(positions.size(), 3u);
    EXPECT_EQ(positions[0], (TrackPosition{1, 0, 150, 550, 150, 550}));
    EXPECT_EQ(positions[1], (TrackPosition{2, 550, 625, 1025, 625, 1025}));
    EXPECT_EQ(positions[2], (TrackPosition{3, 1025, 1025, 1425, 1025, 1425}));
}

TEST(TimelineCalculator, crossfadedTracksMeetAtTheMiddleOfTheOverlap) {
    // Audio ranges overlap while the markers of both tracks meet at one transition point.
    const auto positions = layout(projectOf({track(150, 750), track(-150, 750)}));
    ASSERT_EQ(positions.size(), 2u);
    EXPECT_EQ(positions[0], (TrackPosition{1, 0, 150, 825, 150, 900}));
    EXPECT_EQ(positions[1], (TrackPosition{2, 825, 825, 1500, 750, 1500}));

    // An odd overlap truncates its half: 75 frames put the point 37 frames in.
    const auto odd = layout(projectOf({track(150, 750), track(-75, 750)}));
    EXPECT_EQ(odd[1].startLBA, 825 + 37);
    EXPECT_EQ(odd[0].endLBA, 825 + 37);
}

TEST(TimelineCalculator, unlockedCrossfadeOffsetMovesTheTransitionWithinTheOverlap) {
    // The raw offset shifts the point, limited to the previous audio end and this track's start.
    auto transitionFor = [](std::int64_t offset, bool locked) {
        CDTrack second = track(-150, 750);
        second.indexLocked = locked;
        second.index01OffsetFrames = offset;
        const auto positions = layout(projectOf({track(150, 750), second}));
        EXPECT_EQ(positions[0].endLBA, positions[1].index01LBA);
        EXPECT_EQ(positions[1].audioStartLBA, 750);
        return positions[1].startLBA;
    };
    EXPECT_EQ(transitionFor(40, false), 865);
    EXPECT_EQ(transitionFor(500, false), 900);
    EXPECT_EQ(transitionFor(-500, false), 750);
    EXPECT_EQ(transitionFor(40, true), 825);

    // The raw value counts even where the clamped effective offset would be 0 (a track of 200 frames).
    CDTrack shortSecond = track(-100, 200);
    shortSecond.indexLocked = false;
    shortSecond.index01OffsetFrames = -30;
    const auto positions = layout(projectOf({track(150, 750), shortSecond}));
    EXPECT_EQ(positions[1].startLBA, 800 + 50 - 30);
}

TEST(TimelineCalculator, consumedFirstTrackKeepsItsMarkersUpToTheTransition) {
    // A first track wholly inside the overlap still ends at the transition; pushed onto its
    // start by a negative offset, it is left without a frame and is too short.
    const auto positions = layout(projectOf({track(150, 100), track(-100, 750)}));
    EXPECT_EQ(positions[0], (TrackPosition{1, 0, 150, 200, 150, 250}));
    EXPECT_EQ(positions[1], (TrackPosition{2, 200, 200, 900, 150, 900}));

    CDTrack second = track(-100, 750);
    second.indexLocked = false;
    second.index01OffsetFrames = -1000;
    auto result = TimelineCalculator::calculatePositions(projectOf({track(150, 100), second}));
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), DDPError::trackTooShort(1));
}

TEST(TimelineCalculator, unlockedOffsetMovesOnlyIndex01) {
    // INDEX 01 moves into the audio; INDEX 00 and the audio range stay where they were.
    CDTrack second = track(75, 1000);
    second.indexLocked = false;
    second.index01OffsetFrames = 120;
    const auto positions = layout(projectOf({track(150, 400), second}));
    EXPECT_EQ(positions[1], (TrackPosition{2, 550, 745, 1625, 625, 1625}));

    // The clamp keeps 300 frames after INDEX 01.
    second.index01OffsetFrames = 5000;
    EXPECT_EQ(layout(projectOf({track(150, 400), second}))[1].index01LBA, 625 + 700);

    CDTrack first = track(150, 400);
    first.indexLocked = false;
    first.index01OffsetFrames = 60;
    EXPECT_EQ(layout(projectOf({first}))[0], (TrackPosition{1, 0, 210, 550, 150, 550}));
}

TEST(TimelineCalculator, zeroLengthTrackIsTooShort) {
    // A track whose markers leave no frame after INDEX 01 fails with its 1-based number, in the
    // middle, at the end, or crossfaded into its predecessor.
    const std::vector<std::vector<CDTrack>> cases{{track(150, 400), track(0, 0), track(0, 400)},
                                                  {track(150, 400), track(0, 0)},
                                                  {track(150, 400), track(-10, 0)}};
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        const auto result = TimelineCalculator::calculatePositions(projectOf(cases[i]));
        EXPECT_FALSE(result.has_value());
        if (!result) {
            EXPECT_EQ(result.error(), DDPError::trackTooShort(2));
        }
    }
}

TEST(TimelineCalculator, moreThan99TracksFailOnlyAfter99GoodPositions) {
    // 99 tracks lay out; a 100th gives tooManyTracks unless an earlier track is too short.
    std::vector<CDTrack> tracks(99, track(0, 300));
    const auto ninetyNine = layout(projectOf(tracks));
    ASSERT_EQ(ninetyNine.size(), 99u);
    EXPECT_EQ(ninetyNine.back().trackIndex, 99);
    EXPECT_EQ(ninetyNine.back().endLBA, 150 + 99 * 300);

    tracks.push_back(track(0, 0)); // too short, but past the limit
    auto tooMany = TimelineCalculator::calculatePositions(projectOf(tracks));
    ASSERT_FALSE(tooMany.has_value());
    EXPECT_EQ(tooMany.error(), DDPError::tooManyTracks());

    tracks[41] = track(0, 0);
    auto shortFirst = TimelineCalculator::calculatePositions(projectOf(tracks));
    ASSERT_FALSE(shortFirst.has_value());
    EXPECT_EQ(shortFirst.error(), DDPError::trackTooShort(42));
}

TEST(TimelineCalculator, absurdDocumentValuesDoNotOverflow) {
    // Gaps and lengths at the ends of the 64-bit range give a layout or an error, never a crash.
    CDTrack huge = track(0, 10);
    huge.sourceAudioSamples = std::numeric_limits<std::int64_t>::max();
    huge.trimEndSamples = std::numeric_limits<std::int64_t>::min();
    CDTrack far = track(std::numeric_limits<std::int64_t>::max(), 10);
    CDTrack back = track(std::numeric_limits<std::int64_t>::min(), 10);
    back.indexLocked = false;
    back.index01OffsetFrames = std::numeric_limits<std::int64_t>::min();
    const auto result = TimelineCalculator::calculatePositions(projectOf({huge, far, back}));
    EXPECT_FALSE(result.has_value());
}

} // namespace
} // namespace orvane
