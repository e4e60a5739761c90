// Batch delivery: one render, and the DDP, WAV tracks and preview cut or encoded from that very
// image, in one delivery folder with a unique name.

#include "delivery/BatchDelivery.h"

#include "ExportProjectFixture.h"
#include "delivery/AudioExporter.h"
#include "delivery/DDPExport.h"
#include "delivery/PQSheetBuilder.h"
#include "delivery/PreviewExporter.h"
#include "platform/AudioFileReader.h"

#include <gtest/gtest.h>

#include <set>

namespace orvane {
namespace {

using testing::fileBytes;
using testing::TempFolder;
namespace fs = std::filesystem;

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& e : fs::directory_iterator(folder))
        names.insert(e.path().filename().string());
    return names;
}

// The samples of an audio file as 16-bit little-endian bytes, as the image holds them.
std::string pcm16Of(const fs::path& file) {
    auto reader = AudioFileReader::open(file);
    EXPECT_TRUE(reader.has_value()) << file;
    if (!reader)
        return "";
    std::string out;
    AudioBuffer buffer = reader->makeBuffer(65536);
    while (true) {
        const auto got = reader->read(buffer);
        if (!got || *got == 0)
            break;
        for (std::size_t i = 0; i < *got; ++i)
            for (int ch = 0; ch < 2; ++ch) {
                const auto v = static_cast<std::int16_t>(std::lround(buffer.channel(ch)[i] * 32768.0f));
                out.push_back(static_cast<char>(v & 0xFF));
                out.push_back(static_cast<char>((v >> 8) & 0xFF));
            }
    }
    return out;
}

class Batch : public ::testing::Test {
  protected:
    TempFolder temp{"orvane-batch"};
    testing::PrivateTemporaryFolder tmp{temp.path / "tmp"};
    CDProject project = albumNamed(testing::exportProject(temp.path), "My Album");
    std::vector<TrackPosition> positions = testing::positionsOf(project);
    fs::path out = temp.path / "out";

    static CDProject albumNamed(CDProject p, std::string title) {
        p.albumTitle = std::move(title);
        return p;
    }

    std::vector<BatchDelivery::PQFile> pqFiles() {
        const auto sheet = PQSheetBuilder::exportFiles(project, positions, {}, std::nullopt);
        EXPECT_TRUE(sheet.has_value());
        return {{"PQSheet.pdf", sheet->pdf}, {"PQSheet.csv", sheet->csv}};
    }

    fs::path deliver(const BatchDelivery::Components& c, const BatchDelivery::Progress& progress = {}) {
        return BatchDelivery::exportDelivery(project, positions, out, c, PreviewFormat::quality,
                                             "a@b.example", pqFiles(), progress);
    }

    // Every track file of WAV/ is the image's slice from INDEX 01 to the track's end.
    void expectTracksCutFrom(const fs::path& wavFolder, const std::string& image) {
        ASSERT_EQ(namesIn(wavFolder).size(), positions.size());
        for (std::size_t i = 0; i < positions.size(); ++i) {
            const TrackPosition& p = positions[i];
            const std::string file =
                fileBytes(wavFolder / AudioExporter::fileName(p.trackIndex, project.tracks[i].title,
                                                              AudioExporter::Format::wav));
            const auto bytes = static_cast<std::size_t>((p.endLBA - p.index01LBA) * 2352);
            ASSERT_EQ(file.size(), 44 + bytes) << i;
            EXPECT_TRUE(file.compare(44, std::string::npos, image,
                                     static_cast<std::size_t>(p.index01LBA * 2352), bytes) == 0)
                << i;
        }
    }
};

TEST_F(Batch, allFourPartsComeFromTheFilesetsImageAndASecondRunGetsItsOwnFolder) {
    std::vector<std::pair<double, std::string>> reports;
    const fs::path delivery = deliver({}, [&](double f, const std::string& status) {
        reports.emplace_back(f, status);
        return true;
    });
    EXPECT_EQ(delivery, out / "My Album Delivery");
    EXPECT_EQ(namesIn(delivery), (std::set<std::string>{"DDP", "WAV", "My Album Preview (Quality)",
                                                        "PQSheet.pdf", "PQSheet.csv"}));
    const std::string image = fileBytes(delivery / "DDP" / "IMAGE.DAT");
    ASSERT_EQ(static_cast<std::int64_t>(image.size()), positions.back().endLBA * 2352);
    expectTracksCutFrom(delivery / "WAV", image);
    // The FLAC preview is lossless: its samples are the image's.
    EXPECT_TRUE(pcm16Of(delivery / "My Album Preview (Quality)" / "My Album.oprq") == image);
    EXPECT_TRUE(tmp.leftovers().empty());

    // The bar is shared 6 : 1 : 2, rises only, and ends on "Finalizing…".
    ASSERT_FALSE(reports.empty());
    for (std::size_t i = 1; i < reports.size(); ++i)
        EXPECT_GE(reports[i].first + 1e-12, reports[i - 1].first) << reports[i].second;
    EXPECT_EQ(reports.back(), (std::pair<double, std::string>{1.0, "Finalizing\u2026"}));
    const auto firstOf = [&](const std::string& status) {
        for (const auto& [f, s] : reports)
            if (s == status)
                return f;
        return -1.0;
    };
    EXPECT_NEAR(firstOf("Writing WAV tracks\u2026"), 6.0 / 9.0, 1e-9);
    EXPECT_NEAR(firstOf("Encoding preview (FLAC)\u2026"), 7.0 / 9.0, 1e-9);

    EXPECT_EQ(deliver({false, false, false, true}), out / "My Album Delivery 2");
    EXPECT_EQ(namesIn(out / "My Album Delivery 2"), (std::set<std::string>{"PQSheet.pdf", "PQSheet.csv"}));
}

TEST_F(Batch, withoutAFilesetTheTemporaryImageIsTheRenderAndGoesAfterwards) {
    std::vector<std::string> duringRender;
    const fs::path delivery = deliver({false, true, false, false}, [&](double f, const std::string& status) {
        if (status == "Rendering audio\u2026" && f > 0.2 && duringRender.empty())
            duringRender = tmp.leftovers();
        return true;
    });
    ASSERT_EQ(duringRender.size(), 1u);
    EXPECT_TRUE(duringRender[0].starts_with("OrvaneBatch-") && duringRender[0].ends_with(".dat"));
    EXPECT_TRUE(tmp.leftovers().empty());
    EXPECT_EQ(namesIn(delivery), std::set<std::string>{"WAV"});
    // The render is the same as the fileset's.
    Exporter::exportDDP(project, positions, temp.path / "ddp", {});
    expectTracksCutFrom(delivery / "WAV", fileBytes(temp.path / "ddp" / "IMAGE.DAT"));
}

TEST_F(Batch, aCancelInTheWAVPhaseKeepsTheWholeFilesetAndRefusalsMakeNoFolder) {
    bool cancelled = false;
    try {
        deliver({}, [](double, const std::string& status) { return status != "Writing WAV tracks\u2026"; });
    } catch (const UserCancelledError&) {
        cancelled = true;
    }
    EXPECT_TRUE(cancelled);
    const fs::path delivery = out / "My Album Delivery";
    EXPECT_EQ(namesIn(delivery / "DDP"), (std::set<std::string>{"DDPID", "DDPMS", "PQDESCR", "CDTEXT.BIN",
                                                                "IMAGE.DAT", "IMAGE.cue", "checksum.md5"}));
    EXPECT_FALSE(fs::exists(delivery / "PQSheet.pdf"));
    EXPECT_TRUE(tmp.leftovers().empty());

    const auto refusal = [&](const std::vector<TrackPosition>& at, const BatchDelivery::Components& c) {
        try {
            BatchDelivery::exportDelivery(project, at, temp.path / "refused", c, PreviewFormat::light, "",
                                          {});
        } catch (const ExportError& error) {
            return error.domain + " " + std::to_string(static_cast<int>(error.code)) + " " + error.message;
        }
        return std::string("delivered");
    };
    EXPECT_EQ(refusal({}, {}), "BatchDelivery 1 Project contains no tracks to export.");
    EXPECT_EQ(refusal(positions, {false, false, false, false}),
              "BatchDelivery 2 No delivery components selected.");
    EXPECT_FALSE(fs::exists(temp.path / "refused"));
}

} // namespace
} // namespace orvane
