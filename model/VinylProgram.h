#pragma once
// The vinyl release of a project: its tracks arranged into sides, by track id, with a gap per
// placement and an optional vinyl-only edit. Pure values and functions; any thread.

#include "model/FileURL.h"
#include "model/GainPoint.h"
#include "model/Uuid.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

struct CDTrack;
struct CDProject;

// The vinyl-only override of a track's edit, and optionally a take for vinyl alone.
struct VinylEdit {
    std::int64_t trimStartSamples = 0;
    std::int64_t trimEndSamples = 0;
    std::int64_t fadeInSamples = 0;
    std::int64_t fadeOutSamples = 0;
    float fadeInCurve = 0.0f;
    float fadeOutCurve = 0.0f;
    bool gainEnabled = false;
    float gainDB = 0.0f;
    float crossfadeCurve = 0.0f;
    bool envelopeEnabled = false;
    std::vector<GainPoint> gainPoints;
    float envelopeSmoothing = 0.0f;
    std::optional<FileURL> takeURL;
    std::int64_t takeSourceSamples = 0; // disc samples; 0 without a take
    std::optional<std::string> takeSRCAlgorithm;
    std::optional<std::string> takeSRCPhase;

    static VinylEdit from(const CDTrack& track); // equals the track's CD edit, no take
    void apply(CDTrack& track) const;            // the take (if any), then the twelve edit fields

    bool operator==(const VinylEdit&) const = default;
};

// One placement of a track on a side.
struct ProgramEntry {
    Uuid id;
    Uuid trackID;
    std::int64_t gapFrames = 0; // negative is a segue of that many frames
    std::optional<VinylEdit> edit;

    bool operator==(const ProgramEntry&) const = default;
};

// One side.
struct ProgramGroup {
    Uuid id;
    std::string label;
    std::vector<ProgramEntry> entries;
    std::optional<std::string> matrixNumber;

    bool operator==(const ProgramGroup&) const = default;
};

struct VinylFormat {
    std::string_view name;
    std::int64_t targetFrames = 0;

    static std::span<const VinylFormat> presets(); // 12″ 33⅓, 12″ 45, 10″ 33⅓, 7″ 45, in that order
};

struct EntryLocation {
    std::size_t side = 0;
    std::size_t position = 0;
    bool operator==(const EntryLocation&) const = default;
};

struct VinylProgram {
    std::vector<ProgramGroup> sides;
    std::int64_t sideTargetFrames = 99000;
    std::optional<std::string> formatName;

    static std::string sideLabel(std::size_t index); // "Side A".."Side H", then "Side 9", ...
    // Two sides split where their lengths are closest, never inside a segue; ties go to the earlier split.
    static VinylProgram defaultProgram(const CDProject& project);

    void sanitize(const CDProject& project); // drop entries of missing or repeated tracks; keep 2 sides
    void removeSide(std::size_t index);      // only with more than 2 sides; relabels the rest

    // The placement of a track: the first match, sides in order, entries in order.
    std::optional<EntryLocation> entryLocation(const Uuid& trackID) const;
    std::optional<std::size_t> sideIndex(const Uuid& trackID) const;
    // The track's override; nothing when it has none or stands on no side.
    std::optional<VinylEdit> edit(const Uuid& trackID) const;
    // The project's tracks on no side ("Not on Vinyl"), in project order.
    std::vector<Uuid> unusedTrackIDs(const CDProject& project) const;
    // The track as vinyl hears it: its CD fields with the vinyl edit applied; nothing for an unknown id.
    std::optional<CDTrack> effectiveTrack(const Uuid& trackID, const CDProject& project) const;
    // One side as an ordinary disc: the side's tracks with their gaps, edits applied and CD index
    // markers dropped, the first with the 2-second pre-gap. Out of range: no tracks.
    CDProject sideProject(std::size_t index, const CDProject& project) const;
    // First audio frame to last of the side's layout; nothing for an empty side or a failed layout.
    std::optional<std::int64_t> sideLengthFrames(std::size_t index, const CDProject& project) const;

    bool operator==(const VinylProgram&) const = default;
};

} // namespace orvane
