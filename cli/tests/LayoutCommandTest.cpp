// orvane-cli layout and demo, driven as a user drives them: documents written by hand, the
// command's output read back as JSON.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

class LayoutCommand : public CliTest {
  protected:
    static nlohmann::json track(std::int64_t preGapFrames, std::int64_t samples, const std::string& id) {
        return {{"id", id},
                {"title", "T"},
                {"preGap", {{"totalFrames", preGapFrames}}},
                {"sourceAudioSamples", samples}};
    }

    static std::string uuid(int n) {
        char buffer[40];
        std::snprintf(buffer, sizeof buffer, "00000000-0000-4000-8000-%012d", n);
        return buffer;
    }
};

TEST_F(LayoutCommand, printsPositionsAndBlocksOfACrossfadedPair) {
    // Two 750-frame tracks overlapping by 150 frames meet at 825, and the crossfade spans the overlap.
    auto second = track(-150, 750 * 588, uuid(2));
    const auto doc = writeDocument(
        {{"mcn", ""}, {"albumTitle", "A"}, {"tracks", {track(150, 750 * 588, uuid(1)), second}}});
    const auto r = runCli({"layout", doc, "--json"}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    ASSERT_EQ(j["positions"].size(), 2u);
    EXPECT_EQ(j["positions"][0]["endLBA"], 825);
    EXPECT_EQ(j["positions"][0]["endMSF"], "00:11:00");
    EXPECT_EQ(j["positions"][1]["startLBA"], 825);
    EXPECT_EQ(j["positions"][1]["index01LBA"], 825);
    EXPECT_EQ(j["positions"][1]["audioStartLBA"], 750);
    const nlohmann::json expectedBlocks = nlohmann::json::parse(R"([
        {"kind": "silence", "startFrame": 0, "durationFrames": 150},
        {"kind": "track", "trackIndex": 0, "startFrame": 150, "durationFrames": 600, "fileStartFrame": 0},
        {"kind": "crossfade", "trackIndex1": 0, "trackIndex2": 1, "startFrame": 750, "durationFrames": 150,
         "fileStartFrame1": 600, "fileStartFrame2": 0},
        {"kind": "track", "trackIndex": 1, "startFrame": 900, "durationFrames": 600, "fileStartFrame": 150}])");
    EXPECT_EQ(j["blocks"], expectedBlocks);

    // The text form names the same fields.
    const auto text = runCli({"layout", doc}, dir_);
    ASSERT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("crossfade"), std::string::npos);
    EXPECT_NE(text.out.find("825 00:11:00"), std::string::npos);
}

TEST_F(LayoutCommand, reportsLayoutFailuresWithStatusTwo) {
    // A zero-length track that is not crossfaded cannot be laid out; 100 good tracks are too many.
    const auto tooShort = writeDocument({{"mcn", ""},
                                         {"albumTitle", "A"},
                                         {"tracks", {track(150, 44100 * 5, uuid(1)), track(0, 0, uuid(2))}}});
    auto r = runCli({"layout", tooShort, "--json"}, dir_);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(nlohmann::json::parse(r.out), (nlohmann::json{{"error", "trackTooShort"}, {"track", 2}}));

    nlohmann::json many = nlohmann::json::array();
    for (int i = 0; i < 100; ++i)
        many.push_back(track(150, 44100 * 5, uuid(i + 1)));
    const auto hundred = writeDocument({{"mcn", ""}, {"albumTitle", "A"}, {"tracks", many}}, "100.ovproj");
    r = runCli({"layout", hundred, "--json"}, dir_);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(nlohmann::json::parse(r.out), (nlohmann::json{{"error", "tooManyTracks"}}));
}

TEST_F(LayoutCommand, refusesBrokenDocumentsWithStatusOneAndAMessage) {
    // A document the decoder refuses, garbage and a missing file are refused without a crash.
    auto noGap = track(150, 44100 * 5, uuid(1));
    noGap.erase("preGap");
    const auto r = runCli(
        {"layout", writeDocument({{"mcn", ""}, {"albumTitle", "A"}, {"tracks", {noGap}}}), "--json"}, dir_);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("missing required key \"preGap\""), std::string::npos) << r.err;
    EXPECT_TRUE(r.out.empty());
    std::ofstream(dir_ / "garbage.ovproj") << "{\"version\": 1, \"project\": {";
    EXPECT_EQ(runCli({"layout", (dir_ / "garbage.ovproj").string()}, dir_).status, 1);
    EXPECT_EQ(runCli({"layout", (dir_ / "absent.ovproj").string()}, dir_).status, 1);
    EXPECT_EQ(runCli({"layout"}, dir_).status, 2);
    EXPECT_EQ(runCli({"layout", "--help"}, dir_).status, 0);
}

TEST_F(LayoutCommand, demoWritesAProjectThatLaysOut) {
    // The demo's document opens, lays out five tracks with one crossfade, and its audio files exist.
    const auto r = runCli({"demo", (dir_ / "demo").string()}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    const auto layout = runCli({"layout", (dir_ / "demo" / "Demo.ovproj").string(), "--json"}, dir_);
    ASSERT_EQ(layout.status, 0) << layout.err;
    const auto j = nlohmann::json::parse(layout.out);
    ASSERT_EQ(j["positions"].size(), 5u);
    int crossfades = 0;
    for (const auto& b : j["blocks"])
        crossfades += b["kind"] == "crossfade" ? 1 : 0;
    EXPECT_EQ(crossfades, 1);
    // Track 3 is unlocked with an offset: its INDEX 01 lies after its audio start.
    EXPECT_EQ(j["positions"][2]["index01LBA"].get<int>() - j["positions"][2]["audioStartLBA"].get<int>(), 37);
    for (const auto& entry : std::filesystem::directory_iterator(dir_ / "demo"))
        EXPECT_GT(std::filesystem::file_size(entry.path()), 0u) << entry.path();
}

} // namespace
} // namespace orvane::testing
