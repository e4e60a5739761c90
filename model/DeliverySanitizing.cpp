#include "model/DeliverySanitizing.h"

#include "model/detail/ScalarBytes.h"

#include <cstddef>

namespace orvane::DDPWriter {

namespace {

constexpr std::size_t kISRCLength = 12;
constexpr std::size_t kEAN13Length = 13;

// Only ASCII counts: codes on the disc are ASCII, and a non-ASCII letter can never be part of a
// valid one, so it is removed like any other separator.
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
char upper(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string digitsOf(std::string_view text) {
    std::string digits;
    for (const char c : text)
        if (isDigit(c))
            digits.push_back(c);
    return digits;
}

} // namespace

std::string sanitizedISRC(const std::optional<std::string>& text) {
    if (!text)
        return {};
    std::string kept;
    for (const char c : *text)
        if (isDigit(c) || isLetter(c))
            kept.push_back(upper(c));
    return kept.size() == kISRCLength ? kept : std::string{};
}

std::string sanitizedMCN(std::string_view text) {
    std::string digits = digitsOf(text);
    return digits.size() == kEAN13Length ? digits : std::string{};
}

bool isValidEAN13(std::string_view text) {
    if (text.size() != kEAN13Length)
        return false;
    int sum = 0;
    for (std::size_t i = 0; i < kEAN13Length; ++i) {
        if (!isDigit(text[i]))
            return false;
        if (i < kEAN13Length - 1)
            sum += (text[i] - '0') * (i % 2 == 0 ? 1 : 3);
    }
    return text[kEAN13Length - 1] - '0' == (10 - sum % 10) % 10;
}

std::string latin1Bytes(std::string_view text) {
    return detail::scalarBytes(text, 0xFF);
}

} // namespace orvane::DDPWriter
