// What the engine hands the output equals the master render's float audio before dither, across
// fades, gain, an envelope, a crossfade and loop wraps.

#include "monitoring/tests/EngineFixture.h"
#include "render/Exporter.h"

#include <variant>

namespace orvane {
namespace {

using testing::EngineTest;

class MasterMatchTest : public EngineTest {
  protected:
    // Two tones crossfading with fades, gain, an envelope and a trim, then a track with a fade-out.
    void loadEditedDisc() {
        constexpr std::int64_t spf = 588;
        CDTrack t1 = testing::trackOf(testing::writeTone(folder.path / "a.wav", 88200, 441.0), 150, 88200);
        t1.fadeInSamples = 5000;
        t1.fadeInCurve = 0.4f;
        t1.gainEnabled = true;
        t1.gainDB = -3.0f;
        CDTrack t2 = testing::trackOf(testing::writeTone(folder.path / "b.wav", 100000, 660.0), -60, 100000);
        t2.crossfadeCurve = 0.5f;
        t2.trimStartSamples = 2 * spf;
        t2.trimEndSamples = 3 * spf;
        t2.envelopeEnabled = true;
        t2.gainPoints = {GainPoint{Uuid::random(), 0, -6.0f, std::nullopt},
                         GainPoint{Uuid::random(), 50000, 0.0f, std::nullopt}};
        CDTrack t3 = testing::trackOf(testing::writeTone(folder.path / "c.wav", 30600, 550.0), 10, 30600);
        t3.fadeOutSamples = 7000;
        t3.fadeOutCurve = -0.3f;
        project.tracks = {t1, t2, t3};
        project.masterDither = "None";
        relayout();
        engine->load(project, positions);
        ASSERT_LT(positions[1].audioStartLBA, positions[0].audioEndLBA); // a real crossfade
    }

    // The master render's float samples for the whole disc, one vector per channel.
    std::array<std::vector<float>, 2> masterFloat() {
        std::array<std::vector<float>, 2> out;
        Exporter::renderChunks(
            project, positions, 0, positions.back().endLBA, 44100, [&](RenderChunk& chunk) {
                if (const auto* silence = std::get_if<RenderChunk::Silence>(&chunk.value)) {
                    for (auto& ch : out)
                        ch.insert(ch.end(), static_cast<std::size_t>(silence->samples), 0.0f);
                    return;
                }
                const auto& buffer = std::get<RenderChunk::Audio>(chunk.value).buffer;
                for (int c = 0; c < 2; ++c)
                    out[static_cast<std::size_t>(c)].insert(out[static_cast<std::size_t>(c)].end(),
                                                            buffer.channel(c),
                                                            buffer.channel(c) + buffer.frameLength());
            });
        return out;
    }
};

// Largest difference between capture[offset + i] and master[from + (i % period)] for i < count.
float worstAgainst(const std::vector<float>& capture, std::size_t offset, const std::vector<float>& master,
                   std::size_t from, std::size_t period, std::size_t count) {
    float worst = 0.0f;
    for (std::size_t i = 0; i < count; ++i)
        worst = std::max(worst, std::abs(capture.at(offset + i) - master.at(from + i % period)));
    return worst;
}

TEST_F(MasterMatchTest, monitoredOutputEqualsTheMasterRenderBeforeDither) {
    // The whole disc through ring and callback matches the master render within float rounding.
    makeEngine();
    loadEditedDisc();
    const auto master = masterFloat();
    const std::size_t total = master[0].size();
    ASSERT_EQ(total, static_cast<std::size_t>(positions.back().endLBA * 588));

    engine->play();
    pullFilled(total, 1024);
    EXPECT_LE(worstAgainst(output.capturedL, 0, master[0], 0, total, total), 1e-6f);
    EXPECT_LE(worstAgainst(output.capturedR, 0, master[1], 0, total, total), 1e-6f);
}

TEST_F(MasterMatchTest, loopAcrossTheCrossfadeRepeatsTheMasterSpan) {
    // A loop around the crossfade, not a multiple of the producer's block, plays the master's span
    // over and over with no gap at the wraps.
    makeEngine();
    loadEditedDisc();
    const auto master = masterFloat();
    const std::int64_t fadeStart = positions[1].audioStartLBA * 588;
    const std::int64_t fadeEnd = positions[0].audioEndLBA * 588;
    const std::int64_t loopStart = fadeStart - 11025;
    const std::int64_t loopEnd = fadeEnd + 7001;
    // Half a sample in, so the seconds truncate back to exactly these samples.
    const auto seconds = [](std::int64_t sample) { return (static_cast<double>(sample) + 0.5) / 44100.0; };
    engine->setLoopRange(seconds(loopStart), seconds(loopEnd));
    engine->seek(seconds(loopStart));
    engine->play();
    const auto body = static_cast<std::size_t>(loopEnd - loopStart);
    const std::size_t count = 3 * body + 1000;
    pullFilled(count, 1024);
    ASSERT_TRUE(engine->heardPosition().looping);
    const auto from = static_cast<std::size_t>(loopStart);
    EXPECT_LE(worstAgainst(output.capturedL, 0, master[0], from, body, count), 1e-6f);
    EXPECT_LE(worstAgainst(output.capturedR, 0, master[1], from, body, count), 1e-6f);
}

} // namespace
} // namespace orvane
