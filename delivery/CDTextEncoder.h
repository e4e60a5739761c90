#pragma once
// Encodes a project's text into the CD-Text pack stream (CDTEXT.BIN): framed 18-byte packs, one
// block per language, each closed by its three size packs; and counts the packs a project needs so
// that the pre-flight and the export can hold them against the limit. Pure functions; any thread.

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

struct CDProject;

namespace DDPWriter {

// The most content packs a block may carry; with its 3 size packs it then has 255.
inline constexpr std::int64_t cdTextMaxPacks = 252;
inline constexpr std::size_t cdTextPackLength = 18;

namespace CDTextPackType {
inline constexpr std::uint8_t title = 0x80;
inline constexpr std::uint8_t performer = 0x81;
inline constexpr std::uint8_t songwriter = 0x82;
inline constexpr std::uint8_t composer = 0x83;
inline constexpr std::uint8_t arranger = 0x84;
inline constexpr std::uint8_t message = 0x85;
inline constexpr std::uint8_t discID = 0x86;
inline constexpr std::uint8_t genre = 0x87;
inline constexpr std::uint8_t upcISRC = 0x8E;
inline constexpr std::uint8_t sizeInfo = 0x8F;
} // namespace CDTextPackType

// One pack before framing.
struct CDTextPack {
    std::uint8_t type = 0;
    std::uint8_t trackNumber = 0;  // 0 for the album, else the entry's place in the track list
    std::uint8_t charPosition = 0; // 0 to 15
    std::array<std::uint8_t, 12> data{};

    bool operator==(const CDTextPack&) const = default;
};

// The packs of one type: the strings (album first, then one per track) as Latin-1, each ended by
// 0x00, run together and cut into 12-byte pieces; the last piece is padded with 0x00.
std::vector<CDTextPack> packsForType(std::uint8_t type, std::span<const std::string> strings);

// The genre packs: the code as two bytes (high first; its low 16 bits), the Latin-1 text, one 0x00.
std::vector<CDTextPack> genrePacks(std::int64_t code, std::string_view text);

// The content packs of block 0 (first language) or 1 (second language), without size packs.
// A project without tracks has none.
std::vector<CDTextPack> cdTextContentPacks(const CDProject& project, int blockNumber);

// Content packs of block 0 and, when a second language is set, of block 1. Size packs not counted.
std::vector<std::int64_t> cdTextBlockPackCounts(const CDProject& project);

// The 18 bytes of a pack at `sequence` in block `blockNumber`, with its CRC.
std::string framePack(const CDTextPack& pack, std::uint8_t sequence, int blockNumber);

// CDTEXT.BIN, or nothing when no block has packs or a block exceeds cdTextMaxPacks.
std::optional<std::string> cdTextData(const CDProject& project);

// The pack CRC: CRC-16, polynomial 0x1021, MSB first, initial 0, inverted. 0xFFFF over no bytes.
std::uint16_t cdTextCRC(std::string_view bytes);

} // namespace DDPWriter

} // namespace orvane
