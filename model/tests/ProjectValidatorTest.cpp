#include "model/ProjectValidator.h"

#include "model/TimelineCalculator.h"
#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace orvane {
namespace {

using Severity = ValidationIssue::Severity;

// A folder with one real (empty) audio file that tracks can point at.
class ProjectValidatorTest : public ::testing::Test {
  protected:
    void SetUp() override { std::ofstream(folder / "take.wav") << "RIFF"; }

    // A track of `seconds` on a real file, with a valid ISRC built from its number.
    CDTrack track(int seconds, int number) const {
        char isrc[32];
        std::snprintf(isrc, sizeof isrc, "USABC12%05d", number);
        CDTrack t = CDTrack::make("Song", std::string(isrc), 150, seconds * 44100LL);
        t.audioFileURL = FileURL::fromPath(folder / "take.wav");
        return t;
    }

    std::vector<ValidationIssue> check(const CDProject& project,
                                       std::vector<std::int64_t> packs = {0}) const {
        const auto positions = TimelineCalculator::calculatePositions(project);
        const std::vector<TrackPosition> laidOut = positions ? *positions : std::vector<TrackPosition>{};
        return ProjectValidator::validate(project, laidOut, packs);
    }

    testing::TempFolder temp{"orvane-validator"};
    const std::filesystem::path& folder = temp.path;
};

bool has(const std::vector<ValidationIssue>& issues, Severity severity, const std::string& message) {
    return std::find(issues.begin(), issues.end(), ValidationIssue{severity, message}) != issues.end();
}

TEST_F(ProjectValidatorTest, emptyProjectGivesOnlyTheNoTracksError) {
    // Nothing else is checked without tracks, not even the MCN.
    EXPECT_EQ(check(CDProject{}),
              (std::vector<ValidationIssue>{{Severity::error, "Project contains no tracks."}}));
}

TEST_F(ProjectValidatorTest, bareProjectListsInfoLinesInCheckOrder) {
    // Audio but no codes: one "no ISRC" per track, then the MCN line; the title still says warnings.
    CDProject project;
    project.tracks = {track(30, 1), track(30, 2)};
    for (auto& t : project.tracks)
        t.isrc.reset();
    const auto issues = check(project);
    EXPECT_EQ(issues, (std::vector<ValidationIssue>{{Severity::info, "Track 01: no ISRC."},
                                                    {Severity::info, "Track 02: no ISRC."},
                                                    {Severity::info, "No MCN/UPC code."}}));
    const auto report =
        ProjectValidator::report(issues, ProjectValidator::kValidTitle, ProjectValidator::kValidText);
    EXPECT_EQ(report.title, "Validation Finished With Warnings");
    EXPECT_EQ(report.style, ValidationReport::Style::warning);
    EXPECT_EQ(report.text,
              "\u2139  Track 01: no ISRC.\n\u2139  Track 02: no ISRC.\n\u2139  No MCN/UPC code.");
}

TEST_F(ProjectValidatorTest, reportCountsErrorsInItsTitle) {
    // No issue is informational; one error reads singular, two plural; either makes the alert critical.
    EXPECT_EQ(ProjectValidator::report({}, "valid", "").style, ValidationReport::Style::informational);
    const std::vector<ValidationIssue> one{{Severity::warning, "w"}, {Severity::error, "e"}};
    const auto single = ProjectValidator::report(one, "", "");
    EXPECT_EQ(single.title, "Validation Found 1 Error");
    EXPECT_EQ(single.style, ValidationReport::Style::critical);
    EXPECT_EQ(single.text, "\u26A0  w\n\u2717  e");
    const std::vector<ValidationIssue> two{{Severity::error, "a"}, {Severity::error, "b"}};
    EXPECT_EQ(ProjectValidator::report(two, "", "").title, "Validation Found 2 Errors");
}

TEST_F(ProjectValidatorTest, discLengthLimitsAreExclusive) {
    // 333,000 frames passes; up to 359,775 warns; one frame more is an error and no warning.
    auto discOf = [&](std::int64_t endFrames) {
        CDProject project;
        project.mcn = "4006381333931";
        project.tracks = {track(10, 1)};
        // Track 1 lies at 150; make it end exactly at the wanted frame.
        project.tracks[0].sourceAudioSamples = (endFrames - 150) * 588;
        return check(project);
    };
    EXPECT_TRUE(discOf(333000).empty());
    EXPECT_EQ(discOf(359775),
              (std::vector<ValidationIssue>{{Severity::warning,
                                             "Disc exceeds 74:00 (79:57) — some old players/pressing "
                                             "plants may complain."}}));
    EXPECT_EQ(discOf(359776),
              (std::vector<ValidationIssue>{{Severity::error, "Disc is too long: 79:57 (79:57 maximum)."}}));
}

TEST_F(ProjectValidatorTest, trackCountAndLengthChecks) {
    // 100 tracks are too many; a track shorter than 300 frames after INDEX 01 is an error, the pre-gap
    // does not count, and exactly 300 frames passes.
    CDProject project;
    project.mcn = "4006381333931";
    for (int i = 0; i < 100; ++i)
        project.tracks.push_back(track(5, i + 1));
    auto issues = check(project);
    ASSERT_FALSE(issues.empty());
    EXPECT_EQ(issues[0],
              (ValidationIssue{Severity::error, "Too many tracks: 100 (Red Book maximum is 99)."}));
    project.tracks.pop_back();
    EXPECT_TRUE(check(project).empty());

    CDProject shortOne;
    shortOne.mcn = "4006381333931";
    shortOne.tracks = {track(4, 1), track(4, 2)};
    shortOne.tracks[1].sourceAudioSamples = 299 * 588;
    shortOne.tracks[1].preGap = CDTime::frames(300);
    EXPECT_EQ(check(shortOne),
              (std::vector<ValidationIssue>{{Severity::error, "Track 02: shorter than 4 seconds."}}));
}

TEST_F(ProjectValidatorTest, audioAndSubIndexProblemsNameTheTrack) {
    // A track without a URL, one with a vanished file, and sub-indexes outside the body or repeated.
    CDProject project;
    project.mcn = "4006381333931";
    project.tracks = {track(30, 1), track(30, 2), track(30, 3)};
    project.tracks[0].audioFileURL.reset();
    project.tracks[1].audioFileURL = FileURL::fromPath(folder / "gone.wav");
    project.tracks[2].subIndexFrames = {75, 75, 0, 5000};
    EXPECT_EQ(check(project), (std::vector<ValidationIssue>{
                                  {Severity::error, "Track 01: no audio file assigned."},
                                  {Severity::error, "Track 02: audio file is missing (gone.wav)."},
                                  {Severity::warning,
                                   "Track 03: 3 sub-index points outside the track body (or duplicate) will "
                                   "be dropped on export."}}));
    project.tracks[2].subIndexFrames = {75, 5000};
    EXPECT_TRUE(has(check(project), Severity::warning,
                    "Track 03: 1 sub-index point outside the track body (or duplicate) will be dropped on "
                    "export."));
}

TEST_F(ProjectValidatorTest, isrcFormatAndDuplicatesAcrossSpellings) {
    // Spellings of one code collide and name the first holder; a malformed code warns and still
    // takes part in the duplicate test.
    CDProject project;
    project.mcn = "4006381333931";
    project.tracks = {track(30, 1), track(30, 2), track(30, 3), track(30, 4)};
    project.tracks[0].isrc = "us-abc-12-34567";
    project.tracks[1].isrc = "USABC1234567";
    project.tracks[2].isrc = "12-abc";
    project.tracks[3].isrc = "12ABC";
    EXPECT_EQ(check(project),
              (std::vector<ValidationIssue>{
                  {Severity::error, "Track 02: duplicate ISRC USABC1234567 (same as track 01)."},
                  {Severity::warning, "Track 03: ISRC \"12-abc\" has invalid format (CC-XXX-YY-NNNNN)."},
                  {Severity::warning, "Track 04: ISRC \"12ABC\" has invalid format (CC-XXX-YY-NNNNN)."},
                  {Severity::error, "Track 04: duplicate ISRC 12ABC (same as track 03)."}}));

    // A letter from beyond A-Z is part of the code: the two differ and neither is read as the other.
    project.tracks[2].isrc = "USABC1234567";
    project.tracks[3].isrc = "US\u00C4BC1234567";
    const auto issues = check(project);
    EXPECT_TRUE(has(issues, Severity::error, "Track 03: duplicate ISRC USABC1234567 (same as track 01)."));
    EXPECT_FALSE(has(issues, Severity::error, "Track 04: duplicate ISRC USABC1234567 (same as track 01)."));
    EXPECT_TRUE(has(issues, Severity::warning,
                    "Track 04: ISRC \"US\u00C4BC1234567\" has invalid format (CC-XXX-YY-NNNNN)."));
}

TEST_F(ProjectValidatorTest, textOutsideLatin1AndDiscFieldsInOrder) {
    // é passes, € fails; track fields, then MCN, album fields, second language and CD-Text size.
    CDProject project;
    project.mcn = "4006381333932";
    project.albumTitle = "Caf\u00E9";
    project.genreText = "Euro \u20AC";
    project.albumPerformer = "\u20AC";
    project.cdTextLanguageCode = std::nullopt;
    project.cdTextLanguage2Code = 9;
    project.tracks = {track(30, 1)};
    project.tracks[0].title = "Caf\u00E9";
    project.tracks[0].messageLang2 = "\u20AC";
    const std::string tail =
        " contains characters outside Latin-1 — they will be replaced by '?' in CD-Text.";
    EXPECT_EQ(
        check(project, {10, 253}),
        (std::vector<ValidationIssue>{
            {Severity::warning, "Track 01: message (2nd language)" + tail},
            {Severity::warning, "MCN \"4006381333932\" is not a valid EAN-13 (check digit mismatch)."},
            {Severity::warning, "Album performer" + tail},
            {Severity::warning, "Genre text" + tail},
            {Severity::warning, "Second CD-Text language is the same as the primary language — pick a "
                                "different language or turn the second block off."},
            {Severity::error, "CD-Text (2nd language) is too long: 253 packs (maximum 252) — DDP export "
                              "would fail. Shorten titles, performers or other CD-Text fields."}}));
}

} // namespace
} // namespace orvane
