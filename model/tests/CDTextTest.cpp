#include "model/CDText.h"

#include <gtest/gtest.h>

#include <set>

namespace orvane {
namespace {

TEST(CDTextGenre, tableRunsFromCode2To28WithItsNames) {
    // The menu lists the 27 genres in code order; unknown codes have no name.
    const auto codes = CDTextGenre::codes();
    ASSERT_EQ(codes.size(), 27u);
    for (std::size_t i = 0; i < codes.size(); ++i)
        EXPECT_EQ(codes[i].code, static_cast<std::int64_t>(i) + 2);
    EXPECT_EQ(CDTextGenre::name(4), "Childrens Music");
    EXPECT_EQ(CDTextGenre::name(24), "Rhythm & Blues");
    EXPECT_EQ(CDTextGenre::name(28), "World Music");
    EXPECT_FALSE(CDTextGenre::name(1).has_value());
    EXPECT_FALSE(CDTextGenre::name(29).has_value());
}

TEST(CDTextLanguage, tableBeginsWithEnglishAndFallsBackToEnglishIso) {
    // English (9) heads the list; "Unknown" and codes outside the table write as "en".
    const auto codes = CDTextLanguage::codes();
    ASSERT_EQ(codes.size(), 20u);
    EXPECT_EQ(codes[0].code, CDTextLanguage::english);
    EXPECT_EQ(codes[0].name, "English");
    EXPECT_EQ(codes[1].name, "Unknown");
    EXPECT_EQ(codes.back().code, 86);
    std::set<std::int64_t> unique;
    for (const auto& entry : codes)
        unique.insert(entry.code);
    EXPECT_EQ(unique.size(), codes.size());
    EXPECT_EQ(CDTextLanguage::name(38), "Slovene");
    EXPECT_EQ(CDTextLanguage::iso639(30), "no");
    EXPECT_EQ(CDTextLanguage::iso639(86), "ru");
    EXPECT_EQ(CDTextLanguage::iso639(0), "en");
    EXPECT_EQ(CDTextLanguage::iso639(12), "en");
    EXPECT_FALSE(CDTextLanguage::name(12).has_value());
}

} // namespace
} // namespace orvane
