#include "platform/MainLoop.h"

#include <algorithm>
#include <cassert>
#include <chrono>
#include <cmath>
#include <exception>
#include <iostream>

namespace orvane {

double SteadyMainLoopClock::nowSeconds() const {
    const auto since = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(since).count();
}

double ManualClock::nowSeconds() const {
    std::lock_guard lock(mutex_);
    return nowSeconds_;
}

void ManualClock::advanceBy(double seconds) {
    if (!(seconds > 0.0)) {
        return;
    }
    std::lock_guard lock(mutex_);
    nowSeconds_ += seconds;
}

MainLoop::MainLoop(std::shared_ptr<MainLoopClock> clock)
    : clock_(clock ? std::move(clock) : std::make_shared<SteadyMainLoopClock>()),
      mainThread_(std::this_thread::get_id()) {}

void MainLoop::post(Task fn) {
    std::shared_ptr<Task> wakeUp;
    {
        std::lock_guard lock(queueMutex_);
        tasks_.push_back(std::move(fn));
        wakeUp = wakeUp_;
    }
    queueChanged_.notify_all();
    if (wakeUp && *wakeUp) {
        (*wakeUp)();
    }
}

void MainLoop::runGuarded(const Task& fn, const char* what) {
    // A failing task must not take the rest of the turn (and the undo group closing) with it.
    try {
        fn();
    } catch (const std::exception& e) {
        std::cerr << "MainLoop: " << what << " failed: " << e.what() << '\n';
    } catch (...) {
        std::cerr << "MainLoop: " << what << " failed with an unknown exception\n";
    }
}

bool MainLoop::runOneTurn() {
    assert(isMainThread());
    std::deque<Task> batch;
    {
        std::lock_guard lock(queueMutex_);
        batch.swap(tasks_);
    }
    const bool ranTasks = !batch.empty();
    for (const Task& task : batch) {
        runGuarded(task, "posted task");
    }
    const bool ranTimers = runDueTimers();
    runEndOfTurnObservers();
    return ranTasks || ranTimers;
}

bool MainLoop::runDueTimers() {
    const double now = clock_->nowSeconds();
    std::vector<std::pair<double, TimerID>> due;
    for (const auto& [id, timer] : timers_) {
        if (timer.deadline <= now) {
            due.emplace_back(timer.deadline, id);
        }
    }
    std::sort(due.begin(), due.end());
    for (const auto& [deadline, id] : due) {
        auto it = timers_.find(id);
        if (it == timers_.end()) {
            continue; // cancelled by an earlier timer of this turn
        }
        std::shared_ptr<Task> fn = it->second.fn;
        if (it->second.repeat == TimerRepeat::repeating) {
            Timer& timer = it->second;
            // Missed deadlines collapse into this one firing.
            const double missed = std::floor((now - timer.deadline) / timer.interval);
            timer.deadline += (missed + 1.0) * timer.interval;
        } else {
            timers_.erase(it);
        }
        runGuarded(*fn, "timer");
    }
    return !due.empty();
}

void MainLoop::runEndOfTurnObservers() {
    // Copy, so an observer may add or remove observers.
    const auto observers = observers_;
    for (const auto& observer : observers) {
        const auto id = observer.first;
        const bool stillRegistered =
            std::any_of(observers_.begin(), observers_.end(), [id](const auto& o) { return o.first == id; });
        if (stillRegistered) {
            runGuarded(*observer.second, "end-of-turn observer");
        }
    }
}

int MainLoop::runUntilIdle(int maxTurns) {
    int turns = 0;
    while (turns < maxTurns) {
        bool queued = false;
        {
            std::lock_guard lock(queueMutex_);
            queued = !tasks_.empty();
        }
        const auto deadline = nextTimerDeadline();
        const bool timerDue = deadline && *deadline <= clock_->nowSeconds();
        if (!queued && !timerDue) {
            break;
        }
        runOneTurn();
        ++turns;
    }
    return turns;
}

void MainLoop::run() {
    assert(isMainThread());
    for (;;) {
        runOneTurn();
        std::unique_lock lock(queueMutex_);
        if (quitRequested_) {
            quitRequested_ = false;
            return;
        }
        if (!tasks_.empty()) {
            continue;
        }
        const auto deadline = nextTimerDeadline();
        const auto ready = [this] { return quitRequested_ || !tasks_.empty(); };
        if (deadline) {
            const double waitSeconds = std::max(0.0, *deadline - clock_->nowSeconds());
            queueChanged_.wait_for(lock, std::chrono::duration<double>(waitSeconds), ready);
        } else {
            queueChanged_.wait(lock, ready);
        }
        if (quitRequested_) {
            quitRequested_ = false;
            return;
        }
    }
}

void MainLoop::quit() {
    {
        std::lock_guard lock(queueMutex_);
        quitRequested_ = true;
    }
    queueChanged_.notify_all();
}

MainLoop::TimerID MainLoop::addTimer(double intervalSeconds, TimerRepeat repeat, Task fn) {
    assert(isMainThread());
    // A repeating timer needs a positive period, or it would be due on every turn.
    const double interval = (repeat == TimerRepeat::repeating && !(intervalSeconds > 0.0))
                                ? 1e-3
                                : std::max(0.0, intervalSeconds);
    const TimerID id = nextTimerID_++;
    timers_[id] =
        Timer{clock_->nowSeconds() + interval, interval, repeat, std::make_shared<Task>(std::move(fn))};
    return id;
}

void MainLoop::cancelTimer(TimerID id) {
    assert(isMainThread());
    timers_.erase(id);
}

bool MainLoop::hasTimer(TimerID id) const {
    return timers_.count(id) != 0;
}

std::optional<double> MainLoop::nextTimerDeadline() const {
    std::optional<double> earliest;
    for (const auto& [id, timer] : timers_) {
        if (!earliest || timer.deadline < *earliest) {
            earliest = timer.deadline;
        }
    }
    return earliest;
}

MainLoop::ObserverID MainLoop::addEndOfTurnObserver(Task fn) {
    assert(isMainThread());
    const ObserverID id = nextObserverID_++;
    observers_.emplace_back(id, std::make_shared<Task>(std::move(fn)));
    return id;
}

void MainLoop::removeEndOfTurnObserver(ObserverID id) {
    std::erase_if(observers_, [id](const auto& o) { return o.first == id; });
}

void MainLoop::setWakeUpHandler(Task handler) {
    std::lock_guard lock(queueMutex_);
    wakeUp_ = handler ? std::make_shared<Task>(std::move(handler)) : nullptr;
}

} // namespace orvane
