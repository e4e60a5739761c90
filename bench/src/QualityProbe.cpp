#include "QualityProbe.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <random>
#include <stdexcept>

namespace orvane::bench {

namespace {

constexpr double kTwoPi = 6.283185307179586;

// Power of each whole-hertz bin of one second of output, starting skipSeconds in.
class Spectrum {
  public:
    explicit Spectrum(int fs)
        : n_(fs), in_(static_cast<std::size_t>(fs)), out_(static_cast<std::size_t>(fs / 2 + 1)) {
        plan_ =
            fftw_plan_dft_r2c_1d(n_, in_.data(), reinterpret_cast<fftw_complex*>(out_.data()), FFTW_ESTIMATE);
    }
    ~Spectrum() { fftw_destroy_plan(plan_); }
    Spectrum(const Spectrum&) = delete;
    Spectrum& operator=(const Spectrum&) = delete;

    // Power per bin, scaled so a sine of amplitude a gives a^2 / 2 in its bin.
    std::vector<double> power(const std::vector<double>& signal, std::size_t skip) {
        if (signal.size() < skip + in_.size())
            throw std::runtime_error("converter output too short for analysis");
        std::copy_n(signal.begin() + static_cast<std::ptrdiff_t>(skip), in_.size(), in_.begin());
        fftw_execute(plan_);
        std::vector<double> p(out_.size());
        const double scale = 2.0 / (static_cast<double>(n_) * n_);
        for (std::size_t k = 0; k < out_.size(); ++k)
            p[k] = std::norm(out_[k]) * scale;
        return p;
    }

  private:
    int n_;
    std::vector<double> in_;
    std::vector<std::complex<double>> out_;
    fftw_plan plan_;
};

std::vector<double> sine(int fs, double seconds, double hz, double amplitude, double phase = 0.0) {
    std::vector<double> s(static_cast<std::size_t>(fs * seconds));
    for (std::size_t i = 0; i < s.size(); ++i)
        s[i] = amplitude * std::sin(kTwoPi * hz * static_cast<double>(i) / fs + phase);
    return s;
}

double dB(double powerRatio) {
    return 10.0 * std::log10(std::max(powerRatio, 1e-30));
}

// Analysis starts a quarter second in, past every converter's delay and start-up.
constexpr double kInputSeconds = 1.5;

std::vector<double> convertMono(const Contender& contender, const std::vector<double>& x, int fsIn,
                                int fsOut) {
    return convertAll(contender, Channels{x}, fsIn, fsOut)[0];
}

} // namespace

Quality measureQuality(const Contender& contender, int fsIn, int fsOut) {
    Quality q;
    Spectrum spectrum(fsOut);
    const std::size_t skip = static_cast<std::size_t>(fsOut / 4);

    // Passband: 41 tones, log-spaced 20 Hz ... 20 kHz, in one multitone of moderate crest.
    std::vector<int> tones;
    for (int k = 0; k <= 40; ++k)
        tones.push_back(static_cast<int>(std::lround(20.0 * std::pow(1000.0, k / 40.0))));
    const double toneAmp = 0.02;
    std::vector<double> multitone(static_cast<std::size_t>(fsIn * kInputSeconds), 0.0);
    for (std::size_t t = 0; t < tones.size(); ++t) {
        const auto s = sine(fsIn, kInputSeconds, tones[t], toneAmp, 0.7 * static_cast<double>(t * t));
        for (std::size_t i = 0; i < s.size(); ++i)
            multitone[i] += s[i];
    }
    const auto pPass = spectrum.power(convertMono(contender, multitone, fsIn, fsOut), skip);
    double lo = 1e9, hi = -1e9;
    for (int hz : tones) {
        const double g = dB(pPass[static_cast<std::size_t>(hz)] / (toneAmp * toneAmp / 2.0));
        lo = std::min(lo, g);
        hi = std::max(hi, g);
    }
    q.passbandRippleDB = hi - lo;
    q.passbandLowDB = lo;

    // Aliases and images: single tones from 20 kHz up to 48 kHz (or the source's Nyquist), stray energy
    // that lands in the audible band of the output.
    q.worstAliasDB = -400.0;
    const double amp = 0.5;
    const int topHz = std::min(48000, fsIn / 2 - 100);
    for (int hz = 20037; hz <= topHz; hz += 250) {
        const auto p =
            spectrum.power(convertMono(contender, sine(fsIn, kInputSeconds, hz, amp), fsIn, fsOut), skip);
        double stray = 0.0;
        for (int k = 1; k <= 20000; ++k)
            if (k != hz)
                stray += p[static_cast<std::size_t>(k)];
        const double level = dB(stray / (amp * amp / 2.0));
        if (level > q.worstAliasDB) {
            q.worstAliasDB = level;
            q.worstAliasToneHz = hz;
        }
    }

    // THD+N of 997 Hz at -1 dBFS.
    const double a997 = std::pow(10.0, -1.0 / 20.0);
    const auto p997 =
        spectrum.power(convertMono(contender, sine(fsIn, kInputSeconds, 997.0, a997), fsIn, fsOut), skip);
    double rest = 0.0;
    for (int k = 20; k <= 20000; ++k)
        if (k != 997)
            rest += p997[static_cast<std::size_t>(k)];
    q.thdPlusNoiseDB = dB(rest / p997[997]);
    return q;
}

Channels musicLikeStereo(int fs, double seconds) {
    const std::size_t n = static_cast<std::size_t>(fs * seconds);
    Channels out(2, std::vector<double>(n));
    std::mt19937_64 rng(20261122);
    std::normal_distribution<double> white(0.0, 1.0);
    const double toneHz[] = {110.0, 440.0, 1234.5, 5000.0, 14000.0};
    for (std::size_t c = 0; c < 2; ++c) {
        // Paul Kellet's economy pink filter.
        double b0 = 0, b1 = 0, b2 = 0;
        for (std::size_t i = 0; i < n; ++i) {
            const double w = white(rng);
            b0 = 0.99765 * b0 + w * 0.0990460;
            b1 = 0.96300 * b1 + w * 0.2965164;
            b2 = 0.57000 * b2 + w * 1.0526913;
            double x = 0.03 * (b0 + b1 + b2 + w * 0.1848);
            const double t = static_cast<double>(i) / fs;
            for (double hz : toneHz)
                x += 0.03 * std::sin(kTwoPi * hz * t + static_cast<double>(c));
            out[c][i] = x;
        }
    }
    return out;
}

} // namespace orvane::bench
