#pragma once
// The observable properties of WorkspaceState: a subscriber is told which one changed and reads
// the new value from the workspace. Main thread only.

namespace orvane {

enum class WorkspaceProperty {
    project,
    trackPositions,
    isModified,
    canUndo,
    canRedo,
    peaksCache,
    takePeaksCache,
    selectedTrackID,
    selectedVersionID,
    inspectorTab,
    expandedTrackIDs,
    scrollMode,
    zoomToCursor,
    preview, // the take audition group: previewURL, previewPeaks, previewLengthFrames, ...
    srcCacheState,
    currentTime,
    monitorVolume,
    scrubVolume,
    monitorDimmed,
    vinylMode,
    activeSideIndex,
    sidePositions,
    centerOnPlayheadTrigger,
    revealPlayheadTrigger,
    lockedPlayStart,
    showShortcutsOverlay,
    loopStartFrame,
    loopEndFrame,
    loopMode,
    snapEnabled,
    projectFileURL,
};

// Which inspector the column shows; the first case is the initial one.
enum class InspectorTab { master, track, take };

} // namespace orvane
