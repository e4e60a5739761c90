#include "engines/SRCEngine64.h"

#include "engines/MeridonReference.h"
#include "engines/VelmontSRC.h"
#include "testsupport/AllocationCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>

namespace orvane {
namespace {

std::vector<double> noise(std::size_t count, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::vector<double> v(count);
    for (double& x : v)
        x = u(rng);
    return v;
}

// The conversion written out plainly, over the whole stream at once: zeros before the stream, the
// flush's zeros after it, one output per phase step, plain left-to-right sums.
std::vector<double> plainConversion(const PolyphaseFilterBank64& bank, double startPhase,
                                    const std::vector<double>& input) {
    const int L = bank.L(), M = bank.M(), T = bank.tapsPerPhase();
    std::vector<double> hist(static_cast<std::size_t>(T - 1), 0.0);
    hist.insert(hist.end(), input.begin(), input.end());
    hist.insert(hist.end(), static_cast<std::size_t>(T >= 2 ? T / 2 : 0), 0.0);
    const std::int64_t Lp = std::int64_t{L} << 32, Mp = std::int64_t{M} << 32;
    std::int64_t phase = static_cast<std::int64_t>(startPhase * 4294967296.0);
    std::vector<double> out;
    for (std::size_t i = 0; i + static_cast<std::size_t>(T) <= hist.size(); ++i, phase -= Lp) {
        for (; phase < Lp; phase += Mp) {
            std::int64_t p = phase >> 32;
            if (phase < 0)
                p = ((p % L) + L) % L;
            const double f = static_cast<double>(static_cast<std::uint32_t>(phase)) / 4294967296.0;
            double a = 0, b = 0;
            for (int t = 0; t < T; ++t) {
                a += hist[i + static_cast<std::size_t>(t)] * bank.row(static_cast<int>(p))[t];
                b += hist[i + static_cast<std::size_t>(t)] * bank.row(static_cast<int>(p) + 1)[t];
            }
            out.push_back(a + f * (b - a));
        }
    }
    return out;
}

std::vector<double> convertInBlocks(SRCEngine64& engine, const std::vector<double>& input,
                                    const std::vector<std::size_t>& cuts) {
    std::vector<double> out;
    std::size_t pos = 0;
    for (std::size_t cut : cuts) {
        const std::vector<double> block(input.begin() + static_cast<std::ptrdiff_t>(pos),
                                        input.begin() + static_cast<std::ptrdiff_t>(pos + cut));
        const auto y = engine.processBlock(block);
        out.insert(out.end(), y.begin(), y.end());
        pos += cut;
    }
    const auto tail = engine.flush();
    out.insert(out.end(), tail.begin(), tail.end());
    return out;
}

bool sameBits(const std::vector<double>& a, const std::vector<double>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

TEST(SRCEngine64, emitsThePrototypeForAnImpulseAndHonoursTheStartPhase) {
    // Upsampling by 2 with h = 1 ... 6: an impulse at sample 0 comes out as h itself. A positive start
    // skips phases, a negative one adds an output from a wrapped row, and a fractional one interpolates
    // between neighbouring rows (row L included).
    const std::vector<double> h{1, 2, 3, 4, 5, 6};
    auto bank = std::make_shared<const PolyphaseFilterBank64>(2, 1, h, 3);
    const std::vector<double> impulse{1, 0, 0};
    auto run = [&](double start) {
        SRCEngine64 e(1, 2, bank, start);
        auto y = e.processBlock(impulse);
        return y;
    };
    EXPECT_EQ(run(0.0), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(run(1.0), (std::vector<double>{2, 3, 4, 5, 6}));
    EXPECT_EQ(run(-1.0), (std::vector<double>{2, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(run(-2.0), (std::vector<double>{1, 2, 1, 2, 3, 4, 5, 6})); // remainder 0: row 0
    EXPECT_EQ(run(0.5), (std::vector<double>{1.5, 2.5, 3.5, 4.5, 5.5, 3.0}));
}

TEST(SRCEngine64, matchesThePlainConversionForEveryPhaseRegime) {
    // Against a direct transcription: whole and fractional start phases, negative ones, taps under a
    // vector step, row interpolation and two-product interpolation (over 256 taps), and a single tap.
    struct Case {
        int fsIn, fsOut, taps;
        double start;
    };
    const Case cases[] = {{48000, 44100, 75, -92.0}, {44100, 48000, 116, -109.0}, {96000, 44100, 128, 0.0},
                          {3, 7, 5, 2.25},           {7, 3, 300, -3.5},           {2, 3, 1, 0.0},
                          {5, 4, 33, 1.75}};
    const auto input = noise(3000, 7);
    for (const Case& c : cases) {
        const RateRatio r = reducedRatio(c.fsIn, c.fsOut);
        auto bank = std::make_shared<const PolyphaseFilterBank64>(r.L, r.M, -100.0, 0.95, c.taps, "kaiser",
                                                                  std::nullopt, 0.0, true);
        SRCEngine64 engine(c.fsIn, c.fsOut, bank, c.start);
        const auto got = convertInBlocks(engine, input, {1000, 2000});
        const auto want = plainConversion(*bank, c.start, input);
        ASSERT_EQ(got.size(), want.size()) << c.fsIn << "->" << c.fsOut;
        for (std::size_t k = 0; k < got.size(); ++k)
            ASSERT_NEAR(got[k], want[k], 1e-13) << c.fsIn << "->" << c.fsOut << " output " << k;
    }
}

TEST(SRCEngine64, givesTheSameBitsHoweverTheInputIsCutIntoBlocks) {
    // Any split gives bit-identical output to one block, for the presets and for a fractional start
    // phase on a long filter: random splits with empty blocks, and blocks all shorter than the history
    // (joined after it), of exactly its length or one more (walked where they lie, their first windows
    // on the history and their head), for whole phases from 0 and from a negative start.
    const auto input = noise(20000, 11);
    std::vector<std::function<std::unique_ptr<SRCEngine64>()>> makers{
        [] { return VelmontSRC::makeEngine(96000, 44100); },
        [] { return VelmontSRC::makeEngine(44100, 48000); },
        [] { return MeridonReference::makeEngine(48000, 44100, std::nullopt); },
        [] {
            return std::make_unique<SRCEngine64>(88200, 44100, -120.0, 0.9, 300, "kaiser", std::nullopt, 10.4,
                                                 true);
        }};
    std::mt19937 rng(3);
    for (std::size_t m = 0; m < makers.size(); ++m) {
        auto whole = makers[m]();
        const std::size_t keep = whole->history().size();
        const auto reference = convertInBlocks(*whole, input, {input.size()});
        std::vector<std::vector<std::size_t>> splits;
        for (const std::size_t size : {keep / 2, keep, keep + 1}) {
            splits.emplace_back(input.size() / size, size);
            splits.back().push_back(input.size() % size);
        }
        for (int trial = 0; trial < 3; ++trial) {
            std::vector<std::size_t> cuts;
            std::size_t left = input.size();
            while (left > 0) {
                std::size_t cut = std::min<std::size_t>(left, rng() % 4 == 0 ? 0 : rng() % 3000);
                if (rng() % 5 == 0)
                    cut = std::min<std::size_t>(left, 1);
                cuts.push_back(cut);
                left -= cut;
            }
            splits.push_back(cuts);
        }
        for (const auto& cuts : splits) {
            auto engine = makers[m]();
            EXPECT_TRUE(sameBits(convertInBlocks(*engine, input, cuts), reference))
                << "maker " << m << ", first block " << cuts.front();
        }
    }
}

TEST(SRCEngine64, deliversEveryPhaseStepOfTheStreamAndItsFlush) {
    // With start phase s, output k falls on input position floor((s + kM) / L); the stream plus the
    // flush's T / 2 zeros holds P positions, so the total is ceil((P L - s) / M).
    struct Case {
        int fsIn, fsOut;
        std::size_t n;
    };
    for (const Case c : {Case{96000, 44100, 96000}, Case{48000, 44100, 4801}, Case{44100, 48000, 1},
                         Case{44100, 96000, 12345}, Case{44100, 44100, 1000}}) {
        auto engine = VelmontSRC::makeEngine(c.fsIn, c.fsOut);
        const auto y = convertInBlocks(*engine, noise(c.n, 5), {c.n / 3, c.n - c.n / 3});
        const std::int64_t P = static_cast<std::int64_t>(c.n) + 64;
        const std::int64_t expected = (P * engine->L() + engine->M() - 1) / engine->M();
        EXPECT_EQ(static_cast<std::int64_t>(y.size()), expected) << c.fsIn << "->" << c.fsOut;
    }
}

TEST(SRCEngine64, processAllocatesNothingOnceWarmedUp) {
    // After the first block, blocks no larger than it convert into a reused output without touching
    // the heap (the flush included).
    auto engine = VelmontSRC::makeEngine(96000, 44100);
    const auto block = noise(4096, 4);
    std::vector<double> out;
    engine->process(block, out);
    const std::size_t firstCount = out.size();
    out.clear();
    const std::size_t before = orvane::testing::allocationCount();
    for (int i = 0; i < 10; ++i) {
        out.clear();
        engine->process(std::span<const double>(block).first(4096 - static_cast<std::size_t>(i)), out);
    }
    out.clear();
    engine->flushInto(out);
    EXPECT_EQ(orvane::testing::allocationCount(), before);
    EXPECT_GT(firstCount, 1800u);
}

TEST(SRCEngine64, designingConstructorReducesTheRatioAndDesignsItsBank) {
    // The general entry point takes the rates, finds L and M, and starts at the given phase.
    SRCEngine64 e(44100, 96000, -140.0, 0.95, 40, "blackman-harris", std::nullopt, 3.0, true);
    EXPECT_EQ(e.L(), 320);
    EXPECT_EQ(e.M(), 147);
    EXPECT_EQ(e.tapsPerPhase(), 40);
    EXPECT_EQ(e.phase_acc(), std::int64_t{3} << 32);
}

} // namespace
} // namespace orvane
