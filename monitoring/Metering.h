#pragma once
// The meter tap: reduces what is played, before the monitor volume, to one MeterFrame per 512-frame
// buffer and keeps a running integrated loudness. The render thread hands blocks over without locks
// (pushFromRenderThread); the tap's own thread does the maths; the main thread reads the frame that
// is being heard now (meterLevels, spectrumBands, correlation) and sets the flags and modes.

#include "analysis/LoudnessAnalyzer.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace orvane {

class DefaultsStore;

// One tapped buffer, reduced. Levels are linear; bands are dB, or empty when not computed.
struct MeterFrame {
    double timeSec = 0.0;  // host time of the buffer's first frame, seconds
    double duration = 0.0; // frames / sample rate
    std::array<float, 2> fast{};
    std::array<float, 2> peak{};
    std::array<bool, 2> clip{};
    std::vector<float> bands;
    float corr = 1.0f;

    bool operator==(const MeterFrame&) const = default;
};

// What meterLevels gives; `time` is when the frame is heard (0 with nothing queued).
struct MeterLevels {
    float fastL = 0.0f, fastR = 0.0f, peakL = 0.0f, peakR = 0.0f;
    bool clipL = false, clipR = false;
    double time = 0.0;
    bool operator==(const MeterLevels&) const = default;
};

struct SpectrumReading {
    std::vector<float> bands;
    double time = 0.0;
    bool operator==(const SpectrumReading&) const = default;
};

struct CorrelationReading {
    float value = 0.0f;
    double time = 0.0;
    bool operator==(const CorrelationReading&) const = default;
};

class Metering final {
  public:
    static constexpr int spectrumBandCount = 48;
    static constexpr std::size_t tapBufferFrames = 512;
    static constexpr std::size_t fftSize = 2048;
    static constexpr std::size_t monoScratchFrames = 8192;

    // Reads the show* keys and "orvane.clipTruePeak". Main thread.
    explicit Metering(DefaultsStore& defaults);
    ~Metering(); // stops the tap thread
    Metering(const Metering&) = delete;
    Metering& operator=(const Metering&) = delete;

    // Builds the FFT plan, window, band table and loudness filters for this rate and starts the tap
    // thread. Main thread, while nothing is pushed; calling it again rebuilds everything. A rate that
    // is not positive and finite is refused with std::invalid_argument.
    void installMeterTap(double sampleRate);
    bool isInstalled() const { return installed_; }
    double sampleRate() const { return lufsFS_; }

    // Render thread: hands one block (any length) to the tap. No lock, no allocation, never blocks;
    // a full tap queue drops the block. `scrubbing` is the engine's rtScrubbing at that moment. A null
    // `right` makes the block mono. Before installMeterTap the block is ignored.
    void pushFromRenderThread(const float* left, const float* right, std::size_t frames,
                              double hostTimeSeconds, bool scrubbing) noexcept;

    // The tap's work on one buffer, on the calling thread. For tests and offline use only: never while
    // blocks are being pushed. `right` may be null when `channels` is 1. A hostTimeSeconds that is not
    // above 0 and finite counts as invalid and the present media time is used.
    void processBuffer(const float* left, const float* right, std::size_t frames, int channels,
                       double hostTimeSeconds, bool scrubbing);

    // Buffers the tap thread has processed so far; any thread.
    std::uint64_t processedBufferCount() const { return processedBuffers_.load(std::memory_order_acquire); }
    // Blocks dropped because the tap queue was full; any thread.
    std::uint64_t droppedBlockCount() const { return droppedBlocks_.load(std::memory_order_relaxed); }

    // Under meterLock. Main thread (the engine, at play and at scrub start).
    void setOutputLatency(double seconds);
    double outputLatency() const;

    // The frame being heard at `nowSeconds` (media time): the newest queued frame at or before
    // now - outputLatency, else the oldest. Main thread.
    MeterLevels meterLevels(double nowSeconds) const;
    SpectrumReading spectrumBands(double nowSeconds) const;
    CorrelationReading correlation(double nowSeconds) const;
    std::size_t queuedFrameCount() const;

    // The running integrated loudness in LUFS, absent until a block passes the gates. Any thread.
    std::optional<double> rtIntegratedLUFS() const;
    // Empties the measurement at the tap's next buffer; the figure is absent at once. Any thread.
    void resetRTLufs();

    // Rereads the show* defaults into the active flags. Main thread.
    void syncMeterTapFlags();
    bool vuMeterActive() const { return vuMeterActive_.load(std::memory_order_relaxed); }
    bool spectrumActive() const { return spectrumActive_.load(std::memory_order_relaxed); }
    bool correlationActive() const { return correlationActive_.load(std::memory_order_relaxed); }
    bool rtLufsActive() const { return rtLufsActive_.load(std::memory_order_relaxed); }

    // Clip detection mode: false "Sample Peak", true "True Peak"; written through to the defaults.
    bool clipTruePeak() const { return clipTruePeak_.load(std::memory_order_relaxed); }
    void setClipTruePeak(bool truePeak);

    // First and last FFT bin of each band, for the installed rate.
    const std::array<std::pair<int, int>, spectrumBandCount>& bandBinRanges() const { return bandBinRanges_; }

    // The clock frames are stamped with when the host time is invalid: the steady clock, seconds.
    static double mediaTimeSeconds();

  private:
    struct TapSlot;
    struct FFTState;

    void startTapThread();
    void stopTapThread();
    void tapThreadLoop();

    void accumulateRTLufs(const float* left, const float* right, std::size_t frames, int channels);
    void resetLufsFilters();
    void computeLevels(const float* left, const float* right, std::size_t frames, int channels,
                       MeterFrame& frame);
    void computeSpectrum(const float* left, const float* right, std::size_t frames, int channels,
                         MeterFrame& frame);
    static float computeCorrelation(const float* left, const float* right, std::size_t frames);
    const MeterFrame* frameHeardLocked(double nowSeconds) const;

    DefaultsStore& defaults_;
    bool installed_ = false;

    std::atomic<bool> vuMeterActive_{true};
    std::atomic<bool> spectrumActive_{true};
    std::atomic<bool> correlationActive_{false};
    std::atomic<bool> rtLufsActive_{true};
    std::atomic<bool> clipTruePeak_{false};

    mutable std::mutex meterLock_; // guards meterQueue_ and outputLatency_
    std::deque<MeterFrame> meterQueue_;
    double outputLatency_ = 0.0;

    // Tap thread only.
    std::array<int, 2> clipRun_{0, 0};
    std::unique_ptr<FFTState> fft_;
    std::vector<float> monoScratch_;
    std::array<std::pair<int, int>, spectrumBandCount> bandBinRanges_{};

    mutable std::mutex lufsLock_; // guards lufsResetPending_ and lufsValue_
    bool lufsResetPending_ = false;
    std::optional<double> lufsValue_;

    // Tap thread only.
    double lufsFS_ = 0.0;
    std::array<LoudnessAnalyzer::Biquad, 2> lufsFiltL_{};
    std::array<LoudnessAnalyzer::Biquad, 2> lufsFiltR_{};
    std::int64_t lufsHopSamples_ = 1;
    double lufsHopSum_ = 0.0;
    std::int64_t lufsHopFill_ = 0;
    std::deque<double> lufsRecentHops_;
    std::vector<double> lufsBlocks_;
    std::int64_t lufsScrubDrainFrames_ = 0;

    // The single-producer queue between the render thread and the tap thread.
    std::unique_ptr<TapSlot[]> slots_;
    std::size_t slotCount_ = 0;
    std::atomic<std::uint64_t> slotWriteIndex_{0}; // published slots; render thread writes
    std::atomic<std::uint64_t> slotReadIndex_{0};  // consumed slots; tap thread writes
    std::size_t slotFill_ = 0;                     // frames in the slot being filled; render thread
    std::atomic<std::uint64_t> processedBuffers_{0};
    std::atomic<std::uint64_t> droppedBlocks_{0};
    std::atomic<bool> tapRunning_{false};
    std::thread tapThread_;
};

} // namespace orvane
