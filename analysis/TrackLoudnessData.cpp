#include "analysis/TrackLoudnessData.h"

#include "analysis/LoudnessAnalyzer.h"
#include "platform/Base64.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace orvane {

namespace {

// Each value narrowed to a 32-bit float, its little-endian bytes in order, in Base64.
std::string pack(const std::vector<double>& values) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(values.size() * 4);
    for (double v : values) {
        const auto bits = std::bit_cast<std::uint32_t>(static_cast<float>(v));
        for (int shift = 0; shift < 32; shift += 8)
            bytes.push_back(static_cast<std::uint8_t>(bits >> shift));
    }
    return Base64::encode(bytes);
}

std::optional<std::vector<double>> unpack(const std::string& text) {
    const auto bytes = Base64::decode(text);
    if (!bytes || bytes->size() % 4 != 0)
        return std::nullopt;
    std::vector<double> values;
    values.reserve(bytes->size() / 4);
    for (std::size_t i = 0; i < bytes->size(); i += 4) {
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 4; ++k)
            bits |= std::uint32_t{(*bytes)[i + k]} << (8 * k);
        values.push_back(static_cast<double>(std::bit_cast<float>(bits)));
    }
    return values;
}

} // namespace

std::optional<TrackLoudness> TrackLoudnessData::summary() const {
    const auto lufs = LoudnessAnalyzer::integrated(blocks);
    if (!lufs)
        return std::nullopt;
    return TrackLoudness{*lufs, LoudnessAnalyzer::truePeakDB(peak),
                         LoudnessAnalyzer::loudnessRange(hops, hopSamples)};
}

std::optional<StoredLoudness> TrackLoudnessData::stored(std::int64_t fileSize, Timestamp fileModified) const {
    const auto figures = summary();
    if (!figures)
        return std::nullopt;
    StoredLoudness out;
    out.fileSize = fileSize;
    out.fileModified = fileModified;
    out.lufs = figures->lufs;
    out.truePeak = figures->truePeak;
    out.lra = figures->lra;
    out.blocks = pack(blocks);
    out.hops = pack(hops);
    out.hopSamples = hopSamples;
    return out;
}

std::optional<TrackLoudnessData> TrackLoudnessData::unpacked(const StoredLoudness& from) {
    if (!from.blocks || !from.hops || !from.hopSamples)
        return std::nullopt;
    auto blocks = unpack(*from.blocks);
    auto hops = unpack(*from.hops);
    if (!blocks || !hops || blocks->empty())
        return std::nullopt;
    TrackLoudnessData data;
    data.blocks = std::move(*blocks);
    data.hops = std::move(*hops);
    data.hopSamples = *from.hopSamples;
    data.peak = std::pow(10.0, from.truePeak / 20.0);
    return data;
}

} // namespace orvane
