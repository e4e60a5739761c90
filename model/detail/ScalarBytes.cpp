#include "model/detail/ScalarBytes.h"

#include <cstdint>

namespace orvane::detail {

namespace {

constexpr char32_t kInvalid = 0xFFFFFFFF;

bool isContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

// Decodes the scalar at `pos` and advances past it; an ill-formed sequence consumes one byte.
char32_t nextScalar(std::string_view text, std::size_t& pos) {
    const auto lead = static_cast<unsigned char>(text[pos]);
    std::size_t length = 0;
    char32_t value = 0;
    char32_t minimum = 0;
    if (lead < 0x80) {
        ++pos;
        return lead;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2, value = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, value = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, value = lead & 0x07, minimum = 0x10000;
    } else {
        ++pos;
        return kInvalid;
    }
    if (pos + length > text.size()) {
        ++pos;
        return kInvalid;
    }
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[pos + i]);
        if (!isContinuation(byte)) {
            ++pos;
            return kInvalid;
        }
        value = (value << 6) | (byte & 0x3F);
    }
    // Overlong forms, surrogates and values past the Unicode range are not scalars.
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
        ++pos;
        return kInvalid;
    }
    pos += length;
    return value;
}

} // namespace

std::string scalarBytes(std::string_view text, char32_t limit) {
    std::string bytes;
    bytes.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        const char32_t scalar = nextScalar(text, pos);
        bytes.push_back(scalar <= limit ? static_cast<char>(static_cast<std::uint8_t>(scalar)) : '?');
    }
    return bytes;
}

bool hasScalarAbove(std::string_view text, char32_t limit) {
    std::size_t pos = 0;
    while (pos < text.size()) {
        const char32_t scalar = nextScalar(text, pos);
        if (scalar != kInvalid && scalar > limit)
            return true;
    }
    return false;
}

} // namespace orvane::detail
