// orvane-cli validate, driven as a user drives it: documents written by hand, the pre-flight read
// back as text and as JSON, and the exit status that scripts rely on.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

class ValidateCommand : public CliTest {
  protected:
    void SetUp() override {
        CliTest::SetUp();
        std::ofstream(dir_ / "a.wav") << "RIFF";
    }

    nlohmann::json track(const std::string& file, const std::string& id) const {
        return {{"id", id},
                {"title", "T"},
                {"isrc", "USABC1234567"},
                {"audioFileURL", "file://" + (dir_ / file).string()},
                {"preGap", {{"totalFrames", 150}}},
                {"sourceAudioSamples", 750 * 588}};
    }
};

TEST_F(ValidateCommand, errorsSetTheExitStatusAndJSONListsIssuesInOrder) {
    // A vanished file and a repeated ISRC are errors (exit 1); the JSON keeps the check order.
    const auto doc = writeDocument({{"mcn", ""},
                                    {"albumTitle", "A"},
                                    {"tracks",
                                     {track("a.wav", "00000000-0000-4000-8000-000000000001"),
                                      track("gone.wav", "00000000-0000-4000-8000-000000000002")}}});
    const auto r = runCli({"validate", doc, "--json"}, dir_);
    EXPECT_EQ(r.status, 1) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    ASSERT_EQ(j["issues"].size(), 3u);
    EXPECT_EQ(j["issues"][0], (nlohmann::json{{"severity", "error"},
                                              {"message", "Track 02: audio file is missing (gone.wav)."}}));
    EXPECT_EQ(j["issues"][1]["message"], "Track 02: duplicate ISRC USABC1234567 (same as track 01).");
    EXPECT_EQ(j["issues"][2], (nlohmann::json{{"severity", "info"}, {"message", "No MCN/UPC code."}}));

    const auto text = runCli({"validate", doc}, dir_);
    EXPECT_EQ(text.status, 1);
    EXPECT_NE(text.out.find("Validation Found 2 Errors\n"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("info: No MCN/UPC code."), std::string::npos) << text.out;
}

TEST_F(ValidateCommand, aTrackTrimmedToNothingIsAnErrorNamingIt) {
    // The export refuses a disc that cannot be laid out, so the pre-flight must not pass it.
    auto second = track("a.wav", "00000000-0000-4000-8000-000000000002");
    second["isrc"] = "USABC1234568";
    second["trimEndSamples"] = 750 * 588;
    const auto doc =
        writeDocument({{"mcn", "4006381333931"},
                       {"albumTitle", "A"},
                       {"tracks", {track("a.wav", "00000000-0000-4000-8000-000000000001"), second}}});
    const auto r = runCli({"validate", doc, "--json"}, dir_);
    EXPECT_EQ(r.status, 1) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["issues"][0],
              (nlohmann::json{{"severity", "error"},
                              {"message", "Track 02: cannot be laid out on the disc — its trims or the "
                                          "crossfade into it leave no audio after INDEX 01."}}))
        << r.out;
}

TEST_F(ValidateCommand, cleanDiscPassesAndUnreadableDocumentFails) {
    // No errors exits 0 with the valid report; a broken document is the store's text on stderr.
    const auto doc = writeDocument({{"mcn", "4006381333931"},
                                    {"albumTitle", "A"},
                                    {"tracks", {track("a.wav", "00000000-0000-4000-8000-000000000001")}}});
    const auto r = runCli({"validate", doc}, dir_);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Project Is Valid\nNo issues found. Project is Red Book compliant.\n");

    std::ofstream(dir_ / "bad.ovproj") << "{ not json";
    const auto bad = runCli({"validate", (dir_ / "bad.ovproj").string()}, dir_);
    EXPECT_EQ(bad.status, 1);
    EXPECT_FALSE(bad.err.empty());
    EXPECT_TRUE(bad.out.empty());
}

} // namespace
} // namespace orvane::testing
