// A DDP fileset exported by orvane-cli, read by tools this project does not contain: cdrskin
// decodes CDTEXT.BIN and checks its CRCs, cuetools read IMAGE.cue, coreutils size and sum the files.
// What they report must equal the project and orvane-cli's own layout. A missing tool skips its test.

#include "CliRunner.h"
#include "model/CDProject.h"
#include "model/ProjectCoding.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace orvane::testing {
namespace {

namespace fs = std::filesystem;

bool toolInstalled(const std::string& tool) {
    return std::system(("command -v " + shellQuote(tool) + " >/dev/null 2>&1").c_str()) == 0;
}

// Runs a shell command in `folder`; stdout and stderr together, and the exit status.
CliResult runTool(const std::string& command, const fs::path& folder) {
    const fs::path outPath =
        fs::temp_directory_path() / ("orvane-tool-" + std::to_string(::getpid()) + ".txt");
    const int raw = std::system(("cd " + shellQuote(folder.string()) + " && " + command + " >" +
                                 shellQuote(outPath.string()) + " 2>&1")
                                    .c_str());
    CliResult result;
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    result.out = slurp(outPath);
    fs::remove(outPath);
    return result;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

// "m:ss.ff" (cuebreakpoints) or "mm:ss:ff" (cue and toc files) as frames.
std::int64_t framesOfTime(const std::string& text) {
    int minutes = 0, seconds = 0, frames = 0;
    char separator = 0;
    EXPECT_EQ(std::sscanf(text.c_str(), "%d:%d%c%d", &minutes, &seconds, &separator, &frames), 4) << text;
    return (minutes * 60 + seconds) * 75 + frames;
}

struct LaidOutTrack {
    std::int64_t startLBA = 0;
    std::int64_t index01LBA = 0;
    std::int64_t endLBA = 0;
};

// Four tracks with everything the fileset carries: album and track CD-Text with a Latin-1 letter,
// an MCN, ISRCs, a silent pre-gap on track 2, an audible one (unlocked INDEX 01) and an INDEX 02 on
// track 3, and a crossfade into track 4. The audio files are missing, so the disc renders as silence.
CDProject generatedProject() {
    CDProject p;
    p.mcn = "4006381333931";
    p.albumTitle = "Independent Readers";
    p.albumPerformer = "The Orvane Ensemble";
    p.tracks = {CDTrack::make("First Light", "NLA1E2600101", 150, 600 * 588),
                CDTrack::make("Caf\u00E9 Noir", "NL-A1E-26-00102", 75, 450 * 588 + 300),
                CDTrack::make("Third Way", "NLA1E2600103", 0, 900 * 588),
                CDTrack::make("Last Segue", "NLA1E2600104", -60, 500 * 588)};
    p.tracks[0].performer = "Solo Voice";
    p.tracks[1].performer = "Duo Cordes";
    p.tracks[2].performer = "Trio";
    p.tracks[3].performer = "The Orvane Ensemble";
    p.tracks[2].indexLocked = false;
    p.tracks[2].index01OffsetFrames = 90;
    p.tracks[2].subIndexFrames = {225};
    for (std::size_t i = 0; i < p.tracks.size(); ++i)
        p.tracks[i].audioFileURL = FileURL::fromPath("/nonexistent/track" + std::to_string(i + 1) + ".wav");
    return p;
}

class IndependentReader : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        dir_ = fs::temp_directory_path() / ("orvane-cli-readers-" + std::to_string(::getpid()));
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        project_ = generatedProject();
        const fs::path document = dir_ / "generated.ovproj";
        std::ofstream(document)
            << nlohmann::json{{"version", 1}, {"project", ProjectCoding::encode(project_)}}.dump(2);

        const auto exported = runCli({"ddp", "export", document.string(), fileset().string()}, dir_);
        ASSERT_EQ(exported.status, 0) << exported.err;
        const auto layout = runCli({"layout", document.string(), "--json"}, dir_);
        ASSERT_EQ(layout.status, 0) << layout.err;
        const nlohmann::json laidOut = nlohmann::json::parse(layout.out);
        for (const auto& p : laidOut.at("positions"))
            layout_.push_back({p.at("startLBA"), p.at("index01LBA"), p.at("endLBA")});
        ASSERT_EQ(layout_.size(), project_.tracks.size());
        ready_ = true;
    }
    static void TearDownTestSuite() { fs::remove_all(dir_); }

    void SetUp() override { ASSERT_TRUE(ready_) << "the fileset could not be exported"; }

    static fs::path fileset() { return dir_ / "fileset"; }

    static inline fs::path dir_;
    static inline CDProject project_;
    static inline std::vector<LaidOutTrack> layout_;
    static inline bool ready_ = false;
};

TEST_F(IndependentReader, cdrskinDecodesTheCDTextPacksWithoutCRCErrorsToTheProjectsTexts) {
    // cdrskin decodes CDTEXT.BIN to the album's and each track's title, performer and codes as the
    // project has them (Latin-1, as the packs carry it), and its burn finds every CRC right; a copy
    // with one damaged CRC it refuses, so the clean run means the CRCs were checked.
    if (!toolInstalled("cdrskin"))
        GTEST_SKIP() << "cdrskin is not installed (scripts/install-deps.sh installs it)";
    const auto decoded = runTool("cdrskin textfile_to_v07t=CDTEXT.BIN", fileset());
    ASSERT_EQ(decoded.status, 0) << decoded.out;

    std::map<std::string, std::string> sheet;
    for (const std::string& line : lines(decoded.out)) {
        const auto equals = line.find('=');
        if (equals == std::string::npos || line.rfind("cdrskin", 0) == 0)
            continue;
        const auto key = line.substr(0, line.find_last_not_of(" \t", equals - 1) + 1);
        const auto valueStart = line.find_first_not_of(" \t", equals + 1);
        sheet[key] = valueStart == std::string::npos ? "" : line.substr(valueStart);
    }
    const auto latin1 = [](const std::string& utf8) {
        std::string out; // the project's texts here stay within Latin-1
        for (std::size_t i = 0; i < utf8.size(); ++i) {
            const auto byte = static_cast<unsigned char>(utf8[i]);
            if (byte == 0xC3 && i + 1 < utf8.size())
                out += static_cast<char>(0xC0 | (static_cast<unsigned char>(utf8[++i]) & 0x3F));
            else
                out += utf8[i];
        }
        return out;
    };
    EXPECT_EQ(sheet["Album Title"], project_.albumTitle) << decoded.out;
    EXPECT_EQ(sheet["Artist Name"], *project_.albumPerformer);
    EXPECT_EQ(sheet["UPC / EAN"], project_.mcn);
    for (std::size_t i = 0; i < project_.tracks.size(); ++i) {
        char number[24];
        std::snprintf(number, sizeof number, "%02zu", i + 1);
        const CDTrack& track = project_.tracks[i];
        EXPECT_EQ(sheet[std::string("Track ") + number + " Title"], latin1(track.title)) << number;
        EXPECT_EQ(sheet[std::string("Track ") + number + " Artist"], *track.performer) << number;
        EXPECT_EQ(sheet[std::string("ISRC ") + number], "NLA1E26001" + std::string(number)) << number;
    }

    // The CRCs are checked when a burn loads the pack file; a dry run onto the null device gets that
    // far, whatever it then says about the medium.
    const std::string dryBurn =
        "cdrskin -v --allow_emulated_drives -dummy dev=stdio:/dev/null -sao textfile=%s -audio IMAGE.DAT";
    const auto burnWith = [&](const std::string& packFile) {
        char command[256];
        std::snprintf(command, sizeof command, dryBurn.c_str(), shellQuote(packFile).c_str());
        return runTool(command, fileset()).out;
    };
    const std::string clean = burnWith("CDTEXT.BIN");
    EXPECT_EQ(clean.find("CRC"), std::string::npos) << clean;
    EXPECT_NE(clean.find("scanning for devices done"), std::string::npos) << clean;

    std::string damaged = slurp(fileset() / "CDTEXT.BIN");
    damaged[18 + 17] = static_cast<char>(damaged[18 + 17] ^ 0x01); // the low CRC byte of the second pack
    std::ofstream(dir_ / "damaged.bin", std::ios::binary) << damaged;
    const std::string refused = burnWith((dir_ / "damaged.bin").string());
    EXPECT_NE(refused.find("CD-TEXT pack CRC mismatch"), std::string::npos) << refused;
}

TEST_F(IndependentReader, cuetoolsReadTheCueSheetsTrackStartsIndexesAndCodesAsTheLayoutHasThem) {
    // cuebreakpoints gives every INDEX 00 (but track 1's at 0) and INDEX 01 at the layout's LBAs;
    // cueconvert's TOC gives each track's start, pre-gap and length; cueprint gives the texts and ISRCs.
    if (!toolInstalled("cuebreakpoints") || !toolInstalled("cueconvert") || !toolInstalled("cueprint"))
        GTEST_SKIP() << "cuetools is not installed (scripts/install-deps.sh installs it)";
    const auto breakpoints = runTool("cuebreakpoints --split-gaps IMAGE.cue", fileset());
    ASSERT_EQ(breakpoints.status, 0) << breakpoints.out;
    std::vector<std::int64_t> expected;
    for (const LaidOutTrack& t : layout_) {
        if (t.startLBA > 0 && t.startLBA < t.index01LBA)
            expected.push_back(t.startLBA);
        expected.push_back(t.index01LBA);
    }
    std::vector<std::int64_t> reported;
    for (const std::string& line : lines(breakpoints.out))
        reported.push_back(framesOfTime(line));
    EXPECT_EQ(reported, expected) << breakpoints.out;

    const auto toc = runTool("cueconvert -i cue -o toc IMAGE.cue", fileset());
    ASSERT_EQ(toc.status, 0) << toc.out;
    std::vector<LaidOutTrack> fromToc;
    for (const std::string& line : lines(toc.out)) {
        if (line.rfind("FILE \"IMAGE.DAT\" ", 0) == 0) {
            std::istringstream fields(line.substr(17));
            std::string start, length;
            fields >> start >> length;
            const std::int64_t startLBA = start == "0" ? 0 : framesOfTime(start);
            fromToc.push_back({startLBA, startLBA, length.empty() ? -1 : startLBA + framesOfTime(length)});
        } else if (line.rfind("START ", 0) == 0 && !fromToc.empty()) {
            fromToc.back().index01LBA += framesOfTime(line.substr(6));
        }
    }
    ASSERT_EQ(fromToc.size(), layout_.size()) << toc.out;
    for (std::size_t i = 0; i < layout_.size(); ++i) {
        EXPECT_EQ(fromToc[i].startLBA, layout_[i].startLBA) << i;
        EXPECT_EQ(fromToc[i].index01LBA, layout_[i].index01LBA) << i;
        if (i + 1 < layout_.size()) { // the last track runs to the end of the file
            EXPECT_EQ(fromToc[i].endLBA, layout_[i].endLBA) << i;
        }
    }

    const auto printed = runTool("cueprint -d '%N|%T|%P\\n' -t '%n|%t|%p|%i\\n' IMAGE.cue", fileset());
    ASSERT_EQ(printed.status, 0) << printed.out;
    std::string want = std::to_string(project_.tracks.size()) + "|" + project_.albumTitle + "|" +
                       *project_.albumPerformer + "\n";
    for (std::size_t i = 0; i < project_.tracks.size(); ++i) {
        const CDTrack& track = project_.tracks[i];
        want += std::to_string(i + 1) + "|" + track.title + "|" + *track.performer + "|" + *track.isrc + "\n";
    }
    EXPECT_EQ(printed.out, want);
}

// DDPMS packets: file name and length (bytes, or sectors for the image), read straight from the
// record layout.
std::map<std::string, std::int64_t> mapEntries(const std::string& ddpms) {
    std::map<std::string, std::int64_t> entries;
    for (std::size_t at = 0; at + 128 <= ddpms.size(); at += 128) {
        const std::string packet = ddpms.substr(at, 128);
        EXPECT_EQ(packet.substr(0, 4), "VVVM");
        std::string name = packet.substr(74, 17);
        name.erase(name.find_last_not_of(' ') + 1);
        entries[name] = std::stoll(packet.substr(14, 8));
    }
    return entries;
}

TEST_F(IndependentReader, statAndMd5sumAgreeWithTheMapTheLayoutAndTheChecksumFile) {
    // IMAGE.DAT holds every sample of the disc at 4 bytes each; DDPMS's lengths are the sizes stat
    // reports (the image's in 2352-byte sectors); PQDESCR's INDEX 02 sits where the layout puts
    // it; md5sum accepts every line of checksum.md5, which names every file of the set.
    const auto sizes = runTool("stat -c '%n %s' DDPID DDPMS PQDESCR CDTEXT.BIN IMAGE.DAT", fileset());
    ASSERT_EQ(sizes.status, 0) << sizes.out;
    std::map<std::string, std::int64_t> statSize;
    for (const std::string& line : lines(sizes.out)) {
        const auto space = line.rfind(' ');
        statSize[line.substr(0, space)] = std::stoll(line.substr(space + 1));
    }
    const std::int64_t totalSamples = layout_.back().endLBA * 588;
    EXPECT_EQ(statSize["IMAGE.DAT"], totalSamples * 4);
    EXPECT_EQ(statSize["DDPID"], 128);

    const auto entries = mapEntries(slurp(fileset() / "DDPMS"));
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries.at("PQDESCR"), statSize["PQDESCR"]);
    EXPECT_EQ(entries.at("CDTEXT.BIN"), statSize["CDTEXT.BIN"]);
    EXPECT_EQ(entries.at("IMAGE.DAT") * 2352, statSize["IMAGE.DAT"]);

    const std::string pq = slurp(fileset() / "PQDESCR");
    std::optional<std::int64_t> index02;
    for (std::size_t at = 0; at + 64 <= pq.size(); at += 64)
        if (pq.compare(at + 4, 4, "0302") == 0)
            index02 = framesOfTime(pq.substr(at + 10, 2) + ":" + pq.substr(at + 12, 2) + ":" +
                                   pq.substr(at + 14, 2));
    EXPECT_EQ(index02, layout_[2].index01LBA + project_.tracks[2].subIndexFrames[0]);

    const auto checked = runTool("md5sum -c --strict checksum.md5", fileset());
    EXPECT_EQ(checked.status, 0) << checked.out;
    std::vector<std::string> okLines;
    for (const std::string& line : lines(checked.out))
        okLines.push_back(line);
    EXPECT_EQ(okLines, (std::vector<std::string>{"DDPID: OK", "DDPMS: OK", "PQDESCR: OK", "CDTEXT.BIN: OK",
                                                 "IMAGE.DAT: OK", "IMAGE.cue: OK"}));
}

} // namespace
} // namespace orvane::testing
