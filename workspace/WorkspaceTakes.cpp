// The take commands of WorkspaceState: the stack of alternative files behind each track. The edit
// fields belong to the track and stay put; what swaps is the active take's file and its own fields
// (date, colour, label, note, rating, converter, phase, loudness). Colours travel with their takes.

#include "workspace/SourceFile.h"
#include "workspace/VersionPalette.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>

namespace orvane {

namespace {

// The active take as a stack entry, under a fresh id; it gets a colour first if it has none.
TrackVersion demoteActiveTake(CDTrack& track) {
    if (!track.activeColorHex) {
        track.activeColorHex = VersionPalette::takeNextColor(track);
    }
    TrackVersion version = TrackVersion::cdActiveOf(track, *track.audioFileURL);
    version.id = Uuid::random();
    version.loudness = track.loudness;
    return version;
}

// The take's own fields become the active take's; the file itself is installed separately.
void adoptTakeFields(CDTrack& track, const TrackVersion& take) {
    track.creationDate = take.creationDate;
    track.activeColorHex = take.colorHex;
    track.activeLabel = take.label;
    track.activeNote = take.note;
    track.activeRating = take.rating;
    track.srcAlgorithm = take.srcAlgorithm;
    track.srcPhase = take.srcPhase;
    track.loudness = take.loudness;
}

std::vector<TrackVersion>::iterator findVersion(CDTrack& track, const Uuid& versionID) {
    return std::find_if(track.versions.begin(), track.versions.end(),
                        [&](const TrackVersion& v) { return v.id == versionID; });
}

} // namespace

void WorkspaceState::updateActiveTrack(std::size_t index, const std::filesystem::path& file) {
    if (index >= project_.tracks.size()) {
        return;
    }
    CDProject edited = project_;
    CDTrack& track = edited.tracks[index];
    track.audioFileURL = FileURL::fromPath(file);
    track.creationDate = SourceFile::creationDate(file);
    // Trims, fades, gain and envelope stay whatever the new file's length.
    if (const auto samples = SourceFile::discSamples(file)) {
        track.sourceAudioSamples = *samples;
    }
    const bool newFile = project_.tracks[index].audioFileURL != track.audioFileURL;
    const CDTrack installed = track;
    setProject(std::move(edited));
    // The figure measured the file that left; showing it beside the new one would mislead.
    if (newFile && hooks.forgetLoudness) {
        hooks.forgetLoudness(installed.id);
    }
    if (hooks.generateTrackPeaks) {
        hooks.generateTrackPeaks(installed);
    }
    if (hooks.invalidateSpectral) {
        hooks.invalidateSpectral(installed.id);
    }
    recalculateTimeline(ReloadPlayback::yes);
}

void WorkspaceState::replaceActiveTrackFile(const Uuid& trackID, const std::filesystem::path& file) {
    if (const auto index = project_.indexOfTrack(trackID)) {
        updateActiveTrack(*index, file);
    }
}

void WorkspaceState::addVersionsToTrack(const std::vector<std::filesystem::path>& files,
                                        const Uuid& trackID) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index || files.empty()) {
        return;
    }
    withUndoGroup([&] {
        for (const auto& file : files) {
            CDProject edited = project_;
            CDTrack& track = edited.tracks[*index];
            if (track.audioFileURL) {
                track.versions.insert(track.versions.begin(), demoteActiveTake(track));
            }
            track.activeColorHex = VersionPalette::takeNextColor(track);
            setProject(std::move(edited));
            updateActiveTrack(*index, file);
        }
    });
}

void WorkspaceState::promoteVersionToActive(const Uuid& requestedTrackID, const Uuid& versionID) {
    // A copy: the caller's id may live inside the project, which the promotion replaces.
    const Uuid trackID = requestedTrackID;
    const auto index = project_.indexOfTrack(trackID);
    if (!index) {
        return;
    }
    CDProject edited = project_;
    CDTrack& track = edited.tracks[*index];
    const auto found = findVersion(track, versionID);
    if (found == track.versions.end()) {
        return;
    }
    const bool wasPlaying = playback_->isPlaying();
    stopPreview();

    TrackVersion promoted = *found;
    if (!promoted.colorHex) {
        promoted.colorHex = VersionPalette::takeNextColor(track);
    }
    track.versions.erase(found);
    if (track.audioFileURL) {
        track.versions.insert(track.versions.begin(), demoteActiveTake(track));
    }
    adoptTakeFields(track, promoted);
    withUndoGroup([&] {
        setProject(std::move(edited));
        updateActiveTrack(*index, promoted.url.path());
    });
    // An audition of the open stack goes on with the new active take.
    if (expandedTrackIDs_.count(trackID) != 0 && hooks.startPreview) {
        hooks.startPreview(trackID, trackID, wasPlaying);
    }
}

void WorkspaceState::deleteActiveTake(const Uuid& trackID) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index || project_.tracks[*index].versions.empty()) {
        return;
    }
    stopPreview();
    CDProject edited = project_;
    CDTrack& track = edited.tracks[*index];
    TrackVersion next = track.versions.front();
    track.versions.erase(track.versions.begin());
    if (!next.colorHex) {
        next.colorHex = VersionPalette::takeNextColor(track);
    }
    adoptTakeFields(track, next);
    withUndoGroup([&] {
        setProject(std::move(edited));
        updateActiveTrack(*index, next.url.path());
    });
}

void WorkspaceState::removeVersion(const Uuid& trackID, const Uuid& versionID) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index) {
        return;
    }
    CDProject edited = project_;
    CDTrack& track = edited.tracks[*index];
    const auto found = findVersion(track, versionID);
    if (found == track.versions.end()) {
        return;
    }
    track.versions.erase(found);
    setProject(std::move(edited));
    recalculateTimeline(ReloadPlayback::yes);
}

void WorkspaceState::replaceVersionFile(const Uuid& trackID, const Uuid& versionID,
                                        const std::filesystem::path& file) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index) {
        return;
    }
    CDProject edited = project_;
    const auto found = findVersion(edited.tracks[*index], versionID);
    if (found == edited.tracks[*index].versions.end()) {
        return;
    }
    // Id, colour, label, note and rating stay; the measurement was of the old file.
    found->url = FileURL::fromPath(file);
    found->creationDate = SourceFile::creationDate(file);
    found->loudness.reset();
    setProject(std::move(edited));
    if (hooks.forgetLoudness) {
        hooks.forgetLoudness(versionID);
    }
    if (hooks.invalidateSpectral) {
        hooks.invalidateSpectral(versionID);
    }
}

void WorkspaceState::toggleExpanded(const Uuid& trackID) {
    std::set<Uuid> expanded = expandedTrackIDs_;
    if (expanded.erase(trackID) == 0) {
        expanded.insert(trackID);
    }
    setExpandedTrackIDs(std::move(expanded));
}

} // namespace orvane
