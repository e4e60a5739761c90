#include "platform/AudioConverter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace orvane {
namespace {

AudioBuffer sine(double rate, int channels, std::size_t frames, double frequency, double level) {
    AudioBuffer buffer(rate, channels, frames);
    for (int c = 0; c < channels; ++c) {
        for (std::size_t i = 0; i < frames; ++i) {
            buffer.channel(c)[i] = static_cast<float>(
                level * std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(i) / rate));
        }
    }
    buffer.setFrameLength(frames);
    return buffer;
}

TEST(AudioConverter, outputLengthIsSourceFramesTimesRateRatioTruncated) {
    // The output holds source frames x target rate / source rate, truncated, and never more than its
    // capacity.
    EXPECT_EQ(AudioConverter::outputCapacityFrames(1000, 48000, 44100), 918u);
    EXPECT_EQ(AudioConverter::outputCapacityFrames(29400, 44100, 96000), 64000u);
    EXPECT_EQ(AudioConverter::outputCapacityFrames(7, 44100, 0), 0u);
    for (const auto& [from, to, frames] :
         {std::tuple{48000.0, 44100.0, std::size_t{1000}}, std::tuple{44100.0, 96000.0, std::size_t{4097}},
          std::tuple{88200.0, 44100.0, std::size_t{3}}, std::tuple{44100.0, 44100.0, std::size_t{500}}}) {
        const AudioBuffer source = sine(from, 2, frames, 440.0, 0.5);
        auto out = AudioConverter::convert(source, to, 2);
        ASSERT_TRUE(out.has_value());
        EXPECT_EQ(out->frameLength(), AudioConverter::outputCapacityFrames(frames, from, to));
        EXPECT_EQ(out->sampleRate(), to);
    }
    const AudioBuffer source = sine(48000, 2, 1000, 440.0, 0.5);
    AudioBuffer small(44100, 2, 100);
    EXPECT_EQ(AudioConverter::convert(source, small).value(), 100u);
    EXPECT_EQ(small.frameLength(), 100u);
}

TEST(AudioConverter, keepsASinesFrequencyLevelAndTimingFrom48kTo44k) {
    // A 1 kHz tone at 48 kHz comes out at 44.1 kHz as the same tone, in time: the filter delay is removed.
    const AudioBuffer source = sine(48000, 2, 48000, 1000.0, 0.5);
    auto out = AudioConverter::convert(source, 44100, 2);
    ASSERT_TRUE(out.has_value());
    ASSERT_EQ(out->frameLength(), 44100u);
    double worst = 0.0;
    for (int c = 0; c < 2; ++c) {
        for (std::size_t i = 2000; i < 42000; ++i) {
            const double expected =
                0.5 * std::sin(2.0 * std::numbers::pi * 1000.0 * static_cast<double>(i) / 44100.0);
            worst = std::max(worst, std::abs(out->channel(c)[i] - expected));
        }
    }
    EXPECT_LT(worst, 1e-3); // -66 dB relative to the tone
}

TEST(AudioConverter, mapsChannelLayouts) {
    // Mono spreads to every channel, many-to-mono is the mean, and extra target channels are silent.
    AudioBuffer mono = sine(44100, 1, 64, 1000.0, 0.25);
    AudioBuffer stereo(44100, 2, 64);
    ASSERT_EQ(AudioConverter::convert(mono, stereo).value(), 64u);
    for (std::size_t i = 0; i < 64; ++i) {
        EXPECT_EQ(stereo.channel(0)[i], mono.channel(0)[i]);
        EXPECT_EQ(stereo.channel(1)[i], mono.channel(0)[i]);
    }

    AudioBuffer pair(44100, 2, 4);
    const float left[] = {1.0f, 0.5f, -1.0f, 0.0f};
    const float right[] = {0.0f, 0.5f, 1.0f, -0.5f};
    std::copy(std::begin(left), std::end(left), pair.channel(0));
    std::copy(std::begin(right), std::end(right), pair.channel(1));
    pair.setFrameLength(4);
    AudioBuffer down(44100, 1, 4);
    ASSERT_EQ(AudioConverter::convert(pair, down).value(), 4u);
    EXPECT_EQ(down.channel(0)[0], 0.5f);
    EXPECT_EQ(down.channel(0)[1], 0.5f);
    EXPECT_EQ(down.channel(0)[2], 0.0f);
    EXPECT_EQ(down.channel(0)[3], -0.25f);

    AudioBuffer three(44100, 3, 4);
    ASSERT_EQ(AudioConverter::convert(pair, three).value(), 4u);
    EXPECT_EQ(three.channel(1)[2], 1.0f);
    EXPECT_EQ(three.channel(2)[0], 0.0f);

    // A mono source resampled and spread gives identical channels.
    auto upsampled = AudioConverter::convert(sine(22050, 1, 2205, 500.0, 0.5), 44100, 2);
    ASSERT_TRUE(upsampled.has_value());
    ASSERT_EQ(upsampled->frameLength(), 4410u);
    for (std::size_t i = 0; i < 4410; ++i) {
        ASSERT_EQ(upsampled->channel(0)[i], upsampled->channel(1)[i]);
    }
}

TEST(AudioConverter, badFormatsAreErrorValues) {
    // Rates that are not positive finite numbers are refused with conversionFailed; an empty source gives
    // nothing.
    const AudioBuffer source = sine(48000, 2, 100, 440.0, 0.5);
    AudioBuffer zeroRate(0.0, 2, 100);
    auto failed = AudioConverter::convert(source, zeroRate);
    ASSERT_FALSE(failed.has_value());
    EXPECT_EQ(failed.error().code, AudioFileErrorCode::conversionFailed);
    AudioBuffer nanRate(std::nan(""), 2, 100);
    EXPECT_FALSE(AudioConverter::convert(source, nanRate).has_value());

    AudioBuffer empty(48000, 2, 100);
    AudioBuffer target(44100, 2, 100);
    EXPECT_EQ(AudioConverter::convert(empty, target).value(), 0u);
}

} // namespace
} // namespace orvane
