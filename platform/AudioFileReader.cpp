#include "platform/AudioFileReader.h"

#include "platform/detail/FfmpegAudioDecoder.h"
#include "platform/detail/PcmPlanes.h"

#include <sndfile.h>

#include <algorithm>
#include <bit>
#include <string>
#include <utility>

namespace orvane {

namespace {

// Frames de-interleaved per libsndfile call; bounds the scratch memory of a reader.
constexpr std::size_t kChunkFrames = 4096;

AudioFileError error(AudioFileErrorCode code, std::string message) {
    return AudioFileError{"AudioFile", code, std::move(message)};
}

AudioContainer containerOf(int format) {
    switch (format & SF_FORMAT_TYPEMASK) {
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX:
    case SF_FORMAT_RF64:
        return AudioContainer::wav;
    case SF_FORMAT_AIFF:
        return AudioContainer::aiff;
    case SF_FORMAT_FLAC:
        return AudioContainer::flac;
    case SF_FORMAT_OGG:
        return AudioContainer::ogg;
    case SF_FORMAT_MPEG:
        return AudioContainer::mp3;
    default:
        return AudioContainer::other;
    }
}

AudioSampleFormat sampleFormatOf(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
        return AudioSampleFormat::int8;
    case SF_FORMAT_PCM_16:
        return AudioSampleFormat::int16;
    case SF_FORMAT_PCM_24:
        return AudioSampleFormat::int24;
    case SF_FORMAT_PCM_32:
        return AudioSampleFormat::int32;
    case SF_FORMAT_FLOAT:
        return AudioSampleFormat::float32;
    case SF_FORMAT_DOUBLE:
        return AudioSampleFormat::float64;
    default:
        return AudioSampleFormat::compressed;
    }
}

} // namespace

struct AudioFileReader::Handle {
    SNDFILE* file = nullptr;
    std::unique_ptr<detail::FfmpegAudioDecoder> decoder; // instead of `file` for AAC in MPEG-4
    ~Handle() {
        if (file != nullptr) {
            sf_close(file);
        }
    }
};

tl::expected<AudioFileReader, AudioFileError> AudioFileReader::open(const std::filesystem::path& path) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        return tl::unexpected(error(AudioFileErrorCode::openFailed,
                                    "Cannot open audio file \"" + path.string() + "\": a folder"));
    }
    if (AudioFileFormats::containerForPath(path) == AudioContainer::m4a) {
        return openFfmpeg(path);
    }
    SF_INFO info{};
    auto handle = std::make_unique<Handle>();
    handle->file = sf_open(path.c_str(), SFM_READ, &info);
    if (handle->file == nullptr) {
        return tl::unexpected(
            error(AudioFileErrorCode::openFailed,
                  "Cannot open audio file \"" + path.string() + "\": " + sf_strerror(nullptr)));
    }
    if (info.channels <= 0 || info.samplerate <= 0) {
        return tl::unexpected(
            error(AudioFileErrorCode::openFailed,
                  "Cannot open audio file \"" + path.string() + "\": no channels or no rate"));
    }
    // Integer samples arrive as s / 2^(bits-1), exactly; float files pass through unscaled.
    sf_command(handle->file, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
    AudioFileFormat format{containerOf(info.format), sampleFormatOf(info.format),
                           static_cast<double>(info.samplerate), info.channels};
    const std::int64_t length = info.frames == SF_COUNT_MAX ? 0 : std::max<std::int64_t>(info.frames, 0);
    // Plain little-endian 16- or 24-bit PCM in a WAV or AIFF container is converted here, from its
    // bytes, in one pass: libsndfile's own route converts and then de-interleaves, at several times the
    // cost. The values are the same: its normalised floats for these widths are s / 2^15 and s / 2^23.
    ReadPath readPath = ReadPath::decoder;
    const bool plainContainer =
        format.container == AudioContainer::wav || format.container == AudioContainer::aiff;
    if (plainContainer && std::endian::native == std::endian::little &&
        sf_command(handle->file, SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_FALSE) {
        if ((info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16) {
            readPath = ReadPath::rawInt16;
        } else if ((info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_24) {
            readPath = ReadPath::rawInt24;
        }
    }
    return AudioFileReader(path, std::move(handle), format, length, readPath);
}

tl::expected<AudioFileReader, AudioFileError> AudioFileReader::openFfmpeg(const std::filesystem::path& path) {
    auto decoder = detail::FfmpegAudioDecoder::open(path);
    if (!decoder) {
        return tl::unexpected(decoder.error());
    }
    auto handle = std::make_unique<Handle>();
    handle->decoder = std::move(*decoder);
    detail::FfmpegAudioDecoder& d = *handle->decoder;
    std::int64_t length = d.statedLengthFrames();
    if (length <= 0) {
        // A stream that states no length (raw AAC, say) is counted once by decoding it to the end.
        auto counted = d.read(nullptr, static_cast<std::size_t>(INT64_MAX));
        if (!counted) {
            return tl::unexpected(
                AudioFileError{"AudioFile", AudioFileErrorCode::openFailed, counted.error().message});
        }
        length = static_cast<std::int64_t>(*counted);
        if (auto back = d.seek(0); !back) {
            return tl::unexpected(back.error());
        }
    }
    AudioFileFormat format{AudioContainer::m4a, AudioSampleFormat::compressed,
                           static_cast<double>(d.sampleRate()), d.channelCount()};
    return AudioFileReader(path, std::move(handle), format, length, ReadPath::ffmpeg);
}

AudioFileReader::AudioFileReader(std::filesystem::path path, std::unique_ptr<Handle> handle,
                                 AudioFileFormat format, std::int64_t lengthFrames, ReadPath readPath)
    : path_(std::move(path)), handle_(std::move(handle)), format_(format), lengthFrames_(lengthFrames),
      readPath_(readPath) {
    // Raw samples are at most 3 bytes, so a chunk of them fits where the floats would go.
    if (readPath_ != ReadPath::ffmpeg && (format_.channelCount > 1 || readPath_ != ReadPath::decoder)) {
        interleaved_.resize(kChunkFrames * static_cast<std::size_t>(format_.channelCount));
    }
}

AudioFileReader::AudioFileReader(AudioFileReader&&) noexcept = default;
AudioFileReader& AudioFileReader::operator=(AudioFileReader&&) noexcept = default;
AudioFileReader::~AudioFileReader() = default;

tl::expected<void, AudioFileError> AudioFileReader::setFramePosition(std::int64_t frame) {
    if (frame < 0) {
        return tl::unexpected(
            error(AudioFileErrorCode::seekFailed,
                  "Cannot seek to frame " + std::to_string(frame) + " of \"" + path_.string() + "\""));
    }
    if (frame >= lengthFrames_) {
        // Past the end: nothing to move in the decoder; reads from here give no frames.
        framePosition_ = frame;
        return {};
    }
    if (readPath_ == ReadPath::ffmpeg) {
        if (frame == framePosition_) {
            return {};
        }
        if (auto sought = handle_->decoder->seek(frame); !sought) {
            return tl::unexpected(sought.error());
        }
        framePosition_ = frame;
        return {};
    }
    if (sf_seek(handle_->file, frame, SEEK_SET) < 0) {
        return tl::unexpected(
            error(AudioFileErrorCode::seekFailed, "Cannot seek to frame " + std::to_string(frame) + " of \"" +
                                                      path_.string() + "\": " + sf_strerror(handle_->file)));
    }
    framePosition_ = frame;
    return {};
}

tl::expected<std::size_t, AudioFileError> AudioFileReader::read(AudioBuffer& buffer, std::size_t frameCount) {
    if (buffer.channelCount() != format_.channelCount) {
        return tl::unexpected(
            error(AudioFileErrorCode::formatMismatch, "A buffer of " + std::to_string(buffer.channelCount()) +
                                                          " channels cannot take audio of " +
                                                          std::to_string(format_.channelCount)));
    }
    buffer.setFrameLength(0);
    const std::int64_t remaining = std::max<std::int64_t>(lengthFrames_ - framePosition_, 0);
    const std::size_t wanted =
        std::min({frameCount, buffer.frameCapacity(), static_cast<std::size_t>(remaining)});
    switch (readPath_) {
    case ReadPath::decoder:
        return readDecoded(buffer, wanted);
    case ReadPath::ffmpeg:
        return readFfmpeg(buffer, wanted);
    case ReadPath::rawInt16:
    case ReadPath::rawInt24:
        break;
    }
    return readRaw(buffer, wanted);
}

tl::expected<void, AudioFileError> AudioFileReader::endOfData() {
    if (readPath_ != ReadPath::ffmpeg && sf_error(handle_->file) != SF_ERR_NO_ERROR) {
        return tl::unexpected(error(AudioFileErrorCode::readFailed,
                                    "Cannot read \"" + path_.string() + "\": " + sf_strerror(handle_->file)));
    }
    // The data ends before the length the header promised: a short read, and from now on the length is
    // what is really there, so loops that read up to it come to an end.
    lengthFrames_ = framePosition_;
    return {};
}

tl::expected<std::size_t, AudioFileError> AudioFileReader::readDecoded(AudioBuffer& buffer,
                                                                       std::size_t wanted) {
    const int channels = format_.channelCount;
    std::size_t done = 0;
    while (done < wanted) {
        const std::size_t chunk = std::min(wanted - done, channels == 1 ? wanted - done : kChunkFrames);
        float* target = channels == 1 ? buffer.channel(0) + done : interleaved_.data();
        const sf_count_t got = sf_readf_float(handle_->file, target, static_cast<sf_count_t>(chunk));
        if (got > 0 && channels > 1) {
            for (int c = 0; c < channels; ++c) {
                float* out = buffer.channel(c) + done;
                for (sf_count_t i = 0; i < got; ++i) {
                    out[i] = interleaved_[static_cast<std::size_t>(i) * static_cast<std::size_t>(channels) +
                                          static_cast<std::size_t>(c)];
                }
            }
        }
        if (got > 0) {
            done += static_cast<std::size_t>(got);
            framePosition_ += got;
            buffer.setFrameLength(done);
        }
        if (got < static_cast<sf_count_t>(chunk)) {
            if (auto ended = endOfData(); !ended) {
                return tl::unexpected(ended.error());
            }
            break;
        }
    }
    return done;
}

tl::expected<std::size_t, AudioFileError> AudioFileReader::readRaw(AudioBuffer& buffer, std::size_t wanted) {
    const auto channels = static_cast<std::size_t>(format_.channelCount);
    const std::size_t sampleBytes = readPath_ == ReadPath::rawInt16 ? 2 : 3;
    const std::size_t frameBytes = sampleBytes * channels;
    auto* bytes = reinterpret_cast<unsigned char*>(interleaved_.data());
    std::size_t done = 0;
    while (done < wanted) {
        const std::size_t chunk = std::min(wanted - done, kChunkFrames);
        const sf_count_t gotBytes =
            sf_read_raw(handle_->file, bytes, static_cast<sf_count_t>(chunk * frameBytes));
        // Only whole frames count; a cut-off last frame is dropped, as the decoder drops it.
        const std::size_t got = gotBytes > 0 ? static_cast<std::size_t>(gotBytes) / frameBytes : 0;
        if (got > 0) {
            if (readPath_ == ReadPath::rawInt16) {
                PcmPlanes::decodeInt16(bytes, got, format_.channelCount, buffer.channel(0) + done,
                                       buffer.frameCapacity());
            } else {
                PcmPlanes::decodeInt24(bytes, got, format_.channelCount, buffer.channel(0) + done,
                                       buffer.frameCapacity());
            }
            done += got;
            framePosition_ += static_cast<std::int64_t>(got);
            buffer.setFrameLength(done);
        }
        if (got < chunk) {
            if (auto ended = endOfData(); !ended) {
                return tl::unexpected(ended.error());
            }
            break;
        }
    }
    return done;
}

tl::expected<std::size_t, AudioFileError> AudioFileReader::readFfmpeg(AudioBuffer& buffer,
                                                                      std::size_t wanted) {
    float* planes[256];
    for (int c = 0; c < format_.channelCount && c < 256; ++c) {
        planes[c] = buffer.channel(c);
    }
    auto got = handle_->decoder->read(planes, wanted);
    if (!got) {
        return tl::unexpected(got.error());
    }
    framePosition_ += static_cast<std::int64_t>(*got);
    buffer.setFrameLength(*got);
    if (*got < wanted) {
        if (auto ended = endOfData(); !ended) {
            return tl::unexpected(ended.error());
        }
    }
    return *got;
}

} // namespace orvane
