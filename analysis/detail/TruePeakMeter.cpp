#include "analysis/detail/TruePeakMeter.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace orvane::detail {

namespace {

// Zeroth-order modified Bessel function of the first kind, by its power series.
double besselI0(double x) {
    double sum = 1.0;
    double term = 1.0;
    const double quarter = x * x / 4.0;
    for (int k = 1; k < 50; ++k) {
        term *= quarter / (static_cast<double>(k) * static_cast<double>(k));
        sum += term;
        if (term < sum * 1e-17)
            break;
    }
    return sum;
}

constexpr double kKaiserBeta = 8.0;
// The pass band reaches almost to the input's Nyquist frequency: peaks between samples of content
// near the top of the band are what the meter exists for.
constexpr double kCutoffOfNyquist = 0.97;
constexpr std::size_t kScanBlock = 1024;

} // namespace

TruePeakMeter::TruePeakMeter() {
    // An odd length with its centre on a tap, so that the four phases land exactly on the quarters
    // between input samples; the last slot of the polyphase table stays 0.
    constexpr int length = factor * tapsPerPhase - 1;
    const double centre = (length - 1) / 2.0;
    std::vector<double> prototype(factor * tapsPerPhase, 0.0);
    for (int n = 0; n < length; ++n) {
        const double t = (n - centre) / factor; // in input samples
        const double x = kCutoffOfNyquist * t;
        const double sinc = x == 0.0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
        const double r = (n - centre) / (centre + 1.0);
        const double window =
            besselI0(kKaiserBeta * std::sqrt(std::max(0.0, 1.0 - r * r))) / besselI0(kKaiserBeta);
        prototype[static_cast<std::size_t>(n)] = sinc * window;
    }
    // Each phase alone must pass a constant unchanged, or a steady level would read high or low.
    for (int p = 0; p < factor; ++p) {
        double sum = 0.0;
        for (int k = 0; k < tapsPerPhase; ++k)
            sum += prototype[static_cast<std::size_t>(k * factor + p)];
        for (int k = 0; k < tapsPerPhase; ++k)
            coefficients_[static_cast<std::size_t>(k)][p] =
                static_cast<float>(prototype[static_cast<std::size_t>(k * factor + p)] / sum);
    }
}

void TruePeakMeter::process(const float* left, const float* right, std::size_t count) noexcept {
    processChannel(left, count, historyL_);
    processChannel(right, count, historyR_);
}

void TruePeakMeter::flush() noexcept {
    const std::array<float, tapsPerPhase> zeros{};
    process(zeros.data(), zeros.data(), zeros.size());
}

void TruePeakMeter::processChannel(const float* samples, std::size_t count, History& history) noexcept {
    // Works through a scratch line of the history followed by a block of input, so the inner loop
    // reads contiguous memory with no wrap-around.
    constexpr std::size_t keep = tapsPerPhase - 1;
    float line[kScanBlock + tapsPerPhase];
    std::copy_n(history.begin(), keep, line);
    Lanes best = {0.0f, 0.0f, 0.0f, 0.0f};
    float samplePeak = 0.0f;
    std::size_t done = 0;
    while (done < count) {
        const std::size_t n = std::min(kScanBlock, count - done);
        std::copy_n(samples + done, n, line + keep);
        for (std::size_t i = 0; i < n; ++i) {
            samplePeak = std::max(samplePeak, std::fabs(line[keep + i]));
            Lanes acc = {0.0f, 0.0f, 0.0f, 0.0f};
            const float* newest = line + i + keep;
            for (std::size_t k = 0; k < tapsPerPhase; ++k)
                acc += coefficients_[k] * *(newest - k);
            const Lanes magnitude = acc < 0.0f ? -acc : acc;
            best = best < magnitude ? magnitude : best;
        }
        std::copy_n(line + n, keep, line);
        done += n;
    }
    std::copy_n(line, keep, history.begin());
    for (int p = 0; p < factor; ++p)
        peak_ = std::max(peak_, best[p]);
    peak_ = std::max(peak_, samplePeak);
}

} // namespace orvane::detail
