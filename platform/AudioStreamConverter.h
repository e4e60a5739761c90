#pragma once
// Converts one continuous stream of stereo float audio to another sample rate, carrying the
// filter's history from call to call so that the edges between blocks are inaudible (libsoxr at
// very high quality). Output sample n lies at time n / outRate like input sample m at m / inRate:
// the filter's delay is removed. One thread at a time; it may be moved between threads.

#include "platform/AudioFileError.h"

#include <cstddef>
#include <memory>
#include <tl/expected.hpp>
#include <vector>

struct soxr; // the library's handle type

namespace orvane {

class AudioStreamConverter final {
  public:
    // conversionFailed for a rate that is not positive or that the library refuses.
    static tl::expected<AudioStreamConverter, AudioFileError> make(double inRate, double outRate);

    AudioStreamConverter(AudioStreamConverter&&) noexcept;
    AudioStreamConverter& operator=(AudioStreamConverter&&) noexcept;
    AudioStreamConverter(const AudioStreamConverter&) = delete;
    AudioStreamConverter& operator=(const AudioStreamConverter&) = delete;
    ~AudioStreamConverter();

    double inRate() const noexcept { return inRate_; }
    double outRate() const noexcept { return outRate_; }

    // Feeds `frames` frames of both channels and appends whatever the filter gives out to outL and
    // outR (less than the ratio asks at first, while the filter fills). conversionFailed on a
    // library error, after which only reset() makes the stream usable again.
    tl::expected<void, AudioFileError> push(const float* l, const float* r, std::size_t frames,
                                            std::vector<float>& outL, std::vector<float>& outR);
    // Forgets the history: the next push starts a new stream, as after a seek.
    void reset() noexcept;

  private:
    struct Deleter {
        void operator()(soxr* handle) const noexcept;
    };
    AudioStreamConverter(std::unique_ptr<soxr, Deleter> handle, double inRate, double outRate);

    std::unique_ptr<soxr, Deleter> soxr_;
    double inRate_ = 0.0;
    double outRate_ = 0.0;
};

} // namespace orvane
