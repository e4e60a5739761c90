#pragma once
// Sources and images the tests make and read: WAV files of a signal given sample by sample,
// tracks that play them, and the 16-bit samples of an image's bytes. Tests only.

#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "platform/AudioFileWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace orvane::testing {

using Signal = std::function<float(int channel, std::int64_t n)>;

// Float samples by default, so that what is read back is exactly what the signal gave.
inline std::filesystem::path writeSource(const std::filesystem::path& file, double rate, int channels,
                                         std::int64_t frames, const Signal& signal,
                                         AudioSampleFormat format = AudioSampleFormat::float32) {
    auto writer = AudioFileWriter::open(file, {AudioContainer::wav, format, rate, channels});
    EXPECT_TRUE(writer.has_value());
    AudioBuffer buffer(rate, channels, static_cast<std::size_t>(std::max<std::int64_t>(frames, 1)));
    for (int ch = 0; ch < channels; ++ch)
        for (std::int64_t n = 0; n < frames; ++n)
            buffer.channel(ch)[n] = signal(ch, n);
    buffer.setFrameLength(static_cast<std::size_t>(frames));
    if (frames > 0) {
        EXPECT_TRUE(writer->write(buffer).has_value());
    }
    EXPECT_TRUE(writer->finish().has_value());
    return file;
}

// A sine per channel.
inline Signal tone(double leftHz, double rightHz, double rate, double amplitude = 0.5) {
    return [=](int ch, std::int64_t n) {
        return static_cast<float>(amplitude * std::sin(2.0 * M_PI * (ch == 0 ? leftHz : rightHz) * n / rate));
    };
}

inline CDTrack trackOf(const std::filesystem::path& file, std::int64_t preGapFrames, std::int64_t samples) {
    CDTrack track = CDTrack::make(file.stem().string(), std::nullopt, preGapFrames, samples);
    track.audioFileURL = FileURL::fromPath(file);
    return track;
}

inline std::string fileBytes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Little-endian 16-bit samples, interleaved as they stand in the bytes.
inline std::vector<std::int16_t> samples16(const std::string& bytes) {
    std::vector<std::int16_t> out(bytes.size() / 2);
    for (std::size_t i = 0; i < out.size(); ++i)
        out[i] = static_cast<std::int16_t>(static_cast<std::uint8_t>(bytes[2 * i]) |
                                           (static_cast<std::uint8_t>(bytes[2 * i + 1]) << 8));
    return out;
}

} // namespace orvane::testing
