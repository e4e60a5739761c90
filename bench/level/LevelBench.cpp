// What the level stage costs per sample in render and playback: an untouched track, a static
// gain, fades, and an envelope of many points. The envelope's peer is the same curve evaluated
// with a fresh cursor for every sample, which is what the running cursor saves.

#include "model/BezierFade.h"
#include "model/CDTrack.h"
#include "model/EnvelopeCurve.h"
#include "model/GainEvaluator.h"
#include "model/TrackGain.h"

#include <benchmark/benchmark.h>

namespace orvane {
namespace {

constexpr std::int64_t kBlockSamples = 4096;

// Four minutes with the points spread evenly over it, alternating levels.
CDTrack envelopeTrack(std::int64_t points) {
    CDTrack track = CDTrack::make("Bench", std::nullopt, 150, 44100 * 240);
    track.envelopeEnabled = true;
    track.envelopeSmoothing = 0.6f;
    track.gainEnabled = true;
    track.gainDB = -1.0f;
    for (std::int64_t i = 0; i < points; ++i)
        track.gainPoints.push_back(
            GainPoint{Uuid::random(), i * 88200, i % 2 == 0 ? -3.0f : -9.0f, std::nullopt});
    return track;
}

// Blocks from the middle of the track, where a search from the start walks furthest.
constexpr std::int64_t kMiddle = 44100 * 120;

void untouchedTrack(benchmark::State& state) {
    GainEvaluator evaluator(CDTrack::make("Bench", std::nullopt, 150, 44100 * 240));
    for (auto _ : state)
        for (std::int64_t s = kMiddle; s < kMiddle + kBlockSamples; ++s)
            benchmark::DoNotOptimize(evaluator.multiplier(s));
    state.SetItemsProcessed(state.iterations() * kBlockSamples);
}

void staticGain(benchmark::State& state) {
    CDTrack track = CDTrack::make("Bench", std::nullopt, 150, 44100 * 240);
    track.gainEnabled = true;
    track.gainDB = -2.5f;
    GainEvaluator evaluator(track);
    for (auto _ : state)
        for (std::int64_t s = kMiddle; s < kMiddle + kBlockSamples; ++s)
            benchmark::DoNotOptimize(evaluator.multiplier(s));
    state.SetItemsProcessed(state.iterations() * kBlockSamples);
}

void fadeOut(benchmark::State& state) {
    CDTrack track = CDTrack::make("Bench", std::nullopt, 150, 44100 * 240);
    track.fadeOutSamples = 44100 * 10;
    track.fadeOutCurve = 0.4f;
    const BezierFade::TrackFades fades = BezierFade::trackFades(track);
    const std::int64_t start = 44100 * 235;
    for (auto _ : state)
        for (std::int64_t s = start; s < start + kBlockSamples; ++s)
            benchmark::DoNotOptimize(fades.multiplier(s));
    state.SetItemsProcessed(state.iterations() * kBlockSamples);
}

void envelopeRunningCursor(benchmark::State& state) {
    GainEvaluator evaluator(envelopeTrack(state.range(0)));
    for (auto _ : state)
        for (std::int64_t s = kMiddle; s < kMiddle + kBlockSamples; ++s)
            benchmark::DoNotOptimize(evaluator.multiplier(s));
    state.SetItemsProcessed(state.iterations() * kBlockSamples);
}

// The peer: the same curve, the same conversion, but the cursor starts over at every sample.
void envelopeFreshCursorPeer(benchmark::State& state) {
    const GainEvaluator evaluator(envelopeTrack(state.range(0)));
    for (auto _ : state)
        for (std::int64_t s = kMiddle; s < kMiddle + kBlockSamples; ++s)
            benchmark::DoNotOptimize(TrackGain::linearCurve(evaluator.curve.dB(s)) *
                                     evaluator.baseMultiplier);
    state.SetItemsProcessed(state.iterations() * kBlockSamples);
}

void crossfadeEqualPower(benchmark::State& state) {
    for (auto _ : state)
        for (std::int64_t s = 0; s < kBlockSamples; ++s) {
            const auto gains = TrackGain::crossfadeGains(static_cast<float>(s) / kBlockSamples, 1.0f);
            benchmark::DoNotOptimize(gains);
        }
    state.SetItemsProcessed(state.iterations() * kBlockSamples);
}

BENCHMARK(untouchedTrack);
BENCHMARK(staticGain);
BENCHMARK(fadeOut);
BENCHMARK(crossfadeEqualPower);
BENCHMARK(envelopeRunningCursor)->Arg(8)->Arg(120);
BENCHMARK(envelopeFreshCursorPeer)->Arg(8)->Arg(120);

} // namespace
} // namespace orvane

BENCHMARK_MAIN();
