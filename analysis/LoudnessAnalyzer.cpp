#include "analysis/LoudnessAnalyzer.h"

#include "analysis/detail/TruePeakMeter.h"
#include "model/RedBook.h"
#include "platform/AudioBuffer.h"
#include "platform/AudioFileReader.h"
#include "render/RenderStage.h"
#include "render/ResampledStream.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <vector>

namespace orvane::LoudnessAnalyzer {

namespace {

// The filter constants of BS.1770-4, written so that the design works at any rate.
constexpr double kShelfPiF0 = 5284.078578647628; // pi x 1681.974450955533 Hz
constexpr double kShelfQ = 0.7071752369554196;
constexpr double kShelfVh = 1.5848647011308556;
constexpr double kShelfVb = 1.2587209302325617;
constexpr double kHighPassPiF0 = 119.8061151453059; // pi x 38.13547087602444 Hz
constexpr double kHighPassQ = 0.5003270373238773;

double percentile(const std::vector<double>& sorted, double p) {
    const double x = p / 100.0 * static_cast<double>(sorted.size() - 1);
    const auto a = static_cast<std::size_t>(std::floor(x));
    const auto b = static_cast<std::size_t>(std::ceil(x));
    if (a == b) {
        return sorted[a];
    }
    const double frac = x - static_cast<double>(a);
    return (1.0 - frac) * sorted[a] + frac * sorted[b];
}

// The K-weighting and gating accumulation of one measurement: filter state, the open hop and the
// energies so far. Both channels run through the same two stages, each with its own state.
class EnergyAccumulator {
  public:
    EnergyAccumulator() {
        const auto stages = kWeightingFilters(44100.0);
        shelfL_ = shelfR_ = stages[0];
        highPassL_ = highPassR_ = stages[1];
    }

    void process(const float* left, const float* right, std::size_t count, TrackLoudnessData& data) {
        // The filters run on local copies, so their state stays in registers through each hop.
        Biquad shelfL = shelfL_, shelfR = shelfR_, highPassL = highPassL_, highPassR = highPassR_;
        std::size_t i = 0;
        while (i < count) {
            const std::size_t stretch =
                std::min(count - i, static_cast<std::size_t>(samplesPerHop - hopFill_));
            double energy = hopEnergy_;
            for (std::size_t end = i + stretch; i < end; ++i) {
                const double l = highPassL.process(shelfL.process(static_cast<double>(left[i])));
                const double r = highPassR.process(shelfR.process(static_cast<double>(right[i])));
                energy += l * l + r * r;
            }
            hopEnergy_ = energy;
            hopFill_ += static_cast<std::int64_t>(stretch);
            if (hopFill_ == samplesPerHop)
                closeHop(data);
        }
        shelfL_ = shelfL;
        shelfR_ = shelfR;
        highPassL_ = highPassL;
        highPassR_ = highPassR;
    }

  private:
    void closeHop(TrackLoudnessData& data) {
        data.hops.push_back(hopEnergy_);
        hopEnergy_ = 0.0;
        hopFill_ = 0;
        const std::size_t n = data.hops.size();
        if (n >= 4) {
            const double sum = data.hops[n - 4] + data.hops[n - 3] + data.hops[n - 2] + data.hops[n - 1];
            data.blocks.push_back(sum / static_cast<double>(4 * samplesPerHop));
        }
    }

    Biquad shelfL_, shelfR_, highPassL_, highPassR_;
    double hopEnergy_ = 0.0;
    std::int64_t hopFill_ = 0;
};

} // namespace

double truePeakDB(double linearPeak) noexcept {
    return 20.0 * std::log10(std::max(linearPeak, 1e-9));
}

std::optional<TrackLoudnessData> analyzeTrackData(const CDTrack& track, const Progress& progress) {
    if (!track.audioFileURL)
        return std::nullopt;
    const auto path = track.audioFileURL->path();
    if (path.empty())
        return std::nullopt;
    auto opened = AudioFileReader::open(path);
    if (!opened)
        return std::nullopt;
    AudioFileReader& reader = *opened;
    const std::int64_t total = track.effectiveLength().totalFrames * RedBook::samplesPerFrame;
    if (total <= 0)
        return std::nullopt;

    // The level the disc carries, from the stage the master render applies it with.
    RenderStage::TrackLevel level(track, RedBook::samplesPerFrame);
    detail::TruePeakMeter truePeak;
    EnergyAccumulator energy;
    TrackLoudnessData data;
    data.hopSamples = samplesPerHop;
    data.hops.reserve(static_cast<std::size_t>(total / samplesPerHop + 1));
    data.blocks.reserve(static_cast<std::size_t>(total / samplesPerHop + 1));

    // Read as the monitoring hears it: other rates through one continuing converter, so chunk
    // edges add nothing to the figures.
    ResampledStream stream;
    // Where the file's own audio ends, in disc samples; the track is measured no further.
    const auto fileEnd441 = static_cast<std::int64_t>(
        std::floor(static_cast<double>(reader.lengthFrames()) * 44100.0 / reader.sampleRate()));
    const std::int64_t end = std::min(total, fileEnd441 - track.trimStartSamples);
    std::vector<float> left(static_cast<std::size_t>(chunkSamples));
    std::vector<float> right(static_cast<std::size_t>(chunkSamples));
    for (std::int64_t pos = 0; pos < end;) {
        if (progress && !progress(static_cast<double>(pos) / static_cast<double>(total)))
            return std::nullopt;
        const std::int64_t chunk = std::min(end - pos, chunkSamples);
        if (!stream.read(reader, track.trimStartSamples + pos, chunk, left.data(), right.data()))
            break;
        const auto frames = static_cast<std::size_t>(chunk);
        level.apply(left.data(), right.data(), left.data(), right.data(), pos, chunk);
        energy.process(left.data(), right.data(), frames, data);
        truePeak.process(left.data(), right.data(), frames);
        pos += chunk;
    }
    truePeak.flush();
    if (data.blocks.empty())
        return std::nullopt;
    data.peak = static_cast<double>(truePeak.peak());
    return data;
}

Result analyze(const CDProject& project, const Progress& progress) {
    Result result;
    const std::size_t n = project.tracks.size();
    std::vector<TrackLoudnessData> datas;
    bool complete = n > 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (progress && !progress(static_cast<double>(i) / static_cast<double>(n))) {
            complete = false;
            break;
        }
        const CDTrack& track = project.tracks[i];
        auto data = analyzeTrackData(track);
        if (!data) {
            complete = false;
            continue;
        }
        if (const auto figures = data->summary())
            result.perTrack[track.id] = *figures;
        datas.push_back(std::move(*data));
    }
    if (complete)
        result.album = albumSummary(datas);
    return result;
}

std::optional<TrackLoudness> albumSummary(std::span<const TrackLoudnessData> datas) {
    if (datas.empty())
        return std::nullopt;
    TrackLoudnessData joined;
    joined.hopSamples = datas.front().hopSamples;
    for (const auto& d : datas) {
        joined.blocks.insert(joined.blocks.end(), d.blocks.begin(), d.blocks.end());
        joined.hops.insert(joined.hops.end(), d.hops.begin(), d.hops.end());
        joined.peak = std::max(joined.peak, d.peak);
    }
    return joined.summary();
}

std::array<Biquad, 2> kWeightingFilters(double fs) {
    assert(fs > 0.0);
    Biquad shelf;
    {
        const double k = std::tan(kShelfPiF0 / fs);
        const double a0 = k * k + k / kShelfQ + 1.0;
        shelf.b0 = (kShelfVh + kShelfVb * k / kShelfQ + k * k) / a0;
        shelf.b1 = 2.0 * (k * k - kShelfVh) / a0;
        shelf.b2 = (kShelfVh - kShelfVb * k / kShelfQ + k * k) / a0;
        shelf.a1 = 2.0 * (k * k - 1.0) / a0;
        shelf.a2 = (k * k - k / kShelfQ + 1.0) / a0;
    }
    Biquad highPass;
    {
        const double k = std::tan(kHighPassPiF0 / fs);
        const double a0 = k * k + k / kHighPassQ + 1.0;
        highPass.b0 = 1.0;
        highPass.b1 = -2.0;
        highPass.b2 = 1.0;
        highPass.a1 = 2.0 * (k * k - 1.0) / a0;
        highPass.a2 = (k * k - k / kHighPassQ + 1.0) / a0;
    }
    return {shelf, highPass};
}

double blockLoudness(double meanSquare) noexcept {
    return -0.691 + 10.0 * std::log10(std::max(meanSquare, 1e-15));
}

std::optional<double> integrated(std::span<const double> fromBlockMeanSquares) {
    double absSum = 0.0;
    std::size_t absCount = 0;
    for (double ms : fromBlockMeanSquares) {
        if (blockLoudness(ms) > -70.0) {
            absSum += ms;
            ++absCount;
        }
    }
    if (absCount == 0) {
        return std::nullopt;
    }
    const double threshold = blockLoudness(absSum / static_cast<double>(absCount)) - 10.0;
    double relSum = 0.0;
    std::size_t relCount = 0;
    for (double ms : fromBlockMeanSquares) {
        const double l = blockLoudness(ms);
        if (l > -70.0 && l > threshold) {
            relSum += ms;
            ++relCount;
        }
    }
    if (relCount == 0) {
        return std::nullopt;
    }
    return blockLoudness(relSum / static_cast<double>(relCount));
}

std::optional<double> loudnessRange(std::span<const double> fromHopEnergies, long hopSamples) {
    constexpr std::size_t kWindowHops = 30;
    if (fromHopEnergies.size() < kWindowHops || hopSamples < 1) {
        return std::nullopt;
    }
    const double windowSamples = static_cast<double>(hopSamples) * static_cast<double>(kWindowHops);
    const std::size_t windowCount = fromHopEnergies.size() - kWindowHops + 1;

    // Running sums over the hops: prefix[i] is the sum of hops before i.
    std::vector<double> prefix(fromHopEnergies.size() + 1, 0.0);
    for (std::size_t i = 0; i < fromHopEnergies.size(); ++i) {
        prefix[i + 1] = prefix[i] + fromHopEnergies[i];
    }
    std::vector<double> energies;
    energies.reserve(windowCount);
    double keptSum = 0.0;
    for (std::size_t i = 0; i < windowCount; ++i) {
        const double e = (prefix[i + kWindowHops] - prefix[i]) / windowSamples;
        if (blockLoudness(e) >= -70.0) {
            energies.push_back(e);
            keptSum += e;
        }
    }
    if (energies.empty()) {
        return std::nullopt;
    }
    const double relativeGate = blockLoudness(keptSum / static_cast<double>(energies.size())) - 20.0;
    std::vector<double> levels;
    levels.reserve(energies.size());
    for (double e : energies) {
        const double l = blockLoudness(e);
        if (l >= relativeGate) {
            levels.push_back(l);
        }
    }
    if (levels.size() < 2) {
        return std::nullopt;
    }
    std::sort(levels.begin(), levels.end());
    return percentile(levels, 95.0) - percentile(levels, 10.0);
}

} // namespace orvane::LoudnessAnalyzer
