// orvane-cli ddp export, verify and import, driven as a user drives them: a hand-written document
// and a synthesised tone in, a fileset out, checked and read back.

#include "CliRunner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>

namespace orvane::testing {
namespace {

namespace fs = std::filesystem;

class DdpCommand : public CliTest {
  protected:
    // Two tracks whose files are missing: they render as silence.
    std::string writeSilentDocument() {
        const nlohmann::json tracks = nlohmann::json::array({{{"id", "6F9619FF-8B86-D011-B42D-00C04FC964FF"},
                                                              {"title", "One"},
                                                              {"audioFileURL", "file:///nonexistent/one.wav"},
                                                              {"preGap", {{"totalFrames", 150}}},
                                                              {"sourceAudioSamples", 300 * 588}},
                                                             {{"id", "7F9619FF-8B86-D011-B42D-00C04FC964FF"},
                                                              {"title", "Two"},
                                                              {"preGap", {{"totalFrames", 75}}},
                                                              {"sourceAudioSamples", 320 * 588}}});
        return writeDocument({{"mcn", ""}, {"albumTitle", "Album"}, {"tracks", tracks}});
    }

    // A WAV of two tones, `frames` CD frames long.
    fs::path writeTone(const std::string& name, std::int64_t frames, double hz) {
        const auto path = dir_ / name;
        writeWav16(path, frames * 588, [hz](int ch, std::int64_t i) {
            const double f = ch == 0 ? hz : hz * 1.5;
            return static_cast<std::int16_t>(std::lround(12000.0 * std::sin(2 * M_PI * f * i / 44100.0)));
        });
        return path;
    }

    // Three tracks of real audio with codes and CD-Text; track 2 has audio in its pre-gap, ahead of
    // INDEX 01.
    std::string writeAudioDocument() {
        nlohmann::json tracks = nlohmann::json::array();
        const std::int64_t lengths[] = {320, 400, 310};
        for (int k = 0; k < 3; ++k) {
            const auto wav = writeTone("src" + std::to_string(k) + ".wav", lengths[k], 330.0 + 110.0 * k);
            nlohmann::json t{{"id", "6F9619FF-8B86-D011-B42D-00C04FC964F" + std::to_string(k)},
                             {"title", "Song " + std::to_string(k + 1)},
                             {"performer", "Player " + std::to_string(k + 1)},
                             {"isrc", "GBXYZ260000" + std::to_string(k + 1)},
                             {"audioFileURL", "file://" + wav.string()},
                             {"preGap", {{"totalFrames", k == 0 ? 150 : 75}}},
                             {"sourceAudioSamples", lengths[k] * 588}};
            if (k == 1)
                t["indexLocked"] = false, t["index01OffsetFrames"] = 30;
            tracks.push_back(t);
        }
        return writeDocument({{"mcn", "4006381333931"},
                              {"albumTitle", "Round Trip"},
                              {"albumPerformer", "The Band"},
                              {"tracks", tracks}},
                             "audio.ovproj");
    }

    // Exports the audio document into dir_/name and asserts that it worked.
    fs::path exportAudioFileset(const std::string& name) {
        const auto out = dir_ / name;
        const auto r = runCli({"ddp", "export", writeAudioDocument(), out.string()}, dir_);
        EXPECT_EQ(r.status, 0) << r.err;
        return out;
    }

    bool hasHiddenEntries(const fs::path& folder) {
        for (const auto& e : fs::directory_iterator(folder))
            if (e.path().filename().string()[0] == '.')
                return true;
        return false;
    }
};

void flipByte(const fs::path& file, std::int64_t at) {
    std::fstream f(file, std::ios::binary | std::ios::in | std::ios::out);
    f.seekg(at);
    const char c = static_cast<char>(f.get());
    f.seekp(at);
    f.put(static_cast<char>(c ^ 0x01));
}

TEST_F(DdpCommand, exportWritesTheFilesetAndPQSheetWithPlainProgressLines) {
    // Exit 0, every file of the set plus the sheet, an image of the whole disc in sectors, no
    // hidden folder left, and progress as lines when stdout is no terminal.
    const auto out = dir_ / "out";
    const auto r = runCli({"ddp", "export", writeSilentDocument(), out.string(), "--pq-sheet"}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* name : {"DDPID", "DDPMS", "PQDESCR", "CDTEXT.BIN", "IMAGE.DAT", "IMAGE.cue",
                             "checksum.md5", "PQSheet.pdf", "PQSheet.csv"})
        EXPECT_TRUE(fs::exists(out / name)) << name;
    EXPECT_EQ(fs::file_size(out / "IMAGE.DAT"), static_cast<std::uintmax_t>((150 + 300 + 75 + 320) * 2352));
    EXPECT_FALSE(hasHiddenEntries(out));
    EXPECT_NE(r.out.find("100% Finalizing\u2026\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("DDP 2.00 fileset exported to:\n"), std::string::npos);
    EXPECT_NE(slurp(out / "checksum.md5").find("  PQSheet.pdf\n"), std::string::npos);
}

TEST_F(DdpCommand, badDocumentAndUsageFailWithoutTouchingTheFolder) {
    // An unreadable document is exit 1 with its text on stderr and no folder; missing arguments
    // and unknown subcommands are usage errors.
    const auto out = dir_ / "out";
    const auto bad = runCli({"ddp", "export", (dir_ / "none.ovproj").string(), out.string()}, dir_);
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.err.find("none.ovproj"), std::string::npos) << bad.err;
    EXPECT_FALSE(fs::exists(out));
    EXPECT_EQ(runCli({"ddp", "export", writeSilentDocument()}, dir_).status, 2);
    EXPECT_EQ(runCli({"ddp", "frob"}, dir_).status, 2);
    const auto help = runCli({"ddp", "--help"}, dir_);
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("export PROJECT OUTDIR [--pq-sheet]"), std::string::npos);
}

TEST_F(DdpCommand, verifyPassesAFreshExportAndNamesTheOneCorruptedFile) {
    // A fileset as exported verifies with info lines only and exit 0; one flipped bit in the image
    // makes exactly that file's MD5 fail, with exit 1, in text and in JSON.
    const auto out = exportAudioFileset("ddp");
    const auto good = runCli({"ddp", "verify", out.string()}, dir_);
    EXPECT_EQ(good.status, 0) << good.out << good.err;
    EXPECT_NE(good.out.find("DDP Fileset Is Valid\n"), std::string::npos) << good.out;
    EXPECT_NE(good.out.find("\u2139  DDPMS: all 3 stream lengths match file sizes.\n"), std::string::npos);
    EXPECT_NE(good.out.find("\u2139  6 files passed MD5 verification."), std::string::npos) << good.out;
    EXPECT_EQ(good.out.find("\u2717"), std::string::npos);

    flipByte(out / "IMAGE.DAT", 2352 * 200 + 7);
    const auto bad = runCli({"ddp", "verify", out.string()}, dir_);
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.out.find("Verification Found 1 Error\n"), std::string::npos) << bad.out;
    EXPECT_NE(bad.out.find("\u2717  IMAGE.DAT: MD5 MISMATCH \u2014 file is corrupted or modified.\n"),
              std::string::npos);
    EXPECT_NE(bad.out.find("\u2139  5 files passed MD5 verification."), std::string::npos);

    const auto json = runCli({"ddp", "verify", out.string(), "--json"}, dir_);
    EXPECT_EQ(json.status, 1);
    const auto report = nlohmann::json::parse(json.out); // progress must stay off stdout
    EXPECT_EQ(report["errors"], 1);
    EXPECT_EQ(report["title"], "Verification Found 1 Error");
    int errors = 0;
    for (const auto& issue : report["issues"])
        if (issue["severity"] == "error") {
            ++errors;
            EXPECT_EQ(issue["message"], "IMAGE.DAT: MD5 MISMATCH \u2014 file is corrupted or modified.");
        }
    EXPECT_EQ(errors, 1);
}

TEST_F(DdpCommand, verifyReportsATruncatedMapAndRefusesWhatIsNoFileset) {
    // A DDPMS cut short of one packet is an error of its own, not a crash; a path that is no
    // folder and a missing argument fail before any check.
    const auto out = exportAudioFileset("ddp");
    fs::resize_file(out / "DDPMS", 100);
    const auto r = runCli({"ddp", "verify", out.string()}, dir_);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("\u2717  DDPMS contains no valid map packets.\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\u2717  DDPMS: MD5 MISMATCH"), std::string::npos);
    EXPECT_NE(r.out.find("Verification Found 2 Errors\n"), std::string::npos);

    const auto none = runCli({"ddp", "verify", (dir_ / "nowhere").string()}, dir_);
    EXPECT_EQ(none.status, 1);
    EXPECT_NE(none.err.find("nowhere is not a folder."), std::string::npos) << none.err;
    EXPECT_EQ(runCli({"ddp", "verify"}, dir_).status, 2);
    EXPECT_EQ(runCli({"ddp", "verify", out.string(), "--fast"}, dir_).status, 2);
}

TEST_F(DdpCommand, importThenExportReproducesTheStreamsAndTheAudioBitForBit) {
    // The imported track files hold exactly the image's samples for each track's audio, and the
    // imported document exports to the same PQ, CD-Text and map streams.
    const auto first = exportAudioFileset("first");
    const auto project = dir_ / "imported.ovproj";
    const auto audio = dir_ / "tracks";
    const auto r = runCli(
        {"ddp", "import", first.string(), "-o", project.string(), "--audio-dir", audio.string(), "--json"},
        dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    const auto result = nlohmann::json::parse(r.out);
    ASSERT_EQ(result["tracks"].size(), 3u);
    EXPECT_EQ(result["mcn"], "4006381333931");
    EXPECT_EQ(result["tracks"][1]["title"], "Song 2");
    EXPECT_EQ(result["tracks"][1]["isrc"], "GBXYZ2600002");
    EXPECT_EQ(result["tracks"][1]["preGapFrames"], 75) << "the hidden audio belongs to the track";

    const std::string image = slurp(first / "IMAGE.DAT");
    std::int64_t frame = 0;
    for (const auto& t : result["tracks"]) {
        frame += t["preGapFrames"].get<std::int64_t>();
        const auto length = t["lengthFrames"].get<std::int64_t>();
        const std::string wav = slurp(t["file"].get<std::string>());
        ASSERT_EQ(wav.size(), static_cast<std::size_t>(44 + length * 2352)) << t["file"];
        EXPECT_TRUE(wav.compare(44, std::string::npos, image, static_cast<std::size_t>(frame * 2352),
                                static_cast<std::size_t>(length * 2352)) == 0)
            << "samples of " << t["file"];
        frame += length;
    }
    EXPECT_EQ(static_cast<std::size_t>(frame * 2352), image.size());
    EXPECT_FALSE(hasHiddenEntries(dir_));

    const auto second = dir_ / "second";
    const auto again = runCli({"ddp", "export", project.string(), second.string()}, dir_);
    ASSERT_EQ(again.status, 0) << again.err;
    for (const char* name : {"PQDESCR", "CDTEXT.BIN", "DDPMS", "DDPID"})
        EXPECT_EQ(slurp(first / name), slurp(second / name)) << name;
}

TEST_F(DdpCommand, aFailedImportLeavesNoDocumentAndNoAudio) {
    // An image cut short fails with the reader's text after some tracks were already cut, yet
    // neither the document, the audio folder nor a hidden staging folder remains; an audio folder
    // that already holds a track file is refused and keeps its file.
    const auto fileset = exportAudioFileset("ddp");
    fs::resize_file(fs::path(fileset / "IMAGE.DAT"), 2352 * 700);
    const auto project = dir_ / "p.ovproj";
    const auto r = runCli({"ddp", "import", fileset.string(), "-o", project.string(), "--audio-dir",
                           (dir_ / "tracks").string()},
                          dir_);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("orvane-cli ddp import: IMAGE.DAT is shorter than the PQ descriptor claims.\n"),
              std::string::npos)
        << r.err;
    EXPECT_FALSE(fs::exists(project));
    EXPECT_FALSE(fs::exists(dir_ / "tracks"));
    EXPECT_FALSE(hasHiddenEntries(dir_));

    const auto whole = exportAudioFileset("whole");
    const auto busy = dir_ / "busy";
    fs::create_directories(busy);
    std::ofstream(busy / "Track02.wav") << "keep";
    const auto taken =
        runCli({"ddp", "import", whole.string(), "-o", project.string(), "--audio-dir", busy.string()}, dir_);
    EXPECT_EQ(taken.status, 1);
    EXPECT_NE(taken.err.find("already holds Track02.wav"), std::string::npos) << taken.err;
    EXPECT_EQ(slurp(busy / "Track02.wav"), "keep");
    EXPECT_FALSE(fs::exists(busy / "Track01.wav"));
    EXPECT_FALSE(fs::exists(project));

    fs::remove(whole / "PQDESCR");
    const auto noPQ = runCli({"ddp", "import", whole.string(), "-o", project.string()}, dir_);
    EXPECT_EQ(noPQ.status, 1);
    EXPECT_NE(noPQ.err.find("DDP fileset is missing PQDESCR."), std::string::npos) << noPQ.err;
    EXPECT_EQ(runCli({"ddp", "import", whole.string()}, dir_).status, 2);
}

TEST_F(DdpCommand, importWithoutAnAudioFolderPicksAFreeOneBesideTheDocument) {
    // Without --audio-dir the track files go to "<fileset> Audio" beside the document, then
    // "<fileset> Audio 2" when that name is taken.
    const auto fileset = exportAudioFileset("Album");
    fs::create_directories(dir_ / "Album Audio");
    const auto r = runCli({"ddp", "import", fileset.string(), "-o", (dir_ / "a.ovproj").string()}, dir_);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(fs::exists(dir_ / "Album Audio 2" / "Track03.wav"));
    EXPECT_TRUE(fs::is_empty(dir_ / "Album Audio"));
    EXPECT_NE(r.out.find("Imported 3 tracks"), std::string::npos) << r.out;
    EXPECT_NE(slurp(dir_ / "a.ovproj").find("Album%20Audio%202/Track01.wav"), std::string::npos);
}

} // namespace
} // namespace orvane::testing
