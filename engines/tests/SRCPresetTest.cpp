#include "engines/SRCPreset.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

TEST(SRCPreset, storesItsFiveNamesInOrderAndReadsOnlyExactOnes) {
    // The raw strings are a stored format: exact spelling, fixed order, no near matches.
    std::vector<std::string_view> names;
    for (SRCPreset p : allSRCPresets)
        names.push_back(rawValue(p));
    EXPECT_EQ(names, (std::vector<std::string_view>{"Velmont SRC", "Meridon Reference", "SoX VHQ",
                                                    "r8brain Free", "SSRC Shibata"}));
    for (SRCPreset p : allSRCPresets)
        EXPECT_EQ(srcPresetFromRaw(rawValue(p)), p);
    EXPECT_FALSE(srcPresetFromRaw("sox vhq"));
    EXPECT_FALSE(srcPresetFromRaw("Velmont SRC "));
    EXPECT_EQ(srcPresetForConversion("Best Ever SRC"), SRCPreset::velmontSRC);
    EXPECT_EQ(srcPresetForConversion("r8brain Free"), SRCPreset::r8brainFree);
}

TEST(SRCPreset, offersAPhaseChoiceOnlyForSoxAndR8brain) {
    // Linear-only: both in-house converters and SSRC; a string naming no preset is not linear-only.
    EXPECT_TRUE(isLinearOnly(SRCPreset::velmontSRC));
    EXPECT_TRUE(isLinearOnly(SRCPreset::meridonReference));
    EXPECT_FALSE(isLinearOnly(SRCPreset::soxVHQ));
    EXPECT_FALSE(isLinearOnly(SRCPreset::r8brainFree));
    EXPECT_TRUE(isLinearOnly(SRCPreset::ssrcShibata));
    EXPECT_TRUE(isLinearOnly(std::string_view("SSRC Shibata")));
    EXPECT_FALSE(isLinearOnly(std::string_view("SoX VHQ")));
    EXPECT_FALSE(isLinearOnly(std::string_view("Unknown SRC")));
}

TEST(SRCPreset, givesMeridonItsCalibratedRowPerRatePair) {
    // Listed pairs take their row (target first in the table, source second); anything else gets 116
    // taps, beta 10, cut-off 1.0 and start 0; every row keeps -53.9 dB, kaiser and an aligned centre.
    EXPECT_EQ(meridonReferenceParams(48000, 44100),
              (SRCParams{-53.9, 0.99888, 75, "kaiser", 5.88856, -91.5, true}));
    EXPECT_EQ(meridonReferenceParams(44100, 48000),
              (SRCParams{-53.9, 1.00001, 116, "kaiser", 16.61658, -108.5, true}));
    EXPECT_EQ(meridonReferenceParams(96000, 88200),
              (SRCParams{-53.9, 0.97827, 58, "kaiser", 10.43418, 55.2, true}));
    EXPECT_EQ(meridonReferenceParams(96000, 44100),
              (SRCParams{-53.9, 0.99097, 147, "kaiser", 9.99999, 0.0, true}));
    const SRCParams fallback{-53.9, 1.0, 116, "kaiser", 10.0, 0.0, true};
    EXPECT_EQ(meridonReferenceParams(32000, 44100), fallback);
    EXPECT_EQ(meridonReferenceParams(44100, 44100), fallback);
    EXPECT_EQ(meridonReferenceParams(44100, 384000), fallback); // 384000 is only ever a source
}

} // namespace
} // namespace orvane
