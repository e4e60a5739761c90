#include "monitoring/PlaybackEngine.h"

#include "platform/DefaultsStore.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <iostream>
#include <limits>
#include <thread>

namespace orvane {

PlaybackEngine::PlaybackEngine(MainLoop& mainLoop, DefaultsStore& defaults, AudioOutput& output)
    : mainLoop_(mainLoop), output_(output),
      rtScrubEnabled_(defaults.boolValue("orvane.scrubAudio").value_or(true)), metering_(defaults),
      rtFillBufL_(fillBlockFrames), rtFillBufR_(fillBlockFrames), rtScrubSrcL_(scrubSourceFrames),
      rtScrubSrcR_(scrubSourceFrames), rtScrubOutL_(rtScrubBlock), rtScrubOutR_(rtScrubBlock) {
    // The engine outlives the output's stream (the destructor stops it first), so the callback may
    // hold a plain pointer.
    callback_ = [this](float* l, float* r, std::size_t frames, double hostTime) {
        renderCallback(l, r, frames, hostTime);
    };
    srcPrewarmer_ = std::make_unique<SRCPrewarmer>(
        [this, alive = std::weak_ptr<int>(lifeToken_)](std::function<void()> task) {
            mainLoop_.post([alive, task = std::move(task)] {
                if (alive.lock())
                    task();
            });
        },
        [this, alive = std::weak_ptr<int>(lifeToken_)](const Uuid& id, SRCCacheState state) {
            if (alive.lock() && srcStateHandler_)
                srcStateHandler_(id, state);
        },
        // The ring path reads the sources directly, so no file map needs rebuilding after a job.
        [] {});
    metering_.installMeterTap(sampleRate);
    startOutput(std::nullopt);
}

PlaybackEngine::~PlaybackEngine() {
    rtStopProducer();
    stopDisplayLink();
    if (rtSpoolTimer_)
        mainLoop_.cancelTimer(*rtSpoolTimer_);
    output_.stop();
    srcPrewarmer_.reset();
}

void PlaybackEngine::startOutput(std::optional<std::uint32_t> deviceID) {
    // The graph runs for the life of the engine; a stopped transport means the callback gives zeros.
    const auto started = output_.start(deviceID, callback_);
    isEngineRunning_ = started.has_value();
    if (!started)
        std::cout << "Engine start failed: " << started.error() << std::endl;
}

void PlaybackEngine::setOutputDevice(std::uint32_t deviceID) {
    stop();
    reopenOutput(deviceID);
}

void PlaybackEngine::reopenOutput(std::optional<std::uint32_t> deviceID) {
    output_.stop();
    startOutput(deviceID);
}

// --- Audio thread ---

void PlaybackEngine::renderCallback(float* left, float* right, std::size_t frames,
                                    double hostTimeSeconds) noexcept {
    if (left == nullptr || right == nullptr || frames == 0)
        return;
    const auto count = static_cast<std::int64_t>(frames);
    if (!rtRunning_.load(std::memory_order_acquire)) {
        std::memset(left, 0, frames * sizeof(float));
        std::memset(right, 0, frames * sizeof(float));
    } else {
        if (rtRing_.read(left, right, count) < count)
            underruns_.fetch_add(1, std::memory_order_relaxed);
        // The whole block counts, also when the ring ran short, so the position runs on.
        rtConsumedSample_.fetch_add(count, std::memory_order_relaxed);
    }
    // The meters see the signal ahead of the monitor volume.
    metering_.pushFromRenderThread(left, right, frames, hostTimeSeconds,
                                   rtScrubbing_.load(std::memory_order_relaxed));
    const float volume = volume_.load(std::memory_order_relaxed);
    if (volume != 1.0f) {
        for (std::size_t i = 0; i < frames; ++i) {
            left[i] *= volume;
            right[i] *= volume;
        }
    }
}

// --- Producer ---

void PlaybackEngine::rtSetSnapshot() {
    auto snapshot = std::make_shared<const TimelineRenderer::Snapshot>(
        TimelineRenderer::Snapshot::make(currentProject_.value_or(CDProject{}), currentPositions_));
    const std::lock_guard lock(rtLock_);
    rtSnapshot_ = std::move(snapshot);
}

void PlaybackEngine::rtSetLiveFade(const Uuid& trackID, std::int64_t fadeInSamples,
                                   std::int64_t fadeOutSamples, float inCurve, float outCurve) {
    std::shared_ptr<const TimelineRenderer::Snapshot> current;
    {
        const std::lock_guard lock(rtLock_);
        current = rtSnapshot_;
    }
    if (!current)
        return;
    // The producer may hold the old snapshot while rendering, so the patch goes into a copy.
    auto patched = std::make_shared<TimelineRenderer::Snapshot>(*current);
    const auto track = std::find_if(patched->project.tracks.begin(), patched->project.tracks.end(),
                                    [&](const CDTrack& t) { return t.id == trackID; });
    if (track == patched->project.tracks.end())
        return;
    track->fadeInSamples = fadeInSamples;
    track->fadeOutSamples = fadeOutSamples;
    track->fadeInCurve = inCurve;
    track->fadeOutCurve = outCurve;
    const std::lock_guard lock(rtLock_);
    rtSnapshot_ = std::move(patched);
}

void PlaybackEngine::rtStopProducer() {
    rtRunning_.store(false, std::memory_order_release);
    // The empty task runs only once the loop has left the queue.
    rtProducerQueue_.sync([] {});
}

void PlaybackEngine::rtStartAt(std::int64_t sample) {
    rtStopProducer();
    rtScrubbing_.store(false, std::memory_order_release);
    rtRing_.reset();
    rtRenderer_.clearDeEmphasisStates();
    {
        const std::lock_guard lock(rtLock_);
        rtSeekSample_ = rtProducerSample_ = std::max<std::int64_t>(sample, 0);
        rtConsumedSample_.store(0, std::memory_order_relaxed);
        rtLoopStartSample_.reset();
        rtLoopEndSample_.reset();
        if (loopRange_) {
            const std::int64_t s = loopRange_->first;
            const std::int64_t limit =
                totalSamples_ > 0 ? totalSamples_ : std::numeric_limits<std::int64_t>::max();
            const std::int64_t e = std::min(limit, loopRange_->second);
            // A start behind the loop's end plays straight on.
            if (e > s && rtSeekSample_ < e) {
                rtLoopStartSample_ = s;
                rtLoopEndSample_ = e;
            }
        }
    }
    rtRunning_.store(true, std::memory_order_release);
    rtProducerQueue_.async([this] { rtProducerLoop(); });
}

void PlaybackEngine::rtProducerLoop() {
    while (rtRunning_.load(std::memory_order_acquire)) {
        rtFillOnce();
        std::this_thread::sleep_for(std::chrono::microseconds(producerSleepMicros));
    }
}

void PlaybackEngine::rtFillOnce() {
    while (rtRunning_.load(std::memory_order_acquire)) {
        if (rtRing_.freeFrames() < fillBlockFrames)
            return;
        std::shared_ptr<const TimelineRenderer::Snapshot> snapshot;
        std::optional<std::filesystem::path> preview;
        std::int64_t p = 0;
        std::optional<std::int64_t> loopStart, loopEnd;
        {
            const std::lock_guard lock(rtLock_);
            snapshot = rtSnapshot_;
            preview = rtPreviewURL_;
            p = rtProducerSample_;
            loopStart = rtLoopStartSample_;
            loopEnd = rtLoopEndSample_;
        }
        std::int64_t count = fillBlockFrames;
        bool wrap = false;
        // A position at or past the loop's end does not wrap.
        if (loopEnd && p < *loopEnd && p + fillBlockFrames >= *loopEnd) {
            count = *loopEnd - p;
            wrap = true;
        }
        if (preview) {
            rtRenderer_.renderPreview(rtFillBufL_.data(), rtFillBufR_.data(), *preview, p, count);
        } else if (snapshot) {
            rtRenderer_.render(rtFillBufL_.data(), rtFillBufR_.data(), p, count, *snapshot);
        } else {
            return; // nothing to play yet; the loop sleeps and asks again
        }
        rtRing_.write(rtFillBufL_.data(), rtFillBufR_.data(), count);
        {
            // The wrap only moves the next start, so the loop's end and start lie side by side in
            // the ring: no gap and no fade.
            const std::lock_guard lock(rtLock_);
            rtProducerSample_ = wrap && loopStart ? *loopStart : p + count;
        }
    }
}

PlaybackEngine::HeardPosition PlaybackEngine::heardPosition() const {
    std::int64_t seek = 0;
    std::int64_t consumed = 0;
    {
        const std::lock_guard lock(rtLock_);
        seek = rtSeekSample_;
        consumed = rtConsumedSample_.load(std::memory_order_relaxed);
    }
    return rtFold(std::max<std::int64_t>(seek + consumed - latencySamples(), 0));
}

PlaybackEngine::HeardPosition PlaybackEngine::rtFold(std::int64_t heard) const {
    std::optional<std::int64_t> loopStart, loopEnd;
    {
        const std::lock_guard lock(rtLock_);
        loopStart = rtLoopStartSample_;
        loopEnd = rtLoopEndSample_;
    }
    if (loopStart && loopEnd && *loopStart < *loopEnd) {
        // The consumed count keeps growing across wraps; past the end it folds back into the loop.
        const std::int64_t a = *loopStart;
        const std::int64_t b = *loopEnd;
        if (heard > b)
            return {a + (heard - b) % (b - a), true};
        return {heard, true};
    }
    return {std::min(heard, totalSamples_), false};
}

} // namespace orvane
