#pragma once
// Deterministic, music-like test material for the demo: a voice of a few harmonics with vibrato,
// a slow swell and a little noise, different in each channel so the stereo image is not mono.

#include <cstddef>
#include <cstdint>

namespace orvane::cli {

struct DemoVoice {
    double fundamentalHz = 220.0;
    double detune = 0.0; // 0..1, how much the right channel drifts from the left
};

class DemoSynth final {
  public:
    DemoSynth(DemoVoice voice, double sampleRate, std::int64_t totalFrames);
    // The next `frames` samples of each channel, peak below -1 dBFS.
    void render(float* left, float* right, std::size_t frames);

  private:
    DemoVoice voice_;
    double sampleRate_;
    std::int64_t totalFrames_;
    std::int64_t position_ = 0;
    std::uint32_t noiseState_ = 0x12345678u;
};

} // namespace orvane::cli
