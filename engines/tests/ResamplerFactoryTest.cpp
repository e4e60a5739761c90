#include "engines/ResamplerFactory.h"

#include "engines/SRCEngine64.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

TEST(ResamplerFactory, buildsEveryPresetAndRefusesNonPositiveRates) {
    // Each preset yields a converter (the in-house ones as SRCEngine64) for the rates asked, so the
    // outside one delivers exactly trunc(n * out / in); a rate of 0 is an error that names the rates
    // instead of a crash.
    for (SRCPreset p : allSRCPresets) {
        auto r = ResamplerFactory::make(p, 48000, 44100, false);
        ASSERT_TRUE(r.has_value()) << rawValue(p);
        EXPECT_NE(r->get(), nullptr);
        const bool inHouse = p == SRCPreset::velmontSRC || p == SRCPreset::meridonReference;
        EXPECT_EQ(dynamic_cast<SRCEngine64*>(r->get()) != nullptr, inHouse) << rawValue(p);
    }
    auto sox = ResamplerFactory::make(SRCPreset::soxVHQ, 48000, 44100, true);
    ASSERT_TRUE(sox.has_value());
    const std::size_t head = (*sox)->processBlock(std::vector<double>(4800, 0.25)).size();
    EXPECT_EQ(head + (*sox)->flush().size(), 4410u);
    EXPECT_FALSE((*sox)->renderError());

    const auto bad = ResamplerFactory::make(SRCPreset::velmontSRC, 0, 44100, false);
    ASSERT_FALSE(bad.has_value());
    EXPECT_NE(bad.error().message.find("0 Hz"), std::string::npos);
    EXPECT_TRUE(ResamplerFactory::availability(SRCPreset::velmontSRC).available);
    EXPECT_TRUE(ResamplerFactory::availability(SRCPreset::soxVHQ).available);
}

} // namespace
} // namespace orvane
