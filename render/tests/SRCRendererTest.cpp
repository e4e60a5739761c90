#include "render/SRCRenderer.h"

#include "engines/R8BrainSRC.h"
#include "platform/AudioFileReader.h"
#include "testsupport/TempFolder.h"
#include "testsupport/TestAudio.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <numbers>
#include <thread>

namespace orvane {
namespace {

namespace fs = std::filesystem;

// A private cache folder and source folder per test.
class SRCRendererTest : public ::testing::Test {
  protected:
    void SetUp() override {
        fs::create_directories(root_ / "sources");
        SRCRenderer::overrideCacheDirectory(root_ / "cache");
    }
    void TearDown() override { SRCRenderer::overrideCacheDirectory(std::nullopt); }

    // A float WAV; channel c carries a sine of 1000 * (c + 1) Hz at 0.5.
    fs::path writeSource(const std::string& name, double rate, int channels, std::int64_t frames) const {
        return testing::writeSource(
            root_ / "sources" / name, rate, channels, frames, [rate](int c, std::int64_t i) {
                return static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * 1000.0 * (c + 1) *
                                                         static_cast<double>(i) / rate));
            });
    }

    static void setModificationSeconds(const fs::path& file, std::int64_t seconds) {
        const timespec times[2] = {{seconds, 0}, {seconds, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    }

    static CDTrack trackFor(const fs::path& source) {
        CDTrack track = CDTrack::make("T", std::nullopt, 150, 0);
        track.audioFileURL = FileURL::fromPath(source);
        return track;
    }

    std::vector<std::string> cacheFiles() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(SRCRenderer::cacheDirectory()))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    const testing::TempFolder folder_{"srcrenderer"};
    const fs::path& root_ = folder_.path;
};

TEST(SRCRendererKey, namesAnEntryBySourceSettingsTimeAndRates) {
    // The key carries the cleaned stem, the algorithm and phase with blanks as "_", the modification second,
    // the source rate and a target other than 44100; Meridon Reference entries carry "-r2".
    EXPECT_EQ(SRCRenderer::cacheFileName("/a/Track 1.aif", "Velmont SRC", "Linear", 1700000000, 96000, 44100),
              "Track_1-Velmont_SRC-Linear-1700000000-96000.wav");
    EXPECT_EQ(SRCRenderer::cacheFileName("/b/Track 1.wav", "Meridon Reference", "Minimum", 5, 48000, 88200),
              "Track_1-Meridon_Reference-r2-Minimum-5-48000-to88200.wav");
    EXPECT_EQ(SRCRenderer::cacheFileName("/c/Dé-mo (v2).flac", "SoX VHQ", "Linear", 0, 88200, 44100),
              "Dé_mo__v2_-SoX_VHQ-Linear-0-88200.wav");
    EXPECT_NE(SRCRenderer::cacheFileName("/a/x.wav", "Velmont SRC", "Linear", 1, 96000, 44100),
              SRCRenderer::cacheFileName("/a/x.wav", "Velmont SRC", "Minimum", 1, 96000, 44100));
}

TEST_F(SRCRendererTest, leavesA44100SourceAloneEverywhere) {
    // A disc-rate source needs no SRC, is never cached, and is what playback and export read.
    const fs::path source = writeSource("cd.wav", 44100, 2, 4410);
    EXPECT_FALSE(SRCRenderer::needsSRC(source));
    EXPECT_EQ(SRCRenderer::srcStatus(source, "Velmont SRC", "Linear"), (SRCStatus{false, false}));
    EXPECT_EQ(SRCRenderer::playbackURL(trackFor(source), "Velmont SRC", "Linear"), source);
    EXPECT_EQ(SRCRenderer::resolve(trackFor(source), 44100, "Velmont SRC", "Linear"), source);
    EXPECT_FALSE(SRCRenderer::ensureCache(source, "Velmont SRC", "Linear"));
    EXPECT_TRUE(cacheFiles().empty());
    EXPECT_FALSE(
        SRCRenderer::resolve(CDTrack::make("none", std::nullopt, 150, 0), 44100, "Velmont SRC", "Linear"));
}

TEST_F(SRCRendererTest, resolveRendersAnEntryOnceAndPlaybackThenReadsIt) {
    // A 96 kHz stereo source resolves to a 44.1 kHz stereo float entry of the converter's exact length, each
    // channel keeping its own tone; a target equal to the source rate returns the source untouched.
    const fs::path source = writeSource("Hi Res.wav", 96000, 2, 96000 + 101);
    setModificationSeconds(source, 1700000000);
    CDTrack track = trackFor(source);
    track.srcAlgorithm = "SoX VHQ";
    EXPECT_EQ(SRCRenderer::resolve(track, 96000, "Velmont SRC", "Linear"), source);
    EXPECT_TRUE(cacheFiles().empty());

    const auto entry = SRCRenderer::resolve(track, 44100, "Velmont SRC", "Linear");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->filename(), "Hi_Res-SoX_VHQ-Linear-1700000000-96000.wav");
    EXPECT_EQ(cacheFiles(), std::vector<std::string>{entry->filename().string()});
    EXPECT_EQ(SRCRenderer::srcStatus(source, "SoX VHQ", "Linear"), (SRCStatus{true, true}));
    EXPECT_EQ(SRCRenderer::playbackURL(track, "Velmont SRC", "Linear"), *entry);
    EXPECT_FALSE(SRCRenderer::ensureCache(source, "SoX VHQ", "Linear"));

    auto reader = AudioFileReader::open(*entry);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->sampleRate(), 44100.0);
    ASSERT_EQ(reader->channelCount(), 2);
    EXPECT_EQ(reader->fileFormat().sampleFormat, AudioSampleFormat::float32);
    ASSERT_EQ(reader->lengthFrames(), static_cast<std::int64_t>((96000 + 101) * 44100.0 / 96000.0));
    AudioBuffer buffer = reader->makeBuffer(static_cast<std::size_t>(reader->lengthFrames()));
    ASSERT_TRUE(reader->read(buffer));
    for (int c = 0; c < 2; ++c)
        for (std::size_t i = 10000; i < 30000; i += 7)
            ASSERT_NEAR(buffer.channel(c)[i],
                        0.5 * std::sin(2.0 * std::numbers::pi * 1000.0 * (c + 1) * i / 44100.0), 1e-4)
                << c << " " << i;
}

TEST_F(SRCRendererTest, concurrentRendersOfOneEntryBothSucceed) {
    // Two runs for the same entry at once both return it, it is complete, and no temporary file remains.
    const fs::path source = writeSource("same.wav", 48000, 2, 48000);
    fs::path first, second;
    std::thread other(
        [&] { first = SRCRenderer::renderCache(source, 48000, 44100, "Velmont SRC", "Linear"); });
    second = SRCRenderer::renderCache(source, 48000, 44100, "Velmont SRC", "Linear");
    other.join();
    EXPECT_EQ(first, second);
    EXPECT_EQ(cacheFiles(), std::vector<std::string>{first.filename().string()});
    const auto reader = AudioFileReader::open(first);
    ASSERT_TRUE(reader);
    EXPECT_GT(reader->lengthFrames(), 44100 - 100);
}

TEST_F(SRCRendererTest, aTemporaryFileIsNeverTakenForAnEntryAndClearingRemovesIt) {
    // A ".tmp-" file left by a killed run counts in the size but not as the entry; clearVersionCaches keeps
    // only the active takes' entries under their effective settings.
    const fs::path source = writeSource("take.wav", 88200, 1, 8820);
    const fs::path entry = SRCRenderer::cacheURL(source, 88200, 44100, "Velmont SRC", "Linear");
    const fs::path leftover = entry.parent_path() / (".tmp-0000-" + entry.filename().string());
    std::ofstream(leftover) << std::string(1000, 'x');
    EXPECT_EQ(SRCRenderer::cacheSizeBytes(), 1000u);
    EXPECT_EQ(SRCRenderer::srcStatus(source, "Velmont SRC", "Linear"), (SRCStatus{true, false}));
    EXPECT_EQ(SRCRenderer::playbackURL(trackFor(source), "Velmont SRC", "Linear"), source);
    EXPECT_TRUE(SRCRenderer::ensureCache(source, "Velmont SRC", "Linear"));
    EXPECT_TRUE(SRCRenderer::ensureCache(source, "SoX VHQ", "Minimum"));
    EXPECT_GT(SRCRenderer::cacheSizeBytes(), 1000u + 2 * 4 * 4410u);

    CDProject project;
    project.tracks.push_back(trackFor(source));
    SRCRenderer::clearVersionCaches(project, "Velmont SRC", "Linear");
    EXPECT_EQ(cacheFiles(), std::vector<std::string>{entry.filename().string()});
    SRCRenderer::clearCache();
    EXPECT_TRUE(cacheFiles().empty());
    EXPECT_EQ(SRCRenderer::cacheSizeBytes(), 0u);
}

TEST_F(SRCRendererTest, needsSRCRemembersByPathAndModificationTimeButNotFailures) {
    // The answer is kept per path and modification second, so only a touched file is looked at again;
    // an unreadable file says false without being remembered.
    const fs::path source = writeSource("memo.wav", 96000, 1, 100);
    setModificationSeconds(source, 1000);
    EXPECT_TRUE(SRCRenderer::needsSRC(source));
    writeSource("memo.wav", 44100, 1, 100);
    setModificationSeconds(source, 1000);
    EXPECT_TRUE(SRCRenderer::needsSRC(source));
    setModificationSeconds(source, 2000);
    EXPECT_FALSE(SRCRenderer::needsSRC(source));

    const fs::path broken = root_ / "sources" / "broken.wav";
    std::ofstream(broken) << "not audio";
    setModificationSeconds(broken, 3000);
    EXPECT_FALSE(SRCRenderer::needsSRC(broken));
    writeSource("broken.wav", 48000, 1, 100);
    setModificationSeconds(broken, 3000);
    EXPECT_TRUE(SRCRenderer::needsSRC(broken));
}

TEST_F(SRCRendererTest, entriesFollowTheSourcesChannelsAndLength) {
    // Mono gives mono, three channels give three; an empty source still gives an entry; an unknown algorithm
    // converts as Velmont SRC under its own name.
    const fs::path mono = writeSource("mono.wav", 48000, 1, 4800);
    const fs::path three = writeSource("three.wav", 48000, 3, 4800);
    const fs::path empty = writeSource("empty.wav", 96000, 2, 0);
    const auto read = [](const fs::path& p) { return AudioFileReader::open(p); };
    EXPECT_EQ(read(SRCRenderer::renderCache(mono, 48000, 44100, "SoX VHQ", "Linear"))->channelCount(), 1);
    EXPECT_EQ(read(SRCRenderer::renderCache(three, 48000, 44100, "SoX VHQ", "Linear"))->channelCount(), 3);
    const auto emptyEntry = read(SRCRenderer::renderCache(empty, 96000, 44100, "SoX VHQ", "Linear"));
    ASSERT_TRUE(emptyEntry);
    EXPECT_EQ(emptyEntry->lengthFrames(), 0);
    const fs::path unknown = SRCRenderer::renderCache(mono, 48000, 44100, "Future SRC", "Linear");
    const fs::path velmont = SRCRenderer::renderCache(mono, 48000, 44100, "Velmont SRC", "Linear");
    EXPECT_TRUE(unknown.filename().string().starts_with("mono-Future_SRC-Linear-"));
    EXPECT_EQ(read(unknown)->lengthFrames(), read(velmont)->lengthFrames());
}

TEST_F(SRCRendererTest, aConverterErrorIsThrownAndLeavesNothingBehind) {
    // A converter that fails at flush surfaces as the render's error, with no entry and no temporary file.
    if (r8brainAvailable())
        GTEST_SKIP() << "this build carries r8brain";
    const fs::path source = writeSource("fail.wav", 96000, 2, 9600);
    CDTrack track = trackFor(source);
    track.srcAlgorithm = "r8brain Free";
    try {
        SRCRenderer::resolve(track, 44100, "Velmont SRC", "Linear");
        FAIL() << "no error";
    } catch (const SRCRenderError& error) {
        EXPECT_EQ(error.code, SRCRenderErrorCode::converterFailed);
        EXPECT_EQ(error.message, "r8brain Free is not available in this build");
    }
    EXPECT_TRUE(cacheFiles().empty());
    EXPECT_FALSE(SRCRenderer::ensureCache(source, "r8brain Free", "Linear"));
}

} // namespace
} // namespace orvane
