// Throughput of DitherEngine::process per type on one core, in samples per second, beside a plain
// step-by-step version of the same algorithm (std::round, a plain unsigned conversion, an array
// history shifted every sample) as the peer. Blocks are one render chunk: 29,400 samples.

#include "engines/DitherEngine.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using orvane::DitherEngine;
using orvane::DitherType;

constexpr std::size_t kChunkSamples = 29400;

std::vector<double> music(std::size_t n) {
    std::mt19937_64 random(1);
    std::normal_distribution<double> noise(0.0, 0.05);
    std::vector<double> x(n);
    for (std::size_t i = 0; i < n; ++i) {
        x[i] = 0.3 * std::sin(0.0627 * static_cast<double>(i)) + noise(random);
    }
    return x;
}

// The peer: the algorithm as written, with nothing done for speed.
class PlainDither {
  public:
    PlainDither(DitherType type, std::uint64_t seed)
        : type_(type), c_(orvane::ditherFeedback(type)), state_(seed) {}

    void process(std::vector<double>& samples) {
        if (type_ == DitherType::none) {
            return;
        }
        const double inverse = 1.0 / scale_;
        for (double& x : samples) {
            const double y = scale_ * x;
            const double w = type_ == DitherType::tpdf
                                 ? 0.0
                                 : c_[0] * e_[0] + c_[1] * e_[1] + c_[2] * e_[2] + c_[3] * e_[3];
            const double u1 = next();
            const double u2 = next();
            const double d = (u1 + u2) + (-1.0);
            const double v = w + (y + d);
            const double q = std::clamp(std::round(v), -scale_, scale_);
            for (std::size_t k = 7; k > 0; --k) {
                e_[k] = e_[k - 1];
            }
            e_[0] = q - v;
            x = q * inverse;
        }
    }

  private:
    double next() {
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return static_cast<double>(state_) * 0x1p-64;
    }

    DitherType type_;
    double scale_ = 32767.0;
    std::array<double, 4> c_;
    std::array<double, 8> e_{};
    std::uint64_t state_;
};

void engine(benchmark::State& state) {
    const auto type = static_cast<DitherType>(state.range(0));
    std::vector<double> buffer = music(kChunkSamples);
    DitherEngine dither(type, 16, 0);
    for (auto _ : state) {
        dither.process(buffer); // output on the grid costs the same to dither again
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kChunkSamples));
    state.SetLabel(std::string(orvane::rawValue(type)));
}

void plain(benchmark::State& state) {
    const auto type = static_cast<DitherType>(state.range(0));
    std::vector<double> buffer = music(kChunkSamples);
    PlainDither dither(type, DitherEngine::defaultSeed);
    for (auto _ : state) {
        dither.process(buffer); // output on the grid costs the same to dither again
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kChunkSamples));
    state.SetLabel(std::string(orvane::rawValue(type)));
}

void enginePair(benchmark::State& state) {
    const auto type = static_cast<DitherType>(state.range(0));
    std::vector<double> left = music(kChunkSamples);
    std::vector<double> right = left;
    DitherEngine leftDither(type, 16, DitherEngine::seedForChannel(0));
    DitherEngine rightDither(type, 16, DitherEngine::seedForChannel(1));
    for (auto _ : state) {
        DitherEngine::processPair(leftDither, left, rightDither, right);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * 2 * kChunkSamples));
    state.SetLabel(std::string(orvane::rawValue(type)) + ", two channels");
}

// Two channels of float straight to interleaved 16-bit words, as the image writer quantises.
void enginePairTo16(benchmark::State& state) {
    const auto type = static_cast<DitherType>(state.range(0));
    const std::vector<double> signal = music(kChunkSamples);
    const std::vector<float> left(signal.begin(), signal.end());
    const std::vector<float> right = left;
    std::vector<char> out(4 * kChunkSamples);
    DitherEngine leftDither(type, 16, DitherEngine::seedForChannel(0));
    DitherEngine rightDither(type, 16, DitherEngine::seedForChannel(1));
    for (auto _ : state) {
        DitherEngine::processPairTo16(leftDither, left.data(), rightDither, right.data(), kChunkSamples,
                                      out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * 2 * kChunkSamples));
    state.SetLabel(std::string(orvane::rawValue(type)) + ", two channels, float to 16-bit words");
}

void allTypes(benchmark::internal::Benchmark* b) {
    for (const DitherType type : orvane::allDitherTypes) {
        b->Arg(static_cast<int>(type));
    }
}

BENCHMARK(engine)->Apply(allTypes);
BENCHMARK(enginePair)->Apply(allTypes);
BENCHMARK(enginePairTo16)->Apply(allTypes);
BENCHMARK(plain)->Apply(allTypes);

} // namespace

BENCHMARK_MAIN();
