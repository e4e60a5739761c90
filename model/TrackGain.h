#pragma once
// Level constants and the dB-to-multiplier rules of a track's gain stage and of the crossfade
// law between two tracks. All arithmetic is 32-bit float. Pure; any thread.

#include <algorithm>
#include <cmath>

namespace orvane {

struct CDTrack;

namespace TrackGain {

inline constexpr float curveMinDB = -60.0f;  // lowest envelope level; at or below it the level is silence
inline constexpr float curveMaxDB = 0.0f;    // highest envelope level
inline constexpr float masterMinDB = -24.0f; // lowest static gain
inline constexpr float masterMaxDB = 12.0f;  // highest static gain

// 10^(dB / 20).
inline float linear(float dB) noexcept {
    return std::pow(10.0f, dB / 20.0f);
}

// As linear, but exactly 0 at or below curveMinDB, so an envelope can silence a track.
inline float linearCurve(float dB) noexcept {
    return dB <= curveMinDB ? 0.0f : linear(dB);
}

struct CrossfadeGains {
    float out = 0.0f;    // multiplier of the outgoing track
    float fadeIn = 0.0f; // multiplier of the incoming track

    bool operator==(const CrossfadeGains&) const = default;
};

// The crossfade law of one overlap, prepared once: curve 0 is equal gain; otherwise both sides
// are raised to e = 2^(-curve): +1 is equal power, -1 squares them. The curve is the incoming
// track's crossfadeCurve.
struct CrossfadeLaw {
    float curve = 0.0f;
    float exponent = 1.0f;

    explicit CrossfadeLaw(float crossfadeCurve) noexcept
        : curve(crossfadeCurve), exponent(std::exp2(-crossfadeCurve)) {}

    // Gains at x (0...1, clamped) through the overlap.
    CrossfadeGains at(float x) const noexcept {
        const float t = std::clamp(x, 0.0f, 1.0f);
        if (curve == 0.0f)
            return {1.0f - t, t};
        return {std::pow(1.0f - t, exponent), std::pow(t, exponent)};
    }
};

// The law's gains at one x, for a single look-up; loops hold a CrossfadeLaw.
inline CrossfadeGains crossfadeGains(float x, float curve) noexcept {
    return CrossfadeLaw(curve).at(x);
}

// Whether the gain stage does anything: a non-zero enabled static gain, or an enabled envelope
// with at least one point. An enabled gain of exactly 0 dB alone is inactive.
bool isActive(const CDTrack& track) noexcept;

} // namespace TrackGain

} // namespace orvane
