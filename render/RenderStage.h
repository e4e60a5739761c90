#pragma once
// The one place where a track's level reaches its audio: fades, static gain and envelope of a track,
// and the crossfade law between two tracks. The master render and the monitoring renderer both call
// it, so that what the engineer hears is what is delivered. A stage is made per stretch of audio and
// belongs to the thread that made it (its envelope cursor moves on); applying it never allocates.

#include "model/BezierFade.h"
#include "model/GainEvaluator.h"
#include "model/TrackGain.h"

#include <cstdint>

namespace orvane {

struct CDTrack;

namespace RenderStage {

// A track's fades, static gain and envelope at a render rate of samplesPerFrame per CD frame (588
// at 44.1 kHz); fade lengths and envelope points are carried to that rate.
struct TrackLevel {
    BezierFade::TrackFades fades;
    GainEvaluator gain;

    TrackLevel(const CDTrack& track, std::int64_t samplesPerFrame);

    // out = level * in for `count` samples of both channels, the first at `trackOffset` samples
    // after the head trim. `in` and `out` may be the same arrays. The fade-in wins where it
    // overlaps the fade-out.
    void apply(const float* inL, const float* inR, float* outL, float* outR, std::int64_t trackOffset,
               std::int64_t count) noexcept;
};

// Two tracks through one overlap: each side's gain and envelope, then the law of the incoming
// track's curve. Neither track's fade-in nor fade-out applies inside a crossfade.
struct CrossfadeMix {
    GainEvaluator outgoing;
    GainEvaluator incoming;
    TrackGain::CrossfadeLaw law;
    std::int64_t overlapSamples = 0;

    CrossfadeMix(const CDTrack& outgoingTrack, const CDTrack& incomingTrack, std::int64_t overlapSamples,
                 std::int64_t samplesPerFrame);

    // Writes (does not add) `count` mixed samples of both channels. `local` is the first sample's
    // place in the overlap; offset1 and offset2 are its offsets after each track's head trim.
    void mix(const float* l1, const float* r1, const float* l2, const float* r2, float* outL, float* outR,
             std::int64_t local, std::int64_t offset1, std::int64_t offset2, std::int64_t count) noexcept;
};

} // namespace RenderStage

} // namespace orvane
