#include "engines/DitherType.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

TEST(DitherType, rawValuesAreTheStoredNamesAndReadBack) {
    // The six cases carry their stored names, in order, and only those exact names read back.
    const char* names[] = {"None", "TPDF", "High-Pass", "Lipshitz", "Shibata", "Gesemann"};
    for (std::size_t i = 0; i < allDitherTypes.size(); ++i) {
        EXPECT_EQ(rawValue(allDitherTypes[i]), names[i]);
        EXPECT_EQ(ditherTypeFromRaw(names[i]), allDitherTypes[i]);
    }
    EXPECT_FALSE(ditherTypeFromRaw("tpdf").has_value());
    EXPECT_FALSE(ditherTypeFromRaw("HighPass").has_value());
    EXPECT_FALSE(ditherTypeFromRaw("").has_value());
    EXPECT_EQ(ditherFeedback(DitherType::gesemann), (std::array<double, 4>{2.033, -2.165, 1.959, -1.59}));
    EXPECT_EQ(ditherFeedback(DitherType::tpdf), (std::array<double, 4>{0, 0, 0, 0}));
}

} // namespace
} // namespace orvane
