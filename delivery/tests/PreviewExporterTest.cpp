// The client preview: its manifest, its page, the files it leaves (and the ones it must not), the
// audio in them, and the zip step.

#include "delivery/PreviewExporter.h"

#include "DDPFilesetFixture.h"
#include "delivery/PreviewPlayer.h"
#include "delivery/detail/Base64.h"
#include "model/TimelineCalculator.h"
#include "platform/AudioFileReader.h"
#include "platform/ChildProcess.h"
#include "platform/UserCancelledError.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>

namespace orvane {
namespace {

using testing::fileBytes;
using testing::putFile;
using testing::TempFolder;
namespace fs = std::filesystem;

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& e : fs::directory_iterator(folder))
        names.insert(e.path().filename().string());
    return names;
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t n = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}

// The interleaved 16-bit samples of a whole file, read through the file layer.
std::vector<std::int16_t> decodedInt16(const fs::path& file) {
    auto reader = AudioFileReader::open(file);
    EXPECT_TRUE(reader.has_value()) << (reader ? "" : reader.error().message);
    if (!reader)
        return {};
    auto buffer = reader->makeBuffer(static_cast<std::size_t>(reader->lengthFrames()));
    EXPECT_TRUE(reader->read(buffer).has_value());
    std::vector<std::int16_t> samples;
    for (std::size_t i = 0; i < buffer.frameLength(); ++i)
        for (int c = 0; c < 2; ++c)
            samples.push_back(static_cast<std::int16_t>(std::lround(buffer.channel(c)[i] * 32768.0f)));
    return samples;
}

// Each test gets its own temporary folder (TMPDIR), so temporary files can be counted.
class PreviewExporterTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const char* old = std::getenv("TMPDIR");
        oldTmp_ = old ? std::optional<std::string>(old) : std::nullopt;
        ::setenv("TMPDIR", tmp_.path.c_str(), 1);
        project_ = testing::sampleProject();
        project_.albumTitle = " A/B: Live ";
        positions_ = TimelineCalculator::calculatePositions(project_).value();
        image_ = work_.path / "image.dat";
        putFile(image_, testing::synthesisedImage(positions_));
        fs::create_directory(out_);
    }
    void TearDown() override {
        if (oldTmp_)
            ::setenv("TMPDIR", oldTmp_->c_str(), 1);
        else
            ::unsetenv("TMPDIR");
    }

    fs::path exportFormat(PreviewFormat format, const std::string& email = "client@example.com") {
        return PreviewExporter::exportPreview(project_, positions_, format, out_, email, image_);
    }

    TempFolder tmp_{"orvane-preview-tmp"};
    TempFolder work_{"orvane-preview"};
    std::optional<std::string> oldTmp_;
    CDProject project_;
    std::vector<TrackPosition> positions_;
    fs::path image_;
    fs::path out_ = work_.path / "out";
};

TEST(PreviewManifest, describesTheDiscInTheEncodedAudiosTime) {
    // Album and track fields from the project, times from the layout (frame 0 of the disc is second
    // 0 of the audio), INDEX 00 only where a track has a pause of its own.
    const CDProject project = testing::sampleProject();
    const auto positions = TimelineCalculator::calculatePositions(project).value();
    const PreviewManifest m =
        PreviewManifests::build(project, positions, PreviewFormat::quality, "X.oprq", "a@b.c");
    EXPECT_EQ(m.format, "oprq");
    EXPECT_EQ(m.audioCodec, "flac");
    EXPECT_EQ(m.audioFile, "X.oprq");
    EXPECT_EQ(m.album.title, project.albumTitle);
    EXPECT_EQ(m.album.performer, "The Testers");
    EXPECT_EQ(m.album.composer, "");
    EXPECT_EQ(m.album.trackCount, 3);
    EXPECT_DOUBLE_EQ(m.album.totalSeconds, static_cast<double>(positions.back().endLBA) / 75.0);
    EXPECT_EQ(m.album.totalMSF, CDTime::frames(positions.back().endLBA).msfString());
    ASSERT_EQ(m.tracks.size(), 3u);
    EXPECT_DOUBLE_EQ(m.tracks[0].startSeconds, 2.0);
    EXPECT_EQ(m.tracks[0].index00MSF, "00:00:00");
    EXPECT_EQ(m.tracks[0].index01MSF, "00:02:00");
    EXPECT_TRUE(m.tracks[0].preEmphasis);
    EXPECT_EQ(m.tracks[1].composer, "A. Composer");
    EXPECT_TRUE(m.tracks[1].copyPermitted);
    EXPECT_EQ(m.tracks[2].index00MSF, std::nullopt); // no pre-gap of its own
    EXPECT_EQ(m.tracks[2].isrc, "");
    EXPECT_DOUBLE_EQ(m.tracks[2].endSeconds, static_cast<double>(positions[2].endLBA) / 75.0);

    // Light and smartphone share a format code; the self-contained page names no audio file.
    const auto phone = PreviewManifests::build(project, positions, PreviewFormat::smartphone, "X", "");
    EXPECT_EQ(phone.format, "oprl");
    EXPECT_EQ(phone.audioCodec, "aac");
    EXPECT_EQ(phone.audioFile, "");
    // A fresh upper-case token every time.
    EXPECT_NE(phone.token, m.token);
    EXPECT_EQ(Uuid::parse(m.token).value().string(), m.token);
}

TEST(PreviewManifest, writesSortedPrettyJsonThatNoTitleCanBreakOutOf) {
    CDProject project = testing::sampleProject();
    project.albumTitle = "AC/DC </script><script>alert(1)</script> <!--";
    project.tracks[0].title = std::string("bad \xC3\x28 bytes");
    const auto positions = TimelineCalculator::calculatePositions(project).value();
    const std::string json = PreviewManifests::json(
        PreviewManifests::build(project, positions, PreviewFormat::light, "a/b.oprl", "x@y.z"));
    EXPECT_EQ(json.find('<'), std::string::npos);
    EXPECT_NE(json.find("AC/DC \\u003c/script>"), std::string::npos); // slashes as they are
    EXPECT_NE(json.find("\n  \"album\": {\n"), std::string::npos);    // pretty, two spaces
    const auto parsed = nlohmann::json::parse(json);
    EXPECT_EQ(parsed["album"]["title"], project.albumTitle); // the same value after all
    EXPECT_EQ(parsed["tracks"][0]["title"], "bad \xEF\xBF\xBD( bytes");
    EXPECT_FALSE(parsed["tracks"][2].contains("index00MSF"));
    EXPECT_EQ(parsed["generator"], "Orvane");
    EXPECT_EQ(parsed["version"], 1);
    // Sorted keys at the top level, as written.
    std::vector<std::size_t> at;
    for (const char* key : {"\"album\"", "\"approvalEmail\"", "\"audioCodec\"", "\"audioFile\"", "\"format\"",
                            "\"generator\"", "\"token\"", "\"tracks\"", "\"version\""})
        at.push_back(json.find(std::string("\n  ") + key));
    EXPECT_TRUE(std::is_sorted(at.begin(), at.end()));
    EXPECT_EQ(std::count(at.begin(), at.end(), std::string::npos), 0);
}

TEST(PreviewPlayer, splicesTheManifestAndAudioAndEmbedsTheFontWhenThereIsOne) {
    TempFolder folder;
    const fs::path font = folder.path / "font.ttf";
    putFile(font, "FONTBYTES!");
    const std::string page = PreviewPlayer::playerHTML(
        "{\"k\": 1}", std::string("data:audio/mp4;base64,QUJD"), PreviewPlayer::Layout::compact, font);
    EXPECT_NE(page.find("<title>Orvane Client CD Preview Player</title>"), std::string::npos);
    EXPECT_NE(page.find("@font-face{font-family:'DSEG7';src:url(data:font/ttf;base64," +
                        detail::base64("FONTBYTES!") + ") format('truetype');font-display:swap;}"),
              std::string::npos);
    EXPECT_NE(page.find("<body class=\"compact\">"), std::string::npos);
    EXPECT_NE(page.find("const MANIFEST = {\"k\": 1};"), std::string::npos);
    EXPECT_NE(page.find("const EMBEDDED_AUDIO = \"data:audio/mp4;base64,QUJD\";"), std::string::npos);
    EXPECT_EQ(count(page, "</script>"), 1u);
    EXPECT_EQ(count(page, "@"), count(page, "@font-face") + count(page, "@media")); // no mark left over

    const std::string plain = PreviewPlayer::playerHTML("{}", std::nullopt, PreviewPlayer::Layout::regular,
                                                        folder.path / "none.ttf");
    EXPECT_EQ(plain.find("@font-face"), std::string::npos);
    EXPECT_NE(plain.find("<body>"), std::string::npos);
    EXPECT_NE(plain.find("const EMBEDDED_AUDIO = null;"), std::string::npos);
}

TEST(PreviewExporter, namesFollowTheAlbumTitle) {
    CDProject p;
    for (const auto& [title, name] : std::vector<std::pair<std::string, std::string>>{
             {"A/B: Live ", "A-B- Live"}, {"", "Untitled"}, {" \t ", "Untitled"}, {"..", ".."}, {"/", "-"}}) {
        p.albumTitle = title;
        EXPECT_EQ(PreviewExporter::safeName(p), name) << title;
    }
}

TEST_F(PreviewExporterTest, qualityIsALosslessFolderAndASecondExportGetsItsOwnName) {
    std::vector<double> fractions;
    const fs::path folder = PreviewExporter::exportPreview(project_, positions_, PreviewFormat::quality, out_,
                                                           "client@example.com", image_, [&](double f) {
                                                               fractions.push_back(f);
                                                               return true;
                                                           });
    EXPECT_EQ(folder, out_ / "A-B- Live Preview (Quality)");
    EXPECT_EQ(namesIn(folder), (std::set<std::string>{"A-B- Live.oprq", "manifest.json", "player.html"}));
    // FLAC: exactly the image's samples.
    const std::string image = fileBytes(image_);
    const auto decoded = decodedInt16(folder / "A-B- Live.oprq");
    ASSERT_EQ(decoded.size() * 2, image.size());
    EXPECT_EQ(std::memcmp(decoded.data(), image.data(), image.size()), 0);
    // The page carries the manifest written beside it.
    const std::string manifest = fileBytes(folder / "manifest.json");
    EXPECT_NE(fileBytes(folder / "player.html").find("const MANIFEST = " + manifest + ";"),
              std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(manifest)["audioFile"], "A-B- Live.oprq");
    // With a prepared image the encoder has 0..0.9, then the page; the last report is 1.
    ASSERT_FALSE(fractions.empty());
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_DOUBLE_EQ(fractions.back(), 1.0);

    EXPECT_EQ(exportFormat(PreviewFormat::quality), out_ / "A-B- Live Preview (Quality) 2");
    EXPECT_EQ(namesIn(out_),
              (std::set<std::string>{"A-B- Live Preview (Quality)", "A-B- Live Preview (Quality) 2"}));
    EXPECT_TRUE(namesIn(tmp_.path).empty());
}

TEST_F(PreviewExporterTest, lightAndSmartphoneCarryAacOfTheDiscsLength) {
    const fs::path folder = exportFormat(PreviewFormat::light);
    EXPECT_EQ(namesIn(folder), (std::set<std::string>{"A-B- Live.oprl", "manifest.json", "player.html"}));
    fs::copy_file(folder / "A-B- Live.oprl", work_.path / "light.m4a");
    const auto light = AudioFileReader::open(work_.path / "light.m4a");
    ASSERT_TRUE(light.has_value()) << light.error().message;
    EXPECT_EQ(light->lengthFrames(), positions_.back().endLBA * 588);

    // One page with the audio inside; a second export replaces it.
    const fs::path page = exportFormat(PreviewFormat::smartphone);
    EXPECT_EQ(page, out_ / "A-B- Live Preview (Smartphone).html");
    EXPECT_EQ(exportFormat(PreviewFormat::smartphone), page);
    const std::string html = fileBytes(page);
    EXPECT_NE(html.find("<body class=\"compact\">"), std::string::npos);
    const std::string prefix = "const EMBEDDED_AUDIO = \"data:audio/mp4;base64,";
    const auto from = html.find(prefix);
    ASSERT_NE(from, std::string::npos);
    const auto to = html.find('"', from + prefix.size());
    const std::string embedded = html.substr(from + prefix.size(), to - from - prefix.size());
    // Decode the Base64 with the shell's tool, and read the audio it holds.
    putFile(work_.path / "embedded.b64", embedded);
    const auto decodedFile = work_.path / "embedded.m4a";
    const auto run = runChildProcess("/usr/bin/base64", {"-d", (work_.path / "embedded.b64").string()});
    ASSERT_TRUE(run.has_value());
    putFile(decodedFile, run->output);
    const auto phone = AudioFileReader::open(decodedFile);
    ASSERT_TRUE(phone.has_value()) << phone.error().message;
    EXPECT_EQ(phone->lengthFrames(), positions_.back().endLBA * 588);

    EXPECT_EQ(namesIn(out_),
              (std::set<std::string>{"A-B- Live Preview (Light)", "A-B- Live Preview (Smartphone).html"}));
    EXPECT_TRUE(namesIn(tmp_.path).empty());
}

TEST_F(PreviewExporterTest, aFailureOrACancelLeavesNothingBehind) {
    // Cancelled while encoding, for each format.
    for (PreviewFormat format : {PreviewFormat::quality, PreviewFormat::smartphone}) {
        EXPECT_THROW(PreviewExporter::exportPreview(project_, positions_, format, out_, "", image_,
                                                    [](double f) { return f < 0.3; }),
                     UserCancelledError);
    }
    // An image shorter than the layout says.
    const std::string image = fileBytes(image_);
    putFile(image_, image.substr(0, image.size() / 2));
    try {
        exportFormat(PreviewFormat::light);
        ADD_FAILURE() << "a short image was encoded";
    } catch (const PreviewExportError& error) {
        EXPECT_EQ(error.domain, "PreviewExporter");
        EXPECT_EQ(error.code, PreviewExportErrorCode::writeFailed);
        EXPECT_NE(error.message.find("image.dat"), std::string::npos) << error.message;
    }
    // Rendering here: the project's sources are missing, which renders silence, and a cancel
    // during the render removes the temporary image.
    EXPECT_THROW(PreviewExporter::exportPreview(project_, positions_, PreviewFormat::quality, out_, "",
                                                std::nullopt, [](double f) { return f < 0.2; }),
                 UserCancelledError);
    EXPECT_TRUE(namesIn(out_).empty());
    EXPECT_TRUE(namesIn(tmp_.path).empty());

    try {
        PreviewExporter::exportPreview(project_, {}, PreviewFormat::light, out_, "", image_);
        ADD_FAILURE() << "no tracks, yet exported";
    } catch (const PreviewExportError& error) {
        EXPECT_EQ(error.code, PreviewExportErrorCode::noTracks);
        EXPECT_EQ(error.message, "Project contains no tracks to export.");
    }
}

TEST_F(PreviewExporterTest, zipsKeepTheTopFolderAndAPasswordLocksThem) {
    const fs::path folder = exportFormat(PreviewFormat::quality);
    const fs::path plain = PreviewExporter::zipBundle(folder);
    EXPECT_EQ(plain, folder.string() + ".zip");
    const auto listing = runChildProcess("/usr/bin/unzip", {"-Z1", plain.string()});
    ASSERT_TRUE(listing.has_value());
    EXPECT_NE(listing->output.find("A-B- Live Preview (Quality)/player.html\n"), std::string::npos)
        << listing->output;

    // A password with a blank in it is one argument; unzip opens the archive with it and not without.
    const fs::path locked = PreviewExporter::zipBundle(folder, "open sesame");
    EXPECT_EQ(locked, plain); // the earlier zip was replaced
    const fs::path unpacked = work_.path / "unpacked";
    const auto wrong =
        runChildProcess("/usr/bin/unzip", {"-P", "open", "-d", unpacked.string(), locked.string()});
    ASSERT_TRUE(wrong.has_value());
    EXPECT_NE(wrong->exitStatus, 0);
    fs::remove_all(unpacked);
    const auto right =
        runChildProcess("/usr/bin/unzip", {"-P", "open sesame", "-d", unpacked.string(), locked.string()});
    ASSERT_TRUE(right.has_value());
    EXPECT_EQ(right->exitStatus, 0) << right->errorText;
    EXPECT_EQ(fileBytes(unpacked / folder.filename() / "manifest.json"), fileBytes(folder / "manifest.json"));

    try {
        PreviewExporter::zipBundle(work_.path / "missing");
        ADD_FAILURE() << "zipped nothing";
    } catch (const PreviewExportError& error) {
        EXPECT_EQ(error.code, PreviewExportErrorCode::zipFailed);
        EXPECT_EQ(error.message.rfind("Failed to create .zip (exit ", 0), 0u) << error.message;
    }
}

} // namespace
} // namespace orvane
