#include "platform/AudioFileWriter.h"

#include "platform/detail/AacFileEncoder.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace orvane {

namespace {

AudioFileError error(AudioFileErrorCode code, std::string message) {
    return AudioFileError{"AudioFile", code, std::move(message)};
}

// libsndfile's format word for a container and sample format; 0 where the pair cannot be written.
int sndfileFormat(AudioContainer container, AudioSampleFormat sampleFormat) {
    int type = 0;
    switch (container) {
    case AudioContainer::wav:
        type = SF_FORMAT_WAV;
        break;
    case AudioContainer::aiff:
        type = SF_FORMAT_AIFF;
        break;
    case AudioContainer::flac:
        type = SF_FORMAT_FLAC;
        break;
    default:
        return 0;
    }
    switch (sampleFormat) {
    case AudioSampleFormat::int16:
        return type | SF_FORMAT_PCM_16;
    case AudioSampleFormat::int24:
        return type | SF_FORMAT_PCM_24;
    case AudioSampleFormat::int32:
        return container == AudioContainer::flac ? 0 : type | SF_FORMAT_PCM_32;
    case AudioSampleFormat::float32:
        return container == AudioContainer::flac ? 0 : type | SF_FORMAT_FLOAT;
    default:
        return 0;
    }
}

// One float sample onto the integer grid of `bits`, left-justified in 32 bits as libsndfile's int
// path expects. Halves round away from zero; out-of-range values clamp (no wrap-around).
std::int32_t quantised(float x, int bits) noexcept {
    const double full = std::ldexp(1.0, bits - 1);
    double q = std::round(static_cast<double>(x) * full);
    if (!(q >= -full)) { // also catches NaN, which becomes the lowest value rather than garbage
        q = -full;
    }
    q = std::min(q, full - 1.0);
    return static_cast<std::int32_t>(static_cast<std::int64_t>(q) * (std::int64_t{1} << (32 - bits)));
}

} // namespace

struct AudioFileWriter::Handle {
    SNDFILE* file = nullptr;
    std::unique_ptr<detail::AacFileEncoder> aac; // instead of `file` for the m4a container
    ~Handle() {
        if (file != nullptr) {
            sf_close(file); // a failure here cannot be reported; finish() is the checked way
        }
        if (aac != nullptr) {
            (void)aac->finish(); // as above
        }
    }
};

tl::expected<AudioFileWriter, AudioFileError> AudioFileWriter::open(const std::filesystem::path& path,
                                                                    const AudioWriteSettings& settings) {
    const auto container = settings.container ? settings.container : AudioFileFormats::containerForPath(path);
    if (!container) {
        return tl::unexpected(error(AudioFileErrorCode::unsupportedFormat,
                                    "Cannot write \"" + path.string() + "\": unknown file type"));
    }
    if (*container == AudioContainer::m4a) {
        return openAac(path, settings);
    }
    const int format = sndfileFormat(*container, settings.sampleFormat);
    if (format == 0) {
        return tl::unexpected(
            error(AudioFileErrorCode::unsupportedFormat,
                  "Cannot write \"" + path.string() + "\": sample format not possible in this file type"));
    }
    const double rate = std::round(settings.sampleRate);
    if (!(rate >= 1.0 && rate <= 1.0e6) || settings.channelCount < 1 || settings.channelCount > 256) {
        return tl::unexpected(
            error(AudioFileErrorCode::unsupportedFormat,
                  "Cannot write \"" + path.string() + "\": invalid sample rate or channel count"));
    }
    SF_INFO info{};
    info.samplerate = static_cast<int>(rate);
    info.channels = settings.channelCount;
    info.format = format;
    if (sf_format_check(&info) == SF_FALSE) {
        return tl::unexpected(error(AudioFileErrorCode::unsupportedFormat,
                                    "Cannot write \"" + path.string() + "\": format not supported"));
    }
    auto handle = std::make_unique<Handle>();
    handle->file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (handle->file == nullptr) {
        return tl::unexpected(error(AudioFileErrorCode::openFailed,
                                    "Cannot create \"" + path.string() + "\": " + sf_strerror(nullptr)));
    }
    AudioFileFormat fileFormat{*container, settings.sampleFormat, rate, settings.channelCount};
    return AudioFileWriter(path, std::move(handle), fileFormat);
}

AudioFileWriter::AudioFileWriter(std::filesystem::path path, std::unique_ptr<Handle> handle,
                                 AudioFileFormat format)
    : path_(std::move(path)), handle_(std::move(handle)), format_(format) {}

AudioFileWriter::AudioFileWriter(AudioFileWriter&&) noexcept = default;
AudioFileWriter& AudioFileWriter::operator=(AudioFileWriter&&) noexcept = default;
AudioFileWriter::~AudioFileWriter() = default;

tl::expected<AudioFileWriter, AudioFileError> AudioFileWriter::openAac(const std::filesystem::path& path,
                                                                       const AudioWriteSettings& settings) {
    const double rate = std::round(settings.sampleRate);
    if (!(rate >= 8000.0 && rate <= 96000.0) || settings.channelCount < 1 || settings.channelCount > 8 ||
        (settings.sampleFormat != AudioSampleFormat::compressed &&
         settings.sampleFormat != AudioSampleFormat::int16)) {
        return tl::unexpected(error(AudioFileErrorCode::unsupportedFormat,
                                    "Cannot write \"" + path.string() + "\": format not supported"));
    }
    auto encoder =
        detail::AacFileEncoder::open(path, static_cast<int>(rate), settings.channelCount, settings.bitRate);
    if (!encoder) {
        return tl::unexpected(encoder.error());
    }
    auto handle = std::make_unique<Handle>();
    handle->aac = std::move(*encoder);
    AudioFileFormat fileFormat{AudioContainer::m4a, AudioSampleFormat::compressed, rate,
                               settings.channelCount};
    return AudioFileWriter(path, std::move(handle), fileFormat);
}

bool AudioFileWriter::isFinished() const noexcept {
    return handle_ == nullptr || (handle_->file == nullptr && handle_->aac == nullptr);
}

tl::expected<void, AudioFileError> AudioFileWriter::write(const AudioBuffer& buffer) {
    if (isFinished()) {
        return tl::unexpected(error(AudioFileErrorCode::writeFailed, "Cannot write to \"" + path_.string() +
                                                                         "\": the file is already finished"));
    }
    const int channels = format_.channelCount;
    if (buffer.channelCount() != channels) {
        return tl::unexpected(error(AudioFileErrorCode::formatMismatch,
                                    "A buffer of " + std::to_string(buffer.channelCount()) +
                                        " channels cannot go into a file of " + std::to_string(channels)));
    }
    const std::size_t frames = buffer.frameLength();
    if (handle_->aac) {
        planes_.resize(static_cast<std::size_t>(channels));
        for (int c = 0; c < channels; ++c) {
            planes_[static_cast<std::size_t>(c)] = buffer.channel(c);
        }
        auto written = handle_->aac->writePlanarFloat(planes_.data(), frames);
        if (written) {
            framesWritten_ += static_cast<std::int64_t>(frames);
        }
        return written;
    }
    const std::size_t samples = frames * static_cast<std::size_t>(channels);
    sf_count_t written = 0;
    if (format_.sampleFormat == AudioSampleFormat::float32) {
        interleavedFloat_.resize(std::max(interleavedFloat_.size(), samples));
        for (int c = 0; c < channels; ++c) {
            const float* in = buffer.channel(c);
            for (std::size_t i = 0; i < frames; ++i) {
                interleavedFloat_[i * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] =
                    in[i];
            }
        }
        written = sf_writef_float(handle_->file, interleavedFloat_.data(), static_cast<sf_count_t>(frames));
    } else {
        const int bits = AudioFileFormats::bitDepth(format_.sampleFormat);
        interleavedInt_.resize(std::max(interleavedInt_.size(), samples));
        for (int c = 0; c < channels; ++c) {
            const float* in = buffer.channel(c);
            for (std::size_t i = 0; i < frames; ++i) {
                interleavedInt_[i * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] =
                    quantised(in[i], bits);
            }
        }
        written = sf_writef_int(handle_->file, interleavedInt_.data(), static_cast<sf_count_t>(frames));
    }
    framesWritten_ += std::max<sf_count_t>(written, 0);
    if (written != static_cast<sf_count_t>(frames)) {
        return tl::unexpected(
            error(AudioFileErrorCode::writeFailed,
                  "Cannot write to \"" + path_.string() + "\": " + sf_strerror(handle_->file)));
    }
    return {};
}

tl::expected<void, AudioFileError>
AudioFileWriter::writeInterleavedInt16(std::span<const std::int16_t> samples) {
    if (isFinished()) {
        return tl::unexpected(error(AudioFileErrorCode::writeFailed, "Cannot write to \"" + path_.string() +
                                                                         "\": the file is already finished"));
    }
    const auto channels = static_cast<std::size_t>(format_.channelCount);
    if (samples.size() % channels != 0) {
        return tl::unexpected(error(AudioFileErrorCode::formatMismatch,
                                    std::to_string(samples.size()) + " samples do not make whole frames of " +
                                        std::to_string(channels) + " channels"));
    }
    if (handle_->aac) {
        auto written = handle_->aac->writeInterleavedInt16(samples);
        if (written) {
            framesWritten_ += static_cast<std::int64_t>(samples.size() / channels);
        }
        return written;
    }
    const auto frames = static_cast<sf_count_t>(samples.size() / channels);
    const sf_count_t written = sf_writef_short(handle_->file, samples.data(), frames);
    framesWritten_ += std::max<sf_count_t>(written, 0);
    if (written != frames) {
        return tl::unexpected(
            error(AudioFileErrorCode::writeFailed,
                  "Cannot write to \"" + path_.string() + "\": " + sf_strerror(handle_->file)));
    }
    return {};
}

tl::expected<void, AudioFileError> AudioFileWriter::finish() {
    if (isFinished()) {
        return {};
    }
    if (handle_->aac) {
        auto encoder = std::move(handle_->aac);
        return encoder->finish();
    }
    SNDFILE* file = std::exchange(handle_->file, nullptr);
    if (sf_close(file) != 0) {
        return tl::unexpected(error(AudioFileErrorCode::writeFailed,
                                    "Cannot finish \"" + path_.string() + "\": " + sf_strerror(nullptr)));
    }
    return {};
}

} // namespace orvane
