#include "metadata/detail/ISRCText.h"

#include "metadata/AudioMetadataReader.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using namespace std::literals;
using AudioMetadataReader::normalizeISRC;

TEST(NormalizeISRC, keepsTwelveLettersAndDigitsOfTheRightShape) {
    // Case and separators do not matter; length and shape do, and a non-ASCII letter spoils the code.
    EXPECT_EQ(normalizeISRC("us-rc1-77-00005"), "USRC17700005");
    EXPECT_EQ(normalizeISRC(" ISRC GB.AAA.25.00001 "), std::nullopt);           // "ISRC" adds four letters
    EXPECT_EQ(normalizeISRC("GB\u2010AAA\u201025\u201000001"), "GBAAA2500001"); // typographic hyphens
    EXPECT_EQ(normalizeISRC("GB\u00a0AAA2500001"), "GBAAA2500001");             // no-break space
    EXPECT_EQ(normalizeISRC("G\u00c9AAA2500001"), std::nullopt);                // E-acute is a letter
    EXPECT_EQ(normalizeISRC("USRC1770005"), std::nullopt);                      // 11
    EXPECT_EQ(normalizeISRC("USRC177000051"), std::nullopt);                    // 13
    EXPECT_EQ(normalizeISRC("1SRC17700005"), std::nullopt);                     // country must be letters
    EXPECT_EQ(normalizeISRC("USRC1770000A"), std::nullopt);                     // designation must be digits
    EXPECT_EQ(normalizeISRC("US\xFFRC17700005"), std::nullopt);                 // malformed UTF-8
    EXPECT_EQ(normalizeISRC(""), std::nullopt);
}

TEST(ISRCFromIXML, takesTheFirstISRCElementInAnyCaseWithAttributes) {
    // The element may carry attributes and spaces around its text; its name is matched case-insensitively
    // but exactly, and a bad value in the first element gives nothing.
    const std::string xml =
        "<?xml version=\"1.0\"?><BWFXML><ISRCCODE>ZZZZZ0000000</ISRCCODE>"
        "<isrc type=\"main\">\n  de-a12-99-12345 \n</Isrc><ISRC>FRZ039800212</ISRC></BWFXML>";
    EXPECT_EQ(detail::isrcFromIXML(xml), "DEA129912345");
    EXPECT_EQ(detail::isrcFromIXML("<BWFXML><ISRC>NOT-AN-ISRC</ISRC><ISRC>FRZ039800212</ISRC>"),
              std::nullopt);
    EXPECT_EQ(detail::isrcFromIXML("<ISRC></ISRC><ISRC>FRZ039800212</ISRC>"), "FRZ039800212");
    EXPECT_EQ(detail::isrcFromIXML("<ISRC>FRZ039800212<b/></ISRC>"), std::nullopt);
    EXPECT_EQ(detail::isrcFromIXML("<ISRC>FRZ039800212"), std::nullopt);
    EXPECT_EQ(detail::isrcFromIXML("<ISRC a=\"1\""), std::nullopt);
    // Not UTF-8: read as ISO-8859-1, where the stray byte is just one more character.
    EXPECT_EQ(detail::isrcFromIXML("<NOTE>\xE9</NOTE><ISRC>FRZ039800212</ISRC>"), "FRZ039800212");
}

TEST(ISRCFromIXML, staysLinearOnHostileText) {
    // Megabytes of unclosed elements give nothing without a quadratic search (a slow search would time
    // the test binary out, not fail an assertion).
    std::string openTags;
    for (int i = 0; i < 200000; ++i)
        openTags += "<ISRC x";
    EXPECT_EQ(detail::isrcFromIXML(openTags + ">" + std::string(1 << 20, 'a') + "<"), std::nullopt);
    EXPECT_EQ(detail::isrcFromIXML(openTags + ">" + std::string(1 << 20, 'a') + "</ISRC>"), std::nullopt);
}

TEST(ISRCFromAXML, needsTheWordAndTakesTheFirstCodeShape) {
    // The text must mention isrc; then the first run shaped like a code counts, wherever it stands.
    EXPECT_EQ(detail::isrcFromAXML("<ebuCoreMain><identifier typeLabel=\"ISRC\">usrc17700005</identifier>"),
              "USRC17700005");
    EXPECT_EQ(detail::isrcFromAXML("<identifier>USRC17700005</identifier>"), std::nullopt);
    EXPECT_EQ(detail::isrcFromAXML("isrc: 12RC17700005 then GBAAA2500001"), "GBAAA2500001");
}

TEST(ISRCFromBext, findsASeparatedCodeAfterTheWordInTheDescription) {
    // Dashes, spaces, ":" or "=" may stand between the parts; only the 256-byte description is searched.
    EXPECT_EQ(detail::isrcFromBext("Master v3 ISRC: GB-AAA-25-00001 final"), "GBAAA2500001");
    EXPECT_EQ(detail::isrcFromBext("isrc=us rc1 77 00005"), "USRC17700005");
    EXPECT_EQ(detail::isrcFromBext("ISRCUSRC17700005"), "USRC17700005");
    EXPECT_EQ(detail::isrcFromBext("ISRC -- GB-AAA-25-00001"), std::nullopt);
    EXPECT_EQ(detail::isrcFromBext("ISRC none, ISRC GB-AAA-25-00001"), "GBAAA2500001");
    EXPECT_EQ(detail::isrcFromBext("GB-AAA-25-00001"), std::nullopt);
    EXPECT_EQ(detail::isrcFromBext(std::string(250, ' ') + "ISRC GBAAA2500001"), std::nullopt);
    EXPECT_EQ(detail::isrcFromBext(std::string(239, '\0') + "ISRC GBAAA2500001" + std::string(100, '\0')),
              "GBAAA2500001");
    EXPECT_EQ(detail::isrcFromBext(""), std::nullopt);
}

} // namespace
} // namespace orvane
