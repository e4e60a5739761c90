#pragma once
// A 128-bit identity for tracks, takes, gain points and vinyl records.
// Written in documents as the canonical upper-case 8-4-4-4-12 form; read in either case.
// Any thread may create one.

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace orvane {

struct Uuid {
    std::array<std::uint8_t, 16> bytes{};

    static Uuid random();                                    // version 4, from a per-thread generator
    static std::optional<Uuid> parse(std::string_view text); // nothing for anything but 8-4-4-4-12 hex
    std::string string() const;

    auto operator<=>(const Uuid&) const = default;
};

} // namespace orvane

template <> struct std::hash<orvane::Uuid> { std::size_t operator()(const orvane::Uuid& u) const noexcept; };
