#include "metadata/detail/ISRCText.h"

#include "metadata/AudioMetadataReader.h"
#include "metadata/detail/TagBytes.h"
#include "metadata/detail/TagText.h"

#include <cstddef>

namespace orvane {

namespace {

constexpr std::size_t kISRCLength = 12;
constexpr std::size_t kBextDescriptionBytes = 256;

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isUpperOrDigit(char c) {
    return isUpper(c) || isDigit(c);
}

// Whitespace as the matchers see it; 0x85 and 0xA0 count too because the description is ISO-8859-1.
bool isSpace(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte == ' ' || (byte >= '\t' && byte <= '\r') || byte == 0x85 || byte == 0xA0;
}

// Non-ASCII code points that are separators or punctuation (no-break and typographic spaces,
// dashes, the minus sign, byte-order mark) and so drop out like ASCII punctuation does. Any other
// non-ASCII code point is taken for a letter or digit, which no ISRC may contain.
bool isNonASCIISeparator(char32_t cp) {
    if (cp < 0xC0)
        return !(cp == 0xAA || cp == 0xB2 || cp == 0xB3 || cp == 0xB5 || cp == 0xB9 || cp == 0xBA ||
                 (cp >= 0xBC && cp <= 0xBE));
    return cp == 0xD7 || cp == 0xF7 || (cp >= 0x2000 && cp <= 0x206F) || cp == 0x2212 ||
           (cp >= 0x3000 && cp <= 0x3003) || cp == 0xFEFF || cp == 0xFF0D;
}

bool hasISRCShape(std::string_view text) {
    if (text.size() < kISRCLength)
        return false;
    for (std::size_t i = 0; i < kISRCLength; ++i) {
        const char c = text[i];
        const bool ok = i < 2 ? isUpper(c) : i < 5 ? isUpperOrDigit(c) : isDigit(c);
        if (!ok)
            return false;
    }
    return true;
}

bool equalsCaseless(std::string_view text, std::size_t at, std::string_view upperWord) {
    if (!detail::fits(text, at, upperWord.size()))
        return false;
    for (std::size_t i = 0; i < upperWord.size(); ++i)
        if (detail::asciiUpper(text[at + i]) != upperWord[i])
            return false;
    return true;
}

std::size_t findCaseless(std::string_view text, std::string_view upperWord, std::size_t from) {
    for (std::size_t at = from; at < text.size(); ++at)
        if (equalsCaseless(text, at, upperWord))
            return at;
    return std::string_view::npos;
}

std::string upperASCII(std::string_view text) {
    std::string upper(text);
    for (char& c : upper)
        c = detail::asciiUpper(c);
    return upper;
}

// "XX", "XXX", "NN", "NNNNN" each with an optional dash or space after the first three groups.
// Separators are not in the groups' classes, so taking one whenever it stands is the only match.
std::optional<std::size_t> matchSeparatedISRC(std::string_view text, std::size_t at) {
    struct Group {
        std::size_t count;
        bool (*accepts)(char);
    };
    constexpr Group groups[] = {{2, isUpper}, {3, isUpperOrDigit}, {2, isDigit}, {5, isDigit}};
    for (std::size_t g = 0; g < std::size(groups); ++g) {
        if (g > 0 && at < text.size() && (text[at] == '-' || isSpace(text[at])))
            ++at;
        for (std::size_t i = 0; i < groups[g].count; ++i, ++at)
            if (at >= text.size() || !groups[g].accepts(text[at]))
                return std::nullopt;
    }
    return at;
}

} // namespace

std::optional<std::string> AudioMetadataReader::normalizeISRC(std::string_view text) {
    std::string kept;
    std::size_t at = 0;
    while (at < text.size() && kept.size() <= kISRCLength) {
        const std::optional<char32_t> cp = detail::nextCodePoint(text, at);
        if (!cp)
            return std::nullopt; // malformed text cannot be read as an ISRC
        if (*cp < 0x80) {
            const char c = detail::asciiUpper(static_cast<char>(*cp));
            if (isUpperOrDigit(c))
                kept += c;
        } else if (!isNonASCIISeparator(*cp)) {
            return std::nullopt;
        }
    }
    if (kept.size() != kISRCLength || !hasISRCShape(kept))
        return std::nullopt;
    return kept;
}

namespace detail {

std::optional<std::string> isrcFromIXML(std::string_view chunk) {
    const std::string text = utf8OrLatin1(chunk);
    const std::string_view view = text;
    constexpr auto npos = std::string_view::npos;
    // The next '>' and '<' only move forward, so each is searched once over the whole text.
    std::size_t closeBracket = 0;
    bool closeBracketFound = false;
    std::size_t lastTagEnd = npos;
    std::size_t contentEnd = npos;
    std::size_t from = 0;
    while (true) {
        const std::size_t open = findCaseless(view, "<ISRC", from);
        if (open == npos)
            return std::nullopt;
        from = open + 1;
        const std::size_t afterName = open + 5;
        if (afterName >= view.size())
            return std::nullopt;
        std::size_t tagEnd = afterName;
        if (view[afterName] != '>') {
            if (!isSpace(view[afterName]))
                continue; // another element such as <ISRCCode>
            if (!closeBracketFound || closeBracket <= afterName) {
                closeBracket = view.find('>', afterName + 1);
                closeBracketFound = true;
            }
            if (closeBracket == npos)
                return std::nullopt;
            tagEnd = closeBracket;
        }
        if (tagEnd != lastTagEnd) {
            contentEnd = view.find('<', tagEnd + 1);
            lastTagEnd = tagEnd;
        }
        if (contentEnd == npos)
            return std::nullopt;
        if (contentEnd == tagEnd + 1 || !equalsCaseless(view, contentEnd, "</ISRC>"))
            continue;
        return AudioMetadataReader::normalizeISRC(view.substr(tagEnd + 1, contentEnd - tagEnd - 1));
    }
}

std::optional<std::string> isrcFromAXML(std::string_view chunk) {
    const std::string upper = upperASCII(utf8OrLatin1(chunk));
    if (upper.find("ISRC") == std::string::npos)
        return std::nullopt;
    const std::string_view view = upper;
    for (std::size_t at = 0; at + kISRCLength <= view.size(); ++at)
        if (hasISRCShape(view.substr(at, kISRCLength)))
            return AudioMetadataReader::normalizeISRC(view.substr(at, kISRCLength));
    return std::nullopt;
}

std::optional<std::string> isrcFromBext(std::string_view chunk) {
    if (chunk.empty())
        return std::nullopt;
    const std::string upper = upperASCII(chunk.substr(0, kBextDescriptionBytes));
    const std::string_view view = upper;
    for (std::size_t word = view.find("ISRC"); word != std::string_view::npos;
         word = view.find("ISRC", word + 1)) {
        std::size_t at = word + 4;
        while (at < view.size() && isSpace(view[at]))
            ++at;
        if (at < view.size() && (view[at] == ':' || view[at] == '='))
            ++at;
        while (at < view.size() && isSpace(view[at]))
            ++at;
        if (const std::optional<std::size_t> end = matchSeparatedISRC(view, at))
            return AudioMetadataReader::normalizeISRC(latin1ToUTF8(view.substr(at, *end - at)));
    }
    return std::nullopt;
}

} // namespace detail

} // namespace orvane
