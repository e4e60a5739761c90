#pragma once
// One audio file read as a continuous 44.1 kHz stereo stream, whatever its own rate and channel
// count. A read that continues the last one carries the converter's history on, so block edges
// inside continuous audio are inaudible; any other read restarts the stream on a native frame that
// lies exactly on a disc sample, a pre-roll ahead, so that a restarted stream gives the same samples
// as an unbroken one. Used by the monitoring renderer and the loudness analyser. One thread at a time.

#include "platform/AudioFileReader.h"
#include "platform/AudioStreamConverter.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvane {

class ResampledStream {
  public:
    // Audio read before a restarted stream's first sample, so that the converter's filter is full
    // of the real signal by then.
    static constexpr std::int64_t prerollSamples = 4096;

    // Writes `count` samples of the file from its 44.1 kHz sample startSample441 into l and r. Before
    // the file's start and past its end is silence. A mono file feeds both channels. False when the
    // file cannot be read or converted; the next read then starts afresh.
    bool read(AudioFileReader& reader, std::int64_t startSample441, std::int64_t count, float* l, float* r);

    // Forgets the history: the next read restarts.
    void reset() noexcept { next441_ = -1; }

  private:
    bool restart(AudioFileReader& reader, std::int64_t startSample441);
    // Feeds the converter `frames` native frames from nextNative_.
    bool feed(AudioFileReader& reader, std::int64_t frames);

    std::string path_;
    std::optional<AudioStreamConverter> converter_;
    std::int64_t next441_ = -1;   // file sample (44.1 kHz) that continues the stream
    std::int64_t nextNative_ = 0; // native frame fed next; below 0 and past the end are silence
    std::int64_t discard_ = 0;    // converted samples of the pre-roll still to drop
    std::vector<float> pendingL_, pendingR_;
    std::size_t pendingAt_ = 0;
    std::optional<AudioBuffer> native_;
    std::vector<float> feedL_, feedR_;
};

} // namespace orvane
