#pragma once
// The timeline's horizontal and vertical zoom and the mapping between disc positions and canvas x:
// a second lies at pixelsPerSecond points, a frame at 1/75 of that. Positions stay integers (frames,
// samples); only the screen is in floating points. Pure functions and a plain value; main thread.

#include <cstdint>

namespace orvane {

struct ViewportState {
    static constexpr double minPixelsPerSecond = 0.44;
    static constexpr double maxPixelsPerSecond = 50000.0;
    static constexpr double minAmplitudeZoom = 0.1;
    static constexpr double maxAmplitudeZoom = 100.0;

    double pixelsPerSecond = 10.0;
    double amplitudeZoom = 1.0;
    bool operator==(const ViewportState&) const = default;
};

namespace Viewport {

double clampPixelsPerSecond(double pps);
double clampAmplitudeZoom(double zoom);

double xOfSeconds(double seconds, double pps);
double xOfFrame(std::int64_t frame, double pps);
// The width on screen of a count of 44.1 kHz samples.
double widthOfSamples(std::int64_t samples, double pps);
// The frame under a canvas x: truncated toward zero, never below 0.
std::int64_t frameAtX(double x, double pps);
// x / pps, never below 0.
double secondsAtX(double x, double pps);
// A horizontal distance as a count of frames or of 44.1 kHz samples, truncated toward zero (a drag).
std::int64_t framesForDistance(double dx, double pps);
std::int64_t samplesForDistance(double dx, double pps);

// One wheel step of horizontal zoom: pps * 1.08^deltaY, within the limits.
double wheelZoomedPixelsPerSecond(double pps, double deltaY);
// One wheel step of vertical zoom (Alt + Shift): zoom * 1.05^deltaY, within the limits.
double wheelZoomedAmplitude(double zoom, double deltaY);
// The scroll origin after a zoom that keeps the canvas point under `anchorInView` (measured from the
// visible part's left edge) in place: newPPS * ((anchorInView + originX) / oldPPS) - anchorInView.
double anchoredScrollOrigin(double oldPPS, double newPPS, double originX, double anchorInView);

// The width of the timeline's content: max(visibleWidth, pps * seconds + 500).
double contentWidth(double pps, double seconds, double visibleWidth);

} // namespace Viewport

} // namespace orvane
