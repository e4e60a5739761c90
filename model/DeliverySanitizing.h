#pragma once
// The one place that cleans identification codes and text for delivery: ISRC and catalogue number
// as the disc carries them, the EAN-13 check, and the Latin-1 bytes of CD-Text. Every writer,
// reader and check of a delivery uses these and no copy of them. Pure functions; any thread.

#include <optional>
#include <string>
#include <string_view>

namespace orvane::DDPWriter {

// The upper-cased input with everything but letters and numbers (of any script) removed, if exactly
// 12 characters remain; otherwise (and for an absent input) "".
std::string sanitizedISRC(const std::optional<std::string>& text);

// The numbers (of any script) of the input, if there are exactly 13 of them; otherwise "".
std::string sanitizedMCN(std::string_view text);

// True when the text is 13 digits whose last is the EAN-13 check digit of the first twelve.
// A Media Catalogue Number check; the writers do not apply it.
bool isValidEAN13(std::string_view text);

// Each Unicode scalar of the UTF-8 text as one byte: its own value up to 0xFF, otherwise "?".
// A character made of several scalars gives several bytes; ill-formed UTF-8 gives "?" per byte.
std::string latin1Bytes(std::string_view text);

} // namespace orvane::DDPWriter
