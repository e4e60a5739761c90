#pragma once
// The gesture a press on the timeline canvas has started, with what it needs to compute each drag
// step from the press's values (never from the previous step, so a drag is exact to the pixel).
// A tagged variant of plain values; main thread.

#include "model/Uuid.h"

#include <cstddef>
#include <cstdint>
#include <variant>

namespace orvane::CanvasDrag {

struct TrimmingStart {
    Uuid trackID;
    std::int64_t originalTrim = 0; // samples
    double startX = 0.0;
    bool operator==(const TrimmingStart&) const = default;
};
struct TrimmingEnd {
    Uuid trackID;
    std::int64_t originalTrim = 0;
    double startX = 0.0;
    bool operator==(const TrimmingEnd&) const = default;
};
struct FadingLengthStart {
    Uuid trackID;
    std::int64_t originalFade = 0; // samples
    double startX = 0.0;
    bool operator==(const FadingLengthStart&) const = default;
};
struct FadingLengthEnd {
    Uuid trackID;
    std::int64_t originalFade = 0;
    double startX = 0.0;
    bool operator==(const FadingLengthEnd&) const = default;
};
struct FadingCurveStart {
    Uuid trackID;
    float originalCurve = 0.0f;
    double startY = 0.0;
    bool operator==(const FadingCurveStart&) const = default;
};
struct FadingCurveEnd {
    Uuid trackID;
    float originalCurve = 0.0f;
    double startY = 0.0;
    bool operator==(const FadingCurveEnd&) const = default;
};
struct MovingTrack {
    Uuid trackID;
    std::int64_t originalPregap = 0; // frames
    double startX = 0.0;
    bool operator==(const MovingTrack&) const = default;
};
struct DraggingGainPoint {
    Uuid trackID;
    Uuid pointID;
    bool operator==(const DraggingGainPoint&) const = default;
};
struct CrossfadeCurve {
    Uuid trackID; // the incoming track, whose curve it is
    bool operator==(const CrossfadeCurve&) const = default;
};
struct MovingIndex {
    Uuid trackID;
    std::int64_t originalOffset = 0; // frames
    double startX = 0.0;
    bool operator==(const MovingIndex&) const = default;
};
struct MovingSubIndex {
    Uuid trackID;
    std::size_t ordinal = 0;
    std::int64_t originalOffset = 0;
    double startX = 0.0;
    bool operator==(const MovingSubIndex&) const = default;
};
struct LoopSplit {
    std::int64_t origin = 0; // frame of the single flag the drag pulls apart
    bool operator==(const LoopSplit&) const = default;
};
struct None {
    bool operator==(const None&) const = default;
};
struct LoopCreating {
    bool operator==(const LoopCreating&) const = default;
};
struct LoopMoveStart {
    bool operator==(const LoopMoveStart&) const = default;
};
struct LoopMoveEnd {
    bool operator==(const LoopMoveEnd&) const = default;
};
struct MovingPin {
    bool operator==(const MovingPin&) const = default;
};

} // namespace orvane::CanvasDrag

namespace orvane {

using DragMode =
    std::variant<CanvasDrag::TrimmingStart, CanvasDrag::TrimmingEnd, CanvasDrag::FadingLengthStart,
                 CanvasDrag::FadingLengthEnd, CanvasDrag::FadingCurveStart, CanvasDrag::FadingCurveEnd,
                 CanvasDrag::MovingTrack, CanvasDrag::DraggingGainPoint, CanvasDrag::CrossfadeCurve,
                 CanvasDrag::MovingIndex, CanvasDrag::MovingSubIndex, CanvasDrag::LoopSplit, CanvasDrag::None,
                 CanvasDrag::LoopCreating, CanvasDrag::LoopMoveStart, CanvasDrag::LoopMoveEnd,
                 CanvasDrag::MovingPin>;

inline bool isNone(const DragMode& mode) {
    return std::holds_alternative<CanvasDrag::None>(mode);
}

} // namespace orvane
