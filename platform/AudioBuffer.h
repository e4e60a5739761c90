#pragma once
// A block of audio as the file layer hands it around: non-interleaved 32-bit float channels of a fixed
// capacity, allocated once at construction. Not thread-safe; one owner at a time (it may be moved on).

#include <cassert>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace orvane {

namespace detail {

// std::allocator, except that elements made without a value are left unset, so that a buffer which
// is about to be written in full need not be zeroed first.
template <class T> struct UnsetAllocator {
    using value_type = T;
    UnsetAllocator() = default;
    template <class U> UnsetAllocator(const UnsetAllocator<U>&) noexcept {}
    T* allocate(std::size_t n) { return std::allocator<T>{}.allocate(n); }
    void deallocate(T* p, std::size_t n) noexcept { std::allocator<T>{}.deallocate(p, n); }
    template <class U> void construct(U* p) noexcept { ::new (static_cast<void*>(p)) U; }
    template <class U, class V> void construct(U* p, V&& value) {
        ::new (static_cast<void*>(p)) U(std::forward<V>(value));
    }
    friend bool operator==(const UnsetAllocator&, const UnsetAllocator&) noexcept { return true; }
};

} // namespace detail

class AudioBuffer final {
  public:
    // Allocates channelCount x frameCapacity samples, all 0.0f; frameLength starts at 0.
    AudioBuffer(double sampleRate, int channelCount, std::size_t frameCapacity)
        : sampleRate_(sampleRate), channelCount_(channelCount > 0 ? channelCount : 0),
          frameCapacity_(frameCapacity),
          samples_(static_cast<std::size_t>(channelCount_) * frameCapacity, 0.0f) {}

    // The same with the samples left unset, for a caller that sets every one before it is read: zeroing
    // a large buffer is a pass over memory of its own.
    static AudioBuffer unset(double sampleRate, int channelCount, std::size_t frameCapacity) {
        return AudioBuffer(sampleRate, channelCount, frameCapacity, Unset{});
    }

    AudioBuffer(const AudioBuffer&) = default;
    AudioBuffer& operator=(const AudioBuffer&) = default;
    AudioBuffer(AudioBuffer&&) noexcept = default;
    AudioBuffer& operator=(AudioBuffer&&) noexcept = default;

    double sampleRate() const noexcept { return sampleRate_; }
    int channelCount() const noexcept { return channelCount_; }
    std::size_t frameCapacity() const noexcept { return frameCapacity_; }

    // How many frames hold valid audio; settable up to the capacity.
    std::size_t frameLength() const noexcept { return frameLength_; }
    void setFrameLength(std::size_t frames) noexcept {
        assert(frames <= frameCapacity_);
        frameLength_ = frames <= frameCapacity_ ? frames : frameCapacity_;
    }

    // The samples of one channel, frameCapacity() of them; channel in 0 ..< channelCount().
    float* channel(int index) noexcept {
        assert(index >= 0 && index < channelCount_);
        return samples_.data() + static_cast<std::size_t>(index) * frameCapacity_;
    }
    const float* channel(int index) const noexcept {
        assert(index >= 0 && index < channelCount_);
        return samples_.data() + static_cast<std::size_t>(index) * frameCapacity_;
    }

    // Zeroes every sample of every channel up to the capacity; frameLength is left as it is.
    void zero() noexcept {
        for (float& s : samples_) {
            s = 0.0f;
        }
    }

  private:
    struct Unset {};
    AudioBuffer(double sampleRate, int channelCount, std::size_t frameCapacity, Unset)
        : sampleRate_(sampleRate), channelCount_(channelCount > 0 ? channelCount : 0),
          frameCapacity_(frameCapacity), samples_(static_cast<std::size_t>(channelCount_) * frameCapacity) {}

    double sampleRate_;
    int channelCount_;
    std::size_t frameCapacity_;
    std::size_t frameLength_ = 0;
    std::vector<float, detail::UnsetAllocator<float>>
        samples_; // channel after channel, each frameCapacity_ long
};

} // namespace orvane
