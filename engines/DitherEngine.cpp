#include "engines/DitherEngine.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <limits>

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

// One 64-bit xorshift step.
inline std::uint64_t xorshift(std::uint64_t s) noexcept {
    s ^= s >> 12;
    s ^= s << 25;
    s ^= s >> 27;
    return s;
}

// The state as a double times 2^-64, rounded exactly as a plain conversion would be. x86-64 has no
// unsigned conversion, and the compiler's version branches on the top bit, which random data
// mispredicts half the time; two exact halves and one rounding addition give the same bits.
inline double unitValue(std::uint64_t s) noexcept {
    const double high = static_cast<double>(static_cast<std::int64_t>(s >> 32)) * 0x1p32;
    const double low = static_cast<double>(static_cast<std::int64_t>(s & 0xFFFFFFFFULL));
    return (high + low) * 0x1p-64;
}

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

// A NaN or infinite input becomes 0.0; finite values pass unchanged.
inline double finiteOrZero(double x) noexcept {
    return std::fabs(x) <= std::numeric_limits<double>::max() ? x : 0.0;
}

} // namespace

DitherEngine::DitherEngine(DitherType type, int bitDepth, std::uint64_t seed) noexcept
    : type_(type), bitDepth_(std::clamp(bitDepth, 2, 32)),
      scale_(std::ldexp(1.0, std::clamp(bitDepth, 2, 32) - 1) - 1.0), c_(ditherFeedback(type)),
      state_(seed == 0 ? defaultSeed : seed) {
    assert(bitDepth >= 2 && bitDepth <= 32);
}

void DitherEngine::process(std::span<double> samples) noexcept {
    switch (type_) {
    case DitherType::none:
        return; // rounding is left to the caller's packing
    case DitherType::tpdf:
        processLoop<DitherType::tpdf>(samples);
        return;
    case DitherType::highPass:
        processLoop<DitherType::highPass>(samples);
        return;
    case DitherType::lipshitz:
        processLoop<DitherType::lipshitz>(samples);
        return;
    case DitherType::shibata:
        processLoop<DitherType::shibata>(samples);
        return;
    case DitherType::gesemann:
        processLoop<DitherType::gesemann>(samples);
        return;
    }
}

template <DitherType Type> void DitherEngine::processLoop(std::span<double> samples) noexcept {
    using F = Feedback<Type>;
    const double scale = scale_;
    const double inverse = 1.0 / scale;
    std::uint64_t s = state_;
    // The history lives in registers for the call; all eight are shifted, only four are read.
    double e0 = e_[0], e1 = e_[1], e2 = e_[2], e3 = e_[3], e4 = e_[4], e5 = e_[5], e6 = e_[6], e7 = e_[7];
    for (double& sample : samples) {
        const double y = scale * finiteOrZero(sample);
        s = xorshift(s);
        const double u1 = unitValue(s);
        s = xorshift(s);
        const double u2 = unitValue(s);
        const double d = (u1 + u2) + (-1.0);
        if constexpr (F::taps == 0) {
            sample = quantise(y + d, scale).q * inverse;
        } else {
            // w = c1 e0 + c2 e1 + c3 e2 + c4 e3, left to right. Zero taps add ±0.0, which changes
            // nothing unless the sum so far is itself zero; only then is the full sum worth its time.
            double w = F::c[0] * e0;
            if constexpr (F::taps > 1) {
                w = w + F::c[1] * e1;
            }
            if constexpr (F::taps > 2) {
                w = w + F::c[2] * e2;
            }
            if constexpr (F::taps > 3) {
                w = w + F::c[3] * e3;
            }
            if constexpr (F::taps < 4) {
                if (w == 0.0) [[unlikely]] {
                    w = ((F::c[0] * e0 + F::c[1] * e1) + F::c[2] * e2) + F::c[3] * e3;
                }
            }
            if (!(std::fabs(w) <= std::numeric_limits<double>::max())) [[unlikely]] {
                // Under sustained overload the history of an unstable shaper grows until the sum
                // overflows; start the shaping afresh instead of letting NaN reach the output.
                e0 = e1 = e2 = e3 = e4 = e5 = e6 = e7 = 0.0;
                w = 0.0;
            }
            const double v = w + (y + d);
            const Quantised q = quantise(v, scale);
            e7 = e6;
            e6 = e5;
            e5 = e4;
            e4 = e3;
            e3 = e2;
            e2 = e1;
            e1 = e0;
            e0 = q.onGrid - v; // the same bits as q - v, also for a zero q
            sample = q.q * inverse;
        }
    }
    state_ = s;
    e_ = {e0, e1, e2, e3, e4, e5, e6, e7};
}

} // namespace orvane
