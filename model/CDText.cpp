#include "model/CDText.h"

#include <array>

namespace orvane {

namespace {

constexpr std::array<CDTextGenre::Entry, 27> kGenres{{
    {2, "Adult Contemporary"},
    {3, "Alternative Rock"},
    {4, "Childrens Music"},
    {5, "Classical"},
    {6, "Contemporary Christian"},
    {7, "Country"},
    {8, "Dance"},
    {9, "Easy Listening"},
    {10, "Erotic"},
    {11, "Folk"},
    {12, "Gospel"},
    {13, "Hip Hop"},
    {14, "Jazz"},
    {15, "Latin"},
    {16, "Musical"},
    {17, "New Age"},
    {18, "Opera"},
    {19, "Operetta"},
    {20, "Pop Music"},
    {21, "Rap"},
    {22, "Reggae"},
    {23, "Rock Music"},
    {24, "Rhythm & Blues"},
    {25, "Sound Effects"},
    {26, "Sound Track"},
    {27, "Spoken Word"},
    {28, "World Music"},
}};

// English first, as the language menus list it; "Unknown" writes as English in ISO terms.
constexpr std::array<CDTextLanguage::Entry, 20> kLanguages{{
    {9, "English", "en"},     {0, "Unknown", "en"},   {6, "Czech", "cs"},      {7, "Danish", "da"},
    {8, "German", "de"},      {10, "Spanish", "es"},  {15, "French", "fr"},    {21, "Italian", "it"},
    {27, "Hungarian", "hu"},  {29, "Dutch", "nl"},    {30, "Norwegian", "no"}, {32, "Polish", "pl"},
    {33, "Portuguese", "pt"}, {34, "Romanian", "ro"}, {37, "Slovak", "sk"},    {38, "Slovene", "sl"},
    {39, "Finnish", "fi"},    {40, "Swedish", "sv"},  {41, "Turkish", "tr"},   {86, "Russian", "ru"},
}};

const CDTextLanguage::Entry* findLanguage(std::int64_t code) {
    for (const auto& entry : kLanguages)
        if (entry.code == code)
            return &entry;
    return nullptr;
}

} // namespace

std::span<const CDTextGenre::Entry> CDTextGenre::codes() {
    return kGenres;
}

std::optional<std::string_view> CDTextGenre::name(std::int64_t code) {
    for (const auto& entry : kGenres)
        if (entry.code == code)
            return entry.name;
    return std::nullopt;
}

std::span<const CDTextLanguage::Entry> CDTextLanguage::codes() {
    return kLanguages;
}

std::optional<std::string_view> CDTextLanguage::name(std::int64_t code) {
    if (const auto* entry = findLanguage(code))
        return entry->name;
    return std::nullopt;
}

std::string_view CDTextLanguage::iso639(std::int64_t code) {
    if (const auto* entry = findLanguage(code))
        return entry->iso;
    return "en";
}

} // namespace orvane
