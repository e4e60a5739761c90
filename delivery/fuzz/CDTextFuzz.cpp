// libFuzzer target for the CD-Text pack parsers: any bytes must parse without a fault.

#include "delivery/DDPReader.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    for (int block = 0; block < 2; ++block) {
        const orvane::CDTextBlock parsed = orvane::DDPReader::parseCDText(bytes, block);
        for (const auto& [type, run] : parsed)
            for (std::int64_t n = 0; n < 100; ++n)
                orvane::DDPReader::text(parsed, type, n);
        orvane::DDPReader::parseCDTextLanguage(bytes, block);
    }
    orvane::DDPReader::parseCDTextGenre(bytes);
    return 0;
}
