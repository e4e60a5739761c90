// orvane-cli play, driven as a user drives it: a short disc of generated 16-bit sources played as
// fast as the engine renders into a capture, and the errors a user can run into.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

namespace fs = std::filesystem;

// Source sample n of channel ch, as 16-bit.
std::int16_t sourceSample(int tone, int ch, std::int64_t n) {
    const double hz = tone == 0 ? 441.0 : 300.0;
    return static_cast<std::int16_t>(std::lround(
        (ch == 0 ? 9000.0 : -7000.0) * std::sin(2.0 * M_PI * hz * static_cast<double>(n) / 44100.0)));
}

// The float samples of a 32-bit float stereo WAV, interleaved; empty if it is not one.
std::vector<float> readFloatWav(const fs::path& path) {
    const std::string bytes = slurp(path);
    const auto u32 = [&](std::size_t at) {
        std::uint32_t v = 0;
        std::memcpy(&v, bytes.data() + at, 4);
        return v;
    };
    if (bytes.size() < 12 || bytes.compare(0, 4, "RIFF") != 0 || bytes.compare(8, 4, "WAVE") != 0)
        return {};
    std::uint16_t format = 0, channels = 0, bits = 0;
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
        const std::string id = bytes.substr(at, 4);
        const std::uint32_t size = u32(at + 4);
        if (id == "fmt ") {
            std::memcpy(&format, bytes.data() + at + 8, 2);
            std::memcpy(&channels, bytes.data() + at + 10, 2);
            std::memcpy(&bits, bytes.data() + at + 22, 2);
        } else if (id == "data") {
            // WAVE_FORMAT_IEEE_FLOAT, or the extensible form that carries it.
            if ((format != 3 && format != 0xFFFE) || channels != 2 || bits != 32 ||
                at + 8 + size > bytes.size())
                return {};
            std::vector<float> out(size / 4);
            std::memcpy(out.data(), bytes.data() + at + 8, out.size() * 4);
            return out;
        }
        at += 8 + size + (size & 1);
    }
    return {};
}

class PlayCommand : public CliTest {
  protected:
    // Two one-second tracks: a 2-second pre-gap, tone A, a 1-second pre-gap, tone B. 5 s in all.
    std::string writeDisc() {
        for (const int tone : {0, 1})
            writeWav16(dir_ / (tone == 0 ? "a.wav" : "b.wav"), 44100,
                       [tone](int ch, std::int64_t n) { return sourceSample(tone, ch, n); });
        const auto track = [&](const std::string& file, const std::string& id, int preGap) {
            return nlohmann::json{{"id", id},
                                  {"title", "T"},
                                  {"audioFileURL", "file://" + (dir_ / file).string()},
                                  {"preGap", {{"totalFrames", preGap}}},
                                  {"sourceAudioSamples", 44100}};
        };
        return writeDocument({{"mcn", ""},
                              {"albumTitle", "A"},
                              {"tracks",
                               {track("a.wav", "00000000-0000-4000-8000-000000000001", 150),
                                track("b.wav", "00000000-0000-4000-8000-000000000002", 75)}}});
    }
};

TEST_F(PlayCommand, fastCaptureRecordsTheDiscSpanSampleForSample) {
    // From 1 s for 3.5 s: a second of pre-gap, tone A, the second pre-gap, half of tone B, each
    // sample the source's 16-bit value as float.
    const auto doc = writeDisc();
    const auto out = dir_ / "out.wav";
    const auto r =
        runCli({"play", doc, "--from", "1", "--seconds", "3.5", "--capture", out.string(), "--fast"}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    const auto audio = readFloatWav(out);
    ASSERT_EQ(audio.size(), static_cast<std::size_t>(3.5 * 44100) * 2);

    const auto expected = [](std::int64_t disc, int ch) -> float {
        if (disc >= 88200 && disc < 132300)
            return static_cast<float>(sourceSample(0, ch, disc - 88200)) / 32768.0f;
        if (disc >= 176400 && disc < 220500)
            return static_cast<float>(sourceSample(1, ch, disc - 176400)) / 32768.0f;
        return 0.0f;
    };
    float worst = 0.0f;
    for (std::size_t i = 0; i < audio.size() / 2; ++i)
        for (int ch = 0; ch < 2; ++ch)
            worst = std::max(worst, std::abs(audio[2 * i + static_cast<std::size_t>(ch)] -
                                             expected(44100 + static_cast<std::int64_t>(i), ch)));
    EXPECT_LT(worst, 1e-6f);
    EXPECT_NE(r.out.find("0 underruns"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("track 2"), std::string::npos) << r.out;
}

TEST_F(PlayCommand, refusesBadInputWithAClearText) {
    // An unknown device and an unreadable project fail with exit 1 and say why; bad options are
    // usage errors; no capture file is left behind.
    const auto doc = writeDisc();
    const auto device = runCli({"play", doc, "--device", "No Such Speaker"}, dir_);
    EXPECT_EQ(device.status, 1);
    EXPECT_NE(device.err.find("unknown output device 'No Such Speaker'"), std::string::npos) << device.err;

    std::ofstream(dir_ / "broken.ovproj") << "{ not json";
    const auto broken =
        runCli({"play", (dir_ / "broken.ovproj").string(), "--capture", "x.wav", "--fast"}, dir_);
    EXPECT_EQ(broken.status, 1);
    EXPECT_FALSE(broken.err.empty());
    EXPECT_FALSE(fs::exists(dir_ / "x.wav"));

    EXPECT_EQ(runCli({"play", doc, "--from", "-3"}, dir_).status, 2);
    EXPECT_EQ(runCli({"play", doc, "--fast"}, dir_).status, 2);
    EXPECT_EQ(runCli({"play"}, dir_).status, 2);
    const auto late =
        runCli({"play", doc, "--from", "99", "--capture", (dir_ / "y.wav").string(), "--fast"}, dir_);
    EXPECT_EQ(late.status, 1);
    EXPECT_FALSE(fs::exists(dir_ / "y.wav"));
}

} // namespace
} // namespace orvane::testing
