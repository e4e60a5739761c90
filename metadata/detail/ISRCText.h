#pragma once
// Finding an ISRC in the free text of iXML, aXML and Broadcast-WAV chunks. Hand-written matchers in
// linear time, so that a hostile 8 MiB chunk cannot make the search slow or deep. Stateless; any thread.

#include <optional>
#include <string>
#include <string_view>

namespace orvane::detail {

// The text of the first <ISRC> element (any case, attributes allowed), normalised.
std::optional<std::string> isrcFromIXML(std::string_view chunk);

// In a text that mentions "isrc" in any case, the first run shaped like an ISRC, normalised.
std::optional<std::string> isrcFromAXML(std::string_view chunk);

// An ISRC after the word "ISRC" in the 256-byte description field, with ":" or "=" and dashes or
// spaces between its parts allowed; normalised.
std::optional<std::string> isrcFromBext(std::string_view chunk);

} // namespace orvane::detail
