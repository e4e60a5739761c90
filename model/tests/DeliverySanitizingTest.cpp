#include "model/DeliverySanitizing.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using namespace DDPWriter;

TEST(SanitizedISRC, keepsTwelveLettersAndDigitsUpperCasedOrNothing) {
    // Separators go and case is raised; any other count than 12, or no ISRC at all, gives "".
    EXPECT_EQ(sanitizedISRC("us-abc-12-34567"), "USABC1234567");
    EXPECT_EQ(sanitizedISRC(" US ABC 12 34567 "), "USABC1234567");
    EXPECT_EQ(sanitizedISRC("USABC123456"), "");
    EXPECT_EQ(sanitizedISRC("USABC12345678"), "");
    EXPECT_EQ(sanitizedISRC(std::nullopt), "");
    EXPECT_EQ(sanitizedISRC(""), "");
    // Letters and numbers of any script count as characters of the code: a typed "é" keeps a
    // 13-character entry too long instead of shrinking it to a different code, and a 12-character
    // one keeps its (upper-cased) letter, which no ASCII field will take.
    EXPECT_EQ(sanitizedISRC("USABC12345\xC3\xA9"
                            "67"),
              "");
    EXPECT_EQ(sanitizedISRC("usabc1234\xC3\xA9"
                            "67"),
              "USABC1234\xC3\x89"
              "67");
    // A combining accent stays with its letter and counts once; sharp s is two capitals.
    EXPECT_EQ(sanitizedISRC("usabc12345e\xCC\x81"
                            "6"),
              "USABC12345E\xCC\x81"
              "6");
    EXPECT_EQ(sanitizedISRC("u\xC3\x9F"
                            "bc1234567"),
              "USSBC1234567");
    // Digits of another script are numbers, not separators.
    EXPECT_EQ(sanitizedISRC("USABC123456\xD9\xA3"), "USABC123456\xD9\xA3");
    // Broken bytes are no character at all.
    EXPECT_EQ(sanitizedISRC("US\xFF"
                            "ABC1234567"),
              "USABC1234567");
}

TEST(SanitizedMCN, keepsExactlyThirteenDigits) {
    // Only digits count, and only a complete catalogue number survives.
    EXPECT_EQ(sanitizedMCN("123-4567890123"), "1234567890123");
    EXPECT_EQ(sanitizedMCN("123456789012"), "");
    EXPECT_EQ(sanitizedMCN("12345678901234"), "");
    EXPECT_EQ(sanitizedMCN("ABC"), "");
    // Full-width digits are numbers too, so twelve ASCII digits and one of them make thirteen.
    EXPECT_EQ(sanitizedMCN("123456789012\xEF\xBC\x93"), "123456789012\xEF\xBC\x93");
    EXPECT_FALSE(isValidEAN13(sanitizedMCN("123456789012\xEF\xBC\x93")));
}

TEST(IsValidEAN13, acceptsOnlyThirteenDigitsWithTheRightCheckDigit) {
    // Weights 1, 3, 1, 3 ... over the first twelve digits; the check is (10 - sum mod 10) mod 10.
    EXPECT_TRUE(isValidEAN13("4006381333931"));  // sum 89, check 1
    EXPECT_TRUE(isValidEAN13("5901234123457"));  // sum 83, check 7
    EXPECT_TRUE(isValidEAN13("0000000000000"));  // sum 0, check 0 and not 10
    EXPECT_FALSE(isValidEAN13("4006381333932")); // wrong check digit
    EXPECT_FALSE(isValidEAN13("5901234123475")); // two digits swapped
    EXPECT_FALSE(isValidEAN13("400638133393"));
    EXPECT_FALSE(isValidEAN13("40063813339310"));
    EXPECT_FALSE(isValidEAN13("400-638133393"));
    EXPECT_FALSE(isValidEAN13(""));
}

TEST(Latin1Bytes, givesOneBytePerScalarAndQuestionMarksBeyondLatin1) {
    // Beyond two bytes: scalars above 0xFF, a lone byte and an encoded surrogate are "?", NUL is kept.
    EXPECT_EQ(latin1Bytes("\xE6\x97\xA5\xE6\x9C\xAC"), "??"); // two CJK ideographs
    EXPECT_EQ(latin1Bytes("\xF0\x9F\x98\x80"), "?");          // one emoji, four bytes
    EXPECT_EQ(latin1Bytes("e\xCC\x81"), "e?");                // e + combining acute: two scalars
    EXPECT_EQ(latin1Bytes(std::string_view("a\0b", 3)), std::string("a\0b", 3));
    // Damaged input never vanishes silently nor runs past its end.
    EXPECT_EQ(latin1Bytes("\xFF"), "?");
    EXPECT_EQ(latin1Bytes("\xED\xA0\x80"), "???"); // encoded surrogate
}

TEST(Latin1Bytes, decodesEveryTwoByteInputByTheUtf8Rules) {
    // Exhaustively: a lead 0xC2-0xDF with a continuation byte is one scalar, anything else is two
    // bytes' worth of output, and no input is read past its end.
    for (unsigned first = 0; first < 256; ++first) {
        for (unsigned second = 0; second < 256; ++second) {
            const char input[2] = {static_cast<char>(first), static_cast<char>(second)};
            const std::string out = latin1Bytes(std::string_view(input, 2));
            const bool pair = first >= 0xC2 && first <= 0xDF && second >= 0x80 && second <= 0xBF;
            if (pair) {
                const unsigned scalar = ((first & 0x1F) << 6) | (second & 0x3F);
                ASSERT_EQ(out, std::string(1, scalar <= 0xFF ? static_cast<char>(scalar) : '?'))
                    << first << " " << second;
            } else {
                ASSERT_EQ(out.size(), 2u) << first << " " << second;
                ASSERT_EQ(out[0], first < 0x80 ? static_cast<char>(first) : '?');
            }
        }
    }
}

} // namespace
} // namespace orvane
