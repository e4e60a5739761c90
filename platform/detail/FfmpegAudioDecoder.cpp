#include "platform/detail/FfmpegAudioDecoder.h"

#include "platform/detail/FfmpegError.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace orvane::detail {

namespace {

// How far behind the read position decoded audio is kept: a few codec frames.
constexpr std::int64_t kHistoryFrames = 8192;

AudioFileError failure(AudioFileErrorCode code, const std::filesystem::path& path, const std::string& what,
                       int av) {
    return AudioFileError{"AudioFile", code, what + " \"" + path.string() + "\": " + ffmpegErrorText(av)};
}

} // namespace

struct FfmpegAudioDecoder::State {
    std::filesystem::path path;
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    SwrContext* convert = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    const AVCodec* decoder = nullptr;
    int streamIndex = -1;
    int channels = 0;
    int rate = 0;
    std::int64_t statedLength = 0;
    std::int64_t position = 0; // the next frame a read hands out, counted from the start
    // Decoded audio, one vector per channel, from frame historyStart up to the newest decoded frame.
    // It reaches back some way behind `position`, so that the short steps back of a reader that
    // overlaps its reads cost no new decode from the top.
    std::vector<std::vector<float>> history;
    std::int64_t historyStart = 0;
    std::vector<std::uint8_t*> planes; // scratch: where the converter writes, one pointer a channel

    std::int64_t historyEnd() const {
        return historyStart + static_cast<std::int64_t>(history.empty() ? 0 : history[0].size());
    }
    bool inputDone = false; // the demuxer has no more packets; the decoder is being drained
    bool ended = false;

    ~State() {
        av_frame_free(&frame);
        av_packet_free(&packet);
        swr_free(&convert);
        avcodec_free_context(&codec);
        avformat_close_input(&format);
    }
};

namespace {

// The decoder for the state's stream.
int openCodec(FfmpegAudioDecoder::State& s) {
    avcodec_free_context(&s.codec);
    s.codec = avcodec_alloc_context3(s.decoder);
    if (s.codec == nullptr)
        return AVERROR(ENOMEM);
    const AVStream* stream = s.format->streams[s.streamIndex];
    if (const int rc = avcodec_parameters_to_context(s.codec, stream->codecpar); rc < 0)
        return rc;
    s.codec->pkt_timebase = stream->time_base;
    return avcodec_open2(s.codec, s.decoder, nullptr);
}

} // namespace

FfmpegAudioDecoder::FfmpegAudioDecoder(std::unique_ptr<State> state) : state_(std::move(state)) {}
FfmpegAudioDecoder::~FfmpegAudioDecoder() = default;

int FfmpegAudioDecoder::sampleRate() const noexcept {
    return state_->rate;
}
int FfmpegAudioDecoder::channelCount() const noexcept {
    return state_->channels;
}
std::int64_t FfmpegAudioDecoder::statedLengthFrames() const noexcept {
    return state_->statedLength;
}

tl::expected<std::unique_ptr<FfmpegAudioDecoder>, AudioFileError>
FfmpegAudioDecoder::open(const std::filesystem::path& path) {
    quietFfmpegLog();
    const std::string cannot = "Cannot open audio file";
    auto s = std::make_unique<State>();
    s->path = path;
    int rc = avformat_open_input(&s->format, path.c_str(), nullptr, nullptr);
    if (rc < 0)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, cannot, rc));
    if ((rc = avformat_find_stream_info(s->format, nullptr)) < 0)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, cannot, rc));
    const AVCodec* decoder = nullptr;
    rc = av_find_best_stream(s->format, AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (rc < 0 || decoder == nullptr)
        return tl::unexpected(
            failure(AudioFileErrorCode::openFailed, path, cannot, rc < 0 ? rc : AVERROR_DECODER_NOT_FOUND));
    s->streamIndex = rc;
    s->decoder = decoder;
    AVStream* stream = s->format->streams[s->streamIndex];
    s->packet = av_packet_alloc();
    s->frame = av_frame_alloc();
    if (s->packet == nullptr || s->frame == nullptr)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, cannot, AVERROR(ENOMEM)));
    if ((rc = openCodec(*s)) < 0)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, cannot, rc));
    s->channels = s->codec->ch_layout.nb_channels;
    s->rate = s->codec->sample_rate;
    if (s->channels <= 0 || s->channels > 256 || s->rate <= 0)
        return tl::unexpected(AudioFileError{"AudioFile", AudioFileErrorCode::openFailed,
                                             cannot + " \"" + path.string() + "\": no channels or no rate"});
    s->history.resize(static_cast<std::size_t>(s->channels));
    s->planes.resize(s->history.size());
    // Whatever the decoder's own sample format, reads deliver planar float at the same rate.
    rc = swr_alloc_set_opts2(&s->convert, &s->codec->ch_layout, AV_SAMPLE_FMT_FLTP, s->rate,
                             &s->codec->ch_layout, s->codec->sample_fmt, s->rate, 0, nullptr);
    if (rc < 0 || (rc = swr_init(s->convert)) < 0)
        return tl::unexpected(failure(AudioFileErrorCode::openFailed, path, cannot, rc));
    if (stream->duration > 0 && stream->duration != AV_NOPTS_VALUE)
        s->statedLength = av_rescale_q(stream->duration, stream->time_base, AVRational{1, s->rate});
    else if (s->format->duration > 0)
        s->statedLength = av_rescale(s->format->duration, s->rate, AV_TIME_BASE);
    return std::unique_ptr<FfmpegAudioDecoder>(new FfmpegAudioDecoder(std::move(s)));
}

tl::expected<bool, AudioFileError> FfmpegAudioDecoder::decodeMore() {
    State& s = *state_;
    const std::string cannot = "Cannot read";
    while (!s.ended) {
        int rc = avcodec_receive_frame(s.codec, s.frame);
        if (rc >= 0) {
            const int frames = s.frame->nb_samples;
            if (frames <= 0) {
                av_frame_unref(s.frame);
                continue;
            }
            // Keep at most kHistoryFrames behind the read position; drop the rest in one go, now and then.
            const std::int64_t behind = s.position - s.historyStart;
            if (behind > 2 * kHistoryFrames) {
                const auto drop = static_cast<std::ptrdiff_t>(behind - kHistoryFrames);
                for (auto& channel : s.history)
                    channel.erase(channel.begin(), channel.begin() + drop);
                s.historyStart += drop;
            }
            const std::size_t old = s.history[0].size();
            for (int c = 0; c < s.channels; ++c) {
                auto& channel = s.history[static_cast<std::size_t>(c)];
                channel.resize(old + static_cast<std::size_t>(frames));
                s.planes[static_cast<std::size_t>(c)] = reinterpret_cast<std::uint8_t*>(channel.data() + old);
            }
            const int got = swr_convert(s.convert, s.planes.data(), frames,
                                        const_cast<const std::uint8_t**>(s.frame->extended_data), frames);
            av_frame_unref(s.frame);
            // The same rate in and out: the converter holds nothing back, so `got` equals `frames`.
            for (auto& channel : s.history)
                channel.resize(old + static_cast<std::size_t>(std::max(got, 0)));
            if (got < 0)
                return tl::unexpected(failure(AudioFileErrorCode::readFailed, s.path, cannot, got));
            return true;
        }
        if (rc == AVERROR_EOF) {
            s.ended = true;
            break;
        }
        if (rc != AVERROR(EAGAIN))
            return tl::unexpected(failure(AudioFileErrorCode::readFailed, s.path, cannot, rc));
        if (s.inputDone) {
            s.ended = true;
            break;
        }
        rc = av_read_frame(s.format, s.packet);
        if (rc == AVERROR_EOF) {
            s.inputDone = true;
            avcodec_send_packet(s.codec, nullptr); // drain what the decoder still holds
            continue;
        }
        if (rc < 0)
            return tl::unexpected(failure(AudioFileErrorCode::readFailed, s.path, cannot, rc));
        if (s.packet->stream_index == s.streamIndex) {
            rc = avcodec_send_packet(s.codec, s.packet);
            av_packet_unref(s.packet);
            if (rc < 0 && rc != AVERROR(EAGAIN))
                return tl::unexpected(failure(AudioFileErrorCode::readFailed, s.path, cannot, rc));
        } else {
            av_packet_unref(s.packet);
        }
    }
    return false;
}

tl::expected<std::size_t, AudioFileError> FfmpegAudioDecoder::read(float* const* planes, std::size_t frames) {
    State& s = *state_;
    std::size_t done = 0;
    while (done < frames) {
        if (s.position == s.historyEnd()) {
            auto more = decodeMore();
            if (!more)
                return tl::unexpected(more.error());
            if (!*more)
                break;
            continue;
        }
        const auto from = static_cast<std::size_t>(s.position - s.historyStart);
        const std::size_t take =
            std::min(frames - done, static_cast<std::size_t>(s.historyEnd() - s.position));
        if (planes != nullptr) {
            for (int c = 0; c < s.channels; ++c)
                std::copy_n(s.history[static_cast<std::size_t>(c)].data() + from, take, planes[c] + done);
        }
        s.position += static_cast<std::int64_t>(take);
        done += take;
    }
    return done;
}

tl::expected<void, AudioFileError> FfmpegAudioDecoder::seek(std::int64_t frame) {
    if (frame >= state_->historyStart && frame <= state_->historyEnd()) {
        state_->position = frame; // still decoded
        return {};
    }
    if (frame < state_->historyStart) {
        // Further back: to the top by opening the file afresh. The demuxer's and the decoder's state
        // after a seek differ from a fresh start in the first frames, and a read must give the same
        // samples however the position was reached.
        auto fresh = open(state_->path);
        if (!fresh)
            return tl::unexpected(
                AudioFileError{"AudioFile", AudioFileErrorCode::seekFailed, fresh.error().message});
        state_ = std::move((*fresh)->state_);
    }
    State& s = *state_;
    // Forward: decode and drop. A null plane list makes read() count without copying.
    const auto skipped = read(nullptr, static_cast<std::size_t>(frame - s.position));
    if (!skipped)
        return tl::unexpected(skipped.error());
    return {};
}

} // namespace orvane::detail
