#include "monitoring/VUMeterModel.h"

#include "monitoring/Metering.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace orvane {

namespace {
constexpr float kTick = 1.0f / 60.0f;
constexpr float kClipHoldSeconds = 1.5f;
constexpr float kClipFadePerTick = 1.0f / 30.0f;
constexpr float kSegmentFallFactor = 0.55f;
constexpr float kPeakRiseFactor = 0.5f;
constexpr float kPeakHoldSeconds = 0.7f;
constexpr float kPeakFallFraction = 0.13f;
constexpr float kPeakFallMinimum = 0.015f;
constexpr float kPeakVisibleAbove = 0.03f;
constexpr float kAlphaRise = 0.22f;
constexpr float kAlphaFall = 0.1f;
} // namespace

float MeterScale::position(float linearLevel) noexcept {
    const float db = 20.0f * std::log10(std::max(linearLevel, 1e-6f));
    if (db <= -60.0f) {
        return 0.0f;
    }
    if (db <= -20.0f) {
        return (db + 60.0f) / 40.0f * 0.25f;
    }
    if (db <= -6.0f) {
        return 0.25f + (db + 20.0f) / 14.0f * 0.45f;
    }
    return std::min(1.0f, 0.7f + (db + 6.0f) / 6.0f * 0.3f);
}

VUMeterModel::VUMeterModel(Metering* metering, std::function<void()> redraw)
    : metering_(metering), redraw_(std::move(redraw)) {}

void VUMeterModel::start(MainLoop& loop) {
    timer_.start(loop, [this](double now) {
        if (tick(now) && redraw_) {
            redraw_();
        }
    });
}

void VUMeterModel::resetLufs() {
    if (metering_ != nullptr) {
        metering_->resetRTLufs();
    }
    state_.lufsText = noLufsText;
    if (redraw_) {
        redraw_();
    }
}

bool VUMeterModel::tick(double nowSeconds) {
    if (metering_ == nullptr) {
        return false;
    }
    const MeterLevels levels = metering_->meterLevels(nowSeconds);
    const bool stale = nowSeconds - levels.time > staleSeconds;
    tickChannel(0, stale ? 0.0f : levels.fastL, stale ? 0.0f : levels.peakL, !stale && levels.clipL);
    tickChannel(1, stale ? 0.0f : levels.fastR, stale ? 0.0f : levels.peakR, !stale && levels.clipR);

    bool lufsChanged = false;
    if (state_.showLufs) {
        const std::optional<double> lufs = metering_->rtIntegratedLUFS();
        std::string text = noLufsText;
        if (lufs) {
            char buffer[32];
            std::snprintf(buffer, sizeof buffer, "%.1f", *lufs);
            text = buffer;
        }
        if (text != state_.lufsText) {
            state_.lufsText = std::move(text);
            lufsChanged = true;
        }
    }

    bool showing = false;
    for (std::size_t c = 0; c < 2; ++c) {
        showing = showing || state_.bar[c] > 0.001f || state_.peak[c] > 0.001f ||
                  state_.peakAlpha[c] > 0.02f || state_.clipGlow[c] > 0.01f;
    }
    // The tick after the meters come to rest still paints, so the last frame shows them at rest.
    const bool redraw = showing || lufsChanged || state_.wasActive;
    state_.wasActive = showing;
    return redraw;
}

void VUMeterModel::tickChannel(std::size_t c, float inFast, float inPeak, bool clip) {
    State& s = state_;
    if (clip) {
        s.clipGlow[c] = 1.0f;
        s.clipHold[c] = kClipHoldSeconds;
    } else {
        s.clipHold[c] -= kTick;
        if (s.clipHold[c] <= 0.0f) {
            s.clipHold[c] = 0.0f;
            s.clipGlow[c] = std::max(0.0f, s.clipGlow[c] - kClipFadePerTick);
        }
    }

    const float target = MeterScale::position(inFast);
    const auto k = static_cast<float>(s.bar[c] < target ? attackCoeff : releaseCoeff);
    s.bar[c] += k * (target - s.bar[c]);

    for (int i = 0; i < segmentCount; ++i) {
        const float lit =
            std::clamp((s.bar[c] - static_cast<float>(i) / segmentCount) * segmentCount, 0.0f, 1.0f);
        float& seg = s.segs[c][static_cast<std::size_t>(i)];
        seg = seg <= lit ? lit : seg + (lit - seg) * kSegmentFallFactor;
    }

    const float peakTarget = MeterScale::position(inPeak);
    if (s.peak[c] <= peakTarget) {
        s.peak[c] += (peakTarget - s.peak[c]) * kPeakRiseFactor;
        s.peakHold[c] = kPeakHoldSeconds;
    } else {
        s.peakHold[c] -= kTick;
        if (s.peakHold[c] <= 0.0f) {
            s.peakHold[c] = 0.0f;
            const float d = std::max((s.peak[c] - s.bar[c]) * kPeakFallFraction, kPeakFallMinimum);
            s.peak[c] = std::max(s.bar[c], s.peak[c] - d);
        }
    }

    const float alphaTarget = s.peak[c] > kPeakVisibleAbove ? 1.0f : 0.0f;
    s.peakAlpha[c] +=
        (alphaTarget - s.peakAlpha[c]) * (s.peakAlpha[c] < alphaTarget ? kAlphaRise : kAlphaFall);
}

} // namespace orvane
