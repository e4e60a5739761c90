#include "model/detail/UnicodeText.h"

#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cwctype>
#include <optional>
#include <utility>

namespace orvane::detail {

namespace {

// The next scalar of well-formed UTF-8, or nothing (one byte is then skipped).
std::optional<char32_t> nextScalar(std::string_view text, std::size_t& at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    std::size_t length = 0;
    char32_t value = 0;
    if (lead < 0x80) {
        ++at;
        return lead;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        value = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        value = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        value = lead & 0x07;
    } else {
        ++at;
        return std::nullopt;
    }
    if (at + length > text.size()) {
        ++at;
        return std::nullopt;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) {
            ++at;
            return std::nullopt;
        }
        value = (value << 6) | (byte(at + i) & 0x3F);
    }
    const bool overlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    if (overlong || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
        ++at;
        return std::nullopt;
    }
    at += length;
    return value;
}

void append(std::string& out, char32_t c) {
    if (c < 0x80) {
        out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (c >> 6)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (c >> 12)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (c >> 18)));
        out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

// The first digit of each run of ten decimal digits in the scripts Unicode knows.
constexpr std::array<char32_t, 37> kDigitZeros{
    0x0030, 0x0660, 0x06F0, 0x07C0, 0x0966, 0x09E6, 0x0A66, 0x0AE6, 0x0B66, 0x0BE6, 0x0C66, 0x0CE6, 0x0D66,
    0x0DE6, 0x0E50, 0x0ED0, 0x0F20, 0x1040, 0x1090, 0x17E0, 0x1810, 0x1946, 0x19D0, 0x1A80, 0x1A90, 0x1B50,
    0x1BB0, 0x1C40, 0x1C50, 0xA620, 0xA8D0, 0xA900, 0xA9D0, 0xA9F0, 0xAA50, 0xFF10, 0x104A0};

// Numbers: decimal digits of every script, and the other numeric signs a user might type into a
// code (superscripts, fractions, Roman numerals, circled numbers).
bool isNumber(char32_t c) {
    for (const char32_t zero : kDigitZeros)
        if (c >= zero && c < zero + 10)
            return true;
    return c == 0xB2 || c == 0xB3 || c == 0xB9 || (c >= 0xBC && c <= 0xBE) || (c >= 0x2070 && c <= 0x2079) ||
           (c >= 0x2080 && c <= 0x2089) || (c >= 0x2150 && c <= 0x2189) || (c >= 0x2460 && c <= 0x249B) ||
           (c >= 0x1D7CE && c <= 0x1D7FF);
}

bool isCombiningMark(char32_t c) {
    return (c >= 0x0300 && c <= 0x036F) || (c >= 0x1AB0 && c <= 0x1AFF) || (c >= 0x1DC0 && c <= 0x1DFF) ||
           (c >= 0x20D0 && c <= 0x20FF) || (c >= 0xFE20 && c <= 0xFE2F);
}

// The C library's Unicode tables, through a locale object of our own so that the process's
// global locale is never touched. Without a UTF-8 locale only Latin letters are known.
locale_t unicodeLocale() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    return locale;
}

bool isLetter(char32_t c) {
    if (c < 0x80)
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    const locale_t locale = unicodeLocale();
    if (locale == static_cast<locale_t>(nullptr))
        return c >= 0xC0 && c <= 0x24F && c != 0xD7 && c != 0xF7;
    return iswalpha_l(static_cast<wint_t>(c), locale) != 0;
}

void appendUpper(std::string& out, char32_t c, std::size_t& characters) {
    if (c == 0xDF) { // sharp s has no single capital: it becomes two characters
        out += "SS";
        characters += 2;
        return;
    }
    if (c < 0x80) {
        append(out, (c >= 'a' && c <= 'z') ? c - 'a' + 'A' : c);
    } else {
        const locale_t locale = unicodeLocale();
        append(out, locale == static_cast<locale_t>(nullptr)
                        ? c
                        : static_cast<char32_t>(towupper_l(static_cast<wint_t>(c), locale)));
    }
    ++characters;
}

} // namespace

CleanedText cleanedCode(std::string_view utf8, KeepCharacters keep) {
    CleanedText cleaned;
    bool lastKept = false;
    for (std::size_t at = 0; at < utf8.size();) {
        const auto scalar = nextScalar(utf8, at);
        if (!scalar) {
            lastKept = false;
            continue;
        }
        if (isCombiningMark(*scalar)) {
            if (lastKept)
                append(cleaned.text, *scalar);
            continue;
        }
        const bool number = isNumber(*scalar);
        lastKept = number || (keep == KeepCharacters::lettersAndNumbers && isLetter(*scalar));
        if (!lastKept)
            continue;
        if (number) {
            append(cleaned.text, *scalar);
            ++cleaned.characters;
        } else {
            appendUpper(cleaned.text, *scalar, cleaned.characters);
        }
    }
    return cleaned;
}

} // namespace orvane::detail
