#include "monitoring/RTRingBuffer.h"

#include <algorithm>
#include <cstring>

namespace orvane {

std::int64_t RTRingBuffer::roundedCapacity(std::int64_t requested) noexcept {
    std::int64_t capacity = 1;
    while (capacity < requested)
        capacity <<= 1;
    return capacity;
}

RTRingBuffer::RTRingBuffer(std::int64_t capacityFrames)
    : capacity_(roundedCapacity(capacityFrames)), mask_(capacity_ - 1),
      left_(std::make_unique<float[]>(static_cast<std::size_t>(capacity_))),
      right_(std::make_unique<float[]>(static_cast<std::size_t>(capacity_))) {}

std::int64_t RTRingBuffer::filledFrames() const noexcept {
    return writeIndex_.load(std::memory_order_acquire) - readIndex_.load(std::memory_order_acquire);
}

std::int64_t RTRingBuffer::read(float* left, float* right, std::int64_t count) noexcept {
    if (count <= 0)
        return 0;
    const std::int64_t readAt = readIndex_.load(std::memory_order_relaxed);
    const std::int64_t available = writeIndex_.load(std::memory_order_acquire) - readAt;
    const std::int64_t n = std::clamp<std::int64_t>(available, 0, count);
    const std::int64_t slot = readAt & mask_;
    const std::int64_t firstRun = std::min(n, capacity_ - slot);
    const auto bytes = [](std::int64_t frames) { return static_cast<std::size_t>(frames) * sizeof(float); };
    std::memcpy(left, left_.get() + slot, bytes(firstRun));
    std::memcpy(right, right_.get() + slot, bytes(firstRun));
    if (n > firstRun) {
        std::memcpy(left + firstRun, left_.get(), bytes(n - firstRun));
        std::memcpy(right + firstRun, right_.get(), bytes(n - firstRun));
    }
    if (n < count) {
        std::memset(left + n, 0, bytes(count - n));
        std::memset(right + n, 0, bytes(count - n));
    }
    readIndex_.store(readAt + n, std::memory_order_release);
    return n;
}

std::int64_t RTRingBuffer::write(const float* left, const float* right, std::int64_t count) noexcept {
    if (count <= 0)
        return 0;
    const std::int64_t writeAt = writeIndex_.load(std::memory_order_relaxed);
    const std::int64_t free = capacity_ - (writeAt - readIndex_.load(std::memory_order_acquire));
    const std::int64_t n = std::clamp<std::int64_t>(count, 0, free);
    const std::int64_t slot = writeAt & mask_;
    const std::int64_t firstRun = std::min(n, capacity_ - slot);
    const auto bytes = [](std::int64_t frames) { return static_cast<std::size_t>(frames) * sizeof(float); };
    std::memcpy(left_.get() + slot, left, bytes(firstRun));
    std::memcpy(right_.get() + slot, right, bytes(firstRun));
    if (n > firstRun) {
        std::memcpy(left_.get(), left + firstRun, bytes(n - firstRun));
        std::memcpy(right_.get(), right + firstRun, bytes(n - firstRun));
    }
    writeIndex_.store(writeAt + n, std::memory_order_release);
    return n;
}

void RTRingBuffer::reset() noexcept {
    writeIndex_.store(0, std::memory_order_release);
    readIndex_.store(0, std::memory_order_release);
}

} // namespace orvane
