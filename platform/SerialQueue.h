#pragma once
// A named serial background queue ("orvane.srcprewarm", "orvane.autosave"): tasks run one after
// another, in submission order, on one worker thread of its own. The destructor runs what is still
// queued and then joins the worker. async(), sync(), waitUntilIdle() are for any thread but the
// worker itself (sync and waitUntilIdle from a task of the same queue would wait for themselves).

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace orvane {

class SerialQueue final {
  public:
    using Task = std::function<void()>;

    explicit SerialQueue(std::string label);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    const std::string& label() const { return label_; }

    // Queues fn behind everything already queued. A task that throws is reported on the console
    // with the queue's label, and the queue goes on with the next one.
    void async(Task fn);
    // Queues fn and blocks until it has run: it also waits for everything queued before it. An
    // exception thrown by fn is rethrown here, on the caller's thread.
    void sync(Task fn);
    // Blocks until nothing is queued or running.
    void waitUntilIdle();

    // True on the queue's own worker thread.
    bool isCurrent() const { return std::this_thread::get_id() == worker_.get_id(); }
    std::size_t pendingCount() const; // queued plus running

  private:
    void workerLoop();

    std::string label_;
    mutable std::mutex mutex_;
    std::condition_variable taskQueued_;
    std::condition_variable becameIdle_;
    std::deque<Task> tasks_;
    bool running_ = false; // a task is executing
    bool stopping_ = false;
    std::thread worker_; // last: starts once the fields above exist
};

} // namespace orvane
