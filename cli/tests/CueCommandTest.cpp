// orvane-cli cue and tracks, driven as a user drives them: a document of real tones out as CUE +
// WAV and track files that cdrdao, cuetools and the DDP of the same project agree on, and sheets in
// the shapes other programs write read back in.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <regex>

namespace orvane::testing {
namespace {

namespace fs = std::filesystem;

bool toolInstalled(const std::string& tool) {
    return std::system(("command -v " + shellQuote(tool) + " >/dev/null 2>&1").c_str()) == 0;
}

// Runs a shell command in `folder`, giving stdout and stderr together.
CliResult runTool(const std::string& command, const fs::path& folder) {
    const fs::path outPath = folder / "tool-output.txt";
    const int raw = std::system(("cd " + shellQuote(folder.string()) + " && " + command + " >" +
                                 shellQuote(outPath.string()) + " 2>&1")
                                    .c_str());
    CliResult result;
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.out = slurp(outPath);
    fs::remove(outPath);
    return result;
}

struct Position {
    std::int64_t startLBA = 0;
    std::int64_t index01LBA = 0;
    std::int64_t endLBA = 0;
    bool operator==(const Position&) const = default;
};

class CueCommand : public CliTest {
  protected:
    fs::path writeTone(const std::string& name, std::int64_t frames, double hz) {
        const auto path = dir_ / name;
        writeWav16(path, frames * 588, [hz](int ch, std::int64_t i) {
            const double f = ch == 0 ? hz : hz * 1.25;
            return static_cast<std::int16_t>(std::lround(11000.0 * std::sin(2 * M_PI * f * i / 44100.0)));
        });
        return path;
    }

    // Three tracks of tones with pre-gaps of 150, 75 and 0 frames, an INDEX 02, codes and flags.
    std::string writeAudioDocument() {
        nlohmann::json tracks = nlohmann::json::array();
        const std::int64_t lengths[] = {330, 400, 310};
        for (int k = 0; k < 3; ++k) {
            const auto wav = writeTone("src" + std::to_string(k) + ".wav", lengths[k], 300.0 + 120.0 * k);
            nlohmann::json t{{"id", "6F9619FF-8B86-D011-B42D-00C04FC964F" + std::to_string(k)},
                             {"title", "Song " + std::to_string(k + 1)},
                             {"isrc", "GBXYZ260000" + std::to_string(k + 1)},
                             {"audioFileURL", "file://" + wav.string()},
                             {"preGap",
                              {{"totalFrames", k == 0   ? 150
                                               : k == 1 ? 75
                                                        : 0}}},
                             {"sourceAudioSamples", lengths[k] * 588}};
            if (k == 0)
                t["subIndexFrames"] = {120};
            if (k == 1)
                t["preEmphasis"] = true;
            tracks.push_back(t);
        }
        return writeDocument({{"mcn", "4006381333931"},
                              {"albumTitle", "Round Trip"},
                              {"albumPerformer", "The Band"},
                              {"masterDither", "None"},
                              {"tracks", tracks}},
                             "audio.ovproj");
    }

    std::vector<Position> layoutOf(const std::string& document) {
        const auto r = runCli({"layout", document, "--json"}, dir_);
        EXPECT_EQ(r.status, 0) << r.err;
        std::vector<Position> positions;
        const nlohmann::json report = nlohmann::json::parse(r.out);
        for (const auto& p : report.at("positions"))
            positions.push_back({p.at("startLBA"), p.at("index01LBA"), p.at("endLBA")});
        return positions;
    }

    std::set<std::string> hiddenEntries(const fs::path& folder) {
        std::set<std::string> names;
        for (const auto& e : fs::directory_iterator(folder))
            if (e.path().filename().string()[0] == '.')
                names.insert(e.path().filename().string());
        return names;
    }
};

TEST_F(CueCommand, cueImageAndTrackFilesAreTheDDPsImageAndLayout) {
    // The WAV image is IMAGE.DAT behind a header; every track file is its slice from INDEX 01 to
    // the track's end; cuetools and cdrdao read the sheet with the DDP's layout; and the sheet
    // imports back to the same layout.
    const std::string document = writeAudioDocument();
    ASSERT_EQ(runCli({"ddp", "export", document, (dir_ / "ddp").string()}, dir_).status, 0);
    const auto exported =
        runCli({"cue", "export", document, (dir_ / "cue" / "Round Trip.cue").string()}, dir_);
    ASSERT_EQ(exported.status, 0) << exported.err;
    EXPECT_NE(exported.out.find("CUE sheet and WAV image written to:"), std::string::npos);
    const auto tracks = runCli({"tracks", document, (dir_ / "tracks").string()}, dir_);
    ASSERT_EQ(tracks.status, 0) << tracks.err;
    EXPECT_NE(tracks.out.find("3 tracks exported to:"), std::string::npos);

    const std::string image = slurp(dir_ / "ddp" / "IMAGE.DAT");
    const std::string wav = slurp(dir_ / "cue" / "Round Trip.wav");
    ASSERT_EQ(wav.size(), image.size() + 44);
    EXPECT_TRUE(wav.compare(44, std::string::npos, image) == 0);
    const std::vector<Position> layout = layoutOf(document);
    ASSERT_EQ(layout.size(), 3u);
    for (std::size_t i = 0; i < layout.size(); ++i) {
        const std::string file = slurp(
            dir_ / "tracks" / ("0" + std::to_string(i + 1) + " Song " + std::to_string(i + 1) + ".wav"));
        const auto from = static_cast<std::size_t>(layout[i].index01LBA * 2352);
        const auto bytes = static_cast<std::size_t>((layout[i].endLBA - layout[i].index01LBA) * 2352);
        ASSERT_EQ(file.size(), 44 + bytes) << i;
        EXPECT_TRUE(file.compare(44, std::string::npos, image, from, bytes) == 0) << i;
    }

    if (toolInstalled("cuebreakpoints")) {
        const auto breakpoints = runTool("cuebreakpoints --split-gaps 'Round Trip.cue'", dir_ / "cue");
        ASSERT_EQ(breakpoints.status, 0) << breakpoints.out;
        // Every INDEX 00 that opens a pause (but track 1's at 0) and every INDEX 01, as m:ss.ff.
        std::string want;
        const auto append = [&](std::int64_t lba) {
            char line[32];
            std::snprintf(line, sizeof line, "%lld:%02lld.%02lld\n", static_cast<long long>(lba / 4500),
                          static_cast<long long>(lba / 75 % 60), static_cast<long long>(lba % 75));
            want += line;
        };
        for (const Position& p : layout) {
            if (p.startLBA > 0 && p.startLBA < p.index01LBA)
                append(p.startLBA);
            append(p.index01LBA);
        }
        EXPECT_EQ(breakpoints.out, want);
    }
    if (toolInstalled("cdrdao")) {
        // cdrdao resolves the image against its working folder, so it runs beside the sheet.
        const auto toc = runTool("cdrdao show-toc 'Round Trip.cue'", dir_ / "cue");
        ASSERT_EQ(toc.status, 0) << toc.out;
        EXPECT_NE(toc.out.find("CATALOG NUMBER: 4006381333931"), std::string::npos) << toc.out;
        std::vector<Position> fromToc;
        std::map<std::string, std::int64_t> fields;
        const std::regex field(R"(^\s*(PREGAP|START|END)\s+\S+\(\s*(\d+)\))");
        std::istringstream lines(toc.out);
        for (std::string line; std::getline(lines, line);) {
            std::smatch m;
            if (!std::regex_search(line, m, field))
                continue;
            fields[m[1]] = std::stoll(m[2]);
            if (m[1] == "END") {
                fromToc.push_back({fields["START"] - fields["PREGAP"], fields["START"], fields["END"]});
                fields.clear();
            }
        }
        EXPECT_EQ(fromToc, layout) << toc.out;
        EXPECT_NE(toc.out.find("ISRC GB XYZ 26 00002"), std::string::npos) << toc.out;
    }

    const auto imported = runCli(
        {"cue", "import", (dir_ / "cue" / "Round Trip.cue").string(), "-o", (dir_ / "back.ovproj").string()},
        dir_);
    ASSERT_EQ(imported.status, 0) << imported.err;
    EXPECT_EQ(layoutOf((dir_ / "back.ovproj").string()), layout);
    EXPECT_TRUE(fs::exists(dir_ / "Round Trip Audio" / "Track01.wav"));
}

TEST_F(CueCommand, importsAFileATrackSheetWithItsGapsWhereTheAuthorPutThem) {
    // Gaps appended to the previous file: track 1 ends at track 2's INDEX 00 and track 2's pre-gap
    // is the rest of that file. Nothing is copied; the document points at the files.
    writeTone("01 Alpha.wav", 400, 330);
    writeTone("02 Beta.wav", 300, 440);
    const fs::path sheet = dir_ / "Alpha.cue";
    std::ofstream(sheet) << "\xEF\xBB\xBFPERFORMER \"Ens\xC3\xA9mble\"\r\nTITLE \"Gaps\"\r\n"
                            "FILE \"01 Alpha.wav\" WAVE\r\n  TRACK 01 AUDIO\r\n    INDEX 01 00:00:00\r\n"
                            "  TRACK 02 AUDIO\r\n    ISRC GBXYZ2600009\r\n    INDEX 00 00:04:00\r\n"
                            "FILE \"02 Beta.wav\" WAVE\r\n    INDEX 01 00:00:00\r\n";
    const auto r = runCli({"cue", "import", sheet.string(), "-o", (dir_ / "gaps.ovproj").string()}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_FALSE(fs::exists(dir_ / "Alpha Audio"));
    const std::vector<Position> layout = layoutOf((dir_ / "gaps.ovproj").string());
    EXPECT_EQ(layout, (std::vector<Position>{{0, 150, 150 + 300}, {450, 550, 550 + 300}}));
    const nlohmann::json saved = nlohmann::json::parse(slurp(dir_ / "gaps.ovproj")).at("project");
    EXPECT_EQ(saved.at("albumPerformer"), "Ens\u00E9mble");
    EXPECT_EQ(saved.at("tracks")[1].at("isrc"), "GBXYZ2600009");
    EXPECT_EQ(saved.at("tracks")[1].at("audioFileURL"), "file://" + (dir_ / "02%20Beta.wav").string());
}

TEST_F(CueCommand, brokenSheetsAreRefusedWithTheirTextAndNothingWritten) {
    writeTone("a.wav", 300, 330);
    const std::pair<std::string, std::string> cases[] = {
        {"FILE a.wav WAVE\nTRACK 01 AUDIO\n", "Track 1 has no INDEX 01."},
        {"FILE b.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n", "Referenced audio file is missing: b.wav"},
        {"TITLE nothing\n", "CUE sheet contains no audio tracks."},
        {"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 01 00:03:00\n"
         "TRACK 03 AUDIO\nINDEX 01 00:04:00\n",
         "Unsupported image format: track 3 has zero length"},
    };
    for (const auto& [text, message] : cases) {
        std::ofstream(dir_ / "bad.cue") << text;
        const auto r = runCli(
            {"cue", "import", (dir_ / "bad.cue").string(), "-o", (dir_ / "bad.ovproj").string()}, dir_);
        EXPECT_EQ(r.status, 1) << text;
        EXPECT_NE(r.err.find("orvane-cli cue import: " + message + "\n"), std::string::npos) << r.err;
        EXPECT_FALSE(fs::exists(dir_ / "bad.ovproj"));
        EXPECT_FALSE(fs::exists(dir_ / "bad Audio"));
        EXPECT_TRUE(hiddenEntries(dir_).empty());
    }
}

TEST_F(CueCommand, helpAndUsage) {
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"cue", "--help"}, {"tracks", "--help"}}) {
        const auto r = runCli(args, dir_);
        EXPECT_EQ(r.status, 0);
        EXPECT_NE(r.out.find("usage: orvane-cli " + args[0]), std::string::npos);
    }
    EXPECT_EQ(runCli({"cue"}, dir_).status, 2);
    EXPECT_EQ(runCli({"cue", "import", "x.cue"}, dir_).status, 2);
    EXPECT_EQ(runCli({"tracks", "p.ovproj"}, dir_).status, 2);
    EXPECT_EQ(runCli({"tracks", "p.ovproj", "out", "--flac"}, dir_).status, 2);
    const auto missing = runCli({"tracks", (dir_ / "none.ovproj").string(), (dir_ / "out").string()}, dir_);
    EXPECT_EQ(missing.status, 1);
    EXPECT_FALSE(fs::exists(dir_ / "out"));
    const auto empty =
        runCli({"cue", "export",
                writeDocument({{"mcn", ""}, {"albumTitle", "E"}, {"tracks", nlohmann::json::array()}}),
                (dir_ / "e.cue").string()},
               dir_);
    EXPECT_EQ(empty.status, 1);
    EXPECT_NE(empty.err.find("Project contains no tracks."), std::string::npos) << empty.err;
}

} // namespace
} // namespace orvane::testing
