#pragma once
// The small streams of a DDP 2.00 fileset (DDPID, DDPMS, PQDESCR) and its two text companions
// (IMAGE.cue, checksum.md5), built from a project and its positions. Pure functions that take values
// and return bytes; they write nothing. Any thread. The CD-Text stream is in CDTextEncoder.h.
//
// Positions are LBAs with LBA 0 at the first frame of IMAGE.DAT, so track 1's pause lies inside the
// image and nothing here adds or removes the 150 frames of the lead-in pause.

#include "model/DeliverySanitizing.h"
#include "model/TrackPosition.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

struct CDProject;
struct CDTrack;

namespace DDPWriter {

inline constexpr std::string_view ddpIdFileName = "DDPID";
inline constexpr std::string_view ddpMsFileName = "DDPMS";
inline constexpr std::string_view pqFileName = "PQDESCR";
inline constexpr std::string_view cdTextFileName = "CDTEXT.BIN";
inline constexpr std::string_view audioFileName = "IMAGE.DAT";
inline constexpr std::string_view cueFileName = "IMAGE.cue";
inline constexpr std::string_view checksumFileName = "checksum.md5";

inline constexpr std::size_t ddpIdLength = 128;
inline constexpr std::size_t mapPacketLength = 128;
inline constexpr std::size_t pqPacketLength = 64;

// 7-bit ASCII text of exactly `width` bytes: a scalar above 0x7F becomes "?", then the bytes are
// cut to `width` and padded on the right with spaces.
std::string field(std::string_view text, std::size_t width);

// The decimal digits of `value`, padded on the left with "0" to `width`; a longer number keeps
// only its first `width` digits.
std::string number(std::int64_t value, std::size_t width);

// The parameters of one DDPMS map packet; everything else in the packet is fixed.
struct MapPacket {
    std::string streamType;                         // "S0" for subcode streams, "D0" for the image
    std::int64_t streamLength = 0;                  // bytes, or sectors of 2352 bytes for the image
    std::string streamStart;                        // "" gives 8 spaces
    std::string subCodeDescriptor;                  // "PQ DESCR", "CDTEXT" or ""
    std::string cdMode;                             // "DA" for the image
    std::string ssm;                                // "0" for the image
    std::string scrambled;                          // "0" for the image
    std::optional<std::int64_t> pregapPart2;        // absent gives spaces
    std::string fileName;                           // at most 17 characters
    std::optional<std::int64_t> startingFileOffset; // absent gives spaces
};

// One 128-byte map packet.
std::string mapPacket(const MapPacket& packet);

// One 64-byte PQ packet. `trackNumber` is two digits or "AA"; `control` two upper-case hex digits;
// the time is written from |timeFrames| as decimal minutes, seconds and frames.
std::string pqPacket(std::string_view trackNumber, std::int64_t index, std::int64_t timeFrames,
                     std::string_view isrc, std::string_view control);

// "01", plus 0x10 for pre-emphasis and 0x20 for a permitted copy: "01", "11", "21" or "31".
std::string controlCode(const CDTrack& track);

// The 128-byte DDPID record.
std::string ddpidData(const CDProject& project);

// DDPMS: the PQ packet, a CD-Text packet if `cdTextByteLength` is present, the image packet last.
// `totalSectors` is the last position's endLBA, `track1PauseFrames` the first one's index01LBA.
std::string ddpmsData(std::int64_t totalSectors, std::int64_t track1PauseFrames, std::int64_t pqByteLength,
                      std::optional<std::int64_t> cdTextByteLength);

// PQDESCR: lead-in, per track index 0 (only for a real pre-gap), index 1 and the sub-indexes, then
// the lead-out. `positions` has one entry per track, in track order; empty gives the lead-in only.
std::string pqDescrData(const CDProject& project, std::span<const TrackPosition> positions);

// The fileset's own IMAGE.cue, UTF-8, each line ending in a line feed.
std::string imageCueText(const CDProject& project, std::span<const TrackPosition> positions);

// The names checksum.md5 lists, in order: the fileset's files, then the extra files as given.
// The caller skips those that are not in the folder; checksum.md5 never lists itself.
std::vector<std::string> checksumFileNames(std::span<const std::string> extraFileNames);

struct ChecksumEntry {
    std::string fileName;
    std::string md5Hex; // 32 lower-case hexadecimal digits
    bool operator==(const ChecksumEntry&) const = default;
};

// checksum.md5: per entry the hash, two spaces, the name and a line feed.
std::string checksumText(std::span<const ChecksumEntry> entries);

} // namespace DDPWriter

} // namespace orvane
