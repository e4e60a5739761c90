#pragma once
// Maps UTF-8 text to one byte per Unicode scalar, for the fixed-width records and CD-Text packs.
// Pure function; any thread.

#include <string>
#include <string_view>

namespace orvane::detail {

// Each scalar of `text` becomes its own value if it is at most `limit`, otherwise "?". A byte that
// does not start a well-formed UTF-8 sequence counts as one scalar outside every limit, so damaged
// text also gives "?" rather than being dropped.
std::string scalarBytes(std::string_view text, char32_t limit);

// True when a scalar of `text` lies above `limit`. Ill-formed bytes do not count: they are no
// scalar a user typed.
bool hasScalarAbove(std::string_view text, char32_t limit);

} // namespace orvane::detail
