#include "engines/R8BrainSRC.h"

#include "testsupport/ToneFit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace orvane {
namespace {

using testing::sine;

TEST(R8BrainSRC, withoutTheLibraryEveryStreamFailsAtFlushWithItsMessage) {
    // A build without r8brain still converts nothing silently: flush reports why, so an export stops.
    if (r8brainAvailable())
        GTEST_SKIP() << "this build carries r8brain";
    R8BrainSRC src(96000, 44100, 65536, 2.0, 24, false);
    EXPECT_TRUE(src.processBlock(sine(96000, 1000, 1000.0, 0.5)).empty());
    EXPECT_TRUE(src.flush().empty());
    ASSERT_TRUE(src.renderError());
    EXPECT_EQ(src.renderError()->message, "r8brain Free is not available in this build");
}

TEST(R8BrainSRC, withTheLibraryDeliversTheRatioLengthAndTheSine) {
    // With r8brain compiled in, a 1 kHz sine keeps its timing and level, and the length is exact.
    if (!r8brainAvailable())
        GTEST_SKIP() << "this build has no r8brain";
    R8BrainSRC src(96000, 44100, 4096, 2.0, 24, false);
    const auto input = sine(96000, 96000 + 17, 1000.0, 0.5);
    std::vector<double> out;
    for (std::size_t at = 0; at < input.size(); at += 5000) {
        const std::vector<double> block(input.begin() + static_cast<std::ptrdiff_t>(at),
                                        input.begin() +
                                            static_cast<std::ptrdiff_t>(std::min(at + 5000, input.size())));
        const auto piece = src.processBlock(block);
        out.insert(out.end(), piece.begin(), piece.end());
    }
    const auto tail = src.flush();
    out.insert(out.end(), tail.begin(), tail.end());
    EXPECT_FALSE(src.renderError());
    ASSERT_EQ(out.size(), static_cast<std::size_t>(44100.0 * static_cast<double>(input.size()) / 96000.0));
    const auto ideal = sine(44100, out.size(), 1000.0, 0.5);
    for (std::size_t i = out.size() / 4; i < out.size() * 3 / 4; ++i)
        ASSERT_NEAR(out[i], ideal[i], 1e-4) << i;
}

} // namespace
} // namespace orvane
