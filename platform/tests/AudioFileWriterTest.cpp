#include "platform/AudioFileWriter.h"

#include "platform/AudioFileReader.h"
#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace orvane {
namespace {

class AudioFileWriterTest : public ::testing::Test {
  protected:
    std::filesystem::path file(const std::string& name) const { return temp_.path / name; }

    testing::TempFolder temp_{"orvane-writer"};
};

// Samples on the integer grid of `bits`, with both extremes, so a lossless round trip must be exact.
AudioBuffer gridSignal(double rate, int channels, std::size_t frames, int bits, unsigned seed) {
    AudioBuffer buffer(rate, channels, frames);
    std::mt19937 random(seed);
    const std::int64_t full = std::int64_t{1} << (bits - 1);
    std::uniform_int_distribution<std::int64_t> value(-full, full - 1);
    for (int c = 0; c < channels; ++c) {
        for (std::size_t i = 0; i < frames; ++i) {
            buffer.channel(c)[i] =
                static_cast<float>(static_cast<double>(value(random)) / static_cast<double>(full));
        }
        buffer.channel(c)[0] = -1.0f;
        buffer.channel(c)[1] = static_cast<float>(static_cast<double>(full - 1) / static_cast<double>(full));
    }
    buffer.setFrameLength(frames);
    return buffer;
}

AudioBuffer readAll(const std::filesystem::path& path) {
    auto reader = AudioFileReader::open(path);
    EXPECT_TRUE(reader.has_value()) << (reader ? "" : reader.error().message);
    if (!reader) {
        return AudioBuffer(0, 1, 0);
    }
    AudioBuffer buffer = reader->makeBuffer(static_cast<std::size_t>(reader->lengthFrames()));
    EXPECT_TRUE(reader->read(buffer).has_value());
    return buffer;
}

TEST_F(AudioFileWriterTest, roundTripsEveryContainerDepthAndRateExactly) {
    // What is written on the format's grid reads back bit-identical, with the format, rate and length
    // the reader reports matching what was asked for.
    struct Case {
        const char* extension;
        AudioContainer container;
        AudioSampleFormat format;
        int gridBits;
    };
    const std::vector<Case> cases = {
        {".wav", AudioContainer::wav, AudioSampleFormat::int16, 16},
        {".wav", AudioContainer::wav, AudioSampleFormat::int24, 24},
        {".wav", AudioContainer::wav, AudioSampleFormat::int32, 24}, // a float carries 24 bits exactly
        {".wav", AudioContainer::wav, AudioSampleFormat::float32, 24},
        {".aif", AudioContainer::aiff, AudioSampleFormat::int16, 16},
        {".aiff", AudioContainer::aiff, AudioSampleFormat::int24, 24},
        {".aif", AudioContainer::aiff, AudioSampleFormat::float32, 24},
        {".flac", AudioContainer::flac, AudioSampleFormat::int16, 16},
        {".flac", AudioContainer::flac, AudioSampleFormat::int24, 24},
    };
    unsigned seed = 1;
    for (const Case& c : cases) {
        for (const double rate : {44100.0, 48000.0, 96000.0}) {
            for (const int channels : {1, 2}) {
                SCOPED_TRACE(std::string(c.extension) + " bits " + std::to_string(c.gridBits) + " rate " +
                             std::to_string(rate) + " ch " + std::to_string(channels));
                const auto path = file("round" + std::to_string(seed) + c.extension);
                const AudioBuffer signal = gridSignal(rate, channels, 5000, c.gridBits, ++seed);
                {
                    auto writer = AudioFileWriter::open(path, {std::nullopt, c.format, rate, channels});
                    ASSERT_TRUE(writer.has_value()) << writer.error().message;
                    ASSERT_TRUE(writer->write(signal).has_value());
                    ASSERT_TRUE(writer->finish().has_value());
                    EXPECT_EQ(writer->framesWritten(), 5000);
                }
                auto reader = AudioFileReader::open(path);
                ASSERT_TRUE(reader.has_value());
                EXPECT_EQ(reader->fileFormat(), (AudioFileFormat{c.container, c.format, rate, channels}));
                EXPECT_EQ(reader->lengthFrames(), 5000);
                const AudioBuffer back = readAll(path);
                ASSERT_EQ(back.frameLength(), 5000u);
                for (int ch = 0; ch < channels; ++ch) {
                    for (std::size_t i = 0; i < 5000; ++i) {
                        ASSERT_EQ(back.channel(ch)[i], signal.channel(ch)[i]) << "frame " << i;
                    }
                }
            }
        }
    }
}

TEST_F(AudioFileWriterTest, quantisesOffGridSamplesByRoundingHalvesAwayAndClamping) {
    // Integer files round x * 2^(bits-1) half away from zero and clamp instead of wrapping.
    const auto path = file("quantise.wav");
    const std::vector<float> in = {0.5f / 32768.0f,
                                   -0.5f / 32768.0f,
                                   0.49f / 32768.0f,
                                   1.0f,
                                   1.5f,
                                   -1.0f,
                                   -2.0f,
                                   std::numeric_limits<float>::quiet_NaN()};
    const std::vector<int> expected = {1, -1, 0, 32767, 32767, -32768, -32768, -32768};
    AudioBuffer buffer(44100, 1, in.size());
    std::copy(in.begin(), in.end(), buffer.channel(0));
    buffer.setFrameLength(in.size());
    auto writer = AudioFileWriter::open(path, {std::nullopt, AudioSampleFormat::int16, 44100, 1});
    ASSERT_TRUE(writer.has_value());
    ASSERT_TRUE(writer->write(buffer).has_value());
    ASSERT_TRUE(writer->finish().has_value());
    const AudioBuffer back = readAll(path);
    ASSERT_EQ(back.frameLength(), in.size());
    for (std::size_t i = 0; i < in.size(); ++i) {
        EXPECT_EQ(back.channel(0)[i] * 32768.0f, static_cast<float>(expected[i])) << "sample " << i;
    }
}

TEST_F(AudioFileWriterTest, storesInterleavedInt16UnchangedAndBigEndianInAiff) {
    // Interleaved 16-bit data lands sample for sample; an AIFF stores it big-endian, a FLAC losslessly.
    const std::vector<std::int16_t> samples = {0x1234, -32768, 32767, -1, 0, 1, 258, -259};
    for (const char* name : {"int16.aif", "int16.flac", "int16.wav"}) {
        SCOPED_TRACE(name);
        const auto path = file(name);
        {
            auto writer = AudioFileWriter::open(path, {std::nullopt, AudioSampleFormat::int16, 44100, 2});
            ASSERT_TRUE(writer.has_value());
            ASSERT_TRUE(writer->writeInterleavedInt16(samples).has_value());
            ASSERT_TRUE(writer->writeInterleavedInt16(samples).has_value());
        } // the destructor finishes the file
        const AudioBuffer back = readAll(path);
        ASSERT_EQ(back.frameLength(), 8u);
        for (std::size_t i = 0; i < 8; ++i) {
            const std::size_t k = (i * 2) % samples.size();
            EXPECT_EQ(back.channel(0)[i] * 32768.0f, samples[k]);
            EXPECT_EQ(back.channel(1)[i] * 32768.0f, samples[k + 1]);
        }
    }
    std::ifstream aiff(file("int16.aif"), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(aiff)), std::istreambuf_iterator<char>());
    const auto ssnd = bytes.find("SSND");
    ASSERT_NE(ssnd, std::string::npos);
    // Chunk id, size, offset and block size come before the first sample.
    EXPECT_EQ(static_cast<unsigned char>(bytes[ssnd + 16]), 0x12);
    EXPECT_EQ(static_cast<unsigned char>(bytes[ssnd + 17]), 0x34);
}

TEST_F(AudioFileWriterTest, refusesWhatItCannotWriteWithErrorValues) {
    // Unknown types, impossible pairs, bad shapes and writes after finish come back as error values.
    const AudioWriteSettings stereo16{std::nullopt, AudioSampleFormat::int16, 44100, 2};
    auto unknown = AudioFileWriter::open(file("x.xyz"), stereo16);
    ASSERT_FALSE(unknown.has_value());
    EXPECT_EQ(unknown.error().code, AudioFileErrorCode::unsupportedFormat);
    EXPECT_EQ(unknown.error().domain, "AudioFile");

    auto floatFlac =
        AudioFileWriter::open(file("x.flac"), {std::nullopt, AudioSampleFormat::float32, 44100, 2});
    ASSERT_FALSE(floatFlac.has_value());
    EXPECT_EQ(floatFlac.error().code, AudioFileErrorCode::unsupportedFormat);
    EXPECT_FALSE(std::filesystem::exists(file("x.flac")));

    auto noChannels =
        AudioFileWriter::open(file("x.wav"), {std::nullopt, AudioSampleFormat::int16, 44100, 0});
    EXPECT_FALSE(noChannels.has_value());

    auto noFolder = AudioFileWriter::open(file("missing/x.wav"), stereo16);
    ASSERT_FALSE(noFolder.has_value());
    EXPECT_EQ(noFolder.error().code, AudioFileErrorCode::openFailed);
    EXPECT_NE(noFolder.error().message.find("x.wav"), std::string::npos);

    auto writer = AudioFileWriter::open(file("explicit.dat"),
                                        {AudioContainer::wav, AudioSampleFormat::int16, 44100, 2});
    ASSERT_TRUE(writer.has_value());
    const std::vector<std::int16_t> odd = {1, 2, 3};
    EXPECT_EQ(writer->writeInterleavedInt16(odd).error().code, AudioFileErrorCode::formatMismatch);
    AudioBuffer mono(44100, 1, 4);
    mono.setFrameLength(4);
    EXPECT_EQ(writer->write(mono).error().code, AudioFileErrorCode::formatMismatch);
    ASSERT_TRUE(writer->finish().has_value());
    EXPECT_TRUE(writer->finish().has_value());
    AudioBuffer stereo(44100, 2, 4);
    stereo.setFrameLength(4);
    EXPECT_EQ(writer->write(stereo).error().code, AudioFileErrorCode::writeFailed);

    auto reader = AudioFileReader::open(file("explicit.dat"));
    ASSERT_TRUE(reader.has_value());
    EXPECT_EQ(reader->fileFormat().container, AudioContainer::wav);
    EXPECT_EQ(reader->lengthFrames(), 0);
}

} // namespace
} // namespace orvane
