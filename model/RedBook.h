#pragma once
// The one grid of the disc: the Red Book constants and CDTime, a signed count of CD frames.
// No other unit defines these numbers again. Pure values; any thread.

#include <compare>
#include <cstdint>
#include <string>

namespace orvane {

namespace RedBook {
inline constexpr std::int64_t sampleRate = 44100;
inline constexpr std::int64_t samplesPerFrame = 588; // stereo sample pairs per CD frame
inline constexpr std::int64_t bytesPerFrame = 2352;
inline constexpr std::int64_t framesPerSecond = 75;
inline constexpr std::int64_t minTrackFrames = 300; // 4 seconds
inline constexpr std::int64_t track1PregapFrames = 150;
inline constexpr std::int64_t maxTracks = 99;

// A source file's length in disc samples when it enters the project: the frame count as it is at
// exactly 44,100 Hz, else (44100.0 / rate) * frames in double, truncated toward zero.
std::int64_t discSamplesForFileLength(std::int64_t fileFrames, double fileSampleRate);

} // namespace RedBook

struct MSF {
    std::int64_t minutes = 0;
    std::int64_t seconds = 0;
    std::int64_t frames = 0;
    bool operator==(const MSF&) const = default;
};

// Negative values are legal: a negative pre-gap is an overlap with the previous track.
struct CDTime {
    std::int64_t totalFrames = 0;

    static constexpr CDTime frames(std::int64_t n) { return CDTime{n}; }
    // Disc samples to frames, always rounded up (ceil(n / 588.0) in double): 1 -> 1, 589 -> 2, -1 -> 0.
    static CDTime fromSamples(std::int64_t samples);

    constexpr std::int64_t samples() const { return totalFrames * RedBook::samplesPerFrame; }
    constexpr double seconds() const {
        return static_cast<double>(totalFrames) / static_cast<double>(RedBook::framesPerSecond);
    }
    MSF msf() const;               // of the absolute value; minutes do not wrap
    std::string msfString() const; // "-00:01:01" for -76 frames, "60:00:00" for 270000

    auto operator<=>(const CDTime&) const = default;
};

} // namespace orvane
