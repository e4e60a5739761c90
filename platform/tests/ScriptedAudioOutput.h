#pragma once
// An audio output whose devices and system default the test sets, as the system would change them;
// it starts only on a device it lists and never calls the callback. Tests only, on the test thread.

#include "platform/AudioOutput.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace orvane::testing {

class ScriptedAudioOutput final : public AudioOutput {
  public:
    std::vector<AudioOutputDevice> listed;
    std::optional<std::uint32_t> systemDefault;
    std::optional<std::uint32_t> startedOn;
    bool running = false;

    std::vector<AudioOutputDevice> devices() override { return listed; }
    std::optional<std::uint32_t> defaultDevice() override { return systemDefault; }
    tl::expected<void, std::string> start(std::optional<std::uint32_t> device, AudioRenderCallback) override {
        const bool known = device && std::any_of(listed.begin(), listed.end(),
                                                 [&](const auto& d) { return d.id == *device; });
        if (!known)
            return tl::make_unexpected(std::string{"unknown device"});
        startedOn = device;
        running = true;
        return {};
    }
    void stop() override { running = false; }
    bool isRunning() const override { return running; }
    double presentationLatency() const override { return 0.02; }
};

} // namespace orvane::testing
