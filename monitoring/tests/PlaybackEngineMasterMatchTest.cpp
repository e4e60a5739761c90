// What the engine hands the output equals the master render's float audio before dither, across
// fades, gain, an envelope and a crossfade.

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

TEST_F(MasterMatchTest, monitoredOutputEqualsTheMasterRenderBeforeDither) {
    // The whole disc through ring and callback matches the master render within float rounding.
    makeEngine();
    loadEditedDisc();
    const auto master = masterFloat();
    const std::size_t total = master[0].size();
    ASSERT_EQ(total, static_cast<std::size_t>(positions.back().endLBA * 588));

    engine->play();
    pullFilled(total, 1024);
    EXPECT_LE(testing::maxDiff(output.capturedL, 0, master[0]), 1e-6f);
    EXPECT_LE(testing::maxDiff(output.capturedR, 0, master[1]), 1e-6f);
}

} // namespace
} // namespace orvane
