// libFuzzer target for the tag reader: any bytes, read as a file or as a bare ID3 tag, must give a
// record whose values keep the reader's promises, without a fault.

#include "metadata/AudioMetadataReader.h"
#include "metadata/TagSource.h"
#include "metadata/detail/TagText.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace {

void checkText(const std::optional<std::string>& text) {
    if (!text)
        return;
    if (text->empty() || !orvane::detail::isValidUTF8(*text))
        __builtin_trap(); // values are non-empty UTF-8
    const char first = text->front();
    const char last = text->back();
    if (first == ' ' || first == '\0' || first == '\n' || last == ' ' || last == '\0' || last == '\n')
        __builtin_trap(); // values are trimmed
}

void checkRecord(const orvane::AudioFileMetadata& tags) {
    if (tags.isrc && tags.isrc != orvane::AudioMetadataReader::normalizeISRC(*tags.isrc))
        __builtin_trap(); // an ISRC is always the normalised form
    checkText(tags.title);
    checkText(tags.performer);
    checkText(tags.composer);
    checkText(tags.songwriter);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    checkRecord(orvane::AudioMetadataReader::read(orvane::MemoryTagSource(bytes)));
    checkRecord(orvane::AudioMetadataReader::parseID3(bytes));
    if (const auto isrc = orvane::AudioMetadataReader::normalizeISRC(bytes); isrc && isrc->size() != 12)
        __builtin_trap();
    return 0;
}
