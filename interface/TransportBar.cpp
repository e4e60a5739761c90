#include "interface/TransportBar.h"

#include "model/RedBook.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace orvane::TransportBar {

namespace {

constexpr double fps = static_cast<double>(RedBook::framesPerSecond);

std::string msfText(double seconds) {
    const double frames = std::trunc(seconds * fps);
    const auto whole = std::isfinite(frames) ? static_cast<std::int64_t>(frames) : 0;
    return CDTime::frames(std::max<std::int64_t>(whole, 0)).msfString();
}

std::string prerollNote(double preroll) {
    char text[16];
    std::snprintf(text, sizeof text, "%g", preroll);
    return text;
}

} // namespace

TimeMode timeModeFromRaw(std::int64_t raw) {
    if (raw < 0 || raw > 2) {
        return TimeMode::elapsed;
    }
    return static_cast<TimeMode>(raw);
}

TimeMode nextTimeMode(TimeMode mode) {
    return static_cast<TimeMode>((static_cast<int>(mode) + 1) % 3);
}

TimeDisplay timeDisplay(TimeMode mode, double t, double totalDuration,
                        const std::vector<TrackPosition>& positions,
                        const std::optional<TimecodeOverride>& timecodeOverride) {
    TimeDisplay d;
    double value = t;
    if (timecodeOverride) {
        d.legend = "TIME";
        value = static_cast<double>(timecodeOverride->sample()) / PlaybackControl::samplesPerSecond;
        d.overrideKind =
            std::holds_alternative<TimecodeOverride::Pin>(timecodeOverride->value) ? "PIN" : "LOOP";
    } else {
        switch (mode) {
        case TimeMode::elapsed:
            d.legend = "TIME";
            break;
        case TimeMode::trackRemaining: {
            d.legend = "TRK −";
            value = totalDuration - t;
            for (const TrackPosition& p : positions) {
                if (static_cast<double>(p.startLBA) / fps <= t && t < static_cast<double>(p.endLBA) / fps) {
                    value = std::max(static_cast<double>(p.endLBA) / fps - t, 0.0);
                    break;
                }
            }
            break;
        }
        case TimeMode::discRemaining:
            d.legend = "TOT −";
            value = std::max(totalDuration - t, 0.0);
            break;
        }
    }
    d.time = msfText(value);
    d.trackNumber = "--";
    for (const TrackPosition& p : positions) {
        if (static_cast<double>(p.startLBA) / fps <= t && t <= static_cast<double>(p.endLBA) / fps) {
            char text[24];
            std::snprintf(text, sizeof text, "%02lld", static_cast<long long>(p.trackIndex));
            d.trackNumber = text;
            break;
        }
    }
    return d;
}

std::string previousTooltip(double prerollSeconds) {
    if (prerollSeconds > 0) {
        return "Previous track boundary −" + prerollNote(prerollSeconds) + " s (right-click to change)";
    }
    return "Previous track (right-click for pre-roll)";
}

std::string nextTooltip(double prerollSeconds) {
    if (prerollSeconds > 0) {
        return "Next track boundary −" + prerollNote(prerollSeconds) + " s (right-click to change)";
    }
    return "Next track (right-click for pre-roll)";
}

void togglePin(WorkspaceState& ws) {
    if (ws.lockedPlayStartSample()) {
        ws.setLockedPlayStartSample(std::nullopt);
    } else {
        ws.setLockedPlayStartSample(ws.playback().currentSample());
    }
}

std::vector<ScrollModeButton> scrollModeButtons(ScrollMode chosen) {
    std::vector<ScrollModeButton> buttons;
    for (ScrollMode mode : {ScrollMode::none, ScrollMode::page, ScrollMode::center}) {
        buttons.push_back({mode, std::string(rawValue(mode)), mode == chosen});
    }
    return buttons;
}

std::string_view zoomTooltip(ZoomWedge wedge) {
    switch (wedge) {
    case ZoomWedge::right:
        return "Horizontal zoom in";
    case ZoomWedge::left:
        return "Horizontal zoom out";
    case ZoomWedge::up:
        return "Vertical zoom in";
    case ZoomWedge::down:
        return "Vertical zoom out";
    case ZoomWedge::centre:
        return "Center to cursor";
    }
    return "";
}

void applyZoom(ZoomWedge wedge, ViewportState& viewport, WorkspaceState& ws) {
    switch (wedge) {
    case ZoomWedge::right:
        viewport.pixelsPerSecond = Viewport::clampPixelsPerSecond(viewport.pixelsPerSecond * 1.5);
        break;
    case ZoomWedge::left:
        viewport.pixelsPerSecond = Viewport::clampPixelsPerSecond(viewport.pixelsPerSecond / 1.5);
        break;
    case ZoomWedge::up:
        viewport.amplitudeZoom = Viewport::clampAmplitudeZoom(viewport.amplitudeZoom * 1.25);
        break;
    case ZoomWedge::down:
        viewport.amplitudeZoom = Viewport::clampAmplitudeZoom(viewport.amplitudeZoom / 1.25);
        break;
    case ZoomWedge::centre:
        ws.requestCenterOnPlayhead();
        break;
    }
}

void VolumeKnob::setValue(double value) {
    value_ = std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0;
}

double VolumeKnob::angleDegrees(double value) {
    return -135.0 + 270.0 * std::clamp(value, 0.0, 1.0);
}

void VolumeKnob::beginDrag() {
    dragStartValue_ = value_;
    liveValue_.reset();
}

std::optional<double> VolumeKnob::dragTo(double dy) {
    if (!dragStartValue_ || !(std::abs(dy) > deadZonePoints)) {
        return std::nullopt;
    }
    const double sign = dy > 0 ? 1.0 : -1.0;
    liveValue_ = std::clamp(*dragStartValue_ - (dy - deadZonePoints * sign) / dragSpanPoints, 0.0, 1.0);
    return liveValue_;
}

std::optional<double> VolumeKnob::endDrag() {
    dragStartValue_.reset();
    const auto moved = std::exchange(liveValue_, std::nullopt);
    if (moved) {
        value_ = *moved;
    }
    return moved;
}

double VolumeKnob::wheel(double steps) {
    liveValue_ = std::clamp(value() + steps * wheelStep, 0.0, 1.0);
    wheelPending_ = true;
    return *liveValue_;
}

std::optional<double> VolumeKnob::takeWheelCommit() {
    if (!wheelPending_ || !liveValue_) {
        return std::nullopt;
    }
    wheelPending_ = false;
    value_ = *std::exchange(liveValue_, std::nullopt);
    return value_;
}

MasterBarTier barTier(double windowWidth, const std::optional<std::vector<double>>& groupWidths,
                      double spacing) {
    if (!groupWidths || groupWidths->empty()) {
        return MasterBarTier::single;
    }
    double needed = spacing * static_cast<double>(groupWidths->size() - 1);
    for (double w : *groupWidths) {
        needed += w;
    }
    return needed - tierSlackPoints > windowWidth ? MasterBarTier::twoRow : MasterBarTier::single;
}

} // namespace orvane::TransportBar
