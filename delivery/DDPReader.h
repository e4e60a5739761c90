#pragma once
// Reads a DDP 2.00 fileset from any source back into an editable project: the map, PQ and CD-Text
// streams are parsed, and IMAGE.DAT is cut at frame boundaries into one WAV file per track. The
// parsers are pure and tolerant; importDDP reads and writes files. Any thread (the import runs on a
// background queue).

#include "delivery/DDPImportError.h"
#include "model/CDProject.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <istream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <vector>

namespace orvane {

// One map packet of DDPMS.
struct DDPStream {
    std::string type;                   // the 2 characters of streamType
    std::optional<std::int64_t> length; // absent when the field holds no decimal number
    std::string subDescriptor;          // trimmed
    std::string fileName;               // trimmed
    bool operator==(const DDPStream&) const = default;
};

// Everything the PQ stream says of one track.
struct PQTrack {
    std::int64_t number = 0;
    std::optional<std::int64_t> index00;
    std::int64_t index01 = 0;
    std::map<std::int64_t, std::int64_t> subIndexLBAs; // index number (2 to 99) to LBA
    std::string isrc;
    bool preEmphasis = false;
    bool copyPermitted = false;
    bool operator==(const PQTrack&) const = default;
};

struct PQDescriptor {
    std::vector<PQTrack> tracks; // sorted, numbered 1, 2, 3 ...
    std::int64_t leadOutLBA = 0;
    bool operator==(const PQDescriptor&) const = default;
};

// The strings of one CD-Text pack type in one block: album first when firstTrack is 0.
struct CDTextRun {
    std::int64_t firstTrack = 0;
    std::vector<std::string> strings; // UTF-8
    bool operator==(const CDTextRun&) const = default;
};

using CDTextBlock = std::map<std::uint8_t, CDTextRun>; // by pack type

struct CDTextGenreValue {
    std::int64_t code = 0;
    std::string text; // UTF-8
    bool operator==(const CDTextGenreValue&) const = default;
};

namespace DDPReader {

// Status text and fraction done (0...1); false stops the import with the cancel error.
using ImportProgress = std::function<bool(std::string_view status, double fraction)>;
// Fraction of one file done; false stops with the cancel error.
using FractionProgress = std::function<bool(double fraction)>;

// The text of record[offset, offset + length) if that lies inside the record and is 7-bit ASCII;
// otherwise "".
std::string ascii(std::string_view record, std::size_t offset, std::size_t length);

// Leading and trailing spaces and tabs removed.
std::string trimmed(std::string_view text);

// Every whole 128-byte packet beginning "VVVM", in stream order; other packets are skipped.
std::vector<DDPStream> parseDDPMS(std::string_view data);

// The tracks and the lead-out. Unreadable packets are skipped; fails with invalidPQ when there is
// no lead-out or the track numbers have a hole.
tl::expected<PQDescriptor, DDPImportError> parsePQ(std::string_view data);

// The runs of block `block` (0 or 1). Packs with a bad CRC, another block or an unknown type are
// skipped in silence.
CDTextBlock parseCDText(std::string_view data, int block);

// The genre of block 0, or nothing when its packs carry fewer than 2 bytes.
std::optional<CDTextGenreValue> parseCDTextGenre(std::string_view data);

// The language code of `block` from the size information, or nothing.
std::optional<std::int64_t> parseCDTextLanguage(std::string_view data, int block);

// strings[n - firstTrack] of `type` if it exists and is not empty; n = 0 is the album.
std::optional<std::string> text(const CDTextBlock& block, std::uint8_t type, std::int64_t n);

// The block 1 text, or nothing when it equals the block 0 text (an inherited value).
std::optional<std::string> text2(const CDTextBlock& block0, const CDTextBlock& block1, std::uint8_t type,
                                 std::int64_t n);

// The LBA of the first frame in [fromLBA, toLBA) of the image holding a non-zero byte, or nothing
// when that range (or the readable part of it) is digital silence. Reads 512 frames at a time.
std::optional<std::int64_t> firstNonSilentLBA(std::istream& image, std::int64_t fromLBA, std::int64_t toLBA);

// The 44-byte header of a 16-bit stereo 44.1 kHz PCM WAV holding `dataBytes` bytes of samples.
std::string wavHeader(std::uint32_t dataBytes);

// Writes source[byteOffset, byteOffset + byteLength) as a WAV file at `to`. The bytes go to a
// hidden temporary beside `to` that is renamed into place only when complete; on any failure it
// is removed. Fails with audioTooShort when the source ends early, cannotWrite, or cancelled.
tl::expected<void, DDPImportError> extractWAV(std::istream& source, std::int64_t byteOffset,
                                              std::int64_t byteLength, const std::filesystem::path& to,
                                              const FractionProgress& progress = {});

// Reads the fileset in `folder`, writes one "TrackNN.wav" per track into `audioDestination`
// (created if needed) and returns the project pointing at them. Only the PQ stream and the image
// are required. WAV files written before a failure stay.
tl::expected<CDProject, DDPImportError> importDDP(const std::filesystem::path& folder,
                                                  const std::filesystem::path& audioDestination,
                                                  const ImportProgress& progress = {});

// baseName + " Audio" inside `parent`, or " Audio 2", " Audio 3" ... the first that does not exist.
std::filesystem::path freeAudioFolder(const std::filesystem::path& parent, std::string_view baseName);

// The bytes of a small stream file, or nothing when it is missing, unreadable or larger than
// `maxBytes` (which no stream of a real fileset is).
std::optional<std::string> readStreamFile(const std::filesystem::path& file, std::int64_t maxBytes);

// `name` inside `folder` if it is a relative path that stays inside it; nothing otherwise, so that a
// hostile fileset cannot point the reader at files elsewhere.
std::optional<std::filesystem::path> fileInFolder(const std::filesystem::path& folder, std::string_view name);

// The largest stream file (DDPID, DDPMS, PQDESCR, CDTEXT.BIN) the reader accepts.
inline constexpr std::int64_t maxStreamFileBytes = 16 * 1024 * 1024;

} // namespace DDPReader

} // namespace orvane
