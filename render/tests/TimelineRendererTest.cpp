// The monitoring render on synthesised sources: placement on the disc, crossfade and fade laws,
// conversion of other formats, de-emphasis, and agreement with the master render.

#include "render/TimelineRenderer.h"

#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "model/TimelineCalculator.h"
#include "platform/AudioFileWriter.h"
#include "render/Exporter.h"
#include "render/SRCRenderer.h"
#include "testsupport/TempFolder.h"
#include "testsupport/TestAudio.h"
#include "testsupport/ToneFit.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <functional>

namespace orvane {
namespace {

namespace fs = std::filesystem;
using namespace testing;
constexpr std::int64_t spf = 588;

// A sample pattern that tells every position within ~2000 samples apart, and left from right.
float pattern(int ch, std::int64_t n) {
    const float v = static_cast<float>((n * 7 + ch * 3) % 1999 + 1) / 2048.0f;
    return ch == 0 ? v : -v;
}

Signal constant(float left, float right) {
    return [=](int ch, std::int64_t) { return ch == 0 ? left : right; };
}

TimelineRenderer::Snapshot snapshotOf(const CDProject& project) {
    auto positions = TimelineCalculator::calculatePositions(project);
    EXPECT_TRUE(positions.has_value());
    return TimelineRenderer::Snapshot::make(project, positions.value_or(std::vector<TrackPosition>{}));
}

struct Stereo {
    std::vector<float> l;
    std::vector<float> r;
};

// Renders [start, start + count) in calls of the given sizes, cycling through them.
Stereo renderSpan(TimelineRenderer& renderer, const TimelineRenderer::Snapshot& snapshot, std::int64_t start,
                  std::int64_t count, const std::vector<std::int64_t>& chunkSizes = {4096}) {
    Stereo out{std::vector<float>(static_cast<std::size_t>(count), 7.0f),
               std::vector<float>(static_cast<std::size_t>(count), 7.0f)};
    std::int64_t done = 0;
    for (std::size_t k = 0; done < count; ++k) {
        const std::int64_t n = std::min(chunkSizes[k % chunkSizes.size()], count - done);
        renderer.render(out.l.data() + done, out.r.data() + done, start + done, n, snapshot);
        done += n;
    }
    return out;
}

double rms(const std::vector<float>& x, std::size_t from, std::size_t to) {
    double sum = 0.0;
    for (std::size_t i = from; i < to; ++i)
        sum += static_cast<double>(x[i]) * x[i];
    return std::sqrt(sum / static_cast<double>(to - from));
}

TEST(TimelineRenderer, placesSourceSamplesOnTheDiscAndKeepsGapsAndTheEndSilent) {
    // Each track's samples land at its audio start, whatever the chunking; pre-gap, gap, the
    // frame-completing tail and everything past the disc's end are zero; buffers are never overrun.
    TempFolder folder{"orvane-timeline"};
    const std::int64_t framesA = 300 * spf + 100; // ends inside a frame
    const fs::path a = writeSource(folder.path / "a.wav", 44100, 2, framesA, pattern);
    const fs::path b = writeSource(folder.path / "b.wav", 44100, 2, 300 * spf,
                                   [](int ch, std::int64_t n) { return pattern(1 - ch, n + 500); });
    CDProject project;
    project.tracks = {trackOf(a, 150, framesA), trackOf(b, 75, 300 * spf)};
    const auto snapshot = snapshotOf(project);
    ASSERT_EQ(snapshot.totalSamples, (150 + 301 + 75 + 300) * spf);

    TimelineRenderer renderer;
    const std::int64_t span = snapshot.totalSamples + 5000;
    const Stereo whole = renderSpan(renderer, snapshot, 0, span);
    const std::int64_t startA = 150 * spf;
    const std::int64_t startB = (150 + 301 + 75) * spf;
    for (std::int64_t i = 0; i < span; ++i) {
        float wantL = 0.0f;
        float wantR = 0.0f;
        if (i >= startA && i < startA + framesA) {
            wantL = pattern(0, i - startA);
            wantR = pattern(1, i - startA);
        } else if (i >= startB && i < snapshot.totalSamples) {
            wantL = pattern(1, i - startB + 500);
            wantR = pattern(0, i - startB + 500);
        }
        const auto k = static_cast<std::size_t>(i);
        ASSERT_EQ(whole.l[k], wantL) << "sample " << i;
        ASSERT_EQ(whole.r[k], wantR) << "sample " << i;
    }

    // Odd chunk sizes start and end blocks in mid-frame; the result must not change.
    const Stereo odd = renderSpan(renderer, snapshot, 0, span, {1, 587, 1237, 4096, 33});
    EXPECT_EQ(odd.l, whole.l);
    EXPECT_EQ(odd.r, whole.r);
    const Stereo offset = renderSpan(renderer, snapshot, startB - 301, 9000, {777});
    EXPECT_TRUE(std::equal(offset.l.begin(), offset.l.end(), whole.l.begin() + startB - 301));

    std::vector<float> l(108, 9.0f);
    std::vector<float> r(108, 9.0f);
    renderer.render(l.data(), r.data(), startA, 0, snapshot);
    EXPECT_EQ(l, std::vector<float>(108, 9.0f)); // count 0 touches nothing
    renderer.render(l.data(), r.data(), snapshot.totalSamples, 100, snapshot);
    EXPECT_EQ(std::vector<float>(l.begin(), l.begin() + 100), std::vector<float>(100, 0.0f));
    EXPECT_EQ(std::vector<float>(l.begin() + 100, l.end()), std::vector<float>(8, 9.0f));
    EXPECT_EQ(std::vector<float>(r.begin() + 100, r.end()), std::vector<float>(8, 9.0f));
}

TEST(TimelineRenderer, crossfadeGainsFollowTheIncomingTracksCurve) {
    // Over the overlap the outgoing and incoming gains are 1-t and t for curve 0 (summing to 1),
    // else (1-t)^e and t^e with e = 2^-curve; outside it each track plays alone at full level.
    TempFolder folder{"orvane-timeline"};
    const std::int64_t frames = 750 * spf;
    const fs::path a = writeSource(folder.path / "a.wav", 44100, 2, frames, constant(0.5f, 0.0f));
    const fs::path b = writeSource(folder.path / "b.wav", 44100, 2, frames, constant(0.0f, 0.5f));
    for (const float curve : {0.0f, 1.0f, -1.0f, 1.5f}) {
        SCOPED_TRACE(curve);
        CDProject project;
        project.tracks = {trackOf(a, 150, frames), trackOf(b, -150, frames)};
        project.tracks[1].crossfadeCurve = curve;
        const auto snapshot = snapshotOf(project);
        TimelineRenderer renderer;
        const std::int64_t fadeStart = 750 * spf;
        const std::int64_t total = 150 * spf;
        const Stereo out = renderSpan(renderer, snapshot, fadeStart - 1000, total + 2000, {3001});
        const double e = std::pow(2.0, -curve);
        for (std::int64_t i = 0; i < total + 2000; ++i) {
            const auto k = static_cast<std::size_t>(i);
            const double g1 = out.l[k] / 0.5;
            const double g2 = out.r[k] / 0.5;
            const double t = std::clamp(static_cast<double>(i - 1000) / static_cast<double>(total), 0.0, 1.0);
            const double want1 = i < 1000 ? 1.0 : i >= 1000 + total ? 0.0 : std::pow(1.0 - t, e);
            const double want2 = i < 1000 ? 0.0 : i >= 1000 + total ? 1.0 : std::pow(t, e);
            // The law runs on a 32-bit progress: allow its rounding times the law's slope there.
            const double slope1 = t < 1.0 ? e * std::pow(1.0 - t, e - 1.0) : 0.0;
            const double slope2 = t > 0.0 ? e * std::pow(t, e - 1.0) : 0.0;
            ASSERT_NEAR(g1, want1, 2e-6 + slope1 * 1.2e-7) << "sample " << i;
            ASSERT_NEAR(g2, want2, 2e-6 + slope2 * 1.2e-7) << "sample " << i;
            if (curve == 0.0f) {
                ASSERT_NEAR(g1 + g2, 1.0, 1e-6) << "sample " << i;
            }
        }
    }
}

TEST(TimelineRenderer, fadeInWinsOverAnOverlappingFadeOutAndTheEnvelopeFloorIsSilence) {
    // A fade-in as long as the track keeps rising through the fade-out's stretch, and an envelope at
    // -60 dB is exact silence (the fade laws themselves are held to the master render's below).
    TempFolder folder{"orvane-timeline"};
    const std::int64_t frames = 600 * spf;
    const fs::path dc = writeSource(folder.path / "dc.wav", 44100, 2, frames, constant(0.5f, -0.5f));
    const std::int64_t at = 150 * spf;

    CDProject project;
    project.tracks = {trackOf(dc, 150, frames)};
    CDTrack& track = project.tracks[0];
    track.fadeInSamples = frames;
    track.fadeOutSamples = 44100;
    TimelineRenderer renderer;
    Stereo out = renderSpan(renderer, snapshotOf(project), at, frames);
    for (std::int64_t p = frames - 44100; p < frames; ++p)
        ASSERT_LT(out.l[static_cast<std::size_t>(p - 1)], out.l[static_cast<std::size_t>(p)]) << p;

    // An envelope holding -60 dB up to its first point, then rising to 0 dB.
    track.fadeInSamples = 0;
    track.fadeOutSamples = 0;
    track.envelopeEnabled = true;
    track.gainPoints = {GainPoint{Uuid::random(), 44100, -60.0f, std::nullopt},
                        GainPoint{Uuid::random(), 88200, 0.0f, std::nullopt}};
    out = renderSpan(renderer, snapshotOf(project), at, frames, {1000});
    for (std::size_t p = 0; p <= 44100; ++p)
        ASSERT_EQ(out.l[p], 0.0f) << p;
    EXPECT_GT(out.l[60000], 0.0f);
    EXPECT_LT(out.l[60000], 0.5f);
    EXPECT_EQ(out.l[100000], 0.5f);
}

TEST(TimelineRenderer, monoAndOtherRateSourcesArriveAsStereoAt441) {
    // A mono source is the same on both sides, sample for sample; a 96 kHz tone comes out at
    // 44.1 kHz with its frequency and level, clean away from the per-chunk conversion edges.
    TempFolder folder{"orvane-timeline"};
    const std::int64_t monoFrames = 10 * spf;
    const fs::path mono = writeSource(folder.path / "mono.wav", 44100, 1, monoFrames, pattern);
    const std::int64_t hiFrames = 192000;
    const fs::path hi =
        writeSource(folder.path / "hi.wav", 96000, 2, hiFrames, tone(1000.0, 3000.0, 96000.0));
    const std::int64_t hiSamples = RedBook::discSamplesForFileLength(hiFrames, 96000.0);
    CDProject project;
    project.tracks = {trackOf(mono, 150, monoFrames), trackOf(hi, 75, hiSamples)};
    const auto snapshot = snapshotOf(project);
    TimelineRenderer renderer;

    const Stereo m = renderSpan(renderer, snapshot, 150 * spf, monoFrames, {1000});
    for (std::int64_t n = 0; n < monoFrames; ++n) {
        ASSERT_EQ(m.l[static_cast<std::size_t>(n)], pattern(0, n)) << n;
        ASSERT_EQ(m.r[static_cast<std::size_t>(n)], pattern(0, n)) << n;
    }

    const std::int64_t start = snapshot.positions[1].audioStartLBA * spf;
    const Stereo out = renderSpan(renderer, snapshot, start, 20 * 4096);
    for (const auto& [side, hz] : {std::pair{&out.l, 1000.0}, std::pair{&out.r, 3000.0}}) {
        const std::vector<double> y(side->begin(), side->end());
        for (std::size_t chunk = 0; chunk < 20; ++chunk) {
            // Fit a sinusoid at the expected frequency inside the chunk; what is left is not that tone.
            const ToneFit fit = fitTone(y, 44100, hz, chunk * 4096 + 512, 3072);
            EXPECT_NEAR(fit.amplitude, 0.5, 0.5 * 0.01) << "chunk " << chunk << " at " << hz;
            EXPECT_LT(std::hypot(fit.residualRms, fit.dc), 0.5 * 1e-3) << "chunk " << chunk << " at " << hz;
        }
    }
}

TEST(TimelineRenderer, otherRatesStreamWithoutAnEdgeBetweenChunks) {
    // A 997 Hz tone at -1 dBFS from a 48 or 96 kHz file, rendered chunk after chunk as the producer
    // asks for it, is one clean tone: no click at any chunk edge (THD+N below -120 dB), any chunking
    // gives the same samples, and a fresh start in mid-stream (a seek) lands on the same samples.
    TempFolder folder{"orvane-timeline"};
    const double amplitude = std::pow(10.0, -1.0 / 20.0);
    for (const int rate : {48000, 96000}) {
        SCOPED_TRACE(rate);
        const std::int64_t fileFrames = 3 * rate;
        const fs::path file = writeSource(folder.path / ("t" + std::to_string(rate) + ".wav"), rate, 2,
                                          fileFrames, tone(997.0, 997.0, rate, amplitude));
        CDProject project;
        project.tracks = {trackOf(file, 150, RedBook::discSamplesForFileLength(fileFrames, rate))};
        const auto snapshot = snapshotOf(project);
        const std::int64_t start = 150 * spf;
        const std::int64_t count = 2 * 44100;

        TimelineRenderer renderer;
        const Stereo chunked = renderSpan(renderer, snapshot, start, count, {4096});
        for (const auto* side : {&chunked.l, &chunked.r}) {
            const std::vector<double> y(side->begin(), side->end());
            const ToneFit fit = fitTone(y, 44100, 997.0, 4410, y.size() - 2 * 4410);
            EXPECT_NEAR(fit.amplitude, amplitude, amplitude * 1e-4);
            EXPECT_LT(dB(std::hypot(fit.residualRms, fit.dc) / (amplitude / std::sqrt(2.0))), -120.0);
        }

        TimelineRenderer other;
        const Stereo odd = renderSpan(other, snapshot, start, count, {1000, 4096, 77, 3333});
        float worst = 0.0f;
        for (std::size_t i = 0; i < chunked.l.size(); ++i)
            worst = std::max(worst, std::abs(odd.l[i] - chunked.l[i]));
        EXPECT_LE(worst, 1e-6f);

        TimelineRenderer sought;
        const std::int64_t at = 44100 + 12345;
        const Stereo after = renderSpan(sought, snapshot, start + at, 8192, {4096});
        worst = 0.0f;
        for (std::size_t i = 0; i < after.l.size(); ++i)
            worst = std::max(worst, std::abs(after.l[i] - chunked.l[static_cast<std::size_t>(at) + i]));
        EXPECT_LE(worst, 1e-5f);
    }
}

TEST(TimelineRenderer, aSourceAtAnotherRateGoesThroughTheMastersLevelStage) {
    // A 48 kHz source with fades, static gain and an envelope: monitoring converts it its own way and
    // the master reads the converter's cache, but the level each applies is the same, so away from
    // the file's edges the two agree to within what the converters differ by.
    TempFolder folder{"orvane-timeline"};
    SRCRenderer::overrideCacheDirectory(folder.path / "cache");
    const std::int64_t fileFrames = 4 * 48000;
    const fs::path file = writeSource(folder.path / "dc.wav", 48000, 2, fileFrames, constant(0.5f, -0.25f));
    const std::int64_t samples = RedBook::discSamplesForFileLength(fileFrames, 48000);
    CDProject project;
    project.tracks = {trackOf(file, 150, samples)};
    CDTrack& t = project.tracks[0];
    t.fadeInSamples = 30000;
    t.fadeInCurve = 0.4f;
    t.fadeOutSamples = 40000;
    t.gainEnabled = true;
    t.gainDB = -3.0f;
    t.envelopeEnabled = true;
    t.gainPoints = {GainPoint{Uuid::random(), 50000, -10.0f, std::nullopt},
                    GainPoint{Uuid::random(), 90000, 0.0f, std::nullopt}};
    const auto snapshot = snapshotOf(project);

    std::vector<float> masterL;
    Exporter::renderChunks(project, snapshot.positions, 0, snapshot.positions.back().endLBA, 44100,
                           [&](RenderChunk& chunk) {
                               if (const auto* s = std::get_if<RenderChunk::Silence>(&chunk.value)) {
                                   masterL.insert(masterL.end(), static_cast<std::size_t>(s->samples), 0.0f);
                                   return;
                               }
                               const AudioBuffer& b = std::get<RenderChunk::Audio>(chunk.value).buffer;
                               masterL.insert(masterL.end(), b.channel(0), b.channel(0) + b.frameLength());
                           });
    SRCRenderer::overrideCacheDirectory(std::nullopt);
    ASSERT_EQ(static_cast<std::int64_t>(masterL.size()), snapshot.totalSamples);

    TimelineRenderer renderer;
    const Stereo mine = renderSpan(renderer, snapshot, 0, snapshot.totalSamples, {4096});
    const std::int64_t first = 150 * spf + 2000;
    const std::int64_t last = 150 * spf + samples - 2000;
    double worst = 0.0;
    for (std::int64_t i = first; i < last; ++i) {
        const auto k = static_cast<std::size_t>(i);
        worst = std::max(worst, std::abs(static_cast<double>(mine.l[k]) - masterL[k]));
    }
    EXPECT_LE(worst, 1e-4);
    // The level does move: mid fade-in and in the envelope's dip the signal is far below 0.5.
    EXPECT_LT(mine.l[static_cast<std::size_t>(150 * spf + 10000)], 0.3f);
    EXPECT_LT(mine.l[static_cast<std::size_t>(150 * spf + 50000)], 0.15f);
}

TEST(TimelineRenderer, deEmphasisShelvesTheHighsAndRunsOnAcrossChunks) {
    // A pre-emphasised track loses about 8.8 dB at 15 kHz (the 50/15 us shelf) and nothing at 100 Hz; the
    // filter's state runs on from call to call, so any chunking gives the same samples; other tracks are
    // untouched.
    TempFolder folder{"orvane-timeline"};
    const std::int64_t frames = 200 * spf;
    const fs::path src = writeSource(folder.path / "t.wav", 44100, 2, frames, tone(100.0, 15000.0, 44100.0));
    CDProject project;
    project.tracks = {trackOf(src, 150, frames), trackOf(src, 0, frames)};
    project.tracks[0].preEmphasis = true;
    const auto snapshot = snapshotOf(project);
    TimelineRenderer renderer;
    const std::int64_t start = 150 * spf;
    const Stereo whole = renderSpan(renderer, snapshot, start, 2 * frames);
    renderer.clearDeEmphasisStates();
    const Stereo odd = renderSpan(renderer, snapshot, start, 2 * frames, {1001, 3, 4099, 588});
    EXPECT_EQ(odd.l, whole.l);
    EXPECT_EQ(odd.r, whole.r);

    const auto n = static_cast<std::size_t>(frames);
    const double ref = 0.5 / std::sqrt(2.0);
    const double lowDB = 20.0 * std::log10(rms(whole.l, 4410, n) / ref);
    const double highDB = 20.0 * std::log10(rms(whole.r, 4410, n) / ref);
    EXPECT_NEAR(lowDB, 0.0, 0.1);
    EXPECT_NEAR(highDB, -8.8, 0.5);
    EXPECT_NEAR(rms(whole.r, n + 10, 2 * n), ref, 1e-4); // the plain track keeps its highs
}

TEST(TimelineRenderer, equalsTheMasterRenderBeforeDither) {
    // With fades, a curved crossfade, static gain, a smoothed envelope and a head trim, what
    // monitoring plays is the master render's float output to within 1e-6, from any start.
    TempFolder folder{"orvane-timeline"};
    const std::int64_t frames = 500 * spf + 321;
    CDProject project;
    for (int k = 0; k < 3; ++k) {
        const fs::path file = folder.path / ("t" + std::to_string(k) + ".wav");
        writeSource(file, 44100, 2, frames, tone(300.0 + 110.0 * k, 470.0 + 50.0 * k, 44100.0, 0.7));
        project.tracks.push_back(trackOf(file, k == 0 ? 150 : k == 1 ? -100 : 40, frames));
    }
    CDTrack& t0 = project.tracks[0];
    t0.fadeInSamples = 22050;
    t0.fadeInCurve = 0.3f;
    t0.gainEnabled = true;
    t0.gainDB = 2.0f;
    CDTrack& t1 = project.tracks[1];
    t1.crossfadeCurve = 0.5f;
    t1.fadeOutSamples = 30000;
    t1.fadeOutCurve = -0.4f;
    t1.envelopeEnabled = true;
    t1.envelopeSmoothing = 0.6f;
    t1.gainPoints = {GainPoint{Uuid::random(), 10000, -4.0f, std::nullopt},
                     GainPoint{Uuid::random(), 90000, 1.5f, 0.2f},
                     GainPoint{Uuid::random(), 200000, -12.0f, std::nullopt}};
    CDTrack& t2 = project.tracks[2];
    t2.trimStartSamples = 1000;
    t2.trimEndSamples = 5000;
    t2.fadeInSamples = 5000;
    t2.fadeOutSamples = 70000;
    t2.fadeOutCurve = 0.8f;
    t2.gainEnabled = true;
    t2.gainDB = -3.0f;
    t2.envelopeEnabled = true;
    t2.gainPoints = {GainPoint{Uuid::random(), 50000, -60.0f, std::nullopt},
                     GainPoint{Uuid::random(), 60000, 0.0f, std::nullopt}};

    const auto snapshot = snapshotOf(project);
    std::vector<float> masterL;
    std::vector<float> masterR;
    Exporter::renderChunks(project, snapshot.positions, 0, snapshot.positions.back().endLBA, 44100,
                           [&](RenderChunk& chunk) {
                               if (const auto* s = std::get_if<RenderChunk::Silence>(&chunk.value)) {
                                   masterL.insert(masterL.end(), static_cast<std::size_t>(s->samples), 0.0f);
                                   masterR.insert(masterR.end(), static_cast<std::size_t>(s->samples), 0.0f);
                                   return;
                               }
                               const AudioBuffer& b = std::get<RenderChunk::Audio>(chunk.value).buffer;
                               masterL.insert(masterL.end(), b.channel(0), b.channel(0) + b.frameLength());
                               masterR.insert(masterR.end(), b.channel(1), b.channel(1) + b.frameLength());
                           });
    ASSERT_EQ(static_cast<std::int64_t>(masterL.size()), snapshot.totalSamples);

    TimelineRenderer renderer;
    const auto compare = [&](std::int64_t start, std::int64_t count, std::vector<std::int64_t> chunks) {
        const Stereo mine = renderSpan(renderer, snapshot, start, count, chunks);
        double worst = 0.0;
        for (std::int64_t i = 0; i < count; ++i) {
            const auto k = static_cast<std::size_t>(i);
            const auto m = static_cast<std::size_t>(start + i);
            worst = std::max({worst, std::abs(static_cast<double>(mine.l[k]) - masterL[m]),
                              std::abs(static_cast<double>(mine.r[k]) - masterR[m])});
        }
        return worst;
    };
    EXPECT_LE(compare(0, snapshot.totalSamples, {4096}), 1e-6);
    EXPECT_LE(compare(123457, 400000, {1000, 4096, 77}), 1e-6);
}

TEST(TimelineRenderer, unreadableSourcesPlaySilenceAndOpenFilesStayCachedUntilCleared) {
    // A missing file is silence and is tried again on the next call; an opened file keeps playing
    // what it held until the cache is emptied; a preview plays the file plainly from 0 or later.
    TempFolder folder{"orvane-timeline"};
    const fs::path file = folder.path / "late.wav";
    const std::int64_t frames = 10 * spf;
    CDProject project;
    project.tracks = {trackOf(file, 150, frames)};
    const auto snapshot = snapshotOf(project);
    TimelineRenderer renderer;
    const std::int64_t at = 150 * spf;
    Stereo out = renderSpan(renderer, snapshot, at, frames);
    EXPECT_EQ(out.l, std::vector<float>(static_cast<std::size_t>(frames), 0.0f));
    std::vector<float> l(100, 3.0f);
    std::vector<float> r(100, 3.0f);
    renderer.renderPreview(l.data(), r.data(), file, 0, 100);
    EXPECT_EQ(l, std::vector<float>(100, 0.0f));

    writeSource(file, 44100, 2, frames, constant(0.25f, 0.25f));
    out = renderSpan(renderer, snapshot, at, frames);
    EXPECT_EQ(out.l, std::vector<float>(static_cast<std::size_t>(frames), 0.25f));

    const fs::path replacement = folder.path / "replacement.wav";
    writeSource(replacement, 44100, 2, frames, pattern);
    fs::rename(replacement, file);
    out = renderSpan(renderer, snapshot, at, frames);
    EXPECT_EQ(out.l[123], 0.25f);
    renderer.clearFileCache();
    out = renderSpan(renderer, snapshot, at, frames);
    EXPECT_EQ(out.l[123], pattern(0, 123));

    renderer.renderPreview(l.data(), r.data(), file, -50, 100);
    for (std::size_t n = 0; n < 100; ++n) {
        ASSERT_EQ(l[n], pattern(0, static_cast<std::int64_t>(n)));
        ASSERT_EQ(r[n], pattern(1, static_cast<std::int64_t>(n)));
    }
}

} // namespace
} // namespace orvane
