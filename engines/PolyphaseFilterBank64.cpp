#include "engines/PolyphaseFilterBank64.h"

#include "engines/FilterDesign.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>

namespace orvane {

PolyphaseFilterBank64::PolyphaseFilterBank64(int L, int M, std::span<const double> prototype,
                                             int tapsPerPhase)
    : L_(L), M_(M), tapsPerPhase_(tapsPerPhase),
      paddedTaps_((tapsPerPhase + paddedTapStep - 1) / paddedTapStep * paddedTapStep) {
    assert(L > 0 && M > 0 && tapsPerPhase > 0);
    fillRows(prototype);
}

PolyphaseFilterBank64::PolyphaseFilterBank64(int L, int M, double stopbandDB, double fcRatio,
                                             int tapsPerPhase, const std::string& windowType,
                                             std::optional<double> beta, double /*startPhase*/,
                                             bool alignCenter)
    : L_(L), M_(M), tapsPerPhase_(tapsPerPhase),
      paddedTaps_((tapsPerPhase + paddedTapStep - 1) / paddedTapStep * paddedTapStep) {
    assert(L > 0 && M > 0 && tapsPerPhase > 0);
    const int N = L * tapsPerPhase;
    double center = (N - 1) / 2.0;
    if (alignCenter)
        center = std::round(center);
    const double fc = std::min(1.0 / L, 1.0 / M) * fcRatio * 0.5;

    std::vector<double> h = FilterDesign::sincFilter(N, fc, center);
    const std::vector<double> w = FilterDesign::namedWindow(windowType, N, beta, stopbandDB, center);
    double sum = 0.0;
    for (std::size_t n = 0; n < h.size(); ++n) {
        h[n] *= w[n];
        sum += h[n];
    }
    if (sum > 1e-300)
        for (double& v : h)
            v /= sum;
    for (double& v : h)
        v *= L;
    fillRows(h);
}

void PolyphaseFilterBank64::fillRows(std::span<const double> prototype) {
    const std::size_t T = static_cast<std::size_t>(tapsPerPhase_);
    const std::size_t rows = static_cast<std::size_t>(L_) + 1;
    const std::size_t limit = std::min(static_cast<std::size_t>(L_) * T, prototype.size());
    bank_.assign(rows * T, 0.0);
    for (std::size_t p = 0; p < rows; ++p) {
        double* r = bank_.data() + p * T;
        for (std::size_t t = 0; t < T; ++t) {
            const std::size_t index = p + t * static_cast<std::size_t>(L_);
            if (index < limit)
                r[T - 1 - t] = prototype[index];
        }
    }
    const std::size_t P = static_cast<std::size_t>(paddedTaps_);
    constexpr std::size_t alignDoubles = 64 / sizeof(double);
    padded_.assign(rows * P + alignDoubles, 0.0);
    const auto address = reinterpret_cast<std::uintptr_t>(padded_.data());
    paddedOffset_ = (alignDoubles - (address / sizeof(double)) % alignDoubles) % alignDoubles;
    double* padded = padded_.data() + paddedOffset_;
    for (std::size_t p = 0; p < rows; ++p)
        std::copy_n(bank_.data() + p * T, T, padded + p * P + (P - T));
}

} // namespace orvane
