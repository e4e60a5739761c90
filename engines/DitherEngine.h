#pragma once
// Reduces one channel of 64-bit float audio to a fixed word length with triangular dither and, for the
// shaped types, feedback of past quantisation error. One engine per channel, used by one thread;
// process() is real-time safe: noexcept, no allocation, no lock.

#include "engines/DitherType.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace orvane {

namespace detail {
struct DitherChannel;
}

class DitherEngine final {
  public:
    // Replaces a seed of 0.
    static constexpr std::uint64_t defaultSeed = 0x123456789ABCDEF0ULL;
    // What each further channel adds to the previous channel's seed (modulo 2^64).
    static constexpr std::uint64_t channelSeedStep = 0x9E3779B97F4A7C15ULL;

    // The seed for channel index (0-based) of a render: defaultSeed + index * channelSeedStep.
    static constexpr std::uint64_t seedForChannel(unsigned index) noexcept {
        return defaultSeed + static_cast<std::uint64_t>(index) * channelSeedStep;
    }

    // bitDepth 2 ... 32 (asserted; limited to that range otherwise); the renders pass 16. Seed 0 means
    // defaultSeed.
    DitherEngine(DitherType type, int bitDepth, std::uint64_t seed) noexcept;

    DitherEngine(const DitherEngine&) = delete;
    DitherEngine& operator=(const DitherEngine&) = delete;

    // Quantises the samples in place onto the grid k / scale, k in -scale ... scale (none leaves
    // them untouched). A NaN or infinite sample counts as silence, and a history whose sum overflows (long
    // overload of a shaper) starts again from zero, so the output stays on the grid. Error history and random
    // state carry over to the next call, so splitting a buffer between calls gives the same output as one
    // call.
    void process(std::span<double> samples) noexcept;

    // Runs two engines over their own channels in one pass, side by side in vector lanes: the same bits
    // as left.process(leftSamples) then right.process(rightSamples), about twice as fast, since one
    // channel's feedback loop is a serial chain. Engines of different types or word lengths are simply
    // run one after the other.
    static void processPair(DitherEngine& left, std::span<double> leftSamples, DitherEngine& right,
                            std::span<double> rightSamples) noexcept;

    // Dithers two channels of 32-bit float audio to 16 bits and writes them as interleaved pairs of
    // native 16-bit words, left first: the same integers as widening each sample to double, calling
    // processPair, and multiplying back by scale(). TPDF on a processor with AVX2 never widens the
    // audio at all. Both engines must be 16-bit (asserted). Engines of type none round to nearest,
    // halves away from zero, with clamping, and a NaN gives 0.
    static void processPairTo16(DitherEngine& left, const float* leftSamples, DitherEngine& right,
                                const float* rightSamples, std::size_t frames, char* out) noexcept;

    DitherType type() const noexcept { return type_; }
    int bitDepth() const noexcept { return bitDepth_; }
    // 2^(bitDepth - 1) - 1: 32767 at 16 bits.
    double scale() const noexcept { return scale_; }
    // Error history, newest first.
    const std::array<double, 8>& errorHistory() const noexcept { return e_; }
    std::uint64_t randomState() const noexcept { return state_; }

  private:
    using Channel = detail::DitherChannel;
    Channel loadChannel() const noexcept;
    void storeChannel(const Channel& channel) noexcept;

    DitherType type_;
    int bitDepth_;
    double scale_;
    std::array<double, 8> e_{};
    std::uint64_t state_;
};

} // namespace orvane
