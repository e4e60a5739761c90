// orvane-cli report and imprint, driven as a user drives them.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

class ReportAndImprint : public CliTest {
  protected:
    std::string tone(const std::string& name, double hz, double seconds) const {
        const auto path = dir_ / name;
        writeWav16(path, static_cast<std::int64_t>(seconds * 44100.0), [&](int, std::int64_t n) {
            return static_cast<std::int16_t>(std::lround(8000.0 * std::sin(2.0 * M_PI * hz * n / 44100.0)));
        });
        return path.string();
    }
};

TEST_F(ReportAndImprint, reportWritesAPdfWithTheMeasuredFiguresAndRefusesWhatItCannotRead) {
    const auto doc = (dir_ / "a.ovproj").string();
    ASSERT_EQ(runCli({"new", "-o", doc, "--title", "Night Shift", tone("one.wav", 1000.0, 4.0)}, dir_).status,
              0);
    ASSERT_EQ(runCli({"loudness", doc}, dir_).status, 0);
    const auto out = dir_ / "report.pdf";
    auto r = runCli(
        {"report", doc, out.string(), "--studio", "Harbour", "--client", "Lantern", "--date", "today"}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string pdf = slurp(out);
    EXPECT_EQ(pdf.rfind("%PDF-", 0), 0u);

    r = runCli({"report", doc, (dir_ / "b.pdf").string(), "--logo", (dir_ / "no-logo.png").string()}, dir_);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("no-logo.png"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(dir_ / "b.pdf"));
    EXPECT_EQ(runCli({"report", (dir_ / "missing.ovproj").string(), (dir_ / "c.pdf").string()}, dir_).status,
              1);
    EXPECT_EQ(runCli({"report", doc}, dir_).status, 2);
    r = runCli({"report", "--help"}, dir_);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("usage: orvane-cli report"), std::string::npos);
}

TEST_F(ReportAndImprint, imprintOfAFileAgainstItselfIsFlatAndAShortFileIsRefused) {
    const auto a = tone("a.wav", 440.0, 2.0);
    auto r = runCli({"imprint", a, a, "--json"}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    const auto out = nlohmann::json::parse(r.out);
    ASSERT_EQ(out["panels"].size(), 2u);
    for (const auto& panel : out["panels"])
        for (const auto& band : panel["bands"])
            EXPECT_NEAR(band["db"].get<double>(), 0.0, 1e-9);
    EXPECT_DOUBLE_EQ(out["panels"][1]["scale"].get<double>(), 0.2);

    r = runCli({"imprint", a, tone("short.wav", 440.0, 0.1)}, dir_);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("short.wav"), std::string::npos);
    EXPECT_EQ(runCli({"imprint", a}, dir_).status, 2);
}

} // namespace
} // namespace orvane::testing
