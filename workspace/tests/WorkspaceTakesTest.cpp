#include "workspace/VersionPalette.h"
#include "workspace/tests/TrackTestFiles.h"
#include "workspace/tests/WorkspaceFixture.h"

#include <string>
#include <vector>

namespace orvane::testing {
namespace {

StoredLoudness measured(double lufs) {
    StoredLoudness l;
    l.fileSize = 123;
    l.fileModified = Timestamp{5};
    l.lufs = lufs;
    l.truePeak = -0.3;
    return l;
}

class WorkspaceTakes : public WorkspaceFixture {
  protected:
    // One track whose active take is take0.wav (1 s at 44.1 kHz), with edits of its own; files
    // take1...take7 wait beside it, take2 at 96 kHz.
    void oneTrack() {
        for (int i = 0; i < 8; ++i) {
            writeTone(file(i), i == 2 ? 96000.0 : 44100.0, 44100 * (i + 1));
        }
        ws->addDroppedFiles({file(0)});
        endTurn();
        ws->updateTrackFade(trackID(), 588, 588, ReloadPlayback::yes);
        ws->updateTrackGain(trackID(), -2.0f, ReloadPlayback::yes);
        endTurn();
        ws->undoManager().removeAllActions();
    }
    std::filesystem::path file(int i) const { return folder / ("take" + std::to_string(i) + ".wav"); }
    const CDTrack& t() const { return ws->project().tracks[0]; }
    Uuid trackID() const { return ws->project().tracks[0].id; }
    void undoOneStep(const CDProject& before) {
        endTurn();
        ws->undo();
        EXPECT_EQ(ws->project(), before);
        EXPECT_FALSE(ws->undoManager().canUndo());
        ws->undoManager().removeAllActions();
    }
};

TEST_F(WorkspaceTakes, addingTakesColoursBothAndStacksTheFormerOnTop) {
    // A one-take track's first added take gives the old active take colour 1 and the new one
    // colour 2; the new file is active, the old one heads the stack; the edits stay; a seventh
    // colour equals the first; the whole addition is one undo step.
    oneTrack();
    const CDProject before = ws->project();
    ws->addVersionsToTrack({file(1)}, trackID());
    EXPECT_EQ(t().audioFileURL, FileURL::fromPath(file(1)));
    EXPECT_EQ(t().sourceAudioSamples, 88200);
    ASSERT_EQ(t().versions.size(), 1u);
    EXPECT_EQ(t().versions[0].url, FileURL::fromPath(file(0)));
    EXPECT_EQ(t().versions[0].colorHex, std::string(versionPalette[0]));
    EXPECT_EQ(t().activeColorHex, std::string(versionPalette[1]));
    EXPECT_EQ(t().fadeInSamples, 588);
    EXPECT_FLOAT_EQ(t().gainDB, -2.0f);
    undoOneStep(before);

    ws->addVersionsToTrack({file(1), file(2), file(3), file(4), file(5), file(6)}, trackID());
    EXPECT_EQ(t().versions.size(), 6u);
    EXPECT_EQ(t().activeColorHex, std::string(versionPalette[0])); // the seventh colour
    EXPECT_EQ(t().sourceAudioSamples, 7 * 44100);
    EXPECT_EQ(t().versions[3].url, FileURL::fromPath(file(2)));
    EXPECT_EQ(t().versions[3].colorHex, std::string(versionPalette[2]));
    undoOneStep(before);
}

TEST_F(WorkspaceTakes, promotionSwapsTheTakeFieldsAndKeepsTheEdits) {
    // The promoted take's file, colour, label, note, rating, converter and loudness become the
    // active take's; the former active take is demoted under a new id with its own fields; the
    // edit fields stay; one undo restores the stack.
    oneTrack();
    ws->addVersionsToTrack({file(2)}, trackID());
    endTurn();
    edit([](CDProject& p) {
        p.tracks[0].versions[0].label = "client";
        p.tracks[0].versions[0].rating = 4;
        p.tracks[0].versions[0].loudness = measured(-9.5);
        p.tracks[0].activeNote = "new mix";
    });
    ws->undoManager().removeAllActions();
    const CDProject before = ws->project();
    const TrackVersion take = t().versions[0];

    ws->promoteVersionToActive(trackID(), take.id);
    EXPECT_EQ(t().audioFileURL, take.url);
    EXPECT_EQ(t().sourceAudioSamples, 44100);
    EXPECT_EQ(t().activeColorHex, take.colorHex);
    EXPECT_EQ(t().activeLabel, "client");
    EXPECT_EQ(t().activeRating, 4);
    EXPECT_EQ(t().loudness, take.loudness);
    EXPECT_FALSE(t().activeNote.has_value());
    ASSERT_EQ(t().versions.size(), 1u);
    const TrackVersion& demoted = t().versions[0];
    EXPECT_NE(demoted.id, take.id);
    EXPECT_EQ(demoted.url, FileURL::fromPath(file(2)));
    EXPECT_EQ(demoted.note, "new mix");
    EXPECT_EQ(demoted.colorHex, std::string(versionPalette[1]));
    EXPECT_EQ(t().fadeOutSamples, 588);
    EXPECT_FLOAT_EQ(t().gainDB, -2.0f);
    undoOneStep(before);

    // A track with no file: the take leaves the stack and nothing is demoted.
    edit([](CDProject& p) { p.tracks[0].audioFileURL.reset(); });
    ws->promoteVersionToActive(trackID(), take.id);
    EXPECT_TRUE(t().versions.empty());
    EXPECT_EQ(t().audioFileURL, take.url);
    ws->promoteVersionToActive(trackID(), Uuid::random());
    ws->promoteVersionToActive(Uuid::random(), take.id);
}

TEST_F(WorkspaceTakes, deletingAndReplacingTakes) {
    // Deleting the active take makes the first of the stack active; removing a take drops it;
    // replacing a take's file keeps its id and colour but drops its loudness.
    oneTrack();
    ws->addVersionsToTrack({file(1), file(3)}, trackID());
    endTurn();
    ASSERT_EQ(t().versions.size(), 2u); // take1, take0
    const TrackVersion first = t().versions[0];
    ws->deleteActiveTake(trackID());
    EXPECT_EQ(t().audioFileURL, first.url);
    EXPECT_EQ(t().activeColorHex, first.colorHex);
    ASSERT_EQ(t().versions.size(), 1u);

    change([](CDProject& p) { p.tracks[0].versions[0].loudness = measured(-10.0); });
    const TrackVersion last = t().versions[0];
    std::vector<Uuid> forgotten;
    ws->hooks.forgetLoudness = [&](const Uuid& id) { forgotten.push_back(id); };
    ws->replaceVersionFile(trackID(), last.id, file(4));
    EXPECT_EQ(t().versions[0].id, last.id);
    EXPECT_EQ(t().versions[0].colorHex, last.colorHex);
    EXPECT_EQ(t().versions[0].url, FileURL::fromPath(file(4)));
    EXPECT_FALSE(t().versions[0].loudness.has_value());
    EXPECT_EQ(forgotten, std::vector<Uuid>{last.id});

    // A new active file drops the track's figure too, whichever way it arrives.
    forgotten.clear();
    ws->replaceActiveTrackFile(trackID(), file(5));
    ws->addVersionsToTrack({file(6)}, trackID());
    EXPECT_EQ(forgotten, (std::vector<Uuid>{trackID(), trackID()}));

    ws->removeVersion(trackID(), last.id);
    ASSERT_EQ(t().versions.size(), 1u);
    ws->removeVersion(trackID(), t().versions[0].id);
    EXPECT_TRUE(t().versions.empty());
    const CDProject none = ws->project();
    ws->deleteActiveTake(trackID()); // no stack: nothing
    EXPECT_EQ(ws->project(), none);
}

TEST_F(WorkspaceTakes, hybridModeMaterialisesAndTheMasterClearsEveryOverride) {
    // Hybrid gives every track and take the master's settings at once and new tracks theirs on
    // arrival; setMasterSRC clears them all, and one undo restores every override.
    oneTrack();
    ws->addVersionsToTrack({file(1)}, trackID());
    endTurn();
    EXPECT_EQ(ws->srcDisplayValue(), "Velmont SRC");
    ws->setMasterHybrid();
    endTurn();
    EXPECT_EQ(ws->srcDisplayValue(), "Hybrid");
    EXPECT_EQ(t().srcAlgorithm, "Velmont SRC");
    EXPECT_EQ(t().versions[0].srcPhase, "Linear");
    ws->setTrackSRC(trackID(), "SoX VHQ");
    ws->setVersionPhase(trackID(), t().versions[0].id, "Minimum");
    ws->addDroppedFiles({file(2)});
    endTurn();
    EXPECT_EQ(ws->project().tracks[1].srcAlgorithm, "Velmont SRC");
    ws->undoManager().removeAllActions();
    const CDProject hybrid = ws->project();

    engine->clearCalls();
    ws->setMasterSRC("r8brain Free");
    EXPECT_FALSE(ws->srcIsHybrid());
    for (const auto& track : ws->project().tracks) {
        EXPECT_FALSE(track.srcAlgorithm.has_value());
        EXPECT_FALSE(track.srcPhase.has_value());
        for (const auto& v : track.versions) {
            EXPECT_FALSE(v.srcAlgorithm.has_value() || v.srcPhase.has_value());
        }
    }
    EXPECT_NE(engine->joined().find("rebuildSRCCaches"), std::string::npos);
    endTurn();
    ws->undo();
    EXPECT_EQ(ws->project(), hybrid);

    // The one-file rebuild asks only for a source that needs conversion.
    engine->clearCalls();
    ws->rebuildTrackSRCCache(trackID());
    ws->rebuildTrackSRCCache(ws->project().tracks[1].id);
    EXPECT_EQ(engine->joined(), "rebuildSRCCache(" + ws->project().tracks[1].id.string() + ",Velmont SRC)");
}

} // namespace
} // namespace orvane::testing
