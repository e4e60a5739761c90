#include "engines/SsrcSRC.h"

#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

namespace orvane {
namespace {

namespace fs = std::filesystem;

std::vector<double> tones(std::size_t n, double rate,
                          std::initializer_list<std::pair<double, double>> hzAndLevel) {
    std::vector<double> s(n, 0.0);
    for (std::size_t i = 0; i < n; ++i)
        for (const auto& [hz, level] : hzAndLevel)
            s[i] += level * std::sin(2.0 * std::numbers::pi * hz * static_cast<double>(i) / rate);
    return s;
}

// An executable shell script with this body in the folder.
fs::path script(const testing::TempFolder& folder, const std::string& name, const std::string& body) {
    const fs::path p = folder.path / name;
    std::ofstream(p) << "#!/bin/sh\n" << body << "\n";
    fs::permissions(p, fs::perms(0755));
    return p;
}

std::vector<double> runStream(SsrcSRC& src, const std::vector<double>& input, std::size_t blockSamples) {
    for (std::size_t at = 0; at < input.size(); at += blockSamples) {
        const auto end = std::min(at + blockSamples, input.size());
        const std::vector<double> block(input.begin() + static_cast<std::ptrdiff_t>(at),
                                        input.begin() + static_cast<std::ptrdiff_t>(end));
        EXPECT_TRUE(src.processBlock(block).empty());
    }
    return src.flush();
}

std::vector<std::uint8_t> wav24(int channels, int bits, const std::vector<std::uint8_t>& extraChunk,
                                const std::vector<std::uint8_t>& data) {
    std::vector<std::uint8_t> bytes = SsrcSRC::wavHeader(44100, static_cast<std::uint32_t>(data.size()));
    bytes[22] = static_cast<std::uint8_t>(channels);
    bytes[34] = static_cast<std::uint8_t>(bits);
    bytes.insert(bytes.begin() + 36, extraChunk.begin(), extraChunk.end());
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

TEST(SsrcSRC, convertsThroughTheBuiltToolToTheExactLengthKeepingTheToneAndRejectingAliases) {
    // 96 kHz to 44.1 kHz: a 1 kHz tone keeps its level and timing to 24-bit precision, and a 30 kHz tone,
    // which would fold to 14.1 kHz, is gone; the length is trunc(n * 44100 / 96000).
    SsrcSRC src(96000, 44100, 14, 145.0, 2.0, false, fs::path(ORVANE_SSRC_HP_PATH));
    const std::size_t n = 96000 + 331;
    const auto out = runStream(src, tones(n, 96000, {{1000.0, 0.5}, {30000.0, 0.25}}), 7000);
    ASSERT_FALSE(src.renderError()) << src.renderError()->message;
    ASSERT_EQ(out.size(), static_cast<std::size_t>(44100.0 * n / 96000.0));
    const auto ideal = tones(out.size(), 44100, {{1000.0, 0.5}});
    double worst = 0.0;
    for (std::size_t i = out.size() / 8; i < out.size() * 7 / 8; ++i)
        worst = std::max(worst, std::fabs(out[i] - ideal[i]));
    EXPECT_LT(worst, 2e-6); // about -114 dB of full scale: 24-bit steps and no alias
}

TEST(SsrcSRC, runsTheToolOnAnEmptyStreamWhoseHeaderOnlyOutputIsUnreadable) {
    // No samples in still runs the tool; its 44-byte answer is below the 45 bytes a readable output needs.
    SsrcSRC src(48000, 44100, 14, 145.0, 2.0, false, fs::path(ORVANE_SSRC_HP_PATH));
    EXPECT_TRUE(src.flush().empty());
    ASSERT_TRUE(src.ssrcError());
    EXPECT_EQ(src.ssrcError()->kind, SsrcSRC::SsrcError::Kind::badOutput);
}

TEST(SsrcSRC, spoolsSamplesAsScaledRoundedAndLimitedInt32) {
    // Full scale maps to +-2147483647; beyond it the value is limited; halves round away from zero.
    EXPECT_EQ(SsrcSRC::toInt32Sample(1.0), 2147483647);
    EXPECT_EQ(SsrcSRC::toInt32Sample(-1.0), -2147483647);
    EXPECT_EQ(SsrcSRC::toInt32Sample(3.0), 2147483647);
    EXPECT_EQ(SsrcSRC::toInt32Sample(-3.0), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(SsrcSRC::toInt32Sample(2.5 / 2147483647.0), 3);
    EXPECT_EQ(SsrcSRC::toInt32Sample(-2.5 / 2147483647.0), -3);
    const auto h = SsrcSRC::wavHeader(96000, 400);
    ASSERT_EQ(h.size(), 44u);
    EXPECT_EQ(std::string(h.begin(), h.begin() + 4), "RIFF");
    EXPECT_EQ(h[4] | h[5] << 8, 436);
    EXPECT_EQ(std::string(h.begin() + 8, h.begin() + 16), "WAVEfmt ");
    EXPECT_EQ((std::vector<int>{h[20], h[22], h[32], h[34]}), (std::vector<int>{1, 1, 4, 32}));
    EXPECT_EQ(h[24] | h[25] << 8 | h[26] << 16, 96000);
    EXPECT_EQ(h[28] | h[29] << 8 | h[30] << 16, 384000);
    EXPECT_EQ(h[40] | h[41] << 8, 400);
}

TEST(SsrcSRC, readsOnlyMono24BitOutputSkippingOtherChunks) {
    // An odd-sized chunk before "data" is skipped with its pad byte; samples are scaled by 1/8388607 and
    // a short data chunk counts what is there; stereo, 16-bit and tiny files are unreadable.
    const std::vector<std::uint8_t> extra = {'L', 'I', 'S', 'T', 3, 0, 0, 0, 'a', 'b', 'c', 0};
    const std::vector<std::uint8_t> data = {0xFF, 0xFF, 0x7F, 0x01, 0x00, 0x80, 0x00, 0x00, 0x00, 0x11};
    const auto samples = SsrcSRC::readMono24(wav24(1, 24, extra, data));
    ASSERT_TRUE(samples);
    ASSERT_EQ(samples->size(), 3u);
    EXPECT_DOUBLE_EQ((*samples)[0], 1.0);
    EXPECT_DOUBLE_EQ((*samples)[1], -8388607.0 / 8388607.0);
    EXPECT_DOUBLE_EQ((*samples)[2], 0.0);
    EXPECT_FALSE(SsrcSRC::readMono24(wav24(2, 24, {}, data)));
    EXPECT_FALSE(SsrcSRC::readMono24(wav24(1, 16, {}, data)));
    EXPECT_FALSE(SsrcSRC::readMono24(std::vector<std::uint8_t>(44, 0)));
}

TEST(SsrcSRC, aFailingToolRunBecomesTheRenderError) {
    // A non-zero exit gives "SSRC conversion failed: " and the tool's standard error (or "exit N" when
    // that is not UTF-8); bad output gives the unreadable-output message; the stream's result is empty.
    const testing::TempFolder scratch("ssrc-test");
    struct Case {
        std::string body;
        std::string message;
    };
    const std::vector<Case> cases = {
        {"exit 3", "SSRC conversion failed: "},
        {"echo 'no room left' >&2; exit 1", "SSRC conversion failed: no room left\n"},
        {"printf '\\377\\376' >&2; exit 4", "SSRC conversion failed: exit 4"},
        {"printf 'RIFF' > \"$9\"; exit 0", "SSRC produced unreadable output."},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const fs::path tool = script(scratch, "tool" + std::to_string(i), cases[i].body);
        SsrcSRC src(48000, 44100, 14, 145.0, 2.0, false, tool);
        EXPECT_TRUE(runStream(src, tones(4800, 48000, {{440.0, 0.5}}), 1000).empty());
        ASSERT_TRUE(src.renderError()) << cases[i].body;
        EXPECT_EQ(src.renderError()->message, cases[i].message);
    }
    SsrcSRC missing(48000, 44100, 14, 145.0, 2.0, false, scratch.path / "no-such-tool");
    EXPECT_TRUE(missing.flush().empty());
    ASSERT_TRUE(missing.renderError());
    EXPECT_EQ(missing.ssrcError()->kind, SsrcSRC::SsrcError::Kind::conversionFailed);
}

TEST(SsrcSRC, passesTheContractsNineArguments) {
    // The tool gets --rate <out> --bits 24 --quiet --tmpfile <work>/ssrc.tmp <work>/in.wav <work>/out.wav,
    // and the private work folder goes with the converter.
    const testing::TempFolder scratch("ssrc-test");
    const fs::path log = scratch.path / "args";
    const fs::path tool =
        script(scratch, "tool", "for a in \"$@\"; do echo \"$a\" >> '" + log.string() + "'; done; exit 1");
    {
        SsrcSRC src(96000, 88200, 14, 145.0, 2.0, false, tool);
        src.flush();
    }
    std::ifstream in(log);
    std::vector<std::string> args;
    for (std::string line; std::getline(in, line);)
        args.push_back(line);
    ASSERT_EQ(args.size(), 9u);
    EXPECT_EQ((std::vector<std::string>(args.begin(), args.begin() + 5)),
              (std::vector<std::string>{"--rate", "88200", "--bits", "24", "--quiet"}));
    EXPECT_EQ(args[5], "--tmpfile");
    const fs::path work = fs::path(args[7]).parent_path();
    EXPECT_EQ(fs::path(args[6]), work / "ssrc.tmp");
    EXPECT_EQ(fs::path(args[7]), work / "in.wav");
    EXPECT_EQ(fs::path(args[8]), work / "out.wav");
    EXPECT_TRUE(work.filename().string().starts_with("orvane-ssrc-"));
    EXPECT_FALSE(fs::exists(work)); // the work folder goes with the converter
}

} // namespace
} // namespace orvane
