#include "render/RenderStage.h"

#include "model/CDTrack.h"

#include <algorithm>
#include <array>

namespace orvane::RenderStage {

namespace {

// Level factors are worked out a block at a time on the stack, so applying a stage never allocates.
constexpr std::int64_t kBlock = 1024;

} // namespace

TrackLevel::TrackLevel(const CDTrack& track, std::int64_t samplesPerFrame)
    : fades(BezierFade::trackFades(track, samplesPerFrame)), gain(track, samplesPerFrame) {}

void TrackLevel::apply(const float* inL, const float* inR, float* outL, float* outR, std::int64_t trackOffset,
                       std::int64_t count) noexcept {
    std::array<float, kBlock> factors;
    for (std::int64_t done = 0; done < count;) {
        const std::int64_t n = std::min(kBlock, count - done);
        const std::int64_t first = trackOffset + done;
        const bool inFadeIn = fades.fadeInSamples >= 1 && first < fades.fadeInSamples;
        const bool inFadeOut = fades.fadeOutSamples >= 1 && first + n - 1 >= fades.fadeOutStartSamples;
        if (!inFadeIn && !inFadeOut && gain.isUnity) {
            // Most of most tracks: the audio passes as it is.
            if (outL != inL || outR != inR) {
                std::copy_n(inL + done, n, outL + done);
                std::copy_n(inR + done, n, outR + done);
            }
            done += n;
            continue;
        }
        gain.multipliers(first, static_cast<std::size_t>(n), factors.data());
        if (inFadeIn || inFadeOut)
            for (std::int64_t j = 0; j < n; ++j)
                factors[static_cast<std::size_t>(j)] *= fades.multiplier(first + j);
        for (std::int64_t j = 0; j < n; ++j) {
            const float k = factors[static_cast<std::size_t>(j)];
            outL[done + j] = k * inL[done + j];
            outR[done + j] = k * inR[done + j];
        }
        done += n;
    }
}

CrossfadeMix::CrossfadeMix(const CDTrack& outgoingTrack, const CDTrack& incomingTrack, std::int64_t overlap,
                           std::int64_t samplesPerFrame)
    : outgoing(outgoingTrack, samplesPerFrame), incoming(incomingTrack, samplesPerFrame),
      law(incomingTrack.crossfadeCurve), overlapSamples(overlap) {}

void CrossfadeMix::mix(const float* l1, const float* r1, const float* l2, const float* r2, float* outL,
                       float* outR, std::int64_t local, std::int64_t offset1, std::int64_t offset2,
                       std::int64_t count) noexcept {
    std::array<float, kBlock> m1;
    std::array<float, kBlock> m2;
    const auto total = static_cast<float>(overlapSamples);
    for (std::int64_t done = 0; done < count;) {
        const std::int64_t n = std::min(kBlock, count - done);
        outgoing.multipliers(offset1 + done, static_cast<std::size_t>(n), m1.data());
        incoming.multipliers(offset2 + done, static_cast<std::size_t>(n), m2.data());
        for (std::int64_t j = 0; j < n; ++j) {
            const std::int64_t i = done + j;
            const float x = overlapSamples < 1 ? 1.0f : static_cast<float>(local + i) / total;
            const TrackGain::CrossfadeGains g = law.at(x);
            const float a = g.out * m1[static_cast<std::size_t>(j)];
            const float b = g.fadeIn * m2[static_cast<std::size_t>(j)];
            outL[i] = a * l1[i] + b * l2[i];
            outR[i] = a * r1[i] + b * r2[i];
        }
        done += n;
    }
}

} // namespace orvane::RenderStage
