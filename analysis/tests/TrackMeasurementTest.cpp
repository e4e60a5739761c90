#include "analysis/LoudnessAnalyzer.h"
#include "analysis/tests/LoudnessSignals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <vector>

namespace orvane {
namespace {

namespace LA = LoudnessAnalyzer;
using testing::Section;

class TrackMeasurement : public testing::TempFolderTest {
  protected:
    CDTrack sections(const std::string& name, const std::vector<Section>& parts, double rate = 44100.0,
                     int channels = 2) {
        double seconds = 0.0;
        for (const auto& p : parts)
            seconds += p.seconds;
        return testing::wholeFileTrack(testing::writeSections(file(name), parts, rate, channels), seconds);
    }
};

TEST_F(TrackMeasurement, shortAudioHasNoFigureUntilABlockAndNoRangeUntilThreeSeconds) {
    // Under 400 ms no block is complete; up to 3 s there is a loudness but no range.
    EXPECT_FALSE(LA::analyzeTrackData(sections("a.wav", {{-20.0, 0.35}})).has_value());

    const auto twoSeconds = LA::analyzeTrackData(sections("b.wav", {{-20.0, 2.0}}));
    ASSERT_TRUE(twoSeconds.has_value());
    EXPECT_EQ(twoSeconds->hops.size(), 20u);
    EXPECT_EQ(twoSeconds->blocks.size(), 17u);
    const auto figures = twoSeconds->summary();
    ASSERT_TRUE(figures.has_value());
    EXPECT_NEAR(figures->lufs, -20.0, 0.05);
    EXPECT_FALSE(figures->lra.has_value());
}

TEST_F(TrackMeasurement, fullScaleSineReadsNearZeroAndSilenceHasDataButNoFigure) {
    const auto loud = LA::analyzeTrackData(sections("loud.wav", {{0.0, 5.0}}));
    ASSERT_TRUE(loud.has_value());
    const auto figures = loud->summary();
    ASSERT_TRUE(figures.has_value());
    EXPECT_NEAR(figures->lufs, 0.0, 0.05);
    EXPECT_NEAR(figures->truePeak, 0.0, 0.1);

    const auto path = file("silence.wav");
    testing::writeSamples(path, 2, 44100 * 3, [](int, std::int64_t) { return 0.0f; });
    const auto silence = LA::analyzeTrackData(testing::wholeFileTrack(path, 3.0));
    ASSERT_TRUE(silence.has_value());
    EXPECT_FALSE(silence->summary().has_value());
    EXPECT_EQ(LA::truePeakDB(silence->peak), -180.0);
}

TEST_F(TrackMeasurement, measuresAfterTrimFadeAndGainAsTheDiscCarriesThem) {
    // 4 s loud, then 8 s at -30: trimming the loud head leaves -30; gain -6 takes 6 dB off.
    CDTrack track = sections("t.wav", {{-10.0, 4.0}, {-30.0, 8.0}});
    const auto whole = LA::analyzeTrackData(track);
    ASSERT_TRUE(whole.has_value());
    ASSERT_TRUE(whole->summary().has_value());
    EXPECT_GT(whole->summary()->lufs, -15.0);

    CDTrack trimmed = track;
    trimmed.trimStartSamples = 44100 * 4;
    const auto quiet = LA::analyzeTrackData(trimmed);
    ASSERT_TRUE(quiet.has_value() && quiet->summary().has_value());
    EXPECT_NEAR(quiet->summary()->lufs, -30.0, 0.05);
    EXPECT_NEAR(quiet->summary()->truePeak, -30.0, 0.1);

    CDTrack gained = trimmed;
    gained.gainEnabled = true;
    gained.gainDB = -6.0f;
    const auto lower = LA::analyzeTrackData(gained);
    ASSERT_TRUE(lower.has_value() && lower->summary().has_value());
    EXPECT_NEAR(lower->summary()->lufs, -36.0, 0.05);

    CDTrack faded = trimmed;
    faded.fadeOutSamples = 44100 * 4;
    const auto fadedData = LA::analyzeTrackData(faded);
    ASSERT_TRUE(fadedData.has_value() && fadedData->summary().has_value());
    EXPECT_LT(fadedData->summary()->lufs, -30.3);
    ASSERT_TRUE(fadedData->summary()->lra.has_value());
    EXPECT_GT(*fadedData->summary()->lra, 3.0); // the fade spreads the windows' levels
}

TEST_F(TrackMeasurement, otherRatesAndMonoAreMeasuredAsTheDiscWouldHoldThem) {
    const auto at48 = LA::analyzeTrackData(sections("48k.wav", {{-23.0, 6.0}}, 48000.0));
    ASSERT_TRUE(at48.has_value() && at48->summary().has_value());
    EXPECT_NEAR(at48->summary()->lufs, -23.0, 0.05);
    EXPECT_NEAR(static_cast<double>(at48->hops.size()), 60.0, 1.0);

    // A mono file sounds on both channels, so it reads like the same sine in stereo.
    const auto mono = LA::analyzeTrackData(sections("mono.wav", {{-23.0, 6.0}}, 44100.0, 1));
    ASSERT_TRUE(mono.has_value() && mono->summary().has_value());
    EXPECT_NEAR(mono->summary()->lufs, -23.0, 0.05);
}

TEST_F(TrackMeasurement, chunkEdgesOfAConvertedSourceLeaveNoTraceInTheHops) {
    // 12 s at 48 kHz crosses two of the analyser's 5 s chunks. A steady 1 kHz sine fills every
    // 100 ms hop with the same energy, so a hop that holds a chunk edge must read like the rest:
    // a converter restarted per chunk would leave a step there while its filter refills.
    const auto data = LA::analyzeTrackData(sections("steady48.wav", {{-12.0, 12.0}}, 48000.0));
    ASSERT_TRUE(data.has_value());
    ASSERT_EQ(data->hops.size(), 120u);
    // The first hop holds the filters' settling, the last the file's end.
    const std::vector<double> inner(data->hops.begin() + 2, data->hops.end() - 2);
    const auto [low, high] = std::minmax_element(inner.begin(), inner.end());
    // A restart per chunk shows as about 2e-6 dB at the edge hops; a carried stream as nothing.
    EXPECT_LT(10.0 * std::log10(*high / *low), 1e-7); // dB
    const auto at441 = LA::analyzeTrackData(sections("steady441.wav", {{-12.0, 12.0}}));
    ASSERT_TRUE(at441.has_value());
    EXPECT_NEAR(data->summary()->lufs, at441->summary()->lufs, 0.001);
    EXPECT_NEAR(data->summary()->truePeak, at441->summary()->truePeak, 0.01);
}

TEST_F(TrackMeasurement, aFileShorterThanTheTrackEndsTheMeasurementEarly) {
    CDTrack track = sections("short.wav", {{-20.0, 3.0}});
    track.sourceAudioSamples = 44100 * 20; // the track claims more than the file holds
    const auto data = LA::analyzeTrackData(track);
    ASSERT_TRUE(data.has_value());
    EXPECT_EQ(data->hops.size(), 30u);
    EXPECT_NEAR(data->summary()->lufs, -20.0, 0.05);

    // A file cut off in its data: what is there is measured.
    const auto path = file("cut.wav");
    testing::writeSections(path, {{-20.0, 8.0}});
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    const auto cut = LA::analyzeTrackData(testing::wholeFileTrack(path, 8.0));
    ASSERT_TRUE(cut.has_value());
    EXPECT_LT(cut->hops.size(), 45u);
    EXPECT_GT(cut->hops.size(), 30u);

    testing::writeNotAudio(file("junk.wav"));
    EXPECT_FALSE(LA::analyzeTrackData(testing::wholeFileTrack(file("junk.wav"), 8.0)).has_value());
    CDTrack noFile = track;
    noFile.audioFileURL.reset();
    EXPECT_FALSE(LA::analyzeTrackData(noFile).has_value());
}

TEST_F(TrackMeasurement, progressRisesThroughTheChunksAndFalseCancelsEvenOnTheLast) {
    const CDTrack track = sections("p.wav", {{-20.0, 12.0}}); // three chunks of 5 s
    std::vector<double> seen;
    const auto data = LA::analyzeTrackData(track, [&](double f) {
        seen.push_back(f);
        return true;
    });
    ASSERT_TRUE(data.has_value());
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen.front(), 0.0);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_LT(seen.back(), 1.0);

    int calls = 0;
    EXPECT_FALSE(LA::analyzeTrackData(track, [&](double) { return ++calls < 3; }).has_value());
    EXPECT_EQ(calls, 3);
}

TEST_F(TrackMeasurement, chunkedTruePeakCatchesInterSamplePeaksAcrossChunkEdges) {
    // A quarter-rate sine at 45 degrees has samples 3 dB below its wave's peak.
    const auto path = testing::writePhasedSine(file("tp.wav"), 11025.0, 45.0, -6.0, 11.0, 44100.0);
    const auto data = LA::analyzeTrackData(testing::wholeFileTrack(path, 11.0));
    ASSERT_TRUE(data.has_value());
    EXPECT_NEAR(LA::truePeakDB(data->peak), -6.0, 0.1);
}

TEST_F(TrackMeasurement, albumJoinsTheTracksEnergiesAndAnalyzeFollowsTheRunningOrder) {
    CDProject project;
    project.tracks.push_back(sections("1.wav", {{-20.0, 10.0}}));
    project.tracks.push_back(sections("2.wav", {{-30.0, 10.0}}));
    std::vector<double> steps;
    const auto result = LA::analyze(project, [&](double f) {
        steps.push_back(f);
        return true;
    });
    EXPECT_EQ(steps, (std::vector<double>{0.0, 0.5}));
    ASSERT_EQ(result.perTrack.size(), 2u);
    EXPECT_NEAR(result.perTrack.at(project.tracks[0].id).lufs, -20.0, 0.05);
    EXPECT_NEAR(result.perTrack.at(project.tracks[1].id).lufs, -30.0, 0.05);
    ASSERT_TRUE(result.album.has_value());
    // Energy, not decibels, is averaged, over both tracks' blocks (all within 10 LU of the mean).
    EXPECT_NEAR(result.album->lufs, -20.0 + 10.0 * std::log10(0.55), 0.05);
    ASSERT_TRUE(result.album->lra.has_value());
    EXPECT_NEAR(*result.album->lra, 10.0, 1.0);
    EXPECT_NEAR(result.album->truePeak, -20.0, 0.1);

    const auto stopped = LA::analyze(project, [](double f) { return f < 0.5; });
    EXPECT_EQ(stopped.perTrack.size(), 1u);
    EXPECT_FALSE(stopped.album.has_value());
    EXPECT_FALSE(LA::albumSummary({}).has_value());
}

TEST(TrackLoudnessStorage, packsToFloatsAndBackAndRefusesDamagedText) {
    TrackLoudnessData data;
    for (int i = 0; i < 40; ++i) {
        data.hops.push_back(0.01 * (i + 1) * 4410.0);
        if (i >= 3)
            data.blocks.push_back(0.01 * (i - 1) + 0.003); // none exactly on a gate
    }
    data.peak = 0.5;
    const auto stored = data.stored(1234, Timestamp{1700000000});
    ASSERT_TRUE(stored.has_value());
    EXPECT_EQ(stored->fileSize, 1234);
    EXPECT_EQ(stored->hopSamples, 4410);
    ASSERT_TRUE(stored->blocks.has_value());
    EXPECT_EQ(stored->blocks->size(), (data.blocks.size() * 4 + 2) / 3 * 4);
    EXPECT_NEAR(stored->truePeak, -6.0206, 1e-3);

    const auto back = TrackLoudnessData::unpacked(*stored);
    ASSERT_TRUE(back.has_value());
    ASSERT_EQ(back->blocks.size(), data.blocks.size());
    ASSERT_EQ(back->hops.size(), data.hops.size());
    for (std::size_t i = 0; i < data.blocks.size(); ++i)
        EXPECT_EQ(back->blocks[i], static_cast<double>(static_cast<float>(data.blocks[i])));
    EXPECT_NEAR(back->peak, 0.5, 1e-9);
    EXPECT_NEAR(back->summary()->lufs, stored->lufs, 1e-5);

    auto damaged = *stored;
    damaged.blocks = stored->blocks->substr(1); // no longer a whole number of Base64 quads
    EXPECT_FALSE(TrackLoudnessData::unpacked(damaged).has_value());
    damaged.blocks = "AAA*";
    EXPECT_FALSE(TrackLoudnessData::unpacked(damaged).has_value());
    damaged.blocks = "AAA="; // two bytes: not a whole float
    EXPECT_FALSE(TrackLoudnessData::unpacked(damaged).has_value());
    damaged.blocks = "";
    EXPECT_FALSE(TrackLoudnessData::unpacked(damaged).has_value());
    auto figuresOnly = *stored;
    figuresOnly.hops.reset();
    EXPECT_FALSE(TrackLoudnessData::unpacked(figuresOnly).has_value());

    TrackLoudnessData silent;
    silent.blocks.assign(10, 0.0);
    EXPECT_FALSE(silent.stored(1, Timestamp{}).has_value());
}

} // namespace
} // namespace orvane
