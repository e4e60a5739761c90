#include "platform/AudioConverter.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace orvane::AudioConverter {

namespace {

AudioFileError conversionError(std::string message) {
    return AudioFileError{"AudioFile", AudioFileErrorCode::conversionFailed, std::move(message)};
}

bool validRate(double rate) {
    return std::isfinite(rate) && rate > 0.0;
}

// Source channels laid out as `count` channels at the source rate. Pointers either refer into the
// source or into `storage`, which must outlive them.
std::vector<const float*> mappedChannels(const AudioBuffer& source, int count,
                                         std::vector<std::vector<float>>& storage) {
    const int sourceChannels = source.channelCount();
    const std::size_t frames = source.frameLength();
    std::vector<const float*> channels(static_cast<std::size_t>(count));
    if (count == 1 && sourceChannels > 1) {
        std::vector<float>& mean = storage.emplace_back(frames, 0.0f);
        for (int c = 0; c < sourceChannels; ++c) {
            const float* in = source.channel(c);
            for (std::size_t i = 0; i < frames; ++i) {
                mean[i] += in[i];
            }
        }
        const float share = 1.0f / static_cast<float>(sourceChannels);
        for (float& s : mean) {
            s *= share;
        }
        channels[0] = mean.data();
        return channels;
    }
    const float* silence = nullptr;
    for (int c = 0; c < count; ++c) {
        if (c < sourceChannels) {
            channels[static_cast<std::size_t>(c)] = source.channel(c);
        } else {
            if (silence == nullptr) {
                silence = storage.emplace_back(frames, 0.0f).data();
            }
            channels[static_cast<std::size_t>(c)] = silence;
        }
    }
    return channels;
}

// Runs libsoxr over the whole input, then flushes it, until `wanted` frames are out or the tail is
// exhausted. libsoxr trims its own filter delay, so output and input start at the same instant.
tl::expected<std::size_t, AudioFileError> resample(const std::vector<const float*>& in, std::size_t inFrames,
                                                   double inRate, const std::vector<float*>& out,
                                                   std::size_t wanted, double outRate) {
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    soxr_error_t failure = nullptr;
    const auto channels = static_cast<unsigned>(in.size());
    std::unique_ptr<soxr, decltype(&soxr_delete)> resampler(
        soxr_create(inRate, outRate, channels, &failure, &io, &quality, nullptr), &soxr_delete);
    if (failure != nullptr || !resampler) {
        return tl::unexpected(
            conversionError(std::string("Cannot convert audio: ") + (failure ? failure : "")));
    }
    std::vector<const float*> inAt(channels);
    std::vector<float*> outAt(channels);
    std::size_t consumed = 0;
    std::size_t produced = 0;
    while (produced < wanted) {
        const bool flushing = consumed >= inFrames;
        for (unsigned c = 0; c < channels; ++c) {
            inAt[c] = in[c] + consumed;
            outAt[c] = out[c] + produced;
        }
        std::size_t inDone = 0;
        std::size_t outDone = 0;
        failure = soxr_process(resampler.get(), flushing ? nullptr : inAt.data(), inFrames - consumed,
                               &inDone, outAt.data(), wanted - produced, &outDone);
        if (failure != nullptr) {
            return tl::unexpected(conversionError(std::string("Cannot convert audio: ") + failure));
        }
        consumed += inDone;
        produced += outDone;
        if (flushing && outDone == 0) {
            break; // the tail is out; a short result is the caller's to pad
        }
        if (!flushing && inDone == 0 && outDone == 0) {
            consumed = inFrames; // nothing taken: go on to the flush rather than spin
        }
    }
    return produced;
}

} // namespace

std::size_t outputCapacityFrames(std::size_t sourceFrames, double sourceRate, double targetRate) noexcept {
    if (!validRate(sourceRate) || !validRate(targetRate)) {
        return 0;
    }
    return static_cast<std::size_t>(static_cast<double>(sourceFrames) * targetRate / sourceRate);
}

tl::expected<std::size_t, AudioFileError> convert(const AudioBuffer& source, AudioBuffer& target) {
    target.setFrameLength(0);
    if (!validRate(source.sampleRate()) || !validRate(target.sampleRate())) {
        return tl::unexpected(conversionError("Cannot convert audio: invalid sample rate"));
    }
    if (source.channelCount() < 1 || target.channelCount() < 1) {
        return tl::unexpected(conversionError("Cannot convert audio: no channels"));
    }
    const std::size_t sourceFrames = source.frameLength();
    const std::size_t wanted = std::min(
        target.frameCapacity(), outputCapacityFrames(sourceFrames, source.sampleRate(), target.sampleRate()));
    if (sourceFrames == 0 || wanted == 0) {
        return std::size_t{0};
    }

    // Mono in or out: convert one channel and spread it afterwards, rather than convert copies.
    const int targetChannels = target.channelCount();
    const int work = (targetChannels == 1 || source.channelCount() == 1) ? 1 : targetChannels;
    std::vector<std::vector<float>> storage;
    storage.reserve(1);
    const std::vector<const float*> in = mappedChannels(source, work, storage);
    std::vector<float*> out(static_cast<std::size_t>(work));
    for (int c = 0; c < work; ++c) {
        out[static_cast<std::size_t>(c)] = target.channel(c);
    }

    std::size_t produced = 0;
    if (source.sampleRate() == target.sampleRate()) {
        for (int c = 0; c < work; ++c) {
            std::copy_n(in[static_cast<std::size_t>(c)], wanted, out[static_cast<std::size_t>(c)]);
        }
        produced = wanted;
    } else {
        auto result = resample(in, sourceFrames, source.sampleRate(), out, wanted, target.sampleRate());
        if (!result) {
            return tl::unexpected(result.error());
        }
        produced = *result;
    }
    for (int c = work; c < targetChannels; ++c) {
        std::copy_n(target.channel(0), produced, target.channel(c));
    }
    target.setFrameLength(produced);
    return produced;
}

tl::expected<AudioBuffer, AudioFileError> convert(const AudioBuffer& source, double targetRate,
                                                  int targetChannels) {
    AudioBuffer target(targetRate, targetChannels,
                       outputCapacityFrames(source.frameLength(), source.sampleRate(), targetRate));
    auto result = convert(source, target);
    if (!result) {
        return tl::unexpected(result.error());
    }
    return target;
}

} // namespace orvane::AudioConverter
