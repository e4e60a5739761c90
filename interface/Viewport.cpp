#include "interface/Viewport.h"

#include "model/RedBook.h"

#include <algorithm>
#include <cmath>

namespace orvane::Viewport {

namespace {
constexpr double fps = static_cast<double>(RedBook::framesPerSecond);
constexpr double rate = static_cast<double>(RedBook::sampleRate);
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
    return static_cast<std::int64_t>(std::trunc(x / pps * fps));
}

double secondsAtX(double x, double pps) {
    return pps > 0 ? std::max(0.0, x / pps) : 0.0;
}

std::int64_t framesForDistance(double dx, double pps) {
    return pps > 0 ? static_cast<std::int64_t>(std::trunc(dx / pps * fps)) : 0;
}

std::int64_t samplesForDistance(double dx, double pps) {
    return pps > 0 ? static_cast<std::int64_t>(std::trunc(dx / pps * rate)) : 0;
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
