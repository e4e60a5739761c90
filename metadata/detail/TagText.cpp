#include "metadata/detail/TagText.h"

#include "metadata/detail/TagBytes.h"

namespace orvane::detail {

namespace {

constexpr char32_t kByteOrderMark = 0xFEFF;

void appendUTF8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

enum class ByteOrder : std::uint8_t { little, big };

std::uint32_t unit16(std::string_view bytes, std::size_t at, ByteOrder order) {
    const std::uint32_t first = byteAt(bytes, at);
    const std::uint32_t second = byteAt(bytes, at + 1);
    return order == ByteOrder::big ? (first << 8 | second) : (second << 8 | first);
}

// Byte-order marks are dropped wherever they stand: ID3v2.4 repeats one before every string of a
// multi-valued frame, and none of them is part of a title or a name.
std::optional<std::string> utf16ToUTF8(std::string_view bytes, ByteOrder order) {
    if (bytes.size() % 2 != 0)
        return std::nullopt;
    std::string out;
    out.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size(); at += 2) {
        const std::uint32_t unit = unit16(bytes, at, order);
        char32_t cp = unit;
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            if (at + 4 > bytes.size())
                return std::nullopt;
            const std::uint32_t low = unit16(bytes, at + 2, order);
            if (low < 0xDC00 || low > 0xDFFF)
                return std::nullopt;
            cp = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
            at += 2;
        } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
            return std::nullopt;
        }
        if (cp != kByteOrderMark)
            appendUTF8(out, cp);
    }
    return out;
}

// A marked text says its order; an unmarked one is big-endian, the order UTF-16 assumes.
std::optional<std::string> utf16WithBOMToUTF8(std::string_view bytes) {
    if (bytes.size() >= 2 && byteAt(bytes, 0) == 0xFF && byteAt(bytes, 1) == 0xFE)
        return utf16ToUTF8(bytes.substr(2), ByteOrder::little);
    return utf16ToUTF8(bytes, ByteOrder::big);
}

std::optional<std::string> decode(std::string_view data, TagEncoding encoding) {
    switch (encoding) {
    case TagEncoding::latin1:
        return latin1ToUTF8(data);
    case TagEncoding::utf16WithBOM:
        return utf16WithBOMToUTF8(data);
    case TagEncoding::utf16BigEndian:
        return utf16ToUTF8(data, ByteOrder::big);
    case TagEncoding::utf8:
        if (!isValidUTF8(data))
            return std::nullopt;
        if (data.starts_with("\xEF\xBB\xBF"))
            data.remove_prefix(3);
        return std::string(data);
    }
    return std::nullopt;
}

bool isTrimmed(char c) {
    return c == '\0' || c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

} // namespace

std::string latin1ToUTF8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size(); ++at)
        appendUTF8(out, byteAt(bytes, at));
    return out;
}

std::optional<char32_t> nextCodePoint(std::string_view utf8, std::size_t& at) {
    const std::uint32_t lead = byteAt(utf8, at);
    ++at;
    if (lead < 0x80)
        return lead;
    std::size_t continuation = 0;
    char32_t cp = 0;
    char32_t smallest = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        continuation = 1;
        cp = lead & 0x1F;
        smallest = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        continuation = 2;
        cp = lead & 0x0F;
        smallest = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        continuation = 3;
        cp = lead & 0x07;
        smallest = 0x10000;
    } else {
        return std::nullopt;
    }
    if (!fits(utf8, at, continuation))
        return std::nullopt;
    for (std::size_t i = 0; i < continuation; ++i) {
        const std::uint32_t next = byteAt(utf8, at + i);
        if ((next & 0xC0) != 0x80)
            return std::nullopt;
        cp = cp << 6 | (next & 0x3F);
    }
    if (cp < smallest || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
        return std::nullopt;
    at += continuation;
    return cp;
}

bool isValidUTF8(std::string_view bytes) {
    std::size_t at = 0;
    while (at < bytes.size())
        if (!nextCodePoint(bytes, at))
            return false;
    return true;
}

std::string utf8OrLatin1(std::string_view bytes) {
    return isValidUTF8(bytes) ? std::string(bytes) : latin1ToUTF8(bytes);
}

std::optional<std::string> trimmedText(std::string_view data, TagEncoding encoding) {
    std::optional<std::string> text = decode(data, encoding);
    if (!text)
        return std::nullopt;
    std::size_t first = 0;
    std::size_t end = text->size();
    while (first < end && isTrimmed((*text)[first]))
        ++first;
    while (end > first && isTrimmed((*text)[end - 1]))
        --end;
    if (first == end)
        return std::nullopt;
    return text->substr(first, end - first);
}

std::optional<std::string> decodeID3Text(std::string_view payload) {
    if (payload.size() < 2)
        return std::nullopt;
    const std::uint32_t encoding = byteAt(payload, 0);
    if (encoding > 3)
        return std::nullopt;
    return trimmedText(payload.substr(1), static_cast<TagEncoding>(encoding));
}

} // namespace orvane::detail
