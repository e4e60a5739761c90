// The master render against an independent computation of its rules on synthesised sources.

#include "render/Exporter.h"

#include "engines/DitherEngine.h"
#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "model/GainEvaluator.h"
#include "model/TimelineCalculator.h"
#include "platform/AudioFileWriter.h"
#include "render/SRCRenderer.h"
#include "testsupport/TempFolder.h"
#include "testsupport/TestAudio.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <fstream>
#include <iterator>

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace testing;
constexpr std::int64_t spf = 588;

// The sources: a tone per channel, well inside full scale.
fs::path writeTone(const fs::path& file, double rate, std::int64_t frames) {
    return writeSource(file, rate, 2, frames, tone(441.0, 660.0, rate));
}

std::vector<std::int16_t> imageSamples(const fs::path& file) {
    return samples16(fileBytes(file));
}

std::int16_t pcm(float v) {
    const double r = std::round(std::clamp(static_cast<double>(v), -1.0, 1.0) * 32767.0);
    return static_cast<std::int16_t>(r);
}

float fadeShape(float x, float curve) {
    x = std::clamp(x, 0.0f, 1.0f);
    return x * x + 2.0f * x * (1.0f - x) * (curve * 0.5f + 0.5f);
}

// Source sample of a track at a position after its head trim; 0 past the file or without a file.
float sourceAt(const CDTrack& t, std::int64_t fileFrames, int ch, std::int64_t afterTrim) {
    const std::int64_t n = t.trimStartSamples + afterTrim;
    static const Signal source = tone(441.0, 660.0, 44100.0);
    if (!t.audioFileURL || !fs::exists(t.audioFileURL->path()) || n < 0 || n >= fileFrames)
        return 0.0f;
    return source(ch, n);
}

struct Fixture {
    TempFolder folder{"orvane-exporter"};
    CDProject project;
    std::vector<std::int64_t> fileFrames;
    std::vector<TrackPosition> positions;

    // Four tracks: a fade-in with gain, a crossfade into an enveloped and trimmed track, a
    // missing file, and a file shorter than its track with a fade-out.
    Fixture() {
        const auto a = writeTone(folder.path / "a.wav", 44100, 88200);
        const auto b = writeTone(folder.path / "b.wav", 44100, 100000);
        const auto d = writeTone(folder.path / "d.wav", 44100, 30600);
        CDTrack t1 = trackOf(a, 150, 88200);
        t1.fadeInSamples = 5000;
        t1.fadeInCurve = 0.4f;
        t1.gainEnabled = true;
        t1.gainDB = -3.0f;
        CDTrack t2 = trackOf(b, -60, 100000);
        t2.crossfadeCurve = 0.5f;
        t2.trimStartSamples = 2 * spf;
        t2.trimEndSamples = 3 * spf;
        t2.envelopeEnabled = true;
        t2.gainPoints = {GainPoint{Uuid::random(), 0, -6.0f, std::nullopt},
                         GainPoint{Uuid::random(), 50000, 0.0f, std::nullopt}};
        CDTrack t3 = trackOf(folder.path / "missing.wav", 75, 30 * spf);
        CDTrack t4 = trackOf(d, 10, 60000);
        t4.fadeOutSamples = 7000;
        t4.fadeOutCurve = -0.3f;
        project.tracks = {t1, t2, t3, t4};
        project.masterDither = "None";
        fileFrames = {88200, 100000, 0, 30600};
        positions = TimelineCalculator::calculatePositions(project).value();
    }

    // The image by the rules, written independently of the chunk loop.
    std::vector<std::int16_t> expected() const {
        const std::int64_t total = positions.back().endLBA * spf;
        std::vector<float> mix(static_cast<std::size_t>(total) * 2, 0.0f);
        std::vector<std::vector<float>> weights(project.tracks.size());
        for (std::size_t k = 0; k < project.tracks.size(); ++k) {
            const CDTrack& t = project.tracks[k];
            const TrackPosition& p = positions[k];
            GainEvaluator evaluator(t, spf);
            const std::int64_t begin = p.audioStartLBA * spf;
            const std::int64_t end = p.audioEndLBA * spf;
            const std::int64_t len = t.effectiveLength().totalFrames * spf;
            for (std::int64_t s = begin; s < end; ++s) {
                const std::int64_t off = s - begin;
                float w = 1.0f;
                const bool inFromPrevious = k > 0 && s < positions[k - 1].audioEndLBA * spf;
                const bool inToNext = k + 1 < positions.size() && s >= positions[k + 1].audioStartLBA * spf;
                if (inFromPrevious || inToNext) {
                    const std::int64_t xStart = inFromPrevious ? begin : positions[k + 1].audioStartLBA * spf;
                    const std::int64_t xEnd = inFromPrevious ? positions[k - 1].audioEndLBA * spf : end;
                    const float x = static_cast<float>(s - xStart) / static_cast<float>(xEnd - xStart);
                    const float c = project.tracks[inFromPrevious ? k : k + 1].crossfadeCurve;
                    const float e = std::pow(2.0f, -c);
                    w = inFromPrevious ? std::pow(x, e) : std::pow(1.0f - x, e);
                } else if (t.fadeInSamples > 0 && off < t.fadeInSamples) {
                    w = fadeShape(static_cast<float>(off) / static_cast<float>(t.fadeInSamples),
                                  t.fadeInCurve);
                } else if (t.fadeOutSamples > 0 && off >= len - t.fadeOutSamples) {
                    w = fadeShape(1.0f - static_cast<float>(off - (len - t.fadeOutSamples)) /
                                             static_cast<float>(t.fadeOutSamples),
                                  t.fadeOutCurve);
                }
                w *= evaluator.multiplier(off);
                for (int ch = 0; ch < 2; ++ch)
                    mix[static_cast<std::size_t>(s) * 2 + ch] += w * sourceAt(t, fileFrames[k], ch, off);
            }
        }
        std::vector<std::int16_t> out(mix.size());
        for (std::size_t i = 0; i < mix.size(); ++i)
            out[i] = pcm(mix[i]);
        return out;
    }
};

TEST(Exporter, imageFollowsFadesGainEnvelopeCrossfadeTrimsAndSilencesMissingAudio) {
    // Without dither every image sample is the rules' value within one step, the image is
    // exactly the lead-out LBA in sectors, and pre-gaps and lost audio are digital zero.
    Fixture f;
    ASSERT_EQ(f.positions.size(), 4u);
    ASSERT_LT(f.positions[1].audioStartLBA, f.positions[0].audioEndLBA); // a real crossfade
    const fs::path image = f.folder.path / "IMAGE.DAT";
    Exporter::writeImage(f.project, f.positions, image);
    EXPECT_EQ(static_cast<std::int64_t>(fs::file_size(image)), f.positions.back().endLBA * 2352);
    const auto got = imageSamples(image);
    const auto want = f.expected();
    ASSERT_EQ(got.size(), want.size());
    std::size_t bad = 0;
    for (std::size_t i = 0; i < got.size(); ++i)
        if (std::abs(got[i] - want[i]) > 1 && bad++ < 5)
            ADD_FAILURE() << "sample " << i / 2 << " channel " << i % 2 << ": " << got[i] << " vs "
                          << want[i];
    EXPECT_EQ(bad, 0u);
    // The missing file's stretch and the short file's tail really are silent, and audio is not.
    const auto& p3 = f.positions[2];
    for (std::int64_t s = p3.audioStartLBA * spf; s < p3.audioEndLBA * spf; ++s)
        ASSERT_EQ(got[static_cast<std::size_t>(s) * 2], 0);
    EXPECT_NE(got[static_cast<std::size_t>(f.positions[0].audioStartLBA * spf + 20037) * 2], 0);
}

TEST(Exporter, ditherEnginesRestartWithFixedSeedsWhenTheTypeChanges) {
    // After undithered audio, a dithered chunk is quantised exactly as by fresh engines; a
    // dithered run goes on from its state rather than restarting.
    AudioBuffer buffer(44100, 2, 4000);
    for (int ch = 0; ch < 2; ++ch)
        for (int n = 0; n < 4000; ++n)
            buffer.channel(ch)[n] = tone(441.0, 660.0, 44100)(ch, n) * 0.001f;
    buffer.setFrameLength(4000);
    std::string fresh, afterNone, continued;
    Exporter::Quantizer first;
    first.quantize(buffer, DitherType::tpdf, fresh);
    first.quantize(buffer, DitherType::tpdf, continued);
    Exporter::Quantizer second;
    std::string ignored;
    second.quantize(buffer, DitherType::tpdf, ignored);
    second.quantize(buffer, DitherType::none, ignored);
    second.quantize(buffer, DitherType::tpdf, afterNone);
    EXPECT_TRUE(fresh == afterNone);
    EXPECT_FALSE(fresh == continued);
}

TEST(Exporter, quantiserGivesWhatTheEnginesGiveOnTheWholeChunkForEveryType) {
    // For every dither type a full chunk of two channels is exactly the engines run once over each
    // whole channel and then rounded, however the quantiser divides its work inside.
    constexpr std::size_t frames = 29400;
    AudioBuffer buffer(44100, 2, frames);
    for (int ch = 0; ch < 2; ++ch)
        for (std::size_t n = 0; n < frames; ++n)
            buffer.channel(ch)[n] = tone(441.0, 660.0, 44100)(ch, static_cast<std::int64_t>(n)) * 0.01f;
    buffer.setFrameLength(frames);
    for (const DitherType type : allDitherTypes) {
        if (type == DitherType::none)
            continue;
        std::vector<double> left(buffer.channel(0), buffer.channel(0) + frames);
        std::vector<double> right(buffer.channel(1), buffer.channel(1) + frames);
        DitherEngine leftEngine(type, 16, DitherEngine::seedForChannel(0));
        DitherEngine rightEngine(type, 16, DitherEngine::seedForChannel(1));
        DitherEngine::processPair(leftEngine, left, rightEngine, right);
        Exporter::Quantizer quantizer;
        std::string bytes;
        quantizer.quantize(buffer, type, bytes);
        ASSERT_EQ(bytes.size(), frames * 4);
        const auto got = samples16(bytes);
        for (std::size_t n = 0; n < frames; ++n) {
            ASSERT_EQ(got[2 * n], Exporter::toInt16(left[n])) << rawValue(type) << " left " << n;
            ASSERT_EQ(got[2 * n + 1], Exporter::toInt16(right[n])) << rawValue(type) << " right " << n;
        }
    }
}

TEST(Exporter, quantiserRoundsExactlyAsTheLibraryDoesAndInterleavesLittleEndian) {
    // Over every half step of the 16-bit grid, the values just beside each and a spread of others,
    // the sample equals clamp, scale by 32767, std::round; NaN is 0; undithered stereo comes out
    // as left, right, low byte first.
    const auto reference = [](double x) {
        return static_cast<std::int16_t>(
            std::clamp(std::round(std::clamp(x, -1.0, 1.0) * 32767.0), -32768.0, 32767.0));
    };
    for (int k = -65536; k <= 65536; ++k) {
        const double x = k * 0.5 / 32767.0;
        for (const double v : {x, std::nextafter(x, 2.0), std::nextafter(x, -2.0)})
            ASSERT_EQ(Exporter::toInt16(v), reference(v)) << v;
    }
    for (int k = 0; k < 10000; ++k) {
        const double v = std::sin(k * 0.7311) * (1.0 + k % 3 * 0.01);
        ASSERT_EQ(Exporter::toInt16(v), reference(v)) << v;
    }
    EXPECT_EQ(Exporter::toInt16(std::nan("")), 0);
    EXPECT_EQ(Exporter::toInt16(INFINITY), 32767);
    EXPECT_EQ(Exporter::toInt16(-INFINITY), -32767);

    AudioBuffer buffer(44100, 2, 3);
    buffer.setFrameLength(2);
    buffer.channel(0)[0] = 1.0f, buffer.channel(1)[0] = -1.0f;
    buffer.channel(0)[1] = 256.0f / 32767.0f, buffer.channel(1)[1] = -2.0f / 32767.0f;
    Exporter::Quantizer quantizer;
    std::string bytes = "x";
    quantizer.quantize(buffer, DitherType::none, bytes);
    EXPECT_EQ(bytes, std::string("x\xFF\x7F\x01\x80\x00\x01\xFE\xFF", 9));

    // A whole chunk, odd in length, of single-precision values beside every half step.
    std::vector<float> values;
    for (int k = -32768; k < 32768; k += 3) {
        const auto x = static_cast<float>((k + 0.5) / 32767.0);
        values.insert(values.end(), {x, std::nextafter(x, 2.0f), std::nextafter(x, -2.0f)});
    }
    values.insert(values.end(), {std::nanf(""), 7.0f, -7.0f});
    AudioBuffer sweep(44100, 2, values.size());
    sweep.setFrameLength(values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        sweep.channel(0)[i] = values[i], sweep.channel(1)[i] = -values[i];
    std::string swept;
    quantizer.quantize(sweep, DitherType::none, swept);
    ASSERT_EQ(swept.size(), values.size() * 4);
    const auto got = samples16(swept);
    for (std::size_t i = 0; i < values.size(); ++i) {
        ASSERT_EQ(got[2 * i], Exporter::toInt16(values[i])) << values[i];
        ASSERT_EQ(got[2 * i + 1], Exporter::toInt16(-values[i])) << values[i];
    }
}

TEST(Exporter, chunkLoopCoversTheDiscAtEveryRateAndRefusesBadRequests) {
    // Rates that are multiples of 75 render the whole disc in chunks of at most 50 frames; 44101
    // and a range inside a block are refused with their texts; no tracks is error 2.
    Fixture f;
    const std::int64_t end = f.positions.back().endLBA;
    for (int rate : {44100, 48000, 96000}) {
        std::int64_t samples = 0;
        Exporter::renderChunks(f.project, f.positions, 0, end, rate, [&](RenderChunk& c) {
            std::int64_t n = 0;
            if (auto* s = std::get_if<RenderChunk::Silence>(&c.value))
                n = s->samples;
            else
                n = static_cast<std::int64_t>(std::get<RenderChunk::Audio>(c.value).buffer.frameLength());
            EXPECT_LE(n, 50 * rate / 75);
            samples += n;
        });
        EXPECT_EQ(samples, end * (rate / 75)) << rate;
    }
    try {
        Exporter::renderChunks(f.project, f.positions, 0, end, 44101, [](RenderChunk&) {});
        ADD_FAILURE() << "44101 accepted";
    } catch (const ExportError& e) {
        EXPECT_EQ(e.code, ExportErrorCode::unsupportedRate);
        EXPECT_EQ(e.message, "Unsupported output sample rate 44101 Hz (must be a multiple of 75).");
    }
    try {
        Exporter::renderChunks(f.project, f.positions, 10, end, 44100, [](RenderChunk&) {});
        ADD_FAILURE() << "a range inside a block accepted";
    } catch (const ExportError& e) {
        EXPECT_EQ(e.message, "Render range 10\u2013" + std::to_string(end) +
                                 " does not fall on audio block boundaries.");
    }
    try {
        Exporter::writeImage(f.project, {}, f.folder.path / "x.dat");
        ADD_FAILURE() << "no tracks accepted";
    } catch (const ExportError& e) {
        EXPECT_EQ(e.message, "Project contains no tracks to export.");
    }
}

TEST(Exporter, aTargetInAMissingFolderIsError1) {
    // A folder that does not exist cannot take the image.
    Fixture f;
    try {
        Exporter::writeImage(f.project, f.positions, f.folder.path / "no" / "IMAGE.DAT");
        ADD_FAILURE();
    } catch (const ExportError& e) {
        EXPECT_EQ(e.code, ExportErrorCode::openImageFailed);
        EXPECT_EQ(e.message, "Failed to open output stream for IMAGE.DAT");
    }
}

TEST(Exporter, foreignRateSourceIsConvertedOnceAheadOfTheRender) {
    // A 48 kHz track is rendered into the SRC cache by prerenderSRC, which then has nothing left
    // to do; the image carries its audio at the right level.
    TempFolder folder{"orvane-exporter"};
    SRCRenderer::overrideCacheDirectory(folder.path / "cache");
    const auto src = writeTone(folder.path / "hi.wav", 48000, 48000);
    CDProject project;
    project.tracks = {trackOf(src, 150, 44100)};
    project.masterDither = "None";
    const auto positions = TimelineCalculator::calculatePositions(project).value();
    std::vector<std::string> texts;
    const double share =
        Exporter::prerenderSRC(project, positions.back().endLBA, 44100, [&](double, const std::string& text) {
            texts.push_back(text);
            return true;
        });
    EXPECT_GT(share, 0.0);
    EXPECT_EQ(texts, std::vector<std::string>{"Rendering SRC (1/1)\u2026"});
    EXPECT_EQ(Exporter::prerenderSRC(project, positions.back().endLBA, 44100, {}), 0.0);
    const fs::path image = folder.path / "IMAGE.DAT";
    Exporter::writeImage(project, positions, image);
    const auto got = imageSamples(image);
    std::int16_t peak = 0;
    for (std::int64_t s = positions[0].audioStartLBA * spf + 1000;
         s < positions[0].audioStartLBA * spf + 20000; ++s)
        peak = std::max<std::int16_t>(peak, got[static_cast<std::size_t>(s) * 2]);
    EXPECT_NEAR(peak, 16383, 200);
    SRCRenderer::overrideCacheDirectory(std::nullopt);
}

TEST(Exporter, md5HexOfFile) {
    // Lower-case hex of the file's MD5, across block boundaries; a missing file is an error.
    TempFolder folder{"orvane-exporter"};
    std::ofstream(folder.path / "abc", std::ios::binary) << "abc";
    EXPECT_EQ(Exporter::md5Hex(folder.path / "abc"), "900150983cd24fb0d6963f7d28e17f72");
    std::ofstream(folder.path / "big", std::ios::binary) << std::string((1 << 20) + 7, 'x');
    std::vector<std::int64_t> counts;
    const auto hex = Exporter::md5Hex(folder.path / "big", [&](std::int64_t n) {
        counts.push_back(n);
        return true;
    });
    EXPECT_EQ(counts, (std::vector<std::int64_t>{1 << 20, (1 << 20) + 7}));
    EXPECT_EQ(hex.size(), 32u);
    EXPECT_THROW(Exporter::md5Hex(folder.path / "none"), ExportError);
}

} // namespace
} // namespace orvane
