#pragma once
// A take in a track's stack: an alternative source for the same track.

#include "model/FileURL.h"
#include "model/StoredLoudness.h"
#include "model/Timestamp.h"
#include "model/Uuid.h"

#include <cstdint>
#include <optional>
#include <string>

namespace orvane {

struct CDTrack;

struct TrackVersion {
    Uuid id;
    FileURL url;
    std::optional<Timestamp> creationDate;
    std::optional<std::string> colorHex;
    std::optional<std::string> label;
    std::optional<std::string> note;
    std::optional<std::string> srcAlgorithm;
    std::optional<std::string> srcPhase;
    std::optional<std::int64_t> rating;
    std::optional<StoredLoudness> loudness;

    // A fresh id, the file, everything else absent.
    static TrackVersion make(FileURL url, std::optional<Timestamp> creationDate = std::nullopt);
    // The track's active take as a stack entry for a vinyl side: the track's id, the given URL,
    // and the active take's date, colour, label, note, converter, phase and rating; no loudness.
    static TrackVersion cdActiveOf(const CDTrack& track, FileURL url);

    bool operator==(const TrackVersion&) const = default;
};

} // namespace orvane
