#pragma once
// Text decoding for tags: ISO-8859-1, UTF-16 (with a byte-order mark or big-endian) and UTF-8 into
// UTF-8, with the trimming every tag value gets. A decoding that fails gives nothing, never a
// replacement character. Stateless; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::detail {

enum class TagEncoding : std::uint8_t { latin1, utf16WithBOM, utf16BigEndian, utf8 };

// Each byte is its own code point.
std::string latin1ToUTF8(std::string_view bytes);

// True when the bytes are well-formed UTF-8 (no overlong forms, surrogates or values past U+10FFFF).
bool isValidUTF8(std::string_view bytes);

// The bytes as UTF-8 if they are, else read as ISO-8859-1.
std::string utf8OrLatin1(std::string_view bytes);

// The next code point of well-formed UTF-8 at `at`, which moves past it; nothing (and `at` moved by
// one byte) for a malformed sequence.
std::optional<char32_t> nextCodePoint(std::string_view utf8, std::size_t& at);

// Decoded, with NUL characters, spaces, tabs and line breaks trimmed from both ends; nothing when
// the decoding fails or nothing is left.
std::optional<std::string> trimmedText(std::string_view data, TagEncoding encoding);

// An ID3v2 text frame's payload: an encoding byte (0 ISO-8859-1, 1 UTF-16 with byte-order mark,
// 2 UTF-16 big-endian, 3 UTF-8) and the text, trimmed. Nothing for fewer than 2 bytes, another
// encoding byte or a failed decoding.
std::optional<std::string> decodeID3Text(std::string_view payload);

inline char asciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

} // namespace orvane::detail
