// The sample-rate settings of WorkspaceState. Locked mode: every track and take follows the master
// converter and phase. Hybrid mode: each holds its own, given concretely the moment it arrives, so
// a later change of the master can't reach it.

#include "render/SRCRenderer.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>

namespace orvane {

namespace {

constexpr std::string_view hybridLabel = "Hybrid";

template <typename Change> void forEveryTrackAndTake(CDProject& project, Change change) {
    for (CDTrack& track : project.tracks) {
        change(track.srcAlgorithm, track.srcPhase);
        for (TrackVersion& version : track.versions) {
            change(version.srcAlgorithm, version.srcPhase);
        }
    }
}

TrackVersion* findVersion(CDProject& project, std::size_t index, const Uuid& versionID) {
    auto& versions = project.tracks[index].versions;
    const auto it = std::find_if(versions.begin(), versions.end(),
                                 [&](const TrackVersion& v) { return v.id == versionID; });
    return it == versions.end() ? nullptr : &*it;
}

} // namespace

std::string WorkspaceState::srcDisplayValue() const {
    return srcIsHybrid() ? std::string(hybridLabel) : project_.effectiveMasterSRC();
}

void WorkspaceState::refreshAfterMasterSRCChange() {
    recalculateTimeline(ReloadPlayback::yes);
    playback_->rebuildSRCCaches(project_);
    if (hooks.clearSpectralCache) {
        hooks.clearSpectralCache();
    }
    if (hooks.refreshPreviewWaveform) {
        hooks.refreshPreviewWaveform();
    }
}

void WorkspaceState::setMasterSRC(const std::string& name) {
    CDProject edited = project_;
    edited.masterSRC = name;
    // Off without inventing the field on a project that never had it.
    if (edited.isSRCHybrid()) {
        edited.srcHybridMode = false;
    }
    forEveryTrackAndTake(edited, [](auto& algorithm, auto& phase) {
        algorithm.reset();
        phase.reset();
    });
    setProject(std::move(edited));
    refreshAfterMasterSRCChange();
}

void WorkspaceState::setMasterHybrid() {
    if (srcIsHybrid()) {
        return;
    }
    withUndoGroup([&] {
        CDProject edited = project_;
        edited.srcHybridMode = true;
        setProject(std::move(edited));
        materializeHybridSRCOverrides();
    });
    recalculateTimeline(ReloadPlayback::yes);
    if (hooks.refreshPreviewWaveform) {
        hooks.refreshPreviewWaveform();
    }
}

void WorkspaceState::setMasterPhase(const std::string& name) {
    CDProject edited = project_;
    edited.masterSRCPhase = name;
    forEveryTrackAndTake(edited, [](auto&, auto& phase) { phase.reset(); });
    setProject(std::move(edited));
    refreshAfterMasterSRCChange();
}

void WorkspaceState::setTrackSRC(const Uuid& trackID, const std::string& algorithm) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index || project_.tracks[*index].srcAlgorithm == algorithm) {
        return;
    }
    CDProject edited = project_;
    edited.tracks[*index].srcAlgorithm = algorithm;
    setProject(std::move(edited));
    recalculateTimeline(ReloadPlayback::yes);
    if (hooks.refreshPreviewWaveform) {
        hooks.refreshPreviewWaveform();
    }
}

void WorkspaceState::setTrackPhase(const Uuid& trackID, const std::string& phase) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index || project_.tracks[*index].srcPhase == phase) {
        return;
    }
    CDProject edited = project_;
    edited.tracks[*index].srcPhase = phase;
    setProject(std::move(edited));
    recalculateTimeline(ReloadPlayback::yes);
    if (hooks.refreshPreviewWaveform) {
        hooks.refreshPreviewWaveform();
    }
}

void WorkspaceState::setVersionSRC(const Uuid& trackID, const Uuid& versionID, const std::string& algorithm) {
    setVersionSetting(trackID, versionID, &TrackVersion::srcAlgorithm, &CDTrack::srcAlgorithm, algorithm);
}

void WorkspaceState::setVersionPhase(const Uuid& trackID, const Uuid& versionID, const std::string& phase) {
    setVersionSetting(trackID, versionID, &TrackVersion::srcPhase, &CDTrack::srcPhase, phase);
}

void WorkspaceState::setVersionSetting(const Uuid& trackID, const Uuid& versionID,
                                       TakeSetting TrackVersion::*takeField, TakeSetting CDTrack::*trackField,
                                       const std::string& value) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index) {
        return;
    }
    CDProject edited = project_;
    TrackVersion* version = findVersion(edited, *index, versionID);
    if (version == nullptr || version->*takeField == value) {
        return;
    }
    const bool vinylPlaysIt = vinylMode_ && vinylTakeVersionID(trackID) == versionID;
    version->*takeField = value;
    withUndoGroup([&] {
        setProject(std::move(edited));
        if (vinylPlaysIt) {
            vinylMutateEdit(trackID, [&](CDTrack& heard) { heard.*trackField = value; });
        }
    });
    if (vinylPlaysIt) {
        recalculateTimeline(ReloadPlayback::yes);
    }
    if (hooks.invalidateSpectral) {
        hooks.invalidateSpectral(versionID);
    }
    if (hooks.refreshPreviewWaveform) {
        hooks.refreshPreviewWaveform();
    }
}

void WorkspaceState::rebuildTrackSRCCache(const Uuid& trackID) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index) {
        return;
    }
    const CDTrack& track = project_.tracks[*index];
    if (!track.audioFileURL || !SRCRenderer::needsSRC(track.audioFileURL->path())) {
        return;
    }
    playback_->rebuildSRCCache(track.id, track.audioFileURL->path(), project_.effectiveMasterSRC(),
                               track.srcAlgorithm, project_.effectiveMasterSRCPhase(), track.srcPhase);
}

void WorkspaceState::rebuildVersionSRCCache(const Uuid& trackID, const Uuid& versionID) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index) {
        return;
    }
    const auto& versions = project_.tracks[*index].versions;
    const auto it = std::find_if(versions.begin(), versions.end(),
                                 [&](const TrackVersion& v) { return v.id == versionID; });
    if (it == versions.end() || !SRCRenderer::needsSRC(it->url.path())) {
        return;
    }
    playback_->rebuildSRCCache(it->id, it->url.path(), project_.effectiveMasterSRC(), it->srcAlgorithm,
                               project_.effectiveMasterSRCPhase(), it->srcPhase);
}

} // namespace orvane
