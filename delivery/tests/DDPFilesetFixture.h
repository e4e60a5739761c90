#pragma once
// Builds DDP filesets in a temporary folder with the writer's own streams and a synthesised image,
// for the reader and verifier tests.

#include "delivery/CDTextEncoder.h"
#include "delivery/DDPWriter.h"
#include "delivery/FilesetChecksum.h"
#include "model/CDProject.h"
#include "model/TimelineCalculator.h"
#include "testsupport/TempFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace orvane::testing {

namespace fs = std::filesystem;

inline void putFile(const fs::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

inline std::string fileBytes(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Three tracks with every field the fileset carries: pre-gaps of 150, 75 and 0 frames, ISRCs,
// flags, sub-indexes, CD-Text in Latin-1 and an MCN.
inline CDProject sampleProject() {
    CDProject p;
    p.mcn = "4006381333931";
    p.masterID = "ORV-MASTER-0001";
    p.albumTitle = "Caf\u00E9 Sessions";
    p.albumPerformer = "The Testers";
    p.discID = "DISC-1";
    p.genreCode = 8;
    p.genreText = "Jazz";
    p.cdTextLanguageCode = 9;
    CDTrack t1 = CDTrack::make("Opening", "GBAYE2600001", 150, 400 * 588);
    t1.performer = "First Performer";
    t1.preEmphasis = true;
    CDTrack t2 = CDTrack::make("S\u00FC\u00DFe Mitte", "GBAYE2600002", 75, 380 * 588);
    t2.copyPermitted = true;
    t2.subIndexFrames = {30, 90};
    t2.composer = "A. Composer";
    CDTrack t3 = CDTrack::make("Closing Time", std::nullopt, 0, 350 * 588);
    t3.preEmphasis = true;
    t3.copyPermitted = true;
    p.tracks = {t1, t2, t3};
    return p;
}

// 16-bit little-endian stereo: a ramp over the tracks' audio, digital zero in every pause.
inline std::string synthesisedImage(const std::vector<TrackPosition>& positions) {
    const std::int64_t frames = positions.empty() ? 0 : positions.back().endLBA;
    std::string image(static_cast<std::size_t>(frames * 2352), '\0');
    for (const TrackPosition& p : positions)
        for (std::int64_t s = p.audioStartLBA * 588; s < p.audioEndLBA * 588; ++s) {
            const auto left = static_cast<std::uint16_t>(1 + (s * 37) % 30000);
            const auto right = static_cast<std::uint16_t>(~left);
            char* at = image.data() + s * 4;
            at[0] = static_cast<char>(left & 0xFF);
            at[1] = static_cast<char>(left >> 8);
            at[2] = static_cast<char>(right & 0xFF);
            at[3] = static_cast<char>(right >> 8);
        }
    return image;
}

// Writes DDPID, DDPMS, PQDESCR, CDTEXT.BIN (when the project has text), IMAGE.DAT and checksum.md5.
inline std::vector<TrackPosition> writeFileset(const fs::path& folder, const CDProject& project) {
    const auto positions = TimelineCalculator::calculatePositions(project);
    EXPECT_TRUE(positions.has_value());
    const std::string pq = DDPWriter::pqDescrData(project, *positions);
    const auto cdText = DDPWriter::cdTextData(project);
    putFile(folder / "DDPID", DDPWriter::ddpidData(project));
    putFile(folder / "PQDESCR", pq);
    if (cdText)
        putFile(folder / "CDTEXT.BIN", *cdText);
    putFile(folder / "IMAGE.DAT", synthesisedImage(*positions));
    putFile(
        folder / "DDPMS",
        DDPWriter::ddpmsData(
            positions->back().endLBA, positions->front().index01LBA, static_cast<std::int64_t>(pq.size()),
            cdText ? std::optional<std::int64_t>(static_cast<std::int64_t>(cdText->size())) : std::nullopt));
    const auto checksums = FilesetChecksum::build(folder, {});
    EXPECT_TRUE(checksums.has_value());
    putFile(folder / "checksum.md5", checksums.value_or(""));
    return *positions;
}

} // namespace orvane::testing
