#include "model/ProjectCoding.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace orvane {
namespace {

using nlohmann::json;

Uuid uuid(const char* text) {
    return *Uuid::parse(text);
}
Timestamp date(const char* text) {
    return *Timestamp::parseISO8601(text);
}

StoredLoudness loudness(std::int64_t size, bool full) {
    StoredLoudness l;
    l.fileSize = size;
    l.fileModified = date("2025-11-02T08:15:30Z");
    l.lufs = -14.123456789012;
    l.truePeak = -0.9;
    if (full) {
        l.lra = 6.3;
        l.blocks = "AAEC";
        l.hops = "AQID";
        l.hopSamples = 4410;
    }
    return l;
}

GainPoint point(const char* id, std::int64_t position, float gain, std::optional<float> smoothing) {
    return GainPoint{uuid(id), position, gain, smoothing};
}

// Every field of every record set to something other than its default.
CDProject fullProject() {
    CDProject p;
    p.mcn = "4006381333931";
    p.albumTitle = "Night Séance";
    p.albumPerformer = "Ensemble";
    p.albumSongwriter = "S";
    p.albumComposer = "C";
    p.albumArranger = "A";
    p.albumMessage = "M";
    p.masterNote = "check track 2";
    p.discID = "CAT-001";
    p.genreCode = 14;
    p.genreText = "Late jazz";
    p.cdTextLanguageCode = 8;
    p.masterID = "MASTER-1";
    p.cdTextLanguage2Code = 15;
    p.albumTitleLang2 = "Séance de nuit";
    p.albumPerformerLang2 = "";
    p.albumSongwriterLang2 = "S2";
    p.albumComposerLang2 = "C2";
    p.albumArrangerLang2 = "A2";
    p.albumMessageLang2 = "M2";
    p.masterSRC = "SoX VHQ";
    p.masterDither = "Shaped";
    p.masterSRCPhase = "Minimum";
    p.srcHybridMode = true;

    CDTrack t = CDTrack::make("Opening", std::string{"GBAYE2500001"}, 150, 1234567);
    t.id = uuid("11111111-2222-4333-8444-555555555555");
    t.audioFileURL = FileURL{"file:///Music/Opening%20Take%203.wav"};
    t.creationDate = date("2024-01-31T23:59:59Z");
    TrackVersion v =
        TrackVersion::make(FileURL{"file:///Music/Opening%20Take%201.wav"}, date("2023-05-05T05:05:05Z"));
    v.colorHex = "#FF8800";
    v.label = "Client";
    v.note = "first pass";
    v.srcAlgorithm = "r8brain";
    v.srcPhase = "Linear";
    v.rating = 4;
    v.loudness = loudness(999, true);
    t.versions = {v, TrackVersion::make(FileURL{"file:///Music/b.aif"})};
    t.performer = "P";
    t.songwriter = "SW";
    t.composer = "CO";
    t.arranger = "AR";
    t.message = "MSG";
    t.note = "NOTE";
    t.titleLang2 = "Ouverture";
    t.performerLang2 = "P2";
    t.songwriterLang2 = "SW2";
    t.composerLang2 = "CO2";
    t.arrangerLang2 = "AR2";
    t.messageLang2 = "MSG2";
    t.trimStartSamples = 1000;
    t.trimEndSamples = 2000;
    t.fadeInSamples = 300;
    t.fadeOutSamples = 44100;
    t.fadeInCurve = 0.1f;
    t.fadeOutCurve = -0.35f;
    t.crossfadeCurve = 0.7f;
    t.gainEnabled = true;
    t.gainDB = -1.3f;
    t.gainPoints = {point("AAAAAAAA-0000-4000-8000-000000000001", 0, -3.0f, std::nullopt),
                    point("AAAAAAAA-0000-4000-8000-000000000002", 88200, 1.7f, 0.25f)};
    t.envelopeEnabled = true;
    t.envelopeSmoothing = 0.33f;
    t.indexLocked = false;
    t.index01OffsetFrames = 37;
    t.subIndexFrames = {75, 0, -4, 75};
    t.preEmphasis = true;
    t.copyPermitted = true;
    t.srcAlgorithm = "SoX VHQ";
    t.ditherEnabled = false;
    t.srcPhase = "Minimum";
    t.versionColorSeq = 3;
    t.activeColorHex = "#00AAFF";
    t.activeLabel = "Take 3";
    t.activeNote = "final";
    t.activeRating = 5;
    t.loudness = loudness(123456789012, false);

    CDTrack second = CDTrack::make("Segue", std::nullopt, -75, 500000);
    second.id = uuid("22222222-2222-4333-8444-555555555555");
    p.tracks = {t, second};

    VinylEdit edit = VinylEdit{};
    edit.trimStartSamples = 5;
    edit.trimEndSamples = 6;
    edit.fadeInSamples = 7;
    edit.fadeOutSamples = 8;
    edit.fadeInCurve = 0.2f;
    edit.fadeOutCurve = 0.3f;
    edit.gainEnabled = true;
    edit.gainDB = 2.5f;
    edit.crossfadeCurve = -0.1f;
    edit.envelopeEnabled = true;
    edit.gainPoints = {point("AAAAAAAA-0000-4000-8000-000000000003", 10, -6.0f, 0.5f)};
    edit.envelopeSmoothing = 0.9f;
    edit.takeURL = FileURL{"file:///Vinyl/opening.wav"};
    edit.takeSourceSamples = 1300000;
    edit.takeSRCAlgorithm = "Velmont SRC";
    edit.takeSRCPhase = "Linear";

    VinylProgram program;
    program.sides = {ProgramGroup{uuid("BBBBBBBB-0000-4000-8000-000000000001"),
                                  "Side A",
                                  {ProgramEntry{uuid("CCCCCCCC-0000-4000-8000-000000000001"), t.id, 0, edit},
                                   ProgramEntry{uuid("CCCCCCCC-0000-4000-8000-000000000002"), second.id, -75,
                                                std::nullopt}},
                                  std::string{"ABC-1-A"}},
                     ProgramGroup{uuid("BBBBBBBB-0000-4000-8000-000000000002"), "Side B", {}, std::nullopt}};
    program.sideTargetFrames = 63000;
    program.formatName = "12″ · 45 rpm";
    p.vinylProgram = program;
    return p;
}

// The smallest track a document may hold.
json minimalTrack() {
    return json{{"id", "11111111-2222-4333-8444-555555555555"},
                {"title", "T"},
                {"preGap", {{"totalFrames", 150}}},
                {"sourceAudioSamples", 44100}};
}

json documentWithTracks(std::vector<json> tracks) {
    return json{{"mcn", ""}, {"albumTitle", "A"}, {"tracks", tracks}};
}

std::string failureOf(const json& document) {
    const auto result = ProjectCoding::decode(document);
    EXPECT_FALSE(result.has_value());
    return result ? std::string{"(decoded)"} : result.error().description();
}

TEST(ProjectCoding, fullyPopulatedProjectSurvivesARoundTripAndEncodesStably) {
    // Decoding the encoding gives an equal project, and encoding again gives identical text.
    const CDProject original = fullProject();
    const json encoded = ProjectCoding::encode(original);
    const auto decoded = ProjectCoding::decode(json::parse(encoded.dump(2)));
    ASSERT_TRUE(decoded.has_value()) << decoded.error().description();
    EXPECT_EQ(*decoded, original);
    EXPECT_EQ(ProjectCoding::encode(*decoded).dump(2), encoded.dump(2));
    EXPECT_EQ(ProjectCoding::encode(original).dump(2), encoded.dump(2));

    const auto track = ProjectCoding::decodeTrack(ProjectCoding::encodeTrack(original.tracks[0]));
    ASSERT_TRUE(track.has_value());
    EXPECT_EQ(*track, original.tracks[0]);
}

TEST(ProjectCoding, absentOptionalsAreLeftOutAndDefaultsAreWritten) {
    // An empty project writes only its three required keys; a made track writes every non-optional
    // field at its default and never a null.
    EXPECT_EQ(ProjectCoding::encode(CDProject{}),
              (json{{"albumTitle", ""}, {"mcn", ""}, {"tracks", json::array()}}));

    CDProject project;
    project.tracks = {CDTrack::make("T", std::nullopt, 150, 44100)};
    const json track = ProjectCoding::encode(project)["tracks"][0];
    std::vector<std::string> keys;
    for (const auto& [key, value] : track.items()) {
        keys.push_back(key);
        EXPECT_FALSE(value.is_null()) << key;
    }
    const std::vector<std::string> expected{"copyPermitted",
                                            "crossfadeCurve",
                                            "ditherEnabled",
                                            "envelopeEnabled",
                                            "envelopeSmoothing",
                                            "fadeInCurve",
                                            "fadeInSamples",
                                            "fadeOutCurve",
                                            "fadeOutSamples",
                                            "gainDB",
                                            "gainEnabled",
                                            "gainPoints",
                                            "id",
                                            "index01OffsetFrames",
                                            "indexLocked",
                                            "preEmphasis",
                                            "preGap",
                                            "sourceAudioSamples",
                                            "subIndexFrames",
                                            "title",
                                            "trimEndSamples",
                                            "trimStartSamples",
                                            "versionColorSeq",
                                            "versions"};
    EXPECT_EQ(keys, expected);
    EXPECT_EQ(track["indexLocked"], true);
    EXPECT_EQ(track["ditherEnabled"], true);
    EXPECT_EQ(track["preGap"], (json{{"totalFrames", 150}}));
}

TEST(ProjectCoding, legacyOrNewerDocumentLoadsWithDefaultsAndIgnoresUnknownKeys) {
    // A track with only its required keys loads as a freshly made track; keys this version does not
    // know change nothing, and a null optional is the same as a missing one.
    json track = minimalTrack();
    track["futureFlag"] = json::array({1, 2});
    track["performer"] = nullptr;
    json document = documentWithTracks({track});
    document["somethingNew"] = json{{"x", 1}};
    const auto decoded = ProjectCoding::decode(document);
    ASSERT_TRUE(decoded.has_value()) << decoded.error().description();
    CDProject expected;
    expected.albumTitle = "A";
    expected.tracks = {CDTrack::make("T", std::nullopt, 150, 44100)};
    expected.tracks[0].id = uuid("11111111-2222-4333-8444-555555555555");
    EXPECT_EQ(*decoded, expected);
}

TEST(ProjectCoding, missingRequiredKeyFailsWithItsPath) {
    // The message names the object that lacks the key, down to the array element.
    json noTracks = documentWithTracks({});
    noTracks.erase("tracks");
    EXPECT_EQ(failureOf(noTracks), "project: missing required key \"tracks\"");

    json noPreGap = minimalTrack();
    noPreGap.erase("preGap");
    EXPECT_EQ(failureOf(documentWithTracks({minimalTrack(), noPreGap})),
              "project.tracks[1]: missing required key \"preGap\"");

    json emptyPreGap = minimalTrack();
    emptyPreGap["preGap"] = json::object();
    EXPECT_EQ(failureOf(documentWithTracks({minimalTrack(), minimalTrack(), emptyPreGap})),
              "project.tracks[2].preGap: missing required key \"totalFrames\"");

    json noLength = minimalTrack();
    noLength.erase("sourceAudioSamples");
    EXPECT_EQ(failureOf(documentWithTracks({noLength})),
              "project.tracks[0]: missing required key \"sourceAudioSamples\"");

    json badVersion = minimalTrack();
    badVersion["versions"] = json::array({json{{"id", "11111111-2222-4333-8444-555555555555"}}});
    EXPECT_EQ(failureOf(documentWithTracks({badVersion})),
              "project.tracks[0].versions[0]: missing required key \"url\"");

    CDProject vinyl = fullProject();
    json document = ProjectCoding::encode(vinyl);
    document["vinylProgram"]["sides"][0]["entries"][0]["edit"].erase("gainDB");
    EXPECT_EQ(failureOf(document),
              "project.vinylProgram.sides[0].entries[0].edit: missing required key \"gainDB\"");
    document = ProjectCoding::encode(vinyl);
    document["vinylProgram"]["sides"][0]["entries"][0]["edit"].erase("envelopeSmoothing");
    document["vinylProgram"]["sides"][0]["entries"][0]["edit"].erase("takeSourceSamples");
    EXPECT_TRUE(ProjectCoding::decode(document).has_value());
}

TEST(ProjectCoding, valueOfTheWrongTypeFailsTheWholeDocument) {
    // Floats, nulls, strings and out-of-range numbers where something else is expected all fail.
    auto withTrackField = [](const char* key, json value) {
        json track = minimalTrack();
        track[key] = std::move(value);
        return failureOf(documentWithTracks({track}));
    };
    EXPECT_EQ(withTrackField("sourceAudioSamples", 1.5),
              "project.tracks[0].sourceAudioSamples: expected integer, found float");
    EXPECT_EQ(withTrackField("sourceAudioSamples", 44100.0),
              "project.tracks[0].sourceAudioSamples: expected integer, found float");
    EXPECT_EQ(withTrackField("title", nullptr), "project.tracks[0].title: expected string, found null");
    EXPECT_EQ(withTrackField("trimStartSamples", 18446744073709551615u),
              "project.tracks[0].trimStartSamples: integer 18446744073709551615 does not fit in 64 bits");
    EXPECT_EQ(withTrackField("gainDB", "loud"), "project.tracks[0].gainDB: expected number, found string");
    EXPECT_EQ(withTrackField("gainDB", 1e300),
              "project.tracks[0].gainDB: number 1e+300 does not fit in a 32-bit float");
    EXPECT_EQ(withTrackField("isrc", 5), "project.tracks[0].isrc: expected string, found integer");
    EXPECT_EQ(withTrackField("indexLocked", 1),
              "project.tracks[0].indexLocked: expected boolean, found integer");
    EXPECT_EQ(withTrackField("subIndexFrames", json::array({10, 2.5})),
              "project.tracks[0].subIndexFrames[1]: expected integer, found float");
    EXPECT_EQ(withTrackField("gainPoints", json::object()),
              "project.tracks[0].gainPoints: expected array, found object");
    EXPECT_EQ(withTrackField("id", "not-a-uuid"),
              "project.tracks[0].id: expected a UUID, found \"not-a-uuid\"");
    EXPECT_EQ(withTrackField("creationDate", "yesterday"),
              "project.tracks[0].creationDate: expected an ISO 8601 date, found \"yesterday\"");
    EXPECT_EQ(withTrackField("preGap", -75), "project.tracks[0].preGap: expected object, found integer");
    EXPECT_EQ(failureOf(json::array()), "project: expected object, found array");

    json document = ProjectCoding::encode(fullProject());
    document["vinylProgram"]["sideTargetFrames"] = "long";
    EXPECT_EQ(failureOf(document), "project.vinylProgram.sideTargetFrames: expected integer, found string");
    document = ProjectCoding::encode(fullProject());
    document["tracks"][0]["versions"][0]["loudness"]["lufs"] = nullptr;
    EXPECT_EQ(failureOf(document),
              "project.tracks[0].versions[0].loudness.lufs: expected number, found null");
}

TEST(ProjectCoding, floatsAreWrittenInTheirShortestForm) {
    // 32-bit fields write 0.1 as 0.1, not as the double nearest to 0.1f; doubles stay doubles.
    CDProject project = fullProject();
    project.tracks[0].gainDB = 0.1f;
    project.tracks[0].fadeInCurve = -3.7f;
    project.tracks[0].gainPoints[1].smoothing = 1e-7f;
    const std::string text = ProjectCoding::encode(project).dump();
    EXPECT_NE(text.find("\"gainDB\":0.1,"), std::string::npos) << text;
    EXPECT_NE(text.find("\"fadeInCurve\":-3.7,"), std::string::npos);
    EXPECT_NE(text.find("\"smoothing\":1e-07"), std::string::npos);
    EXPECT_NE(text.find("\"lufs\":-14.123456789012"), std::string::npos);
    EXPECT_EQ(text.find("0.10000000"), std::string::npos);
    const auto decoded = ProjectCoding::decode(json::parse(text));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->tracks[0].gainDB, 0.1f);
}

TEST(ProjectCoding, hybridModeFalseIsKeptApartFromAbsent) {
    // false survives a save as false, so the project differs from one that never set it.
    CDProject withFalse;
    withFalse.srcHybridMode = false;
    const auto decoded = ProjectCoding::decode(ProjectCoding::encode(withFalse));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(*decoded, withFalse);
    EXPECT_NE(*decoded, CDProject{});
}

} // namespace
} // namespace orvane
