#include "platform/detail/AacFileEncoder.h"

#include "platform/detail/FfmpegError.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <string>
#include <utility>

namespace orvane::detail {

namespace {

AudioFileError failure(AudioFileErrorCode code, const std::filesystem::path& path, const std::string& what,
                       int av) {
    return AudioFileError{"AudioFile", code,
                          "Cannot " + what + " \"" + path.string() + "\": " + ffmpegErrorText(av)};
}

} // namespace

struct AacFileEncoder::State {
    std::filesystem::path path;
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVStream* stream = nullptr;
    AVFrame* frame = nullptr;   // the frame being filled, planar float
    AVPacket* packet = nullptr; // reused for every packet that comes out
    int channels = 2;
    int frameSize = 1024; // samples per channel in a full codec frame
    int filled = 0;       // samples per channel already in `frame`
    std::int64_t pts = 0; // samples per channel handed to the encoder so far
    bool headerWritten = false;
    bool finished = false;

    ~State() {
        av_packet_free(&packet);
        av_frame_free(&frame);
        avcodec_free_context(&codec);
        if (format != nullptr) {
            if (format->pb != nullptr)
                avio_closep(&format->pb);
            avformat_free_context(format);
        }
    }
};

AacFileEncoder::AacFileEncoder(std::unique_ptr<State> state) : state_(std::move(state)) {}
AacFileEncoder::~AacFileEncoder() = default;

tl::expected<std::unique_ptr<AacFileEncoder>, AudioFileError>
AacFileEncoder::open(const std::filesystem::path& path, int sampleRate, int channelCount, int bitRate) {
    quietFfmpegLog();
    auto s = std::make_unique<State>();
    s->path = path;
    s->channels = channelCount;
    const AVCodec* aac = avcodec_find_encoder_by_name("aac");
    if (aac == nullptr)
        return tl::unexpected(
            failure(AudioFileErrorCode::openFailed, path, "create", AVERROR_ENCODER_NOT_FOUND));
    // The mp4 muxer whatever the name ends in: the preview's audio file carries its own extension.
    int rc = avformat_alloc_output_context2(&s->format, nullptr, "mp4", path.c_str());
    if (rc < 0 || s->format == nullptr)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, "create", rc));
    s->codec = avcodec_alloc_context3(aac);
    s->frame = av_frame_alloc();
    s->packet = av_packet_alloc();
    if (s->codec == nullptr || s->frame == nullptr || s->packet == nullptr)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, "create", AVERROR(ENOMEM)));
    s->codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
    s->codec->sample_rate = sampleRate;
    s->codec->bit_rate = bitRate > 0 ? bitRate : 160000;
    av_channel_layout_default(&s->codec->ch_layout, channelCount);
    s->codec->time_base = AVRational{1, sampleRate};
    if ((s->format->oformat->flags & AVFMT_GLOBALHEADER) != 0)
        s->codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if ((rc = avcodec_open2(s->codec, aac, nullptr)) < 0)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, "create", rc));
    s->frameSize = s->codec->frame_size > 0 ? s->codec->frame_size : 1024;

    s->stream = avformat_new_stream(s->format, nullptr);
    if (s->stream == nullptr)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, "create", AVERROR(ENOMEM)));
    s->stream->time_base = AVRational{1, sampleRate};
    if ((rc = avcodec_parameters_from_context(s->stream->codecpar, s->codec)) < 0)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, "create", rc));

    s->frame->format = AV_SAMPLE_FMT_FLTP;
    s->frame->sample_rate = sampleRate;
    s->frame->nb_samples = s->frameSize;
    if ((rc = av_channel_layout_copy(&s->frame->ch_layout, &s->codec->ch_layout)) < 0 ||
        (rc = av_frame_get_buffer(s->frame, 0)) < 0)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, "create", rc));

    if ((rc = avio_open(&s->format->pb, path.c_str(), AVIO_FLAG_WRITE)) < 0)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, "create", rc));
    AVDictionary* options = nullptr;
    // The index goes before the audio when the file is finished (a second pass over the file).
    av_dict_set(&options, "movflags", "+faststart", 0);
    // The movie's clock at the sample rate: at the default of 1000 the edit list, which states the
    // length without the encoder's padding, would round it to the millisecond.
    av_dict_set(&options, "movie_timescale", std::to_string(sampleRate).c_str(), 0);
    rc = avformat_write_header(s->format, &options);
    av_dict_free(&options);
    if (rc < 0)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, "create", rc));
    s->headerWritten = true;
    return std::unique_ptr<AacFileEncoder>(new AacFileEncoder(std::move(s)));
}

tl::expected<void, AudioFileError>
AacFileEncoder::writeInterleavedInt16(std::span<const std::int16_t> samples) {
    State& s = *state_;
    if (s.finished)
        return tl::unexpected(
            AudioFileError{"AudioFile", AudioFileErrorCode::writeFailed,
                           "Cannot write to \"" + s.path.string() + "\": the file is already finished"});
    const auto channels = static_cast<std::size_t>(s.channels);
    const std::size_t frames = samples.size() / channels;
    std::size_t done = 0;
    while (done < frames) {
        if (int rc = av_frame_make_writable(s.frame); rc < 0)
            return tl::unexpected(failure(AudioFileErrorCode::writeFailed, s.path, "write to", rc));
        const std::size_t take = std::min(frames - done, static_cast<std::size_t>(s.frameSize - s.filled));
        for (std::size_t c = 0; c < channels; ++c) {
            float* out = reinterpret_cast<float*>(s.frame->extended_data[c]) + s.filled;
            const std::int16_t* in = samples.data() + done * channels + c;
            for (std::size_t i = 0; i < take; ++i)
                out[i] = static_cast<float>(in[i * channels]) * (1.0f / 32768.0f);
        }
        s.filled += static_cast<int>(take);
        done += take;
        if (s.filled == s.frameSize) {
            if (auto encoded = encodePending(false); !encoded)
                return encoded;
        }
    }
    return {};
}

tl::expected<void, AudioFileError> AacFileEncoder::writePlanarFloat(const float* const* channels,
                                                                    std::size_t frames) {
    State& s = *state_;
    if (s.finished)
        return tl::unexpected(
            AudioFileError{"AudioFile", AudioFileErrorCode::writeFailed,
                           "Cannot write to \"" + s.path.string() + "\": the file is already finished"});
    std::size_t done = 0;
    while (done < frames) {
        if (int rc = av_frame_make_writable(s.frame); rc < 0)
            return tl::unexpected(failure(AudioFileErrorCode::writeFailed, s.path, "write to", rc));
        const std::size_t take = std::min(frames - done, static_cast<std::size_t>(s.frameSize - s.filled));
        for (int c = 0; c < s.channels; ++c)
            std::copy_n(channels[c] + done, take,
                        reinterpret_cast<float*>(s.frame->extended_data[c]) + s.filled);
        s.filled += static_cast<int>(take);
        done += take;
        if (s.filled == s.frameSize) {
            if (auto encoded = encodePending(false); !encoded)
                return encoded;
        }
    }
    return {};
}

tl::expected<void, AudioFileError> AacFileEncoder::encodePending(bool flush) {
    State& s = *state_;
    int rc = 0;
    if (s.filled > 0) {
        // The encoder takes a shorter last frame and pads it itself.
        s.frame->nb_samples = s.filled;
        s.frame->pts = s.pts;
        s.pts += s.filled;
        rc = avcodec_send_frame(s.codec, s.frame);
        s.filled = 0;
        if (rc < 0)
            return tl::unexpected(failure(AudioFileErrorCode::writeFailed, s.path, "encode", rc));
    }
    if (flush && (rc = avcodec_send_frame(s.codec, nullptr)) < 0)
        return tl::unexpected(failure(AudioFileErrorCode::writeFailed, s.path, "encode", rc));
    while ((rc = avcodec_receive_packet(s.codec, s.packet)) >= 0) {
        av_packet_rescale_ts(s.packet, s.codec->time_base, s.stream->time_base);
        s.packet->stream_index = s.stream->index;
        rc = av_interleaved_write_frame(s.format, s.packet); // takes the packet's data
        if (rc < 0)
            return tl::unexpected(failure(AudioFileErrorCode::writeFailed, s.path, "write to", rc));
    }
    if (rc != AVERROR(EAGAIN) && rc != AVERROR_EOF)
        return tl::unexpected(failure(AudioFileErrorCode::writeFailed, s.path, "encode", rc));
    return {};
}

tl::expected<void, AudioFileError> AacFileEncoder::finish() {
    State& s = *state_;
    if (s.finished)
        return {};
    s.finished = true;
    if (s.filled > 0 && av_frame_make_writable(s.frame) < 0)
        s.filled = 0;
    if (auto flushed = encodePending(true); !flushed)
        return flushed;
    if (int rc = av_write_trailer(s.format); rc < 0)
        return tl::unexpected(failure(AudioFileErrorCode::writeFailed, s.path, "finish", rc));
    if (int rc = avio_closep(&s.format->pb); rc < 0)
        return tl::unexpected(failure(AudioFileErrorCode::writeFailed, s.path, "finish", rc));
    return {};
}

} // namespace orvane::detail
