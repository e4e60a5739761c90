// The ID3v2 tag parser: the text frames that name a track, from a tag held whole in memory.

#include "metadata/AudioMetadataReader.h"
#include "metadata/detail/TagBytes.h"
#include "metadata/detail/TagText.h"

#include <array>
#include <cstddef>
#include <utility>

namespace orvane {

namespace {

constexpr std::size_t kTagHeaderBytes = 10;
constexpr std::uint32_t kUnsynchronisedTag = 0x80;
constexpr std::uint32_t kExtendedHeader = 0x40;
constexpr std::uint32_t kUnsynchronisedFrame = 0x02;
constexpr std::uint32_t kDataLengthIndicator = 0x01;

// ID3v2.2's three-letter frames and the names later versions give them.
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> v22Map{{
    {"TRC", "TSRC"},
    {"TT2", "TIT2"},
    {"TP1", "TPE1"},
    {"TCM", "TCOM"},
    {"TXT", "TEXT"},
}};

// A copy without the 0x00 that unsynchronisation puts after every 0xFF.
std::string deUnsync(std::string_view data) {
    std::string out;
    out.reserve(data.size());
    for (std::size_t at = 0; at < data.size(); ++at)
        if (!(data[at] == '\0' && at > 0 && detail::byteAt(data, at - 1) == 0xFF))
            out += data[at];
    return out;
}

bool isFrameIdentifier(std::string_view id) {
    if (id.empty())
        return false;
    for (const char c : id)
        if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')))
            return false;
    return true;
}

std::string_view laterFrameName(std::string_view id, std::uint32_t majorVersion) {
    if (majorVersion != 2)
        return id;
    for (const auto& [old, later] : v22Map)
        if (old == id)
            return later;
    return {};
}

// The field a frame fills, or nothing for frames the track has no use for.
std::optional<std::string>* fieldFor(std::string_view frame, AudioFileMetadata& tags) {
    if (frame == "TSRC")
        return &tags.isrc;
    if (frame == "TIT2")
        return &tags.title;
    if (frame == "TPE1")
        return &tags.performer;
    if (frame == "TCOM")
        return &tags.composer;
    if (frame == "TEXT")
        return &tags.songwriter;
    return nullptr;
}

std::uint32_t frameSize(std::string_view body, std::size_t at, std::uint32_t majorVersion) {
    if (majorVersion == 2)
        return detail::bigEndian24(body, at + 3);
    if (majorVersion >= 4)
        return detail::syncsafe(body, at + 4);
    return detail::bigEndian32(body, at + 4);
}

void fillFromFrame(std::string_view id, std::string_view payload, std::uint32_t majorVersion,
                   std::uint32_t formatFlags, AudioFileMetadata& tags) {
    std::optional<std::string>* field = fieldFor(laterFrameName(id, majorVersion), tags);
    if (field == nullptr || field->has_value())
        return; // the first usable frame of a kind wins
    std::string unsynchronised;
    if (majorVersion >= 4 && (formatFlags & kUnsynchronisedFrame) != 0) {
        unsynchronised = deUnsync(payload);
        payload = unsynchronised;
    }
    if (majorVersion >= 4 && (formatFlags & kDataLengthIndicator) != 0 && payload.size() >= 5)
        payload.remove_prefix(4);
    std::optional<std::string> text = detail::decodeID3Text(payload);
    if (text && field == &tags.isrc)
        text = AudioMetadataReader::normalizeISRC(*text);
    *field = std::move(text);
}

} // namespace

AudioFileMetadata AudioMetadataReader::parseID3(std::string_view data) {
    AudioFileMetadata tags;
    if (data.size() < kTagHeaderBytes || !data.starts_with("ID3"))
        return tags;
    const std::uint32_t majorVersion = detail::byteAt(data, 3);
    const std::uint32_t tagFlags = detail::byteAt(data, 5);
    const std::uint32_t tagSize = detail::syncsafe(data, 6);
    if (tagSize < 1)
        return tags;
    std::string_view body = data.substr(kTagHeaderBytes, tagSize);
    std::string unsynchronised;
    if ((tagFlags & kUnsynchronisedTag) != 0) {
        unsynchronised = deUnsync(body);
        body = unsynchronised;
    }
    if ((tagFlags & kExtendedHeader) != 0 && body.size() >= 4) {
        const std::uint64_t extendedBytes =
            majorVersion <= 3 ? std::uint64_t{detail::bigEndian32(body, 0)} + 4 : detail::syncsafe(body, 0);
        if (extendedBytes >= body.size())
            return tags;
        body.remove_prefix(extendedBytes);
    }

    const std::size_t headerBytes = majorVersion == 2 ? 6 : 10;
    const std::size_t idBytes = majorVersion == 2 ? 3 : 4;
    std::size_t at = 0;
    while (detail::fits(body, at, headerBytes)) {
        const std::string_view id = body.substr(at, idBytes);
        if (!isFrameIdentifier(id))
            break; // padding
        const std::uint32_t size = frameSize(body, at, majorVersion);
        if (size == 0 || !detail::fits(body, at + headerBytes, size))
            break;
        const std::uint32_t formatFlags = majorVersion == 2 ? 0 : detail::byteAt(body, at + 9);
        fillFromFrame(id, body.substr(at + headerBytes, size), majorVersion, formatFlags, tags);
        at += headerBytes + size;
    }
    return tags;
}

} // namespace orvane
