#include "tools/ssrc_hp/HighQualityDesign.h"

#include "engines/FilterDesign.h"
#include "engines/PolyphaseFilterBank64.h"

#include <cmath>
#include <cstdint>
#include <vector>

namespace orvane::ssrc {

namespace {

// Past this many coefficients a bank would take hundreds of megabytes: rates so close to coprime are refused.
constexpr std::int64_t kMaxPrototypeLength = std::int64_t{1} << 25;

} // namespace

HighQualityDesign highQualityDesign(int fsIn, int fsOut) {
    const RateRatio ratio = reducedRatio(fsIn, fsOut);
    HighQualityDesign design;
    design.L = ratio.L;
    design.M = ratio.M;
    design.fcRatio = (kPassbandEdge + kStopbandEdge) / 2.0;
    design.beta = FilterDesign::kaiserBeta(kStopbandDB);
    // Kaiser: length = (A - 7.95) / (2.285 * transition width in radians), counted here in samples of the
    // lower rate; the input runs M / L times faster when the rate goes down.
    const double transitionRadians = (kStopbandEdge - kPassbandEdge) * FilterDesign::kPi;
    const double lowerRateTaps = (std::fabs(kStopbandDB) - 7.95) / (2.285 * transitionRadians);
    const double perPhase =
        std::ceil(lowerRateTaps * std::max(1.0, static_cast<double>(design.M) / design.L));
    design.tapsPerPhase = static_cast<int>(perPhase) + static_cast<int>(perPhase) % 2;
    design.startPhase = static_cast<double>(design.L) * design.tapsPerPhase / 2.0;
    return design;
}

tl::expected<std::unique_ptr<SRCEngine64>, std::string> makeHighQualityEngine(int fsIn, int fsOut) {
    const HighQualityDesign d = highQualityDesign(fsIn, fsOut);
    const std::int64_t length = static_cast<std::int64_t>(d.L) * d.tapsPerPhase;
    if (length > kMaxPrototypeLength)
        return tl::unexpected("the rate ratio " + std::to_string(d.L) + "/" + std::to_string(d.M) +
                              " needs a filter too large to hold");
    const int N = static_cast<int>(length);
    const auto center =
        static_cast<double>(N / 2); // N is even: the centre is a whole sample, so the start phase is too
    const double fc = 0.5 * std::min(1.0 / d.L, 1.0 / d.M) * d.fcRatio;
    std::vector<double> prototype = FilterDesign::sincFilter(N, fc, center);
    const std::vector<double> window = FilterDesign::kaiserWindow(N, d.beta, center);
    double sum = 0.0;
    for (int n = 0; n < N; ++n) {
        prototype[n] *= window[n];
        sum += prototype[n];
    }
    // The first tap has no mirror image about the centre; dropping it keeps the phase exactly linear.
    sum -= prototype[0];
    prototype[0] = 0.0;
    for (double& h : prototype)
        h *= d.L / sum; // a DC gain of 1 in every phase row
    auto bank = std::make_shared<const PolyphaseFilterBank64>(d.L, d.M, prototype, d.tapsPerPhase);
    return std::make_unique<SRCEngine64>(fsIn, fsOut, std::move(bank), d.startPhase);
}

} // namespace orvane::ssrc
