#pragma once
// The lock-free stereo ring between the playback producer and the output callback: one writer (the
// producer queue) and one reader (the audio thread). The counters run freely and are never wrapped;
// a counter's slot is `value & mask`. reset() is for the main thread while the producer is stopped.

#include <atomic>
#include <cstdint>
#include <memory>

namespace orvane {

class RTRingBuffer final {
  public:
    // Rounds the request up to a power of two; a request below 2 gives a capacity of 1.
    explicit RTRingBuffer(std::int64_t capacityFrames);
    RTRingBuffer(const RTRingBuffer&) = delete;
    RTRingBuffer& operator=(const RTRingBuffer&) = delete;

    std::int64_t capacity() const noexcept { return capacity_; }
    std::int64_t mask() const noexcept { return mask_; }

    // Frames written and not yet read; any thread (a momentary value).
    std::int64_t filledFrames() const noexcept;
    std::int64_t freeFrames() const noexcept { return capacity_ - filledFrames(); }
    std::int64_t writeIndex() const noexcept { return writeIndex_.load(std::memory_order_acquire); }
    std::int64_t readIndex() const noexcept { return readIndex_.load(std::memory_order_acquire); }

    // Reader: copies min(available, count) frames out and zeroes the rest of both blocks. Gives the
    // number of real frames.
    std::int64_t read(float* left, float* right, std::int64_t count) noexcept;
    // Writer: copies min(count, free) frames in and publishes them. Gives the number written.
    std::int64_t write(const float* left, const float* right, std::int64_t count) noexcept;

    // Drops everything held: both counters back to 0. Only while neither side runs.
    void reset() noexcept;

  private:
    static std::int64_t roundedCapacity(std::int64_t requested) noexcept;

    std::int64_t capacity_;
    std::int64_t mask_;
    std::unique_ptr<float[]> left_;
    std::unique_ptr<float[]> right_;
    // Each counter is published after the samples it covers (writer) or after the copy out (reader).
    alignas(64) std::atomic<std::int64_t> writeIndex_{0};
    alignas(64) std::atomic<std::int64_t> readIndex_{0};
};

} // namespace orvane
