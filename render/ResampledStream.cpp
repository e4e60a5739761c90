#include "render/ResampledStream.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace orvane {

namespace {

constexpr double targetRate = 44100.0;
// Native frames fed to the converter at a time.
constexpr std::int64_t feedFrames = 4096;

std::size_t sz(std::int64_t n) {
    return static_cast<std::size_t>(n);
}

// Largest whole division toward minus infinity, for positions before a file's start.
std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    const std::int64_t q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

} // namespace

bool ResampledStream::read(AudioFileReader& reader, std::int64_t startSample441, std::int64_t count, float* l,
                           float* r) {
    if (count <= 0)
        return true;
    std::fill_n(l, count, 0.0f);
    std::fill_n(r, count, 0.0f);
    if (std::abs(reader.sampleRate() - targetRate) < 0.5) {
        // The disc's own rate reads directly: no conversion, nothing to carry over.
        const std::int64_t from = std::max<std::int64_t>(startSample441, 0);
        const std::int64_t to = std::min(startSample441 + count, reader.lengthFrames());
        if (from >= to)
            return true;
        if (reader.framePosition() != from && !reader.setFramePosition(from))
            return false;
        const auto want = sz(to - from);
        if (!native_ || native_->channelCount() != reader.channelCount() || native_->frameCapacity() < want)
            native_ = reader.makeBuffer(std::max(want, sz(feedFrames)));
        if (!reader.read(*native_, want))
            return false;
        const std::size_t got = std::min(native_->frameLength(), want);
        const int right = native_->channelCount() < 2 ? 0 : 1;
        const auto at = from - startSample441;
        std::copy_n(native_->channel(0), got, l + at);
        std::copy_n(native_->channel(right), got, r + at);
        return true;
    }

    if (path_ != reader.path().string() || next441_ != startSample441 || !converter_ ||
        converter_->inRate() != reader.sampleRate()) {
        path_ = reader.path().string();
        if (!restart(reader, startSample441)) {
            next441_ = -1;
            return false;
        }
    }
    const auto wanted = sz(discard_ + count);
    while (pendingL_.size() - pendingAt_ < wanted) {
        if (!feed(reader, feedFrames)) {
            next441_ = -1; // a fault ends the stream; the next read starts it anew
            return false;
        }
    }
    pendingAt_ += sz(discard_);
    discard_ = 0;
    std::copy_n(pendingL_.begin() + static_cast<std::ptrdiff_t>(pendingAt_), count, l);
    std::copy_n(pendingR_.begin() + static_cast<std::ptrdiff_t>(pendingAt_), count, r);
    pendingAt_ += sz(count);
    // Drop what has been handed on once it outweighs what waits, so the queue stays short.
    if (pendingAt_ * 2 > pendingL_.size()) {
        const auto handed = static_cast<std::ptrdiff_t>(pendingAt_);
        pendingL_.erase(pendingL_.begin(), pendingL_.begin() + handed);
        pendingR_.erase(pendingR_.begin(), pendingR_.begin() + handed);
        pendingAt_ = 0;
    }
    next441_ = startSample441 + count;
    return true;
}

bool ResampledStream::restart(AudioFileReader& reader, std::int64_t startSample441) {
    const double sr = reader.sampleRate();
    if (!converter_ || converter_->inRate() != sr) {
        auto made = AudioStreamConverter::make(sr, targetRate);
        if (!made)
            return false;
        converter_.emplace(std::move(*made));
    } else {
        converter_->reset();
    }
    pendingL_.clear();
    pendingR_.clear();
    pendingAt_ = 0;
    // Start the converter on a native frame that lies exactly on a disc sample: with rates in the
    // ratio a : b, every b-th disc sample meets every a-th native frame.
    const auto rate = std::max<std::int64_t>(std::llround(sr), 1);
    const std::int64_t common = std::gcd(rate, static_cast<std::int64_t>(targetRate));
    const std::int64_t nativeStep = rate / common;
    const std::int64_t discStep = static_cast<std::int64_t>(targetRate) / common;
    const std::int64_t anchor = floorDiv(startSample441 - prerollSamples, discStep);
    nextNative_ = anchor * nativeStep;
    discard_ = startSample441 - anchor * discStep;
    next441_ = startSample441;
    return true;
}

bool ResampledStream::feed(AudioFileReader& reader, std::int64_t frames) {
    feedL_.assign(sz(frames), 0.0f);
    feedR_.assign(sz(frames), 0.0f);
    // Only the part inside the file is read; before its start and past its end is silence.
    const std::int64_t from = std::max<std::int64_t>(nextNative_, 0);
    const std::int64_t to = std::min(nextNative_ + frames, reader.lengthFrames());
    if (from < to) {
        if (reader.framePosition() != from && !reader.setFramePosition(from))
            return false;
        const auto want = sz(to - from);
        if (!native_ || native_->channelCount() != reader.channelCount() || native_->frameCapacity() < want)
            native_ = reader.makeBuffer(sz(frames));
        if (!reader.read(*native_, want))
            return false;
        const std::size_t got = std::min(native_->frameLength(), want);
        const int right = native_->channelCount() < 2 ? 0 : 1;
        const auto at = static_cast<std::ptrdiff_t>(from - nextNative_);
        std::copy_n(native_->channel(0), got, feedL_.begin() + at);
        std::copy_n(native_->channel(right), got, feedR_.begin() + at);
    }
    nextNative_ += frames;
    return converter_->push(feedL_.data(), feedR_.data(), sz(frames), pendingL_, pendingR_).has_value();
}

} // namespace orvane
