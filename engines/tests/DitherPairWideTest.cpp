#include "engines/DitherEngine.h"
#include "engines/detail/DitherJump.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace orvane {
namespace {

// The dither values a 16-bit TPDF engine will draw next, by the plain formula.
std::vector<double> nextDitherValues(std::uint64_t state, std::size_t count) {
    std::vector<double> values(count);
    for (double& d : values) {
        const std::uint64_t u1 = detail::xorshiftStep(state);
        state = detail::xorshiftStep(u1);
        d = (static_cast<double>(u1) + static_cast<double>(state)) * 0x1p-64 - 1.0;
    }
    return values;
}

TEST(DitherPairWide, samplesNextToAHalfStepRoundAsTheWrittenDitherValueSays) {
    // The fast TPDF loop rounds with a dither value that may be off in its last bits; where that
    // could matter, a sample within a hair of a half step, it must still give the integers of the
    // double path. Samples are placed so that sample plus dither lands next to +-0.5.
    constexpr std::size_t length = 4096 + 37;
    constexpr double scale = 32767.0;
    std::vector<float> channel[2];
    std::size_t placed = 0;
    for (unsigned ch = 0; ch < 2; ++ch) {
        const DitherEngine fresh(DitherType::tpdf, 16, DitherEngine::seedForChannel(ch));
        const std::vector<double> d = nextDitherValues(fresh.randomState(), length);
        channel[ch].resize(length);
        for (std::size_t i = 0; i < length; ++i) {
            const double half = d[i] > 0.0 ? 0.5 : -0.5;
            // Only small samples are fine enough to land within 2^-30 of the half step.
            const bool near = std::fabs(half - d[i]) < 0x1p-6;
            channel[ch][i] = near ? static_cast<float>((half - d[i]) / scale)
                                  : static_cast<float>(0.3 * std::sin(0.01 * static_cast<double>(i + ch)));
            const double v = scale * static_cast<double>(channel[ch][i]) + d[i];
            if (near && std::fabs(std::fabs(v - std::round(v)) - 0.5) < 0x1p-30)
                ++placed;
        }
    }
    ASSERT_GT(placed, 100u);

    DitherEngine a(DitherType::tpdf, 16, DitherEngine::seedForChannel(0));
    DitherEngine b(DitherType::tpdf, 16, DitherEngine::seedForChannel(1));
    std::vector<double> x(channel[0].begin(), channel[0].end()), z(channel[1].begin(), channel[1].end());
    DitherEngine::processPair(a, x, b, z);

    DitherEngine c(DitherType::tpdf, 16, DitherEngine::seedForChannel(0));
    DitherEngine e(DitherType::tpdf, 16, DitherEngine::seedForChannel(1));
    std::vector<std::int16_t> got(2 * length + 2, 0x5A5A);
    DitherEngine::processPairTo16(c, channel[0].data(), e, channel[1].data(), length,
                                  reinterpret_cast<char*>(got.data()));
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < length; ++i)
        wrong += got[2 * i] != std::lround(x[i] * scale) || got[2 * i + 1] != std::lround(z[i] * scale);
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(got[2 * length], 0x5A5A);
    EXPECT_EQ(c.randomState(), a.randomState());
    EXPECT_EQ(e.randomState(), b.randomState());
}

} // namespace
} // namespace orvane
