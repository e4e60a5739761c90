#include "interface/ZeroCrossing.h"

#include "platform/AudioFileReader.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace orvane::ZeroCrossing {

std::optional<std::int64_t> nearest(const std::filesystem::path& file, std::int64_t sample441) {
    auto reader = AudioFileReader::open(file);
    if (!reader) {
        return std::nullopt;
    }
    const double rate = reader->sampleRate();
    const int channels = reader->channelCount();
    if (!(rate > 0) || channels <= 0) {
        return std::nullopt;
    }
    const double ratio = rate / 44100.0;
    const auto native = static_cast<std::int64_t>(std::llround(static_cast<double>(sample441) * ratio));
    const std::int64_t half = std::max<std::int64_t>(static_cast<std::int64_t>(rate * searchSeconds), 1);
    const std::int64_t start = std::max<std::int64_t>(native - half, 0);
    const std::int64_t left = reader->lengthFrames() - start;
    const std::int64_t count = std::min<std::int64_t>(2 * half, left);
    if (count < 2 || !reader->setFramePosition(start)) {
        return std::nullopt;
    }
    AudioBuffer buffer = reader->makeBuffer(static_cast<std::size_t>(count));
    const auto got = reader->read(buffer, static_cast<std::size_t>(count));
    if (!got || *got < 2) {
        return std::nullopt;
    }
    std::vector<float> mono(*got, 0.0f);
    for (int c = 0; c < channels; ++c) {
        const float* samples = buffer.channel(c);
        for (std::size_t i = 0; i < *got; ++i) {
            mono[i] += samples[i] / static_cast<float>(channels);
        }
    }
    std::optional<std::int64_t> best;
    std::int64_t bestDistance = 0;
    for (std::size_t i = 1; i < mono.size(); ++i) {
        const bool rising = mono[i - 1] <= 0.0f && mono[i] > 0.0f;
        const bool falling = mono[i - 1] >= 0.0f && mono[i] < 0.0f;
        if (!rising && !falling) {
            continue;
        }
        const std::int64_t frame = start + static_cast<std::int64_t>(i);
        const std::int64_t distance = std::abs(frame - native);
        if (!best || distance < bestDistance) {
            best = frame;
            bestDistance = distance;
        }
    }
    if (!best) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(std::llround(static_cast<double>(*best) / ratio));
}

Trims snapped(Trims trims, std::int64_t source, Edge edge, std::int64_t z) {
    if (edge == Edge::start) {
        trims.trimStartSamples = std::max<std::int64_t>(
            std::min(z, std::max<std::int64_t>(source - trims.trimEndSamples - minKeptSamples, 0)), 0);
    } else {
        trims.trimEndSamples = std::max<std::int64_t>(
            std::min(source - z, std::max<std::int64_t>(source - trims.trimStartSamples - minKeptSamples, 0)),
            0);
    }
    return trims;
}

} // namespace orvane::ZeroCrossing
