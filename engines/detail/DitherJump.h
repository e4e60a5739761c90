#pragma once
// The dither's random generator: one step, and a jump over a whole stretch of samples at once, so that
// several stretches of one channel's sequence can be drawn side by side. The generator is linear over
// the bits of its state, so a jump is a fixed 64 x 64 bit matrix, applied a byte at a time through
// tables built at compile time. Pure functions, any thread.

#include <array>
#include <cstddef>
#include <cstdint>

namespace orvane::detail {

// One 64-bit xorshift step.
constexpr std::uint64_t xorshiftStep(std::uint64_t s) noexcept {
    s ^= s >> 12;
    s ^= s << 25;
    s ^= s >> 27;
    return s;
}

// Samples per jump; each sample takes two steps.
inline constexpr std::size_t kJumpSamples = 64;

struct JumpTables {
    // byByte[k][v]: where the jump takes a state whose byte k is v and every other byte zero.
    std::array<std::array<std::uint64_t, 256>, 8> byByte{};
};

constexpr JumpTables makeJumpTables() noexcept {
    std::array<std::uint64_t, 64> column{};
    for (std::size_t bit = 0; bit < 64; ++bit) {
        std::uint64_t s = std::uint64_t{1} << bit;
        for (std::size_t step = 0; step < 2 * kJumpSamples; ++step)
            s = xorshiftStep(s);
        column[bit] = s;
    }
    JumpTables tables;
    for (std::size_t byte = 0; byte < 8; ++byte) {
        for (std::size_t value = 0; value < 256; ++value) {
            std::uint64_t image = 0;
            for (std::size_t bit = 0; bit < 8; ++bit)
                if ((value >> bit) & 1U)
                    image ^= column[8 * byte + bit];
            tables.byByte[byte][value] = image;
        }
    }
    return tables;
}

inline constexpr JumpTables kJumpTables = makeJumpTables();

// The state kJumpSamples samples (2 * kJumpSamples steps) after s.
inline std::uint64_t jumpAhead(std::uint64_t s) noexcept {
    std::uint64_t image = 0;
    for (std::size_t byte = 0; byte < 8; ++byte)
        image ^= kJumpTables.byByte[byte][(s >> (8 * byte)) & 0xFFU];
    return image;
}

} // namespace orvane::detail
