#include "model/AudioBlock.h"

#include "model/CDProject.h"
#include "model/TimelineCalculator.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using Silence = AudioBlock::Silence;
using Track = AudioBlock::Track;
using Crossfade = AudioBlock::Crossfade;

CDTrack track(std::int64_t preGapFrames, std::int64_t lengthFrames) {
    return CDTrack::make("T", std::nullopt, preGapFrames, lengthFrames * RedBook::samplesPerFrame);
}

std::vector<AudioBlock> blocksOf(const CDProject& project) {
    const auto positions = TimelineCalculator::calculatePositions(project);
    EXPECT_TRUE(positions.has_value());
    return AudioBlock::construct(project, positions.value_or(std::vector<TrackPosition>{}));
}

CDProject projectOf(std::vector<CDTrack> tracks) {
    CDProject project;
    project.tracks = std::move(tracks);
    return project;
}

std::vector<AudioBlock> expected(std::initializer_list<std::variant<Silence, Track, Crossfade>> cases) {
    std::vector<AudioBlock> blocks;
    for (const auto& c : cases)
        blocks.push_back(AudioBlock{c});
    return blocks;
}

TEST(AudioBlock, leadInIsSilenceUpToTheFirstTrack) {
    // The first track's pre-gap is silence from frame 0, at least 150 frames and longer when asked;
    // an empty layout gives no blocks.
    EXPECT_EQ(blocksOf(projectOf({CDTrack::make("T", std::nullopt, 150, 44100)})),
              expected({Silence{0, 150}, Track{0, 150, 75, 0}}));
    EXPECT_TRUE(AudioBlock::construct(CDProject{}, {}).empty());
    EXPECT_EQ(blocksOf(projectOf({track(300, 400)})), expected({Silence{0, 300}, Track{0, 300, 400, 0}}));
    EXPECT_EQ(blocksOf(projectOf({track(-100, 400)})), expected({Silence{0, 150}, Track{0, 150, 400, 0}}));
}

TEST(AudioBlock, gapsBecomeSilenceAndButtedTracksGetNone) {
    // Silence fills only a positive gap; file offsets are the head trim rounded down to frames.
    CDTrack second = track(75, 400);
    second.trimStartSamples = 588 * 10 + 587;
    second.sourceAudioSamples += second.trimStartSamples + 1; // one sample into a 401st frame
    const auto blocks = blocksOf(projectOf({track(150, 400), second, track(0, 300)}));
    EXPECT_EQ(blocks, expected({Silence{0, 150}, Track{0, 150, 400, 0}, Silence{550, 75},
                                Track{1, 625, 401, 10}, Track{2, 1026, 300, 0}}));
}

TEST(AudioBlock, crossfadeCutsThePreviousTrackAndSpansTheWholeOverlap) {
    // The overlap becomes one crossfade block whatever the markers; each side's file offsets follow.
    const auto blocks = blocksOf(projectOf({track(150, 750), track(-150, 750)}));
    EXPECT_EQ(blocks, expected({Silence{0, 150}, Track{0, 150, 600, 0}, Crossfade{0, 1, 750, 150, 600, 0},
                                Track{1, 900, 600, 150}}));

    CDTrack moved = track(-150, 750);
    moved.indexLocked = false;
    moved.index01OffsetFrames = 60;
    EXPECT_EQ(blocksOf(projectOf({track(150, 750), moved})), blocks);

    CDTrack first = track(150, 750);
    first.trimStartSamples = 588 * 20;
    first.sourceAudioSamples += first.trimStartSamples;
    CDTrack trimmed = track(-150, 750);
    trimmed.trimStartSamples = 588 * 5;
    trimmed.sourceAudioSamples += trimmed.trimStartSamples;
    EXPECT_EQ(blocksOf(projectOf({first, trimmed})),
              expected({Silence{0, 150}, Track{0, 150, 600, 20}, Crossfade{0, 1, 750, 150, 620, 5},
                        Track{1, 900, 600, 155}}));
}

TEST(AudioBlock, consumedTracksLeaveOnlyTheCrossfade) {
    // A first track wholly inside the overlap loses its block; a second consumed by a third
    // leaves the earlier crossfade alone.
    EXPECT_EQ(blocksOf(projectOf({track(150, 100), track(-100, 750)})),
              expected({Silence{0, 150}, Crossfade{0, 1, 150, 100, 0, 0}, Track{1, 250, 650, 100}}));

    // Track 2 (400 frames) is overlapped 400 frames by track 1 and 400 by track 3: it has no
    // block of its own, and the second crossfade's cut leaves the first crossfade standing.
    const CDProject chain = projectOf({track(150, 1000), track(-400, 400), track(-400, 1000)});
    const auto positions = TimelineCalculator::calculatePositions(chain);
    ASSERT_FALSE(positions.has_value()); // track 2 has no frame of its own between transitions
    const std::vector<TrackPosition> layout{
        {1, 0, 150, 950, 150, 1150}, {2, 950, 950, 950, 750, 1150}, {3, 950, 950, 1750, 750, 1750}};
    EXPECT_EQ(AudioBlock::construct(chain, layout),
              expected({Silence{0, 150}, Track{0, 150, 600, 0}, Crossfade{0, 1, 750, 400, 600, 0},
                        Crossfade{1, 2, 750, 400, 0, 0}, Track{2, 1150, 600, 400}}));
}

TEST(AudioBlock, zeroLengthTrackKeepsAnEmptyBlock) {
    // Blocks are not filtered: a zero-length track in a laid-out position yields duration 0.
    const CDProject project = projectOf({track(150, 400), track(0, 0), track(75, 300)});
    const std::vector<TrackPosition> layout{
        {1, 0, 150, 550, 150, 550}, {2, 550, 550, 550, 550, 550}, {3, 550, 625, 925, 625, 925}};
    EXPECT_EQ(AudioBlock::construct(project, layout),
              expected({Silence{0, 150}, Track{0, 150, 400, 0}, Track{1, 550, 0, 0}, Silence{550, 75},
                        Track{2, 625, 300, 0}}));
}

} // namespace
} // namespace orvane
