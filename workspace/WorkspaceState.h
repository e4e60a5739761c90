#pragma once
// The one central state object: it owns the open project, its derived layout, undo, the modified
// flag, the selection, the playback engine and the caches keyed by track. Every edit is a call to
// one of its operations and every view observes its properties (subscribe). The project is a
// value: an edit replaces it whole, undo keeps whole earlier values, and everything else is
// derived again from the new one. Main thread only; made once and kept for the process's life.

#include "model/CDProject.h"
#include "model/FileURL.h"
#include "model/ProjectEnums.h"
#include "model/TrackPosition.h"
#include "model/Uuid.h"
#include "platform/DefaultsStore.h"
#include "platform/MainLoop.h"
#include "platform/SerialQueue.h"
#include "platform/UndoManager.h"
#include "workspace/AutosaveStore.h"
#include "workspace/PlaybackControl.h"
#include "workspace/WorkspaceHooks.h"
#include "workspace/WorkspaceProperty.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace orvane {

// Whether a timeline recalculation hands the new layout to the engine.
enum class ReloadPlayback { no, yes };

// A loop's edges in frames, smaller first.
struct LoopFrames {
    std::int64_t startFrame = 0;
    std::int64_t endFrame = 0;
    bool operator==(const LoopFrames&) const = default;
};

// One source of a track's take stack as an audition plays it: the file, the converter and phase it
// sounds through, and the colour the views mark it with.
struct PreviewSource {
    FileURL url;
    std::string algorithm;
    std::string phase;
    std::optional<std::string> colorHex;
    bool operator==(const PreviewSource&) const = default;
};

// The take audition group (the audition itself lives with the engine).
struct PreviewState {
    std::optional<FileURL> previewURL;
    std::vector<float> previewPeaks;
    std::int64_t previewLengthFrames = 0;
    std::optional<Uuid> previewTrackID;
    std::optional<Uuid> previewSourceID;
    std::optional<std::string> previewColorHex;
    bool operator==(const PreviewState&) const = default;
};

class WorkspaceState final {
  public:
    using Observer = std::function<void(WorkspaceProperty)>;
    using SubscriptionID = std::uint64_t;
    using WallClock = std::function<double()>; // seconds since a fixed reference date

    static constexpr std::string_view snapEnabledKey = "orvane.snapEnabled";
    static constexpr double liveReflectIntervalSeconds = 0.14;
    static constexpr std::size_t undoLevels = 100;

    // `loop` and `defaults` must outlive the workspace. The wall clock measures the live-edit
    // throttle; without one, the system clock.
    WorkspaceState(MainLoop& loop, std::unique_ptr<PlaybackControl> playback, DefaultsStore& defaults,
                   WallClock wallClock = {});
    ~WorkspaceState();
    WorkspaceState(const WorkspaceState&) = delete;
    WorkspaceState& operator=(const WorkspaceState&) = delete;

    SubscriptionID subscribe(Observer observer);
    void unsubscribe(SubscriptionID id);

    WorkspaceHooks hooks; // installed by the subsystems above the workspace

    // --- The document and its derived state ---
    const CDProject& project() const { return project_; }
    // The only door to the document: stores, tells observers, and, unless a gesture is open or the
    // value is equal, registers one undo step (unless suppressHistory) and recomputes isModified.
    void setProject(CDProject newValue);
    const std::vector<TrackPosition>& trackPositions() const { return trackPositions_; }
    bool isModified() const { return isModified_; }
    bool canUndo() const { return canUndo_; }
    bool canRedo() const { return canRedo_; }
    const std::optional<CDProject>& savedSnapshot() const { return savedSnapshot_; }
    const std::optional<std::filesystem::path>& projectFileURL() const { return projectFileURL_; }

    bool suppressHistory = false; // a project change made now is not undoable
    bool timelineInteracting = false;
    bool tableMultiSelectionActive = false;

    // What views and playback show: the vinyl side in vinyl mode, else the project.
    const CDProject& displayProject() const { return vinylMode_ ? sideProject_ : project_; }
    const std::vector<TrackPosition>& displayPositions() const {
        return vinylMode_ ? sidePositions_ : trackPositions_;
    }

    // --- Undo and gestures ---
    void undo();
    void redo();
    void beginInteractiveChange();
    void endInteractiveChange(); // unbalanced at depth 0 is a programming error
    // Everything `body` does to the project is one undo step (also if it throws).
    void withUndoGroup(const std::function<void()>& body);
    bool isInteractive() const { return isInteractive_; }
    int interactiveDepth() const { return interactiveDepth_; }
    void recomputeModified();
    UndoManager& undoManager() { return undoManager_; }

    // --- Layout and playback ---
    // Lays the disc out again; a layout failure keeps the last good positions and goes to the
    // console as "RedBook Validation Error: ...".
    void recalculateTimeline(ReloadPlayback reload);
    // During a drag: fresh positions for the timeline only, the engine untouched.
    void recalculateTimelineQuietly();
    // Swaps the engine's model with no audible break when the track under the playhead is
    // unchanged in position and sound; otherwise pause, load, seek back and resume.
    void reloadPlaybackAfterTimelineChange(const std::vector<TrackPosition>& oldPositions,
                                           const CDProject& newProject,
                                           const std::vector<TrackPosition>& newPositions);
    void applyLiveEditDuringDrag(); // throttled to one reflection per 0.14 s of wall clock
    void commitLiveEdit();
    void commitTrimEdit();
    void togglePlayback(); // starts from the pin when one is set
    void selectTrackAtPlayhead();
    PlaybackControl& playback() { return *playback_; }
    const PlaybackControl& playback() const { return *playback_; }

    // --- Selection and view state ---
    const std::optional<Uuid>& selectedTrackID() const { return selectedTrackID_; }
    void setSelectedTrackID(std::optional<Uuid> id);
    const std::optional<Uuid>& selectedVersionID() const { return selectedVersionID_; }
    void setSelectedVersionID(std::optional<Uuid> id);
    InspectorTab inspectorTab() const { return inspectorTab_; }
    void setInspectorTab(InspectorTab tab);
    const std::set<Uuid>& expandedTrackIDs() const { return expandedTrackIDs_; }
    void setExpandedTrackIDs(std::set<Uuid> ids);
    ScrollMode scrollMode() const { return scrollMode_; }
    void setScrollMode(ScrollMode mode);
    bool zoomToCursor() const { return zoomToCursor_; }
    void setZoomToCursor(bool on);
    bool showShortcutsOverlay() const { return showShortcutsOverlay_; }
    void setShowShortcutsOverlay(bool on);
    bool snapEnabled() const { return snapEnabled_; }
    void setSnapEnabled(bool on); // also written to the user default "orvane.snapEnabled"
    std::int64_t centerOnPlayheadTrigger() const { return centerOnPlayheadTrigger_; }
    std::int64_t revealPlayheadTrigger() const { return revealPlayheadTrigger_; }
    void requestCenterOnPlayhead(); // one-shot requests to the timeline view
    void requestRevealPlayhead();
    // After an undo or redo: forget a selected track or take that no longer exists.
    void sanitizeSelectionAfterRestore();

    // --- Caches keyed by track (written on the main thread by background results) ---
    const std::unordered_map<Uuid, std::vector<float>>& peaksCache() const { return peaksCache_; }
    void storePeaks(const Uuid& trackID, std::vector<float> peaks);
    void clearPeaksCache();
    const std::unordered_map<FileURL, std::vector<float>>& takePeaksCache() const { return takePeaksCache_; }
    void storeTakePeaks(const FileURL& url, std::vector<float> peaks);
    void clearTakePeaksCache();
    // The file's peaks if the take cache has the track's file, else the track's; nullptr if none.
    // Valid until the caches next change.
    const std::vector<float>* peaks(const CDTrack& track) const;
    const std::unordered_map<Uuid, SRCCacheState>& srcCacheState() const { return srcCacheState_; }
    void setSRCCacheState(const Uuid& id, SRCCacheState state);

    // --- Transport mirrors, pin, loop ---
    // The playhead and the pin as disc samples at 44.1 kHz; currentTime() is the playhead in seconds
    // for display.
    std::int64_t currentSample() const { return currentSample_; }
    double currentTime() const {
        return static_cast<double>(currentSample_) / PlaybackControl::samplesPerSecond;
    }
    void setCurrentSample(std::int64_t sample);
    const std::optional<std::int64_t>& lockedPlayStartSample() const { return lockedPlayStartSample_; }
    // The pin in seconds, for display.
    std::optional<double> lockedPlayStartSeconds() const {
        if (!lockedPlayStartSample_)
            return std::nullopt;
        return static_cast<double>(*lockedPlayStartSample_) / PlaybackControl::samplesPerSecond;
    }
    void setLockedPlayStartSample(std::optional<std::int64_t> sample);
    const std::optional<std::int64_t>& loopStartFrame() const { return loopStartFrame_; }
    const std::optional<std::int64_t>& loopEndFrame() const { return loopEndFrame_; }
    bool loopMode() const { return loopMode_; }
    void setLoopStartFrame(std::optional<std::int64_t> frame); // each of the three syncs the engine
    void setLoopEndFrame(std::optional<std::int64_t> frame);
    void setLoopMode(bool on);
    // Absent when an edge is missing or the edges are equal; the edges may be set in either order.
    std::optional<LoopFrames> loopRangeFrames() const;
    bool loopActive() const { return loopRangeFrames().has_value(); }
    void syncEngineLoop();
    void setLoopIn();  // "[": the in-point at the playhead; arms the loop once the out-point lies after it
    void setLoopOut(); // "]": the mirror
    void enterLoopModeFromButton();
    void clearLoop();
    void commitLoopToPlayback();

    // --- Monitor level ---
    double monitorVolume() const { return monitorVolume_; }
    void setMonitorVolume(double volume);
    double scrubVolume() const { return scrubVolume_; }
    void setScrubVolume(double volume);
    bool monitorDimmed() const { return monitorDimmed_; }
    void toggleMonitorDim(); // DIM: half the level, and back

    // --- Take audition state ---
    const PreviewState& preview() const { return preview_; }
    void setPreview(PreviewState state);
    const std::optional<FileURL>& previewResolvedURL() const { return previewResolvedURL_; }
    void setPreviewResolvedURL(std::optional<FileURL> url) { previewResolvedURL_ = std::move(url); }
    void stopPreview(); // clears the audition group and ends the engine's audition
    // Plays one source of a track (the track's id for its active take, or a take's id) on the file's
    // own time axis, from its start; rolls at once if autoPlay. An unknown source does nothing; a file
    // that can't be opened leaves the group set and the engine on what it had.
    void startPreview(const Uuid& trackID, const Uuid& sourceID, bool autoPlay);
    // Changes the auditioned source at the same audible second, without stopping the roll. Only while
    // an audition is loaded; the source already playing is no change (its colour is still taken up).
    void switchPreview(const Uuid& trackID, const Uuid& sourceID);
    // Moves the audition to the next (+1) or previous (-1) source of its track, wrapping both ways, and
    // selects it. Fewer than two sources: nothing.
    void previewStepVersion(int delta);
    // The track's sources in audition order: its own id (if it has a file), then its takes.
    std::vector<Uuid> previewSourceChain(std::size_t trackIndex) const;
    // What one source plays; nothing for an unknown track or take, or one without a file.
    std::optional<PreviewSource> previewSource(const Uuid& trackID, const Uuid& sourceID) const;
    // Background peaks of the auditioned file arrive here; kept only if the audition still shows that file.
    void setPreviewPeaks(const std::filesystem::path& forFile, std::vector<float> peaks);
    // Re-resolves the auditioned file (its converter may have changed) and loads its peaks anew.
    void refreshPreviewWaveform();

    // --- Transport keys ---
    static constexpr std::string_view prerollSecondsKey = "prerollSeconds";
    // The stored pre-roll in seconds: 0 (off), 1, 3, 5 or 10; anything else reads as 0.
    double prerollSeconds() const;
    bool setPrerollSeconds(double seconds); // false (and nothing stored) for a value not on the list
    // The outer transport keys: step through the takes while an audition is loaded, otherwise locate to
    // the next or previous track with the stored pre-roll.
    void transportNext();
    void transportPrevious();

    // --- Vinyl projection ---
    bool vinylMode() const { return vinylMode_; }
    void setVinylMode(bool on);
    std::int64_t activeSideIndex() const { return activeSideIndex_; }
    void setActiveSideIndex(std::int64_t index);
    const CDProject& sideProject() const { return sideProject_; }
    const std::vector<TrackPosition>& sidePositions() const { return sidePositions_; }
    void setSideProjection(CDProject sideProject, std::vector<TrackPosition> sidePositions);

    // --- Documents (each runs only when no gesture is open) ---
    // Writes the project (with its measurements) atomically and makes it the saved state.
    // Throws ProjectStoreError; nothing changes then.
    void saveProject(const std::filesystem::path& path);
    // Replaces the project by the document. Throws ProjectStoreError (unreadable, invalid, or a
    // newer version); the present project is then untouched.
    void openProject(const std::filesystem::path& path);
    void closeProject(); // replaces the project by an empty one
    // Replaces the project by one made elsewhere (DDP, CUE, CD); it was never saved.
    void importProject(CDProject imported);
    // Appends another project's tracks, as one undo step, and selects the first of them.
    void appendImportedTracks(const CDProject& other);

    // --- Document rules for older documents and hybrid SRC ---
    // Gives each track with takes an active colour and each uncoloured take one, in stack order.
    void normalizeVersionColors();
    // In hybrid SRC mode, gives every track and take without its own converter and phase the master's.
    void materializeHybridSRCOverrides();
    // The next colour of the track's palette sequence, advancing its counter; "" for a bad index.
    std::string nextVersionColor(std::size_t trackIndex);

    // --- Fields of other subsystems that the document operations reset ---
    const std::optional<CDProject>& lastAutosaved() const { return lastAutosaved_; }
    void setLastAutosaved(std::optional<CDProject> project) { lastAutosaved_ = std::move(project); }
    SerialQueue& autosaveQueue() { return autosaveQueue_; }

    // --- Recovery copy (WorkspaceAutosave.cpp) ---
    static constexpr double autosaveIntervalSeconds = 60.0;
    // Starts the 60-second tick on the main loop, keeping the copy in `directory`, and makes the
    // document operations delete it there. A second call moves the tick to the new folder.
    void startAutosaveTimer(std::filesystem::path directory);
    void stopAutosaveTimer();
    const std::filesystem::path& recoveryDirectory() const { return recoveryDirectory_; }
    // No copy stands for the present project: forget the last one and queue its deletion.
    void resetAutosaveBaseline();
    // A normal quit: deletes the copy and waits for it (and for a write in flight).
    void clearAutosaveForTermination();
    // Replaces the project by the recovered one; it reads as modified exactly when it differs from
    // its document on disk (or, with no document, when it holds tracks). Undo history is dropped.
    void restoreFromRecovery(const RecoveryFile& file);
    const std::vector<Uuid>& loudnessTrackIDs() const { return loudnessTrackIDs_; }

    // --- Track and take commands ---
#include "workspace/WorkspaceTrackCommands.h"

  private:
    using TakeSetting = std::optional<std::string>;
    // Sets one converter setting of a take (and of the vinyl side's override when vinyl plays that take).
    void setVersionSetting(const Uuid& trackID, const Uuid& versionID, TakeSetting TrackVersion::*takeField,
                           TakeSetting CDTrack::*trackField, const std::string& value);
    // Track commands: the one road of an edit in CD mode and in vinyl mode (see WorkspaceTrackEdits).
    enum class MovesLayout { no, yes };
    void editTrack(const Uuid& trackID, ReloadPlayback reload, MovesLayout moves,
                   const std::function<void(CDTrack&)>& change);
    bool vinylMutateEdit(const Uuid& trackID, const std::function<void(CDTrack&)>& change);
    std::optional<Uuid> vinylTakeVersionID(const Uuid& trackID) const;
    void forgetTrackCaches(const Uuid& trackID);
    void refreshAfterMasterSRCChange();
    void notify(WorkspaceProperty property);
    // Stores a changed value and tells the observers; an equal value is no change.
    template <typename T> void assign(T& field, T newValue, WorkspaceProperty property) {
        if (field == newValue) {
            return;
        }
        field = std::move(newValue);
        notify(property);
    }
    void setTrackPositions(std::vector<TrackPosition> positions);
    void setIsModified(bool modified);
    void setProjectFileURL(std::optional<std::filesystem::path> path);
    void registerProjectUndo(CDProject held);
    void restoreFromUndo(const CDProject& held);
    std::int64_t playheadFrame() const;
    void regeneratePeaks();
    void installAuditionHooks();
    // Opens the source's file as it will sound, sets previewResolvedURL and previewLengthFrames and asks
    // for its peaks; nothing else and nullopt when the file can't be opened.
    std::optional<std::int64_t> loadPreviewFile(const PreviewSource& source);
    void queueRecoveryClear();
    void autosaveTick(); // the once-a-minute step: write, clear or nothing
    void resetForReplacedDocument();
    void adoptReplacementProject(CDProject replacement, std::optional<std::filesystem::path> fileURL,
                                 bool keepSavedSnapshot);
    void assertNoGestureOpen() const;

    MainLoop& loop_;
    DefaultsStore& defaults_;
    WallClock wallClock_;
    std::shared_ptr<int> aliveToken_ = std::make_shared<int>(0); // late callbacks check it

    CDProject project_;
    UndoManager undoManager_;
    std::optional<CDProject> savedSnapshot_;
    std::unique_ptr<PlaybackControl> playback_;
    SerialQueue autosaveQueue_{"orvane.autosave"};

    std::map<SubscriptionID, Observer> observers_;
    SubscriptionID nextSubscriptionID_ = 1;

    std::vector<TrackPosition> trackPositions_;
    bool isModified_ = false;
    bool canUndo_ = false;
    bool canRedo_ = false;
    bool isInteractive_ = false;
    int interactiveDepth_ = 0;
    std::optional<CDProject> interactivePreSnapshot_;
    double lastLiveReflect_ = 0.0;

    std::unordered_map<Uuid, std::vector<float>> peaksCache_;
    std::unordered_map<FileURL, std::vector<float>> takePeaksCache_;
    std::unordered_map<Uuid, SRCCacheState> srcCacheState_;
    std::optional<Uuid> selectedTrackID_;
    std::optional<Uuid> selectedVersionID_;
    InspectorTab inspectorTab_ = InspectorTab::master;
    std::set<Uuid> expandedTrackIDs_;
    ScrollMode scrollMode_ = ScrollMode::page;
    bool zoomToCursor_ = true;
    bool showShortcutsOverlay_ = false;
    bool snapEnabled_ = true;
    std::int64_t centerOnPlayheadTrigger_ = 0;
    std::int64_t revealPlayheadTrigger_ = 0;

    std::int64_t currentSample_ = 0;
    std::optional<std::int64_t> lockedPlayStartSample_;
    std::optional<std::int64_t> loopStartFrame_;
    std::optional<std::int64_t> loopEndFrame_;
    bool loopMode_ = false;
    double monitorVolume_ = 1.0;
    double scrubVolume_ = 1.0;
    bool monitorDimmed_ = false;
    double preDimVolume_ = 1.0;

    PreviewState preview_;
    std::optional<FileURL> previewResolvedURL_;

    bool vinylMode_ = false;
    std::int64_t activeSideIndex_ = 0;
    CDProject sideProject_;
    std::vector<TrackPosition> sidePositions_;

    std::optional<std::filesystem::path> projectFileURL_;
    std::optional<CDProject> lastAutosaved_;
    std::filesystem::path recoveryDirectory_;
    std::optional<MainLoop::TimerID> autosaveTimer_;
    std::vector<Uuid> loudnessTrackIDs_;
};

} // namespace orvane
