#include "engines/FilterDesign.h"

#include <algorithm>
#include <cmath>

namespace orvane::FilterDesign {

namespace {

// The four-term cosine windows share their argument y, which runs over 0 ... 2 pi for a centred window.
template <typename Terms> std::vector<double> cosineWindow(int N, double center, Terms terms) {
    if (N <= 0)
        return {};
    if (N == 1)
        return {1.0};
    std::vector<double> w(static_cast<std::size_t>(N));
    const double half = (N - 1) / 2.0;
    const double scale = kTwoPi / (N - 1);
    for (int n = 0; n < N; ++n) {
        const double y = (half + (n - center)) * scale;
        w[static_cast<std::size_t>(n)] = terms(y);
    }
    return w;
}

} // namespace

std::vector<double> sincFilter(int N, double fcNormalized, double center) {
    std::vector<double> h(static_cast<std::size_t>(std::max(N, 0)));
    for (int n = 0; n < N; ++n) {
        const double d = n - center;
        h[static_cast<std::size_t>(n)] =
            std::fabs(d) < 1e-10 ? 2.0 * fcNormalized : std::sin(kTwoPi * fcNormalized * d) / (kPi * d);
    }
    return h;
}

double kaiserBeta(double stopbandDB) {
    const double a = std::fabs(stopbandDB);
    if (a >= 50.0)
        return 0.1102 * (a - 8.7);
    if (a >= 21.0)
        return 0.5842 * std::pow(a - 21.0, 0.4) + 0.07886 * (a - 21.0);
    return 0.0;
}

double i0(double x) {
    const double q = x * x * 0.25;
    double sum = 1.0 + q;
    if (q < sum * 1e-15)
        return sum;
    double term = q;
    for (int k = 2; k <= 50; ++k) {
        term = term * q / static_cast<double>(k * k);
        sum += term;
        if (term < sum * 1e-15)
            break;
    }
    return sum;
}

std::vector<double> kaiserWindow(int N, double beta, double center) {
    if (N <= 0)
        return {};
    if (N == 1)
        return {1.0};
    std::vector<double> w(static_cast<std::size_t>(N));
    const double halfSpan = (N - 1) * 0.5;
    const double denominator = i0(beta);
    for (int n = 0; n < N; ++n) {
        const double x = (n - center) / halfSpan;
        // A shifted centre can put x past 1; the window then holds its edge value instead of going complex.
        w[static_cast<std::size_t>(n)] = i0(beta * std::sqrt(std::max(0.0, 1.0 - x * x))) / denominator;
    }
    return w;
}

std::vector<double> blackmanHarrisWindow(int N, double center) {
    return cosineWindow(N, center, [](double y) {
        return 0.35875 - 0.48829 * std::cos(y) + 0.14128 * std::cos(2.0 * y) - 0.01168 * std::cos(3.0 * y);
    });
}

std::vector<double> nuttallWindow(int N, double center) {
    return cosineWindow(N, center, [](double y) {
        return 0.355768 - 0.487396 * std::cos(y) + 0.144232 * std::cos(2.0 * y) -
               0.012604 * std::cos(3.0 * y);
    });
}

std::vector<double> hannWindow(int N, double center) {
    return cosineWindow(N, center, [](double y) { return (1.0 - std::cos(y)) * 0.5; });
}

std::vector<double> gaussianWindow(int N, double alpha, double center) {
    if (N <= 0)
        return {};
    if (N == 1)
        return {1.0};
    std::vector<double> w(static_cast<std::size_t>(N));
    const double spread = (N - 1) * 0.5 * alpha;
    for (int n = 0; n < N; ++n) {
        const double z = (n - center) / spread;
        w[static_cast<std::size_t>(n)] = std::exp(-0.5 * z * z);
    }
    return w;
}

std::vector<double> namedWindow(std::string_view windowType, int N, std::optional<double> param,
                                double stopbandDB, double center) {
    if (windowType == "kaiser")
        return kaiserWindow(N, param.value_or(kaiserBeta(stopbandDB)), center);
    if (windowType == "blackman-harris")
        return blackmanHarrisWindow(N, center);
    if (windowType == "nuttall")
        return nuttallWindow(N, center);
    if (windowType == "hann")
        return hannWindow(N, center);
    if (windowType == "gaussian")
        return gaussianWindow(N, param.value_or(3.5), center);
    return std::vector<double>(static_cast<std::size_t>(std::max(N, 0)), 1.0);
}

} // namespace orvane::FilterDesign
