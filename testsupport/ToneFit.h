#pragma once
// Sines and a least-squares fit of one sine of known frequency, which gives its level and what is
// left over (images, aliases, distortion, noise) without an FFT. Tests only.

#include <cmath>
#include <cstddef>
#include <vector>

namespace orvane::testing {

inline constexpr double kTwoPi = 6.283185307179586;

inline std::vector<double> sine(int fs, std::size_t count, double hz, double amplitude) {
    std::vector<double> s(count);
    for (std::size_t i = 0; i < count; ++i)
        s[i] = amplitude * std::sin(kTwoPi * hz * static_cast<double>(i) / fs);
    return s;
}

struct ToneFit {
    double amplitude = 0.0;
    double phase = 0.0;       // y ~ amplitude * sin(2 pi hz i / fs + phase)
    double residualRms = 0.0; // what the fitted sine (and DC) does not explain
    double dc = 0.0;
};

// Fits a*sin + b*cos + c at hz over y[start ... start + count) and measures the rest.
inline ToneFit fitTone(const std::vector<double>& y, int fs, double hz, std::size_t start,
                       std::size_t count) {
    double ss = 0, sc = 0, s1 = 0, cc = 0, c1 = 0, n = 0, ys = 0, yc = 0, y1 = 0;
    for (std::size_t i = start; i < start + count; ++i) {
        const double w = kTwoPi * hz * static_cast<double>(i) / fs;
        const double s = std::sin(w), c = std::cos(w);
        ss += s * s, sc += s * c, s1 += s, cc += c * c, c1 += c, n += 1;
        ys += y[i] * s, yc += y[i] * c, y1 += y[i];
    }
    // Solve the 3x3 normal equations by Cramer's rule.
    const double det = ss * (cc * n - c1 * c1) - sc * (sc * n - c1 * s1) + s1 * (sc * c1 - cc * s1);
    const double a = (ys * (cc * n - c1 * c1) - sc * (yc * n - c1 * y1) + s1 * (yc * c1 - cc * y1)) / det;
    const double b = (ss * (yc * n - c1 * y1) - ys * (sc * n - c1 * s1) + s1 * (sc * y1 - yc * s1)) / det;
    const double d = (ss * (cc * y1 - c1 * yc) - sc * (sc * y1 - s1 * yc) + ys * (sc * c1 - cc * s1)) / det;
    double residual = 0;
    for (std::size_t i = start; i < start + count; ++i) {
        const double w = kTwoPi * hz * static_cast<double>(i) / fs;
        const double e = y[i] - (a * std::sin(w) + b * std::cos(w) + d);
        residual += e * e;
    }
    return {std::hypot(a, b), std::atan2(b, a), std::sqrt(residual / n), d};
}

inline double dB(double ratio) {
    return 20.0 * std::log10(ratio);
}

// The level of y, away from `skip` samples at either end, in dB against a sine of `amplitude`.
inline double levelDB(const std::vector<double>& y, std::size_t skip, double amplitude) {
    double power = 0.0;
    for (std::size_t i = skip; i < y.size() - skip; ++i)
        power += y[i] * y[i];
    return dB(std::sqrt(power / static_cast<double>(y.size() - 2 * skip)) / (amplitude / std::sqrt(2.0)));
}

} // namespace orvane::testing
