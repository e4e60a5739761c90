#include "metadata/AudioMetadataReader.h"

#include "metadata/detail/ISRCText.h"
#include "metadata/detail/TagBytes.h"
#include "metadata/detail/TagText.h"

#include <algorithm>
#include <cstdio>
#include <system_error>
#include <utility>

namespace orvane {

namespace {

constexpr std::uint64_t kFileHeaderBytes = 12;
constexpr std::uint64_t kChunkHeaderBytes = 8;
constexpr std::uint32_t kRF64SizeInDS64 = 0xFFFFFFFF;

// A read-only local file, closed on every way out.
class FileTagSource final : public TagSource {
  public:
    explicit FileTagSource(const std::filesystem::path& path) {
        // Only regular files: opening a FIFO or a device could block or never end.
        std::error_code error;
        if (!std::filesystem::is_regular_file(path, error))
            return;
        file_ = std::fopen(path.c_str(), "rb");
        if (file_ == nullptr)
            return;
        if (fseeko(file_, 0, SEEK_END) == 0) {
            const off_t end = ftello(file_);
            length_ = end > 0 ? static_cast<std::uint64_t>(end) : 0;
        }
    }
    ~FileTagSource() override {
        if (file_ != nullptr)
            std::fclose(file_);
    }
    FileTagSource(const FileTagSource&) = delete;
    FileTagSource& operator=(const FileTagSource&) = delete;

    std::uint64_t length() const override { return length_; }

    bool readAt(std::uint64_t offset, std::span<char> out) const override {
        if (file_ == nullptr || offset > length_ || out.size() > length_ - offset)
            return false;
        if (fseeko(file_, static_cast<off_t>(offset), SEEK_SET) != 0)
            return false;
        return std::fread(out.data(), 1, out.size(), file_) == out.size();
    }

  private:
    std::FILE* file_ = nullptr;
    std::uint64_t length_ = 0;
};

enum class SizeOrder : std::uint8_t { littleEndian, bigEndian };

struct ChunkHeader {
    std::string id;
    std::uint64_t size = 0;
};

std::optional<ChunkHeader> chunkHeader(const TagSource& source, std::uint64_t at, SizeOrder order) {
    char bytes[kChunkHeaderBytes];
    if (!source.readAt(at, bytes))
        return std::nullopt;
    const std::string_view view(bytes, sizeof bytes);
    const std::uint32_t size =
        order == SizeOrder::littleEndian ? detail::littleEndian32(view, 4) : detail::bigEndian32(view, 4);
    return ChunkHeader{std::string(detail::fourCC(view, 0)), size};
}

// A chunk's bytes, or nothing when it is empty, larger than the cap or cut off by the file's end.
// The size is checked against the file before anything is allocated.
std::optional<std::string> readChunk(const TagSource& source, std::uint64_t at, std::uint64_t size) {
    if (size == 0 || size > AudioMetadataReader::maxChunkBytes)
        return std::nullopt;
    if (at > source.length() || size > source.length() - at)
        return std::nullopt;
    std::string bytes(size, '\0');
    if (!source.readAt(at, bytes))
        return std::nullopt;
    return bytes;
}

// Where the chunk after this one starts, padded to an even size; nothing once that lies past the
// file, which also ends the walk when a size is absurd.
std::optional<std::uint64_t> nextChunk(const TagSource& source, std::uint64_t at, std::uint64_t size) {
    if (size > source.length())
        return std::nullopt;
    return at + kChunkHeaderBytes + size + (size & 1);
}

struct InfoText {
    std::optional<std::string> title;
    std::optional<std::string> performer;
};

InfoText parseListINFO(std::string_view data) {
    InfoText info;
    std::size_t at = 0;
    while (detail::fits(data, at, kChunkHeaderBytes)) {
        const std::string_view id = detail::fourCC(data, at);
        const std::uint32_t size = detail::littleEndian32(data, at + 4);
        if (!detail::fits(data, at + kChunkHeaderBytes, size))
            break;
        const std::string_view value = data.substr(at + kChunkHeaderBytes, size);
        if (id == "INAM" && !info.title)
            info.title = detail::trimmedText(value, detail::TagEncoding::latin1);
        else if (id == "IART" && !info.performer)
            info.performer = detail::trimmedText(value, detail::TagEncoding::latin1);
        at += kChunkHeaderBytes + size + (size & 1);
    }
    return info;
}

struct RIFFChunks {
    std::optional<std::string> bext, axml, ixml, id3, info;
};

// Keeps the latest readable chunk of a kind; one that cannot be read leaves an earlier one standing.
void keep(std::optional<std::string>& slot, std::optional<std::string> chunk) {
    if (chunk)
        slot = std::move(chunk);
}

RIFFChunks collectRIFFChunks(const TagSource& source) {
    RIFFChunks chunks;
    std::optional<std::uint64_t> ds64DataSize;
    std::optional<std::uint64_t> at = kFileHeaderBytes;
    while (at) {
        const std::optional<ChunkHeader> header = chunkHeader(source, *at, SizeOrder::littleEndian);
        if (!header)
            break;
        const std::uint64_t body = *at + kChunkHeaderBytes;
        std::uint64_t size = header->size;
        const std::string& id = header->id;
        if (id == "ds64") {
            const std::optional<std::string> ds64 = readChunk(source, body, size);
            if (ds64 && ds64->size() >= 16)
                ds64DataSize = detail::littleEndian64(*ds64, 8);
        } else if (id == "data") {
            // An RF64 data chunk gives its true size in ds64, so the walk reaches what follows the audio.
            if (size == kRF64SizeInDS64 && ds64DataSize)
                size = *ds64DataSize;
        } else if (id == "bext") {
            keep(chunks.bext, readChunk(source, body, size));
        } else if (id == "axml") {
            keep(chunks.axml, readChunk(source, body, size));
        } else if (id == "iXML" || id == "ixml") {
            keep(chunks.ixml, readChunk(source, body, size));
        } else if (id == "ID3 " || id == "id3 ") {
            keep(chunks.id3, readChunk(source, body, size));
        } else if (id == "LIST") {
            const std::optional<std::string> list = readChunk(source, body, size);
            if (list && list->starts_with("INFO"))
                chunks.info = list->substr(4);
        }
        at = nextChunk(source, *at, size);
    }
    return chunks;
}

AudioFileMetadata parseRIFF(const TagSource& source) {
    const RIFFChunks chunks = collectRIFFChunks(source);
    const AudioFileMetadata id3 =
        chunks.id3 ? AudioMetadataReader::parseID3(*chunks.id3) : AudioFileMetadata{};
    InfoText info = chunks.info ? parseListINFO(*chunks.info) : InfoText{};

    AudioFileMetadata result;
    // iXML and aXML are written by the mastering tools that set the code deliberately; the bext
    // description is free text and the least trusted.
    if (chunks.ixml)
        result.isrc = detail::isrcFromIXML(*chunks.ixml);
    if (!result.isrc && chunks.axml)
        result.isrc = detail::isrcFromAXML(*chunks.axml);
    if (!result.isrc)
        result.isrc = id3.isrc;
    if (!result.isrc && chunks.bext)
        result.isrc = detail::isrcFromBext(*chunks.bext);
    result.title = id3.title ? id3.title : std::move(info.title);
    result.performer = id3.performer ? id3.performer : std::move(info.performer);
    result.composer = id3.composer;
    result.songwriter = id3.songwriter;
    return result;
}

AudioFileMetadata parseAIFF(const TagSource& source) {
    std::optional<std::string> name, author, id3Chunk;
    std::optional<std::uint64_t> at = kFileHeaderBytes;
    while (at) {
        const std::optional<ChunkHeader> header = chunkHeader(source, *at, SizeOrder::bigEndian);
        if (!header)
            break;
        const std::uint64_t body = *at + kChunkHeaderBytes;
        const std::string& id = header->id;
        if (id == "NAME" && !name) {
            if (const auto chunk = readChunk(source, body, header->size))
                name = detail::trimmedText(*chunk, detail::TagEncoding::latin1);
        } else if (id == "AUTH" && !author) {
            if (const auto chunk = readChunk(source, body, header->size))
                author = detail::trimmedText(*chunk, detail::TagEncoding::latin1);
        } else if (id == "ID3 " || id == "id3 ") {
            keep(id3Chunk, readChunk(source, body, header->size));
        }
        at = nextChunk(source, *at, header->size);
    }
    AudioFileMetadata result = id3Chunk ? AudioMetadataReader::parseID3(*id3Chunk) : AudioFileMetadata{};
    if (!result.title)
        result.title = std::move(name);
    if (!result.performer)
        result.performer = std::move(author);
    return result;
}

// A tag at the file's head, as MP3 files carry it.
AudioFileMetadata parseLeadingID3(const TagSource& source, std::string_view header) {
    const std::uint64_t wanted = std::uint64_t{detail::syncsafe(header, 6)} + 10;
    const std::uint64_t size = std::min({wanted, AudioMetadataReader::maxChunkBytes, source.length()});
    std::string tag(size, '\0');
    if (!source.readAt(0, tag))
        return {};
    return AudioMetadataReader::parseID3(tag);
}

} // namespace

AudioFileMetadata AudioMetadataReader::read(const TagSource& source) {
    char bytes[kFileHeaderBytes];
    if (!source.readAt(0, bytes))
        return {};
    const std::string_view header(bytes, sizeof bytes);
    const std::string_view form = detail::fourCC(header, 0);
    const std::string_view kind = detail::fourCC(header, 8);
    if ((form == "RIFF" || form == "RF64") && kind == "WAVE")
        return parseRIFF(source);
    if (form == "FORM" && (kind == "AIFF" || kind == "AIFC"))
        return parseAIFF(source);
    if (header.starts_with("ID3"))
        return parseLeadingID3(source, header);
    return {};
}

AudioFileMetadata AudioMetadataReader::read(const std::filesystem::path& path) {
    const FileTagSource source(path);
    return read(source);
}

AudioFileMetadata AudioMetadataReader::read(const FileURL& url) {
    const std::filesystem::path path = url.path();
    if (path.empty())
        return {};
    return read(path);
}

} // namespace orvane
