#include "render/SRCRenderer.h"
#include "workspace/tests/TrackTestFiles.h"
#include "workspace/tests/WorkspaceFixture.h"

#include <string>
#include <vector>

namespace orvane::testing {
namespace {

// Track "One" plays one.wav (4 s, 300 frames) and stacks a 48 kHz take (2 s: 150 frames at the disc
// rate) and a short take (0.5 s, 37 frames); track "Two" has only its own file; track "Three" has a
// take whose file is no audio.
class WorkspaceAudition : public WorkspaceFixture {
  protected:
    void SetUp() override {
        SRCRenderer::overrideCacheDirectory(folder / "src-cache");
        writeTone(file("one"), 44100.0, 4 * 44100);
        writeTone(file("fast"), 48000.0, 2 * 48000);
        writeTone(file("short"), 44100.0, 22050);
        writeTone(file("two"), 44100.0, 44100);
        writeGarbage(file("broken"));

        CDTrack one = track("One", 300);
        one.audioFileURL = FileURL::fromPath(file("one"));
        one.activeColorHex = "#AA0000";
        TrackVersion fast = TrackVersion::make(FileURL::fromPath(file("fast")));
        fast.colorHex = "#00AA00";
        fast.srcAlgorithm = "SoX VHQ";
        TrackVersion shortTake = TrackVersion::make(FileURL::fromPath(file("short")));
        shortTake.colorHex = "#0000AA";
        shortTake.srcPhase = "Minimum";
        one.versions = {fast, shortTake};

        CDTrack two = track("Two", 75);
        two.audioFileURL = FileURL::fromPath(file("two"));
        CDTrack three = track("Three", 75);
        three.audioFileURL = FileURL::fromPath(file("two"));
        three.versions = {TrackVersion::make(FileURL::fromPath(file("broken")))};

        edit([&](CDProject& p) { p.tracks = {one, two, three}; });
        ws->hooks.loadPreviewPeaks = [this](const std::filesystem::path& f) { peakRequests.push_back(f); };
        engine->clearCalls();
    }
    void TearDown() override { SRCRenderer::overrideCacheDirectory(std::nullopt); }

    std::filesystem::path file(const std::string& name) const { return folder / (name + ".wav"); }
    const CDTrack& t(std::size_t i) const { return ws->project().tracks[i]; }
    Uuid take(std::size_t trackIndex, std::size_t takeIndex) const {
        return t(trackIndex).versions[takeIndex].id;
    }

    // The group for an audition of `source` on track `trackIndex`, without peaks.
    PreviewState group(std::size_t trackIndex, const Uuid& source, const std::string& name,
                       std::optional<std::string> colour, std::int64_t lengthFrames) const {
        return {FileURL::fromPath(file(name)), {}, lengthFrames, t(trackIndex).id, source, std::move(colour)};
    }

    std::vector<std::filesystem::path> peakRequests;
};

TEST_F(WorkspaceAudition, sourcesAreTheActiveTakeThenTheStackWithTheirOwnOrTheMasterSettings) {
    // The chain lists the track's own id first and its takes in stack order; each source carries its
    // own converter and phase where set and the disc's otherwise; unknown ids resolve to nothing.
    const std::vector<Uuid> chain = ws->previewSourceChain(0);
    EXPECT_EQ(chain, (std::vector<Uuid>{t(0).id, take(0, 0), take(0, 1)}));
    EXPECT_EQ(ws->previewSourceChain(1), std::vector<Uuid>{t(1).id});
    EXPECT_TRUE(ws->previewSourceChain(7).empty());

    EXPECT_EQ(ws->previewSource(t(0).id, t(0).id),
              (PreviewSource{FileURL::fromPath(file("one")), "Velmont SRC", "Linear", "#AA0000"}));
    EXPECT_EQ(ws->previewSource(t(0).id, take(0, 0)),
              (PreviewSource{FileURL::fromPath(file("fast")), "SoX VHQ", "Linear", "#00AA00"}));
    EXPECT_EQ(ws->previewSource(t(0).id, take(0, 1))->phase, "Minimum");

    edit([](CDProject& p) {
        p.masterSRC = "r8brain Free";
        p.masterSRCPhase = "Minimum";
    });
    EXPECT_EQ(ws->previewSource(t(0).id, t(0).id)->algorithm, "r8brain Free");
    EXPECT_EQ(ws->previewSource(t(0).id, take(0, 0))->phase, "Minimum");

    EXPECT_FALSE(ws->previewSource(Uuid::random(), t(0).id));
    EXPECT_FALSE(ws->previewSource(t(0).id, Uuid::random()));
    EXPECT_FALSE(ws->previewSource(t(1).id, take(0, 0))); // another track's take
    edit([](CDProject& p) { p.tracks[1].audioFileURL.reset(); });
    EXPECT_FALSE(ws->previewSource(t(1).id, t(1).id));
    EXPECT_TRUE(ws->previewSourceChain(1).empty());
}

TEST_F(WorkspaceAudition, startingLoadsTheTakeOnItsOwnTimeAxisAndRollsOnlyWhenAsked) {
    // Start fills the group, hands the file and its length in disc frames (a 48 kHz file counted at
    // 44.1 kHz) to the engine, asks for its peaks, and plays only with autoPlay.
    ws->startPreview(t(0).id, take(0, 0), false);
    EXPECT_EQ(ws->preview(), group(0, take(0, 0), "fast", "#00AA00", 150));
    EXPECT_EQ(ws->previewResolvedURL(), FileURL::fromPath(file("fast")));
    EXPECT_EQ(engine->joined(), "loadPreview(fast.wav,150)");
    EXPECT_EQ(peakRequests, std::vector<std::filesystem::path>{file("fast")});

    engine->clearCalls();
    ws->startPreview(t(0).id, t(0).id, true);
    EXPECT_EQ(engine->joined(), "loadPreview(one.wav,300) play");
    EXPECT_EQ(ws->preview().previewLengthFrames, 300);

    // An unknown source changes nothing at all.
    engine->clearCalls();
    const PreviewState before = ws->preview();
    ws->startPreview(t(0).id, Uuid::random(), true);
    EXPECT_EQ(ws->preview(), before);
    EXPECT_TRUE(engine->calls.empty());
}

TEST_F(WorkspaceAudition, aConvertedTakeIsAuditionedFromTheCacheWhenTheCacheHasIt) {
    // With a 44.1 kHz entry for the take's converter in the cache, the audition opens that file and
    // takes its length from it; the peaks are those of the converted file too.
    const auto entry = SRCRenderer::cacheURL(file("fast"), 48000, 44100, "SoX VHQ", "Linear");
    writeTone(entry, 44100.0, 44100 + 588); // one frame longer than the plain conversion
    ws->startPreview(t(0).id, take(0, 0), false);
    EXPECT_EQ(ws->previewResolvedURL(), FileURL::fromPath(entry));
    EXPECT_EQ(ws->preview().previewLengthFrames, 76);
    EXPECT_EQ(engine->joined(), "loadPreview(" + entry.filename().string() + ",76)");
    EXPECT_EQ(peakRequests, std::vector<std::filesystem::path>{entry});
}

TEST_F(WorkspaceAudition, switchingKeepsTheRollAndThePlaceAndTheSameSourceIsNoSwitch) {
    // While rolling, a switch hands the engine the other file and nothing else: no pause, no seek,
    // no stop, the playhead where it was. The source already playing is no call at all, yet a new
    // colour of it is taken up. Without an audition a switch does nothing.
    ws->switchPreview(t(0).id, take(0, 0));
    EXPECT_FALSE(ws->preview().previewURL);
    EXPECT_TRUE(engine->calls.empty());

    ws->startPreview(t(0).id, t(0).id, true);
    engine->sample = testing::samplesAt(0.25);
    engine->clearCalls();
    peakRequests.clear();
    ws->switchPreview(t(0).id, take(0, 1));
    EXPECT_EQ(engine->joined(), "switchPreview(short.wav,37)");
    EXPECT_TRUE(engine->playing);
    EXPECT_EQ(engine->sample, testing::samplesAt(0.25));
    EXPECT_EQ(ws->preview(), group(0, take(0, 1), "short", "#0000AA", 37));
    EXPECT_EQ(peakRequests, std::vector<std::filesystem::path>{file("short")});

    engine->clearCalls();
    edit([](CDProject& p) { p.tracks[0].versions[1].colorHex = "#123456"; });
    ws->switchPreview(t(0).id, take(0, 1));
    EXPECT_TRUE(engine->calls.empty());
    EXPECT_EQ(ws->preview(), group(0, take(0, 1), "short", "#123456", 37));
}

TEST_F(WorkspaceAudition, steppingWrapsBothWaysSelectsTheSourceAndNeedsTwoSources) {
    // Forward from the last source comes back to the active take, backward from it goes to the last;
    // the selection follows (no take selected for the track's own id); a one-source track is inert.
    ws->startPreview(t(0).id, t(0).id, true);
    engine->clearCalls();

    ws->previewStepVersion(+1);
    EXPECT_EQ(ws->preview().previewSourceID, take(0, 0));
    EXPECT_EQ(ws->selectedTrackID(), t(0).id);
    EXPECT_EQ(ws->selectedVersionID(), take(0, 0));
    ws->previewStepVersion(+1);
    EXPECT_EQ(ws->preview().previewSourceID, take(0, 1));
    ws->previewStepVersion(+1);
    EXPECT_EQ(ws->preview().previewSourceID, t(0).id);
    EXPECT_FALSE(ws->selectedVersionID());
    ws->previewStepVersion(-1);
    EXPECT_EQ(ws->preview().previewSourceID, take(0, 1));
    ws->previewStepVersion(-4); // any distance wraps
    EXPECT_EQ(ws->preview().previewSourceID, take(0, 0));
    EXPECT_EQ(engine->joined(), "switchPreview(fast.wav,150) switchPreview(short.wav,37) "
                                "switchPreview(one.wav,300) switchPreview(short.wav,37) "
                                "switchPreview(fast.wav,150)");

    // A source that left the stack counts as the first one: stepping goes on from there.
    edit([](CDProject& p) { p.tracks[0].versions.erase(p.tracks[0].versions.begin()); });
    ws->previewStepVersion(+1);
    EXPECT_EQ(ws->preview().previewSourceID, take(0, 0)); // "short" is now the only take

    ws->startPreview(t(1).id, t(1).id, false);
    engine->clearCalls();
    const PreviewState single = ws->preview();
    ws->previewStepVersion(+1);
    ws->previewStepVersion(-1);
    EXPECT_EQ(ws->preview(), single);
    EXPECT_TRUE(engine->calls.empty());
}

TEST_F(WorkspaceAudition, aTakeThatCannotBeOpenedEndsSilentlyWithTheGroupNamingIt) {
    // Starting or switching to a file that is no audio sets the group's ids, URL and colour and stops
    // there: the engine keeps what it had, the length and the resolved file stay those of the last
    // take that opened, and no peaks are asked for.
    ws->startPreview(t(2).id, take(2, 0), true);
    EXPECT_EQ(ws->preview(), group(2, take(2, 0), "broken", std::nullopt, 0));
    EXPECT_FALSE(ws->previewResolvedURL());
    EXPECT_TRUE(engine->calls.empty());
    EXPECT_TRUE(peakRequests.empty());

    ws->startPreview(t(2).id, t(2).id, true);
    engine->clearCalls();
    peakRequests.clear();
    ws->previewStepVersion(+1);
    EXPECT_EQ(ws->preview(), group(2, take(2, 0), "broken", std::nullopt, 75));
    EXPECT_EQ(ws->previewResolvedURL(), FileURL::fromPath(file("two")));
    EXPECT_TRUE(engine->calls.empty());
    EXPECT_TRUE(peakRequests.empty());
}

TEST_F(WorkspaceAudition, stoppingClearsTheWholeGroupOnceAndLatePeaksAreDropped) {
    // Peaks are kept only for the file the audition shows; stopPreview empties every field and tells
    // the engine, and a second stop (or a stop with none running) tells it nothing.
    ws->startPreview(t(0).id, take(0, 1), true);
    ws->setPreviewPeaks(file("one"), {-1.0f, 1.0f}); // a result for a file the audition isn't on
    EXPECT_TRUE(ws->preview().previewPeaks.empty());
    ws->setPreviewPeaks(file("short"), {-0.5f, 0.5f});
    EXPECT_EQ(ws->preview().previewPeaks, (std::vector<float>{-0.5f, 0.5f}));

    engine->clearCalls();
    ws->stopPreview();
    EXPECT_EQ(ws->preview(), PreviewState{});
    EXPECT_FALSE(ws->previewResolvedURL());
    EXPECT_EQ(engine->joined(), "stopPreview");
    ws->stopPreview();
    EXPECT_EQ(engine->joined(), "stopPreview");
    ws->setPreviewPeaks(file("short"), {-0.5f, 0.5f});
    EXPECT_TRUE(ws->preview().previewPeaks.empty());
}

TEST_F(WorkspaceAudition, theOuterKeysStepTakesDuringAnAuditionAndLocateTracksWithThePreRollOtherwise) {
    // Without an audition the keys locate with the stored pre-roll (off unless one of 1, 3, 5, 10 s is
    // stored); with one they step through the takes and never move the disc's playhead.
    ws->transportNext();
    ws->transportPrevious();
    EXPECT_EQ(engine->joined(), "nextTrack(0) previousTrack(0)");

    EXPECT_TRUE(ws->setPrerollSeconds(3.0));
    EXPECT_FALSE(ws->setPrerollSeconds(2.0));
    EXPECT_EQ(ws->prerollSeconds(), 3.0);
    EXPECT_EQ(defaults->doubleValue(WorkspaceState::prerollSecondsKey), 3.0);
    engine->clearCalls();
    ws->transportNext();
    ws->transportPrevious();
    EXPECT_EQ(engine->joined(), "nextTrack(3) previousTrack(3)");

    defaults->setDouble(WorkspaceState::prerollSecondsKey, 7.0); // not a choice the menu offers
    EXPECT_EQ(ws->prerollSeconds(), 0.0);
    defaults->setString(WorkspaceState::prerollSecondsKey, "ten");
    EXPECT_EQ(ws->prerollSeconds(), 0.0);

    ws->startPreview(t(0).id, t(0).id, true);
    engine->clearCalls();
    ws->transportPrevious();
    EXPECT_EQ(ws->preview().previewSourceID, take(0, 1));
    ws->transportNext();
    EXPECT_EQ(ws->preview().previewSourceID, t(0).id);
    EXPECT_EQ(engine->joined(), "switchPreview(short.wav,37) switchPreview(one.wav,300)");

    ws->stopPreview();
    engine->clearCalls();
    ws->transportNext();
    EXPECT_EQ(engine->joined(), "nextTrack(0)");
}

TEST_F(WorkspaceAudition, promotingATakeOfAnOpenStackAuditionsTheNewActiveTake) {
    // The take commands reach the audition through the workspace's own hook: a promotion while the
    // stack is open restarts the audition on the promoted file, rolling if the engine was.
    // The ids are passed as they live in the project, which the promotion replaces under them.
    const Uuid trackID = t(0).id;
    ws->toggleExpanded(trackID);
    ws->startPreview(trackID, take(0, 1), true);
    engine->clearCalls();
    ws->promoteVersionToActive(t(0).id, take(0, 1));
    endTurn();
    EXPECT_EQ(t(0).audioFileURL, FileURL::fromPath(file("short")));
    EXPECT_EQ(ws->preview().previewSourceID, trackID);
    EXPECT_EQ(ws->preview().previewURL, FileURL::fromPath(file("short")));
    const std::string calls = engine->joined();
    EXPECT_TRUE(calls.starts_with("stopPreview ")) << calls;
    EXPECT_TRUE(calls.ends_with(" loadPreview(short.wav,37) play")) << calls;
}

} // namespace
} // namespace orvane::testing
