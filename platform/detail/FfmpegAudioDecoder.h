#pragma once
// Decodes the first audio stream of a file that libavformat reads (AAC in MPEG-4 above all) into
// non-interleaved float, counting frames from the start of the decoded audio (the encoder's priming
// samples already dropped). One thread at a time; the file layer's reader owns it.

#include "platform/AudioFileError.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <tl/expected.hpp>

namespace orvane::detail {

class FfmpegAudioDecoder final {
  public:
    // openFailed for a missing, unreadable or broken file, or one without a decodable audio stream.
    static tl::expected<std::unique_ptr<FfmpegAudioDecoder>, AudioFileError>
    open(const std::filesystem::path& path);

    ~FfmpegAudioDecoder();
    FfmpegAudioDecoder(const FfmpegAudioDecoder&) = delete;
    FfmpegAudioDecoder& operator=(const FfmpegAudioDecoder&) = delete;

    int sampleRate() const noexcept;
    int channelCount() const noexcept;
    // The length the container states, in frames; 0 when it states none.
    std::int64_t statedLengthFrames() const noexcept;

    // Decodes up to `frames` frames into the planes (each with room for them) and returns how many
    // came; fewer means the audio ended. readFailed when the data is broken.
    tl::expected<std::size_t, AudioFileError> read(float* const* planes, std::size_t frames);
    // Moves to a frame: forward by decoding and dropping, backward by starting again from the top.
    tl::expected<void, AudioFileError> seek(std::int64_t frame);

    struct State; // the libraries' objects, private to the implementation

  private:
    explicit FfmpegAudioDecoder(std::unique_ptr<State> state);
    // Decodes the next frame into the state's pending samples; false at the end of the audio.
    tl::expected<bool, AudioFileError> decodeMore();

    std::unique_ptr<State> state_;
};

} // namespace orvane::detail
