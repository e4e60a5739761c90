#pragma once
// A point in time as documents store it: ISO 8601 text to the whole second ("2026-03-01T09:30:00Z").
// Kept in whole seconds so that a value survives a save and a reopen unchanged. Any thread.

#include <compare>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orvane {

struct Timestamp {
    std::int64_t secondsSinceEpoch = 0; // UTC, 1970-01-01T00:00:00Z is 0

    static Timestamp now();
    static Timestamp fromFileTime(std::filesystem::file_time_type time);
    // "YYYY-MM-DDTHH:MM:SS" with "Z" or "+hh:mm"/"-hh:mm", optional fraction (dropped). Nothing otherwise.
    static std::optional<Timestamp> parseISO8601(std::string_view text);
    std::string iso8601() const; // always UTC with "Z"

    auto operator<=>(const Timestamp&) const = default;
};

} // namespace orvane
