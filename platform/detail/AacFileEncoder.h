#pragma once
// AAC in an MPEG-4 audio file (.m4a), through libavcodec's own "aac" encoder and libavformat's mp4
// muxer, with the index moved to the front so that a browser can start playing before the whole file
// is there. Takes interleaved 16-bit samples; encodes in the codec's frames as they fill, so memory
// stays at one frame whatever the length. One thread at a time; the file layer's writer owns it.

#include "platform/AudioFileError.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <tl/expected.hpp>

namespace orvane::detail {

class AacFileEncoder final {
  public:
    // Creates (or replaces) the file; openFailed when the encoder or the file cannot be made.
    static tl::expected<std::unique_ptr<AacFileEncoder>, AudioFileError>
    open(const std::filesystem::path& path, int sampleRate, int channelCount, int bitRate);

    ~AacFileEncoder(); // frees everything; an unfinished file is left as it stands
    AacFileEncoder(const AacFileEncoder&) = delete;
    AacFileEncoder& operator=(const AacFileEncoder&) = delete;

    // Appends whole frames of interleaved samples; writeFailed if the encoder or the disk refuses.
    tl::expected<void, AudioFileError> writeInterleavedInt16(std::span<const std::int16_t> samples);
    // The same from non-interleaved floats, `frames` of them per channel.
    tl::expected<void, AudioFileError> writePlanarFloat(const float* const* channels, std::size_t frames);
    // Encodes what is left, writes the index and closes the file.
    tl::expected<void, AudioFileError> finish();

  private:
    struct State;
    explicit AacFileEncoder(std::unique_ptr<State> state);
    // Hands the filled frame to the encoder and writes the packets that come out.
    tl::expected<void, AudioFileError> encodePending(bool flush);

    std::unique_ptr<State> state_;
};

} // namespace orvane::detail
