#include "interface/WaveformDrawing.h"

#include "analysis/WaveformGenerator.h"
#include "model/BezierFade.h"
#include "model/CDTrack.h"
#include "model/GainEvaluator.h"
#include "model/RedBook.h"
#include "model/TrackGain.h"

#include <algorithm>
#include <cmath>

namespace orvane::WaveformDrawing {

FadeShape fadeShape(const CDTrack& track) {
    return {track.fadeInSamples, track.fadeOutSamples, track.fadeInCurve, track.fadeOutCurve};
}

float fadeMultiplier(const FadeShape& fades, std::int64_t i, std::int64_t effectiveLengthSamples) {
    if (fades.fadeInSamples > 0 && i < fades.fadeInSamples) {
        const float t = static_cast<float>(i) / static_cast<float>(fades.fadeInSamples);
        return BezierFade::multiplier(t, fades.fadeInCurve);
    }
    const std::int64_t outStart = effectiveLengthSamples - fades.fadeOutSamples;
    if (fades.fadeOutSamples > 0 && i >= outStart) {
        const float t = 1.0f - static_cast<float>(i - outStart) / static_cast<float>(fades.fadeOutSamples);
        return BezierFade::multiplier(std::clamp(t, 0.0f, 1.0f), fades.fadeOutCurve);
    }
    return 1.0f;
}

GainTable gainTable(const CDTrack& track, std::size_t count, std::uint64_t version) {
    GainTable table;
    table.version = version;
    GainEvaluator evaluator(track);
    if (evaluator.isUnity) {
        return table;
    }
    if (!evaluator.hasPoints) {
        table.constGain = evaluator.baseMultiplier;
        return table;
    }
    const std::size_t n = std::max<std::size_t>(count, 2);
    const std::int64_t length = track.effectiveLength().totalFrames * RedBook::samplesPerFrame;
    table.values.resize(n);
    for (std::size_t k = 0; k < n; ++k) {
        const double at = static_cast<double>(k) * static_cast<double>(length) / static_cast<double>(n - 1);
        table.values[k] = evaluator.multiplier(static_cast<std::int64_t>(std::llround(at)));
    }
    return table;
}

float gainAt(const GainTable& table, std::int64_t i, std::int64_t effectiveLengthSamples) {
    if (table.values.empty()) {
        return table.constGain;
    }
    if (effectiveLengthSamples <= 0 || table.values.size() == 1) {
        return table.values.front();
    }
    const double fraction =
        std::clamp(static_cast<double>(i) / static_cast<double>(effectiveLengthSamples), 0.0, 1.0);
    const double at = fraction * static_cast<double>(table.values.size() - 1);
    const auto lower = static_cast<std::size_t>(std::floor(at));
    const std::size_t upper = std::min(lower + 1, table.values.size() - 1);
    const auto w = static_cast<float>(at - static_cast<double>(lower));
    return table.values[lower] * (1.0f - w) + table.values[upper] * w;
}

Path choosePath(double pointsPerPixel) {
    return pointsPerPixel <= samplesPathMaxPointsPerPixel ? Path::samples : Path::peaks;
}

bool shouldPrewarmSamples(double pointsPerPixel) {
    return pointsPerPixel > samplesPathMaxPointsPerPixel && pointsPerPixel <= prewarmMaxPointsPerPixel;
}

float Scaling::multiplier(std::int64_t i) const {
    const float fade = fadeMultiplier(fades, i, effectiveLengthSamples);
    const float g = gain ? gainAt(*gain, i, effectiveLengthSamples) : 1.0f;
    return fade * g * static_cast<float>(amplitudeZoom);
}

namespace {

// The first slot (a multiple of slotPx) that meets `localStart`, never before the audio's start.
double firstSlot(double localStart) {
    return std::max(0.0, std::floor(localStart / slotPx) * slotPx);
}

double clipValue(double v) {
    return std::clamp(v, -1.0, 1.0);
}

} // namespace

std::vector<Slot> peaksSlots(const PeaksInput& in) {
    std::vector<Slot> out;
    if (in.peaks == nullptr || in.peaks->size() < 2 || !(in.bucketsPerPixel > 0) ||
        in.effectiveBuckets <= 0 || !(in.localEnd > in.localStart)) {
        return out;
    }
    const auto fileBuckets = static_cast<std::int64_t>(in.peaks->size() / 2);
    const std::int64_t usable = std::min(in.effectiveBuckets, fileBuckets - in.trimStartBuckets);
    if (usable <= 0) {
        return out;
    }
    const double audioWidth = static_cast<double>(in.effectiveBuckets) / in.bucketsPerPixel;
    const double end = std::min(in.localEnd, audioWidth);
    for (double s = firstSlot(in.localStart); s < end; s += slotPx) {
        auto lo = static_cast<std::int64_t>(std::floor(s * in.bucketsPerPixel));
        auto hi = static_cast<std::int64_t>(std::ceil((s + slotPx) * in.bucketsPerPixel));
        lo = std::clamp<std::int64_t>(lo, 0, usable - 1);
        hi = std::clamp<std::int64_t>(hi, lo + 1, usable);
        float mn = (*in.peaks)[static_cast<std::size_t>(2 * (lo + in.trimStartBuckets))];
        float mx = (*in.peaks)[static_cast<std::size_t>(2 * (lo + in.trimStartBuckets) + 1)];
        for (std::int64_t b = lo + 1; b < hi; ++b) {
            const auto k = static_cast<std::size_t>(2 * (b + in.trimStartBuckets));
            mn = std::min(mn, (*in.peaks)[k]);
            mx = std::max(mx, (*in.peaks)[k + 1]);
        }
        const double centreBucket = (s + 0.5 * slotPx) * in.bucketsPerPixel;
        const float m = in.scaling.multiplier(static_cast<std::int64_t>(centreBucket * in.samplesPerBucket));
        out.push_back(Slot{in.audioStartX + s, mx * m, mn * m});
    }
    return out;
}

std::vector<Slot> mixSlots(const std::vector<Slot>& outgoing, const std::vector<Slot>& incoming) {
    std::vector<Slot> out;
    out.reserve(outgoing.size() + incoming.size());
    std::size_t a = 0;
    std::size_t b = 0;
    // Both lists ascend on the same grid; slots at the same x add up.
    while (a < outgoing.size() || b < incoming.size()) {
        if (b == incoming.size() || (a < outgoing.size() && outgoing[a].x < incoming[b].x - 1e-9)) {
            out.push_back(outgoing[a++]);
        } else if (a == outgoing.size() || incoming[b].x < outgoing[a].x - 1e-9) {
            out.push_back(incoming[b++]);
        } else {
            out.push_back(Slot{outgoing[a].x, outgoing[a].maxValue + incoming[b].maxValue,
                               outgoing[a].minValue + incoming[b].minValue});
            ++a;
            ++b;
        }
    }
    return out;
}

Polyline stripOutline(const std::vector<Slot>& slots, double top, double height) {
    Polyline outline;
    if (slots.empty()) {
        return outline;
    }
    outline.reserve(4 * slots.size());
    const double half = 0.5 * height;
    const auto y = [&](float v) { return top + half - clipValue(v) * half; };
    for (const Slot& s : slots) {
        outline.push_back({s.x, y(s.maxValue)});
        outline.push_back({s.x + slotPx, y(s.maxValue)});
    }
    for (auto it = slots.rbegin(); it != slots.rend(); ++it) {
        outline.push_back({it->x + slotPx, y(it->minValue)});
        outline.push_back({it->x, y(it->minValue)});
    }
    return outline;
}

bool samplesLineMode(double bufferPerPixel) {
    return bufferPerPixel * slotPx < 1.0;
}

namespace {

// A window sample with linear interpolation between neighbours, 0 outside the window.
float interpolated(const std::vector<float>& samples, double at) {
    if (samples.empty() || !(at >= 0.0) || at > static_cast<double>(samples.size() - 1)) {
        return 0.0f;
    }
    const auto i = static_cast<std::size_t>(std::floor(at));
    const std::size_t j = std::min(i + 1, samples.size() - 1);
    const auto w = static_cast<float>(at - static_cast<double>(i));
    return samples[i] * (1.0f - w) + samples[j] * w;
}

} // namespace

std::vector<Quad> samplesStrip(const SamplesInput& in) {
    std::vector<Quad> out;
    if (in.samples == nullptr || in.samples->empty() || !(in.bufferPerPixel > 0) ||
        !(in.localEnd > in.localStart)) {
        return out;
    }
    const std::vector<float>& buf = *in.samples;
    const double half = 0.5 * in.height;
    const double mid = in.top + half;
    const double bufPerSlot = in.bufferPerPixel * slotPx;
    const bool lineMode = samplesLineMode(in.bufferPerPixel);
    const double thickness = std::max(in.minThicknessPx, 0.0);
    const auto yOf = [&](double v) { return mid - clipValue(v) * half; };
    const auto scaled = [&](double localCentre, float value) {
        const auto i = static_cast<std::int64_t>(std::floor(localCentre * in.discSamplesPerPixel));
        return static_cast<double>(value * in.scaling.multiplier(i));
    };
    for (double s = firstSlot(in.localStart); s < in.localEnd; s += slotPx) {
        const double centre = s + 0.5 * slotPx;
        const double at = in.bufferAtAudioStart + centre * in.bufferPerPixel;
        const double x = in.audioStartX + s;
        if (!lineMode) {
            const auto lo = static_cast<std::int64_t>(std::floor(at - bufPerSlot));
            const auto hi = static_cast<std::int64_t>(std::ceil(at + bufPerSlot));
            const std::int64_t first = std::max<std::int64_t>(lo, 0);
            const std::int64_t last = std::min<std::int64_t>(hi, static_cast<std::int64_t>(buf.size()) - 1);
            if (first > last) {
                continue;
            }
            float mn = buf[static_cast<std::size_t>(first)];
            float mx = mn;
            for (std::int64_t k = first + 1; k <= last; ++k) {
                mn = std::min(mn, buf[static_cast<std::size_t>(k)]);
                mx = std::max(mx, buf[static_cast<std::size_t>(k)]);
            }
            double yTop = yOf(scaled(centre, mx));
            double yBottom = yOf(scaled(centre, mn));
            if (yBottom - yTop < thickness) {
                const double middle = 0.5 * (yTop + yBottom);
                yTop = middle - 0.5 * thickness;
                yBottom = middle + 0.5 * thickness;
            }
            out.push_back(Quad{{{x, yTop}, {x + slotPx, yTop}, {x + slotPx, yBottom}, {x, yBottom}}});
            continue;
        }
        const Point a{in.audioStartX + centre, yOf(scaled(centre, interpolated(buf, at)))};
        const Point b{a.x + slotPx, yOf(scaled(centre + slotPx, interpolated(buf, at + bufPerSlot)))};
        const double dx = b.x - a.x;
        const double dy = b.y - a.y;
        const double length = std::hypot(dx, dy);
        // The unit normal of the segment, so a steep line keeps its width.
        const double nx = length > 0 ? -dy / length * 0.5 * thickness : 0.0;
        const double ny = length > 0 ? dx / length * 0.5 * thickness : 0.5 * thickness;
        out.push_back(
            Quad{{{a.x + nx, a.y + ny}, {b.x + nx, b.y + ny}, {b.x - nx, b.y - ny}, {a.x - nx, a.y - ny}}});
    }
    return out;
}

double pointsPerPixel(double fileRate, double pps) {
    return pps > 0 ? fileRate / pps : 0.0;
}

Scaling scalingFor(const CDTrack& shown, const GainTable* gain, double amplitudeZoom) {
    Scaling s;
    s.fades = fadeShape(shown);
    s.gain = gain;
    s.effectiveLengthSamples = shown.effectiveLength().totalFrames * RedBook::samplesPerFrame;
    s.amplitudeZoom = amplitudeZoom;
    return s;
}

namespace {

constexpr double discRate = static_cast<double>(RedBook::sampleRate);

// Disc samples as frames of the file; multiplied before dividing, so that whole values stay whole.
double nativeFrames(std::int64_t discSamples, double fileRate) {
    return static_cast<double>(discSamples) * fileRate / discRate;
}

std::int64_t trimmedSourceSamples(const CDTrack& t) {
    return std::max<std::int64_t>(t.sourceAudioSamples - t.trimStartSamples - t.trimEndSamples, 0);
}

} // namespace

double fileRateOfPeaks(std::size_t peakValues, std::int64_t sourceAudioSamples) {
    const std::size_t buckets = peakValues / 2;
    if (buckets == 0 || sourceAudioSamples <= 0) {
        return discRate;
    }
    const double seen = static_cast<double>(buckets) *
                        static_cast<double>(WaveformGenerator::samplesPerBucket) * discRate /
                        static_cast<double>(sourceAudioSamples);
    // The last bucket is partial, so the estimate runs a little high on short files.
    static constexpr double usual[] = {8000.0,  11025.0, 16000.0,  22050.0,  32000.0,  44100.0, 48000.0,
                                       88200.0, 96000.0, 176400.0, 192000.0, 352800.0, 384000.0};
    for (const double rate : usual) {
        if (std::abs(seen - rate) <= 0.01 * rate) {
            return rate;
        }
    }
    return seen;
}

PeaksInput peaksInputFor(const CDTrack& shown, const std::vector<float>& peaks, double fileRate,
                         double audioStartX, double pps, double dirtyMinX, double dirtyMaxX,
                         const Scaling& scaling) {
    PeaksInput in;
    in.peaks = &peaks;
    in.scaling = scaling;
    in.audioStartX = audioStartX;
    in.localStart = dirtyMinX - audioStartX;
    in.localEnd = dirtyMaxX - audioStartX;
    if (!(fileRate > 0) || !(pps > 0)) {
        return in;
    }
    const auto bucket = static_cast<double>(WaveformGenerator::samplesPerBucket);
    in.bucketsPerPixel = fileRate / pps / bucket;
    in.samplesPerBucket = bucket * discRate / fileRate;
    in.trimStartBuckets =
        static_cast<std::int64_t>(std::floor(nativeFrames(shown.trimStartSamples, fileRate) / bucket));
    in.effectiveBuckets =
        static_cast<std::int64_t>(std::ceil(nativeFrames(trimmedSourceSamples(shown), fileRate) / bucket));
    return in;
}

std::pair<std::int64_t, std::int64_t> visibleNativeRange(const CDTrack& shown, double fileRate,
                                                         double audioStartX, double pps, double dirtyMinX,
                                                         double dirtyMaxX) {
    if (!(fileRate > 0) || !(pps > 0)) {
        return {0, 0};
    }
    const double first = nativeFrames(shown.trimStartSamples, fileRate);
    const double last = first + nativeFrames(trimmedSourceSamples(shown), fileRate);
    const double perPixel = fileRate / pps;
    const double from = std::clamp(first + (dirtyMinX - audioStartX) * perPixel, first, last);
    const double to = std::clamp(first + (dirtyMaxX - audioStartX) * perPixel, first, last);
    return {static_cast<std::int64_t>(std::floor(from)), static_cast<std::int64_t>(std::ceil(to))};
}

SamplesInput samplesInputFor(const CDTrack& shown, const std::vector<float>& window, std::int64_t windowStart,
                             double fileRate, double audioStartX, double pps, double dirtyMinX,
                             double dirtyMaxX, double top, double height, const Scaling& scaling) {
    SamplesInput in;
    in.samples = &window;
    in.audioStartX = audioStartX;
    in.localStart = dirtyMinX - audioStartX;
    in.localEnd = dirtyMaxX - audioStartX;
    in.top = top;
    in.height = height;
    in.scaling = scaling;
    if (!(fileRate > 0) || !(pps > 0)) {
        return in;
    }
    in.bufferAtAudioStart = nativeFrames(shown.trimStartSamples, fileRate) - static_cast<double>(windowStart);
    in.bufferPerPixel = fileRate / pps;
    in.discSamplesPerPixel = discRate / pps;
    return in;
}

PeaksInput previewPeaksInput(const std::vector<float>& peaks, std::int64_t lengthFrames, double pps,
                             double dirtyMinX, double dirtyMaxX, double amplitudeZoom) {
    PeaksInput in;
    in.peaks = &peaks;
    in.localStart = dirtyMinX;
    in.localEnd = dirtyMaxX;
    in.effectiveBuckets = static_cast<std::int64_t>(peaks.size() / 2);
    in.scaling.amplitudeZoom = amplitudeZoom;
    const double width =
        static_cast<double>(lengthFrames) / static_cast<double>(RedBook::framesPerSecond) * pps;
    if (width > 0) {
        in.bucketsPerPixel = static_cast<double>(in.effectiveBuckets) / width;
        in.samplesPerBucket = static_cast<double>(lengthFrames * RedBook::samplesPerFrame) /
                              std::max<double>(static_cast<double>(in.effectiveBuckets), 1.0);
    }
    in.scaling.effectiveLengthSamples = lengthFrames * RedBook::samplesPerFrame;
    return in;
}

std::vector<Slot> withCrossfadeGain(std::vector<Slot> slots, double overlapMinX, double overlapMaxX,
                                    float curve, CrossfadeSide side) {
    const double width = overlapMaxX - overlapMinX;
    for (Slot& s : slots) {
        const double centre = s.x + 0.5 * slotPx;
        if (centre < overlapMinX || centre > overlapMaxX) {
            continue;
        }
        // A zero-length overlap counts as complete.
        const auto x = width > 0 ? static_cast<float>((centre - overlapMinX) / width) : 1.0f;
        const auto gains = TrackGain::crossfadeGains(x, curve);
        const float g = side == CrossfadeSide::outgoing ? gains.out : gains.fadeIn;
        s.maxValue *= g;
        s.minValue *= g;
    }
    return slots;
}

} // namespace orvane::WaveformDrawing
