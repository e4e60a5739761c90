// orvane-cli loudness, driven as a user drives it: WAV files and a document built by `new`, measured,
// saved, reopened and measured again.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

class LoudnessCommand : public CliTest {
  protected:
    // A 1 kHz sine on both channels whose loudness is close to `dBFS` LUFS.
    std::string tone(const std::string& name, double dBFS, double seconds) const {
        const auto path = dir_ / name;
        const double amplitude = 32767.0 * std::pow(10.0, dBFS / 20.0);
        writeWav16(path, static_cast<std::int64_t>(seconds * 44100.0), [&](int, std::int64_t n) {
            return static_cast<std::int16_t>(
                std::lround(amplitude * std::sin(2.0 * M_PI * 1000.0 * n / 44100.0)));
        });
        return path.string();
    }
    std::string project(const std::vector<std::string>& files) const {
        const auto doc = (dir_ / "album.ovproj").string();
        std::vector<std::string> args{"new", "-o", doc};
        args.insert(args.end(), files.begin(), files.end());
        const auto r = runCli(args, dir_);
        EXPECT_EQ(r.status, 0) << r.err;
        return doc;
    }
    nlohmann::json measure(const std::vector<std::string>& args, int expectedStatus = 0) const {
        std::vector<std::string> all{"loudness", "--json"};
        all.insert(all.end(), args.begin(), args.end());
        const auto r = runCli(all, dir_);
        EXPECT_EQ(r.status, expectedStatus) << r.err;
        lastErr = r.err;
        return nlohmann::json::parse(r.out, nullptr, false);
    }
    static std::vector<bool> measuredFlags(const nlohmann::json& out) {
        std::vector<bool> flags;
        for (const auto& t : out["tracks"])
            flags.push_back(t["measured"].get<bool>());
        return flags;
    }
    mutable std::string lastErr;
};

TEST_F(LoudnessCommand, measuresOnceKeepsTheFiguresInTheDocumentAndMeasuresAChangedFileAgain) {
    const auto doc =
        project({tone("a.wav", -20.0, 4.0), tone("b.wav", -26.0, 4.0), tone("c.wav", -14.0, 4.0)});
    auto out = measure({doc});
    ASSERT_TRUE(out.is_object());
    ASSERT_EQ(out["tracks"].size(), 3u);
    EXPECT_EQ(measuredFlags(out), (std::vector<bool>{true, true, true}));
    EXPECT_NEAR(out["tracks"][0]["lufs"].get<double>(), -20.0, 0.1);
    EXPECT_NEAR(out["tracks"][1]["lufs"].get<double>(), -26.0, 0.1);
    EXPECT_NEAR(out["tracks"][2]["truePeak"].get<double>(), -14.0, 0.1);
    ASSERT_TRUE(out["album"].is_object());
    const double album = out["album"]["lufs"].get<double>();

    // The document now carries the measurements; a second run reads them and measures nothing.
    const auto saved = nlohmann::json::parse(slurp(doc));
    EXPECT_TRUE(saved["project"]["tracks"][0].contains("loudness"));
    out = measure({doc});
    EXPECT_EQ(measuredFlags(out), (std::vector<bool>{false, false, false}));
    EXPECT_NEAR(out["album"]["lufs"].get<double>(), album, 1e-3);

    // Rewriting one file makes exactly that track measure again.
    tone("b.wav", -16.0, 5.0);
    out = measure({doc});
    EXPECT_EQ(measuredFlags(out), (std::vector<bool>{false, true, false}));
    EXPECT_NEAR(out["tracks"][1]["lufs"].get<double>(), -16.0, 0.1);

    out = measure({doc, "--force", "--tracks", "3"});
    ASSERT_EQ(out["tracks"].size(), 1u);
    EXPECT_EQ(out["tracks"][0]["number"], 3);
    EXPECT_EQ(measuredFlags(out), (std::vector<bool>{true}));

    // The PQ sheet reads the stored figures.
    const auto r = runCli({"pq", doc, (dir_ / "pq").string(), "--columns", "lufs"}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(slurp(dir_ / "pq" / "PQSheet.csv").find(",-20.0\n"), std::string::npos);
}

TEST_F(LoudnessCommand, anUnreadableFileIsNamedAndTheOthersStillMeasure) {
    const auto doc = project({tone("a.wav", -20.0, 4.0), tone("b.wav", -23.0, 4.0)});
    std::filesystem::resize_file(dir_ / "b.wav", 30); // its header is gone
    auto out = measure({doc}, 1);
    ASSERT_TRUE(out.is_object());
    EXPECT_NEAR(out["tracks"][0]["lufs"].get<double>(), -20.0, 0.1);
    EXPECT_TRUE(out["tracks"][1]["lufs"].is_null());
    EXPECT_NE(out["tracks"][1]["error"].get<std::string>().find("couldn\u2019t be read"), std::string::npos);
    EXPECT_TRUE(out["album"].is_null());
    EXPECT_NE(lastErr.find("One item could not be measured"), std::string::npos);
    EXPECT_NE(lastErr.find("\nb\n"), std::string::npos);

    // Bare files: the album figure needs them all.
    out = measure({tone("x.wav", -18.0, 3.5), tone("y.wav", -18.0, 3.5)});
    ASSERT_TRUE(out["album"].is_object());
    EXPECT_NEAR(out["album"]["lufs"].get<double>(), -18.0, 0.1);
    EXPECT_FALSE(out["tracks"][0].contains("measured"));
    out = measure({(dir_ / "x.wav").string(), (dir_ / "nothing.wav").string()}, 1);
    EXPECT_TRUE(out["album"].is_null());
    EXPECT_NEAR(out["tracks"][0]["lufs"].get<double>(), -18.0, 0.1);
}

TEST_F(LoudnessCommand, helpAndUsageMistakes) {
    auto r = runCli({"loudness", "--help"}, dir_);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("usage: orvane-cli loudness PROJECT"), std::string::npos);
    const auto doc = project({tone("a.wav", -20.0, 1.0)});
    r = runCli({"loudness", doc, "--tracks", "2"}, dir_);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("there is no track 2"), std::string::npos);
    EXPECT_EQ(runCli({"loudness", doc, "--tracks", "x"}, dir_).status, 2);
    EXPECT_EQ(runCli({"loudness", (dir_ / "a.wav").string(), "--force"}, dir_).status, 2);
    EXPECT_EQ(runCli({"loudness"}, dir_).status, 2);
    std::ofstream(dir_ / "broken.ovproj") << "{ not json";
    r = runCli({"loudness", (dir_ / "broken.ovproj").string()}, dir_);
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(r.err.empty());
}

} // namespace
} // namespace orvane::testing
