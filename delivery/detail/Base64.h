#pragma once
// Standard Base64 (RFC 4648, with padding, no line breaks) through OpenSSL. Any thread.
#include <cstddef>
#include <string>
#include <string_view>

namespace orvane::detail {

// The Base64 text of `bytes`. Pieces whose lengths are multiples of 3 can be encoded one after the
// other and joined: the result is the text of the whole.
std::string base64(std::string_view bytes);

} // namespace orvane::detail
