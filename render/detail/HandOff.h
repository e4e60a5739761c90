#pragma once
// A bounded hand-off between two threads: a fixed ring of slots that one producer fills and one
// consumer empties, in order. Either side, or a third party, may stop it, which wakes both for good.
// Either side that has to wait sleeps until a few slots are ready for it (or the stream ends), so that
// two threads of about the same speed are not woken for every slot in turn.
#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

namespace orvane::detail {

template <class T> class HandOff final {
  public:
    HandOff(std::size_t capacity, std::size_t wakeBatch)
        : slots_(capacity < 1 ? 1 : capacity),
          wakeBatch_(std::clamp<std::size_t>(wakeBatch, 1, slots_.size())) {}
    HandOff(const HandOff&) = delete;
    HandOff& operator=(const HandOff&) = delete;

    // Producer: the next free slot, waiting while all are full; nullptr once stopped.
    T* slotToFill() {
        std::unique_lock lock(mutex_);
        if (count_ == slots_.size()) {
            producerWaits_ = true;
            space_.wait(lock, [&] { return stopped_ || count_ + wakeBatch_ <= slots_.size(); });
            producerWaits_ = false;
        }
        return stopped_ ? nullptr : &slots_[(head_ + count_) % slots_.size()];
    }
    // Producer: the slot from slotToFill() is ready.
    void publish() {
        std::unique_lock lock(mutex_);
        ++count_;
        const bool wake = count_ >= wakeBatch_;
        lock.unlock();
        if (wake)
            items_.notify_one();
    }
    // Producer: nothing more will come.
    void close() {
        {
            const std::lock_guard lock(mutex_);
            closed_ = true;
        }
        items_.notify_one();
    }

    // Consumer: the oldest ready slot; nullptr once stopped, or closed with nothing left.
    T* nextToTake() {
        std::unique_lock lock(mutex_);
        if (count_ == 0)
            items_.wait(lock, [&] { return stopped_ || closed_ || count_ >= wakeBatch_; });
        return stopped_ || count_ == 0 ? nullptr : &slots_[head_];
    }
    // Consumer: done with the slot from nextToTake(); it may be filled again.
    void taken() {
        std::unique_lock lock(mutex_);
        head_ = (head_ + 1) % slots_.size();
        --count_;
        const bool wake = producerWaits_ && count_ + wakeBatch_ <= slots_.size();
        lock.unlock();
        if (wake)
            space_.notify_one();
    }

    // Ends the hand-off on both sides; what is still queued is dropped.
    void stop() {
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        items_.notify_all();
        space_.notify_all();
    }

  private:
    std::vector<T> slots_;
    const std::size_t wakeBatch_;
    std::mutex mutex_;
    std::condition_variable items_; // the consumer waits here
    std::condition_variable space_; // the producer waits here
    std::size_t head_ = 0;          // oldest ready slot
    std::size_t count_ = 0;         // ready slots
    bool closed_ = false;
    bool stopped_ = false;
    bool producerWaits_ = false;
};

} // namespace orvane::detail
