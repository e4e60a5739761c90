#include "model/VinylValidator.h"

#include "model/ProjectValidator.h"
#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace orvane {
namespace {

using Severity = ValidationIssue::Severity;

// Tracks on a real (empty) file, placed on sides by hand.
class VinylValidatorTest : public ::testing::Test {
  protected:
    void SetUp() override { std::ofstream(folder / "take.wav") << "RIFF"; }

    CDTrack track(std::int64_t frames) const {
        CDTrack t = CDTrack::make("Song", std::nullopt, 150, frames * 588);
        t.audioFileURL = FileURL::fromPath(folder / "take.wav");
        return t;
    }

    static ProgramEntry entry(const CDTrack& t, std::int64_t gapFrames = 0) {
        return ProgramEntry{Uuid::random(), t.id, gapFrames, std::nullopt};
    }

    static ProgramGroup side(std::string label, std::vector<ProgramEntry> entries, std::string matrix) {
        return ProgramGroup{Uuid::random(), std::move(label), std::move(entries), std::move(matrix)};
    }

    testing::TempFolder temp{"orvane-vinyl-validator"};
    const std::filesystem::path& folder = temp.path;
};

TEST_F(VinylValidatorTest, programWithoutEntriesGivesOnlyTheEmptyError) {
    // No side has an entry: one error, nothing else is looked at.
    CDProject project;
    project.tracks = {track(750)};
    VinylProgram program;
    program.sides = {side("Side A", {}, ""), side("Side B", {}, "")};
    EXPECT_EQ(
        VinylValidator::validate(program, project),
        (std::vector<ValidationIssue>{{Severity::error, "Vinyl program is empty — no tracks on any side."}}));
}

TEST_F(VinylValidatorTest, consistentProgramHasNothingToReport) {
    // Numbered sides well within target and every track placed leave nothing to report.
    CDProject project;
    project.tracks = {track(750), track(750)};
    VinylProgram program;
    program.sides = {side("Side A", {entry(project.tracks[0])}, "X-1"),
                     side("Side B", {entry(project.tracks[1])}, "X-2")};
    EXPECT_TRUE(VinylValidator::validate(program, project).empty());
}

TEST_F(VinylValidatorTest, sideChecksInOrder) {
    // Deleted entries, an empty side, length against the target (exactly at it is only close), and
    // per-entry labels like "A2".
    CDProject project;
    project.tracks = {track(900), track(300), track(950), track(750), track(1000)};
    project.tracks[1].audioFileURL.reset();
    project.tracks[1].preEmphasis = true;
    CDTrack deleted = track(750);
    VinylProgram program;
    program.sideTargetFrames = 1000;
    program.sides = {
        side("Side A", {entry(deleted), entry(project.tracks[0]), entry(project.tracks[1])}, "M1"),
        side("Side B", {entry(project.tracks[2])}, "M2"), side("Side C", {}, "M3"),
        side("Side D", {entry(project.tracks[4])}, "M4")};
    EXPECT_EQ(
        VinylValidator::validate(program, project),
        (std::vector<ValidationIssue>{
            {Severity::error, "Side A: an entry references a deleted track."},
            {Severity::warning, "Side A runs 0:16 — over the 0:13 side target; the cutting engineer may "
                                "need to reduce level."},
            {Severity::error, "A3: no audio file assigned."},
            {Severity::info, "A3: carries the CD pre-emphasis flag — the vinyl pre-master exports audio "
                             "flat (no de-emphasis)."},
            {Severity::info, "Side B runs 0:12 — close to the 0:13 side target."},
            {Severity::warning, "Side C is empty."},
            {Severity::info, "Side D runs 0:13 — close to the 0:13 side target."},
            {Severity::info, "1 track not on any side (Not on Vinyl)."}}));
}

TEST_F(VinylValidatorTest, swallowedSegueIsReportedAsTheSidesFault) {
    // A segue longer than the track before it makes the side's layout fail: an error on that side.
    CDProject project;
    project.tracks = {track(750), track(2000), track(750)};
    VinylProgram program;
    program.sides = {side("Side A", {entry(project.tracks[0]), entry(project.tracks[1], -1600)}, "1"),
                     side("Side B", {entry(project.tracks[2])}, "2")};
    EXPECT_EQ(
        VinylValidator::validate(program, project),
        (std::vector<ValidationIssue>{{Severity::error, "Side A: side timeline cannot be calculated — check "
                                                        "the segues (a track cannot be swallowed whole by a "
                                                        "crossfade)."}}));
}

TEST_F(VinylValidatorTest, matrixNumbersCompareTrimmedWithoutCase) {
    // " ab-1 " on B repeats A's "AB-1"; sides without a number are listed in one line; the vinyl
    // take's missing file is what counts for an entry.
    CDProject project;
    project.tracks = {track(750), track(750), track(750)};
    VinylProgram program;
    ProgramEntry withTake = entry(project.tracks[2]);
    withTake.edit = VinylEdit::from(project.tracks[2]);
    withTake.edit->takeURL = FileURL::fromPath(folder / "vinyl-take.wav");
    withTake.edit->takeSourceSamples = 750 * 588;
    program.sides = {side("Side A", {entry(project.tracks[0])}, "AB-1"),
                     side("Side B", {entry(project.tracks[1])}, " ab-1 "), side("Side C", {withTake}, "  "),
                     ProgramGroup{Uuid::random(), "Side D", {}, std::nullopt}};
    EXPECT_EQ(
        VinylValidator::validate(program, project),
        (std::vector<ValidationIssue>{
            {Severity::error, "C1: audio file is missing (vinyl-take.wav)."},
            {Severity::warning, "Side D is empty."},
            {Severity::warning, "Side B: matrix number \u201C ab-1 \u201D is the same as Side A — each side "
                                "needs its own cut identifier."},
            {Severity::info, "No matrix number for Side C, Side D — it goes to the cue sheet for the "
                             "cutting engineer."}}));
}

} // namespace
} // namespace orvane
