#pragma once
// The output on real sound hardware through RtAudio: every compiled API (JACK, PulseAudio, ALSA) is
// asked for its devices, and a stream is opened at 44.1 kHz, stereo, non-interleaved float. No
// RtAudio type shows here; only this unit's source includes the library. Main thread for everything
// but the callback, which runs on RtAudio's stream thread.

#include "platform/AudioOutput.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

// One device as an API describes it, before it becomes an AudioOutputDevice.
struct RtAudioDeviceProbe {
    std::string name;
    unsigned outputChannels = 0;
    bool probed = false; // false when the API couldn't read the device (busy, gone)
    bool isDefaultOutput = false;

    bool operator==(const RtAudioDeviceProbe&) const = default;
};

class RtAudioOutput final : public AudioOutput {
  public:
    static constexpr unsigned bufferFrames = 512;

    // The device's id: the API's number in bits 16 and up, the API's device index below, so ids
    // never collide across APIs and are never 0.
    static std::uint32_t deviceID(unsigned apiNumber, unsigned deviceIndex) noexcept;
    // "alsa:HDA Intel PCH: ALC892 Analog (hw:0,0)": the API's short name and the device's name.
    static std::string deviceUID(std::string_view apiName, std::string_view deviceName);
    // The devices worth offering from one API's probes, in its order: those probed with at least
    // one output channel and a name. A name seen twice gets " #2", " #3" in its uid.
    static std::vector<AudioOutputDevice> outputDevices(unsigned apiNumber, std::string_view apiName,
                                                        const std::vector<RtAudioDeviceProbe>& probes);

    // Makes one RtAudio per compiled API; an API that can't be set up is left out. Never starts a
    // sound server and prints no warnings.
    RtAudioOutput();
    ~RtAudioOutput() override; // closes the stream
    RtAudioOutput(const RtAudioOutput&) = delete;
    RtAudioOutput& operator=(const RtAudioOutput&) = delete;

    // The short names of the APIs in use, in the order they are asked ("jack", "pulse", "alsa").
    std::vector<std::string> apiNames() const;

    std::vector<AudioOutputDevice> devices() override;
    // The default output of the first API that has output devices.
    std::optional<std::uint32_t> defaultDevice() override;
    tl::expected<void, std::string> start(std::optional<std::uint32_t> device,
                                          AudioRenderCallback callback) override;
    void stop() override;
    bool isRunning() const override;
    double presentationLatency() const override { return latencySeconds_; }
    std::uint64_t underruns() const override;

  private:
    struct Api;
    struct Stream;

    std::vector<RtAudioDeviceProbe> probe(Api& api);
    tl::expected<void, std::string> openOn(Api& api, unsigned deviceIndex);

    std::vector<std::unique_ptr<Api>> apis_;
    std::unique_ptr<Stream> stream_; // the callback's context; outlives the open stream
    Api* streamApi_ = nullptr;       // the API whose RtAudio holds the open stream
    double latencySeconds_ = 0.0;
};

} // namespace orvane
