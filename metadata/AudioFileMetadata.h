#pragma once
// What a file's embedded tags say about a new track: the fields a dropped file pre-fills. Each is
// absent when no tag gave a usable value. Pure value; any thread.

#include <optional>
#include <string>

namespace orvane {

struct AudioFileMetadata {
    std::optional<std::string> isrc; // normalised: 12 characters, upper case, no separators
    std::optional<std::string> title;
    std::optional<std::string> performer;
    std::optional<std::string> composer;
    std::optional<std::string> songwriter;

    bool operator==(const AudioFileMetadata&) const = default;
};

} // namespace orvane
