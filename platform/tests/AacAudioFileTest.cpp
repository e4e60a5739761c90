// AAC in .m4a through the audio file seam: what the writer makes, the reader gives back with the
// same length and recognisably the same signal, from any position; a broken file is a clear error.

#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"
#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <numbers>
#include <string>
#include <vector>

namespace orvane {
namespace {

constexpr int kRate = 44100;

// Left 1 kHz, right 440 Hz, both at half scale: the channels can be told apart after a lossy codec.
double toneAt(int channel, std::int64_t frame) {
    const double hz = channel == 0 ? 1000.0 : 440.0;
    return 0.5 * std::sin(2.0 * std::numbers::pi * hz * static_cast<double>(frame) / kRate);
}

std::vector<std::int16_t> toneInt16(std::int64_t frames) {
    std::vector<std::int16_t> samples;
    for (std::int64_t i = 0; i < frames; ++i)
        for (int c = 0; c < 2; ++c)
            samples.push_back(static_cast<std::int16_t>(std::lround(toneAt(c, i) * 32767.0)));
    return samples;
}

// Signal-to-error ratio in dB of a channel against the tone, over [from, to).
double snrDB(const AudioBuffer& read, int channel, std::int64_t firstFrame, std::size_t from,
             std::size_t to) {
    double signal = 0.0;
    double error = 0.0;
    for (std::size_t i = from; i < to; ++i) {
        const double want = toneAt(channel, firstFrame + static_cast<std::int64_t>(i));
        const double diff = static_cast<double>(read.channel(channel)[i]) - want;
        signal += want * want;
        error += diff * diff;
    }
    return 10.0 * std::log10(signal / std::max(error, 1e-20));
}

class AacAudioFileTest : public ::testing::Test {
  protected:
    std::filesystem::path writeTone(const std::string& name, std::int64_t frames) {
        const auto path = temp_.path / name;
        auto writer =
            AudioFileWriter::open(path, {std::nullopt, AudioSampleFormat::compressed, kRate, 2, 160000});
        EXPECT_TRUE(writer.has_value()) << writer.error().message;
        if (!writer)
            return path;
        const auto samples = toneInt16(frames);
        // Pieces that never line up with the codec's frames.
        std::size_t at = 0;
        for (std::size_t piece = 2 * 777; at < samples.size(); piece = piece * 3 % 9998 + 2) {
            const std::size_t n = std::min(piece, samples.size() - at);
            const auto written = writer->writeInterleavedInt16(std::span(samples).subspan(at, n));
            EXPECT_TRUE(written.has_value()) << written.error().message;
            at += n;
        }
        EXPECT_EQ(writer->framesWritten(), frames);
        const auto finished = writer->finish();
        EXPECT_TRUE(finished.has_value()) << finished.error().message;
        return path;
    }

    testing::TempFolder temp_{"orvane-aac"};
};

TEST_F(AacAudioFileTest, readsBackTheSameLengthAndSignalWithTheChannelsInPlace) {
    // An odd length, not a multiple of the codec's 1024-sample frames.
    const std::int64_t frames = 2 * kRate + 333;
    const auto path = writeTone("tone.m4a", frames);
    auto reader = AudioFileReader::open(path);
    ASSERT_TRUE(reader.has_value()) << reader.error().message;
    EXPECT_EQ(reader->fileFormat(),
              (AudioFileFormat{AudioContainer::m4a, AudioSampleFormat::compressed, kRate, 2}));
    EXPECT_EQ(reader->lengthFrames(), frames);

    auto buffer = reader->makeBuffer(static_cast<std::size_t>(frames) + 5000);
    const auto got = reader->read(buffer);
    ASSERT_TRUE(got.has_value()) << got.error().message;
    EXPECT_EQ(*got, static_cast<std::size_t>(frames));
    EXPECT_EQ(reader->framePosition(), frames);
    // Time-aligned (no priming delay left in) and close to the tone on each side.
    EXPECT_GT(snrDB(buffer, 0, 0, 4096, 80000), 25.0);
    EXPECT_GT(snrDB(buffer, 1, 0, 4096, 80000), 25.0);
    // Swapped channels would be noise against each other.
    double crossError = 0.0;
    for (std::size_t i = 4096; i < 80000; ++i)
        crossError += std::abs(buffer.channel(1)[i] - toneAt(0, static_cast<std::int64_t>(i)));
    EXPECT_GT(crossError / 75904.0, 0.1);

    const auto atEnd = reader->read(buffer);
    ASSERT_TRUE(atEnd.has_value());
    EXPECT_EQ(*atEnd, 0u);
}

TEST_F(AacAudioFileTest, aReadFromASeekedPositionMatchesTheSameFramesReadInOrder) {
    const std::int64_t frames = kRate;
    const auto path = writeTone("seek.m4a", frames);
    auto reader = AudioFileReader::open(path);
    ASSERT_TRUE(reader.has_value()) << reader.error().message;
    auto whole = reader->makeBuffer(static_cast<std::size_t>(frames));
    ASSERT_TRUE(reader->read(whole).has_value());

    auto part = reader->makeBuffer(500);
    // Far back, forward, a step back as an overlapping reader takes, to the top, and back a little.
    for (std::int64_t start : {30000, 1200, 1698, 0, 43000, 42990}) {
        ASSERT_TRUE(reader->setFramePosition(start).has_value()) << start;
        const auto got = reader->read(part);
        ASSERT_TRUE(got.has_value());
        ASSERT_EQ(*got, 500u);
        for (std::size_t i = 0; i < 500; ++i)
            for (int c = 0; c < 2; ++c)
                ASSERT_EQ(part.channel(c)[i], whole.channel(c)[static_cast<std::size_t>(start) + i])
                    << "frame " << start + static_cast<std::int64_t>(i) << " channel " << c;
    }
}

TEST_F(AacAudioFileTest, floatBuffersEncodeAsWellAsIntegers) {
    const auto path = temp_.path / "float.m4a";
    auto writer = AudioFileWriter::open(path, {std::nullopt, AudioSampleFormat::compressed, kRate, 2});
    ASSERT_TRUE(writer.has_value()) << writer.error().message;
    AudioBuffer buffer(kRate, 2, 10000);
    buffer.setFrameLength(10000);
    for (std::int64_t i = 0; i < 10000; ++i)
        for (int c = 0; c < 2; ++c)
            buffer.channel(c)[i] = static_cast<float>(toneAt(c, i));
    ASSERT_TRUE(writer->write(buffer).has_value());
    ASSERT_TRUE(writer->finish().has_value());
    auto reader = AudioFileReader::open(path);
    ASSERT_TRUE(reader.has_value()) << reader.error().message;
    EXPECT_EQ(reader->lengthFrames(), 10000);
    auto back = reader->makeBuffer(10000);
    ASSERT_TRUE(reader->read(back).has_value());
    EXPECT_GT(snrDB(back, 0, 0, 2048, 9000), 25.0);
}

TEST_F(AacAudioFileTest, theIndexStandsBeforeTheAudioSoThatABrowserCanStreamIt) {
    const auto path = writeTone("fast.m4a", kRate / 2);
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const auto moov = bytes.find("moov");
    const auto mdat = bytes.find("mdat");
    ASSERT_NE(moov, std::string::npos);
    ASSERT_NE(mdat, std::string::npos);
    EXPECT_LT(moov, mdat);
}

TEST_F(AacAudioFileTest, brokenFilesAreAnOpenErrorNamingTheFile) {
    const auto good = writeTone("good.m4a", kRate);
    std::ifstream in(good, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());

    const std::vector<std::pair<std::string, std::string>> cases = {
        {"empty.m4a", ""},
        {"noise.m4a", std::string(5000, '\x5a')},
        {"header-only.m4a", bytes.substr(0, 40)},
    };
    for (const auto& [name, content] : cases) {
        const auto path = temp_.path / name;
        std::ofstream(path, std::ios::binary) << content;
        const auto reader = AudioFileReader::open(path);
        ASSERT_FALSE(reader.has_value()) << name;
        EXPECT_EQ(reader.error().code, AudioFileErrorCode::openFailed) << name;
        EXPECT_NE(reader.error().message.find(name), std::string::npos) << reader.error().message;
    }
    const auto missing = AudioFileReader::open(temp_.path / "missing.m4a");
    ASSERT_FALSE(missing.has_value());
    EXPECT_EQ(missing.error().code, AudioFileErrorCode::openFailed);

    // Cut in the middle of the audio: either refused at the door or read short, never more than was there.
    const auto cutPath = temp_.path / "cut.m4a";
    std::ofstream(cutPath, std::ios::binary) << bytes.substr(0, bytes.size() / 2);
    auto cut = AudioFileReader::open(cutPath);
    if (cut) {
        auto buffer = cut->makeBuffer(kRate);
        const auto got = cut->read(buffer);
        if (got) {
            EXPECT_LT(*got, static_cast<std::size_t>(kRate));
        }
        EXPECT_LE(cut->lengthFrames(), kRate);
    }
}

} // namespace
} // namespace orvane
