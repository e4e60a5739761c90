#include "model/RedBook.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

TEST(CDTime, msfIsOfTheAbsoluteValueAndItsTextShowsTheSign) {
    // MSF text is of the absolute value with a leading "-" for negatives, and minutes never wrap.
    EXPECT_EQ(CDTime::frames(0).msfString(), "00:00:00");
    EXPECT_EQ(CDTime::frames(74).msfString(), "00:00:74");
    EXPECT_EQ(CDTime::frames(75).msfString(), "00:01:00");
    EXPECT_EQ(CDTime::frames(4500).msfString(), "01:00:00");
    EXPECT_EQ(CDTime::frames(270000).msfString(), "60:00:00");
    EXPECT_EQ(CDTime::frames(-1).msfString(), "-00:00:01");
    EXPECT_EQ(CDTime::frames(-76).msfString(), "-00:01:01");
    EXPECT_EQ(CDTime::frames(100 * 4500 + 59 * 75 + 74).msfString(), "100:59:74");
    // The triple carries no sign: -4576 frames is 1 minute, 1 second, 1 frame.
    EXPECT_EQ(CDTime::frames(-4576).msf(), (MSF{1, 1, 1}));
    EXPECT_EQ(CDTime::frames(4576).msf(), (MSF{1, 1, 1}));
    EXPECT_EQ(CDTime::frames(449999).msf(), (MSF{99, 59, 74}));
}

TEST(CDTime, samplesToFramesRoundsUpAlsoForNegatives) {
    // A partial frame of audio takes a whole frame; negatives round toward zero by the ceiling.
    EXPECT_EQ(CDTime::fromSamples(0).totalFrames, 0);
    EXPECT_EQ(CDTime::fromSamples(1).totalFrames, 1);
    EXPECT_EQ(CDTime::fromSamples(588).totalFrames, 1);
    EXPECT_EQ(CDTime::fromSamples(589).totalFrames, 2);
    EXPECT_EQ(CDTime::fromSamples(44100).totalFrames, 75);
    EXPECT_EQ(CDTime::fromSamples(-1).totalFrames, 0);
    EXPECT_EQ(CDTime::fromSamples(-588).totalFrames, -1);
    EXPECT_EQ(CDTime::fromSamples(-589).totalFrames, -1);
}

} // namespace
} // namespace orvane
