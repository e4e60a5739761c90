#pragma once
// Standard Base64 (RFC 4648, with padding), for binary values kept in text (packed measurements,
// images in the defaults). Pure; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::Base64 {

std::string encode(const std::vector<std::uint8_t>& bytes);
// Nothing for a length that is not a multiple of 4, a foreign character, or misplaced padding.
std::optional<std::vector<std::uint8_t>> decode(std::string_view text);

} // namespace orvane::Base64
