#include "model/EnvelopeCurve.h"

#include "model/detail/SaturatingMath.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <utility>

namespace orvane {

namespace {

// Clamped to 0...1; a value that is not a number counts as 0, a straight line.
float unitClamped(float value) noexcept {
    return value > 0.0f ? std::min(value, 1.0f) : 0.0f;
}

// Distance between two positions as a divisor: at least one sample.
float spanSamples(std::int64_t from, std::int64_t to) noexcept {
    return static_cast<float>(std::max<std::int64_t>(detail::saturatingSub(to, from), 1));
}

// Fritsch–Carlson: secant slopes, averaged inside monotone runs, flat at extrema, then limited so
// that no segment overshoots its two levels. The ends are flat.
std::vector<float> monotoneTangents(const std::vector<GainPoint>& pts) {
    const std::size_t n = pts.size();
    if (n == 0)
        return {};
    if (n == 1)
        return {0.0f};

    std::vector<float> slope(n - 1);
    for (std::size_t i = 0; i + 1 < n; ++i)
        slope[i] = (pts[i + 1].gainDB - pts[i].gainDB) /
                   spanSamples(pts[i].positionSamples, pts[i + 1].positionSamples);

    std::vector<float> tangent(n);
    tangent[0] = slope[0];
    tangent[n - 1] = slope[n - 2];
    for (std::size_t k = 1; k + 1 < n; ++k)
        tangent[k] = slope[k - 1] * slope[k] <= 0.0f ? 0.0f : (slope[k - 1] + slope[k]) / 2.0f;

    for (std::size_t i = 0; i + 1 < n; ++i) {
        if (slope[i] == 0.0f) {
            tangent[i] = 0.0f;
            tangent[i + 1] = 0.0f;
            continue;
        }
        const float a = tangent[i] / slope[i];
        const float b = tangent[i + 1] / slope[i];
        const float radiusSquared = a * a + b * b;
        if (radiusSquared > 9.0f) {
            const float scale = 3.0f / std::sqrt(radiusSquared);
            tangent[i] *= scale;
            tangent[i + 1] *= scale;
        }
    }
    tangent[0] = 0.0f;
    tangent[n - 1] = 0.0f;
    return tangent;
}

} // namespace

EnvelopeCurve::EnvelopeCurve(std::vector<GainPoint> points, float globalSmoothing)
    : pts(std::move(points)), global(unitClamped(globalSmoothing)) {
    std::stable_sort(pts.begin(), pts.end(), [](const GainPoint& a, const GainPoint& b) {
        return a.positionSamples < b.positionSamples;
    });
    tan = monotoneTangents(pts);
    for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
        const GainPoint& p0 = pts[i];
        const GainPoint& p1 = pts[i + 1];
        const float h = spanSamples(p0.positionSamples, p1.positionSamples);
        const float m = (p1.gainDB - p0.gainDB) / h;
        // Smoothing blends each end between the secant (0) and the monotone tangent (1).
        const float r0 = unitClamped(p0.smoothing.value_or(global));
        const float r1 = unitClamped(p1.smoothing.value_or(global));
        segments.push_back({h, m + r0 * (tan[i] - m), m + r1 * (tan[i + 1] - m)});
    }
}

namespace {

// The segment's cubic at t = offset / h; one expression for the single and the run evaluation, so
// that both give the same bits.
inline float hermite(float offset, const EnvelopeCurve::Segment& s, float dB0, float dB1) noexcept {
    const float t = offset / s.h;
    const float t2 = t * t;
    const float t3 = t2 * t;
    return (2.0f * t3 - 3.0f * t2 + 1.0f) * dB0 + (t3 - 2.0f * t2 + t) * s.h * s.m0 +
           (3.0f * t2 - 2.0f * t3) * dB1 + (t3 - t2) * s.h * s.m1;
}

// Moves the cursor to the segment of a sample strictly between the first and the last point: the
// last segment whose first point is at or before it.
void seek(const std::vector<GainPoint>& pts, std::int64_t atSample, std::int64_t& seg) noexcept {
    const auto n = static_cast<std::int64_t>(pts.size());
    seg = std::clamp<std::int64_t>(seg, 0, n - 2);
    while (seg + 2 < n && pts[static_cast<std::size_t>(seg + 1)].positionSamples <= atSample)
        ++seg;
    while (seg > 0 && pts[static_cast<std::size_t>(seg)].positionSamples > atSample)
        --seg;
}

} // namespace

float EnvelopeCurve::dB(std::int64_t atSample, std::int64_t& seg) const noexcept {
    assert(tan.size() == pts.size() && segments.size() + 1 == std::max<std::size_t>(pts.size(), 1));
    if (pts.empty())
        return 0.0f;
    if (atSample <= pts.front().positionSamples)
        return pts.front().gainDB;
    if (atSample >= pts.back().positionSamples)
        return pts.back().gainDB;
    // From here there are two points at least, the first strictly before the sample, the last after.
    seek(pts, atSample, seg);
    const auto i = static_cast<std::size_t>(seg);
    return hermite(static_cast<float>(detail::saturatingSub(atSample, pts[i].positionSamples)), segments[i],
                   pts[i].gainDB, pts[i + 1].gainDB);
}

void EnvelopeCurve::dBRun(std::int64_t fromSample, std::size_t count, float* out,
                          std::int64_t& seg) const noexcept {
    if (pts.empty()) {
        std::fill_n(out, count, 0.0f);
        return;
    }
    const std::int64_t first = pts.front().positionSamples;
    const std::int64_t last = pts.back().positionSamples;
    std::size_t k = 0;
    // Samples left from `at` up to, not including, `end`, as a count no larger than what is left.
    const auto upTo = [&](std::int64_t at, std::int64_t end) {
        const std::int64_t gap = detail::saturatingSub(end, at);
        return std::min(static_cast<std::size_t>(std::max<std::int64_t>(gap, 1)), count - k);
    };
    while (k < count) {
        const std::int64_t at = detail::saturatingAdd(fromSample, static_cast<std::int64_t>(k));
        if (at <= first) {
            const std::size_t m = upTo(at, detail::saturatingAdd(first, 1));
            std::fill_n(out + k, m, pts.front().gainDB);
            k += m;
            continue;
        }
        if (at >= last) {
            std::fill_n(out + k, count - k, pts.back().gainDB);
            return;
        }
        seek(pts, at, seg);
        const auto i = static_cast<std::size_t>(seg);
        const std::size_t m = upTo(at, pts[i + 1].positionSamples);
        const std::int64_t offset = detail::saturatingSub(at, pts[i].positionSamples);
        float* to = out + k;
        if (offset <= std::numeric_limits<std::int32_t>::max() - static_cast<std::int64_t>(m)) {
            // Offsets that fit 32 bits convert to the same floats, and the loop runs in vector lanes.
            const Segment s = segments[i];
            const float dB0 = pts[i].gainDB;
            const float dB1 = pts[i + 1].gainDB;
            const auto first32 = static_cast<std::int32_t>(offset);
            for (std::size_t j = 0; j < m; ++j)
                to[j] = hermite(static_cast<float>(first32 + static_cast<std::int32_t>(j)), s, dB0, dB1);
        } else {
            for (std::size_t j = 0; j < m; ++j)
                to[j] = dB(at + static_cast<std::int64_t>(j), seg);
        }
        k += m;
    }
}

} // namespace orvane
