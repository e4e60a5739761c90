#include "engines/ResamplerFactory.h"

#include "engines/SRCEngine64.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

TEST(ResamplerFactory, buildsEveryPresetAndRefusesNonPositiveRates) {
    // Each preset yields a converter (the in-house ones as SRCEngine64); a rate of 0 is an error that
    // names the rates instead of a crash.
    for (SRCPreset p : allSRCPresets) {
        auto r = ResamplerFactory::make(p, 48000, 44100, false);
        ASSERT_TRUE(r.has_value()) << rawValue(p);
        EXPECT_NE(r->get(), nullptr);
        const bool inHouse = p == SRCPreset::velmontSRC || p == SRCPreset::meridonReference;
        EXPECT_EQ(dynamic_cast<SRCEngine64*>(r->get()) != nullptr, inHouse) << rawValue(p);
    }
    const auto bad = ResamplerFactory::make(SRCPreset::velmontSRC, 0, 44100, false);
    ASSERT_FALSE(bad.has_value());
    EXPECT_NE(bad.error().message.find("0 Hz"), std::string::npos);
    EXPECT_TRUE(ResamplerFactory::availability(SRCPreset::velmontSRC).available);
    EXPECT_TRUE(ResamplerFactory::availability(SRCPreset::soxVHQ).available);
}

TEST(ResamplerFactory, soxConverterDeliversTheRatioLength) {
    // Through the factory the outside converter keeps its own contract: exactly trunc(n * out / in).
    auto r = ResamplerFactory::make(SRCPreset::soxVHQ, 48000, 44100, true);
    ASSERT_TRUE(r.has_value());
    std::vector<double> x(4800, 0.25);
    auto y = (*r)->processBlock(x);
    const auto tail = (*r)->flush();
    EXPECT_EQ(y.size() + tail.size(), 4410u);
    EXPECT_FALSE((*r)->renderError());
}

} // namespace
} // namespace orvane
