#pragma once
// Display state of the 48-band spectrum: each band rises at once and falls 0.75 dB a tick, shown
// over the top 60 dB. Main thread only; tick() runs 60 times a second once start() is called.

#include "monitoring/detail/MeterTimer.h"

#include <array>
#include <functional>

namespace orvane {

class MainLoop;
class Metering;

class SpectrumModel final {
  public:
    static constexpr int bandCount = 48;
    static constexpr float fallDBPerTick = 0.75f;
    static constexpr float floorDB = -80.0f;
    static constexpr double staleSeconds = 0.25;

    struct State {
        std::array<float, bandCount> levels{}; // 0 to 1 on the scale
        std::array<float, bandCount> dbState = filled(floorDB);
        bool wasActive = false;
    };

    // `metering` may be null (ticks do nothing); not owned. `redraw` may be empty.
    SpectrumModel(const Metering* metering, std::function<void()> redraw);
    SpectrumModel(const SpectrumModel&) = delete;
    SpectrumModel& operator=(const SpectrumModel&) = delete;

    // One display step; true when the view must be redrawn.
    bool tick(double nowSeconds);
    void start(MainLoop& loop); // the loop must outlive the model or stop() come first
    void stop() { timer_.stop(); }
    void setMetering(const Metering* metering) { metering_ = metering; }

    const State& state() const { return state_; }

  private:
    static constexpr std::array<float, bandCount> filled(float value) {
        std::array<float, bandCount> a{};
        a.fill(value);
        return a;
    }

    const Metering* metering_;
    std::function<void()> redraw_;
    State state_;
    detail::MeterTimer timer_;
};

} // namespace orvane
