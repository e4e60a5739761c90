// Track files: each one the image's slice from INDEX 01 to the track's end, bit for bit, in WAV or
// (byte-swapped) AIFF, named by number and title, and made whole before they appear.

#include "delivery/AudioExporter.h"

#include "ExportProjectFixture.h"
#include "delivery/DDPExport.h"
#include "delivery/DDPReader.h"

#include <gtest/gtest.h>

#include <set>

namespace orvane {
namespace {

using testing::fileBytes;
using testing::TempFolder;
namespace fs = std::filesystem;
using AudioExporter::Format;

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& e : fs::directory_iterator(folder))
        names.insert(e.path().filename().string());
    return names;
}

// The sample bytes of an AIFF file's SSND chunk (after its 8-byte offset and block size).
std::string aiffSamples(const std::string& file) {
    const std::size_t at = file.find("SSND");
    if (at == std::string::npos || at + 16 > file.size())
        return "";
    const auto size = (static_cast<std::uint32_t>(static_cast<unsigned char>(file[at + 4])) << 24) |
                      (static_cast<std::uint32_t>(static_cast<unsigned char>(file[at + 5])) << 16) |
                      (static_cast<std::uint32_t>(static_cast<unsigned char>(file[at + 6])) << 8) |
                      static_cast<std::uint32_t>(static_cast<unsigned char>(file[at + 7]));
    return file.substr(at + 16, size - 8);
}

class TrackExport : public ::testing::Test {
  protected:
    TempFolder temp{"orvane-track-export"};
    testing::PrivateTemporaryFolder tmp{temp.path / "tmp"};
    CDProject project = testing::exportProject(temp.path);
    std::vector<TrackPosition> positions = testing::positionsOf(project);

    std::string ddpImage() {
        Exporter::exportDDP(project, positions, temp.path / "ddp", {});
        return fileBytes(temp.path / "ddp" / "IMAGE.DAT");
    }
};

TEST(TrackFileName, numberAndCleanedTitle) {
    EXPECT_EQ(AudioExporter::fileName(1, "Intro", Format::wav), "01 Intro.wav");
    EXPECT_EQ(AudioExporter::fileName(3, "   ", Format::wav), "03 Track 03.wav");
    EXPECT_EQ(AudioExporter::fileName(12, " a/b:c ", Format::aiff), "12 a-b-c.aif");
    EXPECT_EQ(AudioExporter::fileName(4, "../../etc/passwd", Format::wav), "04 ..-..-etc-passwd.wav");
    const std::string longName = AudioExporter::fileName(5, std::string(300, 'x') + "\u00E9", Format::wav);
    EXPECT_LE(longName.size(), 255u);
    EXPECT_EQ(AudioExporter::fileName(6, "a\nb", Format::wav), "06 a-b.wav");
}

TEST_F(TrackExport, wavFilesAreTheImagesSlicesFromIndex01ToTheTracksEnd) {
    const std::string image = ddpImage();
    const fs::path out = temp.path / "tracks";
    double last = 0.0;
    EXPECT_EQ(AudioExporter::exportTrackFiles(project, positions, out, Format::wav,
                                              [&](double f) {
                                                  EXPECT_GE(f, last);
                                                  last = f;
                                                  return true;
                                              }),
              3u);
    EXPECT_DOUBLE_EQ(last, 1.0);
    EXPECT_EQ(namesIn(out),
              (std::set<std::string>{"01 Opening.wav", "02 Caf\u00E9 \"Noir\".wav", "03 Track 03.wav"}));
    const std::string names[] = {"01 Opening.wav", "02 Caf\u00E9 \"Noir\".wav", "03 Track 03.wav"};
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const TrackPosition& p = positions[i];
        const std::string file = fileBytes(out / names[i]);
        const std::int64_t bytes = (p.endLBA - p.index01LBA) * 2352;
        ASSERT_EQ(static_cast<std::int64_t>(file.size()), 44 + bytes) << i;
        EXPECT_EQ(file.substr(0, 44), DDPReader::wavHeader(static_cast<std::uint32_t>(bytes)));
        EXPECT_TRUE(file.compare(44, std::string::npos, image, static_cast<std::size_t>(p.index01LBA * 2352),
                                 static_cast<std::size_t>(bytes)) == 0)
            << names[i];
    }
    EXPECT_TRUE(tmp.leftovers().empty());
}

TEST_F(TrackExport, aiffHoldsTheSameSamplesBigEndianAndAPreparedImageIsCutAsGiven) {
    // With a prepared image nothing is rendered: the files come from that image alone.
    const std::string image = ddpImage();
    const fs::path out = temp.path / "aiff";
    fs::create_directories(out);
    AudioExporter::exportTracks(project, positions, out, Format::aiff, temp.path / "ddp" / "IMAGE.DAT");
    EXPECT_TRUE(tmp.leftovers().empty());
    const TrackPosition& p = positions[1];
    std::string swapped = image.substr(static_cast<std::size_t>(p.index01LBA * 2352),
                                       static_cast<std::size_t>((p.endLBA - p.index01LBA) * 2352));
    for (std::size_t i = 0; i + 1 < swapped.size(); i += 2)
        std::swap(swapped[i], swapped[i + 1]);
    EXPECT_TRUE(aiffSamples(fileBytes(out / "02 Caf\u00E9 \"Noir\".aif")) == swapped);
    EXPECT_EQ(namesIn(out).size(), 3u);
}

TEST_F(TrackExport, aCancelLeavesTheTargetAsItWasWithoutTheHiddenFolderOrTemporary) {
    const fs::path out = temp.path / "tracks";
    fs::create_directories(out);
    testing::putFile(out / "01 Opening.wav", "older");
    bool cancelled = false;
    try {
        AudioExporter::exportTrackFiles(project, positions, out, Format::wav,
                                        [](double f) { return f < 0.8; });
    } catch (const UserCancelledError&) {
        cancelled = true;
    }
    EXPECT_TRUE(cancelled);
    EXPECT_EQ(namesIn(out), std::set<std::string>{"01 Opening.wav"});
    EXPECT_EQ(fileBytes(out / "01 Opening.wav"), "older");
    EXPECT_TRUE(tmp.leftovers().empty());

    // A second, whole export replaces the file of the same name.
    AudioExporter::exportTrackFiles(project, positions, out, Format::wav);
    EXPECT_NE(fileBytes(out / "01 Opening.wav"), "older");
    EXPECT_EQ(namesIn(out).size(), 3u);

    try {
        AudioExporter::exportTrackFiles(project, {}, out, Format::wav);
        ADD_FAILURE() << "an empty disc was exported";
    } catch (const ExportError& error) {
        EXPECT_EQ(error.domain, "AudioExporter");
        EXPECT_EQ(static_cast<int>(error.code), 1);
        EXPECT_EQ(error.message, "Project contains no tracks.");
    }
}

} // namespace
} // namespace orvane
