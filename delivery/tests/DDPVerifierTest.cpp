#include "delivery/DDPVerifier.h"

#include "DDPFilesetFixture.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using namespace orvane::testing;
using Severity = ValidationIssue::Severity;

ValidationIssue error(std::string m) {
    return {Severity::error, std::move(m)};
}
ValidationIssue warning(std::string m) {
    return {Severity::warning, std::move(m)};
}
ValidationIssue info(std::string m) {
    return {Severity::info, std::move(m)};
}

std::vector<ValidationIssue> verified(const fs::path& folder) {
    const auto issues = DDPVerifier::verify(folder);
    EXPECT_TRUE(issues.has_value());
    return issues.value_or(std::vector<ValidationIssue>{});
}

// 3 tracks of 150 + 400 + 75 + 380 + 350 frames.
constexpr std::int64_t kSectors = 1355;

TEST(DDPVerifier, passesAGoodFilesetWithOnlyInfoLinesInCheckOrder) {
    // A fileset as the export writes it gives one info line per check, in the order they ran.
    TempFolder dir;
    writeFileset(dir.path, sampleProject());
    const auto cdTextBytes = fs::file_size(dir.path / "CDTEXT.BIN");
    std::vector<std::pair<std::string, double>> reports;
    const auto issues = DDPVerifier::verify(dir.path, [&](std::string_view status, double f) {
        reports.emplace_back(std::string(status), f);
        return true;
    });
    ASSERT_TRUE(issues);
    EXPECT_EQ(*issues,
              (std::vector<ValidationIssue>{
                  info("DDPMS: all 3 stream lengths match file sizes."),
                  info("IMAGE.DAT: " + std::to_string(kSectors) + " sectors (0:18), frame aligned."),
                  info("PQ descriptor: 3 tracks, lead-out at " + std::to_string(kSectors) + " sectors."),
                  info("CDTEXT.BIN: " + std::to_string(cdTextBytes / 18) + " packs, all CRC checks passed."),
                  info("5 files passed MD5 verification."),
              }));
    EXPECT_EQ(DDPVerifier::reportTitle(*issues), "DDP Fileset Is Valid");
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.front().first, "Computing MD5 of DDPID\u2026");
    EXPECT_DOUBLE_EQ(reports.back().second, 1.0);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end(),
                               [](const auto& a, const auto& b) { return a.second < b.second; }));
}

TEST(DDPVerifier, reportsCorruptionMissingFilesAndSizeMismatches) {
    // A changed byte, a missing file, a truncated image and a PQ with a hole are each caught with
    // their own error; the rest of the checks still run.
    TempFolder dir;
    writeFileset(dir.path, sampleProject());
    std::string image = fileBytes(dir.path / "IMAGE.DAT");
    image[5000] ^= 0x40;
    putFile(dir.path / "IMAGE.DAT", image);
    auto issues = verified(dir.path);
    EXPECT_EQ(issues.back(), info("4 files passed MD5 verification."));
    EXPECT_EQ(issues.end()[-2], error("IMAGE.DAT: MD5 MISMATCH \u2014 file is corrupted or modified."));

    fs::remove(dir.path / "DDPID");
    putFile(dir.path / "IMAGE.DAT", image.substr(0, image.size() - 2352));
    issues = verified(dir.path);
    const auto has = [&](const ValidationIssue& issue) {
        return std::find(issues.begin(), issues.end(), issue) != issues.end();
    };
    EXPECT_EQ(issues.front(), error("Missing required file: DDPID."));
    EXPECT_TRUE(
        has(error("IMAGE.DAT: DDPMS declares 1355 sectors (3186960 bytes) but file is 3184608 bytes.")));
    EXPECT_TRUE(has(error("PQ lead-out does not match IMAGE.DAT size.")));
    EXPECT_TRUE(has(error("DDPID: listed in checksum.md5 but missing.")));
    EXPECT_TRUE(has(info("IMAGE.DAT: 1354 sectors (0:18), frame aligned.")));

    putFile(dir.path / "IMAGE.DAT", image.substr(0, 1000));
    putFile(dir.path / "PQDESCR", fileBytes(dir.path / "PQDESCR").substr(64 * 3));
    issues = verified(dir.path);
    EXPECT_TRUE(has(error("IMAGE.DAT does not end on a CD frame boundary (size % 2352 \u2260 0).")));
    EXPECT_TRUE(
        has(error("PQDESCR: DDPMS declares " + std::to_string(fs::file_size(dir.path / "PQDESCR") + 192) +
                  " bytes but file is " + std::to_string(fs::file_size(dir.path / "PQDESCR")) + " bytes.")));
    EXPECT_TRUE(
        has(error("PQ descriptor unreadable: PQ descriptor is invalid: track numbers are not contiguous.")));
    EXPECT_EQ(DDPVerifier::reportTitle(issues).rfind("Verification Found ", 0), 0u);
}

TEST(DDPVerifier, checksCDTextPacksAndTheChecksumListAsWritten) {
    // A CD-Text file of 19 bytes is a size error with its one whole pack still checked; a bad CRC is
    // counted; no checksum.md5 is a warning; unusable lines count nothing; hashes compare exactly.
    TempFolder dir;
    writeFileset(dir.path, sampleProject());
    const std::string cdText = fileBytes(dir.path / "CDTEXT.BIN");
    putFile(dir.path / "CDTEXT.BIN", cdText.substr(0, 19));
    fs::remove(dir.path / "checksum.md5");
    auto issues = verified(dir.path);
    ASSERT_GE(issues.size(), 4u);
    EXPECT_EQ(issues.end()[-3],
              error("CDTEXT.BIN: size is not a multiple of 18 bytes \u2014 truncated or not a "
                    "CD-Text file."));
    EXPECT_EQ(issues.end()[-2], info("CDTEXT.BIN: 1 packs, all CRC checks passed."));
    EXPECT_EQ(issues.back(), warning("No checksum.md5 \u2014 integrity cannot be verified."));
    EXPECT_EQ(DDPVerifier::reportTitle(issues), "Verification Found 2 Errors");

    std::string damaged = cdText;
    damaged[4] ^= 0x01;
    damaged[18 * 2 + 5] ^= 0x01;
    putFile(dir.path / "CDTEXT.BIN", damaged);
    putFile(dir.path / "checksum.md5", "just one piece\n\n  \nthree pieces here\n");
    issues = verified(dir.path);
    EXPECT_EQ(issues.end()[-2], error("CDTEXT.BIN: 2 of " + std::to_string(cdText.size() / 18) +
                                      " packs failed CRC \u2014 CD-Text is corrupted."));
    EXPECT_EQ(issues.back(), info("0 files passed MD5 verification."));

    putFile(dir.path / "checksum.md5", "D41D8CD98F00B204E9800998ECF8427E  empty.txt\r\n"
                                       "d41d8cd98f00b204e9800998ecf8427e   other.txt\n");
    putFile(dir.path / "empty.txt", "");
    putFile(dir.path / "other.txt", "");
    issues = verified(dir.path);
    EXPECT_EQ(issues.end()[-2], error("empty.txt: MD5 MISMATCH \u2014 file is corrupted or modified."));
    EXPECT_EQ(issues.back(), info("1 file passed MD5 verification."));
}

TEST(DDPVerifier, cancelGivesNoResultAndTheMapsCDTextNameIsUsed) {
    // A false answer from progress ends the check with nothing; a DDPMS that names the CD-Text
    // stream differently sends the CRC check to that file.
    TempFolder dir;
    writeFileset(dir.path, sampleProject());
    EXPECT_FALSE(DDPVerifier::verify(dir.path, [](std::string_view, double) { return false; }).has_value());

    std::string map = fileBytes(dir.path / "DDPMS");
    map.replace(128 + 74, 17, DDPWriter::field("TEXT.BIN", 17));
    putFile(dir.path / "DDPMS", map);
    fs::rename(dir.path / "CDTEXT.BIN", dir.path / "TEXT.BIN");
    const auto issues = verified(dir.path);
    EXPECT_EQ(issues[0], info("DDPMS: all 3 stream lengths match file sizes."));
    EXPECT_EQ(issues[3].message.rfind("TEXT.BIN: ", 0), 0u);
}

TEST(DDPVerifierReport, marksEachLineWithItsSeverity) {
    // One line per issue: the mark, two spaces, the message.
    const std::vector<ValidationIssue> issues{error("a"), warning("b"), info("c")};
    EXPECT_EQ(DDPVerifier::reportText(issues), "\u2717  a\n\u26A0  b\n\u2139  c");
    EXPECT_EQ(DDPVerifier::reportTitle(issues), "Verification Found 1 Error");
}

} // namespace
} // namespace orvane
