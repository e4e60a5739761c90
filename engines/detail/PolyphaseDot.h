#pragma once
// The dot products of SRCEngine64: a window of input against one row of the bank, for one or several
// windows at once. Pure functions over caller-owned memory, any thread.
//
// Sixteen running sums, each over the taps with the same index mod 16, added in one fixed order at
// the end. Every caller keeps this order, so a result never depends on how many windows were done
// together or which instruction set did them. The sums live in four vectors of four (lanes 0-3, 4-7,
// 8-11, 12-15); the compiler maps them onto AVX registers or pairs of SSE2 registers without
// reordering a single addition, and without FMA, so every build gives the same bits. Rows are padded
// to whole steps of 16 (leading zeros), so there is no ragged end.

#include "engines/PolyphaseFilterBank64.h"

#include <cstddef>

namespace orvane::detail {

inline constexpr std::size_t kDotLanes = PolyphaseFilterBank64::paddedTapStep;
static_assert(kDotLanes == 16);

using Vec4 = double __attribute__((vector_size(32)));
// The same, read from any double in memory: windows start on any sample.
using UnalignedVec4 = double __attribute__((vector_size(32), aligned(8), may_alias));

// Everything here is forced inline, so that it is compiled for the instruction set of the loop that
// calls it. Keep is the AVX build's way to hold a coefficient in a register for all the windows that
// use it, where the compiler would otherwise load it again from memory for each.
template <bool Keep> [[gnu::always_inline]] inline void loadCoefficients(Vec4& v, const double* c) noexcept {
    v = *reinterpret_cast<const UnalignedVec4*>(c);
    if constexpr (Keep) {
        asm("" : "+x"(v));
    }
}

// Lane j + 8 onto lane j, then lane j + 4 onto lane j, then (0 + 2) + (1 + 3).
[[gnu::always_inline]] inline double laneTotal(const Vec4 (&sums)[4]) noexcept {
    const Vec4 r = (sums[0] + sums[2]) + (sums[1] + sums[3]);
    return (r[0] + r[2]) + (r[1] + r[3]);
}

// result[w] = dot(windows[w], row) over taps (a multiple of 16) for each of the Windows windows,
// each coefficient loaded once for all of them.
template <std::size_t Windows, bool Keep>
[[gnu::always_inline]] inline void dotWindows(const double* const (&windows)[Windows], const double* row,
                                              std::size_t taps, double (&result)[Windows]) noexcept {
    Vec4 sums[Windows][4] = {};
    for (std::size_t t = 0; t < taps; t += kDotLanes) {
        for (std::size_t q = 0; q < 4; ++q) {
            Vec4 c;
            loadCoefficients<Keep>(c, row + t + 4 * q);
            for (std::size_t w = 0; w < Windows; ++w)
                sums[w][q] += *reinterpret_cast<const UnalignedVec4*>(windows[w] + t + 4 * q) * c;
        }
    }
    for (std::size_t w = 0; w < Windows; ++w)
        result[w] = laneTotal(sums[w]);
}

[[gnu::always_inline]] inline double dot(const double* window, const double* row, std::size_t taps) noexcept {
    const double* const windows[1] = {window};
    double result[1];
    dotWindows<1, false>(windows, row, taps, result);
    return result[0];
}

} // namespace orvane::detail
