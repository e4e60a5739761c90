#include "monitoring/Metering.h"

#include "platform/DefaultsStore.h"

#include <fftw3.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <numbers>
#include <numeric>
#include <stdexcept>

namespace orvane {

namespace {

constexpr float kClipLevel = 0.9999f;
constexpr int kClipRunSamples = 3;
constexpr float kTruePeakClipLevel = 1.002f;
constexpr double kQueueAgeSeconds = 2.0;
constexpr float kBandFloorDB = -80.0f;
constexpr std::size_t kTapSlotCount = 64; // ~0.74 s at 44.1 kHz before blocks are dropped
constexpr auto kTapPollInterval = std::chrono::milliseconds(2);

// FFTW's r2c output is the plain DFT X[k]. The band levels are scaled for a packed real FFT whose
// bins come out at twice X[k], so a bin's power is 4 |X[k]|^2; with the 1 / 2048^2 factor in the
// level formula, a full-scale sine centred on a bin then reads 10 log10(4 (0.5 x 0.8165)^2) = -1.76
// dB through the normalised Hann window.
constexpr float kPackedFFTPowerFactor = 4.0f;
constexpr float kBandPowerScale = 2.3841858e-07f; // 1 / 2048^2

bool isValidHostTime(double seconds) {
    return std::isfinite(seconds) && seconds > 0.0;
}

} // namespace

struct Metering::TapSlot {
    std::array<float, tapBufferFrames> left{};
    std::array<float, tapBufferFrames> right{};
    std::size_t frames = 0;
    int channels = 2;
    double hostTimeSeconds = 0.0;
    bool scrubbing = false;
};

struct Metering::FFTState {
    FFTState() {
        input = fftwf_alloc_real(fftSize);
        output = fftwf_alloc_complex(fftSize / 2 + 1);
        if (input == nullptr || output == nullptr) {
            release();
            throw std::bad_alloc();
        }
        std::fill_n(input, fftSize, 0.0f);
        // The planner is not thread-safe; plans are made here, on the main thread, once per install.
        plan = fftwf_plan_dft_r2c_1d(static_cast<int>(fftSize), input, output, FFTW_ESTIMATE);
        ring.assign(fftSize, 0.0f);
        hannWindow.resize(fftSize);
        for (std::size_t n = 0; n < fftSize; ++n) {
            const double phase =
                2.0 * std::numbers::pi * static_cast<double>(n) / static_cast<double>(fftSize);
            hannWindow[n] = static_cast<float>(0.8165 * (1.0 - std::cos(phase)));
        }
        power.assign(fftSize / 2, 0.0f);
    }
    ~FFTState() { release(); }
    FFTState(const FFTState&) = delete;
    FFTState& operator=(const FFTState&) = delete;

    void release() {
        if (plan != nullptr) {
            fftwf_destroy_plan(plan);
            plan = nullptr;
        }
        fftwf_free(input);
        fftwf_free(output);
        input = nullptr;
        output = nullptr;
    }

    fftwf_plan plan = nullptr; // absent if FFTW could not plan; the spectrum then stays empty
    float* input = nullptr;    // fftInput: time-ordered, windowed
    fftwf_complex* output = nullptr;
    std::vector<float> ring; // fftRing: newest mono samples
    std::size_t ringPos = 0;
    std::vector<float> hannWindow;
    std::vector<float> power; // fftPower
};

Metering::Metering(DefaultsStore& defaults) : defaults_(defaults) {
    clipTruePeak_.store(defaults_.boolValue("orvane.clipTruePeak").value_or(false));
    syncMeterTapFlags();
    monoScratch_.assign(monoScratchFrames, 0.0f);
    // Made once, so a late push during a reinstall never writes into freed memory.
    slots_ = std::make_unique<TapSlot[]>(kTapSlotCount);
    slotCount_ = kTapSlotCount;
}

Metering::~Metering() {
    stopTapThread();
}

double Metering::mediaTimeSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void Metering::installMeterTap(double sampleRate) {
    if (!std::isfinite(sampleRate) || sampleRate <= 0.0) {
        throw std::invalid_argument("Metering: the tap's sample rate must be positive");
    }
    stopTapThread();
    installed_ = false;

    fft_ = std::make_unique<FFTState>();
    const double binHz = sampleRate / static_cast<double>(fftSize);
    const float ratio = 22050.0f / 25.0f;
    for (int i = 0; i < spectrumBandCount; ++i) {
        const float f0 = 25.0f * std::pow(ratio, static_cast<float>(i) / spectrumBandCount);
        const float f1 = 25.0f * std::pow(ratio, static_cast<float>(i + 1) / spectrumBandCount);
        const int lo = std::max(static_cast<int>(std::trunc(f0 / binHz)), 1);
        const int hi = std::min(std::max(lo, static_cast<int>(std::trunc(f1 / binHz))), 1023);
        bandBinRanges_[static_cast<std::size_t>(i)] = {std::min(lo, 1023), hi};
    }

    lufsFS_ = sampleRate;
    lufsHopSamples_ = std::max<std::int64_t>(static_cast<std::int64_t>(std::trunc(lufsFS_ * 0.1)), 1);
    resetLufsFilters();
    lufsBlocks_.clear();
    lufsScrubDrainFrames_ = 0;
    clipRun_ = {0, 0};

    slotWriteIndex_.store(0);
    slotReadIndex_.store(0);
    slotFill_ = 0;
    installed_ = true;
    startTapThread();
}

void Metering::startTapThread() {
    tapRunning_.store(true, std::memory_order_release);
    tapThread_ = std::thread([this] { tapThreadLoop(); });
}

void Metering::stopTapThread() {
    tapRunning_.store(false, std::memory_order_release);
    if (tapThread_.joinable()) {
        tapThread_.join();
    }
}

void Metering::tapThreadLoop() {
    while (tapRunning_.load(std::memory_order_acquire)) {
        const std::uint64_t read = slotReadIndex_.load(std::memory_order_relaxed);
        if (read == slotWriteIndex_.load(std::memory_order_acquire)) {
            // A short sleep keeps the render thread free of any wake-up call.
            std::this_thread::sleep_for(kTapPollInterval);
            continue;
        }
        const TapSlot& slot = slots_[read % slotCount_];
        processBuffer(slot.left.data(), slot.right.data(), slot.frames, slot.channels, slot.hostTimeSeconds,
                      slot.scrubbing);
        slotReadIndex_.store(read + 1, std::memory_order_release);
        processedBuffers_.fetch_add(1, std::memory_order_acq_rel);
    }
}

void Metering::pushFromRenderThread(const float* left, const float* right, std::size_t frames,
                                    double hostTimeSeconds, bool scrubbing) noexcept {
    if (!tapRunning_.load(std::memory_order_acquire) || left == nullptr || frames == 0) {
        return;
    }
    const bool validTime = isValidHostTime(hostTimeSeconds);
    std::size_t offset = 0;
    while (offset < frames) {
        const std::uint64_t write = slotWriteIndex_.load(std::memory_order_relaxed);
        if (write - slotReadIndex_.load(std::memory_order_acquire) >= slotCount_) {
            droppedBlocks_.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        TapSlot& slot = slots_[write % slotCount_];
        if (slotFill_ == 0) {
            // A buffer's time is that of its first frame, inside whichever block it came from.
            slot.hostTimeSeconds = validTime ? hostTimeSeconds + static_cast<double>(offset) / lufsFS_ : 0.0;
            slot.scrubbing = scrubbing;
            slot.channels = right != nullptr ? 2 : 1;
        } else {
            // Any scrub audio in a merged buffer keeps the whole buffer out of the loudness.
            slot.scrubbing = slot.scrubbing || scrubbing;
            if (right != nullptr) {
                slot.channels = 2;
            }
        }
        const std::size_t count = std::min(tapBufferFrames - slotFill_, frames - offset);
        std::memcpy(slot.left.data() + slotFill_, left + offset, count * sizeof(float));
        std::memcpy(slot.right.data() + slotFill_, (right != nullptr ? right : left) + offset,
                    count * sizeof(float));
        slotFill_ += count;
        offset += count;
        if (slotFill_ == tapBufferFrames) {
            slot.frames = tapBufferFrames;
            slotFill_ = 0;
            slotWriteIndex_.store(write + 1, std::memory_order_release);
        }
    }
}

void Metering::processBuffer(const float* left, const float* right, std::size_t frames, int channels,
                             double hostTimeSeconds, bool scrubbing) {
    if (!installed_ || left == nullptr || frames == 0 || channels < 1) {
        return;
    }
    if (right == nullptr) {
        channels = 1;
    }
    const bool vu = vuMeterActive();
    const bool spectrum = spectrumActive();
    const bool corr = correlationActive();
    const bool lufs = rtLufsActive();
    if (!vu && !spectrum && !corr && !lufs) {
        return;
    }

    if (lufs) {
        if (scrubbing) {
            lufsScrubDrainFrames_ = static_cast<std::int64_t>(std::trunc(lufsFS_ * 0.25));
        } else if (lufsScrubDrainFrames_ > 0) {
            lufsScrubDrainFrames_ -= static_cast<std::int64_t>(frames);
            if (lufsScrubDrainFrames_ <= 0) {
                // Start the running hop afresh; the blocks gated so far stay.
                lufsScrubDrainFrames_ = 0;
                resetLufsFilters();
            }
        } else {
            accumulateRTLufs(left, right, frames, channels);
        }
    }

    MeterFrame frame;
    if (vu) {
        computeLevels(left, right, frames, channels, frame);
    }
    if (spectrum) {
        computeSpectrum(left, right, frames, channels, frame);
    }
    if (corr && channels >= 2) {
        frame.corr = computeCorrelation(left, right, frames);
    }
    frame.timeSec = isValidHostTime(hostTimeSeconds) ? hostTimeSeconds : mediaTimeSeconds();
    frame.duration = static_cast<double>(frames) / lufsFS_;

    const std::lock_guard lock(meterLock_);
    const double oldest = frame.timeSec - kQueueAgeSeconds;
    meterQueue_.push_back(std::move(frame));
    std::erase_if(meterQueue_, [oldest](const MeterFrame& f) { return f.timeSec < oldest; });
}

void Metering::computeLevels(const float* left, const float* right, std::size_t frames, int channels,
                             MeterFrame& frame) {
    const int measured = std::min(channels, 2);
    for (int c = 0; c < measured; ++c) {
        const float* data = c == 0 ? left : right;
        float m = 0.0f;
        for (std::size_t i = 0; i < frames; ++i) {
            m = std::max(m, std::fabs(data[i]));
        }
        const auto ch = static_cast<std::size_t>(c);
        frame.fast[ch] = m;
        frame.peak[ch] = m;
        if (m >= kClipLevel) {
            // The run of full-scale samples carries over from the previous buffer.
            int run = clipRun_[ch];
            int longest = run;
            for (std::size_t i = 0; i < frames; ++i) {
                run = std::fabs(data[i]) >= kClipLevel ? run + 1 : 0;
                longest = std::max(longest, run);
            }
            clipRun_[ch] = run;
            frame.clip[ch] = longest >= kClipRunSamples;
            if (clipTruePeak() && longest < kClipRunSamples) {
                frame.clip[ch] = m > kTruePeakClipLevel;
            }
        } else {
            clipRun_[ch] = 0;
            frame.clip[ch] = false;
        }
    }
    if (measured == 1) {
        frame.fast[1] = frame.fast[0];
        frame.peak[1] = frame.peak[0];
        frame.clip[1] = frame.clip[0];
    }
}

void Metering::computeSpectrum(const float* left, const float* right, std::size_t frames, int channels,
                               MeterFrame& frame) {
    if (!fft_ || fft_->plan == nullptr) {
        return;
    }
    FFTState& s = *fft_;
    const std::size_t n = std::min(frames, monoScratch_.size());
    for (std::size_t i = 0; i < n; ++i) {
        monoScratch_[i] = channels >= 2 ? (left[i] + right[i]) * 0.5f : left[i];
    }
    for (std::size_t i = 0; i < n; ++i) {
        s.ring[s.ringPos] = monoScratch_[i];
        s.ringPos = (s.ringPos + 1) % fftSize;
    }
    for (std::size_t i = 0; i < fftSize; ++i) {
        s.input[i] = s.ring[(s.ringPos + i) % fftSize] * s.hannWindow[i];
    }
    fftwf_execute(s.plan);

    // Bin 0 holds DC and Nyquist together, as the packed layout the levels are scaled for does.
    const std::size_t half = fftSize / 2;
    s.power[0] =
        kPackedFFTPowerFactor * (s.output[0][0] * s.output[0][0] + s.output[half][0] * s.output[half][0]);
    for (std::size_t k = 1; k < half; ++k) {
        const float re = s.output[k][0];
        const float im = s.output[k][1];
        s.power[k] = kPackedFFTPowerFactor * (re * re + im * im);
    }

    frame.bands.resize(spectrumBandCount);
    for (std::size_t b = 0; b < static_cast<std::size_t>(spectrumBandCount); ++b) {
        const auto [lo, hi] = bandBinRanges_[b];
        const float p = *std::max_element(s.power.begin() + lo, s.power.begin() + hi + 1);
        const float db = 10.0f * std::log10(p * kBandPowerScale + 1e-12f);
        frame.bands[b] = std::max(db, kBandFloorDB);
    }
}

float Metering::computeCorrelation(const float* left, const float* right, std::size_t frames) {
    double lr = 0.0, ll = 0.0, rr = 0.0;
    for (std::size_t i = 0; i < frames; ++i) {
        lr += static_cast<double>(left[i]) * right[i];
        ll += static_cast<double>(left[i]) * left[i];
        rr += static_cast<double>(right[i]) * right[i];
    }
    const double d = std::sqrt(ll * rr);
    if (d > 1e-9) {
        return static_cast<float>(std::clamp(lr / d, -1.0, 1.0));
    }
    return 1.0f; // a silent channel has no correlation to show; rest is +1
}

void Metering::resetLufsFilters() {
    lufsFiltL_ = LoudnessAnalyzer::kWeightingFilters(lufsFS_);
    lufsFiltR_ = lufsFiltL_;
    lufsHopSum_ = 0.0;
    lufsHopFill_ = 0;
    lufsRecentHops_.clear();
}

void Metering::accumulateRTLufs(const float* left, const float* right, std::size_t frames, int channels) {
    bool reset = false;
    {
        const std::lock_guard lock(lufsLock_);
        reset = lufsResetPending_;
        lufsResetPending_ = false;
    }
    if (reset) {
        resetLufsFilters();
        lufsBlocks_.clear();
    }
    bool appended = false;
    for (std::size_t i = 0; i < frames; ++i) {
        const double l = left[i];
        const double r = channels >= 2 ? right[i] : l;
        const double yl = lufsFiltL_[1].process(lufsFiltL_[0].process(l));
        const double yr = lufsFiltR_[1].process(lufsFiltR_[0].process(r));
        lufsHopSum_ += yl * yl + yr * yr;
        if (++lufsHopFill_ < lufsHopSamples_) {
            continue;
        }
        lufsRecentHops_.push_back(lufsHopSum_);
        if (lufsRecentHops_.size() > 4) {
            lufsRecentHops_.pop_front();
        }
        lufsHopSum_ = 0.0;
        lufsHopFill_ = 0;
        if (lufsRecentHops_.size() == 4) {
            const double sum = std::accumulate(lufsRecentHops_.begin(), lufsRecentHops_.end(), 0.0);
            lufsBlocks_.push_back(sum / (4.0 * static_cast<double>(lufsHopSamples_)));
            appended = true;
        }
    }
    if (appended || reset) {
        const std::optional<double> value = LoudnessAnalyzer::integrated(lufsBlocks_);
        const std::lock_guard lock(lufsLock_);
        // A reset asked for meanwhile wins: the figure stays cleared until the next buffer.
        if (!lufsResetPending_) {
            lufsValue_ = value;
        }
    }
}

void Metering::setOutputLatency(double seconds) {
    const std::lock_guard lock(meterLock_);
    outputLatency_ = seconds;
}

double Metering::outputLatency() const {
    const std::lock_guard lock(meterLock_);
    return outputLatency_;
}

const MeterFrame* Metering::frameHeardLocked(double nowSeconds) const {
    if (meterQueue_.empty()) {
        return nullptr;
    }
    const double target = nowSeconds - outputLatency_;
    const MeterFrame* chosen = &meterQueue_.front();
    for (const MeterFrame& f : meterQueue_) {
        if (f.timeSec > target) {
            break;
        }
        chosen = &f;
    }
    return chosen;
}

MeterLevels Metering::meterLevels(double nowSeconds) const {
    const std::lock_guard lock(meterLock_);
    const MeterFrame* f = frameHeardLocked(nowSeconds);
    if (f == nullptr) {
        return {};
    }
    return {
        f->fast[0], f->fast[1], f->peak[0], f->peak[1], f->clip[0], f->clip[1], f->timeSec + outputLatency_};
}

SpectrumReading Metering::spectrumBands(double nowSeconds) const {
    const std::lock_guard lock(meterLock_);
    const MeterFrame* f = frameHeardLocked(nowSeconds);
    if (f == nullptr) {
        return {};
    }
    return {f->bands, f->timeSec + outputLatency_};
}

CorrelationReading Metering::correlation(double nowSeconds) const {
    const std::lock_guard lock(meterLock_);
    const MeterFrame* f = frameHeardLocked(nowSeconds);
    if (f == nullptr) {
        return {};
    }
    return {f->corr, f->timeSec + outputLatency_};
}

std::size_t Metering::queuedFrameCount() const {
    const std::lock_guard lock(meterLock_);
    return meterQueue_.size();
}

std::optional<double> Metering::rtIntegratedLUFS() const {
    const std::lock_guard lock(lufsLock_);
    return lufsValue_;
}

void Metering::resetRTLufs() {
    const std::lock_guard lock(lufsLock_);
    lufsResetPending_ = true;
    lufsValue_.reset();
}

void Metering::syncMeterTapFlags() {
    const bool showVU = defaults_.boolValue("showVUMeter").value_or(true);
    const bool showRTLufs = defaults_.boolValue("showRTLufs").value_or(true);
    vuMeterActive_.store(showVU, std::memory_order_relaxed);
    rtLufsActive_.store(showVU && showRTLufs, std::memory_order_relaxed);
    spectrumActive_.store(defaults_.boolValue("showSpectrum").value_or(true), std::memory_order_relaxed);
    correlationActive_.store(defaults_.boolValue("showCorrelation").value_or(false),
                             std::memory_order_relaxed);
}

void Metering::setClipTruePeak(bool truePeak) {
    clipTruePeak_.store(truePeak, std::memory_order_relaxed);
    defaults_.setBool("orvane.clipTruePeak", truePeak);
}

} // namespace orvane
