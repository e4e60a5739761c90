#include "platform/detail/PcmPlanes.h"

#include <cstdint>
#include <cstring>

namespace orvane::PcmPlanes {

namespace {

constexpr float kInt16Scale = 1.0f / 32768.0f;
constexpr float kInt24Scale = 1.0f / 8388608.0f;

// Loads go through memcpy: the bytes sit in a scratch of another type, and on a little-endian host the
// loaded word is the sample. GCC turns each into one unaligned load.
inline float int16At(const unsigned char* p) noexcept {
    std::int16_t sample = 0;
    std::memcpy(&sample, p, sizeof sample);
    return static_cast<float>(sample) * kInt16Scale;
}

// A 24-bit sample held in the top three bytes of a word; the arithmetic shift extends its sign.
inline float topAligned24(std::uint32_t word) noexcept {
    return static_cast<float>(static_cast<std::int32_t>(word) >> 8) * kInt24Scale;
}

inline float int24At(const unsigned char* p) noexcept {
    return topAligned24((static_cast<std::uint32_t>(p[0]) << 8) | (static_cast<std::uint32_t>(p[1]) << 16) |
                        (static_cast<std::uint32_t>(p[2]) << 24));
}

// Four packed 24-bit samples are exactly three 32-bit words. Unpacking them from whole words keeps
// the compiler from merging byte loads into odd-sized ones it cannot vectorise.
struct Four24 {
    float s0, s1, s2, s3;
};

inline Four24 unpackFour24(const unsigned char* p) noexcept {
    std::uint32_t w[3];
    std::memcpy(w, p, sizeof w);
    return {topAligned24(w[0] << 8), topAligned24(((w[0] >> 16) & 0xFF00u) | (w[1] << 16)),
            topAligned24(((w[1] >> 8) & 0xFFFF00u) | (w[2] << 24)), topAligned24(w[2] & 0xFFFFFF00u)};
}

// Any channel count: one plane per pass over the interleaved bytes, which stay in cache between passes.
template <std::size_t Width, float (*At)(const unsigned char*) noexcept>
void decodeStrided(const unsigned char* bytes, std::size_t firstFrame, std::size_t frames, int channels,
                   float* planes, std::size_t planeStride) noexcept {
    const auto count = static_cast<std::size_t>(channels);
    for (std::size_t c = 0; c < count; ++c) {
        float* __restrict out = planes + c * planeStride;
        const unsigned char* in = bytes + c * Width;
        for (std::size_t i = firstFrame; i < frames; ++i) {
            out[i] = At(in + i * count * Width);
        }
    }
}

} // namespace

void decodeInt16(const unsigned char* __restrict bytes, std::size_t frames, int channels,
                 float* __restrict planes, std::size_t planeStride) noexcept {
    if (channels == 1) {
        for (std::size_t i = 0; i < frames; ++i) {
            planes[i] = int16At(bytes + 2 * i);
        }
    } else if (channels == 2) {
        float* __restrict left = planes;
        float* __restrict right = planes + planeStride;
        for (std::size_t i = 0; i < frames; ++i) {
            left[i] = int16At(bytes + 4 * i);
            right[i] = int16At(bytes + 4 * i + 2);
        }
    } else {
        decodeStrided<2, int16At>(bytes, 0, frames, channels, planes, planeStride);
    }
}

void decodeInt24(const unsigned char* __restrict bytes, std::size_t frames, int channels,
                 float* __restrict planes, std::size_t planeStride) noexcept {
    if (channels == 1) {
        const std::size_t whole = frames - frames % 4;
        for (std::size_t i = 0; i < whole; i += 4) {
            const Four24 s = unpackFour24(bytes + 3 * i);
            planes[i] = s.s0;
            planes[i + 1] = s.s1;
            planes[i + 2] = s.s2;
            planes[i + 3] = s.s3;
        }
        decodeStrided<3, int24At>(bytes, whole, frames, 1, planes, planeStride);
    } else if (channels == 2) {
        float* __restrict left = planes;
        float* __restrict right = planes + planeStride;
        const std::size_t whole = frames - frames % 2;
        for (std::size_t i = 0; i < whole; i += 2) {
            const Four24 s = unpackFour24(bytes + 6 * i);
            left[i] = s.s0;
            right[i] = s.s1;
            left[i + 1] = s.s2;
            right[i + 1] = s.s3;
        }
        decodeStrided<3, int24At>(bytes, whole, frames, 2, planes, planeStride);
    } else {
        decodeStrided<3, int24At>(bytes, 0, frames, channels, planes, planeStride);
    }
}

} // namespace orvane::PcmPlanes
