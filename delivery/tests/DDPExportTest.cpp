// The DDP export: a whole fileset in the target on success, the target as it was otherwise.

#include "delivery/DDPExport.h"

#include "DDPFilesetFixture.h"
#include "delivery/MD5Digest.h"
#include "model/FileURL.h"
#include "platform/AudioFileWriter.h"
#include "platform/tests/ProcessLimits.h"

#include <sys/resource.h>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <iterator>
#include <set>
#include <sstream>

namespace orvane {
namespace {

using testing::fileBytes;
using testing::putFile;
using testing::TempFolder;
namespace fs = std::filesystem;

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& e : fs::directory_iterator(folder))
        names.insert(e.path().filename().string());
    return names;
}

// The sample project with a synthesised tone as its first track's source, undithered.
CDProject projectWithAudio(const fs::path& folder) {
    CDProject p = testing::sampleProject();
    AudioWriteSettings settings;
    settings.sampleFormat = AudioSampleFormat::float32;
    auto writer = AudioFileWriter::open(folder / "tone.wav", settings);
    EXPECT_TRUE(writer.has_value());
    AudioBuffer buffer(44100, 2, 400 * 588);
    for (int ch = 0; ch < 2; ++ch)
        for (int n = 0; n < 400 * 588; ++n)
            buffer.channel(ch)[n] = static_cast<float>(0.25 * std::sin(0.01 * n));
    buffer.setFrameLength(400 * 588);
    EXPECT_TRUE(writer->write(buffer).has_value());
    EXPECT_TRUE(writer->finish().has_value());
    p.tracks[0].audioFileURL = FileURL::fromPath(folder / "tone.wav");
    p.masterDither = "None";
    return p;
}

TEST(DDPExport, writesTheWholeFilesetWithMatchingChecksums) {
    // The fileset's files and the extra files land in the target, checksum.md5 lists each with
    // its real MD5, PQDESCR and IMAGE.DAT fit the layout, and no partial folder stays.
    TempFolder src;
    TempFolder out;
    const CDProject project = projectWithAudio(src.path);
    const auto positions = TimelineCalculator::calculatePositions(project).value();
    const fs::path target = out.path / "new" / "set";
    std::vector<double> fractions;
    std::vector<std::string> texts;
    Exporter::exportDDP(project, positions, target, {{"PQSheet.csv", "a,b\n"}},
                        [&](double f, const std::string& text) {
                            fractions.push_back(f);
                            texts.push_back(text);
                            return true;
                        });
    EXPECT_EQ(namesIn(target),
              (std::set<std::string>{"CDTEXT.BIN", "DDPID", "DDPMS", "IMAGE.DAT", "IMAGE.cue", "PQDESCR",
                                     "PQSheet.csv", "checksum.md5"}));
    EXPECT_EQ(fileBytes(target / "PQDESCR"), DDPWriter::pqDescrData(project, positions));
    EXPECT_EQ(fileBytes(target / "CDTEXT.BIN"), DDPWriter::cdTextData(project).value());
    EXPECT_EQ(static_cast<std::int64_t>(fs::file_size(target / "IMAGE.DAT")), positions.back().endLBA * 2352);
    std::istringstream lines(fileBytes(target / "checksum.md5"));
    std::set<std::string> listed;
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(34);
        listed.insert(name);
        EXPECT_EQ(line.substr(0, 32), md5HexOfFile(target / name).value()) << name;
    }
    EXPECT_EQ(listed.size(), 7u);
    EXPECT_FALSE(listed.contains("checksum.md5"));
    ASSERT_FALSE(fractions.empty());
    EXPECT_EQ(texts.back(), "Finalizing\u2026");
    EXPECT_DOUBLE_EQ(fractions.back(), 1.0);
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    // The tone is in the image where track 1's audio is.
    const std::string image = fileBytes(target / "IMAGE.DAT");
    const auto at = static_cast<std::size_t>((positions[0].audioStartLBA * 588 + 157) * 4);
    EXPECT_NE(image.substr(at, 4), std::string(4, '\0'));
}

TEST(DDPExport, cancelLeavesNeitherTargetNorPartialFolder) {
    // Stopping while the image is written removes the partial folder and the folders the export made.
    TempFolder src;
    TempFolder out;
    const CDProject project = projectWithAudio(src.path);
    const auto positions = TimelineCalculator::calculatePositions(project).value();
    const fs::path target = out.path / "made" / "here";
    EXPECT_THROW(Exporter::exportDDP(project, positions, target, {},
                                     [](double f, const std::string&) { return f < 0.5; }),
                 UserCancelledError);
    EXPECT_TRUE(namesIn(out.path).empty());
}

TEST(DDPExport, failureLeavesTheOldFilesetAndSecondExportReplacesByName) {
    // Too much CD-Text fails with its text before any audio and leaves the old set untouched; a
    // good export then replaces files by name and keeps what the new set lacks.
    TempFolder src;
    TempFolder out;
    CDProject project = projectWithAudio(src.path);
    putFile(out.path / "IMAGE.DAT", "old image");
    putFile(out.path / "CDTEXT.BIN", "old text");
    putFile(out.path / "notes.txt", "mine");
    const auto before = namesIn(out.path);

    CDProject noisy = project;
    noisy.albumTitle = std::string(3000, 'A');
    const auto counts = DDPWriter::cdTextBlockPackCounts(noisy);
    ASSERT_GT(counts.at(0), 252);
    const auto positions = TimelineCalculator::calculatePositions(noisy).value();
    try {
        Exporter::exportDDP(noisy, positions, out.path, {}, [](double, const std::string& text) {
            EXPECT_EQ(text, "never called before the CD-Text check");
            return true;
        });
        ADD_FAILURE() << "too much CD-Text accepted";
    } catch (const ExportError& e) {
        EXPECT_EQ(e.code, ExportErrorCode::cdTextTooLong);
        EXPECT_EQ(e.message, "CD-Text is too long: " + std::to_string(counts[0]) +
                                 " packs (maximum 252). Shorten titles, performers or other CD-Text fields.");
    }
    EXPECT_EQ(namesIn(out.path), before);
    EXPECT_EQ(fileBytes(out.path / "IMAGE.DAT"), "old image");

    CDProject plain;
    plain.tracks = {CDTrack::make("", std::nullopt, 150, 400 * 588)};
    plain.tracks[0].audioFileURL = project.tracks[0].audioFileURL;
    project = plain;
    ASSERT_FALSE(DDPWriter::cdTextData(project).has_value());
    Exporter::exportDDP(project, TimelineCalculator::calculatePositions(project).value(), out.path, {});
    EXPECT_NE(fileBytes(out.path / "IMAGE.DAT"), "old image");
    EXPECT_EQ(fileBytes(out.path / "CDTEXT.BIN"), "old text");
    EXPECT_EQ(fileBytes(out.path / "notes.txt"), "mine");
    EXPECT_EQ(fileBytes(out.path / "checksum.md5").find("CDTEXT.BIN"), std::string::npos);
}

TEST(DDPExport, aFailingImageWriteKeepsTheOldFilesetAndSaysWhy) {
    // When the disk refuses IMAGE.DAT part-way (the file may not grow past 500 kB here), the export
    // fails with the system's reason, the old fileset stays as it was, and no thread is left behind.
    TempFolder src;
    TempFolder out;
    const CDProject project = projectWithAudio(src.path);
    const auto positions = TimelineCalculator::calculatePositions(project).value();
    ASSERT_GT(positions.back().endLBA * 2352, 500000);
    putFile(out.path / "IMAGE.DAT", "old image");
    const auto before = namesIn(out.path);
    const std::size_t threadsBefore = testing::threadCount();
    try {
        const testing::FileSizeLimit limit(500000);
        Exporter::exportDDP(project, positions, out.path, {});
        ADD_FAILURE() << "the refused write went unnoticed";
    } catch (const ExportError& e) {
        EXPECT_EQ(e.code, ExportErrorCode::writeFailed);
        EXPECT_EQ(e.message, "Writing IMAGE.DAT failed: " + std::string(std::strerror(EFBIG)));
    }
    EXPECT_EQ(namesIn(out.path), before);
    EXPECT_EQ(fileBytes(out.path / "IMAGE.DAT"), "old image");
    EXPECT_EQ(testing::threadCount(), threadsBefore);
}

TEST(DDPExport, noTracksIsRefusedWithoutLeavingAFolder) {
    // An empty layout is error 2 and makes nothing.
    TempFolder out;
    try {
        Exporter::exportDDP(CDProject{}, {}, out.path / "x", {});
        ADD_FAILURE();
    } catch (const ExportError& e) {
        EXPECT_EQ(e.message, "Project contains no tracks to export.");
    }
    EXPECT_TRUE(namesIn(out.path).empty());
}

} // namespace
} // namespace orvane
