#include "monitoring/SpectrumModel.h"

#include "monitoring/Metering.h"

#include <algorithm>

namespace orvane {

SpectrumModel::SpectrumModel(const Metering* metering, std::function<void()> redraw)
    : metering_(metering), redraw_(std::move(redraw)) {}

void SpectrumModel::start(MainLoop& loop) {
    timer_.start(loop, [this](double now) {
        if (tick(now) && redraw_) {
            redraw_();
        }
    });
}

bool SpectrumModel::tick(double nowSeconds) {
    if (metering_ == nullptr) {
        return false;
    }
    const SpectrumReading reading = metering_->spectrumBands(nowSeconds);
    const bool reset = nowSeconds - reading.time > staleSeconds || reading.bands.size() != bandCount;
    bool showing = false;
    for (std::size_t b = 0; b < bandCount; ++b) {
        const float incoming = reset ? floorDB : reading.bands[b];
        float& db = state_.dbState[b];
        db = db <= incoming ? incoming : std::max(db - fallDBPerTick, incoming);
        state_.levels[b] = std::clamp((db + 60.0f) / 60.0f, 0.0f, 1.0f);
        showing = showing || state_.levels[b] > 0.005f;
    }
    const bool redraw = showing || state_.wasActive;
    state_.wasActive = showing;
    return redraw;
}

} // namespace orvane
