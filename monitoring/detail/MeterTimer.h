#pragma once
// The 60 Hz repeating timer every meter model runs its tick on. Main thread; the loop must outlive
// the timer, which cancels itself when stopped or destroyed.

#include "platform/MainLoop.h"

#include <functional>
#include <utility>

namespace orvane::detail {

class MeterTimer final {
  public:
    static constexpr double intervalSeconds = 1.0 / 60.0;

    MeterTimer() = default;
    MeterTimer(const MeterTimer&) = delete;
    MeterTimer& operator=(const MeterTimer&) = delete;
    ~MeterTimer() { stop(); }

    // (Re)starts the timer; `tick` gets the loop's clock at each firing.
    void start(MainLoop& loop, std::function<void(double)> tick) {
        stop();
        loop_ = &loop;
        id_ = loop.addTimer(intervalSeconds, TimerRepeat::repeating,
                            [this, fn = std::move(tick)] { fn(loop_->nowSeconds()); });
    }

    void stop() {
        if (loop_ != nullptr) {
            loop_->cancelTimer(id_);
        }
        loop_ = nullptr;
        id_ = 0;
    }

    bool isRunning() const { return loop_ != nullptr && loop_->hasTimer(id_); }

  private:
    MainLoop* loop_ = nullptr;
    MainLoop::TimerID id_ = 0;
};

} // namespace orvane::detail
