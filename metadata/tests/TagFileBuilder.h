#pragma once
// Byte-by-byte builders for the files the tag reader tests feed it: RIFF and AIFF chunks, ID3v2 tags
// and frames, UTF-16 text, and a sparse source for files too large to hold in memory.

#include "metadata/TagSource.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::tagtest {

inline std::string le32(std::uint32_t v) {
    return {static_cast<char>(v), static_cast<char>(v >> 8), static_cast<char>(v >> 16),
            static_cast<char>(v >> 24)};
}
inline std::string le64(std::uint64_t v) {
    return le32(static_cast<std::uint32_t>(v)) + le32(static_cast<std::uint32_t>(v >> 32));
}
inline std::string be32(std::uint32_t v) {
    return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8),
            static_cast<char>(v)};
}
inline std::string be24(std::uint32_t v) {
    return {static_cast<char>(v >> 16), static_cast<char>(v >> 8), static_cast<char>(v)};
}
inline std::string syncsafe(std::uint32_t v) {
    return {static_cast<char>((v >> 21) & 0x7F), static_cast<char>((v >> 14) & 0x7F),
            static_cast<char>((v >> 7) & 0x7F), static_cast<char>(v & 0x7F)};
}

// A RIFF chunk with its little-endian size and the pad byte after an odd body.
inline std::string riffChunk(std::string_view id, std::string_view body) {
    std::string chunk = std::string(id) + le32(static_cast<std::uint32_t>(body.size())) + std::string(body);
    if (body.size() % 2 != 0)
        chunk += '\0';
    return chunk;
}
inline std::string aiffChunk(std::string_view id, std::string_view body) {
    std::string chunk = std::string(id) + be32(static_cast<std::uint32_t>(body.size())) + std::string(body);
    if (body.size() % 2 != 0)
        chunk += '\0';
    return chunk;
}

inline std::string joined(std::initializer_list<std::string> parts) {
    std::string all;
    for (const std::string& part : parts)
        all += part;
    return all;
}

inline std::string fmtChunk() {
    // PCM, stereo, 44,100 Hz, 16 bits.
    return riffChunk("fmt ", std::string("\x01\x00\x02\x00", 4) + le32(44100) + le32(176400) +
                                 std::string("\x04\x00\x10\x00", 4));
}

inline std::string wave(std::initializer_list<std::string> chunks) {
    const std::string body = joined(chunks);
    return "RIFF" + le32(static_cast<std::uint32_t>(4 + body.size())) + "WAVE" + body;
}
inline std::string aiff(std::initializer_list<std::string> chunks) {
    const std::string body = joined(chunks);
    return "FORM" + be32(static_cast<std::uint32_t>(4 + body.size())) + "AIFF" + body;
}

// A LIST chunk of form INFO holding the given sub-chunks.
inline std::string listInfo(std::initializer_list<std::string> subChunks) {
    return riffChunk("LIST", "INFO" + joined(subChunks));
}

// ID3v2 frame: 3-character identifier and 24-bit size for version 2, 32-bit size for 3, syncsafe
// size and the given format flags for 4.
inline std::string id3Frame(int major, std::string_view id, std::string_view payload,
                            std::uint8_t formatFlags = 0) {
    const auto size = static_cast<std::uint32_t>(payload.size());
    if (major == 2)
        return std::string(id) + be24(size) + std::string(payload);
    const std::string sizeBytes = major >= 4 ? syncsafe(size) : be32(size);
    return std::string(id) + sizeBytes + '\0' + static_cast<char>(formatFlags) + std::string(payload);
}

inline std::string id3Tag(int major, std::string_view frames, std::uint8_t flags = 0,
                          std::size_t padding = 0) {
    const std::string body = std::string(frames) + std::string(padding, '\0');
    return std::string("ID3") + static_cast<char>(major) + '\0' + static_cast<char>(flags) +
           syncsafe(static_cast<std::uint32_t>(body.size())) + body;
}

// A text frame payload: the encoding byte, then the bytes as they stand.
inline std::string text(std::uint8_t encoding, std::string_view bytes) {
    return static_cast<char>(encoding) + std::string(bytes);
}

inline std::string utf16(std::u16string_view units, bool bigEndian) {
    std::string bytes;
    for (const char16_t unit : units) {
        const char high = static_cast<char>(unit >> 8);
        const char low = static_cast<char>(unit & 0xFF);
        bytes += bigEndian ? high : low;
        bytes += bigEndian ? low : high;
    }
    return bytes;
}

// A file of the given length that is zero except where pieces are placed; counts the bytes asked for.
class SparseTagSource final : public TagSource {
  public:
    explicit SparseTagSource(std::uint64_t length) : length_(length) {}

    void place(std::uint64_t offset, std::string bytes) { pieces_.push_back({offset, std::move(bytes)}); }

    std::uint64_t length() const override { return length_; }

    bool readAt(std::uint64_t offset, std::span<char> out) const override {
        bytesRequested += out.size(); // failed requests count: a refused chunk must not even be asked for
        if (offset > length_ || out.size() > length_ - offset)
            return false;
        std::fill(out.begin(), out.end(), '\0');
        for (const auto& [at, bytes] : pieces_) {
            const std::uint64_t begin = std::max(at, offset);
            const std::uint64_t end = std::min(at + bytes.size(), offset + out.size());
            for (std::uint64_t i = begin; i < end; ++i)
                out[i - offset] = bytes[i - at];
        }
        return true;
    }

    mutable std::uint64_t bytesRequested = 0;

  private:
    struct Piece {
        std::uint64_t offset;
        std::string bytes;
    };
    std::uint64_t length_;
    std::vector<Piece> pieces_;
};

} // namespace orvane::tagtest
