// Writing the image on its own thread: the same bytes as the plain render, and every way out of a
// write (cancel, a failing disk) leaves no thread behind and says what happened.

#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "model/TimelineCalculator.h"
#include "platform/AudioFileWriter.h"
#include "platform/tests/ProcessLimits.h"
#include "render/Exporter.h"
#include "render/ImageWriter.h"
#include "testsupport/TempFolder.h"
#include "testsupport/TestAudio.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace testing;
constexpr std::int64_t spf = 588;

// Left a sine at hz, right one at 1.5 hz, in 24 bits.
fs::path writeTone(const fs::path& file, std::int64_t frames, double hz) {
    return writeSource(
        file, 44100, 2, frames,
        [hz](int ch, std::int64_t n) {
            return static_cast<float>(ch == 0 ? 0.6 * std::sin(2.0 * M_PI * hz * n / 44100.0)
                                              : 0.3 * std::sin(2.0 * M_PI * hz * 1.5 * n / 44100.0));
        },
        AudioSampleFormat::int24);
}

// Three tracks: fade-in with gain, a crossfade into an enveloped track that fades out, a pause,
// then an undithered track; TPDF on the master. Several seconds long, so the image spans many
// chunks and more than the writer's buffers.
struct Disc {
    TempFolder folder{"orvane-image-write"};
    CDProject project;
    std::vector<TrackPosition> positions;

    Disc() {
        CDTrack a = CDTrack::make("A", std::nullopt, 150, 300 * spf);
        a.audioFileURL = FileURL::fromPath(writeTone(folder.path / "a.wav", 300 * spf, 330.0));
        a.fadeInSamples = 20000;
        a.fadeInCurve = 0.3f;
        a.gainEnabled = true;
        a.gainDB = -2.5f;
        CDTrack b = CDTrack::make("B", std::nullopt, -40, 260 * spf);
        b.audioFileURL = FileURL::fromPath(writeTone(folder.path / "b.wav", 260 * spf, 520.0));
        b.crossfadeCurve = -0.4f;
        b.envelopeEnabled = true;
        b.gainPoints = {GainPoint{Uuid::random(), 0, -9.0f, std::nullopt},
                        GainPoint{Uuid::random(), 100000, 1.0f, std::nullopt}};
        b.fadeOutSamples = 30000;
        CDTrack c = CDTrack::make("C", std::nullopt, 75, 120 * spf);
        c.audioFileURL = FileURL::fromPath(writeTone(folder.path / "c.wav", 120 * spf, 700.0));
        c.ditherEnabled = false;
        project.tracks = {a, b, c};
        project.masterDither = "TPDF";
        positions = TimelineCalculator::calculatePositions(project).value();
    }

    // The image as the chunk loop and one quantiser give it, collected in memory on this thread.
    std::string plainRender() const {
        Exporter::Quantizer quantizer;
        std::string bytes;
        Exporter::renderChunks(
            project, positions, 0, positions.back().endLBA, 44100, [&](RenderChunk& chunk) {
                if (const auto* silence = std::get_if<RenderChunk::Silence>(&chunk.value)) {
                    bytes.append(static_cast<std::size_t>(silence->samples) * 4, '\0');
                    return;
                }
                const auto& audio = std::get<RenderChunk::Audio>(chunk.value);
                quantizer.quantize(audio.buffer, audio.dither ? DitherType::tpdf : DitherType::none, bytes);
            });
        return bytes;
    }
};

TEST(ExporterImageWrite, imageBytesAndItsDigestMatchThePlainRender) {
    // The written image is byte for byte the single-threaded render (and the bytes this project
    // has always given, which an absent master dither, meaning TPDF, gives again), and the digest
    // handed back is that file's MD5.
    Disc disc;
    ASSERT_LT(disc.positions[1].audioStartLBA, disc.positions[0].audioEndLBA); // a real crossfade
    const fs::path image = disc.folder.path / "IMAGE.DAT";
    const std::string md5 =
        Exporter::writeImage(disc.project, disc.positions, image, {}, Exporter::ImageDigest::md5);
    const std::string bytes = fileBytes(image);
    EXPECT_EQ(static_cast<std::int64_t>(bytes.size()), disc.positions.back().endLBA * 2352);
    EXPECT_TRUE(bytes == disc.plainRender());
    EXPECT_EQ(md5, Exporter::md5Hex(image));
    EXPECT_EQ(md5, "4edbeb9c040d9fc8927237f53482669a");
    disc.project.masterDither = std::nullopt;
    EXPECT_EQ(Exporter::writeImage(disc.project, disc.positions, disc.folder.path / "again.dat"), "");
    EXPECT_TRUE(fileBytes(disc.folder.path / "again.dat") == bytes);
}

TEST(ExporterImageWrite, cancellingMidImageStopsTheWriterThread) {
    // A false answer part-way raises the cancel error at once (no further progress), and the
    // writer thread is gone by the time the caller sees it; the same holds for a cancel at the
    // very last chunk.
    Disc disc;
    const std::size_t threadsBefore = threadCount();
    for (const double stopAt : {0.4, 1.0}) {
        std::vector<double> fractions;
        EXPECT_THROW(Exporter::writeImage(disc.project, disc.positions, disc.folder.path / "c.dat",
                                          [&](double f) {
                                              fractions.push_back(f);
                                              return f < stopAt;
                                          }),
                     UserCancelledError);
        ASSERT_FALSE(fractions.empty());
        EXPECT_GE(fractions.back(), stopAt);
        EXPECT_EQ(std::count_if(fractions.begin(), fractions.end(), [&](double f) { return f >= stopAt; }),
                  1);
        EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
        EXPECT_EQ(threadCount(), threadsBefore);
    }
}

TEST(ExporterImageWrite, aFailingDiskSurfacesItsReasonFromTheWriterThread) {
    // A write that fails part-way through the image (here: the file may not grow past 1 MB) ends the
    // render with error 3 naming the file and the system's reason, and leaves no thread behind.
    Disc disc;
    const std::size_t threadsBefore = threadCount();
    int calls = 0;
    try {
        const FileSizeLimit limit(1000000);
        Exporter::writeImage(disc.project, disc.positions, disc.folder.path / "IMAGE.DAT", [&](double) {
            ++calls;
            return true;
        });
        ADD_FAILURE() << "the write past the limit went unnoticed";
    } catch (const ExportError& e) {
        EXPECT_EQ(e.code, ExportErrorCode::writeFailed);
        EXPECT_EQ(e.message, "Writing IMAGE.DAT failed: " + std::string(std::strerror(EFBIG)));
    }
    EXPECT_GT(calls, 0);
    EXPECT_EQ(threadCount(), threadsBefore);
    EXPECT_LE(fs::file_size(disc.folder.path / "IMAGE.DAT"), 1000000u);
}

// A chunk of `frames` stereo samples of a quiet tone starting at sample `from`.
RenderChunk toneChunk(std::int64_t from, std::int64_t frames, bool dither) {
    AudioBuffer buffer(44100, 2, static_cast<std::size_t>(frames));
    for (std::int64_t n = 0; n < frames; ++n)
        for (int ch = 0; ch < 2; ++ch)
            buffer.channel(ch)[n] = static_cast<float>(0.01 * std::sin(0.05 * (from + n) + ch));
    buffer.setFrameLength(static_cast<std::size_t>(frames));
    return RenderChunk{RenderChunk::Audio{std::move(buffer), dither}};
}

TEST(ImageWriter, writesChunksInOrderWithOneRunningDither) {
    // Many chunks of uneven sizes, silence among them, reach the file in order and quantised as one
    // quantiser on this thread does it (the dither running on across chunks and restarting after
    // undithered audio); the digest covers them all.
    TempFolder folder{"orvane-image-write"};
    const fs::path file = folder.path / "out.dat";
    Exporter::Quantizer reference;
    std::string expected;
    std::int64_t claimed = 0;
    {
        const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ASSERT_GE(fd, 0);
        ImageWriter writer(fd, "out.dat", DitherType::shibata, Exporter::ImageDigest::md5);
        std::int64_t at = 0;
        for (int k = 0; k < 60; ++k) {
            const std::int64_t frames = 1 + (k * 7919) % 29400;
            if (k % 9 == 4) {
                RenderChunk silence{RenderChunk::Silence{frames}};
                expected.append(static_cast<std::size_t>(frames) * 4, '\0');
                claimed += writer.put(silence);
                continue;
            }
            const bool dither = k % 13 != 6;
            RenderChunk chunk = toneChunk(at, frames, dither);
            reference.quantize(std::get<RenderChunk::Audio>(chunk.value).buffer,
                               dither ? DitherType::shibata : DitherType::none, expected);
            claimed += writer.put(chunk);
            at += frames;
        }
        const std::string md5 = writer.finish();
        ::close(fd);
        EXPECT_EQ(md5, Exporter::md5Hex(file));
    }
    EXPECT_EQ(claimed, static_cast<std::int64_t>(expected.size()));
    EXPECT_TRUE(fileBytes(file) == expected);
}

} // namespace
} // namespace orvane
