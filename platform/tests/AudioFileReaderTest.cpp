#include "platform/AudioFileReader.h"

#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace orvane {
namespace {

// Writes a PCM file through libsndfile from samples of the given width (frames x channels,
// interleaved), with a title so that a chunk of text follows the audio data.
void writePcm(const std::filesystem::path& path, int format, int channels, int bits,
              const std::vector<std::int32_t>& samples) {
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = channels;
    info.format = format;
    SNDFILE* out = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(out, nullptr) << sf_strerror(nullptr);
    std::vector<int> justified;
    for (std::int32_t s : samples) {
        justified.push_back(static_cast<int>(static_cast<std::uint32_t>(s) << (32 - bits)));
    }
    const sf_count_t frames = static_cast<sf_count_t>(samples.size()) / channels;
    ASSERT_EQ(sf_writef_int(out, justified.data(), frames), frames);
    sf_set_string(out, SF_STR_TITLE, "after the data"); // set late, so written behind the samples
    sf_close(out);
}

class AudioFileReaderTest : public ::testing::Test {
  protected:
    std::filesystem::path file(const std::string& name) const { return temp_.path / name; }

    // A 16-bit stereo WAV whose frame i holds i on the left, so any frame read back tells where it
    // came from.
    std::filesystem::path writeRamp(const std::string& name, int frames) const {
        std::vector<std::int32_t> samples;
        for (int i = 0; i < frames; ++i) {
            samples.push_back(i);
            samples.push_back(-i);
        }
        writePcm(file(name), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 16, samples);
        return file(name);
    }

    testing::TempFolder temp_{"orvane-reader"};
};

TEST_F(AudioFileReaderTest, seeksPastTheEndButNeverBelowZeroAndRefusesAnotherShape) {
    // A seek past the end is allowed and reads nothing; a negative one fails and leaves the position;
    // a read into a buffer of other channels is refused.
    auto reader = AudioFileReader::open(writeRamp("ramp.wav", 100));
    ASSERT_TRUE(reader.has_value());
    AudioBuffer buffer = reader->makeBuffer(200);
    ASSERT_TRUE(reader->setFramePosition(500).has_value());
    EXPECT_EQ(reader->read(buffer).value(), 0u);
    EXPECT_EQ(buffer.frameLength(), 0u);

    ASSERT_TRUE(reader->setFramePosition(5).has_value());
    auto negative = reader->setFramePosition(-1);
    ASSERT_FALSE(negative.has_value());
    EXPECT_EQ(negative.error().code, AudioFileErrorCode::seekFailed);
    EXPECT_EQ(reader->framePosition(), 5);
    ASSERT_EQ(reader->read(buffer, 1).value(), 1u);
    EXPECT_EQ(buffer.channel(0)[0], 5.0f / 32768.0f);

    AudioBuffer mono(44100, 1, 16);
    auto mismatch = reader->read(mono);
    ASSERT_FALSE(mismatch.has_value());
    EXPECT_EQ(mismatch.error().code, AudioFileErrorCode::formatMismatch);
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

// Where the samples of a WAV start: just past the "data" chunk's header.
std::size_t wavDataOffset(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::size_t at = bytes.find("data");
    EXPECT_NE(at, std::string::npos);
    return at + 8;
}

// Everything libsndfile's own float conversion gives for the file, interleaved.
std::vector<float> decodedByLibsndfile(const std::filesystem::path& path) {
    SF_INFO info{};
    SNDFILE* in = sf_open(path.c_str(), SFM_READ, &info);
    EXPECT_NE(in, nullptr);
    if (in == nullptr) {
        return {};
    }
    std::vector<float> all(static_cast<std::size_t>(info.frames * info.channels));
    const sf_count_t got = sf_readf_float(in, all.data(), info.frames);
    all.resize(static_cast<std::size_t>(got * info.channels));
    sf_close(in);
    return all;
}

// Compares a read's frames, bit for bit, with the reference from the given frame on.
void expectSameBits(const AudioBuffer& buffer, const std::vector<float>& reference, std::int64_t fromFrame) {
    const auto channels = static_cast<std::size_t>(buffer.channelCount());
    for (std::size_t i = 0; i < buffer.frameLength(); ++i) {
        for (std::size_t c = 0; c < channels; ++c) {
            const float expected = reference[(static_cast<std::size_t>(fromFrame) + i) * channels + c];
            ASSERT_EQ(std::bit_cast<std::uint32_t>(buffer.channel(static_cast<int>(c))[i]),
                      std::bit_cast<std::uint32_t>(expected))
                << "frame " << fromFrame + static_cast<std::int64_t>(i) << " channel " << c;
        }
    }
}

TEST_F(AudioFileReaderTest, littleEndianPcmReadsBitIdenticalToLibsndfileAcrossOddReadsAndSeeks) {
    // 16- and 24-bit WAV in 1, 2 and 6 channels (6 as WAVE_FORMAT_EXTENSIBLE), full-range random samples
    // with both extremes, read in odd pieces and after seeks, equal libsndfile's normalised floats bit for
    // bit and stop at the data's end; the format is reported as written.
    std::mt19937 random(2718);
    const int frames = 10007;
    for (const int bits : {16, 24}) {
        for (const int channels : {1, 2, 6}) {
            SCOPED_TRACE(std::to_string(bits) + " bits, " + std::to_string(channels) + " channels");
            const std::int32_t top = (1 << (bits - 1)) - 1;
            std::uniform_int_distribution<std::int32_t> any(-top - 1, top);
            std::vector<std::int32_t> samples(static_cast<std::size_t>(frames * channels));
            for (auto& s : samples) {
                s = any(random);
            }
            samples[0] = -top - 1;
            samples[1] = top;
            samples[samples.size() - 1] = -top - 1;
            samples[samples.size() - 2] = top;
            const int container = channels > 2 ? SF_FORMAT_WAVEX : SF_FORMAT_WAV;
            const auto path = file("pcm" + std::to_string(bits) + "-" + std::to_string(channels) + ".wav");
            writePcm(path, container | (bits == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24), channels, bits,
                     samples);
            const std::vector<float> reference = decodedByLibsndfile(path);
            ASSERT_EQ(reference.size(), samples.size());
            EXPECT_EQ(reference[0], -1.0f); // the scale is exactly 2^-(bits-1)
            EXPECT_EQ(reference[1], static_cast<float>(top) / static_cast<float>(top + 1));

            auto reader = AudioFileReader::open(path);
            ASSERT_TRUE(reader.has_value());
            EXPECT_EQ(reader->fileFormat(),
                      (AudioFileFormat{AudioContainer::wav,
                                       bits == 16 ? AudioSampleFormat::int16 : AudioSampleFormat::int24,
                                       44100, channels}));
            AudioBuffer buffer = reader->makeBuffer(5000);
            std::int64_t position = 0;
            for (const std::size_t piece : {1u, 7u, 4097u, 333u, 4999u}) {
                ASSERT_EQ(reader->read(buffer, piece).value(), piece);
                expectSameBits(buffer, reference, position);
                position += static_cast<std::int64_t>(piece);
                ASSERT_EQ(reader->framePosition(), position);
            }
            for (const std::int64_t seek :
                 {std::int64_t{3}, std::int64_t{frames - 4500}, std::int64_t{8191}}) {
                ASSERT_TRUE(reader->setFramePosition(seek).has_value());
                const std::size_t expected =
                    std::min<std::size_t>(5000, static_cast<std::size_t>(frames - seek));
                ASSERT_EQ(reader->read(buffer).value(), expected);
                expectSameBits(buffer, reference, seek);
            }
            // The title chunk after the data never reads as audio.
            ASSERT_TRUE(reader->setFramePosition(frames - 3).has_value());
            EXPECT_EQ(reader->read(buffer).value(), 3u);
            EXPECT_EQ(reader->read(buffer).value(), 0u);
            EXPECT_EQ(reader->lengthFrames(), frames);
        }
    }
}

TEST_F(AudioFileReaderTest, truncatedPcmGivesTheFramesAndLengthLibsndfileGives) {
    // A 16- or 24-bit stereo WAV cut inside a frame, shorter than its header says, reads the same whole
    // frames as libsndfile's decoder, then nothing, and its length becomes what was read.
    for (const int bits : {16, 24}) {
        SCOPED_TRACE(std::to_string(bits) + " bits");
        std::vector<std::int32_t> samples(2000);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] = static_cast<std::int32_t>(i * 37 % 20000) - 10000;
        }
        const auto path = file("cut" + std::to_string(bits) + ".wav");
        writePcm(path, SF_FORMAT_WAV | (bits == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24), 2, bits, samples);
        const std::size_t frameBytes = static_cast<std::size_t>(bits / 8 * 2);
        std::filesystem::resize_file(path, wavDataOffset(path) + 600 * frameBytes + frameBytes / 2 + 1);
        const std::vector<float> reference = decodedByLibsndfile(path);
        ASSERT_EQ(reference.size(), 1200u);

        auto reader = AudioFileReader::open(path);
        ASSERT_TRUE(reader.has_value());
        AudioBuffer buffer = reader->makeBuffer(1000);
        ASSERT_EQ(reader->read(buffer, 599).value(), 599u);
        ASSERT_EQ(reader->read(buffer).value(), 1u);
        expectSameBits(buffer, reference, 599);
        EXPECT_EQ(reader->read(buffer).value(), 0u);
        EXPECT_EQ(reader->lengthFrames(), 600);
        EXPECT_EQ(reader->framePosition(), 600);
    }
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
