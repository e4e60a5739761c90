#pragma once
// Writes WAV, AIFF, FLAC (through libsndfile) or AAC in .m4a (through FFmpeg's libraries) from
// non-interleaved float buffers or from interleaved 16-bit integers. One writer per thread at a time.
// Failures are AudioFileError values; finish() closes the file and reports a failure to close, while the
// destructor finishes an unfinished file and ignores that failure.

#include "platform/AudioBuffer.h"
#include "platform/AudioFileError.h"
#include "platform/AudioFileFormat.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <tl/expected.hpp>
#include <vector>

namespace orvane {

struct AudioWriteSettings {
    // Absent: taken from the path's extension (.wav, .aif/.aiff, .flac, .m4a/.mp4).
    std::optional<AudioContainer> container;
    // int16, int24, int32 or float32 (WAV and AIFF); int16 or int24 (FLAC); compressed (m4a).
    AudioSampleFormat sampleFormat = AudioSampleFormat::int16;
    double sampleRate = 44100.0;
    int channelCount = 2;
    // Bits per second of an AAC stream; 0 leaves it at 160,000. Ignored by the PCM containers.
    int bitRate = 0;

    bool operator==(const AudioWriteSettings&) const = default;
};

class AudioFileWriter final {
  public:
    // Creates (or replaces) the file. unsupportedFormat for an unknown extension, a container that
    // cannot store the sample format, or a bad rate/channel count; openFailed when the file cannot be made.
    static tl::expected<AudioFileWriter, AudioFileError> open(const std::filesystem::path& path,
                                                              const AudioWriteSettings& settings);

    AudioFileWriter(AudioFileWriter&&) noexcept;
    AudioFileWriter& operator=(AudioFileWriter&&) noexcept;
    AudioFileWriter(const AudioFileWriter&) = delete;
    AudioFileWriter& operator=(const AudioFileWriter&) = delete;
    ~AudioFileWriter(); // finishes the file if finish() was not called

    const std::filesystem::path& path() const noexcept { return path_; }
    const AudioFileFormat& fileFormat() const noexcept { return format_; }
    std::int64_t framesWritten() const noexcept { return framesWritten_; }

    // Appends the buffer's first frameLength frames. Integer formats quantise x to
    // round(x * 2^(bits-1)), halves away from zero, clamped to the format's range, so a file read back
    // gives the same floats for samples already on that grid. Float files keep the values as they are.
    // formatMismatch for a buffer with another channel count; writeFailed if the file refuses them.
    tl::expected<void, AudioFileError> write(const AudioBuffer& buffer);
    // Appends interleaved 16-bit samples, channel after channel in each frame; the count must be a
    // multiple of the channel count (formatMismatch otherwise). Stored unchanged in a 16-bit file.
    tl::expected<void, AudioFileError> writeInterleavedInt16(std::span<const std::int16_t> samples);

    // Completes the headers and closes the file. Further writes are writeFailed; a second finish is a no-op.
    tl::expected<void, AudioFileError> finish();
    bool isFinished() const noexcept;

  private:
    struct Handle;
    AudioFileWriter(std::filesystem::path path, std::unique_ptr<Handle> handle, AudioFileFormat format);
    static tl::expected<AudioFileWriter, AudioFileError> openAac(const std::filesystem::path& path,
                                                                 const AudioWriteSettings& settings);

    std::filesystem::path path_;
    std::unique_ptr<Handle> handle_;
    AudioFileFormat format_;
    std::int64_t framesWritten_ = 0;
    std::vector<const float*> planes_;         // channel pointers for the AAC encoder
    std::vector<std::int32_t> interleavedInt_; // scratch for integer formats, grows to the largest block
    std::vector<float> interleavedFloat_;      // scratch for float files
};

} // namespace orvane
