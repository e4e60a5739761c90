#include "engines/DitherEngine.h"

#include "engines/detail/DitherSteps.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace orvane {

namespace {

using Channel = detail::DitherChannel;

// Whether the two-channel loop built for AVX2 may run; asked once.
bool hasWideLoop() noexcept {
#if defined(__x86_64__)
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
#else
    return false;
#endif
}

} // namespace

DitherEngine::DitherEngine(DitherType type, int bitDepth, std::uint64_t seed) noexcept
    : type_(type), bitDepth_(std::clamp(bitDepth, 2, 32)),
      scale_(std::ldexp(1.0, std::clamp(bitDepth, 2, 32) - 1) - 1.0), state_(seed == 0 ? defaultSeed : seed) {
    assert(bitDepth >= 2 && bitDepth <= 32);
}

Channel DitherEngine::loadChannel() const noexcept {
    return {state_, e_[0], e_[1], e_[2], e_[3], e_[4], e_[5], e_[6], e_[7], scale_, 1.0 / scale_};
}

void DitherEngine::storeChannel(const Channel& c) noexcept {
    state_ = c.s;
    e_ = {c.e0, c.e1, c.e2, c.e3, c.e4, c.e5, c.e6, c.e7};
}

void DitherEngine::process(std::span<double> samples) noexcept {
    if (type_ == DitherType::none || samples.empty()) {
        return; // none leaves rounding to the caller's packing
    }
    Channel c = loadChannel();
    withDitherType(type_, [&]<DitherType T>() { run<T>(c, samples); });
    storeChannel(c);
}

void DitherEngine::processPair(DitherEngine& left, std::span<double> leftSamples, DitherEngine& right,
                               std::span<double> rightSamples) noexcept {
    assert(&left != &right);
    if (left.type_ != right.type_ || left.bitDepth_ != right.bitDepth_ || left.type_ == DitherType::none ||
        &left == &right) {
        left.process(leftSamples);
        right.process(rightSamples);
        return;
    }
    Channel a = left.loadChannel();
    Channel b = right.loadChannel();
    if (hasWideLoop()) {
        detail::runPairWide(left.type_, a, leftSamples, b, rightSamples);
        left.storeChannel(a);
        right.storeChannel(b);
        return;
    }
    withDitherType(left.type_, [&]<DitherType T>() { runPair<T>(a, leftSamples, b, rightSamples); });
    left.storeChannel(a);
    right.storeChannel(b);
}

void DitherEngine::processPairTo16(DitherEngine& left, const float* leftSamples, DitherEngine& right,
                                   const float* rightSamples, std::size_t frames, char* out) noexcept {
    assert(left.bitDepth_ == 16 && right.bitDepth_ == 16);
    if (hasWideLoop() && left.type_ == DitherType::tpdf && right.type_ == DitherType::tpdf &&
        left.bitDepth_ == right.bitDepth_) {
        Channel a = left.loadChannel();
        Channel b = right.loadChannel();
        detail::runTpdfPairTo16Wide(a, leftSamples, b, rightSamples, frames, out);
        left.storeChannel(a);
        right.storeChannel(b);
        return;
    }
    // Otherwise through double a stretch at a time, on the stack; long enough for the two-channel
    // loop to draw its random values ahead.
    constexpr std::size_t stretch = 2048;
    double l[stretch];
    double r[stretch];
    const auto integer = [](const DitherEngine& engine, double sample) {
        if (engine.type_ != DitherType::none)
            return gridInteger(sample, engine.scale_);
        const double y = engine.scale_ * sample;
        return std::isnan(y) ? std::int16_t{0} : static_cast<std::int16_t>(quantise(y, engine.scale_).q);
    };
    for (std::size_t at = 0; at < frames; at += stretch) {
        const std::size_t n = std::min(stretch, frames - at);
        std::copy_n(leftSamples + at, n, l);
        std::copy_n(rightSamples + at, n, r);
        processPair(left, std::span(l, n), right, std::span(r, n));
        for (std::size_t i = 0; i < n; ++i) {
            const std::int16_t pair[2] = {integer(left, l[i]), integer(right, r[i])};
            std::memcpy(out + 4 * (at + i), pair, sizeof pair);
        }
    }
}

} // namespace orvane
