#include "platform/AudioStreamConverter.h"

#include <soxr.h>

#include <array>
#include <cmath>
#include <string>
#include <utility>

namespace orvane {

namespace {

AudioFileError conversionError(std::string message) {
    return AudioFileError{"AudioFile", AudioFileErrorCode::conversionFailed, std::move(message)};
}

} // namespace

void AudioStreamConverter::Deleter::operator()(soxr* handle) const noexcept {
    soxr_delete(handle);
}

AudioStreamConverter::AudioStreamConverter(std::unique_ptr<soxr, Deleter> handle, double inRate,
                                           double outRate)
    : soxr_(std::move(handle)), inRate_(inRate), outRate_(outRate) {}

AudioStreamConverter::AudioStreamConverter(AudioStreamConverter&&) noexcept = default;
AudioStreamConverter& AudioStreamConverter::operator=(AudioStreamConverter&&) noexcept = default;
AudioStreamConverter::~AudioStreamConverter() = default;

tl::expected<AudioStreamConverter, AudioFileError> AudioStreamConverter::make(double inRate, double outRate) {
    if (!(inRate > 0.0) || !(outRate > 0.0) || !std::isfinite(inRate) || !std::isfinite(outRate))
        return tl::unexpected(conversionError("Cannot convert audio: invalid sample rate"));
    // Very high quality: what is monitored must not be audibly worse than the delivered converters.
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    soxr_error_t failure = nullptr;
    std::unique_ptr<soxr, Deleter> handle(soxr_create(inRate, outRate, 2, &failure, &io, &quality, nullptr));
    if (failure != nullptr || !handle)
        return tl::unexpected(
            conversionError(std::string("Cannot convert audio: ") + (failure ? failure : "")));
    return AudioStreamConverter(std::move(handle), inRate, outRate);
}

tl::expected<void, AudioFileError> AudioStreamConverter::push(const float* l, const float* r,
                                                              std::size_t frames, std::vector<float>& outL,
                                                              std::vector<float>& outR) {
    // Room for what the ratio gives for this input plus what the filter may still hold back.
    const auto room =
        static_cast<std::size_t>(std::ceil(static_cast<double>(frames) * outRate_ / inRate_)) + 64;
    std::size_t consumed = 0;
    while (consumed < frames) {
        const std::size_t base = outL.size();
        outL.resize(base + room);
        outR.resize(base + room);
        const std::array<const float*, 2> in{l + consumed, r + consumed};
        std::array<float*, 2> out{outL.data() + base, outR.data() + base};
        std::size_t inDone = 0;
        std::size_t outDone = 0;
        const soxr_error_t failure =
            soxr_process(soxr_.get(), in.data(), frames - consumed, &inDone, out.data(), room, &outDone);
        outL.resize(base + outDone);
        outR.resize(base + outDone);
        if (failure != nullptr)
            return tl::unexpected(conversionError(std::string("Cannot convert audio: ") + failure));
        consumed += inDone;
        if (inDone == 0 && outDone == 0)
            break; // nothing moved: the rest waits for the next push rather than spin here
    }
    return {};
}

void AudioStreamConverter::reset() noexcept {
    soxr_clear(soxr_.get());
}

} // namespace orvane
