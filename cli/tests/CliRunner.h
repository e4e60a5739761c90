#pragma once
// Runs the built orvane-cli with arguments and collects its exit status, stdout and stderr; the
// fixture gives each test a fresh folder and writes the documents and WAV files the commands read.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace orvane::testing {

struct CliResult {
    int status = -1;
    std::string out;
    std::string err;
};

inline std::string shellQuote(const std::string& s) {
    std::string q = "'";
    for (char c : s) {
        if (c == '\'')
            q += "'\\''";
        else
            q += c;
    }
    return q + "'";
}

inline std::string slurp(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

inline CliResult runCli(const std::vector<std::string>& args, const std::filesystem::path& scratch) {
    std::string command = shellQuote(ORVANE_CLI_PATH);
    for (const auto& a : args)
        command += " " + shellQuote(a);
    const auto outPath = scratch / "stdout.txt";
    const auto errPath = scratch / "stderr.txt";
    command += " >" + shellQuote(outPath.string()) + " 2>" + shellQuote(errPath.string());
    const int raw = std::system(command.c_str());
    CliResult r;
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.out = slurp(outPath);
    r.err = slurp(errPath);
    return r;
}

// A 16-bit stereo 44.1 kHz WAV of `frames` sample frames, sample(channel, frame) each.
inline void writeWav16(const std::filesystem::path& path, std::int64_t frames,
                       const std::function<std::int16_t(int, std::int64_t)>& sample) {
    std::string data;
    const auto le = [](std::string& to, std::uint32_t v, int bytes) {
        for (int b = 0; b < bytes; ++b)
            to.push_back(static_cast<char>((v >> (8 * b)) & 0xFF));
    };
    for (std::int64_t n = 0; n < frames; ++n)
        for (int ch = 0; ch < 2; ++ch)
            le(data, static_cast<std::uint16_t>(sample(ch, n)), 2);
    std::string header = "RIFF";
    le(header, static_cast<std::uint32_t>(36 + data.size()), 4);
    header += "WAVEfmt ";
    le(header, 16, 4), le(header, 1, 2), le(header, 2, 2), le(header, 44100, 4), le(header, 176400, 4);
    le(header, 4, 2), le(header, 16, 2);
    header += "data";
    le(header, static_cast<std::uint32_t>(data.size()), 4);
    std::ofstream(path, std::ios::binary) << header << data;
}

// A fresh folder per test, named after it and removed afterwards, for the documents a command reads
// and the files it writes.
class CliTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        dir_ = std::filesystem::temp_directory_path() / ("orvane-cli-" + std::to_string(::getpid()) + "-" +
                                                         test->test_suite_name() + "-" + test->name());
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    // A document file holding `project`, in the folder.
    std::string writeDocument(const nlohmann::json& project, const std::string& name = "p.ovproj") const {
        const auto path = dir_ / name;
        std::ofstream(path) << nlohmann::json{{"version", 1}, {"project", project}}.dump(2);
        return path.string();
    }

    std::filesystem::path dir_;
};

} // namespace orvane::testing
