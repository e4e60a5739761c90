// orvane-cli batch, driven as a user drives it: one delivery folder holding the fileset, the track
// files cut from its image, the preview and the PQ sheet; a second run beside the first.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace orvane::testing {
namespace {

namespace fs = std::filesystem;

class BatchCommand : public CliTest {
  protected:
    // Two tracks of tones, album "Night / Day".
    std::string writeAudioDocument() {
        nlohmann::json tracks = nlohmann::json::array();
        for (int k = 0; k < 2; ++k) {
            const auto wav = dir_ / ("t" + std::to_string(k) + ".wav");
            writeWav16(wav, 320 * 588, [k](int ch, std::int64_t i) {
                return static_cast<std::int16_t>(
                    std::lround(9000.0 * std::sin(2 * M_PI * (220.0 * (k + 1) + 55.0 * ch) * i / 44100.0)));
            });
            tracks.push_back({{"id", "6F9619FF-8B86-D011-B42D-00C04FC964E" + std::to_string(k)},
                              {"title", k == 0 ? "Dusk" : "Dawn"},
                              {"audioFileURL", "file://" + wav.string()},
                              {"preGap", {{"totalFrames", k == 0 ? 150 : 75}}},
                              {"sourceAudioSamples", 320 * 588}});
        }
        return writeDocument(
            {{"mcn", ""}, {"albumTitle", "Night / Day"}, {"masterDither", "None"}, {"tracks", tracks}});
    }

    static std::set<std::string> namesIn(const fs::path& folder) {
        std::set<std::string> names;
        for (const auto& e : fs::directory_iterator(folder))
            names.insert(e.path().filename().string());
        return names;
    }
};

TEST_F(BatchCommand, deliversEveryPartIntoOneFolderAndTheNextRunBesideIt) {
    const std::string document = writeAudioDocument();
    const fs::path out = dir_ / "out";
    const auto r = runCli({"batch", document, out.string(), "--email", "client@example.com"}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("DDP fileset, WAV tracks, client preview (Quality (FLAC)), PQ sheet written to:\n"),
              std::string::npos)
        << r.out;
    const fs::path delivery = out / "Night - Day Delivery";
    EXPECT_EQ(namesIn(delivery), (std::set<std::string>{"DDP", "WAV", "Night - Day Preview (Quality)",
                                                        "PQSheet.pdf", "PQSheet.csv"}));
    EXPECT_EQ(namesIn(delivery / "WAV"), (std::set<std::string>{"01 Dusk.wav", "02 Dawn.wav"}));
    // Track 2 is the fileset image's tail from its INDEX 01 (470 + 75) on, bit for bit.
    const std::string image = slurp(delivery / "DDP" / "IMAGE.DAT");
    const std::string dawn = slurp(delivery / "WAV" / "02 Dawn.wav");
    ASSERT_EQ(dawn.size(), 44 + image.size() - 545 * 2352);
    EXPECT_TRUE(dawn.compare(44, std::string::npos, image, 545 * 2352) == 0);
    EXPECT_NE(slurp(delivery / "Night - Day Preview (Quality)" / "manifest.json").find("client@example.com"),
              std::string::npos);

    const auto second =
        runCli({"batch", document, out.string(), "--no-ddp", "--no-preview", "--no-pq"}, dir_);
    ASSERT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(namesIn(out / "Night - Day Delivery 2"), std::set<std::string>{"WAV"});
    EXPECT_TRUE(slurp(out / "Night - Day Delivery 2" / "WAV" / "02 Dawn.wav") == dawn);
}

TEST_F(BatchCommand, refusesNothingSelectedAndBadOptions) {
    const std::string document = writeAudioDocument();
    const auto none = runCli(
        {"batch", document, (dir_ / "out").string(), "--no-ddp", "--no-wav", "--no-preview", "--no-pq"},
        dir_);
    EXPECT_EQ(none.status, 1);
    EXPECT_NE(none.err.find("Select at least one delivery component (DDP, WAV, preview or PQ sheet)."),
              std::string::npos);
    EXPECT_FALSE(fs::exists(dir_ / "out"));
    EXPECT_EQ(runCli({"batch", document, "out", "--preview-format", "mp3"}, dir_).status, 2);
    EXPECT_EQ(runCli({"batch", document}, dir_).status, 2);
    const auto help = runCli({"batch", "--help"}, dir_);
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("usage: orvane-cli batch"), std::string::npos);
}

} // namespace
} // namespace orvane::testing
