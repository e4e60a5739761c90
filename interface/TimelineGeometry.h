#pragma once
// The vertical layout of the timeline canvas: the lane where waveforms lie, the gap, and the ruler
// at the bottom, for a canvas of a given height. The y axis grows downward. Pure; main thread.

namespace orvane::TimelineGeometry {

inline constexpr double rulerHeight = 34.0;   // the ruler at the bottom
inline constexpr double trackGap = 14.0;      // between the lane and the ruler
inline constexpr double topPad = 10.0;        // the lane's top
inline constexpr double scrubEdgeZone = 18.0; // the auto-scroll zone at either edge of the visible part

struct Lane {
    double top = topPad;
    double bottom = 0.0;
    double height = 0.0; // may be 0 or negative on a canvas too low to hold a lane

    bool operator==(const Lane&) const = default;
};

// The lane of a canvas `height` points high: bottom = height - rulerHeight - trackGap.
inline Lane lane(double canvasHeight) {
    Lane l;
    l.bottom = canvasHeight - rulerHeight - trackGap;
    l.height = l.bottom - topPad;
    return l;
}

// Presses at or below this y belong to the ruler strip: locators, flags and seeks.
inline double rulerStripTop(double canvasHeight) {
    return lane(canvasHeight).bottom - 2.0;
}

// The ruler's own top edge.
inline double rulerTop(double canvasHeight) {
    return canvasHeight - rulerHeight;
}

} // namespace orvane::TimelineGeometry
