// orvane-cli pq, driven as a user drives it: a hand-written document in, the two sheet files out.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

class PqCommand : public CliTest {
  protected:
    std::string writeDisc(const nlohmann::json& tracks) const {
        return writeDocument({{"mcn", ""}, {"albumTitle", "Night, Shift"}, {"tracks", tracks}});
    }

    static nlohmann::json track(const std::string& id, const std::string& title, std::int64_t preGapFrames,
                                std::int64_t samples) {
        return {{"id", id},
                {"title", title},
                {"isrc", "NL-A1E-26-00001"},
                {"preGap", {{"totalFrames", preGapFrames}}},
                {"sourceAudioSamples", samples}};
    }
};

TEST_F(PqCommand, writesBothFilesIntoANewFolder) {
    // The folder is made, the CSV holds the tracks' rows and the PDF is a PDF; the chosen extra
    // columns reach the CSV.
    const auto doc = writeDisc({track("00000000-0000-4000-8000-000000000001", "First", 150, 44100 * 30),
                                track("00000000-0000-4000-8000-000000000002", "Second", 75, 44100 * 20)});
    const auto out = dir_ / "sheet" / "deep";
    const auto r = runCli({"pq", doc, out.string(), "--columns", "flags,lufs", "--date", "today"}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(slurp(out / "PQSheet.csv"), "#,TITLE,ISRC,FLAGS,PREGAP,START,LENGTH,LUFS\n"
                                          "01,First,NLA1E2600001,,00:02:00,00:02:00,00:30:00,\u2014\n"
                                          "02,Second,NLA1E2600001,,00:01:00,00:33:00,00:20:00,\u2014\n"
                                          "\n"
                                          "LEAD-OUT,00:53:00\n");
    EXPECT_EQ(slurp(out / "PQSheet.pdf").substr(0, 5), "%PDF-");
}

TEST_F(PqCommand, refusesBadInputWithAReasonAndNoFiles) {
    // A missing document or a disc that cannot be laid out exits 1 with the reason on stderr and
    // writes nothing; a missing argument or unknown column is a usage error; --help exits 0.
    const auto out = dir_ / "out";
    auto r = runCli({"pq", (dir_ / "none.ovproj").string(), out.string()}, dir_);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("none.ovproj"), std::string::npos) << r.err;

    const auto doc =
        writeDisc(nlohmann::json::array({track("00000000-0000-4000-8000-000000000001", "Empty", 150, 0)}));
    r = runCli({"pq", doc, out.string()}, dir_);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("trackTooShort"), std::string::npos) << r.err;
    EXPECT_FALSE(std::filesystem::exists(out / "PQSheet.pdf"));
    EXPECT_FALSE(std::filesystem::exists(out / "PQSheet.csv"));

    EXPECT_EQ(runCli({"pq", doc}, dir_).status, 2);
    EXPECT_EQ(runCli({"pq", doc, out.string(), "--columns", "colour"}, dir_).status, 2);
    r = runCli({"pq", "--help"}, dir_);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("usage: orvane-cli pq"), std::string::npos);
}

} // namespace
} // namespace orvane::testing
