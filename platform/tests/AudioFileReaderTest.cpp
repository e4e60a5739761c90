#include "platform/AudioFileReader.h"

#include "platform/AudioFileWriter.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

namespace orvane {
namespace {

class AudioFileReaderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        folder_ = std::filesystem::temp_directory_path() /
                  ("orvane-reader-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
                   "-" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }
    std::filesystem::path file(const std::string& name) const { return folder_ / name; }

    // A 16-bit stereo WAV whose frame i holds i on the left and -i on the right (in steps of 2^-15),
    // so any frame read back tells where it came from.
    std::filesystem::path writeRamp(const std::string& name, int frames) const {
        std::vector<std::int16_t> samples;
        for (int i = 0; i < frames; ++i) {
            samples.push_back(static_cast<std::int16_t>(i));
            samples.push_back(static_cast<std::int16_t>(-i));
        }
        auto writer = AudioFileWriter::open(file(name), {std::nullopt, AudioSampleFormat::int16, 44100, 2});
        EXPECT_TRUE(writer.has_value());
        EXPECT_TRUE(writer->writeInterleavedInt16(samples).has_value());
        EXPECT_TRUE(writer->finish().has_value());
        return file(name);
    }

    std::filesystem::path folder_;
};

float rampValue(std::int64_t i) {
    return static_cast<float>(i) / 32768.0f;
}

TEST_F(AudioFileReaderTest, seeksAndReadsFromThePositionWithShortReadsAtTheEnd) {
    // A read starts at framePosition, advances it, and at the end delivers fewer frames or none without
    // error.
    auto reader = AudioFileReader::open(writeRamp("ramp.wav", 10000));
    ASSERT_TRUE(reader.has_value());
    EXPECT_EQ(reader->lengthFrames(), 10000);
    EXPECT_EQ(reader->sampleRate(), 44100.0);
    EXPECT_EQ(reader->channelCount(), 2);

    AudioBuffer buffer = reader->makeBuffer(9000); // more than one internal chunk of de-interleaving
    ASSERT_EQ(reader->read(buffer, 8500).value(), 8500u);
    EXPECT_EQ(buffer.frameLength(), 8500u);
    for (std::size_t i = 0; i < 8500; ++i) {
        ASSERT_EQ(buffer.channel(0)[i], rampValue(static_cast<std::int64_t>(i)));
        ASSERT_EQ(buffer.channel(1)[i], -rampValue(static_cast<std::int64_t>(i)));
    }
    EXPECT_EQ(reader->framePosition(), 8500);

    ASSERT_TRUE(reader->setFramePosition(1234).has_value());
    ASSERT_EQ(reader->read(buffer, 10).value(), 10u);
    EXPECT_EQ(buffer.channel(0)[0], rampValue(1234));
    EXPECT_EQ(buffer.channel(1)[9], -rampValue(1243));

    ASSERT_TRUE(reader->setFramePosition(9990).has_value());
    ASSERT_EQ(reader->read(buffer).value(), 10u); // capacity 9000, only 10 left
    EXPECT_EQ(buffer.channel(0)[9], rampValue(9999));
    EXPECT_EQ(reader->read(buffer).value(), 0u);
    EXPECT_EQ(buffer.frameLength(), 0u);

    ASSERT_TRUE(reader->setFramePosition(20000).has_value()); // past the end: allowed, reads nothing
    EXPECT_EQ(reader->read(buffer).value(), 0u);

    ASSERT_TRUE(reader->setFramePosition(5).has_value());
    auto negative = reader->setFramePosition(-1);
    ASSERT_FALSE(negative.has_value());
    EXPECT_EQ(negative.error().code, AudioFileErrorCode::seekFailed);
    EXPECT_EQ(reader->framePosition(), 5);
    ASSERT_EQ(reader->read(buffer, 1).value(), 1u);
    EXPECT_EQ(buffer.channel(0)[0], rampValue(5));

    AudioBuffer mono(44100, 1, 16);
    auto mismatch = reader->read(mono);
    ASSERT_FALSE(mismatch.has_value());
    EXPECT_EQ(mismatch.error().code, AudioFileErrorCode::formatMismatch);
}

TEST_F(AudioFileReaderTest, readsWaveFormatExtensibleWithManyChannels) {
    // A WAVE_FORMAT_EXTENSIBLE file with 24-bit samples in 6 channels reads back exactly, channel by channel.
    const auto path = file("extensible.wav");
    SF_INFO info{};
    info.samplerate = 96000;
    info.channels = 6;
    info.format = SF_FORMAT_WAVEX | SF_FORMAT_PCM_24;
    SNDFILE* out = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(out, nullptr);
    std::vector<int> frames(6 * 100);
    for (int i = 0; i < 100; ++i) {
        for (int c = 0; c < 6; ++c) {
            frames[static_cast<std::size_t>(i * 6 + c)] =
                (i * 1000 + c - 50000) * 256; // 24-bit values, left-justified
        }
    }
    ASSERT_EQ(sf_writef_int(out, frames.data(), 100), 100);
    sf_close(out);

    auto reader = AudioFileReader::open(path);
    ASSERT_TRUE(reader.has_value());
    EXPECT_EQ(reader->fileFormat(),
              (AudioFileFormat{AudioContainer::wav, AudioSampleFormat::int24, 96000, 6}));
    AudioBuffer buffer = reader->makeBuffer(100);
    ASSERT_EQ(reader->read(buffer).value(), 100u);
    for (int i = 0; i < 100; ++i) {
        for (int c = 0; c < 6; ++c) {
            ASSERT_EQ(buffer.channel(c)[i], static_cast<float>(i * 1000 + c - 50000) / 8388608.0f);
        }
    }
}

TEST_F(AudioFileReaderTest, unreadableFilesFailToOpenAsValues) {
    // Garbage, empty, missing, folder and header-truncated files give openFailed naming the file, never a
    // crash.
    std::ofstream(file("garbage.wav"), std::ios::binary) << std::string(4096, '\x5a');
    std::ofstream(file("empty.wav"), std::ios::binary) << "";
    std::filesystem::create_directories(file("folder.wav"));
    const auto full = writeRamp("full.wav", 100);
    std::filesystem::copy_file(full, file("header.wav"));
    std::filesystem::resize_file(file("header.wav"), 20);
    for (const char* name : {"garbage.wav", "empty.wav", "missing.wav", "folder.wav", "header.wav"}) {
        SCOPED_TRACE(name);
        auto reader = AudioFileReader::open(file(name));
        ASSERT_FALSE(reader.has_value());
        EXPECT_EQ(reader.error().code, AudioFileErrorCode::openFailed);
        EXPECT_EQ(reader.error().domain, "AudioFile");
        EXPECT_NE(reader.error().message.find(name), std::string::npos);
    }
}

TEST_F(AudioFileReaderTest, wavCutShortInsideItsDataReadsWhatIsThere) {
    // A WAV that ends mid-data opens, and a read gives the frames that exist, exactly, then stops.
    const auto path = writeRamp("cut.wav", 1000);
    std::filesystem::resize_file(path, 44 + 400 * 4 + 2); // 400 whole frames and half of one more
    auto reader = AudioFileReader::open(path);
    ASSERT_TRUE(reader.has_value());
    AudioBuffer buffer = reader->makeBuffer(1000);
    auto got = reader->read(buffer);
    const std::size_t frames = got ? *got : buffer.frameLength();
    EXPECT_GE(frames, 400u);
    EXPECT_LE(frames, 401u);
    for (std::size_t i = 0; i < 400; ++i) {
        ASSERT_EQ(buffer.channel(0)[i], rampValue(static_cast<std::int64_t>(i)));
    }
    EXPECT_EQ(reader->read(buffer).value_or(0), 0u);
    EXPECT_EQ(reader->lengthFrames(), static_cast<std::int64_t>(frames)); // a read-to-the-end loop stops
}

// Level and frequency of a stretch by correlation with a sine and a cosine over whole periods.
double amplitudeAt(const float* x, std::size_t n, double frequency, double rate) {
    double s = 0.0;
    double c = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const double phase = 2.0 * std::numbers::pi * frequency * static_cast<double>(i) / rate;
        s += x[i] * std::sin(phase);
        c += x[i] * std::cos(phase);
    }
    return 2.0 * std::hypot(s, c) / static_cast<double>(n);
}

TEST_F(AudioFileReaderTest, decodesOggVorbisAndMp3ToTheirTone) {
    // Lossy files decode to a tone of the encoded frequency and level, at the file's rate.
    const int rate = 44100;
    std::vector<float> tone(static_cast<std::size_t>(rate));
    for (std::size_t i = 0; i < tone.size(); ++i) {
        tone[i] = static_cast<float>(
            0.5 * std::sin(2.0 * std::numbers::pi * 1000.0 * static_cast<double>(i) / rate));
    }
    const std::vector<std::pair<const char*, int>> kinds = {
        {"tone.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS},
        {"tone.mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III}};
    for (const auto& [name, format] : kinds) {
        SCOPED_TRACE(name);
        SF_INFO info{};
        info.samplerate = rate;
        info.channels = 1;
        info.format = format;
        SNDFILE* out = sf_open(file(name).c_str(), SFM_WRITE, &info);
        ASSERT_NE(out, nullptr) << sf_strerror(nullptr);
        ASSERT_EQ(sf_writef_float(out, tone.data(), rate), rate);
        sf_close(out);

        auto reader = AudioFileReader::open(file(name));
        ASSERT_TRUE(reader.has_value()) << reader.error().message;
        EXPECT_EQ(reader->sampleRate(), rate);
        EXPECT_EQ(reader->fileFormat().sampleFormat, AudioSampleFormat::compressed);
        EXPECT_NEAR(static_cast<double>(reader->lengthFrames()), rate, 3000.0);
        AudioBuffer buffer = reader->makeBuffer(static_cast<std::size_t>(rate));
        ASSERT_GE(reader->read(buffer).value_or(0), 30000u);
        const float* middle = buffer.channel(0) + 4410;
        EXPECT_NEAR(amplitudeAt(middle, 22050, 1000.0, rate), 0.5, 0.03);
        EXPECT_LT(amplitudeAt(middle, 22050, 1500.0, rate), 0.01);
    }
}

} // namespace
} // namespace orvane
