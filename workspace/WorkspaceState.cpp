#include "workspace/WorkspaceState.h"

#include "model/RedBook.h"
#include "model/TimelineCalculator.h"

#include <algorithm>
#include <cassert>
#include <chrono>
#include <iostream>
#include <utility>

namespace orvane {

namespace {

double systemWallClockSeconds() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(since).count();
}

// The position under the playhead, by the transport's rule: the first one whose marker range
// [startLBA, endLBA], in seconds, holds the time. A gap belongs to the track it precedes.
std::optional<std::size_t> positionIndexAt(const std::vector<TrackPosition>& positions, std::int64_t sample) {
    constexpr std::int64_t spf = RedBook::samplesPerFrame;
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const auto& p = positions[i];
        if (p.startLBA * spf <= sample && sample <= p.endLBA * spf) {
            return i;
        }
    }
    return std::nullopt;
}

// True when a track sounds the same: what the engine is playing may then be swapped underneath.
bool soundsTheSame(const CDTrack& a, const CDTrack& b) {
    return a.audioFileURL == b.audioFileURL && a.trimStartSamples == b.trimStartSamples &&
           a.trimEndSamples == b.trimEndSamples && a.gainEnabled == b.gainEnabled && a.gainDB == b.gainDB &&
           a.envelopeEnabled == b.envelopeEnabled && a.envelopeSmoothing == b.envelopeSmoothing &&
           a.gainPoints == b.gainPoints;
}

} // namespace

WorkspaceState::WorkspaceState(MainLoop& loop, std::unique_ptr<PlaybackControl> playback,
                               DefaultsStore& defaults, WallClock wallClock)
    : loop_(loop), defaults_(defaults),
      wallClock_(wallClock ? std::move(wallClock) : WallClock(systemWallClockSeconds)),
      undoManager_(loop, undoLevels), savedSnapshot_(CDProject{}), playback_(std::move(playback)) {
    assert(playback_ != nullptr);
    snapEnabled_ = defaults_.boolValue(snapEnabledKey).value_or(true);

    // The engine may report from its own threads; the workspace is written on the main thread only,
    // and a report that arrives after the workspace is gone is dropped.
    std::weak_ptr<int> alive = aliveToken_;
    const auto onMain = [this, alive](std::function<void()> fn) {
        if (loop_.isMainThread()) {
            fn();
            return;
        }
        loop_.post([alive, fn = std::move(fn)] {
            if (alive.lock()) {
                fn();
            }
        });
    };
    playback_->setSRCStateChangeHandler([this, onMain](const Uuid& id, SRCCacheState state) {
        onMain([this, id, state] { setSRCCacheState(id, state); });
    });
    playback_->setTimeUpdateHandler(
        [this, onMain](std::int64_t sample) { onMain([this, sample] { setCurrentSample(sample); }); });
    installAuditionHooks();
}

WorkspaceState::~WorkspaceState() {
    stopAutosaveTimer();
    playback_->setSRCStateChangeHandler({});
    playback_->setTimeUpdateHandler({});
}

// --- Observation ---

WorkspaceState::SubscriptionID WorkspaceState::subscribe(Observer observer) {
    const SubscriptionID id = nextSubscriptionID_++;
    observers_.emplace(id, std::move(observer));
    return id;
}

void WorkspaceState::unsubscribe(SubscriptionID id) {
    observers_.erase(id);
}

void WorkspaceState::notify(WorkspaceProperty property) {
    // Copy, so an observer may subscribe or unsubscribe while being told.
    const auto observers = observers_;
    for (const auto& [id, observer] : observers) {
        if (observers_.count(id) != 0) {
            observer(property);
        }
    }
}

// --- The project and undo ---

void WorkspaceState::setProject(CDProject newValue) {
    CDProject old = std::exchange(project_, std::move(newValue));
    notify(WorkspaceProperty::project);
    // During a gesture neither undo nor the modified state are touched; the deep comparison would
    // run at pointer rate.
    if (isInteractive_) {
        return;
    }
    if (project_ == old) {
        return;
    }
    if (!suppressHistory) {
        registerProjectUndo(std::move(old));
    }
    recomputeModified();
}

void WorkspaceState::registerProjectUndo(CDProject held) {
    undoManager_.registerUndo([this, held = std::move(held)] { restoreFromUndo(held); });
}

void WorkspaceState::restoreFromUndo(const CDProject& held) {
    setProject(held); // registers the inverse: the redo step, or the undo step of a redo
    recalculateTimeline(ReloadPlayback::yes);
    regeneratePeaks();
    sanitizeSelectionAfterRestore();
    recomputeModified();
}

void WorkspaceState::undo() {
    if (undoManager_.canUndo()) {
        undoManager_.undo();
        recomputeModified();
    }
}

void WorkspaceState::redo() {
    if (undoManager_.canRedo()) {
        undoManager_.redo();
        recomputeModified();
    }
}

void WorkspaceState::beginInteractiveChange() {
    ++interactiveDepth_;
    if (interactiveDepth_ == 1) {
        interactivePreSnapshot_ = project_;
        isInteractive_ = true;
    }
}

void WorkspaceState::endInteractiveChange() {
    assert(interactiveDepth_ > 0 && "endInteractiveChange without a matching begin");
    if (interactiveDepth_ == 0) {
        return;
    }
    --interactiveDepth_;
    if (interactiveDepth_ > 0) {
        return;
    }
    isInteractive_ = false;
    if (interactivePreSnapshot_) {
        CDProject before = std::move(*interactivePreSnapshot_);
        interactivePreSnapshot_.reset();
        // One step for the whole gesture, whatever suppressHistory says; none if it ended where it began.
        if (before != project_) {
            registerProjectUndo(std::move(before));
        }
    }
    recomputeModified();
}

void WorkspaceState::withUndoGroup(const std::function<void()>& body) {
    beginInteractiveChange();
    struct End {
        WorkspaceState& self;
        ~End() { self.endInteractiveChange(); }
    } end{*this};
    body();
}

void WorkspaceState::recomputeModified() {
    const bool modified = savedSnapshot_ ? project_ != *savedSnapshot_ : !project_.tracks.empty();
    setIsModified(modified);
    assign(canUndo_, undoManager_.canUndo(), WorkspaceProperty::canUndo);
    assign(canRedo_, undoManager_.canRedo(), WorkspaceProperty::canRedo);
}

void WorkspaceState::setIsModified(bool modified) {
    assign(isModified_, modified, WorkspaceProperty::isModified);
}

void WorkspaceState::setProjectFileURL(std::optional<std::filesystem::path> path) {
    assign(projectFileURL_, std::move(path), WorkspaceProperty::projectFileURL);
}

// --- Layout and playback ---

void WorkspaceState::setTrackPositions(std::vector<TrackPosition> positions) {
    assign(trackPositions_, std::move(positions), WorkspaceProperty::trackPositions);
}

void WorkspaceState::recalculateTimeline(ReloadPlayback reload) {
    std::vector<Uuid> trackIDs;
    trackIDs.reserve(project_.tracks.size());
    for (const auto& track : project_.tracks) {
        trackIDs.push_back(track.id);
    }
    if (trackIDs != loudnessTrackIDs_) {
        loudnessTrackIDs_ = std::move(trackIDs);
        if (hooks.rederiveAlbumLoudness) {
            hooks.rederiveAlbumLoudness();
        }
    }

    auto layout = TimelineCalculator::calculatePositions(project_);
    if (!vinylMode_) {
        const std::vector<TrackPosition> oldPositions = trackPositions_;
        if (!layout) {
            std::cout << "RedBook Validation Error: " << layout.error().description() << '\n';
            return;
        }
        setTrackPositions(std::move(*layout));
        if (reload == ReloadPlayback::yes) {
            reloadPlaybackAfterTimelineChange(oldPositions, project_, trackPositions_);
        }
        return;
    }
    // In vinyl mode the engine plays the side; a failing CD layout stays quiet.
    if (layout) {
        setTrackPositions(std::move(*layout));
    }
    const std::vector<TrackPosition> oldSidePositions = sidePositions_;
    if (hooks.refreshVinylSide) {
        hooks.refreshVinylSide();
    }
    if (reload == ReloadPlayback::yes) {
        reloadPlaybackAfterTimelineChange(oldSidePositions, sideProject_, sidePositions_);
    }
}

void WorkspaceState::recalculateTimelineQuietly() {
    if (auto layout = TimelineCalculator::calculatePositions(project_)) {
        setTrackPositions(std::move(*layout));
    }
}

void WorkspaceState::reloadPlaybackAfterTimelineChange(const std::vector<TrackPosition>& oldPositions,
                                                       const CDProject& newProject,
                                                       const std::vector<TrackPosition>& newPositions) {
    PlaybackControl& engine = *playback_;
    const bool wasPlaying = engine.isPlaying();
    if (wasPlaying) {
        const auto found = positionIndexAt(engine.currentPositions(), engine.currentSample());
        if (found) {
            const auto i = static_cast<std::size_t>(engine.currentPositions()[*found].trackIndex - 1);
            const auto& engineProject = engine.currentProject();
            const bool indexValid = engine.currentPositions()[*found].trackIndex >= 1 &&
                                    i < oldPositions.size() && i < newPositions.size() &&
                                    i < newProject.tracks.size() && engineProject &&
                                    i < engineProject->tracks.size();
            if (indexValid && oldPositions[i] == newPositions[i] &&
                soundsTheSame(engineProject->tracks[i], newProject.tracks[i])) {
                engine.updateProjectAndPositions(newProject, newPositions);
                return;
            }
        }
        engine.pause();
    }
    const std::int64_t resumeAt = engine.currentSample();
    engine.load(newProject, newPositions);
    engine.seek(resumeAt);
    if (wasPlaying) {
        engine.play();
    }
}

void WorkspaceState::applyLiveEditDuringDrag() {
    if (!playback_->isPlaying()) {
        return;
    }
    const double now = wallClock_();
    if (now - lastLiveReflect_ > liveReflectIntervalSeconds) {
        lastLiveReflect_ = now;
        playback_->updateProjectAndPositions(displayProject(), displayPositions());
        playback_->reflectEditDuringPlayback();
    }
}

void WorkspaceState::commitLiveEdit() {
    if (!playback_->isPlaying()) {
        return;
    }
    lastLiveReflect_ = 0.0;
    playback_->updateProjectAndPositions(displayProject(), displayPositions());
    playback_->reflectEditDuringPlayback();
}

void WorkspaceState::commitTrimEdit() {
    if (!playback_->isPlaying()) {
        return;
    }
    const std::int64_t resumeAt = playback_->currentSample();
    playback_->updateProjectAndPositions(displayProject(), displayPositions());
    playback_->seek(resumeAt);
}

void WorkspaceState::togglePlayback() {
    if (playback_->isPlaying()) {
        playback_->pause();
        return;
    }
    // The pin holds at the start of a roll only; a click may move the playhead freely meanwhile.
    if (lockedPlayStartSample_) {
        playback_->seek(*lockedPlayStartSample_);
    }
    playback_->play();
}

void WorkspaceState::selectTrackAtPlayhead() {
    const PlaybackControl& engine = *playback_;
    if (engine.isPlaying() || engine.isScrubbing() || engine.isSpooling() || tableMultiSelectionActive) {
        return;
    }
    const auto found = positionIndexAt(engine.currentPositions(), engine.currentSample());
    if (!found) {
        return;
    }
    const std::int64_t trackIndex = engine.currentPositions()[*found].trackIndex - 1;
    const CDProject& shown = displayProject();
    if (trackIndex < 0 || static_cast<std::size_t>(trackIndex) >= shown.tracks.size()) {
        return;
    }
    const Uuid id = shown.tracks[static_cast<std::size_t>(trackIndex)].id;
    if (selectedTrackID_ != id) {
        setSelectedTrackID(id);
    }
    if (selectedVersionID_) {
        setSelectedVersionID(std::nullopt);
    }
    if (inspectorTab_ != InspectorTab::track) {
        setInspectorTab(InspectorTab::track);
    }
}

// --- Selection and view state ---

void WorkspaceState::setSelectedTrackID(std::optional<Uuid> id) {
    assign(selectedTrackID_, std::move(id), WorkspaceProperty::selectedTrackID);
}

void WorkspaceState::setSelectedVersionID(std::optional<Uuid> id) {
    assign(selectedVersionID_, std::move(id), WorkspaceProperty::selectedVersionID);
}

void WorkspaceState::setInspectorTab(InspectorTab tab) {
    assign(inspectorTab_, tab, WorkspaceProperty::inspectorTab);
}

void WorkspaceState::setExpandedTrackIDs(std::set<Uuid> ids) {
    assign(expandedTrackIDs_, std::move(ids), WorkspaceProperty::expandedTrackIDs);
}

void WorkspaceState::setScrollMode(ScrollMode mode) {
    assign(scrollMode_, mode, WorkspaceProperty::scrollMode);
}

void WorkspaceState::setZoomToCursor(bool on) {
    assign(zoomToCursor_, on, WorkspaceProperty::zoomToCursor);
}

void WorkspaceState::setShowShortcutsOverlay(bool on) {
    assign(showShortcutsOverlay_, on, WorkspaceProperty::showShortcutsOverlay);
}

void WorkspaceState::setSnapEnabled(bool on) {
    if (snapEnabled_ == on) {
        return;
    }
    snapEnabled_ = on;
    // A failed write is reported by the store itself; the setting still holds for this session.
    defaults_.setBool(snapEnabledKey, on);
    notify(WorkspaceProperty::snapEnabled);
}

void WorkspaceState::requestCenterOnPlayhead() {
    ++centerOnPlayheadTrigger_;
    notify(WorkspaceProperty::centerOnPlayheadTrigger);
}

void WorkspaceState::requestRevealPlayhead() {
    ++revealPlayheadTrigger_;
    notify(WorkspaceProperty::revealPlayheadTrigger);
}

void WorkspaceState::sanitizeSelectionAfterRestore() {
    if (selectedTrackID_ && !project_.indexOfTrack(*selectedTrackID_)) {
        setSelectedTrackID(std::nullopt);
        setSelectedVersionID(std::nullopt);
    }
    if (selectedVersionID_) {
        const bool exists =
            std::any_of(project_.tracks.begin(), project_.tracks.end(), [&](const CDTrack& t) {
                return std::any_of(t.versions.begin(), t.versions.end(),
                                   [&](const TrackVersion& v) { return v.id == *selectedVersionID_; });
            });
        if (!exists) {
            setSelectedVersionID(std::nullopt);
        }
    }
}

// --- Caches ---

void WorkspaceState::storePeaks(const Uuid& trackID, std::vector<float> peaks) {
    peaksCache_[trackID] = std::move(peaks);
    notify(WorkspaceProperty::peaksCache);
}

void WorkspaceState::clearPeaksCache() {
    if (!peaksCache_.empty()) {
        peaksCache_.clear();
        notify(WorkspaceProperty::peaksCache);
    }
}

void WorkspaceState::storeTakePeaks(const FileURL& url, std::vector<float> peaks) {
    takePeaksCache_[url] = std::move(peaks);
    notify(WorkspaceProperty::takePeaksCache);
}

void WorkspaceState::clearTakePeaksCache() {
    if (!takePeaksCache_.empty()) {
        takePeaksCache_.clear();
        notify(WorkspaceProperty::takePeaksCache);
    }
}

const std::vector<float>* WorkspaceState::peaks(const CDTrack& track) const {
    if (track.audioFileURL) {
        if (const auto it = takePeaksCache_.find(*track.audioFileURL); it != takePeaksCache_.end()) {
            return &it->second;
        }
    }
    if (const auto it = peaksCache_.find(track.id); it != peaksCache_.end()) {
        return &it->second;
    }
    return nullptr;
}

void WorkspaceState::setSRCCacheState(const Uuid& id, SRCCacheState state) {
    const auto it = srcCacheState_.find(id);
    if (it != srcCacheState_.end() && it->second == state) {
        return;
    }
    srcCacheState_[id] = state;
    notify(WorkspaceProperty::srcCacheState);
}

void WorkspaceState::regeneratePeaks() {
    if (hooks.regeneratePeaks) {
        hooks.regeneratePeaks();
    }
}

// --- Preview and vinyl state ---

void WorkspaceState::setPreview(PreviewState state) {
    assign(preview_, std::move(state), WorkspaceProperty::preview);
}

void WorkspaceState::stopPreview() {
    if (!preview_.previewURL) {
        return;
    }
    setPreview(PreviewState{});
    previewResolvedURL_.reset();
    playback_->stopPreview();
}

void WorkspaceState::setVinylMode(bool on) {
    assign(vinylMode_, on, WorkspaceProperty::vinylMode);
}

void WorkspaceState::setActiveSideIndex(std::int64_t index) {
    assign(activeSideIndex_, index, WorkspaceProperty::activeSideIndex);
}

void WorkspaceState::setSideProjection(CDProject sideProject, std::vector<TrackPosition> sidePositions) {
    sideProject_ = std::move(sideProject);
    assign(sidePositions_, std::move(sidePositions), WorkspaceProperty::sidePositions);
}

} // namespace orvane
