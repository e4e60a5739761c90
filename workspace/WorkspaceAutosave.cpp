// The recovery copy as WorkspaceState keeps it: the once-a-minute tick, the baseline reset of the
// document operations, the clear at a normal quit and the restore after a crash.

#include "workspace/AutosaveStore.h"
#include "workspace/ProjectStore.h"
#include "workspace/WorkspaceState.h"

#include <system_error>
#include <utility>

namespace orvane {

void WorkspaceState::startAutosaveTimer(std::filesystem::path directory) {
    stopAutosaveTimer();
    recoveryDirectory_ = std::move(directory);
    hooks.clearRecoveryFile = [folder = recoveryDirectory_] { AutosaveStore::clear(folder); };
    // The timer lives on the loop, which outlives nothing of ours: a tick after the workspace is
    // gone is dropped through the alive token.
    std::weak_ptr<int> alive = aliveToken_;
    autosaveTimer_ = loop_.addTimer(autosaveIntervalSeconds, TimerRepeat::repeating, [this, alive] {
        if (!alive.expired()) {
            autosaveTick();
        }
    });
}

void WorkspaceState::stopAutosaveTimer() {
    if (autosaveTimer_) {
        loop_.cancelTimer(*autosaveTimer_);
        autosaveTimer_.reset();
    }
}

void WorkspaceState::autosaveTick() {
    // A copy taken mid-drag would hold half a gesture; the next tick sees the finished one.
    if (isInteractive_) {
        return;
    }
    if (!isModified_) {
        if (lastAutosaved_) {
            resetAutosaveBaseline();
        }
        return;
    }
    if (lastAutosaved_ && *lastAutosaved_ == project_) {
        return;
    }
    lastAutosaved_ = project_;
    // The queue encodes its own copy, so the main thread never waits on the JSON.
    autosaveQueue_.async([project = project_, original = projectFileURL_, folder = recoveryDirectory_] {
        try {
            AutosaveStore::write(project, original, folder);
        } catch (const AutosaveError&) {
            // Dropped on purpose: the copy is a courtesy, and the next change tries again.
        }
    });
}

void WorkspaceState::resetAutosaveBaseline() {
    lastAutosaved_.reset();
    queueRecoveryClear();
}

void WorkspaceState::clearAutosaveForTermination() {
    if (hooks.clearRecoveryFile) {
        autosaveQueue_.sync(hooks.clearRecoveryFile);
    } else {
        autosaveQueue_.waitUntilIdle();
    }
}

void WorkspaceState::restoreFromRecovery(const RecoveryFile& file) {
    assertNoGestureOpen();
    playback_->stop();
    stopPreview();
    setSelectedTrackID(std::nullopt);
    setSelectedVersionID(std::nullopt);
    setExpandedTrackIDs({});
    setVinylMode(false);
    setActiveSideIndex(0);
    clearPeaksCache();

    setProject(file.project);
    normalizeVersionColors();
    materializeHybridSRCOverrides();

    std::optional<std::filesystem::path> original;
    if (file.originalPath) {
        std::error_code error;
        if (std::filesystem::is_regular_file(*file.originalPath, error)) {
            original = std::filesystem::path(*file.originalPath);
        }
    }
    setProjectFileURL(original);
    undoManager_.removeAllActions();

    // The document on disk is the baseline, so the restored project reads as modified exactly when
    // it differs from what a save would overwrite.
    savedSnapshot_.reset();
    if (original) {
        try {
            ProjectFile onDisk = ProjectStore::load(*original);
            savedSnapshot_ = std::move(onDisk.project);
        } catch (const ProjectStoreError&) {
            // An unreadable document gives no baseline; the project then reads as modified.
        }
    }
    recomputeModified();
    if (hooks.seedLoudnessFromProject) {
        hooks.seedLoudnessFromProject();
    }
    recalculateTimeline(ReloadPlayback::yes);
    regeneratePeaks();
}

} // namespace orvane
