#include "analysis/WaveformGenerator.h"

#include "platform/AudioFileReader.h"

#include <algorithm>
#include <iostream>
#include <limits>

namespace orvane::WaveformGenerator {

namespace {

// The extremes of the bucket being filled; it carries across read blocks.
struct Bucket {
    float minimum = std::numeric_limits<float>::infinity();
    float maximum = -std::numeric_limits<float>::infinity();
    std::int64_t frames = 0;

    void add(float m) {
        minimum = std::min(minimum, m);
        maximum = std::max(maximum, m);
        ++frames;
    }
    void flushInto(std::vector<float>& peaks) {
        peaks.push_back(minimum);
        peaks.push_back(maximum);
        *this = Bucket{};
    }
};

} // namespace

std::vector<float> generatePeaks(const std::filesystem::path& url) {
    std::vector<float> peaks;
    auto reader = AudioFileReader::open(url);
    if (!reader || reader->channelCount() < 1) {
        return peaks;
    }
    const std::int64_t total = reader->lengthFrames();
    if (total <= 0) {
        return peaks;
    }
    peaks.reserve(static_cast<std::size_t>(2 * (total / samplesPerBucket + 1)));

    AudioBuffer block = reader->makeBuffer(readBlockFrames);
    const bool stereo = reader->channelCount() >= 2;
    Bucket bucket;
    while (true) {
        const auto got = reader->read(block);
        if (!got) {
            std::cout << "WaveformGenerator: read failed for " << url.string() << ": " << got.error().message
                      << '\n';
            break;
        }
        if (*got == 0) {
            break;
        }
        const float* left = block.channel(0);
        const float* right = stereo ? block.channel(1) : left;
        for (std::size_t i = 0; i < *got; ++i) {
            bucket.add((left[i] + right[i]) * 0.5f);
            if (bucket.frames == samplesPerBucket) {
                bucket.flushInto(peaks);
            }
        }
    }
    if (bucket.frames > 0) {
        bucket.flushInto(peaks);
    }
    return peaks;
}

} // namespace orvane::WaveformGenerator
