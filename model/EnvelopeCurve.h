#pragma once
// A track's gain envelope prepared once from its points: the points sorted by position and one
// monotone tangent per point. Evaluation is a cubic Hermite per segment, bent between the straight
// line and the monotone curve by each point's smoothing. Immutable after creation; any thread.
// The cursor handed to dB() belongs to the caller.

#include "model/GainPoint.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvane {

struct EnvelopeCurve {
    std::vector<GainPoint> pts; // ascending by positionSamples; equal positions keep their order
    std::vector<float> tan;     // one tangent per point, dB per sample
    float global = 0.0f;        // the track's smoothing, clamped to 0...1

    // What evaluation needs of each segment between point i and i + 1, worked out once.
    struct Segment {
        float h;  // its length in samples, at least 1
        float m0; // end tangents, each bent by its point's smoothing
        float m1;
        bool operator==(const Segment&) const = default;
    };
    std::vector<Segment> segments; // one fewer than the points

    EnvelopeCurve() = default;
    EnvelopeCurve(std::vector<GainPoint> points, float globalSmoothing);

    bool isEmpty() const noexcept { return pts.empty(); }

    // Level in dB at a sample offset; flat before the first point and after the last, 0 without
    // points. `seg` is a cursor on the segment used last: consecutive samples cost no search and
    // any jump costs only the walk to the new segment. Any value of `seg` is accepted.
    float dB(std::int64_t atSample, std::int64_t& seg) const noexcept;
    // dB() of `count` consecutive samples from `fromSample` into `out`, the same values one by one;
    // the samples of a segment are worked out side by side.
    void dBRun(std::int64_t fromSample, std::size_t count, float* out, std::int64_t& seg) const noexcept;
    // The same with a cursor of its own, for single look-ups.
    float dB(std::int64_t atSample) const noexcept {
        std::int64_t seg = 0;
        return dB(atSample, seg);
    }

    bool operator==(const EnvelopeCurve&) const = default;
};

} // namespace orvane
