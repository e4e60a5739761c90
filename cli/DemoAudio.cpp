#include "cli/DemoAudio.h"

#include <cmath>
#include <numbers>

namespace orvane::cli {

DemoSynth::DemoSynth(DemoVoice voice, double sampleRate, std::int64_t totalFrames)
    : voice_(voice), sampleRate_(sampleRate), totalFrames_(totalFrames) {}

void DemoSynth::render(float* left, float* right, std::size_t frames) {
    constexpr double twoPi = 2.0 * std::numbers::pi;
    const double length = static_cast<double>(totalFrames_ > 0 ? totalFrames_ : 1);
    for (std::size_t i = 0; i < frames; ++i, ++position_) {
        const double t = static_cast<double>(position_) / sampleRate_;
        // A swell over the whole piece and a pulse of about 100 bpm.
        const double swell =
            0.55 + 0.45 * std::sin(std::numbers::pi * static_cast<double>(position_) / length);
        const double pulse = 0.75 + 0.25 * std::cos(twoPi * 1.66 * t);
        const double vibrato = 1.0 + 0.004 * std::sin(twoPi * 5.0 * t);
        double l = 0.0;
        double r = 0.0;
        for (int h = 1; h <= 5; ++h) {
            const double amplitude = 0.5 / h;
            const double f = voice_.fundamentalHz * h * vibrato;
            l += amplitude * std::sin(twoPi * f * t);
            r += amplitude * std::sin(twoPi * f * (1.0 + 0.002 * voice_.detune) * t + 0.3 * h);
        }
        noiseState_ ^= noiseState_ << 13;
        noiseState_ ^= noiseState_ >> 17;
        noiseState_ ^= noiseState_ << 5;
        const double noise = (static_cast<double>(noiseState_) / 4294967295.0 - 0.5) * 0.02;
        const double gain = 0.35 * swell * pulse;
        left[i] = static_cast<float>(gain * l + noise);
        right[i] = static_cast<float>(gain * r - noise);
    }
}

} // namespace orvane::cli
