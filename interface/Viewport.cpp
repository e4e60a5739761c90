#include "interface/Viewport.h"

#include "model/RedBook.h"

#include <algorithm>
#include <cmath>

namespace orvane::Viewport {

namespace {
constexpr double fps = static_cast<double>(RedBook::framesPerSecond);
constexpr double rate = static_cast<double>(RedBook::sampleRate);

// Truncated toward zero and held inside what a 64-bit count can hold; no number reads as 0.
std::int64_t truncated(double value) {
    if (!std::isfinite(value)) {
        return std::isnan(value) ? 0 : (value > 0 ? std::int64_t{1} << 53 : -(std::int64_t{1} << 53));
    }
    return static_cast<std::int64_t>(std::trunc(std::clamp(value, -9.0e15, 9.0e15)));
}
} // namespace

double clampPixelsPerSecond(double pps) {
    if (!std::isfinite(pps)) {
        return pps > 0 ? ViewportState::maxPixelsPerSecond : ViewportState::minPixelsPerSecond;
    }
    return std::clamp(pps, ViewportState::minPixelsPerSecond, ViewportState::maxPixelsPerSecond);
}

double clampAmplitudeZoom(double zoom) {
    if (!std::isfinite(zoom)) {
        return zoom > 0 ? ViewportState::maxAmplitudeZoom : ViewportState::minAmplitudeZoom;
    }
    return std::clamp(zoom, ViewportState::minAmplitudeZoom, ViewportState::maxAmplitudeZoom);
}

double xOfSeconds(double seconds, double pps) {
    return seconds * pps;
}

double xOfFrame(std::int64_t frame, double pps) {
    return static_cast<double>(frame) / fps * pps;
}

double widthOfSamples(std::int64_t samples, double pps) {
    return static_cast<double>(samples) / rate * pps;
}

std::int64_t frameAtX(double x, double pps) {
    if (!(pps > 0) || !(x > 0)) {
        return 0;
    }
    return truncated(x / pps * fps);
}

double secondsAtX(double x, double pps) {
    return pps > 0 ? std::max(0.0, x / pps) : 0.0;
}

std::int64_t framesForDistance(double dx, double pps) {
    return pps > 0 ? truncated(dx / pps * fps) : 0;
}

std::int64_t samplesForDistance(double dx, double pps) {
    return pps > 0 ? truncated(dx / pps * rate) : 0;
}

double wheelZoomedPixelsPerSecond(double pps, double deltaY) {
    return clampPixelsPerSecond(pps * std::pow(1.08, deltaY));
}

double wheelZoomedAmplitude(double zoom, double deltaY) {
    return clampAmplitudeZoom(zoom * std::pow(1.05, deltaY));
}

double anchoredScrollOrigin(double oldPPS, double newPPS, double originX, double anchorInView) {
    return newPPS * ((anchorInView + originX) / oldPPS) - anchorInView;
}

double contentWidth(double pps, double seconds, double visibleWidth) {
    return std::max(visibleWidth, pps * seconds + 500.0);
}

} // namespace orvane::Viewport
