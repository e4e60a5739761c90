#pragma once
// An output without sound hardware: it pulls the render callback on its own clock, in blocks of
// 512 frames, either paced to real time, as fast as possible, or only when a caller asks (pull()).
// What it pulls can be captured to a 32-bit float stereo WAV that appears whole under its name
// when the stream stops. start(), stop(), pull() and the setters belong to one controlling thread;
// the callback runs on the device's own thread (or the caller's, for pull()).

#include "platform/AudioBuffer.h"
#include "platform/AudioFileWriter.h"
#include "platform/AudioOutput.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace orvane {

enum class OfflinePacing {
    realTime,         // one block every 512 / 44100 seconds on the steady clock
    asFastAsPossible, // blocks back to back; host times advance by the audio pulled
    manual,           // no thread: the callback runs only inside pull()
};

struct OfflineAudioOutputSettings {
    OfflinePacing pacing = OfflinePacing::realTime;
    // When set, every block pulled while started goes to this WAV (32-bit float, stereo, 44.1 kHz).
    std::optional<std::filesystem::path> capturePath;
    double presentationLatencySeconds = 0.0;

    bool operator==(const OfflineAudioOutputSettings&) const = default;
};

// What one pull() delivered, channel by channel.
struct PulledAudio {
    std::vector<float> left;
    std::vector<float> right;
    std::vector<double> blockHostTimesSeconds; // one per callback run, in order

    bool operator==(const PulledAudio&) const = default;
};

class OfflineAudioOutput final : public AudioOutput {
  public:
    static constexpr std::size_t blockFrames = 512;
    // Distinct from every RtAudio id, which carry the API in bits 16 and up starting at 1.
    static constexpr std::uint32_t deviceID = 0xFFFF0001u;
    static constexpr std::string_view deviceUID = "offline";
    static constexpr std::string_view deviceName = "Offline";

    static AudioOutputDevice device() { return {deviceID, std::string(deviceUID), std::string(deviceName)}; }

    explicit OfflineAudioOutput(OfflineAudioOutputSettings settings = {});
    ~OfflineAudioOutput() override; // stops, so a capture is finished and moved into place
    OfflineAudioOutput(const OfflineAudioOutput&) = delete;
    OfflineAudioOutput& operator=(const OfflineAudioOutput&) = delete;

    std::vector<AudioOutputDevice> devices() override { return {device()}; }
    std::optional<std::uint32_t> defaultDevice() override { return deviceID; }

    // Refuses any device but this one. With a capture path, the WAV is opened here (hidden, beside
    // the target), so a folder that can't be written fails the start rather than the stream.
    tl::expected<void, std::string> start(std::optional<std::uint32_t> device,
                                          AudioRenderCallback callback) override;
    // Joins the device thread, then finishes the capture and renames it into place. Any capture
    // write failure (see captureError) discards the partial file instead.
    void stop() override;
    bool isRunning() const override { return running_.load(std::memory_order_acquire); }

    double presentationLatency() const override { return latencySeconds_.load(std::memory_order_relaxed); }
    void setPresentationLatency(double seconds) noexcept;
    // Late blocks in real-time pacing: the clock fell more than half a second behind and was reset.
    std::uint64_t underruns() const override { return underruns_.load(std::memory_order_relaxed); }

    // Take effect at the next start().
    void setPacing(OfflinePacing pacing);
    void setCapturePath(std::optional<std::filesystem::path> path);
    const OfflineAudioOutputSettings& settings() const { return settings_; }

    // Runs the callback of the last start() on the calling thread for `frames` frames, in blocks of
    // at most 512, and hands back what it produced (also captured when a capture is open). Refused
    // while a device thread runs, or before any start().
    tl::expected<PulledAudio, std::string> pull(std::size_t frames);

    // Frames handed to the callback since the last start(), by the thread or by pull().
    std::uint64_t framesPulled() const { return framesPulled_.load(std::memory_order_relaxed); }
    // Why the last capture was abandoned; empty when it was not.
    std::string captureError() const;
    // The capture finished by the last stop(), if one was made whole.
    const std::optional<std::filesystem::path>& lastCapture() const { return lastCapture_; }

  private:
    void runDevice(OfflinePacing pacing);
    void renderBlock(std::size_t frames, double hostTimeSeconds);
    void finishCapture();

    OfflineAudioOutputSettings settings_;
    std::atomic<double> latencySeconds_{0.0};
    AudioRenderCallback callback_;
    AudioBuffer block_{AudioOutput::sampleRate, 2, blockFrames};

    std::optional<AudioFileWriter> capture_;
    std::filesystem::path capturePartial_;
    std::filesystem::path captureTarget_;
    std::optional<std::filesystem::path> lastCapture_;
    mutable std::mutex captureErrorMutex_; // guards captureError_ (written on the device thread)
    std::string captureError_;

    std::thread thread_;
    std::atomic<bool> running_{false};
    std::atomic<bool> stopRequested_{false};
    std::atomic<std::uint64_t> underruns_{0};
    std::atomic<std::uint64_t> framesPulled_{0};
    double clockStartSeconds_ = 0.0; // host time of frame 0 for the self-clocked modes
};

} // namespace orvane
