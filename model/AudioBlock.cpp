#include "model/AudioBlock.h"

#include "model/CDProject.h"
#include "model/detail/SaturatingMath.h"

#include <algorithm>

namespace orvane {

namespace {

using detail::saturatingAdd;
using detail::saturatingSub;

// The file offset of a track's first audible frame: the head trim rounded down to whole frames.
std::int64_t trimFrames(const CDTrack& track) {
    return track.trimStartSamples / RedBook::samplesPerFrame;
}

// Shortens the previous track's block to end where the overlap begins; a block cut to nothing goes.
void cutLastTrackBlock(std::vector<AudioBlock>& blocks, std::int64_t overlapStart) {
    if (blocks.empty())
        return;
    auto* last = std::get_if<AudioBlock::Track>(&blocks.back().value);
    if (last == nullptr)
        return;
    AudioBlock::Track shortened = *last;
    blocks.pop_back();
    shortened.durationFrames = saturatingSub(overlapStart, shortened.startFrame);
    if (shortened.durationFrames >= 1)
        blocks.push_back(AudioBlock{shortened});
}

void appendCrossfade(std::vector<AudioBlock>& blocks, const CDProject& project, std::int64_t index,
                     const TrackPosition& position) {
    const CDTrack& previous = project.tracks[static_cast<std::size_t>(index - 1)];
    const CDTrack& track = project.tracks[static_cast<std::size_t>(index)];
    const std::int64_t overlap = detail::saturatingNegate(track.preGap.totalFrames);

    cutLastTrackBlock(blocks, position.audioStartLBA);
    const std::int64_t previousFileEnd =
        saturatingAdd(trimFrames(previous), previous.effectiveLength().totalFrames);
    blocks.push_back(
        AudioBlock{AudioBlock::Crossfade{index - 1, index, position.audioStartLBA, overlap,
                                         saturatingSub(previousFileEnd, overlap), trimFrames(track)}});
    const std::int64_t overlapEnd = saturatingAdd(position.audioStartLBA, overlap);
    const std::int64_t rest = saturatingSub(position.audioEndLBA, overlapEnd);
    if (rest >= 1)
        blocks.push_back(AudioBlock{
            AudioBlock::Track{index, overlapEnd, rest, saturatingAdd(trimFrames(track), overlap)}});
}

} // namespace

std::int64_t AudioBlock::startFrame() const {
    return std::visit([](const auto& block) { return block.startFrame; }, value);
}

std::int64_t AudioBlock::durationFrames() const {
    return std::visit([](const auto& block) { return block.durationFrames; }, value);
}

std::vector<AudioBlock> AudioBlock::construct(const CDProject& project,
                                              const std::vector<TrackPosition>& positions) {
    std::vector<AudioBlock> blocks;
    // Positions always come from this project's layout; a stale list longer than the project is cut.
    const std::size_t count = std::min(positions.size(), project.tracks.size());
    blocks.reserve(count * 2 + 1);
    for (std::size_t k = 0; k < count; ++k) {
        const TrackPosition& position = positions[k];
        const CDTrack& track = project.tracks[k];
        const auto index = static_cast<std::int64_t>(k);
        if (k == 0) {
            if (position.audioStartLBA >= 1)
                blocks.push_back(AudioBlock{Silence{0, position.audioStartLBA}});
        } else if (track.preGap.totalFrames < 0) {
            appendCrossfade(blocks, project, index, position);
            continue;
        } else if (positions[k - 1].audioEndLBA < position.audioStartLBA) {
            const std::int64_t gapStart = positions[k - 1].audioEndLBA;
            blocks.push_back(AudioBlock{Silence{gapStart, saturatingSub(position.audioStartLBA, gapStart)}});
        }
        // A track of zero effective length still gets its (empty) block; blocks are not filtered.
        blocks.push_back(AudioBlock{Track{index, position.audioStartLBA,
                                          saturatingSub(position.audioEndLBA, position.audioStartLBA),
                                          trimFrames(track)}});
    }
    return blocks;
}

} // namespace orvane
