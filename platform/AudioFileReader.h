#pragma once
// Reads an audio file (WAV, AIFF/AIFC, FLAC, Ogg Vorbis/Opus, MP3 as libsndfile decodes them; AAC in
// .m4a/.mp4 through FFmpeg's libraries) into
// non-interleaved 32-bit float buffers, from any position. One reader per thread at a time; it may be
// moved between threads. A failed open, seek or read is an AudioFileError value, never an exception.

#include "platform/AudioBuffer.h"
#include "platform/AudioFileError.h"
#include "platform/AudioFileFormat.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <tl/expected.hpp>
#include <vector>

namespace orvane {

class AudioFileReader final {
  public:
    // Opens the file for reading; openFailed for a missing, unreadable or undecodable file.
    static tl::expected<AudioFileReader, AudioFileError> open(const std::filesystem::path& path);

    AudioFileReader(AudioFileReader&&) noexcept;
    AudioFileReader& operator=(AudioFileReader&&) noexcept;
    AudioFileReader(const AudioFileReader&) = delete;
    AudioFileReader& operator=(const AudioFileReader&) = delete;
    ~AudioFileReader();

    const std::filesystem::path& path() const noexcept { return path_; }
    const AudioFileFormat& fileFormat() const noexcept { return format_; }
    double sampleRate() const noexcept { return format_.sampleRate; }
    int channelCount() const noexcept { return format_.channelCount; }
    // Frames at the file's own rate, as the decoder reports them; lowered to the real end when a read
    // finds the data stopping short of it (a cut-off file).
    std::int64_t lengthFrames() const noexcept { return lengthFrames_; }

    // Where the next read starts.
    std::int64_t framePosition() const noexcept { return framePosition_; }
    // Moves the read position. A position at or past the end is allowed and reads nothing;
    // a negative one, or one the decoder cannot reach, is seekFailed (the position is then unchanged).
    tl::expected<void, AudioFileError> setFramePosition(std::int64_t frame);

    // A buffer that read() can fill: this file's rate and channel count, the given capacity.
    AudioBuffer makeBuffer(std::size_t frameCapacity) const {
        return AudioBuffer(format_.sampleRate, format_.channelCount, frameCapacity);
    }

    // Reads up to frameCount frames (at most the buffer's capacity) from framePosition() into the
    // buffer, sets its frameLength to what came and returns that count. Fewer frames, or none, at the
    // end of the file is no error. The buffer must have this file's channel count (formatMismatch
    // otherwise); a decoder failure is readFailed and leaves frameLength at what was read before it.
    tl::expected<std::size_t, AudioFileError> read(AudioBuffer& buffer, std::size_t frameCount);
    // Reads as much as the buffer holds.
    tl::expected<std::size_t, AudioFileError> read(AudioBuffer& buffer) {
        return read(buffer, buffer.frameCapacity());
    }

  private:
    struct Handle;
    // How read() decodes: straight from the file's bytes, or through libsndfile's float conversion.
    enum class ReadPath { decoder, rawInt16, rawInt24, ffmpeg };

    AudioFileReader(std::filesystem::path path, std::unique_ptr<Handle> handle, AudioFileFormat format,
                    std::int64_t lengthFrames, ReadPath readPath);

    tl::expected<std::size_t, AudioFileError> readDecoded(AudioBuffer& buffer, std::size_t wanted);
    tl::expected<std::size_t, AudioFileError> readRaw(AudioBuffer& buffer, std::size_t wanted);
    tl::expected<std::size_t, AudioFileError> readFfmpeg(AudioBuffer& buffer, std::size_t wanted);
    static tl::expected<AudioFileReader, AudioFileError> openFfmpeg(const std::filesystem::path& path);
    // After a chunk came back short: readFailed if the decoder reports an error, else the data ends here.
    tl::expected<void, AudioFileError> endOfData();

    std::filesystem::path path_;
    std::unique_ptr<Handle> handle_;
    AudioFileFormat format_;
    std::int64_t lengthFrames_ = 0;
    std::int64_t framePosition_ = 0;
    ReadPath readPath_ = ReadPath::decoder;
    // Scratch for de-interleaving (float samples, or the file's raw bytes), sized once at open.
    std::vector<float> interleaved_;
};

} // namespace orvane
