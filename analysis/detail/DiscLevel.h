#pragma once
// A track's level as the disc carries it (fades, static gain, envelope), applied in place to audio
// at 44.1 kHz. This is the one place where measurement borrows the render's level code; it uses the
// same shared fade and gain units as the master render so the two cannot drift apart. A value made
// per measurement; one owner, any thread.

#include "model/BezierFade.h"
#include "model/GainEvaluator.h"

#include <cstddef>
#include <cstdint>

namespace orvane {
struct CDTrack;
}

namespace orvane::detail {

class DiscLevel final {
  public:
    explicit DiscLevel(const CDTrack& track);

    // Scales `count` samples of both channels whose first lies `offset` samples after the head trim.
    // A sample is touched only where fade times gain differs from 1.
    void apply(float* left, float* right, std::size_t count, std::int64_t offset) noexcept;

  private:
    BezierFade::TrackFades fades_;
    GainEvaluator gain_;
};

} // namespace orvane::detail
