// The transport side of WorkspaceState: the playhead mirror, the pin, the loop and the monitor level.

#include "model/RedBook.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>
#include <cmath>

namespace orvane {

namespace {

// Levels handed to the audio side stay within 0 to 1; a value that is no number reads as silence.
double unitLevel(double value) {
    return std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : (value > 0 ? 1.0 : 0.0);
}

} // namespace

void WorkspaceState::setCurrentSample(std::int64_t sample) {
    assign(currentSample_, sample, WorkspaceProperty::currentTime);
}

void WorkspaceState::setLockedPlayStartSample(std::optional<std::int64_t> sample) {
    assign(lockedPlayStartSample_, sample, WorkspaceProperty::lockedPlayStart);
}

// The loop lives only in these three fields; each change hands the result to the engine.

void WorkspaceState::setLoopStartFrame(std::optional<std::int64_t> frame) {
    assign(loopStartFrame_, frame, WorkspaceProperty::loopStartFrame);
    syncEngineLoop();
}

void WorkspaceState::setLoopEndFrame(std::optional<std::int64_t> frame) {
    assign(loopEndFrame_, frame, WorkspaceProperty::loopEndFrame);
    syncEngineLoop();
}

void WorkspaceState::setLoopMode(bool on) {
    assign(loopMode_, on, WorkspaceProperty::loopMode);
    syncEngineLoop();
}

std::optional<LoopFrames> WorkspaceState::loopRangeFrames() const {
    if (!loopStartFrame_ || !loopEndFrame_ || *loopStartFrame_ == *loopEndFrame_) {
        return std::nullopt;
    }
    return LoopFrames{std::min(*loopStartFrame_, *loopEndFrame_), std::max(*loopStartFrame_, *loopEndFrame_)};
}

void WorkspaceState::syncEngineLoop() {
    const auto range = loopRangeFrames();
    if (loopMode_ && range) {
        playback_->setLoopRange(range->startFrame * RedBook::samplesPerFrame,
                                range->endFrame * RedBook::samplesPerFrame);
    } else {
        playback_->clearLoopRange();
    }
}

std::int64_t WorkspaceState::playheadFrame() const {
    return std::max<std::int64_t>(playback_->currentSample() / RedBook::samplesPerFrame, 0);
}

void WorkspaceState::setLoopIn() {
    const std::int64_t frame = playheadFrame();
    setLoopStartFrame(frame);
    // Arms only once both edges stand in the right order; the seek makes the engine take the range up.
    if (loopEndFrame_ && frame < *loopEndFrame_) {
        setLoopMode(true);
        playback_->seek(playback_->currentSample());
    }
}

void WorkspaceState::setLoopOut() {
    const std::int64_t frame = playheadFrame();
    setLoopEndFrame(frame);
    if (loopStartFrame_ && *loopStartFrame_ < frame) {
        setLoopMode(true);
        playback_->seek(playback_->currentSample());
    }
}

void WorkspaceState::enterLoopModeFromButton() {
    if (!loopRangeFrames()) {
        // An empty loop at the playhead, which a drag of either flag opens.
        const std::int64_t frame = playheadFrame();
        setLoopStartFrame(frame);
        setLoopEndFrame(frame);
    }
    setLoopMode(true);
    playback_->seek(playback_->currentSample());
}

void WorkspaceState::clearLoop() {
    setLoopStartFrame(std::nullopt);
    setLoopEndFrame(std::nullopt);
    setLoopMode(false);
    playback_->clearLoopRange();
    playback_->seek(playback_->currentSample());
}

void WorkspaceState::commitLoopToPlayback() {
    playback_->seek(playback_->currentSample());
}

void WorkspaceState::setMonitorVolume(double volume) {
    assign(monitorVolume_, volume, WorkspaceProperty::monitorVolume);
    playback_->setOutputVolume(unitLevel(volume));
}

void WorkspaceState::setScrubVolume(double volume) {
    assign(scrubVolume_, volume, WorkspaceProperty::scrubVolume);
    playback_->setScrubGain(unitLevel(volume));
}

void WorkspaceState::toggleMonitorDim() {
    if (!monitorDimmed_) {
        preDimVolume_ = monitorVolume_;
        setMonitorVolume(monitorVolume_ * 0.5);
        assign(monitorDimmed_, true, WorkspaceProperty::monitorDimmed);
    } else {
        setMonitorVolume(preDimVolume_);
        assign(monitorDimmed_, false, WorkspaceProperty::monitorDimmed);
    }
}

} // namespace orvane
