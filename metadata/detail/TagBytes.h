#pragma once
// Bounds-checked reads of the integers and identifiers in chunk and tag headers. Each gives 0 (or
// an empty text) when the bytes end early, so a cut-off header reads as nothing. Any thread.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orvane::detail {

inline std::uint32_t byteAt(std::string_view data, std::size_t at) {
    return static_cast<unsigned char>(data[at]);
}

inline bool fits(std::string_view data, std::size_t at, std::size_t count) {
    return at <= data.size() && count <= data.size() - at;
}

inline std::uint32_t littleEndian32(std::string_view data, std::size_t at) {
    if (!fits(data, at, 4))
        return 0;
    return byteAt(data, at) | byteAt(data, at + 1) << 8 | byteAt(data, at + 2) << 16 |
           byteAt(data, at + 3) << 24;
}

inline std::uint64_t littleEndian64(std::string_view data, std::size_t at) {
    if (!fits(data, at, 8))
        return 0;
    return std::uint64_t{littleEndian32(data, at)} | std::uint64_t{littleEndian32(data, at + 4)} << 32;
}

inline std::uint32_t bigEndian32(std::string_view data, std::size_t at) {
    if (!fits(data, at, 4))
        return 0;
    return byteAt(data, at) << 24 | byteAt(data, at + 1) << 16 | byteAt(data, at + 2) << 8 |
           byteAt(data, at + 3);
}

inline std::uint32_t bigEndian24(std::string_view data, std::size_t at) {
    if (!fits(data, at, 3))
        return 0;
    return byteAt(data, at) << 16 | byteAt(data, at + 1) << 8 | byteAt(data, at + 2);
}

// Four bytes of seven bits each, most significant first, as ID3v2 writes its sizes.
inline std::uint32_t syncsafe(std::string_view data, std::size_t at) {
    if (!fits(data, at, 4))
        return 0;
    return (byteAt(data, at) & 0x7F) << 21 | (byteAt(data, at + 1) & 0x7F) << 14 |
           (byteAt(data, at + 2) & 0x7F) << 7 | (byteAt(data, at + 3) & 0x7F);
}

// Four bytes as text, compared against identifiers such as "RIFF" or "ID3 ".
inline std::string_view fourCC(std::string_view data, std::size_t at) {
    return fits(data, at, 4) ? data.substr(at, 4) : std::string_view{};
}

} // namespace orvane::detail
