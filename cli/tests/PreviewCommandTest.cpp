// orvane-cli preview, driven as a user drives it: a hand-written document (whose sources are absent,
// so the disc renders as silence) in, a preview, a zip or an error out.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

class PreviewCommand : public CliTest {
  protected:
    std::string writeDisc(const std::string& title) const {
        const nlohmann::json tracks = {{{"id", "00000000-0000-4000-8000-000000000001"},
                                        {"title", "Only"},
                                        {"preGap", {{"totalFrames", 150}}},
                                        {"sourceAudioSamples", 44100 * 5}}};
        return writeDocument({{"mcn", ""}, {"albumTitle", title}, {"tracks", tracks}});
    }
};

TEST_F(PreviewCommand, writesTheFolderAndPrintsWhereItWent) {
    const auto doc = writeDisc("Tape: One");
    const auto r =
        runCli({"preview", doc, dir_.string(), "--format", "light", "--email", "  me@example.com "}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    const auto folder = dir_ / "Tape- One Preview (Light)";
    EXPECT_EQ(r.out, folder.string() + "\n");
    EXPECT_TRUE(std::filesystem::is_regular_file(folder / "Tape- One.oprl"));
    const auto manifest = nlohmann::json::parse(slurp(folder / "manifest.json"));
    EXPECT_EQ(manifest["approvalEmail"], "me@example.com"); // trimmed, as the desktop stores it
    EXPECT_EQ(manifest["album"]["totalSeconds"], 7.0);
}

TEST_F(PreviewCommand, zipsWithAPasswordAndRemovesTheUnpackedResult) {
    const auto doc = writeDisc("Z");
    const auto r =
        runCli({"preview", doc, dir_.string(), "--format", "smartphone", "--zip", "--password", "a b"}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    const auto zip = dir_ / "Z Preview (Smartphone).html.zip";
    EXPECT_EQ(r.out, zip.string() + "\n");
    EXPECT_TRUE(std::filesystem::is_regular_file(zip));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "Z Preview (Smartphone).html"));
    // The password, blank and all, opens it.
    const int raw =
        std::system(("/usr/bin/unzip -tq -P 'a b' " + shellQuote(zip.string()) + " >/dev/null 2>&1").c_str());
    EXPECT_TRUE(WIFEXITED(raw) && WEXITSTATUS(raw) == 0);
}

TEST_F(PreviewCommand, refusesBadUsageAndReportsFailuresInTheirOwnWords) {
    const auto doc = writeDisc("X");
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"preview", doc, dir_.string()},
             {"preview", doc, dir_.string(), "--format", "mp3"},
             {"preview", doc, dir_.string(), "--format", "light", "--password", "p"},
             {"preview", doc, "--format", "light"},
             {"preview", doc, dir_.string(), "--format"}}) {
        const auto r = runCli(args, dir_);
        EXPECT_EQ(r.status, 2) << args.size();
        EXPECT_NE(r.err.find("usage: orvane-cli preview"), std::string::npos);
    }
    const auto missing =
        runCli({"preview", (dir_ / "none.ovproj").string(), dir_.string(), "--format", "light"}, dir_);
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err.rfind("orvane-cli preview: ", 0), 0u) << missing.err;

    const auto noFolder = runCli({"preview", doc, (dir_ / "absent").string(), "--format", "quality"}, dir_);
    EXPECT_EQ(noFolder.status, 1);
    EXPECT_NE(noFolder.err.find("does not exist"), std::string::npos) << noFolder.err;

    const auto empty =
        writeDocument({{"mcn", ""}, {"albumTitle", "E"}, {"tracks", nlohmann::json::array()}}, "e.ovproj");
    const auto none = runCli({"preview", empty, dir_.string(), "--format", "quality"}, dir_);
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "orvane-cli preview: Project contains no tracks to export.\n");

    const auto help = runCli({"preview", "--help"}, dir_);
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--password P"), std::string::npos);
}

} // namespace
} // namespace orvane::testing
