// The two-channel dither loop built for processors with SSE4.1. Everything the header brings in is
// included first, untouched; only the dither steps that follow are compiled for SSE4.1, and they are
// internal to this file.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>

#if defined(__SSE2__)
#include <emmintrin.h>
#include <smmintrin.h>
#endif

#include "engines/DitherType.h"

#pragma GCC target("sse4.1")

#include "engines/detail/DitherSteps.h"

namespace orvane::detail {

void runPairWithRoundInstruction(DitherType type, DitherChannel& a, std::span<double> x, DitherChannel& b,
                                 std::span<double> z) noexcept {
#if defined(__SSE2__)
    switch (type) {
    case DitherType::none:
        break;
    case DitherType::tpdf:
        runPair<DitherType::tpdf, true>(a, x, b, z);
        break;
    case DitherType::highPass:
        runPair<DitherType::highPass, true>(a, x, b, z);
        break;
    case DitherType::lipshitz:
        runPair<DitherType::lipshitz, true>(a, x, b, z);
        break;
    case DitherType::shibata:
        runPair<DitherType::shibata, true>(a, x, b, z);
        break;
    case DitherType::gesemann:
        runPair<DitherType::gesemann, true>(a, x, b, z);
        break;
    }
#else
    (void)type, (void)a, (void)x, (void)b, (void)z;
#endif
}

} // namespace orvane::detail
