#include "analysis/PeakHooks.h"

#include "analysis/WaveformGenerator.h"
#include "analysis/tests/AnalysisTestFiles.h"
#include "platform/DefaultsStore.h"
#include "workspace/tests/FakePlayback.h"

#include <memory>
#include <vector>

namespace orvane::testing {
namespace {

// A workspace on a manual main loop with peaks wired in; "a.wav" is shared by tracks One and Two,
// track Two stacks "b.wav" and "bad.wav" (no audio), track Three has no file.
class PeakHooksTest : public TempFolderTest {
  protected:
    void SetUp() override {
        writeSamples(file("a.wav"), 2, 100, [](int c, std::int64_t i) { return c == 0 ? i / 128.0f : 0.0f; });
        writeSamples(file("b.wav"), 1, 40, [](int, std::int64_t i) { return -i / 64.0f; });
        writeNotAudio(file("bad.wav"));
        defaults = std::make_unique<DefaultsStore>(folder / "defaults.json");
        engine = std::make_shared<FakePlayback::State>();
        ws = std::make_unique<WorkspaceState>(loop, std::make_unique<FakePlayback>(engine), *defaults);
        hooks = std::make_unique<PeakHooks>(*ws, loop);

        CDProject p;
        p.tracks = {CDTrack::make("One", std::nullopt, 150, 44100),
                    CDTrack::make("Two", std::nullopt, 150, 44100),
                    CDTrack::make("Three", std::nullopt, 150, 44100)};
        p.tracks[0].audioFileURL = FileURL::fromPath(file("a.wav"));
        p.tracks[1].audioFileURL = FileURL::fromPath(file("a.wav"));
        p.tracks[1].versions = {TrackVersion::make(FileURL::fromPath(file("b.wav"))),
                                TrackVersion::make(FileURL::fromPath(file("bad.wav")))};
        ws->setProject(p);
    }
    void TearDown() override {
        hooks.reset();
        ws.reset();
    }
    // Lets the background reads finish and their results reach the workspace.
    void settle() {
        hooks->waitUntilReadsDone();
        loop.runUntilIdle();
    }
    const CDTrack& t(std::size_t i) const { return ws->project().tracks[i]; }

    MainLoop loop{std::make_shared<ManualClock>()};
    std::unique_ptr<DefaultsStore> defaults;
    std::shared_ptr<FakePlayback::State> engine;
    std::unique_ptr<WorkspaceState> ws;
    std::unique_ptr<PeakHooks> hooks;
};

TEST_F(PeakHooksTest, regeneratingFillsBothCachesFromOneReadPerFileOnTheMainLoop) {
    // Tracks sharing a file get the same peaks under each id, takes get theirs by URL, an unreadable
    // take gets an empty list, a track without a file gets nothing; nothing lands before the loop turns.
    ws->storeTakePeaks(FileURL::fromPath(file("gone.wav")), {1.0f, 2.0f});
    ws->hooks.regeneratePeaks();
    EXPECT_TRUE(ws->takePeaksCache().empty()); // emptied at once
    hooks->waitUntilReadsDone();
    EXPECT_TRUE(ws->peaksCache().empty()); // results wait for the main loop
    loop.runUntilIdle();

    const std::vector<float> a = WaveformGenerator::generatePeaks(file("a.wav"));
    ASSERT_EQ(a.size(), 8u);
    ASSERT_EQ(ws->peaksCache().size(), 2u);
    EXPECT_EQ(ws->peaksCache().at(t(0).id), a);
    EXPECT_EQ(ws->peaksCache().at(t(1).id), a);
    ASSERT_EQ(ws->takePeaksCache().size(), 2u);
    EXPECT_EQ(ws->takePeaksCache().at(FileURL::fromPath(file("b.wav"))),
              (std::vector<float>{-31.0f / 64, 0.0f, -39.0f / 64, -32.0f / 64}));
    EXPECT_TRUE(ws->takePeaksCache().at(FileURL::fromPath(file("bad.wav"))).empty());
}

TEST_F(PeakHooksTest, oneTrackAndTheAuditionGetTheirPeaksThroughTheirOwnHooks) {
    // A single track's peaks go under its id only; the audition's peaks reach the audition group of
    // the file being auditioned.
    ws->hooks.generateTrackPeaks(t(2)); // no file: nothing is read
    ws->hooks.generateTrackPeaks(t(0));
    settle();
    ASSERT_EQ(ws->peaksCache().size(), 1u);
    EXPECT_EQ(ws->peaksCache().at(t(0).id).size(), 8u);

    ws->startPreview(t(1).id, t(1).versions[0].id, false);
    settle();
    EXPECT_EQ(ws->preview().previewPeaks, (std::vector<float>{-31.0f / 64, 0.0f, -39.0f / 64, -32.0f / 64}));
}

TEST_F(PeakHooksTest, resultsArrivingAfterTheHooksAreGoneAreDropped) {
    // Destroying the wiring removes the hooks; a read already done but not yet delivered is not
    // stored, and later regenerations do nothing.
    ws->hooks.regeneratePeaks();
    hooks->waitUntilReadsDone();
    hooks.reset();
    EXPECT_FALSE(ws->hooks.regeneratePeaks);
    EXPECT_FALSE(ws->hooks.generateTrackPeaks);
    EXPECT_FALSE(ws->hooks.loadPreviewPeaks);
    loop.runUntilIdle();
    EXPECT_TRUE(ws->peaksCache().empty());
    EXPECT_TRUE(ws->takePeaksCache().empty());
}

} // namespace
} // namespace orvane::testing
