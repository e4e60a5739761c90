#include "platform/SerialQueue.h"

#include <pthread.h>

#include <cassert>
#include <exception>
#include <iostream>

namespace orvane {

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), worker_([this] { workerLoop(); }) {}

SerialQueue::~SerialQueue() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    taskQueued_.notify_all();
    if (worker_.joinable()) {
        worker_.join();
    }
}

void SerialQueue::async(Task fn) {
    {
        std::lock_guard lock(mutex_);
        assert(!stopping_);
        tasks_.push_back(std::move(fn));
    }
    taskQueued_.notify_one();
}

void SerialQueue::sync(Task fn) {
    if (isCurrent()) {
        // Waiting on our own worker would never return; running inline keeps the order anyway.
        fn();
        return;
    }
    std::mutex doneMutex;
    std::condition_variable doneSignal;
    bool done = false;
    std::exception_ptr failure;
    async([&] {
        try {
            fn();
        } catch (...) {
            failure = std::current_exception();
        }
        std::lock_guard lock(doneMutex);
        done = true;
        doneSignal.notify_all();
    });
    std::unique_lock lock(doneMutex);
    doneSignal.wait(lock, [&] { return done; });
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void SerialQueue::waitUntilIdle() {
    assert(!isCurrent());
    std::unique_lock lock(mutex_);
    becameIdle_.wait(lock, [this] { return tasks_.empty() && !running_; });
}

std::size_t SerialQueue::pendingCount() const {
    std::lock_guard lock(mutex_);
    return tasks_.size() + (running_ ? 1 : 0);
}

void SerialQueue::workerLoop() {
    // The kernel keeps 15 characters of a thread's name; enough to tell the queues apart in a debugger.
    pthread_setname_np(pthread_self(), label_.substr(0, 15).c_str());
    for (;;) {
        Task task;
        {
            std::unique_lock lock(mutex_);
            taskQueued_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
            if (tasks_.empty()) {
                return; // stopping, and everything queued has run
            }
            task = std::move(tasks_.front());
            tasks_.pop_front();
            running_ = true;
        }
        try {
            task();
        } catch (const std::exception& e) {
            std::cerr << label_ << ": task failed: " << e.what() << '\n';
        } catch (...) {
            std::cerr << label_ << ": task failed with an unknown exception\n";
        }
        {
            std::lock_guard lock(mutex_);
            running_ = false;
            if (tasks_.empty()) {
                becameIdle_.notify_all();
            }
        }
    }
}

} // namespace orvane
