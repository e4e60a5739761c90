// The transport commands of PlaybackEngine: load, play, pause, stop, locate, the display tick and
// the take audition. Main thread.

#include "monitoring/PlaybackEngine.h"

#include <algorithm>
#include <cmath>

namespace orvane {

namespace {
constexpr double framesPerSecond = 75.0;
constexpr double stepSeconds = 5.0;
constexpr double previousTrackGraceSeconds = 2.0;
} // namespace

double PlaybackEngine::durationOf(const std::vector<TrackPosition>& positions) const {
    return positions.empty() ? 0.0 : static_cast<double>(positions.back().endLBA) / framesPerSecond;
}

void PlaybackEngine::announce() {
    mainLoop_.post([this, alive = std::weak_ptr<int>(lifeToken_)] {
        if (alive.lock() && changeHandler_)
            changeHandler_();
    });
}

void PlaybackEngine::publishTime(double seconds) {
    currentTime_ = seconds;
    if (onTimeUpdate_)
        onTimeUpdate_(seconds);
}

// --- Model ---

void PlaybackEngine::load(const CDProject& project, const std::vector<TrackPosition>& positions) {
    if (isPlaying_)
        internalStop();
    if (rtSpooling_)
        stopSpool();
    const bool scrubRunning = rtScrubbing_.load();
    if (scrubRunning)
        rtStopScrubProducer();
    isPreviewMode_ = false;
    totalDuration_ = durationOf(positions);
    currentProject_ = project;
    currentPositions_ = positions;
    {
        // A loaded timeline is what plays from now on, also when an audition file was set.
        const std::lock_guard lock(rtLock_);
        rtPreviewURL_.reset();
    }
    // The producer is stopped here, so the renderer's cache is the main thread's to empty.
    rtRenderer_.clearFileCache();
    rtSetSnapshot();
    if (scrubRunning)
        rtStartScrub();
}

void PlaybackEngine::updateProjectAndPositions(const CDProject& project,
                                               const std::vector<TrackPosition>& positions) {
    currentProject_ = project;
    currentPositions_ = positions;
    if (!isPreviewMode_)
        totalDuration_ = durationOf(positions);
    rtSetSnapshot();
}

void PlaybackEngine::reflectEditDuringPlayback() {
    // Nothing is flushed: the producer takes the new snapshot at its next block.
    rtSetSnapshot();
}

// --- Transport ---

void PlaybackEngine::play() {
    if (isPlaying_ || currentPositions_.empty())
        return;
    if (rtSpooling_)
        stopSpool();
    if (totalDuration_ > 0 && currentTime_ >= totalDuration_)
        currentTime_ = 0.0;
    bool haveSnapshot = false;
    {
        const std::lock_guard lock(rtLock_);
        haveSnapshot = rtSnapshot_ != nullptr;
    }
    if (!haveSnapshot)
        rtSetSnapshot();
    outputLatency_ = output_.presentationLatency();
    metering_.setOutputLatency(outputLatency_);
    rtStartAt(static_cast<std::int64_t>(std::trunc(currentTime_ * sampleRate)));
    isPlaying_ = true;
    startDisplayLink();
    announce();
}

void PlaybackEngine::pause() {
    if (!isPlaying_)
        return;
    // Pausing lands on what was audible, not on what was rendered.
    currentTime_ = heardPosition().seconds;
    rtStopProducer();
    isPlaying_ = false;
    stopDisplayLink();
    announce();
}

void PlaybackEngine::stop() {
    if (rtSpooling_)
        stopSpool();
    rtStopProducer();
    rtScrubbing_.store(false);
    isPlaying_ = false;
    currentTime_ = 0.0;
    rtRing_.reset();
    {
        const std::lock_guard lock(rtLock_);
        rtProducerSample_ = 0;
        rtSeekSample_ = 0;
        rtConsumedSample_.store(0, std::memory_order_relaxed);
    }
    stopDisplayLink();
    announce();
}

void PlaybackEngine::internalStop() {
    rtStopProducer();
    isPlaying_ = false;
    stopDisplayLink();
}

void PlaybackEngine::seek(double toSeconds) {
    if (rtSpooling_)
        stopSpool();
    const bool wasPlaying = isPlaying_;
    currentTime_ = std::clamp(std::isfinite(toSeconds) ? toSeconds : 0.0, 0.0, totalDuration_);
    if (wasPlaying)
        rtStartAt(static_cast<std::int64_t>(std::trunc(currentTime_ * sampleRate)));
    announce();
    if (onTimeUpdate_)
        onTimeUpdate_(currentTime_);
}

void PlaybackEngine::rewind() {
    seek(std::max(currentTime_ - stepSeconds, 0.0));
}

void PlaybackEngine::skipForward() {
    seek(std::min(currentTime_ + stepSeconds, totalDuration_));
}

void PlaybackEngine::setLoopRange(double startSeconds, double endSeconds) {
    loopRange_ = std::make_pair(startSeconds, endSeconds);
}

void PlaybackEngine::clearLoopRange() {
    loopRange_.reset();
}

void PlaybackEngine::setScrubGain(double gain) {
    const std::lock_guard lock(rtLock_);
    rtScrubGain_ = static_cast<float>(std::clamp(std::isfinite(gain) ? gain : 0.0, 0.0, 1.0));
}

float PlaybackEngine::scrubLevel() const {
    const std::lock_guard lock(rtLock_);
    return rtScrubGain_;
}

void PlaybackEngine::setOutputVolume(double volume) {
    volume_.store(static_cast<float>(std::clamp(std::isfinite(volume) ? volume : 0.0, 0.0, 1.0)),
                  std::memory_order_relaxed);
}

void PlaybackEngine::setTimecodeOverride(std::optional<TimecodeOverride> value) {
    timecodeOverride_ = value;
    announce();
}

// --- Tracks ---

std::optional<std::size_t> PlaybackEngine::trackIndex(double atSeconds) const {
    for (std::size_t i = 0; i < currentPositions_.size(); ++i) {
        const auto& p = currentPositions_[i];
        if (static_cast<double>(p.startLBA) / framesPerSecond <= atSeconds &&
            atSeconds <= static_cast<double>(p.endLBA) / framesPerSecond)
            return i;
    }
    return std::nullopt;
}

std::optional<std::pair<double, double>> PlaybackEngine::trackTimeRange(double atSeconds) const {
    const auto index = trackIndex(atSeconds);
    if (!index)
        return std::nullopt;
    const auto& p = currentPositions_[*index];
    return std::make_pair(static_cast<double>(p.startLBA) / framesPerSecond,
                          static_cast<double>(p.endLBA) / framesPerSecond);
}

void PlaybackEngine::nextTrack(double prerollSeconds) {
    const auto index = trackIndex(currentTime_);
    if (!index || *index + 1 >= currentPositions_.size())
        return;
    const double target = static_cast<double>(currentPositions_[*index + 1].index01LBA) / framesPerSecond;
    seek(std::max(target - prerollSeconds, 0.0));
    if (prerollSeconds > 0 && !isPlaying_)
        play();
}

void PlaybackEngine::previousTrack(double prerollSeconds) {
    const auto index = trackIndex(currentTime_);
    if (!index)
        return;
    const double start = static_cast<double>(currentPositions_[*index].index01LBA) / framesPerSecond;
    double target = start;
    if (currentTime_ - start <= previousTrackGraceSeconds && *index > 0)
        target = static_cast<double>(currentPositions_[*index - 1].index01LBA) / framesPerSecond;
    seek(std::max(target - prerollSeconds, 0.0));
    if (prerollSeconds > 0 && !isPlaying_)
        play();
}

// --- Display tick ---

void PlaybackEngine::startDisplayLink() {
    if (displayLink_)
        return;
    displayLink_ = mainLoop_.addTimer(displayTickSeconds, TimerRepeat::repeating, [this] { displayTick(); });
}

void PlaybackEngine::stopDisplayLink() {
    if (!displayLink_)
        return;
    mainLoop_.cancelTimer(*displayLink_);
    displayLink_.reset();
}

void PlaybackEngine::displayTick() {
    if (!isPlaying_)
        return;
    std::int64_t seek = 0;
    std::int64_t consumed = 0;
    bool looping = false;
    {
        const std::lock_guard lock(rtLock_);
        seek = rtSeekSample_;
        consumed = rtConsumedSample_.load(std::memory_order_relaxed);
        looping = rtLoopStartSample_.has_value() && rtLoopEndSample_.has_value();
    }
    const double raw = static_cast<double>(seek + consumed) / sampleRate;
    const double heard = std::max(raw - outputLatency_, 0.0);
    if (looping) {
        publishTime(rtFold(heard).seconds);
        return;
    }
    // The end counts once the last sample has left for the output.
    if (totalDuration_ > 0 && raw >= totalDuration_) {
        currentTime_ = totalDuration_;
        rtStopProducer();
        isPlaying_ = false;
        stopDisplayLink();
        announce();
        publishTime(totalDuration_);
        return;
    }
    publishTime(std::min(heard, totalDuration_));
}

// --- Audition ---

void PlaybackEngine::loadPreview(const std::filesystem::path& file, std::int64_t totalFrames) {
    if (rtSpooling_)
        stopSpool();
    if (isPlaying_)
        internalStop();
    isPreviewMode_ = true;
    totalDuration_ = static_cast<double>(std::max<std::int64_t>(totalFrames, 0)) / framesPerSecond;
    currentTime_ = 0.0;
    {
        const std::lock_guard lock(rtLock_);
        rtPreviewURL_ = file;
    }
    announce();
}

void PlaybackEngine::switchPreview(const std::filesystem::path& file, std::int64_t totalFrames) {
    if (!isPreviewMode_)
        return;
    // The outgoing take's audible place, so the two takes meet at the same second.
    const double at = isPlaying_ ? heardPosition().seconds : currentTime_;
    totalDuration_ = static_cast<double>(std::max<std::int64_t>(totalFrames, 0)) / framesPerSecond;
    {
        const std::lock_guard lock(rtLock_);
        rtPreviewURL_ = file;
    }
    seek(at);
}

void PlaybackEngine::stopPreview() {
    if (isPlaying_)
        internalStop();
    isPreviewMode_ = false;
    {
        const std::lock_guard lock(rtLock_);
        rtPreviewURL_.reset();
    }
    totalDuration_ = durationOf(currentPositions_);
    currentTime_ = 0.0;
    announce();
}

// --- SRC cache ---

void PlaybackEngine::rebuildSRCCaches(const CDProject& project) {
    srcPrewarmer_->rebuildSRCCaches(project);
}

void PlaybackEngine::rebuildSRCCache(const Uuid& id, const std::filesystem::path& source,
                                     const std::string& masterSRC,
                                     const std::optional<std::string>& algorithm,
                                     const std::string& masterPhase,
                                     const std::optional<std::string>& phase) {
    srcPrewarmer_->rebuildSRCCache(id, source, masterSRC, algorithm, masterPhase, phase);
}

} // namespace orvane
