#include "engines/SoxrSRC.h"

#include "engines/tests/ConvertStream.h"
#include "testsupport/ToneFit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

namespace orvane {
namespace {

using testing::sine;

// Feeds the signal in blocks of the given sizes (repeating the pattern) and returns all output.
std::vector<double> convert(SoxrSRC& src, const std::vector<double>& signal,
                            const std::vector<std::size_t>& blocks) {
    std::vector<double> out;
    std::size_t position = 0;
    for (std::size_t b = 0; position < signal.size(); ++b) {
        const std::size_t n = std::min(blocks[b % blocks.size()], signal.size() - position);
        const std::vector<double> block(signal.begin() + static_cast<std::ptrdiff_t>(position),
                                        signal.begin() + static_cast<std::ptrdiff_t>(position + n));
        const std::vector<double> piece = src.processBlock(block);
        out.insert(out.end(), piece.begin(), piece.end());
        position += n;
    }
    const std::vector<double> tail = src.flush();
    out.insert(out.end(), tail.begin(), tail.end());
    return out;
}

struct RatePair {
    int fsIn;
    int fsOut;
};

constexpr RatePair kPairs[] = {
    {96000, 44100}, {48000, 44100}, {44100, 48000}, {44100, 88200}, {192000, 44100}};

TEST(SoxrSRC, deliversExactlyTheRatioLengthWhateverTheBlockSplitting) {
    // Total output is trunc(totalIn * fsOut / fsIn) for every ratio and every way of cutting the input.
    const std::vector<std::vector<std::size_t>> splittings = {{1u << 20}, {1000}, {1, 0, 4097, 333, 65536}};
    for (const RatePair pair : kPairs) {
        for (const std::size_t length : {std::size_t{10007}, std::size_t{1}, std::size_t{88200}}) {
            for (const auto& blocks : splittings) {
                SoxrSRC src(pair.fsIn, pair.fsOut, false);
                const auto out = convert(src, sine(pair.fsIn, length, 997.0, 0.5), blocks);
                const auto expected =
                    static_cast<std::size_t>(static_cast<double>(pair.fsOut) * length / pair.fsIn);
                EXPECT_EQ(out.size(), expected) << pair.fsIn << " -> " << pair.fsOut << ", " << length;
                EXPECT_FALSE(src.renderError());
            }
        }
    }
}

TEST(SoxrSRC, emptyStreamFlushesToNothing) {
    // A stream without samples gives no output and no error, in either phase.
    for (const bool minPhase : {false, true}) {
        SoxrSRC src(48000, 44100, minPhase);
        EXPECT_TRUE(src.processBlock({}).empty());
        EXPECT_TRUE(src.flush().empty());
        EXPECT_FALSE(src.renderError());
    }
}

TEST(SoxrSRC, removesItsDelaySoAnImpulseLandsWhereTheRatioPutsIt) {
    // With linear phase, an impulse at input sample i peaks at the output sample nearest i * fsOut / fsIn.
    for (const RatePair pair : kPairs) {
        std::vector<double> impulse(40000, 0.0);
        impulse[12345] = 1.0;
        SoxrSRC src(pair.fsIn, pair.fsOut, false);
        const auto out = convert(src, impulse, {4096});
        std::size_t peak = 0;
        for (std::size_t i = 1; i < out.size(); ++i)
            if (std::fabs(out[i]) > std::fabs(out[peak]))
                peak = i;
        const double exact = 12345.0 * pair.fsOut / pair.fsIn;
        EXPECT_LE(std::fabs(static_cast<double>(peak) - exact), 0.5 + 1e-9)
            << pair.fsIn << " -> " << pair.fsOut;
    }
}

TEST(SoxrSRC, keepsASinesLevelFrequencyAndTiming) {
    // A 1 kHz sine comes out as the same sine sampled at the new rate, to better than -100 dB, in the middle
    // of the stream; minimum phase keeps the level though not the timing.
    for (const RatePair pair : kPairs) {
        const double amplitude = 0.5;
        SoxrSRC src(pair.fsIn, pair.fsOut, false);
        const auto out = convert(src, sine(pair.fsIn, pair.fsIn, 1000.0, amplitude), {8192});
        const auto ideal = sine(pair.fsOut, out.size(), 1000.0, amplitude);
        double worst = 0.0;
        for (std::size_t i = out.size() / 4; i < out.size() * 3 / 4; ++i)
            worst = std::max(worst, std::fabs(out[i] - ideal[i]));
        EXPECT_LT(worst, 1e-5) << pair.fsIn << " -> " << pair.fsOut;
    }
    SoxrSRC minimum(96000, 44100, true);
    const auto out = convert(minimum, sine(96000, 96000, 1000.0, 0.5), {8192});
    double sumSquares = 0.0;
    for (std::size_t i = out.size() / 4; i < out.size() / 4 + 4410; ++i)
        sumSquares += out[i] * out[i];
    EXPECT_NEAR(std::sqrt(sumSquares / 4410.0), 0.5 / std::numbers::sqrt2, 1e-4);
}

} // namespace
} // namespace orvane
