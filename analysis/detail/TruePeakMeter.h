#pragma once
// The running true peak of a stereo stream: the largest magnitude of the signal interpolated to four
// times its rate, together with the samples themselves. The interpolator is a polyphase windowed-sinc
// low pass whose history runs across calls, so a stream can be fed in chunks of any size. A value;
// one owner, any thread.

#include <array>
#include <cstddef>

namespace orvane::detail {

class TruePeakMeter final {
  public:
    static constexpr int factor = 4;
    static constexpr int tapsPerPhase = 24;

    TruePeakMeter();

    // Scans `count` samples of each channel.
    void process(const float* left, const float* right, std::size_t count) noexcept;
    // Scans what the interpolator still holds once the stream has ended (its tail rings on zeros).
    void flush() noexcept;
    // The largest magnitude so far, sample peaks included (1.0 is full scale).
    float peak() const noexcept { return peak_; }

  private:
    using History = std::array<float, tapsPerPhase - 1>; // the latest input samples, oldest first
    void processChannel(const float* samples, std::size_t count, History& history) noexcept;

    // Four lanes, one per phase: one input sample meets all four phases in one multiply-add.
    using Lanes = float __attribute__((vector_size(4 * sizeof(float))));
    // coefficients_[k][p]: tap k of phase p.
    std::array<Lanes, tapsPerPhase> coefficients_{};
    History historyL_{};
    History historyR_{};
    float peak_ = 0.0f;
};

} // namespace orvane::detail
