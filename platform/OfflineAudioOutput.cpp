#include "platform/OfflineAudioOutput.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <system_error>

namespace orvane {

namespace {

// A hidden sibling, so a capture in progress never shows under its final name.
std::filesystem::path partialBeside(const std::filesystem::path& target) {
    static std::atomic<unsigned> counter{0};
    const auto folder = target.has_parent_path() ? target.parent_path() : std::filesystem::path{"."};
    return folder / ("." + target.filename().string() + ".orvane-capture-partial-" +
                     std::to_string(::getpid()) + "-" + std::to_string(counter.fetch_add(1)));
}

// Past this lag the real-time clock gives up catching up and starts again from now.
constexpr double kResyncLagSeconds = 0.5;

} // namespace

OfflineAudioOutput::OfflineAudioOutput(OfflineAudioOutputSettings settings) : settings_(std::move(settings)) {
    setPresentationLatency(settings_.presentationLatencySeconds);
}

OfflineAudioOutput::~OfflineAudioOutput() {
    stop();
}

void OfflineAudioOutput::setPresentationLatency(double seconds) noexcept {
    const double value = seconds > 0.0 ? seconds : 0.0; // also turns NaN into 0
    settings_.presentationLatencySeconds = value;
    latencySeconds_.store(value, std::memory_order_relaxed);
}

void OfflineAudioOutput::setPacing(OfflinePacing pacing) {
    settings_.pacing = pacing;
}

void OfflineAudioOutput::setCapturePath(std::optional<std::filesystem::path> path) {
    settings_.capturePath = std::move(path);
}

std::string OfflineAudioOutput::captureError() const {
    std::lock_guard lock(captureErrorMutex_);
    return captureError_;
}

tl::expected<void, std::string> OfflineAudioOutput::start(std::optional<std::uint32_t> device,
                                                          AudioRenderCallback callback) {
    stop();
    if (device && *device != deviceID)
        return tl::make_unexpected("The offline output has no device " + std::to_string(*device) + ".");
    if (!callback)
        return tl::make_unexpected(std::string{"The offline output needs a render callback."});

    {
        std::lock_guard lock(captureErrorMutex_);
        captureError_.clear();
    }
    if (settings_.capturePath) {
        const auto& target = *settings_.capturePath;
        if (target.empty() || !target.has_filename())
            return tl::make_unexpected(std::string{"The capture file has no name."});
        AudioWriteSettings wav;
        wav.container = AudioContainer::wav;
        wav.sampleFormat = AudioSampleFormat::float32;
        wav.sampleRate = AudioOutput::sampleRate;
        wav.channelCount = 2;
        const auto partial = partialBeside(target);
        auto writer = AudioFileWriter::open(partial, wav);
        if (!writer)
            return tl::make_unexpected("Cannot capture to \"" + target.string() +
                                       "\": " + writer.error().message);
        capture_.emplace(std::move(*writer));
        capturePartial_ = partial;
        captureTarget_ = target;
    }

    callback_ = std::move(callback);
    framesPulled_.store(0, std::memory_order_relaxed);
    underruns_.store(0, std::memory_order_relaxed);
    clockStartSeconds_ = hostTimeNow();
    stopRequested_.store(false, std::memory_order_relaxed);
    running_.store(true, std::memory_order_release);
    if (settings_.pacing != OfflinePacing::manual) {
        try {
            thread_ = std::thread([this, pacing = settings_.pacing] { runDevice(pacing); });
        } catch (const std::system_error& e) {
            running_.store(false, std::memory_order_release);
            finishCapture();
            return tl::make_unexpected(std::string{"The offline output could not start its thread: "} +
                                       e.what());
        }
    }
    return {};
}

void OfflineAudioOutput::stop() {
    stopRequested_.store(true, std::memory_order_relaxed);
    if (thread_.joinable())
        thread_.join();
    running_.store(false, std::memory_order_release);
    finishCapture();
}

void OfflineAudioOutput::renderBlock(std::size_t frames, double hostTimeSeconds) {
    block_.setFrameLength(frames);
    callback_(block_.channel(0), block_.channel(1), frames, hostTimeSeconds);
    framesPulled_.fetch_add(frames, std::memory_order_relaxed);
    // After the callback, never inside it: file writing may block.
    if (capture_) {
        auto written = capture_->write(block_);
        if (!written) {
            {
                std::lock_guard lock(captureErrorMutex_);
                captureError_ = written.error().message;
            }
            capture_.reset();
        }
    }
}

void OfflineAudioOutput::runDevice(OfflinePacing pacing) {
    using Clock = std::chrono::steady_clock;
    const auto blockDuration = std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(static_cast<double>(blockFrames) / AudioOutput::sampleRate));
    auto deadline = Clock::now();
    while (!stopRequested_.load(std::memory_order_relaxed)) {
        if (pacing == OfflinePacing::realTime) {
            const auto now = Clock::now();
            if (now - deadline > std::chrono::duration<double>(kResyncLagSeconds)) {
                underruns_.fetch_add(1, std::memory_order_relaxed);
                deadline = now;
            }
            std::this_thread::sleep_until(deadline);
            // The block is requested at its deadline on the steady clock, which hostTimeNow reads.
            const double hostTime = std::chrono::duration<double>(deadline.time_since_epoch()).count();
            renderBlock(blockFrames, hostTime);
            deadline += blockDuration;
        } else {
            const double hostTime =
                clockStartSeconds_ +
                static_cast<double>(framesPulled_.load(std::memory_order_relaxed)) / AudioOutput::sampleRate;
            renderBlock(blockFrames, hostTime);
        }
    }
}

tl::expected<PulledAudio, std::string> OfflineAudioOutput::pull(std::size_t frames) {
    if (thread_.joinable())
        return tl::make_unexpected(std::string{"The offline output is running on its own clock."});
    if (!callback_)
        return tl::make_unexpected(std::string{"The offline output has not been started."});
    PulledAudio pulled;
    pulled.left.reserve(frames);
    pulled.right.reserve(frames);
    std::size_t left = frames;
    while (left > 0) {
        const std::size_t n = std::min(left, blockFrames);
        const double hostTime =
            clockStartSeconds_ +
            static_cast<double>(framesPulled_.load(std::memory_order_relaxed)) / AudioOutput::sampleRate;
        renderBlock(n, hostTime);
        pulled.left.insert(pulled.left.end(), block_.channel(0), block_.channel(0) + n);
        pulled.right.insert(pulled.right.end(), block_.channel(1), block_.channel(1) + n);
        pulled.blockHostTimesSeconds.push_back(hostTime);
        left -= n;
    }
    return pulled;
}

void OfflineAudioOutput::finishCapture() {
    lastCapture_.reset();
    if (captureTarget_.empty())
        return;
    std::error_code ignored;
    bool whole = false;
    if (capture_) {
        auto finished = capture_->finish();
        capture_.reset();
        if (finished) {
            std::error_code renamed;
            std::filesystem::rename(capturePartial_, captureTarget_, renamed);
            whole = !renamed;
            if (renamed) {
                std::lock_guard lock(captureErrorMutex_);
                captureError_ = "Cannot move the capture into place: " + renamed.message();
            }
        } else {
            std::lock_guard lock(captureErrorMutex_);
            captureError_ = finished.error().message;
        }
    }
    if (whole) {
        lastCapture_ = captureTarget_;
    } else {
        std::filesystem::remove(capturePartial_, ignored); // never leave a half file behind
        std::cout << "Offline output: capture abandoned: " << captureError() << '\n';
    }
    capturePartial_.clear();
    captureTarget_.clear();
}

} // namespace orvane
