#include "model/ProjectEnums.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

TEST(ProjectEnums, documentAndSettingStringsReadBackAndUnknownTextIsRefused) {
    // The stored strings are exactly those documents and settings hold; anything else reads as nothing.
    EXPECT_EQ(rawValue(SRCPhase::linear), "Linear");
    EXPECT_EQ(rawValue(SRCPhase::minimum), "Minimum");
    EXPECT_EQ(srcPhaseFromRaw("Minimum"), SRCPhase::minimum);
    EXPECT_TRUE(isMinimum(*srcPhaseFromRaw("Minimum")));
    EXPECT_FALSE(isMinimum(*srcPhaseFromRaw("Linear")));
    EXPECT_FALSE(srcPhaseFromRaw("minimum").has_value());

    for (const ScrollMode mode : {ScrollMode::none, ScrollMode::page, ScrollMode::center})
        EXPECT_EQ(scrollModeFromRaw(rawValue(mode)), mode);
    EXPECT_EQ(rawValue(ScrollMode::none), "No Scroll");
    EXPECT_FALSE(scrollModeFromRaw("None").has_value());
}

} // namespace
} // namespace orvane
