// The two-channel dither loop built for processors with AVX2. Each sample's feedback is one serial
// chain of some twenty cycles that leaves most of the processor idle, and drawing its random value is
// a second serial chain, which in the baseline loop competes with the first. Here the random values
// are drawn a block ahead instead: each channel's sequence is cut into four stretches, jumped to
// directly, and drawn side by side in the lanes of one register while the block before is fed back.
// Everything the header brings in is included first, untouched; only the dither steps that follow are
// compiled for AVX2, and they are internal to this file.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "engines/DitherType.h"
#include "engines/detail/DitherJump.h"

#if defined(__x86_64__)
#pragma GCC target("avx2")
#endif

#include "engines/detail/DitherSteps.h"

namespace orvane::detail {

#if defined(__x86_64__)

namespace {

constexpr std::size_t kStretch = kJumpSamples; // samples per stretch
constexpr std::size_t kBlock = 4 * kStretch;

inline __m256i xorshiftLanes4(__m256i s) noexcept {
    s = _mm256_xor_si256(s, _mm256_srli_epi64(s, 12));
    s = _mm256_xor_si256(s, _mm256_slli_epi64(s, 25));
    return _mm256_xor_si256(s, _mm256_srli_epi64(s, 27));
}

// As stateAsDouble: each 32-bit half made exact through the exponent bits, the halves added once.
inline __m256d stateAsDouble4(__m256i s) noexcept {
    const __m256i low = _mm256_or_si256(_mm256_and_si256(s, _mm256_set1_epi64x(0xFFFFFFFFLL)),
                                        _mm256_set1_epi64x(0x4330000000000000LL)); // 2^52 + low
    const __m256i high = _mm256_or_si256(_mm256_srli_epi64(s, 32),
                                         _mm256_set1_epi64x(0x4530000000000000LL)); // 2^84 + high * 2^32
    const __m256d lowValue = _mm256_sub_pd(_mm256_castsi256_pd(low), _mm256_set1_pd(0x1p52));
    const __m256d highValue = _mm256_sub_pd(_mm256_castsi256_pd(high), _mm256_set1_pd(0x1p84));
    return _mm256_add_pd(highValue, lowValue);
}

inline __m256d ditherValues4(__m256i s1, __m256i s2) noexcept {
    const __m256d sum = _mm256_add_pd(stateAsDouble4(s1), stateAsDouble4(s2));
    return _mm256_add_pd(_mm256_mul_pd(sum, _mm256_set1_pd(0x1p-64)), _mm256_set1_pd(-1.0));
}

// Where each channel's four stretches of one block begin; [4] is where the next block begins.
struct StretchStarts {
    std::array<std::uint64_t, 5> left;
    std::array<std::uint64_t, 5> right;
};

inline StretchStarts stretchStarts(std::uint64_t left, std::uint64_t right) noexcept {
    StretchStarts s{};
    s.left[0] = left;
    s.right[0] = right;
    for (std::size_t j = 1; j < 5; ++j) {
        s.left[j] = jumpAhead(s.left[j - 1]);
        s.right[j] = jumpAhead(s.right[j - 1]);
    }
    return s;
}

// The generators of one block's stretches, stretch j in lane j.
struct Draw {
    __m256i left;
    __m256i right;
};

inline __m256i firstFour(const std::array<std::uint64_t, 5>& v) noexcept {
    return _mm256_setr_epi64x(static_cast<long long>(v[0]), static_cast<long long>(v[1]),
                              static_cast<long long>(v[2]), static_cast<long long>(v[3]));
}

inline Draw beginDraw(const StretchStarts& s) noexcept {
    return {firstFour(s.left), firstFour(s.right)};
}

// Draws sample k of every stretch into `out`, laid out as the feedback reads it: left and right of
// block sample i at 2 * i and 2 * i + 1.
[[gnu::always_inline]] inline void drawStep(Draw& g, std::size_t k, double* out) noexcept {
    const __m256i l1 = xorshiftLanes4(g.left);
    const __m256i l2 = xorshiftLanes4(l1);
    const __m256i r1 = xorshiftLanes4(g.right);
    const __m256i r2 = xorshiftLanes4(r1);
    g.left = l2;
    g.right = r2;
    const __m256d left = ditherValues4(l1, l2);
    const __m256d right = ditherValues4(r1, r2);
    const __m256d even = _mm256_unpacklo_pd(left, right); // stretches 0 and 2
    const __m256d odd = _mm256_unpackhi_pd(left, right);  // stretches 1 and 3
    _mm_store_pd(out + 2 * k, _mm256_castpd256_pd128(even));
    _mm_store_pd(out + 2 * (kStretch + k), _mm256_castpd256_pd128(odd));
    _mm_store_pd(out + 2 * (2 * kStretch + k), _mm256_extractf128_pd(even, 1));
    _mm_store_pd(out + 2 * (3 * kStretch + k), _mm256_extractf128_pd(odd, 1));
}

// The state `samples` samples after s, one step at a time.
inline std::uint64_t advance(std::uint64_t s, std::size_t samples) noexcept {
    for (std::size_t i = 0; i < 2 * samples; ++i)
        s = xorshiftStep(s);
    return s;
}

struct Constants {
    __m128d scale, inverse, signBit, half;
};

// One sample of both channels with its drawn dither values, as runPairLanes does it. A sample where
// either lane needs a rare path is done again by the scalar step, from the state before it.
template <DitherType Type>
[[gnu::always_inline]] inline void feedbackStep(LaneHistory& l, Channel& a, double* x, Channel& b, double* z,
                                                const double* drawn, const Constants& k) noexcept {
    using F = Feedback<Type>;
    const __m128d y = _mm_mul_pd(k.scale, _mm_set_pd(*z, *x));
    const __m128d d = _mm_load_pd(drawn);
    __m128d rare = _mm_setzero_pd();
    const __m128d w = laneFeedbackSum<Type>(l, rare);
    const __m128d v = F::taps > 0 ? _mm_add_pd(w, _mm_add_pd(y, d)) : _mm_add_pd(y, d);
    const __m128d r = _mm_round_pd(v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    rare = _mm_or_pd(rare, _mm_cmpnle_pd(_mm_andnot_pd(k.signBit, v), k.scale)); // clamp, NaN, infinity
    rare = _mm_or_pd(rare, _mm_cmpeq_pd(_mm_andnot_pd(k.signBit, _mm_sub_pd(v, r)), k.half)); // a tie
    if (_mm_movemask_pd(rare) != 0) [[unlikely]] {
        storeHistory(l, a, b);
        stepWith<Type, false>(a, *x, drawn[0]);
        stepWith<Type, false>(b, *z, drawn[1]);
        l = loadHistory(a, b);
        return;
    }
    if constexpr (F::taps > 0) {
        pushError(l, _mm_sub_pd(r, v));
    }
    // r and v have the same sign unless r is zero; the sign of v makes it std::round's zero.
    const __m128d out = _mm_mul_pd(_mm_or_pd(r, _mm_and_pd(v, k.signBit)), k.inverse);
    _mm_storel_pd(x, out);
    _mm_storeh_pd(z, out);
}

// `count` samples of both channels, at least one block. Like runPairLanes, only the first four
// errors of the history are kept up to date, and a.s and b.s are left at the state after the last.
template <DitherType Type>
void runBlocks(Channel& a, double* x, Channel& b, double* z, std::size_t count) noexcept {
    const Constants k{_mm_set1_pd(a.scale), _mm_set1_pd(a.inverse), _mm_set1_pd(-0.0), _mm_set1_pd(0.5)};
    alignas(32) double drawn[2][2 * kBlock];
    StretchStarts current = stretchStarts(a.s, b.s);
    Draw draw = beginDraw(current);
    for (std::size_t j = 0; j < kStretch; ++j)
        drawStep(draw, j, drawn[0]);
    LaneHistory l = loadHistory(a, b);
    std::size_t done = 0;
    std::size_t page = 0;
    while (done + kBlock < count) {
        // Another block follows: draw it while this one is fed back, one draw step per four samples.
        const StretchStarts next = stretchStarts(current.left[4], current.right[4]);
        draw = beginDraw(next);
        const double* now = drawn[page];
        double* ahead = drawn[page ^ 1];
        for (std::size_t j = 0; j < kStretch; ++j) {
            for (std::size_t q = 0; q < 4; ++q) {
                const std::size_t i = done + 4 * j + q;
                feedbackStep<Type>(l, a, x + i, b, z + i, now + 2 * (4 * j + q), k);
            }
            drawStep(draw, j, ahead);
        }
        current = next;
        page ^= 1;
        done += kBlock;
    }
    const std::size_t rest = count - done;
    for (std::size_t i = 0; i < rest; ++i)
        feedbackStep<Type>(l, a, x + done + i, b, z + done + i, drawn[page] + 2 * i, k);
    a.s = advance(current.left[rest / kStretch], rest % kStretch);
    b.s = advance(current.right[rest / kStretch], rest % kStretch);
    storeHistory(l, a, b);
}

// As runPair: the blocks while at least one whole block is left before the last four samples, which
// take full steps; shorter runs gain nothing from drawing ahead.
template <DitherType Type>
void runPairInBlocks(Channel& a, std::span<double> x, Channel& b, std::span<double> z) noexcept {
    const std::size_t common = std::min(x.size(), z.size());
    const std::size_t head = common >= 4 ? common - 4 : 0;
    if (head < kBlock) {
        runPair<Type>(a, x, b, z);
        return;
    }
    runBlocks<Type>(a, x.data(), b, z.data(), head);
    run<Type>(a, x.subspan(head));
    run<Type>(b, z.subspan(head));
}

// A 4 x 4 block of doubles turned over: lane j of row q becomes lane q of row j.
inline void transpose4(__m256d& r0, __m256d& r1, __m256d& r2, __m256d& r3) noexcept {
    const __m256d t0 = _mm256_unpacklo_pd(r0, r1); // 00 10 02 12
    const __m256d t1 = _mm256_unpackhi_pd(r0, r1); // 01 11 03 13
    const __m256d t2 = _mm256_unpacklo_pd(r2, r3); // 20 30 22 32
    const __m256d t3 = _mm256_unpackhi_pd(r2, r3); // 21 31 23 33
    r0 = _mm256_permute2f128_pd(t0, t2, 0x20);
    r1 = _mm256_permute2f128_pd(t1, t3, 0x20);
    r2 = _mm256_permute2f128_pd(t0, t2, 0x31);
    r3 = _mm256_permute2f128_pd(t1, t3, 0x31);
}

// The TPDF value of two draws to within 2^-50, for the integer path: d = n 2^-51 - 1 with n the sum
// of the draws' top 51 bits, which is below 2^52 and so is made a double exactly through the exponent
// bits; that double times 2^-51 is 2 + n 2^-51, exact, and taking 3 off it is exact as well. The
// written value rounds u1 and u2 to doubles and their sum once more, each within 2^-52 of the true
// sum, so the two differ by less than 2^-49.
inline __m256d nearDitherValues4(__m256i s1, __m256i s2) noexcept {
    const __m256i n = _mm256_add_epi64(_mm256_srli_epi64(s1, 13), _mm256_srli_epi64(s2, 13));
    const __m256d x = _mm256_castsi256_pd(_mm256_or_si256(n, _mm256_set1_epi64x(0x4330000000000000LL)));
    return _mm256_sub_pd(_mm256_mul_pd(x, _mm256_set1_pd(0x1p-51)), _mm256_set1_pd(3.0));
}

// Draws both channels' near dither values for a whole block, in sample order, from the four
// stretches' generators in the lanes of gl and gr. The channels take turns, so that each xorshift
// chain runs while the other waits on its own last step.
inline void drawNearBlock(__m256i gl, __m256i gr, double* left, double* right) noexcept {
    for (std::size_t k = 0; k < kStretch; k += 4) {
        __m256d l[4];
        __m256d r[4];
        for (std::size_t q = 0; q < 4; ++q) {
            const __m256i l1 = xorshiftLanes4(gl);
            const __m256i r1 = xorshiftLanes4(gr);
            gl = xorshiftLanes4(l1);
            gr = xorshiftLanes4(r1);
            l[q] = nearDitherValues4(l1, gl);
            r[q] = nearDitherValues4(r1, gr);
        }
        transpose4(l[0], l[1], l[2], l[3]);
        transpose4(r[0], r[1], r[2], r[3]);
        for (std::size_t j = 0; j < 4; ++j) {
            _mm256_store_pd(left + j * kStretch + k, l[j]);
            _mm256_store_pd(right + j * kStretch + k, r[j]);
        }
    }
}

// The written dither value of sample i of a block whose stretches begin at `starts`.
inline double exactDitherValue(const std::array<std::uint64_t, 5>& starts, std::size_t i) noexcept {
    const std::uint64_t s1 = xorshift(advance(starts[i / kStretch], i % kStretch));
    return ditherValue(s1, xorshift(s1));
}

// One TPDF sample written out as its integer, for the samples the vector loop hands back.
inline std::int16_t tpdfInteger(const Channel& c, float sample, double d) noexcept {
    Channel copy = c;
    double x = sample;
    stepWith<DitherType::tpdf, false>(copy, x, d);
    return gridInteger(x, c.scale);
}

inline void storePair(char* out, std::int16_t left, std::int16_t right) noexcept {
    const std::int16_t pair[2] = {left, right};
    std::memcpy(out, pair, sizeof pair);
}

} // namespace

void runTpdfPairTo16Wide(DitherChannel& a, const float* x, DitherChannel& b, const float* z,
                         std::size_t count, char* out) noexcept {
    const __m256d scale = _mm256_set1_pd(a.scale);
    const __m256d signBit = _mm256_set1_pd(-0.0);
    // With the near dither value, v is within 2^-36 of the written one (|v| < 2^16, so each sum
    // rounds by at most 2^-38): further than 2^-30 from a half step, both round to the same integer
    // and neither is a tie. Nearer than that, the written value decides.
    const __m256d nearHalf = _mm256_set1_pd(0.5 - 0x1p-30);
    alignas(32) double left[kBlock];
    alignas(32) double right[kBlock];
    std::size_t done = 0;
    for (; done + kBlock <= count; done += kBlock) {
        const StretchStarts s = stretchStarts(a.s, b.s);
        drawNearBlock(firstFour(s.left), firstFour(s.right), left, right);
        a.s = s.left[4];
        b.s = s.right[4];
        for (std::size_t i = 0; i < kBlock; i += 4) {
            const std::size_t f = done + i;
            const __m256d vl = _mm256_add_pd(_mm256_mul_pd(scale, _mm256_cvtps_pd(_mm_loadu_ps(x + f))),
                                             _mm256_load_pd(left + i));
            const __m256d vr = _mm256_add_pd(_mm256_mul_pd(scale, _mm256_cvtps_pd(_mm_loadu_ps(z + f))),
                                             _mm256_load_pd(right + i));
            const __m256d rl = _mm256_round_pd(vl, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
            const __m256d rr = _mm256_round_pd(vr, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
            // A clamp, a NaN or infinity, or a sample next to a half step: the scalar step decides
            // those frames with the written dither values.
            __m256d rare = _mm256_cmp_pd(_mm256_andnot_pd(signBit, vl), scale, _CMP_NLE_UQ);
            rare = _mm256_or_pd(rare, _mm256_cmp_pd(_mm256_andnot_pd(signBit, vr), scale, _CMP_NLE_UQ));
            rare = _mm256_or_pd(
                rare, _mm256_cmp_pd(_mm256_andnot_pd(signBit, _mm256_sub_pd(vl, rl)), nearHalf, _CMP_GE_OQ));
            rare = _mm256_or_pd(
                rare, _mm256_cmp_pd(_mm256_andnot_pd(signBit, _mm256_sub_pd(vr, rr)), nearHalf, _CMP_GE_OQ));
            if (_mm256_movemask_pd(rare) != 0) [[unlikely]] {
                for (std::size_t q = 0; q < 4; ++q)
                    storePair(out + 4 * (f + q), tpdfInteger(a, x[f + q], exactDitherValue(s.left, i + q)),
                              tpdfInteger(b, z[f + q], exactDitherValue(s.right, i + q)));
                continue;
            }
            const __m128i both = _mm_packs_epi32(_mm256_cvtpd_epi32(rl), _mm256_cvtpd_epi32(rr));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * f),
                             _mm_unpacklo_epi16(both, _mm_srli_si128(both, 8)));
        }
    }
    for (; done < count; ++done) {
        const std::uint64_t l1 = xorshift(a.s);
        a.s = xorshift(l1);
        const std::uint64_t r1 = xorshift(b.s);
        b.s = xorshift(r1);
        storePair(out + 4 * done, tpdfInteger(a, x[done], ditherValue(l1, a.s)),
                  tpdfInteger(b, z[done], ditherValue(r1, b.s)));
    }
}

void runPairWide(DitherType type, DitherChannel& a, std::span<double> x, DitherChannel& b,
                 std::span<double> z) noexcept {
    withDitherType(type, [&]<DitherType T>() { runPairInBlocks<T>(a, x, b, z); });
}

#else

void runPairWide(DitherType, DitherChannel&, std::span<double>, DitherChannel&, std::span<double>) noexcept {}
void runTpdfPairTo16Wide(DitherChannel&, const float*, DitherChannel&, const float*, std::size_t,
                         char*) noexcept {}

#endif

} // namespace orvane::detail
