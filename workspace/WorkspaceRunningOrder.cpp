// The running-order commands of WorkspaceState: files dropped in as new tracks, reordering and
// removal.

#include "metadata/AudioMetadataReader.h"
#include "model/RedBook.h"
#include "workspace/SourceFile.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>
#include <iterator>

namespace orvane {

namespace {

// A new track from a readable audio file, its tags pre-filling what they can; nothing otherwise.
std::optional<CDTrack> trackFromFile(const std::filesystem::path& file) {
    const auto samples = SourceFile::discSamples(file);
    if (!samples) {
        return std::nullopt;
    }
    const AudioFileMetadata tags = AudioMetadataReader::read(file);
    std::string title = tags.title ? *tags.title : file.stem().string();
    CDTrack track = CDTrack::make(std::move(title), tags.isrc, RedBook::track1PregapFrames, *samples);
    track.audioFileURL = FileURL::fromPath(file);
    track.performer = tags.performer;
    track.songwriter = tags.songwriter;
    track.composer = tags.composer;
    track.creationDate = SourceFile::creationDate(file);
    return track;
}

} // namespace

void WorkspaceState::addDroppedFiles(const std::vector<std::filesystem::path>& files,
                                     std::optional<std::size_t> at) {
    std::vector<Uuid> added;
    withUndoGroup([&] {
        std::size_t insertAt = std::min(at.value_or(project_.tracks.size()), project_.tracks.size());
        for (const auto& file : files) {
            auto track = trackFromFile(file);
            if (!track) {
                continue; // an unreadable file is passed over without a word
            }
            CDProject grown = project_;
            grown.tracks.insert(grown.tracks.begin() + static_cast<std::ptrdiff_t>(insertAt), *track);
            ++insertAt;
            added.push_back(track->id);
            setProject(std::move(grown));
            if (hooks.generateTrackPeaks) {
                hooks.generateTrackPeaks(*track);
            }
        }
        materializeHybridSRCOverrides();
    });
    recalculateTimeline(ReloadPlayback::yes);
    if (!added.empty()) {
        setSelectedTrackID(added.front());
    }
}

void WorkspaceState::reorderTracks(const std::set<std::size_t>& from, std::size_t to) {
    const std::size_t count = project_.tracks.size();
    std::vector<std::size_t> moving;
    std::copy_if(from.begin(), from.end(), std::back_inserter(moving),
                 [&](std::size_t i) { return i < count; });
    if (moving.empty()) {
        return;
    }
    CDProject reordered = project_;
    std::vector<CDTrack> moved;
    for (std::size_t i : moving) {
        moved.push_back(reordered.tracks[i]);
    }
    for (auto it = moving.rbegin(); it != moving.rend(); ++it) {
        reordered.tracks.erase(reordered.tracks.begin() + static_cast<std::ptrdiff_t>(*it));
    }
    const auto below = static_cast<std::size_t>(
        std::count_if(moving.begin(), moving.end(), [&](std::size_t i) { return i < to; }));
    const std::size_t destination = std::min(to - below, reordered.tracks.size());
    reordered.tracks.insert(reordered.tracks.begin() + static_cast<std::ptrdiff_t>(destination),
                            moved.begin(), moved.end());
    // Whatever arrives in first place gets the lead-in; a former first track keeps its gap as it is.
    CDTime& firstGap = reordered.tracks.front().preGap;
    if (firstGap.totalFrames < RedBook::track1PregapFrames) {
        firstGap = CDTime::frames(RedBook::track1PregapFrames);
    }
    setProject(std::move(reordered));
    recalculateTimeline(ReloadPlayback::yes);
}

void WorkspaceState::forgetTrackCaches(const Uuid& trackID) {
    if (selectedTrackID_ == trackID) {
        setSelectedTrackID(std::nullopt);
    }
    if (expandedTrackIDs_.count(trackID) != 0) {
        std::set<Uuid> expanded = expandedTrackIDs_;
        expanded.erase(trackID);
        setExpandedTrackIDs(std::move(expanded));
    }
    if (peaksCache_.erase(trackID) != 0) {
        notify(WorkspaceProperty::peaksCache);
    }
}

void WorkspaceState::removeTrack(std::size_t at) {
    if (at >= project_.tracks.size()) {
        return;
    }
    forgetTrackCaches(project_.tracks[at].id);
    CDProject shrunk = project_;
    shrunk.tracks.erase(shrunk.tracks.begin() + static_cast<std::ptrdiff_t>(at));
    if (shrunk.vinylProgram) {
        shrunk.vinylProgram->sanitize(shrunk);
    }
    setProject(std::move(shrunk));
    recalculateTimeline(ReloadPlayback::yes);
}

void WorkspaceState::removeTracks(const std::vector<std::size_t>& at) {
    std::set<std::size_t> valid;
    for (std::size_t i : at) {
        if (i < project_.tracks.size()) {
            valid.insert(i);
        }
    }
    if (valid.empty()) {
        return;
    }
    withUndoGroup([&] {
        for (auto it = valid.rbegin(); it != valid.rend(); ++it) {
            removeTrack(*it);
        }
    });
}

} // namespace orvane
