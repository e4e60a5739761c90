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

// Four packed 24-bit samples are exactly three 32-bit words. The bytes are first copied, a block at a
// time, into words: loops over whole words vectorise, where byte loads get merged into odd-sized ones
// that do not. Always inlined, so each of the clones below gets its own vector code.
constexpr std::size_t kBlockQuads = 128;

template <typename Store>
[[gnu::always_inline]] inline void unpackQuads(const unsigned char* bytes, std::size_t quads,
                                               Store store) noexcept {
    std::uint32_t words[3 * kBlockQuads];
    for (std::size_t first = 0; first < quads; first += kBlockQuads) {
        const std::size_t count = quads - first < kBlockQuads ? quads - first : kBlockQuads;
        std::memcpy(words, bytes + 12 * first, 12 * count);
        for (std::size_t q = 0; q < count; ++q) {
            const std::uint32_t a = words[3 * q];
            const std::uint32_t b = words[3 * q + 1];
            const std::uint32_t c = words[3 * q + 2];
            store(first + q, topAligned24(a << 8), topAligned24(((a >> 16) & 0xFF00u) | (b << 16)),
                  topAligned24(((b >> 8) & 0xFFFF00u) | (c << 24)), topAligned24(c & 0xFFFFFF00u));
        }
    }
}

// Any channel count, and the frames left after whole quads: one plane per pass over the interleaved bytes,
// which stay in cache between passes.
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

// Wider vectors pay off here and the build targets the x86-64 baseline, so the hot functions also get
// an AVX2 version, picked once at load time on machines that have it. Not under ThreadSanitizer: it
// instruments the picking function too, which the loader runs before the sanitizer is set up.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__SANITIZE_THREAD__)
#define ORVANE_PCM_PLANES_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define ORVANE_PCM_PLANES_CLONES
#endif

ORVANE_PCM_PLANES_CLONES
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

ORVANE_PCM_PLANES_CLONES
void decodeInt24(const unsigned char* __restrict bytes, std::size_t frames, int channels,
                 float* __restrict planes, std::size_t planeStride) noexcept {
    if (channels == 1) {
        unpackQuads(bytes, frames / 4, [planes](std::size_t q, float s0, float s1, float s2, float s3) {
            planes[4 * q] = s0;
            planes[4 * q + 1] = s1;
            planes[4 * q + 2] = s2;
            planes[4 * q + 3] = s3;
        });
        decodeStrided<3, int24At>(bytes, frames - frames % 4, frames, 1, planes, planeStride);
    } else if (channels == 2) {
        float* __restrict left = planes;
        float* __restrict right = planes + planeStride;
        unpackQuads(bytes, frames / 2, [left, right](std::size_t q, float l0, float r0, float l1, float r1) {
            left[2 * q] = l0;
            right[2 * q] = r0;
            left[2 * q + 1] = l1;
            right[2 * q + 1] = r1;
        });
        decodeStrided<3, int24At>(bytes, frames - frames % 2, frames, 2, planes, planeStride);
    } else {
        decodeStrided<3, int24At>(bytes, 0, frames, channels, planes, planeStride);
    }
}

} // namespace orvane::PcmPlanes
