#pragma once
// Display state of the level meter: bars, LED segments, peak markers, the clip lamp and the running
// loudness readout, each moved by its own ballistics from the frame the listener hears now.
// Main thread only; tick() runs 60 times a second once start() has put it on the main loop.

#include "monitoring/detail/MeterTimer.h"

#include <array>
#include <functional>
#include <string>

namespace orvane {

class MainLoop;
class Metering;

namespace MeterScale {
// Position of a linear level on the meter's scale, 0 to 1: -60 dB and below at 0, -20 dB at 0.25,
// -6 dB at 0.7, 0 dB and above at 1.
float position(float linearLevel) noexcept;
} // namespace MeterScale

class VUMeterModel final {
  public:
    static constexpr int segmentCount = 64;
    static constexpr double attackCoeff = 0.34075936979955623;  // 1 - exp(-1 / (60 x 0.04)), 40 ms
    static constexpr double releaseCoeff = 0.07995558537067671; // 1 - exp(-1 / (60 x 0.2)), 200 ms
    static constexpr double staleSeconds = 0.25;
    static constexpr const char* noLufsText = "\u2014";

    // Per channel, left then right.
    struct State {
        std::array<float, 2> bar{}, peak{}, peakAlpha{}, clipGlow{};
        std::array<float, 2> clipHold{}, peakHold{}; // seconds left
        std::array<std::array<float, segmentCount>, 2> segs{};
        bool showLufs = true;
        std::string lufsText = noLufsText;
        bool wasActive = false;
    };

    // `metering` may be null (no engine: ticks do nothing); it is not owned. `redraw` may be empty.
    VUMeterModel(Metering* metering, std::function<void()> redraw);
    VUMeterModel(const VUMeterModel&) = delete;
    VUMeterModel& operator=(const VUMeterModel&) = delete;

    // One display step at `nowSeconds` on the media clock; true when the view must be redrawn.
    bool tick(double nowSeconds);
    // Ticks on a 1/60 s repeating timer of `loop`, redrawing when a tick says so. The loop must
    // outlive the model or stop() must be called first.
    void start(MainLoop& loop);
    void stop() { timer_.stop(); }

    void setMetering(Metering* metering) { metering_ = metering; }
    void setShowLufs(bool show) { state_.showLufs = show; }
    // A click on the readout: restarts the running measurement and shows "—" at once.
    void resetLufs();

    const State& state() const { return state_; }

  private:
    void tickChannel(std::size_t c, float inFast, float inPeak, bool clip);

    Metering* metering_;
    std::function<void()> redraw_;
    State state_;
    detail::MeterTimer timer_;
};

} // namespace orvane
