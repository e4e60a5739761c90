// libFuzzer target for the CUE sheet's decoding and parser: any bytes must decode and parse without
// a fault, and what the parser keeps must be usable as it promises.

#include "delivery/CUEImporter.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto text = orvane::CUEImporter::decodeText(bytes);
    if (!text)
        return 0;
    const orvane::ParsedSheet sheet = orvane::CUEImporter::parse(*text);
    for (const auto* list : {&sheet.tracks, &sheet.dataTracks})
        for (const orvane::ParsedTrack& track : *list) {
            // Every track points at a FILE the sheet has, and every time is a place on a disc.
            if (track.fileIndex >= sheet.files.size() || track.audioFileIndex() >= sheet.files.size())
                std::abort();
            if ((track.index01 && *track.index01 < 0) || (track.index00 && *track.index00 < 0) ||
                track.pregapFrames < 0 || track.postgapFrames < 0)
                std::abort();
        }
    return 0;
}
