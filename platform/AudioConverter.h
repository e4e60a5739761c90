#pragma once
// Converts one whole buffer to another sample rate and channel layout in one go (libsoxr, high
// quality), as the playback path and the render's fallback need. Stateless: each call is a fresh
// conversion with no history. Any thread.

#include "platform/AudioBuffer.h"
#include "platform/AudioFileError.h"

#include <cstddef>
#include <tl/expected.hpp>

namespace orvane::AudioConverter {

// Frames the whole of sourceFrames becomes at the target rate: sourceFrames x targetRate / sourceRate,
// truncated. 0 for a non-positive rate.
std::size_t outputCapacityFrames(std::size_t sourceFrames, double sourceRate, double targetRate) noexcept;

// Converts source's frameLength frames into target, whose sampleRate and channelCount say what is
// wanted. Writes min(target capacity, outputCapacityFrames(...)) frames, sets target's frameLength to
// that, and returns it. The filter's delay is removed, so sample n of the output lies at time
// n / targetRate like sample m of the source at m / sourceRate. Channels: equal counts map one to one;
// mono goes to every target channel; many to mono is their mean; otherwise channel i takes source
// channel i, and channels the source lacks are silent. Equal rates copy the samples unchanged.
// conversionFailed for a non-positive rate or channel count, or a converter error.
tl::expected<std::size_t, AudioFileError> convert(const AudioBuffer& source, AudioBuffer& target);

// The same into a new buffer of outputCapacityFrames(...) frames at targetRate with targetChannels.
tl::expected<AudioBuffer, AudioFileError> convert(const AudioBuffer& source, double targetRate,
                                                  int targetChannels);

} // namespace orvane::AudioConverter
