// CUE export: one WAV image that is the DDP's image, and a sheet that libcue and the CUE importer
// read back with the DDP's PQ layout.

#include "delivery/CUEExporter.h"

#include "ExportProjectFixture.h"
#include "delivery/CUEImporter.h"
#include "delivery/DDPExport.h"
#include "delivery/DDPReader.h"

extern "C" {
#include <libcue.h>
}

#include <gtest/gtest.h>

namespace orvane {
namespace {

using testing::fileBytes;
using testing::TempFolder;
namespace fs = std::filesystem;

class CUEExport : public ::testing::Test {
  protected:
    TempFolder temp{"orvane-cue-export"};
    testing::PrivateTemporaryFolder tmp{temp.path / "tmp"};
    CDProject project = testing::exportProject(temp.path);
    std::vector<TrackPosition> positions = testing::positionsOf(project);
};

TEST_F(CUEExport, sheetCarriesCodesTextsAndIndexesAsTheDiscHasThem) {
    // Quotes become single quotes, the MCN and ISRC are cleaned, INDEX 00 only where there is a
    // pause, a sub-index past its track's end is dropped, a blank title gets the track's number, and
    // a position with no track left writes only its TRACK and INDEX lines.
    std::vector<TrackPosition> withExtra = positions;
    withExtra.push_back(
        {4, positions.back().endLBA, positions.back().endLBA, positions.back().endLBA + 100, 0, 0});
    const std::string expected = "REM GENERATOR \"Orvane\"\n"
                                 "CATALOG 4006381333931\n"
                                 "PERFORMER \"The Testers\"\n"
                                 "TITLE \"My 'Best' Album\"\n"
                                 "FILE \"Disc.wav\" WAVE\n"
                                 "  TRACK 01 AUDIO\n"
                                 "    TITLE \"Opening\"\n"
                                 "    ISRC GBAYE2600001\n"
                                 "    INDEX 00 00:00:00\n"
                                 "    INDEX 01 00:02:00\n"
                                 "    INDEX 02 00:03:25\n"
                                 "  TRACK 02 AUDIO\n"
                                 "    FLAGS PRE DCP\n"
                                 "    TITLE \"Caf\u00E9 'Noir'\"\n"
                                 "    PERFORMER \"Duo\"\n"
                                 "    INDEX 00 00:06:00\n"
                                 "    INDEX 01 00:07:00\n"
                                 "  TRACK 03 AUDIO\n"
                                 "    TITLE \"Track 03\"\n"
                                 "    INDEX 01 00:11:61\n"
                                 "  TRACK 04 AUDIO\n"
                                 "    INDEX 01 00:16:06\n";
    EXPECT_EQ(CUEExporter::cueText(project, withExtra, "Disc.wav"), expected);
}

TEST_F(CUEExport, imageIsTheDDPImageAndLibcueReadsThePQLayout) {
    const fs::path cue = temp.path / "out" / "Disc.cue";
    fs::create_directories(cue.parent_path());
    double last = 0.0;
    std::vector<std::string> duringRender;
    CUEExporter::exportCUE(project, positions, cue, [&](double f) {
        EXPECT_GE(f, last);
        last = f;
        if (f > 0.3 && f < 0.6)
            duringRender = tmp.leftovers();
        return true;
    });
    EXPECT_DOUBLE_EQ(last, 1.0);
    ASSERT_EQ(duringRender.size(), 1u);
    EXPECT_TRUE(duringRender[0].starts_with("OrvaneCUE-") && duringRender[0].ends_with(".dat"));
    EXPECT_TRUE(tmp.leftovers().empty());

    Exporter::exportDDP(project, positions, temp.path / "ddp", {});
    const std::string ddpImage = fileBytes(temp.path / "ddp" / "IMAGE.DAT");
    const std::string wav = fileBytes(temp.path / "out" / "Disc.wav");
    ASSERT_EQ(wav.size(), 44 + ddpImage.size());
    EXPECT_EQ(wav.substr(0, 44), DDPReader::wavHeader(static_cast<std::uint32_t>(ddpImage.size())));
    EXPECT_TRUE(wav.compare(44, std::string::npos, ddpImage) == 0) << "the WAV image differs from IMAGE.DAT";

    const auto pq = DDPReader::parsePQ(fileBytes(temp.path / "ddp" / "PQDESCR"));
    ASSERT_TRUE(pq.has_value());
    const std::string sheet = fileBytes(cue);
    Cd* cd = cue_parse_string(sheet.c_str());
    ASSERT_NE(cd, nullptr);
    ASSERT_EQ(cd_get_ntrack(cd), static_cast<int>(pq->tracks.size()));
    EXPECT_STREQ(cdtext_get(PTI_TITLE, cd_get_cdtext(cd)), "My 'Best' Album");
    for (int i = 0; i < cd_get_ntrack(cd); ++i) {
        Track* track = cd_get_track(cd, i + 1);
        const PQTrack& want = pq->tracks[static_cast<std::size_t>(i)];
        EXPECT_STREQ(track_get_filename(track), "Disc.wav");
        EXPECT_EQ(track_get_index(track, 1), want.index01) << i;
        EXPECT_EQ(track_get_index(track, 0), want.index00.value_or(-1)) << i;
        for (const auto& [number, lba] : want.subIndexLBAs)
            EXPECT_EQ(track_get_index(track, static_cast<int>(number)), lba) << i;
        EXPECT_EQ(track_is_set_flag(track, FLAG_PRE_EMPHASIS) != 0, want.preEmphasis) << i;
        EXPECT_EQ(track_is_set_flag(track, FLAG_COPY_PERMITTED) != 0, want.copyPermitted) << i;
        EXPECT_EQ(std::string(track_get_isrc(track) ? track_get_isrc(track) : ""), want.isrc) << i;
        // libcue's start is INDEX 01, and its length runs to the next track's INDEX 00.
        EXPECT_EQ(track_get_start(track), want.index01) << i;
    }
    cd_delete(cd);

    // Read back through the CUE importer: the same boundaries, track files cut from the image.
    const auto reimported = CUEImporter::importCUE(cue, temp.path / "back");
    ASSERT_TRUE(reimported.has_value()) << reimported.error().message();
    const auto back = testing::positionsOf(*reimported);
    ASSERT_EQ(back.size(), positions.size());
    for (std::size_t i = 0; i < back.size(); ++i) {
        EXPECT_EQ(back[i].startLBA, positions[i].startLBA) << i;
        EXPECT_EQ(back[i].index01LBA, positions[i].index01LBA) << i;
        EXPECT_EQ(back[i].endLBA, positions[i].endLBA) << i;
    }
    EXPECT_EQ(reimported->albumTitle, "My 'Best' Album");
    EXPECT_EQ(reimported->mcn, "4006381333931");
}

TEST_F(CUEExport, failuresAndCancelLeaveNoSheetNoImageAndNoTemporary) {
    const fs::path cue = temp.path / "Disc.cue";
    const auto codeOf = [&](const CDProject& p, const std::vector<TrackPosition>& at) {
        try {
            CUEExporter::exportCUE(p, at, cue);
        } catch (const ExportError& error) {
            return error.domain + " " + std::to_string(static_cast<int>(error.code)) + " " + error.message;
        }
        return std::string("exported");
    };
    EXPECT_EQ(codeOf(project, {}), "CUEExporter 1 Project contains no tracks.");
    CDProject broken = project;
    broken.tracks[1].title = "Two\nlines";
    EXPECT_EQ(codeOf(broken, positions), "CUEExporter 2 Cannot encode CUE text.");
    broken.tracks[1].title = "Bad \xFF byte";
    EXPECT_EQ(codeOf(broken, positions), "CUEExporter 2 Cannot encode CUE text.");

    bool cancelled = false;
    try {
        CUEExporter::exportCUE(project, positions, cue, [](double f) { return f < 0.7; });
    } catch (const UserCancelledError&) {
        cancelled = true;
    }
    EXPECT_TRUE(cancelled);
    EXPECT_FALSE(fs::exists(cue));
    EXPECT_FALSE(fs::exists(temp.path / "Disc.wav"));
    EXPECT_TRUE(tmp.leftovers().empty());
}

} // namespace
} // namespace orvane
