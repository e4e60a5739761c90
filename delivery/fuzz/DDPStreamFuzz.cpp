// libFuzzer target for the DDP map and PQ parsers: any bytes must give a value or an error.

#include "delivery/DDPReader.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    for (const orvane::DDPStream& stream : orvane::DDPReader::parseDDPMS(bytes))
        if (stream.length && *stream.length < 0)
            __builtin_trap(); // lengths are read from digits only
    if (const auto pq = orvane::DDPReader::parsePQ(bytes)) {
        std::int64_t expected = 1;
        for (const orvane::PQTrack& track : pq->tracks)
            if (track.number != expected++)
                __builtin_trap(); // the parser promises contiguous numbers
    }
    return 0;
}
