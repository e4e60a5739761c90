#pragma once
// The output seam: a device list, the system default, and a stream that pulls 44.1 kHz stereo
// float audio through a callback on the output's real-time thread. Two implementations stand
// behind it: RtAudio (ALSA, PulseAudio, JACK) and an offline device that drives the callback on its
// own clock (paced to real time or as fast as possible) and can capture what it pulls to a WAV
// file. Nothing here knows about playback; the engine owns the ring and the monitor volume.

#include "platform/AudioFileError.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace orvane {

struct AudioOutputDevice {
    std::uint32_t id = 0; // the backend's handle, valid while the device is present
    std::string uid;      // stable across restarts: derived from the API and the device name
    std::string name;
    bool operator==(const AudioOutputDevice&) const = default;
};

// Fills `frames` frames of both channels. Runs on the output's real-time thread: an implementation
// must take no lock and allocate nothing. `hostTimeSeconds` is the monotonic clock at which the
// block was requested (the meters queue their frames by it).
using AudioRenderCallback =
    std::function<void(float* left, float* right, std::size_t frames, double hostTimeSeconds)>;

class AudioOutput {
  public:
    static constexpr double sampleRate = 44100.0;
    static constexpr std::size_t channels = 2;

    virtual ~AudioOutput() = default;

    // Devices with at least one output channel, in the backend's order. Empty when the backend
    // can't be asked.
    virtual std::vector<AudioOutputDevice> devices() = 0;
    // The system's default output device; absent when there is none or it can't be read.
    virtual std::optional<std::uint32_t> defaultDevice() = 0;

    // Opens `device` (the default when absent) at 44.1 kHz stereo float and starts pulling. A
    // running stream is closed first. On failure the stream stays closed and the text says why.
    virtual tl::expected<void, std::string> start(std::optional<std::uint32_t> device,
                                                  AudioRenderCallback callback) = 0;
    // Stops pulling; the callback is not running when this returns.
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;

    // The delay between a sample leaving the callback and being heard, in seconds.
    virtual double presentationLatency() const = 0;

    // Blocks the backend could not deliver in time since the stream started (0 where unknown).
    virtual std::uint64_t underruns() const { return 0; }

    // The monotonic clock the callback's host times are on, in seconds.
    static double hostTimeNow() noexcept;
};

} // namespace orvane
