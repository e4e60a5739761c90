#pragma once
// The JSON document the preview player runs on: album, tracks with their CD-Text and times in the
// encoded audio (which starts at disc frame 0, so the first track's INDEX 01 lies at 2.0 s), and a
// fresh token that ties an approval mail to one export. Plain values and pure functions; any thread.
#include "model/CDProject.h"
#include "model/TrackPosition.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvane {

// In the order the menus list them.
enum class PreviewFormat { quality, light, smartphone };

struct PreviewManifest {
    struct Album {
        std::string title, performer, songwriter, composer, arranger, message, mcn;
        std::int64_t trackCount = 0;
        double totalSeconds = 0.0; // the last track's endLBA / 75
        std::string totalMSF;
        bool operator==(const Album&) const = default;
    };
    struct Track {
        std::int64_t number = 0;
        std::string title, performer, songwriter, composer, arranger, message, isrc;
        std::optional<std::string> index00MSF; // only when the track has a pre-gap of its own
        std::string index01MSF, endMSF;
        double startSeconds = 0.0, endSeconds = 0.0;
        bool preEmphasis = false, copyPermitted = false;
        bool operator==(const Track&) const = default;
    };

    std::string generator = "Orvane";
    std::int64_t version = 1;
    std::string format;     // "oprq" for quality, "oprl" for light and smartphone
    std::string audioCodec; // "flac" or "aac"
    std::string audioFile;  // the audio's name beside the page; empty when it is inside the page
    std::string approvalEmail;
    std::string token; // a random UUID, upper case, new for every export
    Album album;
    std::vector<Track> tracks;

    bool operator==(const PreviewManifest&) const = default;
};

namespace PreviewManifests {

// The manifest of the project's disc; positions pair with project.tracks by index.
PreviewManifest build(const CDProject& project, const std::vector<TrackPosition>& positions,
                      PreviewFormat format, const std::string& audioFile, const std::string& approvalEmail);

// Pretty-printed JSON with sorted keys and slashes as they are. Text that is not valid UTF-8 has its
// bad bytes replaced by U+FFFD. Every "<" is written as the escape \u003c (the same JSON value), so the
// text can stand inside a script element whatever a title holds.
std::string json(const PreviewManifest& manifest);

} // namespace PreviewManifests

} // namespace orvane
