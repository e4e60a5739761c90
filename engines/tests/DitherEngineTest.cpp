#include "engines/DitherEngine.h"

#include "engines/detail/DitherSteps.h"
#include "testsupport/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

namespace orvane {
namespace {

// The algorithm written out step by step, as plainly as possible, to hold the engine's faster
// arithmetic against: plain conversions, std::round, clamps after rounding, an array history.
struct ReferenceDither {
    DitherType type;
    double scale;
    std::array<double, 4> c;
    std::array<double, 8> e{};
    std::uint64_t state;

    ReferenceDither(DitherType t, int bits, std::uint64_t seed)
        : type(t), scale(std::pow(2.0, bits - 1) - 1.0), c(ditherFeedback(t)),
          state(seed == 0 ? 0x123456789ABCDEF0ULL : seed) {}

    double nextUnit() {
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return static_cast<double>(state) * std::pow(2.0, -64);
    }
    double nextDither() {
        const double u1 = nextUnit();
        const double u2 = nextUnit();
        return (u1 + u2) + (-1.0);
    }
    double clamped(double q) const { return q > scale ? scale : (q < -scale ? -scale : q); }

    void process(std::vector<double>& samples) {
        if (type == DitherType::none) {
            return;
        }
        const double inverse = 1.0 / scale;
        for (double& x : samples) {
            const double y = scale * x;
            if (type == DitherType::tpdf) {
                const double d = nextDither();
                x = clamped(std::round(y + d)) * inverse;
                continue;
            }
            const double w = c[0] * e[0] + c[1] * e[1] + c[2] * e[2] + c[3] * e[3];
            const double d = nextDither();
            const double v = w + (y + d);
            const double q = clamped(std::round(v));
            for (int k = 7; k > 0; --k) {
                e[static_cast<std::size_t>(k)] = e[static_cast<std::size_t>(k - 1)];
            }
            e[0] = q - v;
            x = q * inverse;
        }
    }
};

bool sameBits(const std::vector<double>& a, const std::vector<double>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

// Music-like levels with silence, tiny values and now and then a sample at or over full scale, rare
// enough that every shaper's history stays finite.
std::vector<double> mixedSignal(std::size_t n, unsigned seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> level(-0.99, 0.99);
    std::vector<double> x(n);
    for (std::size_t i = 0; i < n; ++i) {
        switch (i % 7) {
        case 0:
            x[i] = 0.0; // digital silence, where the sign of zero is decided
            break;
        case 1:
            x[i] = std::round(level(random) * 32767.0) / 32767.0 * 1e-3;
            break;
        default:
            x[i] = i % 401 == 2 ? 1.01 : i % 401 == 3 ? -1.0 : level(random);
        }
    }
    return x;
}

TEST(DitherEngine, matchesTheStepByStepAlgorithmBitForBit) {
    // Every type gives the same bits as the plain algorithm, chunked arbitrarily, history and state included.
    for (const DitherType type : allDitherTypes) {
        SCOPED_TRACE(std::string(rawValue(type)));
        DitherEngine engine(type, 16, DitherEngine::seedForChannel(1));
        ReferenceDither reference(type, 16, DitherEngine::seedForChannel(1));
        std::vector<double> signal = mixedSignal(60000, 7);
        std::vector<double> expected = signal;
        reference.process(expected);
        std::size_t at = 0;
        for (const std::size_t chunk : {0u, 1u, 2u, 1000u, 7u, 29400u, 4096u}) {
            engine.process(std::span<double>(signal).subspan(at, chunk));
            at += chunk;
        }
        engine.process(std::span<double>(signal).subspan(at));
        EXPECT_TRUE(sameBits(signal, expected));
        EXPECT_EQ(engine.randomState(),
                  type == DitherType::none ? DitherEngine::seedForChannel(1) : reference.state);
        EXPECT_EQ(std::memcmp(engine.errorHistory().data(), reference.e.data(), sizeof(reference.e)), 0);
    }
    // A hard overload makes the shapers' history run away; the bits still agree until its sum overflows.
    for (const DitherType type : {DitherType::lipshitz, DitherType::shibata, DitherType::gesemann}) {
        SCOPED_TRACE(std::string(rawValue(type)));
        DitherEngine engine(type, 16, 0);
        ReferenceDither reference(type, 16, 0);
        std::size_t agreed = 0;
        for (std::size_t i = 0; i < 3000; ++i) {
            std::vector<double> a = {i >= 10 && i < 14 ? 3.0 : 0.5};
            std::vector<double> b = a;
            engine.process(a);
            reference.process(b);
            if (!std::isfinite(reference.e[0])) {
                break;
            }
            ASSERT_TRUE(sameBits(a, b)) << "sample " << i;
            agreed = i;
        }
        EXPECT_GT(agreed, 100u);
        EXPECT_LT(agreed, 2999u); // the runaway did happen
    }
    // Other word lengths follow the same rules.
    for (const int bits : {8, 20, 24}) {
        DitherEngine engine(DitherType::shibata, bits, 99);
        ReferenceDither reference(DitherType::shibata, bits, 99);
        std::vector<double> signal = mixedSignal(5000, 11);
        std::vector<double> expected = signal;
        reference.process(expected);
        engine.process(signal);
        EXPECT_TRUE(sameBits(signal, expected)) << bits << " bits";
    }
}

TEST(DitherEngine, pairedChannelsGiveTheSameBitsAsOneAfterTheOther) {
    // processPair is only faster: each channel's output, history and state equal a plain process call,
    // for channels of equal or different lengths and for engines of different types.
    const std::vector<std::pair<std::size_t, std::size_t>> lengths = {{5000, 5000}, {3, 7},     {4100, 17},
                                                                      {0, 9},       {260, 260}, {1300, 1290}};
    for (const DitherType type : allDitherTypes) {
        for (const auto& [leftLength, rightLength] : lengths) {
            SCOPED_TRACE(std::string(rawValue(type)) + " " + std::to_string(leftLength));
            std::vector<double> left = mixedSignal(leftLength, 1);
            std::vector<double> right = mixedSignal(rightLength, 2);
            if (leftLength == 5000) {
                left[100] = std::nan("");
                right[200] = -std::numeric_limits<double>::infinity();
                std::fill(right.begin() + 1000, right.begin() + 1100, 3.0); // a runaway and its reset
            }
            std::vector<double> leftAlone = left;
            std::vector<double> rightAlone = right;
            const DitherType rightType = leftLength == 3 ? DitherType::gesemann : type;
            DitherEngine a(type, 16, DitherEngine::seedForChannel(0));
            DitherEngine b(rightType, 16, DitherEngine::seedForChannel(1));
            DitherEngine aAlone(type, 16, DitherEngine::seedForChannel(0));
            DitherEngine bAlone(rightType, 16, DitherEngine::seedForChannel(1));
            std::vector<double> warm = mixedSignal(6, 3);
            a.process(warm);
            warm = mixedSignal(6, 3);
            aAlone.process(warm);
            DitherEngine::processPair(a, left, b, right);
            aAlone.process(leftAlone);
            bAlone.process(rightAlone);
            EXPECT_TRUE(sameBits(left, leftAlone));
            EXPECT_TRUE(sameBits(right, rightAlone));
            EXPECT_EQ(a.errorHistory(), aAlone.errorHistory());
            EXPECT_EQ(b.errorHistory(), bAlone.errorHistory());
            EXPECT_EQ(a.randomState(), aAlone.randomState());
            EXPECT_EQ(b.randomState(), bAlone.randomState());
        }
    }
}

TEST(DitherEngine, processAllocatesNothing) {
    // The per-sample paths, one channel or two, never touch the heap.
    std::vector<double> left = mixedSignal(29400, 5);
    std::vector<double> right = mixedSignal(29400, 6);
    for (const DitherType type : allDitherTypes) {
        DitherEngine a(type, 16, DitherEngine::seedForChannel(0));
        DitherEngine b(type, 16, DitherEngine::seedForChannel(1));
        const std::size_t before = testing::allocationCount();
        a.process(left);
        DitherEngine::processPair(a, left, b, right);
        EXPECT_EQ(testing::allocationCount(), before) << rawValue(type);
    }
}

TEST(DitherEngine, roundsExactHalvesAwayFromZero) {
    // Where y + d lands exactly on k + 0.5 the result moves away from zero, on both sides.
    ReferenceDither rng(DitherType::tpdf, 16, 0);
    std::vector<double> signal;
    int ties = 0;
    for (int i = 0; i < 400; ++i) {
        const double d = rng.nextDither();
        const double target = (i % 2 == 0 ? 1.0 : -1.0) * (static_cast<double>(i) + 0.5);
        double x = (target - d) / 32767.0;
        for (int step = 0; step < 64 && 32767.0 * x + d != target; ++step) {
            x = std::nextafter(x, 32767.0 * x + d < target ? 2.0 : -2.0);
        }
        ties += 32767.0 * x + d == target ? 1 : 0;
        signal.push_back(x);
    }
    EXPECT_GT(ties, 100); // most of the targets are reachable exactly
    std::vector<double> expected = signal;
    ReferenceDither(DitherType::tpdf, 16, 0).process(expected);
    std::vector<double> paired = signal;
    DitherEngine(DitherType::tpdf, 16, 0).process(signal);
    EXPECT_TRUE(sameBits(signal, expected));
    std::vector<double> other = paired;
    DitherEngine left(DitherType::tpdf, 16, 0);
    DitherEngine right(DitherType::tpdf, 16, 0);
    DitherEngine::processPair(left, paired, right, other);
    EXPECT_TRUE(sameBits(paired, expected));
    EXPECT_TRUE(sameBits(other, expected));
    EXPECT_EQ(signal[0] * 32767.0, 1.0);  // 0.5 goes to 1
    EXPECT_EQ(signal[1] * 32767.0, -2.0); // -1.5 goes to -2
}

TEST(DitherEngine, firstSamplesFollowTheWrittenSteps) {
    // Worked by hand from seed 0x123456789ABCDEF0: the dither of the first three samples is
    // -0.3394, -0.5322, -0.6626; at y = 0.85 TPDF gives 1, 0, 0 and High-Pass, feeding the errors
    // +0.4894 then +0.1928 forward, gives 1, 1, 0.
    const double x = 0.85 / 32767.0;
    std::vector<double> tpdf = {x, x, x};
    DitherEngine(DitherType::tpdf, 16, 0x123456789ABCDEF0ULL).process(tpdf);
    EXPECT_EQ(tpdf, (std::vector<double>{1.0 / 32767.0, 0.0, 0.0}));

    DitherEngine highPass(DitherType::highPass, 16, 0x123456789ABCDEF0ULL);
    std::vector<double> shaped = {x};
    highPass.process(shaped);
    EXPECT_EQ(shaped[0], 1.0 / 32767.0);
    EXPECT_NEAR(highPass.errorHistory()[0], 1.0 - (0.85 - 0.33937682103768574), 1e-12); // q - v, not v - q
    shaped = {x, x};
    highPass.process(shaped);
    EXPECT_EQ(shaped, (std::vector<double>{1.0 / 32767.0, 0.0}));
    EXPECT_NEAR(highPass.errorHistory()[1], 1.0 - (0.48937682103768574 + 0.85 - 0.5321755462231973), 1e-12);
    EXPECT_EQ(highPass.randomState(), 0x152aa140a8c99c41ULL);
}

TEST(DitherEngine, seedsAreFixedAndNoneChangesNothing) {
    // Seed 0 means the default seed, channels step by the golden ratio, and none leaves all alone.
    EXPECT_EQ(DitherEngine::seedForChannel(0), 0x123456789ABCDEF0ULL);
    EXPECT_EQ(DitherEngine::seedForChannel(1), 0xB06BD0321A075B05ULL);
    EXPECT_EQ(DitherEngine::seedForChannel(2), 0x4EA349EB9951D71AULL);

    std::vector<double> a = mixedSignal(1000, 3);
    std::vector<double> b = a;
    DitherEngine(DitherType::gesemann, 16, 0).process(a);
    DitherEngine(DitherType::gesemann, 16, 0x123456789ABCDEF0ULL).process(b);
    EXPECT_TRUE(sameBits(a, b));

    std::vector<double> wild = {1.5, -3.0, 1e-300, std::nan(""), -0.0, 0.123456789};
    std::vector<double> copy = wild;
    DitherEngine none(DitherType::none, 16, 0);
    none.process(wild);
    EXPECT_EQ(std::memcmp(wild.data(), copy.data(), wild.size() * sizeof(double)), 0);
    EXPECT_EQ(none.randomState(), 0x123456789ABCDEF0ULL);
}

TEST(DitherEngine, staysOnTheGridAndClampsAtFullScale) {
    // Quantising types stay on the grid and never leave ±scale (1.0 never gives 32768), even with
    // infinity or far beyond full scale in the input, where the history still stays finite.
    for (const DitherType type : allDitherTypes) {
        if (type == DitherType::none) {
            continue;
        }
        SCOPED_TRACE(std::string(rawValue(type)));
        DitherEngine engine(type, 16, 0);
        std::vector<double> x(20000);
        for (std::size_t i = 0; i < x.size(); ++i) {
            x[i] = i < 5000 ? 1.0 : i < 10000 ? -1.0 : (i % 2 ? 40.0 : -40.0);
        }
        x[7] = std::numeric_limits<double>::infinity();
        engine.process(x);
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double k = x[i] * 32767.0;
            ASSERT_NEAR(k, std::round(k), 1e-9) << i;
            ASSERT_LE(std::abs(k), 32767.0) << i;
        }
        for (const double e : engine.errorHistory()) {
            EXPECT_TRUE(std::isfinite(e));
        }
    }
}

// Mean power (LSB² per bin) of the error in five bands of 0.1 cycles per sample each, from
// periodograms of 256-sample segments; the DC bin is left out.
std::array<double, 5> bandPowers(const std::vector<double>& error) {
    constexpr std::size_t segment = 256;
    std::vector<std::complex<double>> twiddle(segment);
    for (std::size_t i = 0; i < segment; ++i) {
        twiddle[i] = std::polar(1.0, -2.0 * std::numbers::pi * static_cast<double>(i) / segment);
    }
    std::array<double, 5> power{};
    std::array<int, 5> count{};
    for (std::size_t start = 0; start + segment <= error.size(); start += segment) {
        for (std::size_t k = 1; k < segment / 2; ++k) {
            std::complex<double> sum;
            for (std::size_t i = 0; i < segment; ++i) {
                sum += error[start + i] * twiddle[(k * i) % segment];
            }
            const auto band = std::min<std::size_t>(k * 10 / segment, 4);
            power[band] += std::norm(sum) / segment;
            ++count[band];
        }
    }
    for (std::size_t b = 0; b < 5; ++b) {
        power[b] /= count[b];
    }
    return power;
}

// The same bands as predicted: flat 1/6 for the dither plus 1/12 through |1 + sum c_k z^-k|².
std::array<double, 5> predictedBandPowers(const std::array<double, 4>& c) {
    std::array<double, 5> power{};
    for (std::size_t b = 0; b < 5; ++b) {
        int count = 0;
        for (double f = 0.1 * static_cast<double>(b) + 0.0005; f < 0.1 * static_cast<double>(b + 1);
             f += 0.001) {
            std::complex<double> h = 1.0;
            for (std::size_t k = 0; k < 4; ++k) {
                h += c[k] * std::polar(1.0, -2.0 * std::numbers::pi * f * static_cast<double>(k + 1));
            }
            power[b] += 1.0 / 6.0 + std::norm(h) / 12.0;
            ++count;
        }
        power[b] /= count;
    }
    return power;
}

TEST(DitherEngine, shapedErrorFollowsOnePlusTheFeedbackPolynomial) {
    // The error spectrum is the dither's flat 1/6 plus the rounding's 1/12 through
    // |1 + c1 z^-1 + c2 z^-2 + c3 z^-3 + c4 z^-4|², the feedback adding: Shibata and Gesemann lift
    // the error toward Nyquist, and High-Pass puts its null there.
    const std::size_t n = 1 << 15;
    for (const DitherType type : {DitherType::tpdf, DitherType::highPass, DitherType::lipshitz,
                                  DitherType::shibata, DitherType::gesemann}) {
        SCOPED_TRACE(std::string(rawValue(type)));
        std::vector<double> x(n);
        for (std::size_t i = 0; i < n; ++i) {
            x[i] = 0.25 * std::sin(0.01 * static_cast<double>(i)) / 32767.0; // well below one LSB
        }
        std::vector<double> error = x;
        DitherEngine(type, 16, 0).process(error);
        for (std::size_t i = 0; i < n; ++i) {
            error[i] = (error[i] - x[i]) * 32767.0;
        }
        const auto measured = bandPowers(error);
        const auto predicted = predictedBandPowers(ditherFeedback(type));
        for (std::size_t b = 0; b < 5; ++b) {
            EXPECT_NEAR(measured[b] / predicted[b], 1.0, 0.12) << "band " << b;
        }
        if (type == DitherType::shibata || type == DitherType::gesemann) {
            EXPECT_GT(measured[4], 2.5 * measured[0]);
        }
        if (type == DitherType::highPass) {
            EXPECT_LT(measured[4], 0.5 * measured[0]);
        }
    }
}

TEST(DitherEngine, jumpAheadLandsWhereTheStepsDo) {
    // A jump is exactly kJumpSamples samples of two steps each, from any state, the table built
    // at compile time included.
    std::mt19937_64 random(11);
    for (int trial = 0; trial < 200; ++trial) {
        const std::uint64_t start = trial == 0 ? DitherEngine::defaultSeed : random();
        std::uint64_t stepped = start;
        for (std::size_t i = 0; i < 2 * detail::kJumpSamples; ++i)
            stepped = detail::xorshiftStep(stepped);
        ASSERT_EQ(detail::jumpAhead(start), stepped) << start;
    }
    static_assert(detail::kJumpTables.byByte[0][0] == 0);
}

TEST(DitherEngine, bothBuildsOfTheTwoChannelLoopGiveTheSameBits) {
    // The loop built for AVX2 draws its random values a block ahead, in four jumped-to stretches,
    // and rounds with one instruction; the baseline draws each in turn and rounds with the sum and
    // difference of 1.5 * 2^52. The same samples, histories and states for lengths around the block
    // edges, exact ties, clamps and a runaway shaper included.
    if (!__builtin_cpu_supports("avx2"))
        GTEST_SKIP() << "this processor has no AVX2";
    const std::size_t lengths[] = {9000, 259, 260, 261, 516, 777, 1029};
    for (const std::size_t length : lengths) {
        std::vector<double> left = mixedSignal(length, 4);
        std::vector<double> right = mixedSignal(length, 5);
        for (std::size_t i = 10; i < length; i += 97)
            left[i] = (static_cast<double>(i % 50) - 24.5) / 32767.0; // exact halves before dither
        if (length > 3040)
            std::fill(right.begin() + 3000, right.begin() + 3040, -3.0);
        for (const DitherType type : allDitherTypes) {
            if (type == DitherType::none)
                continue;
            SCOPED_TRACE(std::string(rawValue(type)) + " " + std::to_string(length));
            const detail::DitherChannel start{
                DitherEngine::defaultSeed, 0.25, -0.5, 0.125, 0, 0, 0, 0, 0, 32767.0, 1.0 / 32767.0};
            detail::DitherChannel a = start, b = start;
            b.s = DitherEngine::seedForChannel(1);
            detail::DitherChannel aWide = a, bWide = b;
            std::vector<double> x = left, z = right, xWide = left, zWide = right;
            withDitherType(type, [&]<DitherType T>() { runPair<T>(a, x, b, z); });
            detail::runPairWide(type, aWide, xWide, bWide, zWide);
            EXPECT_TRUE(sameBits(x, xWide));
            EXPECT_TRUE(sameBits(z, zWide));
            EXPECT_EQ(a.s, aWide.s);
            EXPECT_EQ(b.s, bWide.s);
            EXPECT_EQ(std::memcmp(&a.e0, &aWide.e0, 8 * sizeof(double)), 0);
            EXPECT_EQ(std::memcmp(&b.e0, &bWide.e0, 8 * sizeof(double)), 0);
        }
    }
}

TEST(DitherEngine, sixteenBitPairsFromFloatAreTheIntegersOfTheDoublePath) {
    // processPairTo16 must give exactly what widening, processPair and scaling back give, whichever
    // road it takes: the AVX2 TPDF loop (ties, clamps, NaN and infinity handed back to the scalar
    // step; lengths around its 256-frame blocks; a buffer split between calls), the stretches
    // through double for the shaped types, and plain rounding for none.
    const std::size_t lengths[] = {1500, 255, 256, 257, 771};
    const DitherType types[] = {DitherType::tpdf, DitherType::gesemann, DitherType::none};
    for (const std::size_t length : lengths) {
        std::vector<float> left(length), right(length);
        const std::vector<double> l = mixedSignal(length, 7), r = mixedSignal(length, 8);
        for (std::size_t i = 0; i < length; ++i) {
            left[i] = static_cast<float>(l[i]);
            right[i] = static_cast<float>(r[i]);
        }
        for (std::size_t i = 5; i < length; i += 61)
            left[i] = static_cast<float>((static_cast<double>(i % 40) - 19.5) / 32767.0); // ties
        left[length / 2] = std::numeric_limits<float>::quiet_NaN();
        right[length / 3] = -std::numeric_limits<float>::infinity();
        right[length - 1] = 2.5f;
        for (const DitherType type : types) {
            SCOPED_TRACE(std::string(rawValue(type)) + " " + std::to_string(length));
            DitherEngine a(type, 16, DitherEngine::seedForChannel(0));
            DitherEngine b(type, 16, DitherEngine::seedForChannel(1));
            std::vector<double> x(left.begin(), left.end()), z(right.begin(), right.end());
            DitherEngine::processPair(a, x, b, z);
            std::vector<std::int16_t> expected(2 * length);
            for (std::size_t i = 0; i < length; ++i) {
                const auto integer = [&](double v) {
                    if (type == DitherType::none)
                        return std::isnan(v) ? 0L : std::lround(std::clamp(v, -1.0, 1.0) * 32767.0);
                    return std::lround(v * 32767.0);
                };
                expected[2 * i] = static_cast<std::int16_t>(integer(x[i]));
                expected[2 * i + 1] = static_cast<std::int16_t>(integer(z[i]));
            }
            DitherEngine c(type, 16, DitherEngine::seedForChannel(0));
            DitherEngine d(type, 16, DitherEngine::seedForChannel(1));
            std::vector<std::int16_t> got(2 * length);
            const std::size_t split = length > 600 ? 517 : length;
            char* bytes = reinterpret_cast<char*>(got.data());
            DitherEngine::processPairTo16(c, left.data(), d, right.data(), split, bytes);
            DitherEngine::processPairTo16(c, left.data() + split, d, right.data() + split, length - split,
                                          bytes + 4 * split);
            EXPECT_EQ(got, expected);
            EXPECT_EQ(c.randomState(), a.randomState());
            EXPECT_EQ(d.randomState(), b.randomState());
            EXPECT_EQ(c.errorHistory(), a.errorHistory());
        }
    }
}

} // namespace
} // namespace orvane
