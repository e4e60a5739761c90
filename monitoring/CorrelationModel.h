#pragma once
// Display state of the phase correlation meter: the value eases toward the heard frame's correlation
// with a 150 ms time constant, and toward +1 when frames stop. Main thread only; tick() runs 60 times
// a second once start() is called.

#include "monitoring/detail/MeterTimer.h"

#include <functional>

namespace orvane {

class MainLoop;
class Metering;

class CorrelationModel final {
  public:
    static constexpr double coeff = 0.10516068318563021; // 1 - exp(-1 / (60 x 0.15))
    static constexpr double staleSeconds = 0.25;
    static constexpr float redrawStep = 0.0008f;

    struct State {
        float value = 1.0f;
        float lastDrawn = 2.0f; // out of range, so that the first tick draws
    };

    // `metering` may be null (ticks do nothing); not owned. `redraw` may be empty.
    CorrelationModel(const Metering* metering, std::function<void()> redraw);
    CorrelationModel(const CorrelationModel&) = delete;
    CorrelationModel& operator=(const CorrelationModel&) = delete;

    // One display step; true when the view must be redrawn.
    bool tick(double nowSeconds);
    void start(MainLoop& loop); // the loop must outlive the model or stop() come first
    void stop() { timer_.stop(); }
    void setMetering(const Metering* metering) { metering_ = metering; }

    const State& state() const { return state_; }

  private:
    const Metering* metering_;
    std::function<void()> redraw_;
    State state_;
    detail::MeterTimer timer_;
};

} // namespace orvane
