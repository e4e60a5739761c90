#pragma once
// Why a running order cannot be laid out on a disc. Carries no text of its own; description()
// is for the console line "RedBook Validation Error: ...".

#include <cstdint>
#include <string>
#include <variant>

namespace orvane {

struct DDPError {
    struct TrackTooShort {
        std::int64_t track = 0; // 1-based
        bool operator==(const TrackTooShort&) const = default;
    };
    struct TooManyTracks {
        bool operator==(const TooManyTracks&) const = default;
    };

    std::variant<TrackTooShort, TooManyTracks> value;

    static DDPError trackTooShort(std::int64_t track) { return DDPError{TrackTooShort{track}}; }
    static DDPError tooManyTracks() { return DDPError{TooManyTracks{}}; }

    std::string description() const; // "trackTooShort(track: 3)", "tooManyTracks"
    bool operator==(const DDPError&) const = default;
};

} // namespace orvane
