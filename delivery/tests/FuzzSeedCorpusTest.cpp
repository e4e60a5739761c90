// The fuzzers' seed corpus is made here from what our own writers produce, so the fuzzers start from
// real DDPMS, PQDESCR, CDTEXT.BIN, CUE sheets and project documents. Every seed must read back completely, or
// it would only teach the fuzzer the error paths.

#include "DDPFilesetFixture.h"
#include "delivery/CDTextEncoder.h"
#include "delivery/CUEExporter.h"
#include "delivery/CUEImporter.h"
#include "delivery/DDPReader.h"
#include "delivery/DDPWriter.h"
#include "model/DeliverySanitizing.h"
#include "model/ProjectCoding.h"
#include "model/TimelineCalculator.h"
#include "model/VinylProgram.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace orvane::testing {
namespace {

// Written by the build; the fuzz stage of CI reads the folders from there.
const fs::path kSeedFolder = ORVANE_FUZZ_SEED_DIR;

struct Shape {
    std::string name;
    CDProject project;
};

CDProject twoLanguages() {
    CDProject p = sampleProject();
    p.cdTextLanguage2Code = 8;
    p.albumTitleLang2 = "Kaffeehaus";
    p.tracks[1].titleLang2 = "S\u00FC\u00DFe Mitte (zweite Sprache)";
    return p;
}

// A crossfade into track 2, an unlocked INDEX 01 on track 3, and a take, gain points, an envelope
// and stored loudness so that the document carries every kind of record.
CDProject crossfadeAndEdits() {
    CDProject p;
    p.albumTitle = "Segues";
    p.tracks = {CDTrack::make("In", "USABC2600001", 150, 750 * 588),
                CDTrack::make("Through", "USABC2600002", -75, 750 * 588),
                CDTrack::make("Out", "", 40, 600 * 588 + 17)};
    p.tracks[2].indexLocked = false;
    p.tracks[2].index01OffsetFrames = 20;
    p.tracks[2].subIndexFrames = {10, 400};
    CDTrack& edited = p.tracks[0];
    edited.audioFileURL = FileURL::fromPath("/audio/In.wav");
    edited.versions = {TrackVersion::make(FileURL::fromPath("/audio/In alt.wav"))};
    edited.envelopeEnabled = true;
    edited.envelopeSmoothing = 0.25f;
    edited.gainPoints = {GainPoint{Uuid::random(), 588, -3.5f, std::nullopt},
                         GainPoint{Uuid::random(), 44100, 0.1f, 0.5f}};
    edited.fadeInSamples = 4410;
    edited.fadeOutCurve = 0.7f;
    StoredLoudness loudness;
    loudness.fileSize = 123456;
    loudness.lufs = -14.2;
    loudness.truePeak = -1.05;
    loudness.lra = 6.5;
    edited.loudness = loudness;
    p.vinylProgram = VinylProgram::defaultProgram(p);
    return p;
}

CDProject withoutText() {
    CDProject p;
    p.tracks = {CDTrack::make("", std::nullopt, 150, 300 * 588),
                CDTrack::make("", std::nullopt, 0, 301 * 588)};
    return p;
}

// A full disc of short tracks with texts long enough to run past character position 15.
CDProject fullDisc() {
    CDProject p;
    p.mcn = "0724349691728";
    p.albumTitle = "Ninety-Nine";
    for (int n = 1; n <= 99; ++n) {
        CDTrack track = CDTrack::make("Track " + std::to_string(n) + " runs past 15", std::nullopt,
                                      n == 1 ? 150 : 2, 300 * 588);
        if (n % 10 == 0)
            track.subIndexFrames = {100};
        p.tracks.push_back(std::move(track));
    }
    return p;
}

std::vector<Shape> shapes() {
    return {{"sample", sampleProject()},
            {"two-languages", twoLanguages()},
            {"crossfade", crossfadeAndEdits()},
            {"no-text", withoutText()},
            {"full-disc", fullDisc()}};
}

void putSeed(const std::string& kind, const std::string& name, const std::string& bytes) {
    const fs::path folder = kSeedFolder / kind;
    fs::create_directories(folder);
    putFile(folder / name, bytes);
}

TEST(FuzzSeedCorpus, everyWrittenStreamAndDocumentReadsBackInFull) {
    // For every shape of project the streams parse back to the layout and texts they were written
    // from and the document decodes to the same project; then each becomes a seed.
    for (const Shape& shape : shapes()) {
        SCOPED_TRACE(shape.name);
        const auto positions = TimelineCalculator::calculatePositions(shape.project);
        ASSERT_TRUE(positions.has_value());

        const std::string pq = DDPWriter::pqDescrData(shape.project, *positions);
        const auto parsedPQ = DDPReader::parsePQ(pq);
        ASSERT_TRUE(parsedPQ.has_value());
        ASSERT_EQ(parsedPQ->tracks.size(), positions->size());
        EXPECT_EQ(parsedPQ->leadOutLBA, positions->back().endLBA);
        for (std::size_t i = 0; i < positions->size(); ++i) {
            EXPECT_EQ(parsedPQ->tracks[i].index01, (*positions)[i].index01LBA) << i;
            EXPECT_EQ(parsedPQ->tracks[i].isrc, DDPWriter::sanitizedISRC(shape.project.tracks[i].isrc)) << i;
        }

        const auto cdText = DDPWriter::cdTextData(shape.project);
        EXPECT_EQ(cdText.has_value(), shape.name != "no-text");
        const std::string map = DDPWriter::ddpmsData(
            positions->back().endLBA, positions->front().index01LBA, static_cast<std::int64_t>(pq.size()),
            cdText ? std::optional(static_cast<std::int64_t>(cdText->size())) : std::nullopt);
        const auto streams = DDPReader::parseDDPMS(map);
        ASSERT_EQ(streams.size(), cdText ? 3u : 2u);
        EXPECT_EQ(streams.back().length, positions->back().endLBA);
        EXPECT_EQ(streams.front().length, static_cast<std::int64_t>(pq.size()));

        if (cdText) {
            const CDTextBlock block = DDPReader::parseCDText(*cdText, 0);
            for (std::size_t i = 0; i < shape.project.tracks.size(); ++i) {
                const std::string& title = shape.project.tracks[i].title;
                EXPECT_EQ(DDPReader::text(block, 0x80, static_cast<std::int64_t>(i + 1)),
                          title.empty() ? std::nullopt : std::optional(title))
                    << i;
            }
            if (shape.project.cdTextLanguage2Code) {
                EXPECT_EQ(DDPReader::parseCDTextLanguage(*cdText, 1), shape.project.cdTextLanguage2Code);
            }
            putSeed("cdtext", shape.name + ".bin", *cdText);
        }

        const nlohmann::json document{{"version", 1}, {"project", ProjectCoding::encode(shape.project)}};
        const auto decoded = ProjectCoding::decode(document.at("project"));
        ASSERT_TRUE(decoded.has_value()) << decoded.error().description();
        EXPECT_EQ(*decoded, shape.project);

        const std::string sheet = CUEExporter::cueText(shape.project, *positions, "image.wav");
        const ParsedSheet parsedSheet = CUEImporter::parse(sheet);
        ASSERT_EQ(parsedSheet.tracks.size(), positions->size());
        for (std::size_t i = 0; i < positions->size(); ++i)
            EXPECT_EQ(parsedSheet.tracks[i].index01, (*positions)[i].index01LBA) << i;
        putSeed("cue-sheet", shape.name + ".cue", sheet);

        putSeed("ddp-stream", shape.name + "-pqdescr", pq);
        putSeed("ddp-stream", shape.name + "-ddpms", map);
        // A document of 99 tracks would raise the fuzzer's input size to its length and slow every run.
        if (shape.project.tracks.size() < 10)
            putSeed("project", shape.name + ".ovproj", document.dump(2));
    }
}

} // namespace
} // namespace orvane::testing
