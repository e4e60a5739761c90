#pragma once
// One track of the disc. Its own fields describe the active take, the one on the disc;
// `versions` holds the others. Edit fields belong to the track and survive a swap of takes.

#include "model/FileURL.h"
#include "model/GainPoint.h"
#include "model/RedBook.h"
#include "model/StoredLoudness.h"
#include "model/Timestamp.h"
#include "model/TrackVersion.h"
#include "model/Uuid.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvane {

struct CDTrack {
    Uuid id;
    std::optional<FileURL> audioFileURL;
    std::optional<Timestamp> creationDate;
    std::vector<TrackVersion> versions;
    std::string title;
    std::optional<std::string> isrc;
    std::optional<std::string> performer;
    std::optional<std::string> songwriter;
    std::optional<std::string> composer;
    std::optional<std::string> arranger;
    std::optional<std::string> message;
    std::optional<std::string> note;
    std::optional<std::string> titleLang2;
    std::optional<std::string> performerLang2;
    std::optional<std::string> songwriterLang2;
    std::optional<std::string> composerLang2;
    std::optional<std::string> arrangerLang2;
    std::optional<std::string> messageLang2;
    std::int64_t trimStartSamples = 0;
    std::int64_t trimEndSamples = 0;
    std::int64_t fadeInSamples = 0;
    std::int64_t fadeOutSamples = 0;
    float fadeInCurve = 0.0f;
    float fadeOutCurve = 0.0f;
    float crossfadeCurve = 0.0f; // curve of the crossfade into this track
    bool gainEnabled = false;
    float gainDB = 0.0f;
    std::vector<GainPoint> gainPoints;
    bool envelopeEnabled = false;
    float envelopeSmoothing = 0.0f;
    CDTime preGap;                       // signed: negative overlaps the previous track
    std::int64_t sourceAudioSamples = 0; // length of the active take in disc samples
    bool indexLocked = true;
    std::int64_t index01OffsetFrames = 0;
    std::vector<std::int64_t> subIndexFrames; // INDEX 02.. as frames after INDEX 01, raw
    bool preEmphasis = false;
    bool copyPermitted = false;
    std::optional<std::string> srcAlgorithm;
    bool ditherEnabled = true;
    std::optional<std::string> srcPhase;
    std::int64_t versionColorSeq = 0;
    std::optional<std::string> activeColorHex;
    std::optional<std::string> activeLabel;
    std::optional<std::string> activeNote;
    std::optional<std::int64_t> activeRating;
    std::optional<StoredLoudness> loudness;

    // A fresh id, these four values, and the default of every other field.
    static CDTrack make(std::string title, std::optional<std::string> isrc, std::int64_t preGapFrames,
                        std::int64_t sourceAudioSamples);

    // ceil(max(0, source - trims) / 588) frames.
    CDTime effectiveLength() const;
    // max(0, effectiveLength - 300): at least minTrackFrames stay after INDEX 01.
    std::int64_t maxIndex01Offset() const;
    // 0 when locked, else index01OffsetFrames clamped to 0...maxIndex01Offset.
    std::int64_t effectiveIndex01Offset() const;
    // The sub-index offsets fit to write out: 1 <= v < maxExclusive, unique, ascending, at most 98.
    std::vector<std::int64_t> sanitizedSubIndexOffsets(std::int64_t maxExclusive) const;

    bool operator==(const CDTrack&) const = default;
};

} // namespace orvane
