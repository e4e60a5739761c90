// Reducing a waveform to the screen: the multiplier of fades and gain, the peaks strip and the
// samples strip.

#include "interface/WaveformDrawing.h"

#include "model/BezierFade.h"
#include "model/CDTrack.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvane {
namespace {

using namespace WaveformDrawing;

TEST(WaveformDrawing, fadeAndGainScaleTheDrawnLevelAsTheListenerHearsIt) {
    const FadeShape fades{1000, 2000, 0.5f, -1.0f};
    const std::int64_t length = 10000;
    EXPECT_FLOAT_EQ(fadeMultiplier(fades, 0, length), 0.0f);
    EXPECT_FLOAT_EQ(fadeMultiplier(fades, 500, length), BezierFade::multiplier(0.5f, 0.5f));
    EXPECT_FLOAT_EQ(fadeMultiplier(fades, 5000, length), 1.0f);
    EXPECT_FLOAT_EQ(fadeMultiplier(fades, 9000, length), BezierFade::multiplier(0.5f, -1.0f));
    EXPECT_FLOAT_EQ(fadeMultiplier(fades, 12000, length), 0.0f) << "past the end the fade-out stays shut";

    CDTrack t = CDTrack::make("A", std::nullopt, 150, 100 * 588);
    EXPECT_TRUE(gainTable(t, 64).values.empty());
    EXPECT_FLOAT_EQ(gainTable(t, 64).constGain, 1.0f);
    t.gainEnabled = true;
    t.gainDB = -6.0f;
    EXPECT_NEAR(gainTable(t, 64).constGain, 0.501187f, 1e-5);
    // An envelope from -60 dB (silence) rising to 0 dB: the table reads silence at the start and the
    // static gain at the end, with the interpolation in between.
    t.envelopeEnabled = true;
    t.gainPoints = {GainPoint{Uuid::random(), 0, -60.0f, std::nullopt},
                    GainPoint{Uuid::random(), 100 * 588, 0.0f, std::nullopt}};
    const GainTable table = gainTable(t, 11, 7);
    ASSERT_EQ(table.values.size(), 11u);
    EXPECT_EQ(table.version, 7u);
    EXPECT_FLOAT_EQ(gainAt(table, 0, 100 * 588), 0.0f);
    EXPECT_NEAR(gainAt(table, 100 * 588, 100 * 588), 0.501187f, 1e-5);
    EXPECT_FLOAT_EQ(gainAt(table, 5 * 588, 100 * 588), 0.5f * table.values[1]);
}

TEST(WaveformDrawing, theSamplesPathTakesOverAtTwoPointsAPixel) {
    EXPECT_EQ(choosePath(2.0), Path::samples);
    EXPECT_EQ(choosePath(2.01), Path::peaks);
    EXPECT_FALSE(shouldPrewarmSamples(2.0));
    EXPECT_TRUE(shouldPrewarmSamples(8.0));
    EXPECT_FALSE(shouldPrewarmSamples(8.01));
}

TEST(WaveformDrawing, peaksSlotsTakeTheTrueExtremesOfTheirOwnBuckets) {
    // Eight buckets; bucket k has min -k/10 and max k/10, with one spike in bucket 3.
    std::vector<float> peaks;
    for (int k = 0; k < 8; ++k) {
        peaks.push_back(-0.1f * static_cast<float>(k));
        peaks.push_back(k == 3 ? 0.9f : 0.1f * static_cast<float>(k));
    }
    PeaksInput in;
    in.peaks = &peaks;
    in.bucketsPerPixel = 2.0; // one bucket a slot
    in.trimStartBuckets = 2;  // the first two buckets are trimmed away
    in.effectiveBuckets = 6;
    in.audioStartX = 100.0;
    in.localStart = 0.0;
    in.localEnd = 10.0;
    const auto slots = peaksSlots(in);
    ASSERT_EQ(slots.size(), 6u) << "the strip ends with the effective audio";
    EXPECT_DOUBLE_EQ(slots[0].x, 100.0);
    EXPECT_DOUBLE_EQ(slots[1].x, 100.5);
    EXPECT_FLOAT_EQ(slots[0].maxValue, 0.2f);
    EXPECT_FLOAT_EQ(slots[1].maxValue, 0.9f);
    EXPECT_FLOAT_EQ(slots[5].minValue, -0.7f);

    // A partial redraw lands on the same grid with the same values: no shimmer during a drag.
    in.localStart = 1.2;
    const auto part = peaksSlots(in);
    ASSERT_FALSE(part.empty());
    EXPECT_EQ(part.front(), slots[2]);

    // Zoomed out, a slot spans many buckets and keeps the spike; past the effective buckets a slot
    // still reads at least one.
    in.localStart = 0.0;
    in.bucketsPerPixel = 16.0;
    in.effectiveBuckets = 6;
    const auto wide = peaksSlots(in);
    ASSERT_EQ(wide.size(), 1u);
    EXPECT_FLOAT_EQ(wide[0].maxValue, 0.9f);
    EXPECT_FLOAT_EQ(wide[0].minValue, -0.7f);

    // The zoom and a fade scale each slot; the outline clips to the track.
    in.bucketsPerPixel = 2.0;
    in.scaling.amplitudeZoom = 10.0;
    const auto loud = peaksSlots(in);
    EXPECT_FLOAT_EQ(loud[1].maxValue, 9.0f);
    const Polyline outline = stripOutline(loud, 0.0, 100.0);
    ASSERT_EQ(outline.size(), 4 * loud.size());
    EXPECT_DOUBLE_EQ(outline[2].y, 0.0);
}

TEST(WaveformDrawing, samplesBandsStayVisibleInSilenceAndLinesKeepTheirWidth) {
    const std::vector<float> silence(400, 0.0f);
    SamplesInput in;
    in.samples = &silence;
    in.bufferPerPixel = 8.0; // four samples a slot: bands
    in.discSamplesPerPixel = 8.0;
    in.localEnd = 4.0;
    in.top = 0.0;
    in.height = 100.0;
    in.minThicknessPx = 1.5;
    EXPECT_FALSE(samplesLineMode(in.bufferPerPixel));
    const auto bands = samplesStrip(in);
    ASSERT_EQ(bands.size(), 8u);
    for (const Quad& q : bands) {
        EXPECT_DOUBLE_EQ(q.corners[2].y - q.corners[0].y, 1.5);
        EXPECT_DOUBLE_EQ(0.5 * (q.corners[2].y + q.corners[0].y), 50.0);
    }

    // One sample every ten points: a line from slot centre to slot centre, as wide as asked.
    std::vector<float> ramp(100);
    for (std::size_t i = 0; i < ramp.size(); ++i) {
        ramp[i] = static_cast<float>(i) * 0.01f;
    }
    in.samples = &ramp;
    in.bufferPerPixel = 0.1;
    in.discSamplesPerPixel = 0.1;
    in.localEnd = 1.0;
    ASSERT_TRUE(samplesLineMode(in.bufferPerPixel));
    const auto line = samplesStrip(in);
    ASSERT_EQ(line.size(), 2u);
    const Quad& q = line[0];
    const double width = std::hypot(q.corners[0].x - q.corners[3].x, q.corners[0].y - q.corners[3].y);
    EXPECT_NEAR(width, 1.5, 1e-9);
    // The segment runs from the sample at the slot's centre, read between neighbours.
    EXPECT_NEAR(0.5 * (q.corners[0].y + q.corners[3].y), 50.0 - 0.025 * 0.01 * 50.0, 1e-9);
}

TEST(WaveformDrawing, aCrossfadeMixAddsBothTracksSlotBySlot) {
    const std::vector<Slot> out{{0.0, 0.5f, -0.5f}, {0.5, 0.4f, -0.4f}};
    const std::vector<Slot> in{{0.5, 0.3f, -0.2f}, {1.0, 0.6f, -0.6f}};
    const auto mix = mixSlots(out, in);
    ASSERT_EQ(mix.size(), 3u);
    EXPECT_EQ(mix[0], out[0]);
    EXPECT_FLOAT_EQ(mix[1].maxValue, 0.7f);
    EXPECT_FLOAT_EQ(mix[1].minValue, -0.6f);
    EXPECT_EQ(mix[2], in[1]);
}

TEST(WaveformDrawing, aTracksPeaksDrawSkipsItsTrimAtTheFilesOwnRate) {
    // A 48 kHz file: one bucket is 32 frames, 29.4 disc samples; at 48000 / 32 / 1500 buckets a point,
    // one second of audio is 1500 points.
    CDTrack t = CDTrack::make("A", std::nullopt, 150, 441000); // 10 s
    t.trimStartSamples = 44100;                                // 1 s = 1500 buckets at 48 kHz
    std::vector<float> peaks(2 * 15000, 0.0f);
    peaks[2 * 1500 + 1] = 0.8f; // the first bucket after the trim
    const Scaling scaling = scalingFor(t, nullptr, 1.0);
    const PeaksInput in = peaksInputFor(t, peaks, 48000.0, 100.0, 1500.0, 100.0, 101.0, scaling);
    EXPECT_EQ(in.trimStartBuckets, 1500);
    EXPECT_EQ(in.effectiveBuckets, 13500);
    EXPECT_DOUBLE_EQ(in.bucketsPerPixel, 1.0);
    EXPECT_NEAR(in.samplesPerBucket, 29.4, 1e-12);
    const auto slots = peaksSlots(in);
    ASSERT_EQ(slots.size(), 2u);
    EXPECT_FLOAT_EQ(slots[0].maxValue, 0.8f);
    EXPECT_EQ(pointsPerPixel(48000.0, 1500.0), 32.0);

    // The same span of the file for the sample window: from the trim on, clipped to the audio.
    EXPECT_EQ(visibleNativeRange(t, 48000.0, 100.0, 1500.0, 0.0, 101.0),
              (std::pair<std::int64_t, std::int64_t>(48000, 48032)));
    const std::vector<float> window(64, 0.5f);
    const SamplesInput samples =
        samplesInputFor(t, window, 47990, 48000.0, 100.0, 1500.0, 100.0, 101.0, 0, 100, scaling);
    EXPECT_DOUBLE_EQ(samples.bufferAtAudioStart, 10.0);
    EXPECT_DOUBLE_EQ(samples.bufferPerPixel, 32.0);
}

TEST(WaveformDrawing, theCrossfadeLawScalesEachSideAcrossTheOverlap) {
    const std::vector<Slot> flat{
        {0.0, 1.0f, -1.0f}, {49.75, 1.0f, -1.0f}, {99.75, 1.0f, -1.0f}, {150.0, 1.0f, -1.0f}};
    const auto out = withCrossfadeGain(flat, 0.0, 100.0, 0.0f, CrossfadeSide::outgoing);
    const auto in = withCrossfadeGain(flat, 0.0, 100.0, 0.0f, CrossfadeSide::incoming);
    EXPECT_NEAR(out[0].maxValue, 0.9975f, 1e-6);
    EXPECT_NEAR(out[1].maxValue, 0.5f, 1e-6);
    EXPECT_NEAR(in[1].minValue, -0.5f, 1e-6);
    EXPECT_EQ(out[3], flat[3]) << "outside the overlap nothing changes";
    // At curve 0 the two gains sum to one: a steady signal draws at a steady level through the mix.
    const auto mix = mixSlots(out, in);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(mix[i].maxValue, 1.0f, 1e-6);
    }
    // Equal power at curve 1: each side at the middle is 0.7071.
    EXPECT_NEAR(withCrossfadeGain(flat, 0.0, 100.0, 1.0f, CrossfadeSide::incoming)[1].maxValue, 0.70711f,
                1e-5);
}

TEST(WaveformDrawing, anAuditionSpansItsOwnLengthAcrossTheLane) {
    // 100 buckets over 75 frames: at 100 points a second the file is 100 points wide, a bucket a point.
    std::vector<float> peaks(200, 0.25f);
    peaks[2 * 99 + 1] = 0.75f;
    const PeaksInput in = previewPeaksInput(peaks, 75, 100.0, 98.0, 200.0, 2.0);
    const auto slots = peaksSlots(in);
    ASSERT_EQ(slots.size(), 4u) << "the strip ends with the file";
    EXPECT_DOUBLE_EQ(slots.back().x, 99.5);
    EXPECT_FLOAT_EQ(slots.back().maxValue, 1.5f);
    EXPECT_FLOAT_EQ(slots.front().maxValue, 0.5f);
}

} // namespace
} // namespace orvane

TEST(WaveformDrawing, aFilesRateIsReadFromItsPeakCount) {
    // Ten seconds of a 48 kHz file: 15000 buckets of 32 frames over 441000 disc samples.
    EXPECT_DOUBLE_EQ(orvane::WaveformDrawing::fileRateOfPeaks(2 * 15000, 441000), 48000.0);
    // A partial last bucket on a short 96 kHz file still lands on the usual rate.
    EXPECT_DOUBLE_EQ(orvane::WaveformDrawing::fileRateOfPeaks(2 * (96000 / 32 + 1), 44100), 96000.0);
    EXPECT_DOUBLE_EQ(orvane::WaveformDrawing::fileRateOfPeaks(2 * 1378, 44100), 44100.0);
    // An odd rate is kept as measured; nothing to measure falls back to the disc's rate.
    EXPECT_NEAR(orvane::WaveformDrawing::fileRateOfPeaks(2 * 1000, 44100), 32000.0 * 44100.0 / 44100.0, 1e-9);
    EXPECT_NEAR(orvane::WaveformDrawing::fileRateOfPeaks(2 * 1200, 44100), 38400.0, 1e-9);
    EXPECT_DOUBLE_EQ(orvane::WaveformDrawing::fileRateOfPeaks(0, 44100), 44100.0);
    EXPECT_DOUBLE_EQ(orvane::WaveformDrawing::fileRateOfPeaks(2000, 0), 44100.0);
}
