#pragma once
// A test-only output: start() keeps the engine's callback and pull() drives it synchronously on the
// test thread, capturing what reached the output. It can be told to fail its start.

#include "platform/AudioOutput.h"

#include <cstddef>
#include <string>
#include <vector>

namespace orvane::testing {

class TestAudioOutput final : public AudioOutput {
  public:
    std::vector<AudioOutputDevice> devices() override {
        return {{1, "test:first", "First"}, {2, "test:second", "Second"}};
    }
    std::optional<std::uint32_t> defaultDevice() override { return 1; }

    tl::expected<void, std::string> start(std::optional<std::uint32_t> device,
                                          AudioRenderCallback callback) override {
        if (failStart)
            return tl::unexpected(std::string("no such device"));
        callback_ = std::move(callback);
        startedDevice = device;
        running_ = true;
        return {};
    }
    void stop() override {
        running_ = false;
        callback_ = nullptr;
    }
    bool isRunning() const override { return running_; }
    double presentationLatency() const override { return latencySeconds; }

    // Pulls `frames` frames in callback blocks of `blockFrames`, appending them to the capture.
    void pull(std::size_t frames, std::size_t blockFrames = 512) {
        std::vector<float> l(blockFrames), r(blockFrames);
        while (frames > 0 && running_) {
            const std::size_t n = std::min(frames, blockFrames);
            callback_(l.data(), r.data(), n, 0.0);
            capturedL.insert(capturedL.end(), l.begin(), l.begin() + static_cast<std::ptrdiff_t>(n));
            capturedR.insert(capturedR.end(), r.begin(), r.begin() + static_cast<std::ptrdiff_t>(n));
            frames -= n;
        }
    }
    // Calls the callback once on caller-owned buffers (no capture, no allocation here).
    void pullInto(float* l, float* r, std::size_t frames) { callback_(l, r, frames, 0.0); }

    void clearCapture() {
        capturedL.clear();
        capturedR.clear();
    }

    bool failStart = false;
    double latencySeconds = 0.0;
    std::optional<std::uint32_t> startedDevice;
    std::vector<float> capturedL, capturedR;

  private:
    AudioRenderCallback callback_;
    bool running_ = false;
};

} // namespace orvane::testing
