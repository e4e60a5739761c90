#pragma once
// The main thread's loop: work posted from any thread, timers, and observers told at the end of
// every turn (the undo manager closes its group there). The owner drives it, one turn at a time:
// a test calls runOneTurn() itself and moves a ManualClock; the CLI uses run()/quit(); the Qt
// shell wires setWakeUpHandler() and nextTimerDeadline() to its own event loop and calls
// runOneTurn(). post(), quit() and wakeUp handling are for any thread; everything else belongs to
// the thread that made the loop (isMainThread()).

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace orvane {

// A monotonic time source in seconds; timers are due against it.
class MainLoopClock {
  public:
    virtual ~MainLoopClock() = default;
    virtual double nowSeconds() const = 0;
};

// The process's steady clock, seconds since an arbitrary start.
class SteadyMainLoopClock final : public MainLoopClock {
  public:
    double nowSeconds() const override;
};

// A clock that moves only when told to, so tests fire timers deterministically. Any thread.
class ManualClock final : public MainLoopClock {
  public:
    explicit ManualClock(double startSeconds = 0.0) : nowSeconds_(startSeconds) {}
    double nowSeconds() const override;
    void advanceBy(double seconds); // negative steps are ignored: the clock never runs back

  private:
    mutable std::mutex mutex_;
    double nowSeconds_;
};

enum class TimerRepeat { once, repeating };

class MainLoop final {
  public:
    using Task = std::function<void()>;
    using TimerID = std::uint64_t;
    using ObserverID = std::uint64_t;

    // The calling thread becomes the loop's main thread. Without a clock, the steady clock.
    explicit MainLoop(std::shared_ptr<MainLoopClock> clock = nullptr);
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    // Queues fn for the next turn. Any thread; never runs fn inline.
    void post(Task fn);

    // One turn: the tasks queued before the turn began (in posting order), then every timer due on
    // the clock (by deadline), then the end-of-turn observers. Gives true when a task or timer ran.
    // A task that throws is reported on the console and the turn goes on.
    bool runOneTurn();
    // Turns until no task is queued and no timer is due; stops after maxTurns as a guard against a
    // task that keeps reposting itself. Gives the number of turns run.
    int runUntilIdle(int maxTurns = 10000);

    // Blocks the main thread running turns, sleeping until a post or the next deadline, until
    // quit() is called. Meant for the steady clock: a manual clock never brings a deadline closer.
    void run();
    void quit(); // any thread

    // A timer on the loop's clock; a repeating one fires again `intervalSeconds` after its last
    // deadline, and fires only once for a span of several missed deadlines.
    TimerID addTimer(double intervalSeconds, TimerRepeat repeat, Task fn);
    void cancelTimer(TimerID id); // unknown ids are ignored; a timer may cancel itself
    bool hasTimer(TimerID id) const;
    // The earliest deadline on the loop's clock, or nothing without timers.
    std::optional<double> nextTimerDeadline() const;

    ObserverID addEndOfTurnObserver(Task fn);
    void removeEndOfTurnObserver(ObserverID id);

    // Called after each post(), on the posting thread, so a host loop can schedule a turn.
    void setWakeUpHandler(Task handler);

    bool isMainThread() const { return std::this_thread::get_id() == mainThread_; }
    double nowSeconds() const { return clock_->nowSeconds(); }
    const MainLoopClock& clock() const { return *clock_; }

  private:
    struct Timer {
        double deadline = 0.0;
        double interval = 0.0;
        TimerRepeat repeat = TimerRepeat::once;
        std::shared_ptr<Task> fn;
    };

    bool runDueTimers();
    void runEndOfTurnObservers();
    static void runGuarded(const Task& fn, const char* what);

    std::shared_ptr<MainLoopClock> clock_;
    std::thread::id mainThread_;

    mutable std::mutex queueMutex_; // guards tasks_, quitRequested_, wakeUp_
    std::condition_variable queueChanged_;
    std::deque<Task> tasks_;
    bool quitRequested_ = false;
    std::shared_ptr<Task> wakeUp_;

    std::map<TimerID, Timer> timers_; // main thread only
    TimerID nextTimerID_ = 1;
    std::vector<std::pair<ObserverID, std::shared_ptr<Task>>> observers_; // main thread only
    ObserverID nextObserverID_ = 1;
};

} // namespace orvane
