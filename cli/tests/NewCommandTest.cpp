// orvane-cli new, driven as a user drives it: audio files from the demo command in, a document out,
// read back as JSON.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

class NewCommand : public CliTest {
  protected:
    void SetUp() override {
        CliTest::SetUp();
        ASSERT_EQ(runCli({"demo", (dir_ / "audio").string()}, dir_).status, 0);
    }
    std::string audio(const std::string& name) const { return (dir_ / "audio" / name).string(); }
};

TEST_F(NewCommand, buildsTracksInTheGivenOrderWithLengthsInDiscSamples) {
    // One track per file in argument order, titles from the file names, 150-frame pre-gaps, the
    // 96 kHz FLAC's length converted to disc samples, and the album title.
    const auto out = dir_ / "new.ovproj";
    const auto r = runCli(
        {"new", "-o", out.string(), "--title", "Tide", audio("03 Interlude.flac"), audio("01 Opening.wav")},
        dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    const auto doc = nlohmann::json::parse(slurp(out));
    const auto& project = doc.at("project");
    EXPECT_EQ(project.at("albumTitle"), "Tide");
    const auto& tracks = project.at("tracks");
    ASSERT_EQ(tracks.size(), 2u);
    EXPECT_EQ(tracks[0].at("title"), "03 Interlude");
    EXPECT_EQ(tracks[1].at("title"), "01 Opening");
    EXPECT_EQ(tracks[1].at("preGap").at("totalFrames"), 150);
    // The demo document knows what each file holds; the new one must agree to the sample.
    const auto demo = nlohmann::json::parse(slurp(dir_ / "audio" / "Demo.ovproj")).at("project").at("tracks");
    for (const auto& t : tracks) {
        bool found = false;
        for (const auto& d : demo) {
            if (d.at("audioFileURL") == t.at("audioFileURL")) {
                EXPECT_EQ(d.at("sourceAudioSamples"), t.at("sourceAudioSamples")) << t.at("title");
                found = true;
            }
        }
        EXPECT_TRUE(found) << t.at("title");
    }
}

TEST_F(NewCommand, anUnreadableFileOrBadUsageWritesNothing) {
    // A file that isn't audio is named on stderr, exit 1, no document; usage errors exit 2.
    const auto out = dir_ / "bad.ovproj";
    std::ofstream(dir_ / "notes.wav") << "not audio";
    auto r =
        runCli({"new", "-o", out.string(), audio("01 Opening.wav"), (dir_ / "notes.wav").string()}, dir_);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("notes.wav"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(out));

    EXPECT_EQ(runCli({"new", audio("01 Opening.wav")}, dir_).status, 2);
    EXPECT_EQ(runCli({"new", "-o", out.string()}, dir_).status, 2);
    EXPECT_EQ(runCli({"new", "-o", out.string(), "--bogus", audio("01 Opening.wav")}, dir_).status, 2);
    EXPECT_FALSE(std::filesystem::exists(out));
    EXPECT_EQ(runCli({"new", "--help"}, dir_).status, 0);
}

} // namespace
} // namespace orvane::testing
