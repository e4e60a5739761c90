// Scrub and spool: a second producer loop on the same queue that follows a target position with a
// linearly interpolated read head of variable rate. Commands and the spool tick run on the main
// thread; rtScrubFillOnce on the producer queue.

#include "monitoring/PlaybackEngine.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace orvane {

void PlaybackEngine::beginScrub() {
    if (isScrubbing_)
        return;
    if (rtSpooling_)
        stopSpool();
    isScrubbing_ = true;
    scrubWasPlaying_ = isPlaying_;
    if (isPlaying_) {
        isPlaying_ = false;
        stopDisplayLink();
    }
    rtStopProducer();
    if (rtScrubEnabled_)
        rtStartScrub();
    announce();
}

void PlaybackEngine::scrubTo(std::int64_t sample) {
    currentSample_ = std::clamp<std::int64_t>(sample, 0, totalSamples_);
    if (rtScrubbing_.load()) {
        const std::lock_guard lock(rtLock_);
        rtScrubTargetSample_ = static_cast<double>(currentSample_);
    }
    // The motion comes from the fill loop; the gesture's event rate has no effect on the audio.
    announce();
    if (onTimeUpdate_)
        onTimeUpdate_(currentSample_);
}

void PlaybackEngine::endScrub() {
    if (!isScrubbing_)
        return;
    isScrubbing_ = false;
    if (rtScrubbing_.load())
        rtStopScrubProducer();
    const bool resume = scrubWasPlaying_;
    scrubWasPlaying_ = false;
    if (resume)
        play(); // from where the drag ended
    announce();
}

void PlaybackEngine::rtStopScrubProducer() {
    rtScrubbing_.store(false);
    rtStopProducer();
    rtRing_.reset();
}

void PlaybackEngine::rtStartScrub() {
    rtStopProducer();
    rtRing_.reset();
    {
        const std::lock_guard lock(rtLock_);
        rtScrubReadPos_ = rtScrubTargetSample_ = static_cast<double>(currentSample_);
        rtScrubbing_.store(true);
    }
    outputLatency_ = output_.presentationLatency();
    metering_.setOutputLatency(outputLatency_);
    rtRunning_.store(true, std::memory_order_release);
    rtProducerQueue_.async([this] { rtScrubLoop(); });
}

void PlaybackEngine::rtScrubLoop() {
    while (rtRunning_.load(std::memory_order_acquire) && rtScrubbing_.load(std::memory_order_acquire)) {
        rtScrubFillOnce();
        std::this_thread::sleep_for(std::chrono::microseconds(scrubSleepMicros));
    }
}

void PlaybackEngine::rtScrubWriteSilence(std::int64_t frames) {
    const auto n = static_cast<std::size_t>(std::clamp<std::int64_t>(frames, 0, rtScrubBlock));
    std::fill_n(rtScrubOutL_.begin(), n, 0.0f);
    std::fill_n(rtScrubOutR_.begin(), n, 0.0f);
    rtRing_.write(rtScrubOutL_.data(), rtScrubOutR_.data(), static_cast<std::int64_t>(n));
}

void PlaybackEngine::rtScrubFillOnce() {
    const double maxStep = static_cast<double>(rtScrubBlock) * rtScrubMaxRate;
    while (rtRunning_.load(std::memory_order_acquire)) {
        if (!rtScrubbing_.load(std::memory_order_acquire))
            return;
        const std::int64_t filled = rtRing_.filledFrames();
        if (filled > rtScrubFillAhead - 1 || rtRing_.capacity() - filled < rtScrubBlock)
            return;
        double pos = 0.0;
        double target = 0.0;
        float gain = 0.0f;
        std::shared_ptr<const TimelineRenderer::Snapshot> snapshot;
        std::optional<std::filesystem::path> preview;
        double totalSamples = 0.0;
        {
            const std::lock_guard lock(rtLock_);
            pos = rtScrubReadPos_;
            target = rtScrubTargetSample_;
            gain = rtScrubGain_;
            snapshot = rtSnapshot_;
            preview = rtPreviewURL_;
            // The end is read anew for every block, so an edit during a drag moves it at once.
            if (preview)
                totalSamples = rtPreviewTotalSamples_;
            else if (snapshot)
                totalSamples = static_cast<double>(snapshot->totalSamples);
        }
        const auto moveHeadTo = [this](double to) {
            const std::lock_guard lock(rtLock_);
            rtScrubReadPos_ = to;
        };
        // Level 0 or a jump of more than 2 seconds: the head lands on the target in silence, so
        // nothing runs up later and a jump is not played through.
        if (gain <= 0.0f || std::abs(target - pos) > scrubJumpSamples) {
            moveHeadTo(target);
            rtScrubWriteSilence(rtScrubBlock);
            continue;
        }
        const double step = std::clamp(target - pos, -maxStep, maxStep);
        const double next = pos + step;
        // Below 8 samples per block a resting hand is not heard as rumble.
        if (std::abs(step) < scrubDeadZoneSamples) {
            moveHeadTo(next);
            rtScrubWriteSilence(rtScrubBlock);
            continue;
        }
        const auto lo = static_cast<std::int64_t>(std::max(std::floor(std::min(pos, next)) - 1.0, 0.0));
        const auto hi = static_cast<std::int64_t>(std::ceil(std::max(pos, next))) + 1;
        const std::int64_t n = std::min(hi - lo + 1, scrubSourceFrames);
        if (n <= 1) {
            moveHeadTo(next);
            rtScrubWriteSilence(rtScrubBlock);
            continue;
        }
        if (preview) {
            rtRenderer_.renderPreview(rtScrubSrcL_.data(), rtScrubSrcR_.data(), *preview, lo, n,
                                      TimelineRenderer::Reading::perChunk);
        } else if (snapshot) {
            rtRenderer_.render(rtScrubSrcL_.data(), rtScrubSrcR_.data(), lo, n, *snapshot,
                               TimelineRenderer::Reading::perChunk);
        } else {
            rtScrubWriteSilence(rtScrubBlock); // nothing to read: the head stays
            continue;
        }
        for (std::int64_t i = 0; i < rtScrubBlock; ++i) {
            const double p = pos + step * (static_cast<double>(i) / static_cast<double>(rtScrubBlock));
            float outL = 0.0f;
            float outR = 0.0f;
            if (p >= 0 && p < totalSamples) {
                const double rel = p - static_cast<double>(lo);
                const auto k = static_cast<std::int64_t>(std::trunc(rel));
                if (k >= 0 && k + 1 < n) {
                    const auto f = static_cast<float>(rel - static_cast<double>(k));
                    const auto ku = static_cast<std::size_t>(k);
                    outL = gain * ((1.0f - f) * rtScrubSrcL_[ku] + f * rtScrubSrcL_[ku + 1]);
                    outR = gain * ((1.0f - f) * rtScrubSrcR_[ku] + f * rtScrubSrcR_[ku + 1]);
                }
            }
            rtScrubOutL_[static_cast<std::size_t>(i)] = outL;
            rtScrubOutR_[static_cast<std::size_t>(i)] = outR;
        }
        rtRing_.write(rtScrubOutL_.data(), rtScrubOutR_.data(), rtScrubBlock);
        moveHeadTo(next);
    }
}

// --- Spool ---

void PlaybackEngine::spoolStep(int direction) {
    const double sign = direction < 0 ? -1.0 : 1.0;
    if (!rtScrubEnabled_) {
        // Without scrub audio the keys step the playhead.
        seek(sign < 0 ? std::max<std::int64_t>(currentSample_ - stepSamples, 0)
                      : std::min(currentSample_ + stepSamples, totalSamples_));
        return;
    }
    if (!rtSpooling_ || (rtSpoolRate_ < 0) != (sign < 0)) {
        // The opposite key flips at once to the lowest speed in its direction.
        startSpool(rtSpoolSpeeds[0] * sign);
        return;
    }
    const auto at = std::find(rtSpoolSpeeds.begin(), rtSpoolSpeeds.end(), std::abs(rtSpoolRate_));
    if (at == rtSpoolSpeeds.end() || at + 1 == rtSpoolSpeeds.end()) {
        stopSpool(); // a fourth press releases
        return;
    }
    rtSpoolRate_ = *(at + 1) * sign;
}

void PlaybackEngine::startSpool(double rate) {
    if (isPlaying_) {
        // The producer is replaced by the scrub loop below.
        isPlaying_ = false;
        stopDisplayLink();
    }
    rtSpoolRate_ = rate;
    if (rtSpooling_)
        return; // only the rate changes: no restart, no gap
    rtSpooling_ = true;
    rtStartScrub();
    rtSpoolLastTick_ = mainLoop_.nowSeconds();
    rtSpoolTimer_ = mainLoop_.addTimer(displayTickSeconds, TimerRepeat::repeating, [this] { spoolTick(); });
    announce();
}

void PlaybackEngine::spoolTick() {
    const double now = mainLoop_.nowSeconds();
    const double dt = now - rtSpoolLastTick_;
    rtSpoolLastTick_ = now;
    // The wall clock sets the speed: a late tick gives a bigger step, not a slower spool.
    std::int64_t t = currentSample_ + std::llround(dt * rtSpoolRate_ * sampleRate);
    const bool hitStart = t <= 0;
    if (hitStart)
        t = 0;
    bool hitEnd = false;
    if (totalSamples_ > 0 && t >= totalSamples_) {
        hitEnd = true;
        t = totalSamples_;
    }
    currentSample_ = t;
    {
        const std::lock_guard lock(rtLock_);
        rtScrubTargetSample_ = static_cast<double>(t);
    }
    if (onTimeUpdate_)
        onTimeUpdate_(t);
    if (hitStart || hitEnd)
        stopSpool();
}

void PlaybackEngine::stopSpool() {
    if (!rtSpooling_)
        return;
    rtSpooling_ = false;
    rtSpoolRate_ = 0;
    if (rtSpoolTimer_) {
        mainLoop_.cancelTimer(*rtSpoolTimer_);
        rtSpoolTimer_.reset();
    }
    if (rtScrubbing_.load())
        rtStopScrubProducer();
    announce();
}

} // namespace orvane
