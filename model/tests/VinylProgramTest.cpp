#include "model/VinylProgram.h"

#include "model/CDProject.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

CDTrack trackOfFrames(std::string title, std::int64_t frames, std::int64_t preGapFrames = 150) {
    return CDTrack::make(std::move(title), std::nullopt, preGapFrames, frames * 588);
}

CDProject projectOf(std::vector<CDTrack> tracks) {
    CDProject project;
    project.tracks = std::move(tracks);
    return project;
}

ProgramEntry entryFor(const CDTrack& track, std::int64_t gapFrames = 0) {
    return ProgramEntry{Uuid::random(), track.id, gapFrames, std::nullopt};
}

ProgramGroup sideWith(std::string label, std::vector<ProgramEntry> entries) {
    return ProgramGroup{Uuid::random(), std::move(label), std::move(entries), std::nullopt};
}

std::vector<Uuid> trackIDs(const ProgramGroup& side) {
    std::vector<Uuid> ids;
    for (const ProgramEntry& entry : side.entries)
        ids.push_back(entry.trackID);
    return ids;
}

TEST(VinylProgram, sidesAreLetteredUpToHThenNumbered) {
    // Eight lettered sides, then "Side 9" onwards.
    EXPECT_EQ(VinylProgram::sideLabel(0), "Side A");
    EXPECT_EQ(VinylProgram::sideLabel(7), "Side H");
    EXPECT_EQ(VinylProgram::sideLabel(8), "Side 9");
    EXPECT_EQ(VinylProgram::sideLabel(25), "Side 26");
}

TEST(VinylProgram, defaultProgramSplitsAtTheMostBalancedPointAndTheEarlierOfEquals) {
    // The split balances trimmed lengths; of two equal differences the first wins.
    const VinylProgram empty = VinylProgram::defaultProgram(CDProject{});
    ASSERT_EQ(empty.sides.size(), 2u);
    EXPECT_EQ(empty.sides[1].label, "Side B");
    EXPECT_TRUE(empty.sides[0].entries.empty() && empty.sides[1].entries.empty());
    EXPECT_EQ(empty.sideTargetFrames, 99000);

    const CDProject single = projectOf({trackOfFrames("One", 1000)});
    const VinylProgram oneTrack = VinylProgram::defaultProgram(single);
    EXPECT_EQ(trackIDs(oneTrack.sides[0]), std::vector<Uuid>{single.tracks[0].id});
    EXPECT_TRUE(oneTrack.sides[1].entries.empty());

    const CDProject even = projectOf({trackOfFrames("1", 100), trackOfFrames("2", 100),
                                      trackOfFrames("3", 100), trackOfFrames("4", 100, 300)});
    const VinylProgram halves = VinylProgram::defaultProgram(even);
    ASSERT_EQ(halves.sides[0].entries.size(), 2u);
    ASSERT_EQ(halves.sides[1].entries.size(), 2u);
    EXPECT_EQ(halves.sides[1].entries[0].trackID, even.tracks[2].id);
    EXPECT_EQ(halves.sides[1].entries[0].gapFrames, 0);   // a side opens without a gap of its own
    EXPECT_EQ(halves.sides[1].entries[1].gapFrames, 300); // inside a side the CD gap carries over

    // 100 | 200 + 100 and 100 + 200 | 100 differ by 200 alike: the first split wins.
    const CDProject tie =
        projectOf({trackOfFrames("1", 100), trackOfFrames("2", 200), trackOfFrames("3", 100)});
    EXPECT_EQ(VinylProgram::defaultProgram(tie).sides[0].entries.size(), 1u);

    // Trims count: 400 frames trimmed to 100 make three equal tracks, so the split moves to 1.
    CDProject trimmed =
        projectOf({trackOfFrames("1", 100), trackOfFrames("2", 100), trackOfFrames("3", 400)});
    EXPECT_EQ(VinylProgram::defaultProgram(trimmed).sides[0].entries.size(), 2u);
    trimmed.tracks[2].trimEndSamples = 300 * 588;
    EXPECT_EQ(VinylProgram::defaultProgram(trimmed).sides[0].entries.size(), 1u);
}

TEST(VinylProgram, defaultProgramNeverTearsASegueApart) {
    // A crossfaded track stays with its predecessor and keeps its negative gap.
    const CDProject segue = projectOf({trackOfFrames("1", 300), trackOfFrames("2", 100),
                                       trackOfFrames("3", 100, -50), trackOfFrames("4", 300)});
    const VinylProgram program = VinylProgram::defaultProgram(segue);
    // The perfect split before track 3 is barred; 300 | 500 and 500 | 300 tie, so track 1 stands alone.
    ASSERT_EQ(program.sides[0].entries.size(), 1u);
    ASSERT_EQ(program.sides[1].entries.size(), 3u);
    EXPECT_EQ(program.sides[1].entries[1].trackID, segue.tracks[2].id);
    EXPECT_EQ(program.sides[1].entries[1].gapFrames, -50);

    const CDProject allSegued = projectOf({trackOfFrames("1", 300), trackOfFrames("2", 300, -10),
                                           trackOfFrames("3", 300, -20), trackOfFrames("4", 300, -1)});
    const VinylProgram oneSide = VinylProgram::defaultProgram(allSegued);
    EXPECT_EQ(oneSide.sides[0].entries.size(), 4u);
    EXPECT_TRUE(oneSide.sides[1].entries.empty());
    EXPECT_EQ(oneSide.sides[0].entries[3].gapFrames, -1);
}

TEST(VinylProgram, sanitizeDropsMissingAndRepeatedTracksAndKeepsTwoSides) {
    // The first placement of a track stands across sides; a programme never has fewer than two sides.
    const CDProject project =
        projectOf({trackOfFrames("1", 500), trackOfFrames("2", 500), trackOfFrames("3", 500)});
    const CDTrack gone = trackOfFrames("gone", 500);
    VinylProgram program;
    program.sides = {
        sideWith("Side A", {entryFor(project.tracks[1]), entryFor(gone), entryFor(project.tracks[0])}),
        sideWith("Flip", {entryFor(project.tracks[1]), entryFor(project.tracks[2])})};
    const Uuid keptEntry = program.sides[0].entries[0].id;
    program.sanitize(project);
    EXPECT_EQ(trackIDs(program.sides[0]), (std::vector<Uuid>{project.tracks[1].id, project.tracks[0].id}));
    EXPECT_EQ(program.sides[0].entries[0].id, keptEntry);
    EXPECT_EQ(trackIDs(program.sides[1]), std::vector<Uuid>{project.tracks[2].id});
    EXPECT_EQ(program.sides[1].label, "Flip");

    VinylProgram lonely;
    lonely.sides = {sideWith("Side A", {entryFor(gone)})};
    lonely.sanitize(project);
    ASSERT_EQ(lonely.sides.size(), 2u);
    EXPECT_TRUE(lonely.sides[0].entries.empty());
    EXPECT_EQ(lonely.sides[1].label, "Side B");
}

TEST(VinylProgram, removeSideNeedsMoreThanTwoSidesAndRelabelsTheRest) {
    // With two sides or a bad index nothing changes; otherwise the side's tracks leave the record.
    const CDProject project =
        projectOf({trackOfFrames("1", 500), trackOfFrames("2", 500), trackOfFrames("3", 500)});
    VinylProgram program = VinylProgram::defaultProgram(project);
    const VinylProgram twoSides = program;
    program.removeSide(0);
    EXPECT_EQ(program, twoSides);

    program.sides.push_back(sideWith("Bonus", {}));
    program.sides.push_back(sideWith("Side D", {}));
    program.removeSide(4);
    EXPECT_EQ(program.sides.size(), 4u);
    program.removeSide(0);
    ASSERT_EQ(program.sides.size(), 3u);
    EXPECT_EQ(program.sides[0].label, "Side A");
    EXPECT_EQ(program.sides[0].id, twoSides.sides[1].id);
    EXPECT_EQ(program.sides[1].label, "Side B"); // was "Bonus"
    EXPECT_EQ(program.sides[2].label, "Side C");
    EXPECT_EQ(program.unusedTrackIDs(project), trackIDs(twoSides.sides[0]));
}

TEST(VinylProgram, lookupsFindThePlacementAndListUnplacedTracksInProjectOrder) {
    // Location, side and edit come from the placement; tracks on no side are listed as the project has them.
    const CDProject project =
        projectOf({trackOfFrames("1", 500), trackOfFrames("2", 500), trackOfFrames("3", 500)});
    VinylProgram program;
    ProgramEntry edited = entryFor(project.tracks[2], 75);
    edited.edit = VinylEdit::from(project.tracks[2]);
    program.sides = {sideWith("Side A", {}), sideWith("Side B", {entryFor(project.tracks[0]), edited})};

    EXPECT_EQ(program.entryLocation(project.tracks[2].id), (EntryLocation{1, 1}));
    EXPECT_EQ(program.sideIndex(project.tracks[0].id), 1u);
    EXPECT_FALSE(program.sideIndex(project.tracks[1].id).has_value());
    EXPECT_EQ(program.edit(project.tracks[2].id), edited.edit);
    EXPECT_FALSE(program.edit(project.tracks[0].id).has_value());
    EXPECT_FALSE(program.edit(project.tracks[1].id).has_value());

    CDProject reordered = project;
    reordered.tracks.insert(reordered.tracks.begin(), trackOfFrames("0", 500));
    EXPECT_EQ(program.unusedTrackIDs(reordered),
              (std::vector<Uuid>{reordered.tracks[0].id, project.tracks[1].id}));
}

TEST(VinylProgram, vinylEditCopiesTheCDEditAndAppliesATakeWhole) {
    // An edit made from a track changes nothing when applied; a take replaces source, length and converter.
    CDTrack track = trackOfFrames("Song", 1000);
    track.audioFileURL = FileURL::fromPath("/music/cd-master.wav");
    track.srcAlgorithm = "SoX VHQ";
    track.trimStartSamples = 11;
    track.trimEndSamples = 22;
    track.fadeInSamples = 333;
    track.fadeOutSamples = 444;
    track.fadeInCurve = 0.25f;
    track.fadeOutCurve = -0.5f;
    track.crossfadeCurve = 1.25f;
    track.gainEnabled = true;
    track.gainDB = -1.5f;
    track.envelopeEnabled = true;
    track.gainPoints = {GainPoint{Uuid::random(), 10, -6.0f, 0.5f}};
    track.envelopeSmoothing = 0.75f;
    const VinylEdit edit = VinylEdit::from(track);
    EXPECT_FALSE(edit.takeURL.has_value());
    EXPECT_EQ(edit.takeSourceSamples, 0);
    CDTrack plain = trackOfFrames("Song", 1000);
    plain.id = track.id;
    plain.audioFileURL = track.audioFileURL;
    plain.srcAlgorithm = track.srcAlgorithm;
    edit.apply(plain);
    EXPECT_EQ(plain, track);

    VinylEdit take = edit;
    take.takeURL = FileURL::fromPath("/music/vinyl-take.wav");
    take.takeSourceSamples = 1234567;
    take.takeSRCPhase = "Linear";
    take.apply(plain);
    EXPECT_EQ(plain.audioFileURL, take.takeURL);
    EXPECT_EQ(plain.sourceAudioSamples, 1234567);
    EXPECT_FALSE(plain.srcAlgorithm.has_value()); // an absent take converter replaces the CD's
    EXPECT_EQ(plain.srcPhase, "Linear");

    // The track as vinyl hears it is the CD track with that edit; an unknown id is absent.
    const CDProject project = projectOf({track});
    VinylProgram program = VinylProgram::defaultProgram(project);
    EXPECT_EQ(program.effectiveTrack(track.id, project), track);
    program.sides[0].entries[0].edit = take;
    EXPECT_EQ(program.effectiveTrack(track.id, project), plain);
    EXPECT_FALSE(program.effectiveTrack(Uuid::random(), project).has_value());
}

TEST(VinylProgram, sideProjectIsAnOrdinaryDiscOfTheSidesTracks) {
    // Album basics come along, the first track gets the 2-second pre-gap, markers are reset, edits applied.
    CDProject project =
        projectOf({trackOfFrames("1", 500), trackOfFrames("2", 500), trackOfFrames("3", 500)});
    project.albumTitle = "Album";
    project.albumPerformer = "Band";
    project.albumComposer = "Writer";
    project.mcn = "4006381333931";
    project.masterDither = "None";
    project.srcHybridMode = false;
    project.tracks[1].indexLocked = false;
    project.tracks[1].index01OffsetFrames = 40;
    project.tracks[1].subIndexFrames = {10, 20};
    VinylProgram program;
    ProgramEntry second = entryFor(project.tracks[1], -60);
    second.edit = VinylEdit::from(project.tracks[1]);
    second.edit->gainEnabled = true;
    second.edit->gainDB = 2.0f;
    program.sides = {sideWith("Side A", {entryFor(project.tracks[0], 300), second}),
                     sideWith("Side B", {entryFor(project.tracks[2])})};
    project.vinylProgram = program;

    const CDProject side = program.sideProject(0, project);
    EXPECT_EQ(side.albumTitle, "Album");
    EXPECT_EQ(side.albumPerformer, "Band");
    EXPECT_EQ(side.masterDither, "None");
    EXPECT_EQ(side.srcHybridMode, false);
    EXPECT_FALSE(side.albumComposer.has_value());
    EXPECT_EQ(side.mcn, "");
    EXPECT_FALSE(side.vinylProgram.has_value());
    ASSERT_EQ(side.tracks.size(), 2u);
    EXPECT_EQ(side.tracks[0].preGap.totalFrames, 150);
    EXPECT_EQ(side.tracks[1].preGap.totalFrames, -60);
    EXPECT_TRUE(side.tracks[1].indexLocked);
    EXPECT_EQ(side.tracks[1].index01OffsetFrames, 0);
    EXPECT_TRUE(side.tracks[1].subIndexFrames.empty());
    EXPECT_TRUE(side.tracks[1].gainEnabled);
    EXPECT_EQ(side.tracks[1].gainDB, 2.0f);
    EXPECT_EQ(side.tracks[1].id, project.tracks[1].id);

    const CDProject outOfRange = program.sideProject(2, project);
    EXPECT_TRUE(outOfRange.tracks.empty());
    EXPECT_EQ(outOfRange.albumTitle, "Album");

    // A missing first track drops out and the next keeps its own gap as its pre-gap.
    program.sides[0].entries[0].trackID = Uuid::random();
    program.sides[0].entries[1].gapFrames = 300;
    const CDProject skipped = program.sideProject(0, project);
    ASSERT_EQ(skipped.tracks.size(), 1u);
    EXPECT_EQ(skipped.tracks[0].preGap.totalFrames, 300);
}

TEST(VinylProgram, sideLengthRunsFromTheFirstAudioToTheLastAndIsAbsentWithoutALayout) {
    // Gaps and segues count, the lead-in does not; an empty side or a failed layout has no length.
    const CDProject project =
        projectOf({trackOfFrames("1", 1000), trackOfFrames("2", 2000), trackOfFrames("3", 500)});
    VinylProgram program;
    program.sides = {sideWith("Side A", {entryFor(project.tracks[0], 300), entryFor(project.tracks[1], 75)}),
                     sideWith("Side B", {}), sideWith("Side C", {entryFor(project.tracks[2])})};
    EXPECT_EQ(program.sideLengthFrames(0, project), 1000 + 75 + 2000);
    EXPECT_FALSE(program.sideLengthFrames(1, project).has_value());
    EXPECT_EQ(program.sideLengthFrames(2, project), 500);
    EXPECT_FALSE(program.sideLengthFrames(3, project).has_value());

    program.sides[0].entries[1].gapFrames = -200;
    EXPECT_EQ(program.sideLengthFrames(0, project), 1000 - 200 + 2000);

    // A vinyl take of another length changes the side, while the CD track stays as it was.
    VinylEdit take = VinylEdit::from(project.tracks[1]);
    take.takeURL = FileURL::fromPath("/music/vinyl-edit.wav");
    take.takeSourceSamples = 1500 * 588 - 100;
    program.sides[0].entries[1].edit = take;
    EXPECT_EQ(program.sideProject(0, project).tracks[1].sourceAudioSamples, 1500 * 588 - 100);
    EXPECT_EQ(program.sideLengthFrames(0, project), 1000 - 200 + 1500);
    EXPECT_EQ(project.tracks[1].sourceAudioSamples, 2000 * 588);

    // A track trimmed to nothing cannot be laid out.
    take.trimEndSamples = take.takeSourceSamples;
    program.sides[0].entries[1].edit = take;
    program.sides[0].entries[1].gapFrames = 10;
    EXPECT_FALSE(program.sideLengthFrames(0, project).has_value());
}

} // namespace
} // namespace orvane
