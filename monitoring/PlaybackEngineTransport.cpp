// The transport commands of PlaybackEngine: load, play, pause, stop, locate, the display tick and
// the take audition. Main thread.

#include "monitoring/PlaybackEngine.h"

#include <algorithm>
#include <cmath>

namespace orvane {

namespace {
constexpr std::int64_t spf = TimelineRenderer::samplesPerFrame;
} // namespace

std::int64_t PlaybackEngine::lengthOf(const std::vector<TrackPosition>& positions) {
    return positions.empty() ? 0 : positions.back().endLBA * spf;
}

std::int64_t PlaybackEngine::latencySamples() const {
    return std::llround(std::max(outputLatency_, 0.0) * sampleRate);
}

void PlaybackEngine::announce() {
    mainLoop_.post([this, alive = std::weak_ptr<int>(lifeToken_)] {
        if (alive.lock() && changeHandler_)
            changeHandler_();
    });
}

void PlaybackEngine::publishTime(std::int64_t sample) {
    currentSample_ = sample;
    if (onTimeUpdate_)
        onTimeUpdate_(sample);
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
    totalSamples_ = lengthOf(positions);
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
        totalSamples_ = lengthOf(positions);
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
    if (totalSamples_ > 0 && currentSample_ >= totalSamples_)
        currentSample_ = 0;
    bool haveSnapshot = false;
    {
        const std::lock_guard lock(rtLock_);
        haveSnapshot = rtSnapshot_ != nullptr;
    }
    if (!haveSnapshot)
        rtSetSnapshot();
    outputLatency_ = output_.presentationLatency();
    metering_.setOutputLatency(outputLatency_);
    rtStartAt(currentSample_);
    isPlaying_ = true;
    startDisplayLink();
    announce();
}

void PlaybackEngine::pause() {
    if (!isPlaying_)
        return;
    // Pausing lands on what was audible, not on what was rendered.
    currentSample_ = heardPosition().sample;
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
    currentSample_ = 0;
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

void PlaybackEngine::seek(std::int64_t toSample) {
    if (rtSpooling_)
        stopSpool();
    const bool wasPlaying = isPlaying_;
    currentSample_ = std::clamp<std::int64_t>(toSample, 0, totalSamples_);
    if (wasPlaying)
        rtStartAt(currentSample_);
    announce();
    if (onTimeUpdate_)
        onTimeUpdate_(currentSample_);
}

void PlaybackEngine::rewind() {
    seek(std::max<std::int64_t>(currentSample_ - stepSamples, 0));
}

void PlaybackEngine::skipForward() {
    seek(std::min(currentSample_ + stepSamples, totalSamples_));
}

void PlaybackEngine::setLoopRange(std::int64_t startSample, std::int64_t endSample) {
    loopRange_ = std::make_pair(startSample, endSample);
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

std::optional<std::size_t> PlaybackEngine::trackIndex(std::int64_t atSample) const {
    for (std::size_t i = 0; i < currentPositions_.size(); ++i) {
        const auto& p = currentPositions_[i];
        if (p.startLBA * spf <= atSample && atSample <= p.endLBA * spf)
            return i;
    }
    return std::nullopt;
}

std::optional<std::pair<std::int64_t, std::int64_t>>
PlaybackEngine::trackSampleRange(std::int64_t atSample) const {
    const auto index = trackIndex(atSample);
    if (!index)
        return std::nullopt;
    const auto& p = currentPositions_[*index];
    return std::make_pair(p.startLBA * spf, p.endLBA * spf);
}

void PlaybackEngine::nextTrack(std::int64_t prerollSamples) {
    const auto index = trackIndex(currentSample_);
    if (!index || *index + 1 >= currentPositions_.size())
        return;
    const std::int64_t target = currentPositions_[*index + 1].index01LBA * spf;
    seek(std::max<std::int64_t>(target - prerollSamples, 0));
    if (prerollSamples > 0 && !isPlaying_)
        play();
}

void PlaybackEngine::previousTrack(std::int64_t prerollSamples) {
    const auto index = trackIndex(currentSample_);
    if (!index)
        return;
    const std::int64_t start = currentPositions_[*index].index01LBA * spf;
    std::int64_t target = start;
    if (currentSample_ - start <= previousTrackGraceSamples && *index > 0)
        target = currentPositions_[*index - 1].index01LBA * spf;
    seek(std::max<std::int64_t>(target - prerollSamples, 0));
    if (prerollSamples > 0 && !isPlaying_)
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
    const std::int64_t raw = seek + consumed;
    const std::int64_t heard = std::max<std::int64_t>(raw - latencySamples(), 0);
    if (looping) {
        publishTime(rtFold(heard).sample);
        return;
    }
    // The end counts once the last sample has left for the output.
    if (totalSamples_ > 0 && raw >= totalSamples_) {
        currentSample_ = totalSamples_;
        rtStopProducer();
        isPlaying_ = false;
        stopDisplayLink();
        announce();
        publishTime(totalSamples_);
        return;
    }
    publishTime(std::min(heard, totalSamples_));
}

// --- Audition ---

void PlaybackEngine::loadPreview(const std::filesystem::path& file, std::int64_t totalFrames) {
    if (rtSpooling_)
        stopSpool();
    if (isPlaying_)
        internalStop();
    isPreviewMode_ = true;
    totalSamples_ = std::max<std::int64_t>(totalFrames, 0) * spf;
    currentSample_ = 0;
    {
        const std::lock_guard lock(rtLock_);
        rtPreviewURL_ = file;
        rtPreviewTotalSamples_ = static_cast<double>(totalSamples_);
    }
    announce();
}

void PlaybackEngine::switchPreview(const std::filesystem::path& file, std::int64_t totalFrames) {
    if (!isPreviewMode_)
        return;
    // The outgoing take's audible place, so the two takes meet at the same second.
    const std::int64_t at = isPlaying_ ? heardPosition().sample : currentSample_;
    totalSamples_ = std::max<std::int64_t>(totalFrames, 0) * spf;
    {
        const std::lock_guard lock(rtLock_);
        rtPreviewURL_ = file;
        rtPreviewTotalSamples_ = static_cast<double>(totalSamples_);
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
    totalSamples_ = lengthOf(currentPositions_);
    currentSample_ = 0;
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
