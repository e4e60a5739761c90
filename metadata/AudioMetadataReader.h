#pragma once
// Reads the tags embedded in an audio file (Broadcast-WAV bext, iXML, aXML, LIST INFO, AIFF text
// chunks and ID3v2) to pre-fill a new track's ISRC, title and people. A hand-written walk of the
// container that never fails: an unreadable, unknown or hostile file gives an empty or partial record.
// Stateless; any thread.

#include "metadata/AudioFileMetadata.h"
#include "metadata/TagSource.h"
#include "model/FileURL.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::AudioMetadataReader {

// The most read of any one chunk or leading tag; larger ones are skipped as if absent.
inline constexpr std::uint64_t maxChunkBytes = 8388608;

// The tags of a local file. RIFF/RF64 WAVE, AIFF/AIFC and files that begin with an ID3 tag are
// understood; anything else, or a file that cannot be opened, gives the empty record.
AudioFileMetadata read(const FileURL& url);
AudioFileMetadata read(const std::filesystem::path& path);
// The same over any source of a file's bytes.
AudioFileMetadata read(const TagSource& source);

// Upper case, letters and digits only; absent unless that is a well-formed ISRC
// (two letters, three letters or digits, seven digits).
std::optional<std::string> normalizeISRC(std::string_view text);

// The ISRC, title, performer, composer and songwriter of a whole ID3v2.2, v2.3 or v2.4 tag, header
// at offset 0. Frames past a damaged one are lost; those before it stand.
AudioFileMetadata parseID3(std::string_view data);

} // namespace orvane::AudioMetadataReader
