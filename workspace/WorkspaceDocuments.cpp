// The document operations of WorkspaceState: save, open, close, import and append, and the two
// rules that bring an older or imported document up to the present ones.

#include "workspace/ProjectStore.h"
#include "workspace/VersionPalette.h"
#include "workspace/WorkspaceState.h"

#include <cassert>
#include <system_error>
#include <utility>

namespace orvane {

namespace {

// Sets suppressHistory for a scope and gives it its old value back.
class HistorySuppressed final {
  public:
    explicit HistorySuppressed(bool& flag) : flag_(flag), old_(std::exchange(flag, true)) {}
    ~HistorySuppressed() { flag_ = old_; }
    HistorySuppressed(const HistorySuppressed&) = delete;
    HistorySuppressed& operator=(const HistorySuppressed&) = delete;

  private:
    bool& flag_;
    bool old_;
};

std::filesystem::path absolutePath(const std::filesystem::path& path) {
    std::error_code error;
    auto absolute = std::filesystem::absolute(path, error);
    return error ? path : absolute;
}

} // namespace

void WorkspaceState::assertNoGestureOpen() const {
    assert(!isInteractive_ && "a document operation runs only when no gesture is open");
}

void WorkspaceState::queueRecoveryClear() {
    if (hooks.clearRecoveryFile) {
        autosaveQueue_.async(hooks.clearRecoveryFile);
    }
}

void WorkspaceState::saveProject(const std::filesystem::path& path) {
    assertNoGestureOpen();
    // The written copy carries the measurements; savedSnapshot keeps the live value, so merging
    // them doesn't make the project read as modified.
    const CDProject toWrite = hooks.projectWithLoudness ? hooks.projectWithLoudness(project_) : project_;
    const std::string bytes = ProjectStore::encode(ProjectFile{1, toWrite});
    ProjectStore::writeAtomically(path, bytes);

    setProjectFileURL(absolutePath(path));
    savedSnapshot_ = project_;
    lastAutosaved_.reset();
    recomputeModified();
    queueRecoveryClear();
}

void WorkspaceState::openProject(const std::filesystem::path& path) {
    assertNoGestureOpen();
    // Reading, decoding and the version check all come before anything is touched.
    ProjectFile file = ProjectStore::load(path);
    adoptReplacementProject(std::move(file.project), absolutePath(path), true);
}

void WorkspaceState::importProject(CDProject imported) {
    assertNoGestureOpen();
    adoptReplacementProject(std::move(imported), std::nullopt, false);
}

void WorkspaceState::resetForReplacedDocument() {
    playback_->stop();
    stopPreview();
    setSelectedTrackID(std::nullopt);
    setSelectedVersionID(std::nullopt);
    setExpandedTrackIDs({});
}

// Opening and importing share every step but where the document lives and what counts as saved.
// The loop, the pin and takePeaksCache stay as they are.
void WorkspaceState::adoptReplacementProject(CDProject replacement,
                                             std::optional<std::filesystem::path> fileURL,
                                             bool keepSavedSnapshot) {
    resetForReplacedDocument();
    setVinylMode(false);
    setActiveSideIndex(0);
    clearPeaksCache();
    if (hooks.clearLoudness) {
        hooks.clearLoudness();
    }
    {
        HistorySuppressed suppressed(suppressHistory);
        setProject(std::move(replacement));
    }
    normalizeVersionColors();
    materializeHybridSRCOverrides();

    setProjectFileURL(std::move(fileURL));
    undoManager_.removeAllActions();
    // Taken after the normalisation, so that bringing an old document up to date isn't a change.
    savedSnapshot_ = keepSavedSnapshot ? std::optional<CDProject>(project_) : std::nullopt;
    lastAutosaved_.reset();
    recomputeModified();
    queueRecoveryClear();

    if (hooks.seedLoudnessFromProject) {
        hooks.seedLoudnessFromProject();
    }
    recalculateTimeline(ReloadPlayback::yes);
    regeneratePeaks();
}

void WorkspaceState::closeProject() {
    assertNoGestureOpen();
    resetForReplacedDocument();
    clearLoop();
    setLockedPlayStartSample(std::nullopt);
    setVinylMode(false);
    setActiveSideIndex(0);
    clearPeaksCache();
    clearTakePeaksCache();
    if (hooks.clearLoudness) {
        hooks.clearLoudness();
    }
    {
        HistorySuppressed suppressed(suppressHistory);
        setProject(CDProject{});
    }
    setProjectFileURL(std::nullopt);
    undoManager_.removeAllActions();
    savedSnapshot_ = project_;
    lastAutosaved_.reset();
    recomputeModified();
    queueRecoveryClear();
    recalculateTimeline(ReloadPlayback::yes);
    regeneratePeaks();
}

void WorkspaceState::appendImportedTracks(const CDProject& other) {
    assertNoGestureOpen();
    if (other.tracks.empty()) {
        return;
    }
    const std::size_t firstNew = project_.tracks.size();
    withUndoGroup([&] {
        CDProject appended = project_;
        appended.tracks.insert(appended.tracks.end(), other.tracks.begin(), other.tracks.end());
        setProject(std::move(appended));
        materializeHybridSRCOverrides();
    });
    recalculateTimeline(ReloadPlayback::yes);
    if (hooks.generateTrackPeaks) {
        for (std::size_t i = firstNew; i < project_.tracks.size(); ++i) {
            if (project_.tracks[i].audioFileURL) {
                hooks.generateTrackPeaks(project_.tracks[i]);
            }
        }
    }
    setSelectedTrackID(project_.tracks[firstNew].id);
}

void WorkspaceState::normalizeVersionColors() {
    CDProject normalized = project_;
    for (CDTrack& track : normalized.tracks) {
        // A plain one-take track stays uncoloured.
        if (track.versions.empty()) {
            continue;
        }
        if (!track.activeColorHex) {
            track.activeColorHex = VersionPalette::takeNextColor(track);
        }
        for (TrackVersion& version : track.versions) {
            if (!version.colorHex) {
                version.colorHex = VersionPalette::takeNextColor(track);
            }
        }
    }
    if (normalized != project_) {
        setProject(std::move(normalized));
    }
}

void WorkspaceState::materializeHybridSRCOverrides() {
    if (!project_.isSRCHybrid()) {
        return;
    }
    CDProject materialized = project_;
    const std::string algorithm = materialized.effectiveMasterSRC();
    const std::string phase = materialized.effectiveMasterSRCPhase();
    for (CDTrack& track : materialized.tracks) {
        if (!track.srcAlgorithm) {
            track.srcAlgorithm = algorithm;
        }
        if (!track.srcPhase) {
            track.srcPhase = phase;
        }
        for (TrackVersion& version : track.versions) {
            if (!version.srcAlgorithm) {
                version.srcAlgorithm = algorithm;
            }
            if (!version.srcPhase) {
                version.srcPhase = phase;
            }
        }
    }
    if (materialized != project_) {
        setProject(std::move(materialized));
    }
}

std::string WorkspaceState::nextVersionColor(std::size_t trackIndex) {
    if (trackIndex >= project_.tracks.size()) {
        return {};
    }
    CDProject advanced = project_;
    std::string color = VersionPalette::takeNextColor(advanced.tracks[trackIndex]);
    setProject(std::move(advanced));
    return color;
}

} // namespace orvane
