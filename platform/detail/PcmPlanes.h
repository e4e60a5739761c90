#pragma once
// Turns interleaved little-endian 16- and 24-bit PCM bytes straight into non-interleaved float planes,
// scaled by 2^-15 and 2^-23 (exact, so the values equal a decoder's normalised float output bit for bit).
// For little-endian hosts only: the caller checks. Pure functions; any thread, no allocation.

#include <cstddef>

namespace orvane::PcmPlanes {

// Reads frames x channels 16-bit samples from `bytes` and writes channel c's samples to
// planes + c * planeStride, `frames` of them.
void decodeInt16(const unsigned char* bytes, std::size_t frames, int channels, float* planes,
                 std::size_t planeStride) noexcept;

// As decodeInt16, for packed 3-byte samples.
void decodeInt24(const unsigned char* bytes, std::size_t frames, int channels, float* planes,
                 std::size_t planeStride) noexcept;

} // namespace orvane::PcmPlanes
