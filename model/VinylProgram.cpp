#include "model/VinylProgram.h"

#include "model/CDProject.h"
#include "model/TimelineCalculator.h"
#include "model/detail/SaturatingMath.h"

#include <array>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace orvane {

namespace {

using detail::saturatingAdd;
using detail::saturatingSub;

ProgramGroup emptySide(std::size_t index) {
    return ProgramGroup{Uuid::random(), VinylProgram::sideLabel(index), {}, std::nullopt};
}

// The first track of Side B: the balanced split that tears no crossfade apart. Of equal splits
// the earlier wins; with no candidate every track stays on Side A.
std::size_t balancedSplit(const std::vector<CDTrack>& tracks) {
    const std::size_t n = tracks.size();
    std::vector<std::int64_t> lengthFrames(n);
    std::int64_t total = 0;
    for (std::size_t i = 0; i < n; ++i) {
        lengthFrames[i] = tracks[i].effectiveLength().totalFrames;
        total = saturatingAdd(total, lengthFrames[i]);
    }

    std::size_t split = n;
    std::int64_t bestDifference = 0;
    std::int64_t before = 0;
    for (std::size_t k = 1; k < n; ++k) {
        before = saturatingAdd(before, lengthFrames[k - 1]);
        if (tracks[k].preGap.totalFrames < 0)
            continue; // a segue stays on one side
        const std::int64_t after = saturatingSub(total, before);
        const std::int64_t difference =
            before >= after ? saturatingSub(before, after) : saturatingSub(after, before);
        if (split == n || difference < bestDifference) {
            split = k;
            bestDifference = difference;
        }
    }
    return split;
}

ProgramGroup sideOf(const std::vector<CDTrack>& tracks, std::size_t from, std::size_t to,
                    std::size_t sideIndex) {
    ProgramGroup side = emptySide(sideIndex);
    for (std::size_t i = from; i < to; ++i) {
        // The side's opening needs no gap of its own; inside a side the CD's gaps and segues carry over.
        const std::int64_t gap = i == from ? 0 : tracks[i].preGap.totalFrames;
        side.entries.push_back(ProgramEntry{Uuid::random(), tracks[i].id, gap, std::nullopt});
    }
    return side;
}

constexpr std::array<VinylFormat, 4> kPresets{{
    {"12″ · 33⅓ rpm", 99000},
    {"12″ · 45 rpm", 63000},
    {"10″ · 33⅓ rpm", 67500},
    {"7″ · 45 rpm", 24750},
}};

} // namespace

VinylEdit VinylEdit::from(const CDTrack& track) {
    VinylEdit edit;
    edit.trimStartSamples = track.trimStartSamples;
    edit.trimEndSamples = track.trimEndSamples;
    edit.fadeInSamples = track.fadeInSamples;
    edit.fadeOutSamples = track.fadeOutSamples;
    edit.fadeInCurve = track.fadeInCurve;
    edit.fadeOutCurve = track.fadeOutCurve;
    edit.gainEnabled = track.gainEnabled;
    edit.gainDB = track.gainDB;
    edit.crossfadeCurve = track.crossfadeCurve;
    edit.envelopeEnabled = track.envelopeEnabled;
    edit.gainPoints = track.gainPoints;
    edit.envelopeSmoothing = track.envelopeSmoothing;
    return edit;
}

void VinylEdit::apply(CDTrack& track) const {
    if (takeURL) {
        // The vinyl take replaces the active one whole, absent converter settings included.
        track.audioFileURL = takeURL;
        track.sourceAudioSamples = takeSourceSamples;
        track.srcAlgorithm = takeSRCAlgorithm;
        track.srcPhase = takeSRCPhase;
    }
    track.trimStartSamples = trimStartSamples;
    track.trimEndSamples = trimEndSamples;
    track.fadeInSamples = fadeInSamples;
    track.fadeOutSamples = fadeOutSamples;
    track.fadeInCurve = fadeInCurve;
    track.fadeOutCurve = fadeOutCurve;
    track.gainEnabled = gainEnabled;
    track.gainDB = gainDB;
    track.crossfadeCurve = crossfadeCurve;
    track.envelopeEnabled = envelopeEnabled;
    track.gainPoints = gainPoints;
    track.envelopeSmoothing = envelopeSmoothing;
}

std::span<const VinylFormat> VinylFormat::presets() {
    return kPresets;
}

std::string VinylProgram::sideLabel(std::size_t index) {
    constexpr std::string_view letters = "ABCDEFGH";
    if (index < letters.size())
        return std::string("Side ") + letters[index];
    return "Side " + std::to_string(index + 1);
}

VinylProgram VinylProgram::defaultProgram(const CDProject& project) {
    const std::vector<CDTrack>& tracks = project.tracks;
    const std::size_t split = tracks.empty() ? 0 : balancedSplit(tracks);
    VinylProgram program;
    program.sides.push_back(sideOf(tracks, 0, split, 0));
    program.sides.push_back(sideOf(tracks, split, tracks.size(), 1));
    program.sideTargetFrames = 99000;
    program.formatName = std::nullopt;
    return program;
}

void VinylProgram::sanitize(const CDProject& project) {
    std::unordered_set<Uuid> present;
    for (const CDTrack& track : project.tracks)
        present.insert(track.id);
    std::unordered_set<Uuid> seen;
    for (ProgramGroup& side : sides) {
        std::erase_if(side.entries, [&](const ProgramEntry& entry) {
            // The first placement of a track stays, across sides; later ones go.
            return !present.contains(entry.trackID) || !seen.insert(entry.trackID).second;
        });
    }
    while (sides.size() < 2)
        sides.push_back(emptySide(sides.size()));
}

void VinylProgram::removeSide(std::size_t index) {
    if (sides.size() <= 2 || index >= sides.size())
        return;
    sides.erase(sides.begin() + static_cast<std::ptrdiff_t>(index));
    // Labels follow the position, custom ones included.
    for (std::size_t i = 0; i < sides.size(); ++i)
        sides[i].label = sideLabel(i);
}

std::optional<EntryLocation> VinylProgram::entryLocation(const Uuid& trackID) const {
    for (std::size_t side = 0; side < sides.size(); ++side)
        for (std::size_t position = 0; position < sides[side].entries.size(); ++position)
            if (sides[side].entries[position].trackID == trackID)
                return EntryLocation{side, position};
    return std::nullopt;
}

std::optional<VinylEdit> VinylProgram::edit(const Uuid& trackID) const {
    const std::optional<EntryLocation> location = entryLocation(trackID);
    if (!location)
        return std::nullopt;
    return sides[location->side].entries[location->position].edit;
}

std::optional<std::size_t> VinylProgram::sideIndex(const Uuid& trackID) const {
    if (const std::optional<EntryLocation> location = entryLocation(trackID))
        return location->side;
    return std::nullopt;
}

std::vector<Uuid> VinylProgram::unusedTrackIDs(const CDProject& project) const {
    std::unordered_set<Uuid> placed;
    for (const ProgramGroup& side : sides)
        for (const ProgramEntry& entry : side.entries)
            placed.insert(entry.trackID);
    std::vector<Uuid> unused;
    for (const CDTrack& track : project.tracks)
        if (!placed.contains(track.id))
            unused.push_back(track.id);
    return unused;
}

std::optional<CDTrack> VinylProgram::effectiveTrack(const Uuid& trackID, const CDProject& project) const {
    const std::optional<std::size_t> index = project.indexOfTrack(trackID);
    if (!index)
        return std::nullopt;
    CDTrack track = project.tracks[*index];
    if (const std::optional<VinylEdit> vinylEdit = edit(trackID))
        vinylEdit->apply(track);
    return track;
}

CDProject VinylProgram::sideProject(std::size_t index, const CDProject& project) const {
    // Only what a side's render and layout need of the album comes along.
    CDProject side;
    side.albumTitle = project.albumTitle;
    side.albumPerformer = project.albumPerformer;
    side.masterSRC = project.masterSRC;
    side.masterDither = project.masterDither;
    side.masterSRCPhase = project.masterSRCPhase;
    side.srcHybridMode = project.srcHybridMode;
    if (index >= sides.size())
        return side;

    std::unordered_map<Uuid, const CDTrack*> byID;
    for (const CDTrack& track : project.tracks)
        byID.emplace(track.id, &track); // of repeated ids the first stands
    const std::vector<ProgramEntry>& entries = sides[index].entries;
    for (std::size_t position = 0; position < entries.size(); ++position) {
        const ProgramEntry& entry = entries[position];
        const auto found = byID.find(entry.trackID);
        if (found == byID.end())
            continue; // the position still counts, so a later first track keeps its own gap
        CDTrack track = *found->second;
        track.preGap = CDTime::frames(position == 0 ? RedBook::track1PregapFrames : entry.gapFrames);
        if (entry.edit)
            entry.edit->apply(track);
        // No CD index marker of the track reaches a side.
        track.indexLocked = true;
        track.index01OffsetFrames = 0;
        track.subIndexFrames.clear();
        side.tracks.push_back(std::move(track));
    }
    return side;
}

std::optional<std::int64_t> VinylProgram::sideLengthFrames(std::size_t index,
                                                           const CDProject& project) const {
    const CDProject side = sideProject(index, project);
    if (side.tracks.empty())
        return std::nullopt;
    const auto positions = TimelineCalculator::calculatePositions(side);
    if (!positions || positions->empty())
        return std::nullopt;
    // The 2-second lead-in before the first track is not part of a side.
    return saturatingSub(positions->back().audioEndLBA, positions->front().audioStartLBA);
}

} // namespace orvane
