// CUE import: sheets as other programs write them become the disc their authors meant, and broken
// ones are refused with the user's text and no half-made project.

#include "delivery/CUEImporter.h"

#include "DDPFilesetFixture.h"
#include "platform/AudioFileWriter.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

using testing::fileBytes;
using testing::putFile;
using testing::TempFolder;
namespace fs = std::filesystem;
using CUEImporter::importCUE;
using CUEImporter::parse;
using CUEImporter::parseTime;

// 16-bit stereo of `frames` CD frames at `rate`: a pattern that differs in every sample, so that a
// cut in the wrong place cannot match. Returns the bytes as a WAV holds them.
std::string writeWav(const fs::path& file, std::int64_t frames, double rate = 44100, int channels = 2,
                     int seed = 1) {
    AudioWriteSettings settings;
    settings.sampleRate = rate;
    settings.channelCount = channels;
    auto writer = AudioFileWriter::open(file, settings);
    EXPECT_TRUE(writer.has_value());
    const auto samples = static_cast<std::size_t>(frames * 588 * channels);
    std::vector<std::int16_t> data(samples);
    for (std::size_t i = 0; i < samples; ++i)
        data[i] = static_cast<std::int16_t>((static_cast<std::int64_t>(i) * 7919 * seed) % 65536 - 32768);
    EXPECT_TRUE(writer->writeInterleavedInt16(data).has_value());
    EXPECT_TRUE(writer->finish().has_value());
    return {reinterpret_cast<const char*>(data.data()), samples * 2};
}

std::string pcmOf(const fs::path& wav) {
    const std::string bytes = fileBytes(wav);
    return bytes.size() >= 44 ? bytes.substr(44) : "";
}

std::string slice(const std::string& pcm, std::int64_t fromFrame, std::int64_t toFrame) {
    return pcm.substr(static_cast<std::size_t>(fromFrame * 2352),
                      static_cast<std::size_t>((toFrame - fromFrame) * 2352));
}

std::string errorText(const tl::expected<CDProject, CUEImportError>& result) {
    return result ? "" : result.error().message();
}

TEST(CUETokens, splitQuoteAndTimeAsWritten) {
    // Quotes group and vanish, blanks and tabs separate, empty quotes give nothing.
    EXPECT_EQ(CUEImporter::tokens("  FILE \"My Disc.wav\"\tWAVE "),
              (std::vector<std::string>{"FILE", "My Disc.wav", "WAVE"}));
    EXPECT_EQ(CUEImporter::tokens("a\"b c\"d \"\""), (std::vector<std::string>{"ab cd"}));
    EXPECT_EQ(CUEImporter::tokens("TITLE \"\""), (std::vector<std::string>{"TITLE"}));
    // Minutes, seconds, frames with no range check; anything but three integers is no time.
    EXPECT_EQ(parseTime("3:5:10"), (3 * 60 + 5) * 75 + 10);
    EXPECT_EQ(parseTime("01:99:80"), (60 + 99) * 75 + 80);
    EXPECT_EQ(parseTime("120:00:00"), 120 * 60 * 75);
    for (const char* bad : {"03:05", "1:2:3:4", "a:b:c", "-1:00:00", "", "99999999999999999999:0:0"})
        EXPECT_EQ(parseTime(bad), std::nullopt) << bad;
}

// A single-image sheet in the shape rippers write, with every keyword a track can carry.
constexpr const char* kRipperSheet = "REM GENRE \"Jazz\"\r\n"
                                     "REM DATE 1999\r\n"
                                     "REM DISCID 8A0B2C0D\r\n"
                                     "REM COMMENT \"ExactAudioCopy v1.6\"\r\n"
                                     "CATALOG 4006381333931\r\n"
                                     "CDTEXTFILE \"Disc.cdt\"\r\n"
                                     "PERFORMER \"The Band\"\r\n"
                                     "TITLE \"Live at the Hall\"\r\n"
                                     "SONGWRITER \"Ann Writer\"\r\n"
                                     "FILE \"Live at the Hall.wav\" WAVE\r\n"
                                     "  TRACK 01 AUDIO\r\n"
                                     "    TITLE \"Opening\"\r\n"
                                     "    PERFORMER \"Guest\"\r\n"
                                     "    FLAGS DCP PRE 4CH SCMS\r\n"
                                     "    ISRC GBAYE9900001\r\n"
                                     "    INDEX 00 00:00:00\r\n"
                                     "    INDEX 01 00:02:00\r\n"
                                     "    INDEX 03 00:04:00\r\n"
                                     "    INDEX 02 00:03:00\r\n"
                                     "  TRACK 02 AUDIO\r\n"
                                     "    TITLE Unquoted words\r\n"
                                     "    SONGWRITER \"Song Writer\"\r\n"
                                     "    PREGAP 00:01:00\r\n"
                                     "    INDEX 01 00:10:00\r\n"
                                     "    POSTGAP 00:00:30\r\n"
                                     "  TRACK 03 MODE1/2352\r\n"
                                     "    TITLE \"Data\"\r\n"
                                     "    INDEX 01 00:20:00\r\n";

TEST(CUEParse, readsEveryKeywordOfARipperSheet) {
    // Disc and track texts, codes, flags and indexes land where the sheet put them; a data track
    // is kept apart and its lines do not reach the audio track before it.
    ParsedSheet expected;
    expected.albumTitle = "Live at the Hall";
    expected.albumPerformer = "The Band";
    expected.albumSongwriter = "Ann Writer";
    expected.mcn = "4006381333931";
    expected.files = {{"Live at the Hall.wav", "WAVE"}};
    ParsedTrack t1;
    t1.number = 1;
    t1.title = "Opening";
    t1.performer = "Guest";
    t1.isrc = "GBAYE9900001";
    t1.preEmphasis = t1.copyPermitted = true;
    t1.index00 = 0;
    t1.index00FileIndex = 0;
    t1.index01 = 150;
    t1.index01FileIndex = 0;
    t1.subIndexes = {{2, 225}, {3, 300}};
    ParsedTrack t2;
    t2.number = 2;
    t2.title = "Unquoted"; // a value is the one token behind the keyword
    t2.songwriter = "Song Writer";
    t2.pregapFrames = 75;
    t2.postgapFrames = 30;
    t2.index01 = 750;
    t2.index01FileIndex = 0;
    ParsedTrack data;
    data.number = 3;
    data.title = "Data";
    data.index01 = 1500;
    data.index01FileIndex = 0;
    expected.tracks = {t1, t2};
    expected.dataTracks = {data};
    EXPECT_EQ(parse(kRipperSheet), expected);
}

TEST(CUEParse, everyEncodingAndLineEndReadsTheSame) {
    // The same sheet in UTF-8 with and without a mark, UTF-16 either way round, Latin-1, and with
    // LF, CR or CRLF line ends (with or without a last one) parses to the same record.
    const std::string utf8 =
        "TITLE \"Caf\u00E9 \u00DCber\"\nFILE \"d.wav\" WAVE\nTRACK 1 AUDIO\nINDEX 01 0:2:0\n";
    const ParsedSheet reference = parse(utf8);
    ASSERT_EQ(reference.albumTitle, "Caf\u00E9 \u00DCber");
    ASSERT_EQ(reference.tracks.size(), 1u);

    std::string latin1 = "TITLE \"Caf\xE9 \xDC"
                         "ber\"\nFILE \"d.wav\" WAVE\nTRACK 1 AUDIO\nINDEX 01 0:2:0\n";
    std::string le = "\xFF\xFE";
    std::string be = "\xFE\xFF";
    // UTF-16 from the Latin-1 bytes: every code unit is the byte's own value.
    for (const char c : latin1) {
        le += c;
        le += '\0';
        be += '\0';
        be += c;
    }
    std::string cr = utf8;
    std::replace(cr.begin(), cr.end(), '\n', '\r');
    std::string crlf;
    for (const char c : utf8)
        crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    crlf.resize(crlf.size() - 2); // no final line end
    for (const std::string& bytes : {"\xEF\xBB\xBF" + utf8, utf8, latin1, le, be, cr, crlf}) {
        const auto text = CUEImporter::decodeText(bytes);
        ASSERT_TRUE(text.has_value());
        EXPECT_EQ(parse(*text), reference);
    }
    // Windows programs write their code page: its quotes and dashes come over as such.
    EXPECT_EQ(CUEImporter::decodeText("TITLE \"Don\x92t \x96 Stop\""), "TITLE \"Don\u2019t \u2013 Stop\"");
    // Binary files and broken UTF-16 are no sheet.
    EXPECT_EQ(CUEImporter::decodeText(std::string("RIFF\0\0\0\0WAVE", 12)), std::nullopt);
    EXPECT_EQ(CUEImporter::decodeText(std::string("\xFF\xFE\x00\xD8\x41\x00", 6)),
              std::nullopt); // lone surrogate
    EXPECT_EQ(CUEImporter::decodeText(std::string("\xFE\xFF\x00\x41\x00", 5)), std::nullopt); // odd length
}

TEST(CUEParse, fileNamesQuotedUnquotedAndWithoutType) {
    const ParsedSheet sheet =
        parse("FILE \"a b.wav\" wave\nFILE plain.flac\nFILE my song.wav WAVE\nFILE x.bin BINARY\n");
    EXPECT_EQ(
        sheet.files,
        (std::vector<CUEFile>{
            {"a b.wav", "WAVE"}, {"plain.flac", "WAVE"}, {"my song.wav", "WAVE"}, {"x.bin", "BINARY"}}));
    // A TRACK before any FILE, or without a number, is skipped.
    EXPECT_TRUE(parse("TRACK 01 AUDIO\nINDEX 01 00:00:00\n").tracks.empty());
    EXPECT_TRUE(parse("FILE a.wav WAVE\nTRACK one AUDIO\n").tracks.empty());
}

class CUEImport : public ::testing::Test {
  protected:
    TempFolder temp{"orvane-cue-import"};
    fs::path sheet = temp.path / "Disc.cue";
    fs::path audio = temp.path / "Disc Audio";

    tl::expected<CDProject, CUEImportError> importSheet(const std::string& text,
                                                        const CUEImporter::ImportProgress& progress = {}) {
        putFile(sheet, text);
        return importCUE(sheet, audio, progress);
    }
};

TEST_F(CUEImport, cutsOneImageIntoBitExactTracksAtTheSheetsPositions) {
    // Track 1's two-second pause is the disc's, not audio; track 2's gap (INDEX 00 to 01) becomes
    // its pre-gap and lies in no file; sub-indexes come over in index order relative to INDEX 01.
    const std::string pcm = writeWav(temp.path / "Live at the Hall.wav", 1600);
    const auto project = importSheet(kRipperSheet);
    ASSERT_TRUE(project.has_value()) << errorText(project);
    EXPECT_EQ(project->albumTitle, "Live at the Hall");
    EXPECT_EQ(project->albumPerformer, "The Band");
    EXPECT_EQ(project->albumSongwriter, "Ann Writer");
    EXPECT_EQ(project->mcn, "4006381333931");
    ASSERT_EQ(project->tracks.size(), 2u);
    const CDTrack& t1 = project->tracks[0];
    const CDTrack& t2 = project->tracks[1];
    EXPECT_EQ(t1.preGap.totalFrames, 150);
    EXPECT_EQ(t1.sourceAudioSamples, (750 - 150) * 588);
    EXPECT_EQ(t1.trimStartSamples, 0);
    EXPECT_EQ(t1.subIndexFrames, (std::vector<std::int64_t>{75, 150}));
    EXPECT_EQ(t1.isrc, "GBAYE9900001");
    EXPECT_TRUE(t1.preEmphasis && t1.copyPermitted);
    EXPECT_EQ(t1.performer, "Guest");
    EXPECT_EQ(t2.title, "Unquoted");
    EXPECT_EQ(t2.songwriter, "Song Writer");
    EXPECT_EQ(t2.preGap.totalFrames, 75); // PREGAP only: no INDEX 00
    // Track 2 stops where the data track starts.
    EXPECT_EQ(t2.sourceAudioSamples, (1500 - 750) * 588);
    EXPECT_EQ(pcmOf(audio / "Track01.wav"), slice(pcm, 150, 750));
    EXPECT_EQ(pcmOf(audio / "Track02.wav"), slice(pcm, 750, 1500));
    EXPECT_EQ(t1.audioFileURL, FileURL::fromPath(audio / "Track01.wav"));
}

TEST_F(CUEImport, readsARawBinaryImageAndNamesRepeatedNumbersApart) {
    // A BINARY image is bare sectors; two tracks numbered alike must not share one file.
    std::string raw(static_cast<std::size_t>(900 * 2352), '\0');
    for (std::size_t i = 0; i < raw.size(); ++i)
        raw[i] = static_cast<char>((i * 131) % 251);
    putFile(temp.path / "image.bin", raw);
    const auto project = importSheet("FILE \"image.bin\" BINARY\n"
                                     "TRACK 01 AUDIO\nINDEX 01 00:00:00\n"
                                     "TRACK 01 AUDIO\nINDEX 00 00:04:00\nINDEX 01 00:05:00\n");
    ASSERT_TRUE(project.has_value()) << errorText(project);
    ASSERT_EQ(project->tracks.size(), 2u);
    EXPECT_EQ(project->tracks[0].preGap.totalFrames, 150); // the disc's two seconds all the same
    EXPECT_EQ(project->tracks[1].preGap.totalFrames, 75);
    EXPECT_EQ(pcmOf(audio / "Track01.wav"), raw.substr(0, 300 * 2352));
    EXPECT_EQ(pcmOf(audio / "Track01-2.wav"), raw.substr(375 * 2352));
    EXPECT_EQ(project->tracks[0].title, "Track 01");
}

TEST_F(CUEImport, pointsAtOneFileATrackInEveryGapStyle) {
    // Gaps at the head of a track's file (cut, and made pre-gap), gaps left out (PREGAP), gaps at
    // the end of the previous track's file (that track stops at INDEX 00), a 48 kHz file, and a
    // name written as another machine's path in another letter case.
    writeWav(temp.path / "01 First.wav", 400, 44100, 2, 1);
    writeWav(temp.path / "02 Second.wav", 500, 44100, 2, 2);
    writeWav(temp.path / "03 Third.wav", 300, 48000, 2, 3);
    writeWav(temp.path / "04 Fourth.wav", 200, 44100, 2, 4);
    const auto project =
        importSheet("FILE \"01 First.wav\" WAVE\n"
                    "  TRACK 01 AUDIO\n    INDEX 00 00:00:00\n    INDEX 01 00:02:00\n"
                    "FILE \"02 Second.wav\" WAVE\n"
                    "  TRACK 02 AUDIO\n    INDEX 01 00:00:00\n    INDEX 02 00:01:00\n"
                    "  TRACK 03 AUDIO\n    INDEX 00 00:06:00\n"
                    "FILE \"03 Third.wav\" WAVE\n    INDEX 01 00:00:00\n    POSTGAP 00:00:10\n"
                    "FILE \"C:\\Rips\\04 FOURTH.WAV\" WAVE\n"
                    "  TRACK 04 AUDIO\n    PREGAP 00:01:00\n    INDEX 01 00:00:00\n");
    ASSERT_TRUE(project.has_value()) << errorText(project);
    ASSERT_EQ(project->tracks.size(), 4u);
    const auto& t = project->tracks;
    EXPECT_EQ(t[0].preGap.totalFrames, 150);
    EXPECT_EQ(t[0].trimStartSamples, 88200);
    EXPECT_EQ(t[0].sourceAudioSamples, 400 * 588);
    EXPECT_EQ(t[1].preGap.totalFrames, 0);
    EXPECT_EQ(t[1].subIndexFrames, (std::vector<std::int64_t>{75}));
    EXPECT_EQ(t[1].trimEndSamples, (500 - 450) * 588);
    EXPECT_EQ(t[2].preGap.totalFrames, 50);
    EXPECT_EQ(t[2].sourceAudioSamples, 162067); // 176,400 samples at 48 kHz, counted at 44.1 kHz
    EXPECT_EQ(t[2].audioFileURL, FileURL::fromPath(temp.path / "03 Third.wav"));
    EXPECT_EQ(t[3].preGap.totalFrames, 75 + 10);
    EXPECT_EQ(t[3].audioFileURL, FileURL::fromPath(temp.path / "04 Fourth.wav"));
    EXPECT_FALSE(fs::exists(audio)); // nothing is copied in this layout
}

TEST_F(CUEImport, refusesBrokenSheetsWithTheirOwnText) {
    writeWav(temp.path / "a.wav", 400);
    writeWav(temp.path / "b.wav", 400);
    writeWav(temp.path / "mono.wav", 400, 44100, 1);
    const std::pair<std::string, std::string> cases[] = {
        {"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 01 03:05\n",
         "Track 2 has no INDEX 01."},
        {"FILE gone.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n",
         "Referenced audio file is missing: gone.wav"},
        {"FILE mono.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 01 00:01:00\n",
         "Unsupported image format: image must be 44.1 kHz stereo"},
        {"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:01:00\nTRACK 02 AUDIO\nINDEX 00 00:01:00\nINDEX 01 "
         "00:02:00\n",
         "Unsupported image format: track 1 has zero length"},
        {"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 01 00:05:25\n",
         "Unsupported image format: track 2 has zero length"},
        {"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 01 00:01:00\n"
         "TRACK 03 AUDIO\nINDEX 00 00:02:00\nINDEX 01 05:00:00\nTRACK 04 AUDIO\nINDEX 01 06:00:00\n",
         "Unsupported image format: track 3 lies beyond the end of the image"},
        {"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nFILE b.wav WAVE\nTRACK 02 AUDIO\nINDEX 01 "
         "00:06:00\n",
         "Unsupported image format: track 2 has zero length"},
        {std::string("RIFF\0\0\0\0WAVEfmt ", 16), "CUE sheet could not be read as text."},
        {"FILE data.bin BINARY\nTRACK 01 MODE1/2352\nINDEX 01 00:00:00\n",
         "CUE sheet contains no audio tracks."},
        {"REM nothing here\n", "CUE sheet contains no audio tracks."},
        {"FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 01 00:01:00\n"
         "FILE b.wav WAVE\nTRACK 03 AUDIO\nINDEX 01 00:00:00\n",
         "Unsupported CUE layout (mixed multi-file image)."},
    };
    for (const auto& [text, message] : cases)
        EXPECT_EQ(errorText(importSheet(text)), message) << text;
    EXPECT_EQ(errorText(importCUE(temp.path / "none.cue", audio)), "CUE sheet could not be read as text.");
}

TEST_F(CUEImport, catalogueKeepsThirteenDigitsOnly) {
    writeWav(temp.path / "a.wav", 400);
    const std::string tracks = "FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n";
    EXPECT_EQ(importSheet("CATALOG 0 12345 67890 1\n" + tracks)->mcn, "");
    EXPECT_EQ(importSheet("CATALOG 4-006381-333931\n" + tracks)->mcn, "4006381333931");
    EXPECT_EQ(importSheet("CATALOG 40063813339310\n" + tracks)->mcn, "");
}

TEST_F(CUEImport, cancelStopsBetweenTracksAndKeepsWhatWasCut) {
    writeWav(temp.path / "a.wav", 900);
    int reports = 0;
    const auto result = importSheet("FILE a.wav WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n"
                                    "TRACK 02 AUDIO\nINDEX 01 00:06:00\n",
                                    [&](std::string_view status, double fraction) {
                                        EXPECT_GE(fraction, 0.0);
                                        EXPECT_LE(fraction, 1.0);
                                        ++reports;
                                        return status.find("track 02") == std::string_view::npos &&
                                               status.find("track 2 ") == std::string_view::npos;
                                    });
    ASSERT_FALSE(result.has_value());
    EXPECT_TRUE(result.error().isCancel());
    EXPECT_GT(reports, 1);
    EXPECT_TRUE(fs::exists(audio / "Track01.wav"));
    EXPECT_FALSE(fs::exists(audio / "Track02.wav"));
}

} // namespace
} // namespace orvane

namespace orvane {
namespace {

TEST_F(CUEImport, aWAVCalledBinaryIsReadAsWAVAndBareSectorFilesBecomeWAVFiles) {
    // toc2cue names every file BINARY, WAV files too: the header must not be taken for audio.
    // A file a track of bare sectors (as CDRWIN-style tools write) is wrapped into WAV files.
    const std::string pcm = writeWav(temp.path / "Disc.wav", 600);
    auto project = importSheet("FILE \"Disc.wav\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                               "  TRACK 02 AUDIO\n    INDEX 00 00:04:00\n    INDEX 01 00:05:00\n");
    ASSERT_TRUE(project.has_value()) << errorText(project);
    EXPECT_EQ(pcmOf(audio / "Track01.wav"), slice(pcm, 0, 300));
    EXPECT_EQ(pcmOf(audio / "Track02.wav"), slice(pcm, 375, 600));

    putFile(temp.path / "01.bin", slice(pcm, 0, 200));
    putFile(temp.path / "02.bin", slice(pcm, 200, 600) + "odd");
    fs::remove_all(audio);
    project = importSheet(
        "FILE \"01.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
        "FILE \"02.bin\" BINARY\n  TRACK 02 AUDIO\n    INDEX 00 00:00:00\n    INDEX 01 00:01:00\n");
    ASSERT_TRUE(project.has_value()) << errorText(project);
    EXPECT_EQ(project->tracks[1].audioFileURL, FileURL::fromPath(audio / "Track02.wav"));
    EXPECT_EQ(project->tracks[1].trimStartSamples, 75 * 588);
    EXPECT_EQ(project->tracks[1].preGap.totalFrames, 75);
    EXPECT_EQ(pcmOf(audio / "Track02.wav"), slice(pcm, 200, 600));
}

TEST_F(CUEImport, aSheetWrittenByToc2cueImportsWithTheTocsPositions) {
    if (std::system("command -v toc2cue >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "toc2cue (cdrdao) is not installed (scripts/install-deps.sh installs it)";
    const std::string pcm = writeWav(temp.path / "Disc.wav", 900);
    // Track 2 starts at 5 s in the file with a one-second pause (START) before its INDEX 01.
    putFile(temp.path / "disc.toc", "CD_DA\nTRACK AUDIO\nCOPY\nFILE \"Disc.wav\" 0 00:05:00\n"
                                    "TRACK AUDIO\nFILE \"Disc.wav\" 00:05:00 00:07:00\nSTART 00:01:00\n");
    const std::string command =
        "cd '" + temp.path.string() + "' && toc2cue disc.toc Disc.cue >/dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const auto project = importCUE(temp.path / "Disc.cue", audio);
    ASSERT_TRUE(project.has_value()) << errorText(project);
    ASSERT_EQ(project->tracks.size(), 2u);
    EXPECT_TRUE(project->tracks[0].copyPermitted);
    EXPECT_EQ(project->tracks[1].preGap.totalFrames, 75);
    EXPECT_EQ(pcmOf(audio / "Track01.wav"), slice(pcm, 0, 375));
    EXPECT_EQ(pcmOf(audio / "Track02.wav"), slice(pcm, 450, 900));
}

} // namespace
} // namespace orvane
