#include "monitoring/CorrelationModel.h"

#include "monitoring/Metering.h"

#include <cmath>

namespace orvane {

CorrelationModel::CorrelationModel(const Metering* metering, std::function<void()> redraw)
    : metering_(metering), redraw_(std::move(redraw)) {}

void CorrelationModel::start(MainLoop& loop) {
    timer_.start(loop, [this](double now) {
        if (tick(now) && redraw_) {
            redraw_();
        }
    });
}

bool CorrelationModel::tick(double nowSeconds) {
    if (metering_ == nullptr) {
        return false;
    }
    const CorrelationReading reading = metering_->correlation(nowSeconds);
    // Silence rests at +1: two channels with nothing in them are not out of phase.
    const float target = nowSeconds - reading.time > staleSeconds ? 1.0f : reading.value;
    state_.value += (target - state_.value) * static_cast<float>(coeff);
    if (std::fabs(state_.value - state_.lastDrawn) >= redrawStep) {
        state_.lastDrawn = state_.value;
        return true;
    }
    return false;
}

} // namespace orvane
