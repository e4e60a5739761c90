#pragma once
// The per-sample steps of DitherEngine, for one channel or two side by side in SSE2 lanes. Included
// by DitherEngine.cpp and by detail/DitherPairWide.cpp, which builds the two-channel loop for
// processors with AVX2; everything but DitherChannel is internal to the including file, so each may
// compile it for its own instruction set. Real-time safe: no allocation, no lock.

#include "engines/DitherType.h"
#include "engines/detail/DitherJump.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orvane {

namespace {

// The feedback coefficients as constants, so that the compiler drops the zero taps and turns 1.0 and
// -1.0 into no multiplication at all; both are exact, so the result is the same bits.
template <DitherType Type> struct Feedback;
template <> struct Feedback<DitherType::tpdf> {
    static constexpr int taps = 0;
    static constexpr double c[4] = {0.0, 0.0, 0.0, 0.0};
};
template <> struct Feedback<DitherType::highPass> {
    static constexpr int taps = 1;
    static constexpr double c[4] = {1.0, 0.0, 0.0, 0.0};
};
template <> struct Feedback<DitherType::lipshitz> {
    static constexpr int taps = 2;
    static constexpr double c[4] = {2.0, -1.0, 0.0, 0.0};
};
template <> struct Feedback<DitherType::shibata> {
    static constexpr int taps = 3;
    static constexpr double c[4] = {2.412, -2.064, 0.598, 0.0};
};
template <> struct Feedback<DitherType::gesemann> {
    static constexpr int taps = 4;
    static constexpr double c[4] = {2.033, -2.165, 1.959, -1.59};
};

inline std::uint64_t xorshift(std::uint64_t s) noexcept {
    return detail::xorshiftStep(s);
}

// d = (u1 + u2) + (-1.0) with u = s as a double times 2^-64. x86-64 has no unsigned conversion, and
// the compiler's version branches on the top bit, which random data mispredicts half the time; each
// 32-bit half is made exact through the exponent bits and the halves added, which rounds once, like a
// plain conversion. Scaling by 2^-64 is exact, so it may follow the sum of the two unscaled values.
#if defined(__SSE2__)
inline __m128d stateAsDouble(__m128i s) noexcept {
    const __m128i low = _mm_or_si128(_mm_and_si128(s, _mm_set1_epi64x(0xFFFFFFFFLL)),
                                     _mm_set1_epi64x(0x4330000000000000LL)); // 2^52 + low
    const __m128i high = _mm_or_si128(_mm_srli_epi64(s, 32),
                                      _mm_set1_epi64x(0x4530000000000000LL)); // 2^84 + high * 2^32
    const __m128d lowValue = _mm_sub_pd(_mm_castsi128_pd(low), _mm_set1_pd(0x1p52));
    const __m128d highValue = _mm_sub_pd(_mm_castsi128_pd(high), _mm_set1_pd(0x1p84));
    return _mm_add_pd(highValue, lowValue);
}

inline double ditherValue(std::uint64_t s1, std::uint64_t s2) noexcept {
    const __m128d both =
        stateAsDouble(_mm_set_epi64x(static_cast<long long>(s2), static_cast<long long>(s1)));
    const double sum = _mm_cvtsd_f64(_mm_add_sd(both, _mm_unpackhi_pd(both, both)));
    return sum * 0x1p-64 + (-1.0);
}
#else
inline double unitValue(std::uint64_t s) noexcept {
    const double high = static_cast<double>(static_cast<std::int64_t>(s >> 32)) * 0x1p32;
    const double low = static_cast<double>(static_cast<std::int64_t>(s & 0xFFFFFFFFULL));
    return high + low;
}

inline double ditherValue(std::uint64_t s1, std::uint64_t s2) noexcept {
    return (unitValue(s1) + unitValue(s2)) * 0x1p-64 + (-1.0);
}
#endif

// q = round(v) halves away from zero, clamped to -scale ... scale, with the sign of zero that
// std::round gives, split in two so the feedback loop waits as little as possible:
// onGrid is q up to the sign of a zero, which the next error q - v cannot tell apart; the sign is
// restored only for the output. Rounding is monotonic and ±scale are integers, so any |v| > scale
// simply gives ±scale.
struct Quantised {
    double onGrid; // equals q, except that a zero may be +0.0 where q is -0.0
    double q;
};

inline Quantised quantise(double v, double scale) noexcept {
    if (!(std::fabs(v) <= scale)) [[unlikely]] {
        const double q = std::copysign(scale, v);
        return {q, q};
    }
    // Adding 1.5 * 2^52 rounds to the nearest integer, ties to even; a tie that went toward zero is
    // pushed one step out. |v| <= scale < 2^31, far inside the range where this is exact.
    constexpr double magic = 0x1.8p52;
    double r = (v + magic) - magic;
    const double diff = v - r;
    if (diff == 0.5 || diff == -0.5) [[unlikely]] {
        r = v + std::copysign(0.5, v);
    }
    return {r, std::copysign(r, v)};
}

} // namespace

namespace detail {

// One channel's running state, held in registers while a loop runs.
struct DitherChannel {
    std::uint64_t s;
    double e0, e1, e2, e3, e4, e5, e6, e7;
    double scale;
    double inverse;
};

// The two-channel loop of runPair (below) built for processors with AVX2: the random values are
// drawn a block ahead, four stretches at a time, and rounding takes one instruction. The same bits as
// the SSE2 build. Only for the shaped types and tpdf; call only where the processor has AVX2.
void runPairWide(DitherType type, DitherChannel& a, std::span<double> x, DitherChannel& b,
                 std::span<double> z) noexcept;

// The same for two-channel TPDF straight from 32-bit float to interleaved 16-bit words, four frames
// of a channel to a register: without feedback nothing is serial but the random sequence, drawn in
// jumped-to stretches. The same integers as runPairWide followed by gridInteger. 16-bit engines only.
void runTpdfPairTo16Wide(DitherChannel& a, const float* x, DitherChannel& b, const float* z,
                         std::size_t count, char* out) noexcept;

} // namespace detail

namespace {

// The integer k of a sample the dither left on the grid k / scale: k times the inverse, times scale,
// lies within a few units in the last place of k, so rounding to nearest gives k back exactly.
inline std::int16_t gridInteger(double sample, double scale) noexcept {
    constexpr double magic = 0x1.8p52;
    return static_cast<std::int16_t>(static_cast<std::int32_t>((sample * scale + magic) - magic));
}

} // namespace

namespace {

// Calls f.template operator()<Type>() with the type as a compile-time value, so that each loop is
// built once per type from one place; none calls nothing.
template <class F> inline void withDitherType(DitherType type, F&& f) {
    switch (type) {
    case DitherType::none:
        break;
    case DitherType::tpdf:
        f.template operator()<DitherType::tpdf>();
        break;
    case DitherType::highPass:
        f.template operator()<DitherType::highPass>();
        break;
    case DitherType::lipshitz:
        f.template operator()<DitherType::lipshitz>();
        break;
    case DitherType::shibata:
        f.template operator()<DitherType::shibata>();
        break;
    case DitherType::gesemann:
        f.template operator()<DitherType::gesemann>();
        break;
    }
}

} // namespace

// One sample of the written algorithm. With KeepAll false the four oldest errors, which are never
// read, are not shifted; the caller makes sure four full steps follow before the history is stored.
namespace {

using Channel = detail::DitherChannel;

// d is the sample's dither value, drawn by the caller; c.s is left alone.
template <DitherType Type, bool KeepAll>
inline void stepWith(Channel& c, double& sample, const double d) noexcept {
    using F = Feedback<Type>;
    // A NaN or infinite sample is caught where v leaves the range, off the common path.
    double y = c.scale * sample;
    if constexpr (F::taps == 0) {
        if (!(std::fabs(y + d) <= c.scale) && !(std::fabs(sample) <= std::numeric_limits<double>::max()))
            [[unlikely]] {
            y = 0.0;
        }
        sample = quantise(y + d, c.scale).q * c.inverse;
    } else {
        // w = c1 e0 + c2 e1 + c3 e2 + c4 e3, left to right. Zero taps add ±0.0, which changes
        // nothing unless the sum so far is itself zero; only then is the full sum worth its time.
        double w = F::c[0] * c.e0;
        if constexpr (F::taps > 1) {
            w = w + F::c[1] * c.e1;
        }
        if constexpr (F::taps > 2) {
            w = w + F::c[2] * c.e2;
        }
        if constexpr (F::taps > 3) {
            w = w + F::c[3] * c.e3;
        }
        if constexpr (F::taps < 4) {
            if (w == 0.0) [[unlikely]] {
                w = ((F::c[0] * c.e0 + F::c[1] * c.e1) + F::c[2] * c.e2) + F::c[3] * c.e3;
            }
        }
        if (!(std::fabs(w) <= std::numeric_limits<double>::max())) [[unlikely]] {
            // Under sustained overload the history of an unstable shaper grows until the sum
            // overflows; start the shaping afresh instead of letting NaN reach the output.
            c.e0 = c.e1 = c.e2 = c.e3 = c.e4 = c.e5 = c.e6 = c.e7 = 0.0;
            w = 0.0;
        }
        double v = w + (y + d);
        if (!(std::fabs(v) <= c.scale) && !(std::fabs(sample) <= std::numeric_limits<double>::max()))
            [[unlikely]] {
            y = 0.0;
            v = w + (y + d);
        }
        const Quantised q = quantise(v, c.scale);
        if constexpr (KeepAll) {
            c.e7 = c.e6;
            c.e6 = c.e5;
            c.e5 = c.e4;
            c.e4 = c.e3;
        }
        c.e3 = c.e2;
        c.e2 = c.e1;
        c.e1 = c.e0;
        c.e0 = q.onGrid - v; // the same bits as q - v, also for a zero q
        sample = q.q * c.inverse;
    }
}

template <DitherType Type, bool KeepAll> inline void step(Channel& c, double& sample) noexcept {
    const std::uint64_t s1 = xorshift(c.s);
    c.s = xorshift(s1);
    stepWith<Type, KeepAll>(c, sample, ditherValue(s1, c.s));
}

// A whole block of one channel; the last four samples take full steps so all eight errors are right.
template <DitherType Type> inline void run(Channel& c, std::span<double> samples) noexcept {
    const std::size_t head = samples.size() >= 4 ? samples.size() - 4 : 0;
    for (std::size_t i = 0; i < head; ++i) {
        step<Type, false>(c, samples[i]);
    }
    for (std::size_t i = head; i < samples.size(); ++i) {
        step<Type, true>(c, samples[i]);
    }
}

#if defined(__SSE2__)

// The two channels' values side by side in the two lanes of an SSE2 register: the same operations in
// the same order, so the same bits, for half the instructions. A sample where either lane needs a
// rare path (a clamp, an exact tie, a zero or overflowing feedback sum, a NaN) is done again by the
// scalar step for both lanes, from the state before it.
// Both channels' four newest errors, left in the low lane.
struct LaneHistory {
    __m128d e0, e1, e2, e3;
};

inline LaneHistory loadHistory(const Channel& a, const Channel& b) noexcept {
    return {_mm_set_pd(b.e0, a.e0), _mm_set_pd(b.e1, a.e1), _mm_set_pd(b.e2, a.e2), _mm_set_pd(b.e3, a.e3)};
}

inline void storeHistory(const LaneHistory& h, Channel& a, Channel& b) noexcept {
    alignas(16) double e[4][2];
    _mm_store_pd(e[0], h.e0);
    _mm_store_pd(e[1], h.e1);
    _mm_store_pd(e[2], h.e2);
    _mm_store_pd(e[3], h.e3);
    a.e0 = e[0][0], a.e1 = e[1][0], a.e2 = e[2][0], a.e3 = e[3][0];
    b.e0 = e[0][1], b.e1 = e[1][1], b.e2 = e[2][1], b.e3 = e[3][1];
}

// w = c1 e0 + c2 e1 + c3 e2 + c4 e3 in both lanes, left to right; marks in `rare` a lane whose sum
// overflowed, or is zero where a dropped zero tap could have changed its sign.
template <DitherType Type> inline __m128d laneFeedbackSum(const LaneHistory& h, __m128d& rare) noexcept {
    using F = Feedback<Type>;
    if constexpr (F::taps == 0) {
        return _mm_setzero_pd();
    } else {
        __m128d w = _mm_mul_pd(_mm_set1_pd(F::c[0]), h.e0);
        if constexpr (F::taps > 1) {
            w = _mm_add_pd(w, _mm_mul_pd(_mm_set1_pd(F::c[1]), h.e1));
        }
        if constexpr (F::taps > 2) {
            w = _mm_add_pd(w, _mm_mul_pd(_mm_set1_pd(F::c[2]), h.e2));
        }
        if constexpr (F::taps > 3) {
            w = _mm_add_pd(w, _mm_mul_pd(_mm_set1_pd(F::c[3]), h.e3));
        }
        const __m128d magnitude = _mm_andnot_pd(_mm_set1_pd(-0.0), w);
        rare = _mm_or_pd(rare, _mm_cmpnle_pd(magnitude, _mm_set1_pd(std::numeric_limits<double>::max())));
        if constexpr (F::taps < 4) {
            rare = _mm_or_pd(rare, _mm_cmpeq_pd(w, _mm_setzero_pd()));
        }
        return w;
    }
}

// The new error r - v enters the history.
inline void pushError(LaneHistory& h, __m128d error) noexcept {
    h.e3 = h.e2;
    h.e2 = h.e1;
    h.e1 = h.e0;
    h.e0 = error;
}

struct Lanes {
    __m128i s;
    LaneHistory h;
};

inline __m128i xorshiftLanes(__m128i s) noexcept {
    s = _mm_xor_si128(s, _mm_srli_epi64(s, 12));
    s = _mm_xor_si128(s, _mm_slli_epi64(s, 25));
    return _mm_xor_si128(s, _mm_srli_epi64(s, 27));
}

template <DitherType Type>
inline void runPairLanes(Channel& a, double* x, Channel& b, double* z, std::size_t count) noexcept {
    using F = Feedback<Type>;
    const __m128d scale = _mm_set1_pd(a.scale);
    const __m128d inverse = _mm_set1_pd(a.inverse);
    const __m128d signBit = _mm_set1_pd(-0.0);
    const __m128d magic = _mm_set1_pd(0x1.8p52);
    const __m128d half = _mm_set1_pd(0.5);
    const auto load = [&] {
        return Lanes{_mm_set_epi64x(static_cast<long long>(b.s), static_cast<long long>(a.s)),
                     loadHistory(a, b)};
    };
    Lanes l = load();
    const auto spill = [&] {
        alignas(16) std::uint64_t states[2];
        _mm_store_si128(reinterpret_cast<__m128i*>(states), l.s);
        a.s = states[0];
        b.s = states[1];
        storeHistory(l.h, a, b);
    };
    for (std::size_t i = 0; i < count; ++i) {
        const __m128d y = _mm_mul_pd(scale, _mm_set_pd(z[i], x[i]));
        const __m128i s1 = xorshiftLanes(l.s);
        const __m128i s2 = xorshiftLanes(s1);
        // Scaling by 2^-64 is exact, so it may follow the sum of the two unscaled values.
        const __m128d d =
            _mm_add_pd(_mm_mul_pd(_mm_add_pd(stateAsDouble(s1), stateAsDouble(s2)), _mm_set1_pd(0x1p-64)),
                       _mm_set1_pd(-1.0));
        __m128d rare = _mm_setzero_pd();
        const __m128d w = laneFeedbackSum<Type>(l.h, rare);
        const __m128d v = F::taps > 0 ? _mm_add_pd(w, _mm_add_pd(y, d)) : _mm_add_pd(y, d);
        const __m128d r = _mm_sub_pd(_mm_add_pd(v, magic), magic);
        rare = _mm_or_pd(rare, _mm_cmpnle_pd(_mm_andnot_pd(signBit, v), scale)); // clamp, NaN, infinity
        rare = _mm_or_pd(rare, _mm_cmpeq_pd(_mm_andnot_pd(signBit, _mm_sub_pd(v, r)), half)); // a tie
        if (_mm_movemask_pd(rare) != 0) [[unlikely]] {
            spill();
            step<Type, false>(a, x[i]);
            step<Type, false>(b, z[i]);
            l = load();
            continue;
        }
        l.s = s2;
        if constexpr (F::taps > 0) {
            pushError(l.h, _mm_sub_pd(r, v));
        }
        // r and v have the same sign unless r is zero; the sign of v makes it std::round's zero.
        const __m128d out = _mm_mul_pd(_mm_or_pd(r, _mm_and_pd(v, signBit)), inverse);
        _mm_storel_pd(x + i, out);
        _mm_storeh_pd(z + i, out);
    }
    spill();
}

#endif

// Two independent channels at once: in SSE2 lanes where there are any, else in one scalar loop so
// that the processor at least overlaps their dependency chains.
template <DitherType Type>
inline void runPair(Channel& a, std::span<double> x, Channel& b, std::span<double> z) noexcept {
    const std::size_t common = std::min(x.size(), z.size());
    const std::size_t head = common >= 4 ? common - 4 : 0;
#if defined(__SSE2__)
    runPairLanes<Type>(a, x.data(), b, z.data(), head);
#else
    for (std::size_t i = 0; i < head; ++i) {
        step<Type, false>(a, x[i]);
        step<Type, false>(b, z[i]);
    }
#endif
    run<Type>(a, x.subspan(head));
    run<Type>(b, z.subspan(head));
}

} // namespace

} // namespace orvane
