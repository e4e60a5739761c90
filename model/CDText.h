#pragma once
// The CD-Text genre and language tables, in the order the menus show them.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace orvane {

namespace CDTextGenre {
struct Entry {
    std::int64_t code;
    std::string_view name;
};
std::span<const Entry> codes();
std::optional<std::string_view> name(std::int64_t code);
} // namespace CDTextGenre

namespace CDTextLanguage {
struct Entry {
    std::int64_t code;
    std::string_view name;
    std::string_view iso;
};
inline constexpr std::int64_t english = 9;
std::span<const Entry> codes(); // begins with English
std::optional<std::string_view> name(std::int64_t code);
std::string_view iso639(std::int64_t code); // "en" for a code not in the table
} // namespace CDTextLanguage

} // namespace orvane
