#pragma once
// What a file on disk is: its container, its stored sample format, rate and channels. The reader
// reports it; the writer is given it. Plain values, usable from any thread.

#include <filesystem>
#include <optional>

namespace orvane {

// m4a: AAC in an MPEG-4 file, read and written through FFmpeg's libraries.
enum class AudioContainer { wav, aiff, flac, ogg, mp3, m4a, other };

// The stored sample format; reads always deliver 32-bit float whatever this is.
enum class AudioSampleFormat { int8, int16, int24, int32, float32, float64, compressed };

struct AudioFileFormat {
    AudioContainer container = AudioContainer::wav;
    AudioSampleFormat sampleFormat = AudioSampleFormat::int16;
    double sampleRate = 44100.0;
    int channelCount = 2;

    bool operator==(const AudioFileFormat&) const = default;
};

namespace AudioFileFormats {

// The container for a file name's extension, case-insensitive: .wav/.wave, .aif/.aiff/.aifc, .flac,
// .ogg/.oga, .mp3, .m4a/.mp4; absent for anything else.
std::optional<AudioContainer> containerForPath(const std::filesystem::path& path);

// Bits per stored sample (16 for int16, 32 for float32 ...); 0 for compressed.
int bitDepth(AudioSampleFormat format) noexcept;

} // namespace AudioFileFormats

} // namespace orvane
