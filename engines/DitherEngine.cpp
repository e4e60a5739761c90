#include "engines/DitherEngine.h"

#include "engines/detail/DitherSteps.h"

#include <algorithm>
#include <cassert>
#include <cmath>

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
    switch (type_) {
    case DitherType::none:
        break;
    case DitherType::tpdf:
        run<DitherType::tpdf>(c, samples);
        break;
    case DitherType::highPass:
        run<DitherType::highPass>(c, samples);
        break;
    case DitherType::lipshitz:
        run<DitherType::lipshitz>(c, samples);
        break;
    case DitherType::shibata:
        run<DitherType::shibata>(c, samples);
        break;
    case DitherType::gesemann:
        run<DitherType::gesemann>(c, samples);
        break;
    }
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
    switch (left.type_) {
    case DitherType::none:
        break;
    case DitherType::tpdf:
        runPair<DitherType::tpdf>(a, leftSamples, b, rightSamples);
        break;
    case DitherType::highPass:
        runPair<DitherType::highPass>(a, leftSamples, b, rightSamples);
        break;
    case DitherType::lipshitz:
        runPair<DitherType::lipshitz>(a, leftSamples, b, rightSamples);
        break;
    case DitherType::shibata:
        runPair<DitherType::shibata>(a, leftSamples, b, rightSamples);
        break;
    case DitherType::gesemann:
        runPair<DitherType::gesemann>(a, leftSamples, b, rightSamples);
        break;
    }
    left.storeChannel(a);
    right.storeChannel(b);
}

} // namespace orvane
