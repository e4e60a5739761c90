#include "model/CDText.h"

#include <gtest/gtest.h>

#include <set>

namespace orvane {
namespace {

TEST(CDText, genreAndLanguageTablesAreInMenuOrderWithEnglishAsFallback) {
    // Genres run from code 2 to 28 and unknown codes have no name; English (9) heads the languages,
    // codes are unique, and "Unknown" or codes outside the table write as "en".
    EXPECT_EQ(CDTextGenre::name(28), "World Music");
    EXPECT_FALSE(CDTextGenre::name(1).has_value());
    EXPECT_FALSE(CDTextGenre::name(29).has_value());

    const auto codes = CDTextLanguage::codes();
    EXPECT_EQ(codes[0].code, CDTextLanguage::english);
    std::set<std::int64_t> unique;
    for (const auto& entry : codes)
        unique.insert(entry.code);
    EXPECT_EQ(unique.size(), codes.size());
    EXPECT_EQ(CDTextLanguage::name(38), "Slovene");
    EXPECT_EQ(CDTextLanguage::iso639(86), "ru");
    EXPECT_EQ(CDTextLanguage::iso639(0), "en");
    EXPECT_EQ(CDTextLanguage::iso639(12), "en");
    EXPECT_FALSE(CDTextLanguage::name(12).has_value());
}

} // namespace
} // namespace orvane
