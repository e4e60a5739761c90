#pragma once
// The output the application and the CLI use: the hardware devices followed by one device named
// "Offline" (uid "offline") that plays on its own clock, each chosen like any other; start() hands
// the stream to the backend that owns the device. The default is the hardware's, or "Offline" on a
// machine without sound hardware. Main thread, like the backends behind it.

#include "platform/AudioOutput.h"
#include "platform/OfflineAudioOutput.h"

#include <memory>

namespace orvane {

class SystemAudioOutput final : public AudioOutput {
  public:
    // `hardware` lists and plays the real devices; its ids must differ from the offline device's.
    SystemAudioOutput(std::unique_ptr<AudioOutput> hardware, std::unique_ptr<OfflineAudioOutput> offline);
    ~SystemAudioOutput() override; // stops whichever backend runs
    SystemAudioOutput(const SystemAudioOutput&) = delete;
    SystemAudioOutput& operator=(const SystemAudioOutput&) = delete;

    std::vector<AudioOutputDevice> devices() override;
    std::optional<std::uint32_t> defaultDevice() override;
    // Stops the running backend first, then starts the one that owns `device` (the default when absent).
    tl::expected<void, std::string> start(std::optional<std::uint32_t> device,
                                          AudioRenderCallback callback) override;
    void stop() override;
    bool isRunning() const override;
    double presentationLatency() const override;
    std::uint64_t underruns() const override;

    // The offline device, e.g. to set a capture file before it is started.
    OfflineAudioOutput& offline() { return *offline_; }
    // True while the offline device holds the stream.
    bool isOfflineActive() const { return active_ == offline_.get(); }

  private:
    std::unique_ptr<AudioOutput> hardware_;
    std::unique_ptr<OfflineAudioOutput> offline_;
    AudioOutput* active_ = nullptr; // the backend of the last successful start
};

// RtAudio's devices plus an offline device paced to real time.
std::unique_ptr<SystemAudioOutput> makeSystemAudioOutput();

} // namespace orvane
