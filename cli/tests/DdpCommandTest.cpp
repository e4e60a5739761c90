// orvane-cli ddp export, driven as a user drives it: a hand-written document in, a fileset out.

#include "CliRunner.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

namespace fs = std::filesystem;

class DdpCommand : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("orvane-cli-ddp-" + std::to_string(::getpid()) + "-" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Two tracks whose files are missing: they render as silence.
    std::string writeDocument() {
        const auto path = dir_ / "p.ovproj";
        const nlohmann::json tracks = nlohmann::json::array({{{"id", "6F9619FF-8B86-D011-B42D-00C04FC964FF"},
                                                              {"title", "One"},
                                                              {"audioFileURL", "file:///nonexistent/one.wav"},
                                                              {"preGap", {{"totalFrames", 150}}},
                                                              {"sourceAudioSamples", 300 * 588}},
                                                             {{"id", "7F9619FF-8B86-D011-B42D-00C04FC964FF"},
                                                              {"title", "Two"},
                                                              {"preGap", {{"totalFrames", 75}}},
                                                              {"sourceAudioSamples", 320 * 588}}});
        const nlohmann::json project{{"mcn", ""}, {"albumTitle", "Album"}, {"tracks", tracks}};
        std::ofstream(path) << nlohmann::json{{"version", 1}, {"project", project}}.dump(2);
        return path.string();
    }

    fs::path dir_;
};

TEST_F(DdpCommand, exportWritesTheFilesetAndPQSheetWithPlainProgressLines) {
    // Exit 0, every file of the set plus the sheet, an image of the whole disc in sectors, no
    // hidden folder left, and progress as lines when stdout is no terminal.
    const auto out = dir_ / "out";
    const auto r = runCli({"ddp", "export", writeDocument(), out.string(), "--pq-sheet"}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* name : {"DDPID", "DDPMS", "PQDESCR", "CDTEXT.BIN", "IMAGE.DAT", "IMAGE.cue",
                             "checksum.md5", "PQSheet.pdf", "PQSheet.csv"})
        EXPECT_TRUE(fs::exists(out / name)) << name;
    EXPECT_EQ(fs::file_size(out / "IMAGE.DAT"), static_cast<std::uintmax_t>((150 + 300 + 75 + 320) * 2352));
    for (const auto& e : fs::directory_iterator(out))
        EXPECT_NE(e.path().filename().string()[0], '.');
    EXPECT_NE(r.out.find("100% Finalizing\u2026\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("DDP 2.00 fileset exported to:\n"), std::string::npos);
    EXPECT_NE(slurp(out / "checksum.md5").find("  PQSheet.pdf\n"), std::string::npos);
}

TEST_F(DdpCommand, badDocumentAndUsageFailWithoutTouchingTheFolder) {
    // An unreadable document is exit 1 with its text on stderr and no folder; missing arguments
    // and unknown subcommands are usage errors.
    const auto out = dir_ / "out";
    const auto bad = runCli({"ddp", "export", (dir_ / "none.ovproj").string(), out.string()}, dir_);
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.err.find("none.ovproj"), std::string::npos) << bad.err;
    EXPECT_FALSE(fs::exists(out));
    EXPECT_EQ(runCli({"ddp", "export", writeDocument()}, dir_).status, 2);
    EXPECT_EQ(runCli({"ddp", "frob"}, dir_).status, 2);
    const auto help = runCli({"ddp", "--help"}, dir_);
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("export PROJECT OUTDIR [--pq-sheet]"), std::string::npos);
}

} // namespace
} // namespace orvane::testing
