// The master render: chunk loop, quantiser, image writer, SRC pre-render and file MD5.

#include "render/Exporter.h"

#include "engines/DitherEngine.h"
#include "model/AudioBlock.h"
#include "model/CDTrack.h"
#include "platform/AudioConverter.h"
#include "platform/AudioFileReader.h"
#include "render/ImageWriter.h"
#include "render/RenderStage.h"
#include "render/SRCRenderer.h"
#include "render/detail/DigestHex.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cassert>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

namespace orvane {

namespace {

constexpr std::string_view defaultMasterSRC = "Velmont SRC";
constexpr std::string_view defaultMasterPhase = "Linear";

[[noreturn]] void fail(ExportErrorCode code, std::string message, std::optional<std::string> cause = {}) {
    throw ExportError{"Exporter", code, std::move(message), std::move(cause)};
}

[[noreturn]] void cancelled() {
    throw UserCancelledError{};
}

void logLine(const std::string& line) {
    std::fprintf(stderr, "%s\n", line.c_str());
}

std::string srcFailureText(std::int64_t trackNumber, const CDTrack& track, const std::string& reason) {
    return "Sample rate conversion failed for track " + std::to_string(trackNumber) + " \u201C" +
           track.title + "\u201D: " + reason;
}

// A count in disc samples carried to the target rate, rounded to the nearest sample.
std::int64_t scaled(std::int64_t v, std::int64_t spf) {
    return (v * spf + RedBook::samplesPerFrame / 2) / RedBook::samplesPerFrame;
}

std::string masterSRCOf(const CDProject& project) {
    return std::string(project.masterSRC.value_or(std::string(defaultMasterSRC)));
}
std::string masterPhaseOf(const CDProject& project) {
    return std::string(project.masterSRCPhase.value_or(std::string(defaultMasterPhase)));
}

// The track's audio at the target rate: its SRC cache entry where one is needed, else its file.
// No file, or one that does not open, is silence; a failed conversion stops the render.
std::optional<AudioFileReader> openAtTarget(const CDProject& project, std::int64_t trackIndex,
                                            int targetRate) {
    if (trackIndex < 0 || trackIndex >= static_cast<std::int64_t>(project.tracks.size()))
        return std::nullopt;
    const CDTrack& track = project.tracks[static_cast<std::size_t>(trackIndex)];
    std::optional<std::filesystem::path> url;
    try {
        url = SRCRenderer::resolve(track, targetRate, masterSRCOf(project), masterPhaseOf(project));
    } catch (const SRCRenderError& e) {
        fail(ExportErrorCode::srcFailed, srcFailureText(trackIndex + 1, track, e.message), e.message);
    }
    if (!url)
        return std::nullopt;
    auto reader = AudioFileReader::open(*url);
    if (!reader)
        return std::nullopt;
    return std::move(*reader);
}

AudioBuffer silentChunk(int targetRate, std::size_t frames) {
    AudioBuffer out(targetRate, 2, frames);
    out.setFrameLength(frames);
    return out;
}

// `count` stereo samples at the target rate from `start`; whatever cannot be read is zero, so
// the chunk always keeps its size.
AudioBuffer readChunk(AudioFileReader* file, std::int64_t start, std::int64_t count, int targetRate) {
    const auto frames = static_cast<std::size_t>(count);
    if (file == nullptr)
        return silentChunk(targetRate, frames);
    const double rate = file->sampleRate();
    const auto pos = static_cast<std::int64_t>(rate * static_cast<double>(start) / targetRate);
    const auto n = static_cast<std::int64_t>(rate * static_cast<double>(count) / targetRate);
    if (n <= 0 || pos >= file->lengthFrames())
        return silentChunk(targetRate, frames);
    if (file->framePosition() != pos) {
        if (auto sought = file->setFramePosition(pos); !sought) {
            logLine("Error reading segment: " + sought.error().message);
            return silentChunk(targetRate, frames);
        }
    }
    if (file->channelCount() == 2 && file->sampleRate() == targetRate) {
        // Already the working format: read straight into an unset chunk and zero only what the read
        // leaves, when the file ends early or fails, sparing a pass over the whole chunk.
        AudioBuffer out = AudioBuffer::unset(targetRate, 2, frames);
        std::size_t got = 0;
        if (auto read = file->read(out, static_cast<std::size_t>(n)); read)
            got = *read;
        else
            logLine("Error reading segment: " + read.error().message);
        for (int ch = 0; ch < 2; ++ch)
            std::fill(out.channel(ch) + got, out.channel(ch) + frames, 0.0f);
        out.setFrameLength(frames);
        return out;
    }
    AudioBuffer out = silentChunk(targetRate, frames);
    AudioBuffer raw = file->makeBuffer(static_cast<std::size_t>(n));
    if (auto got = file->read(raw, static_cast<std::size_t>(n)); !got) {
        logLine("Error reading segment: " + got.error().message);
        return out;
    }
    const AudioBuffer* result = &raw;
    std::optional<AudioBuffer> converted;
    if (raw.channelCount() != 2 || raw.sampleRate() != targetRate) {
        auto c = AudioConverter::convert(raw, targetRate, 2);
        if (!c) {
            logLine("Error converting buffer: " + c.error().message);
            return out;
        }
        converted = std::move(*c);
        result = &*converted;
    }
    const std::size_t copied = std::min(result->frameLength(), frames);
    for (int ch = 0; ch < 2; ++ch)
        std::copy_n(result->channel(ch), copied, out.channel(ch));
    return out;
}

void emitSilence(std::int64_t durationFrames, std::int64_t spf, const Exporter::ChunkSink& emit) {
    for (std::int64_t o = 0; o < durationFrames; o += Exporter::maxChunkFrames) {
        const std::int64_t frames = std::min(durationFrames - o, Exporter::maxChunkFrames);
        RenderChunk chunk{RenderChunk::Silence{frames * spf}};
        emit(chunk);
    }
}

void renderTrack(const CDProject& project, const AudioBlock::Track& block, int targetRate, std::int64_t spf,
                 const Exporter::ChunkSink& emit) {
    auto file = openAtTarget(project, block.trackIndex, targetRate);
    if (block.trackIndex < 0 || block.trackIndex >= static_cast<std::int64_t>(project.tracks.size())) {
        emitSilence(block.durationFrames, spf, emit);
        return;
    }
    const CDTrack& track = project.tracks[static_cast<std::size_t>(block.trackIndex)];
    const std::int64_t trim = scaled(track.trimStartSamples, spf);
    AudioFileReader* source = file ? &*file : nullptr;
    RenderStage::TrackLevel level(track, spf);
    for (std::int64_t o = 0; o < block.durationFrames; o += Exporter::maxChunkFrames) {
        const std::int64_t frames = std::min(block.durationFrames - o, Exporter::maxChunkFrames);
        const std::int64_t at = (block.fileStartFrame + o) * spf;
        AudioBuffer buffer = readChunk(source, at, frames * spf, targetRate);
        level.apply(buffer.channel(0), buffer.channel(1), buffer.channel(0), buffer.channel(1), at - trim,
                    static_cast<std::int64_t>(buffer.frameLength()));
        RenderChunk chunk{RenderChunk::Audio{std::move(buffer), track.ditherEnabled}};
        emit(chunk);
    }
}

const CDTrack* trackAt(const CDProject& project, std::int64_t index) {
    if (index < 0 || index >= static_cast<std::int64_t>(project.tracks.size()))
        return nullptr;
    return &project.tracks[static_cast<std::size_t>(index)];
}

void renderCrossfade(const CDProject& project, const AudioBlock::Crossfade& block, int targetRate,
                     std::int64_t spf, const Exporter::ChunkSink& emit) {
    auto file1 = openAtTarget(project, block.trackIndex1, targetRate);
    auto file2 = openAtTarget(project, block.trackIndex2, targetRate);
    const CDTrack* track1 = trackAt(project, block.trackIndex1);
    const CDTrack* track2 = trackAt(project, block.trackIndex2);
    const CDTrack none;
    const CDTrack& t1 = track1 ? *track1 : none;
    const CDTrack& t2 = track2 ? *track2 : none;
    const std::int64_t trim1 = scaled(t1.trimStartSamples, spf);
    const std::int64_t trim2 = scaled(t2.trimStartSamples, spf);
    const bool dither = (track1 && t1.ditherEnabled) || (track2 && t2.ditherEnabled);
    RenderStage::CrossfadeMix mix(t1, t2, block.durationFrames * spf, spf);
    for (std::int64_t o = 0; o < block.durationFrames; o += Exporter::maxChunkFrames) {
        const std::int64_t frames = std::min(block.durationFrames - o, Exporter::maxChunkFrames);
        const std::int64_t count = frames * spf;
        const std::int64_t at1 = (block.fileStartFrame1 + o) * spf;
        const std::int64_t at2 = (block.fileStartFrame2 + o) * spf;
        const AudioBuffer s1 = readChunk(file1 ? &*file1 : nullptr, at1, count, targetRate);
        const AudioBuffer s2 = readChunk(file2 ? &*file2 : nullptr, at2, count, targetRate);
        AudioBuffer out(targetRate, 2, static_cast<std::size_t>(count));
        out.setFrameLength(static_cast<std::size_t>(count));
        mix.mix(s1.channel(0), s1.channel(1), s2.channel(0), s2.channel(1), out.channel(0), out.channel(1),
                o * spf, at1 - trim1, at2 - trim2, count);
        RenderChunk chunk{RenderChunk::Audio{std::move(out), dither}};
        emit(chunk);
    }
}

struct FileCloser {
    int fd;
    ~FileCloser() {
        if (fd >= 0)
            ::close(fd);
    }
};

} // namespace

struct Exporter::Quantizer::Engines {
    std::optional<DitherType> type;
    std::vector<std::unique_ptr<DitherEngine>> channels;
    std::vector<double> scratch;
    std::vector<std::int16_t> quantized; // per channel, one run after another
};

Exporter::Quantizer::Quantizer() : engines_(std::make_unique<Engines>()) {}
Exporter::Quantizer::~Quantizer() = default;

namespace {

// Clamp to -1...1, scale by 32767, round halves away from zero (as std::round); NaN gives 0. After
// the clamp |v| <= 32767, so truncation through an integer is exact, and rounding half away from
// zero is trunc(2v) - trunc(v): 2v is exact, and trunc(2v) exceeds 2 trunc(v) by one exactly when
// the fraction reaches a half. No branch and no library call, so that it runs in vector registers.
inline std::int16_t quantizeSample(double sample) noexcept {
    if (std::isnan(sample))
        return 0;
    const double v = std::clamp(sample, -1.0, 1.0) * 32767.0;
    return static_cast<std::int16_t>(static_cast<std::int32_t>(v + v) - static_cast<std::int32_t>(v));
}

#if defined(__SSE2__)
// quantizeSample on two samples; the two results are the low half of the register.
inline __m128i quantizeTwo(const double* at) noexcept {
    __m128d x = _mm_loadu_pd(at);
    x = _mm_and_pd(x, _mm_cmpord_pd(x, x)); // NaN becomes 0
    const __m128d v =
        _mm_mul_pd(_mm_min_pd(_mm_max_pd(x, _mm_set1_pd(-1.0)), _mm_set1_pd(1.0)), _mm_set1_pd(32767.0));
    return _mm_sub_epi32(_mm_cvttpd_epi32(_mm_add_pd(v, v)), _mm_cvttpd_epi32(v));
}
#endif

// quantizeSample over a run of samples.
void quantizeRun(const double* in, std::size_t frames, std::int16_t* out) noexcept {
    std::size_t i = 0;
#if defined(__SSE2__)
    for (; i + 4 <= frames; i += 4) {
        const __m128i four = _mm_unpacklo_epi64(quantizeTwo(in + i), quantizeTwo(in + i + 2));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_packs_epi32(four, four));
    }
#endif
    for (; i < frames; ++i)
        out[i] = quantizeSample(in[i]);
}

// quantizeSample over two channels straight into interleaved little-endian bytes: one pass
// instead of a run per channel and an interleave.
void quantizeStereoLittleEndian(const double* left, const double* right, std::size_t frames,
                                char* out) noexcept {
    std::size_t i = 0;
#if defined(__SSE2__)
    for (; i + 4 <= frames; i += 4) {
        const __m128i l = _mm_unpacklo_epi64(quantizeTwo(left + i), quantizeTwo(left + i + 2));
        const __m128i r = _mm_unpacklo_epi64(quantizeTwo(right + i), quantizeTwo(right + i + 2));
        const __m128i lr = _mm_packs_epi32(l, r); // four left, then four right
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * i),
                         _mm_unpacklo_epi16(lr, _mm_srli_si128(lr, 8)));
    }
#endif
    for (; i < frames; ++i) {
        const std::int16_t pair[2] = {quantizeSample(left[i]), quantizeSample(right[i])};
        std::memcpy(out + 4 * i, pair, 4);
    }
}

// Widens a channel to double for the dither, which works in place.
void widen(const float* in, std::size_t frames, double* out) noexcept {
    std::size_t i = 0;
#if defined(__SSE2__)
    for (; i + 4 <= frames; i += 4) {
        const __m128 four = _mm_loadu_ps(in + i);
        _mm_storeu_pd(out + i, _mm_cvtps_pd(four));
        _mm_storeu_pd(out + i + 2, _mm_cvtps_pd(_mm_movehl_ps(four, four)));
    }
#endif
    for (; i < frames; ++i)
        out[i] = in[i];
}

// Interleaves per-channel 16-bit runs (each `frames` long, one after another in `runs`) into
// little-endian bytes.
void interleaveLittleEndian(const std::int16_t* runs, int channels, std::size_t frames, char* out) noexcept {
    for (std::size_t i = 0; i < frames; ++i)
        for (int ch = 0; ch < channels; ++ch) {
            const auto v = static_cast<std::uint16_t>(runs[static_cast<std::size_t>(ch) * frames + i]);
            *out++ = static_cast<char>(v & 0xFF);
            *out++ = static_cast<char>(v >> 8);
        }
}

} // namespace

std::int16_t Exporter::toInt16(double sample) noexcept {
    return quantizeSample(sample);
}

void Exporter::Quantizer::quantize(const AudioBuffer& buffer, DitherType dither, std::string& out) {
    const std::size_t base = out.size();
    out.resize(base + buffer.frameLength() * static_cast<std::size_t>(buffer.channelCount()) * 2);
    quantize(buffer, 0, buffer.frameLength(), dither, out.data() + base);
}

void Exporter::Quantizer::quantize(const AudioBuffer& buffer, std::size_t from, std::size_t frames,
                                   DitherType dither, char* out) {
    const int channels = buffer.channelCount();
    assert(from + frames <= buffer.frameLength());
    Engines& e = *engines_;
    if (dither == DitherType::none) {
        // Undithered audio ends the running engines: the next dithered chunk starts from the seeds.
        e.type = DitherType::none;
        e.channels.clear();
    } else if (e.type != dither || e.channels.size() != static_cast<std::size_t>(channels)) {
        e.channels.clear();
        for (int ch = 0; ch < channels; ++ch)
            e.channels.push_back(std::make_unique<DitherEngine>(
                dither, 16, DitherEngine::seedForChannel(static_cast<unsigned>(ch))));
        e.type = dither;
    }
    const std::size_t bytesPerFrame = static_cast<std::size_t>(channels) * 2;
    if (channels == 2 && !e.channels.empty() && std::endian::native == std::endian::little) {
        // Dithered stereo goes from float to the image's words in one pass.
        DitherEngine::processPairTo16(*e.channels[0], buffer.channel(0) + from, *e.channels[1],
                                      buffer.channel(1) + from, frames, out);
        return;
    }
    // Short stretches keep the widened samples in the cache from the dither to the rounding; the
    // dither runs on across stretches as it does across chunks.
    constexpr std::size_t stretchFrames = 2048;
    for (std::size_t at = 0; at < frames; at += stretchFrames)
        quantizeStretch(buffer, from + at, std::min(stretchFrames, frames - at), out + at * bytesPerFrame);
}

void Exporter::Quantizer::quantizeStretch(const AudioBuffer& buffer, std::size_t from, std::size_t frames,
                                          char* bytes) {
    const int channels = buffer.channelCount();
    Engines& e = *engines_;
    e.scratch.resize(static_cast<std::size_t>(channels) * frames);
    auto span = [&](int ch) { return std::span<double>(e.scratch.data() + ch * frames, frames); };
    for (int ch = 0; ch < channels; ++ch)
        widen(buffer.channel(ch) + from, frames, span(ch).data());
    if (!e.channels.empty()) {
        if (channels == 2) {
            DitherEngine::processPair(*e.channels[0], span(0), *e.channels[1], span(1));
        } else {
            for (int ch = 0; ch < channels; ++ch)
                e.channels[static_cast<std::size_t>(ch)]->process(span(ch));
        }
    }
    if (channels == 2 && std::endian::native == std::endian::little) {
        quantizeStereoLittleEndian(span(0).data(), span(1).data(), frames, bytes);
        return;
    }
    e.quantized.resize(static_cast<std::size_t>(channels) * frames);
    for (int ch = 0; ch < channels; ++ch)
        quantizeRun(span(ch).data(), frames, e.quantized.data() + static_cast<std::size_t>(ch) * frames);
    interleaveLittleEndian(e.quantized.data(), channels, frames, bytes);
}

DitherType Exporter::masterDitherType(const CDProject& project) {
    if (!project.masterDither)
        return DitherType::tpdf;
    return ditherTypeFromRaw(*project.masterDither).value_or(DitherType::tpdf);
}

void Exporter::renderChunks(const CDProject& project, const std::vector<TrackPosition>& positions,
                            std::int64_t fromLBA, std::int64_t toLBA, int targetRate, const ChunkSink& emit) {
    if (targetRate <= 0 || targetRate % 75 != 0)
        fail(ExportErrorCode::unsupportedRate, "Unsupported output sample rate " +
                                                   std::to_string(targetRate) +
                                                   " Hz (must be a multiple of 75).");
    const std::int64_t spf = targetRate / 75;
    for (const AudioBlock& block : AudioBlock::construct(project, positions)) {
        const std::int64_t start = block.startFrame();
        const std::int64_t end = block.endFrame();
        if (end <= fromLBA || start >= toLBA)
            continue;
        if (start < fromLBA || end > toLBA)
            fail(ExportErrorCode::rangeNotOnBlocks, "Render range " + std::to_string(fromLBA) + "\u2013" +
                                                        std::to_string(toLBA) +
                                                        " does not fall on audio block boundaries.");
        if (const auto* silence = std::get_if<AudioBlock::Silence>(&block.value))
            emitSilence(silence->durationFrames, spf, emit);
        else if (const auto* track = std::get_if<AudioBlock::Track>(&block.value))
            renderTrack(project, *track, targetRate, spf, emit);
        else
            renderCrossfade(project, std::get<AudioBlock::Crossfade>(block.value), targetRate, spf, emit);
    }
}

namespace {

// Queues the disc's chunks, then the padding; `handedOver` hears the running byte count after each.
void queueImage(const CDProject& project, const std::vector<TrackPosition>& positions, ImageWriter& writer,
                const std::function<void(std::int64_t bytes)>& handedOver) {
    std::int64_t queued = 0;
    Exporter::renderChunks(project, positions, 0, positions.back().endLBA, Exporter::imageSampleRate,
                           [&](RenderChunk& chunk) {
                               queued += writer.put(chunk);
                               handedOver(queued);
                           });
    const std::int64_t total = positions.back().endLBA * Exporter::bytesPerFrame;
    if (queued < total)
        logLine("Exporter: padding " + std::to_string(total - queued) +
                " bytes of silence for CD frame alignment");
    while (queued < total) {
        // Whole stereo samples: the image is whole sectors and every chunk whole samples, so the
        // rounding up never adds a byte; it only rules out a piece of nothing.
        RenderChunk zeros{RenderChunk::Silence{(std::min<std::int64_t>(total - queued, 1 << 20) + 3) / 4}};
        queued += writer.put(zeros);
        handedOver(queued);
    }
}

} // namespace

std::string Exporter::writeImage(const CDProject& project, const std::vector<TrackPosition>& positions,
                                 const std::filesystem::path& to, const FractionProgress& progress,
                                 ImageDigest digest) {
    if (positions.empty())
        fail(ExportErrorCode::noTracks, "Project contains no tracks to export.");
    const std::int64_t total = positions.back().endLBA * bytesPerFrame;
    const int fd = ::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        fail(ExportErrorCode::openImageFailed, "Failed to open output stream for IMAGE.DAT");
    FileCloser closer{fd};
    const std::string fileName = to.filename().string();
    std::string md5;
    {
        // Declared after the closer: on every way out its threads are joined before the close.
        ImageWriter writer(fd, fileName, masterDitherType(project), digest);
        queueImage(project, positions, writer, [&](std::int64_t queued) {
            if (progress &&
                !progress(total > 0 ? static_cast<double>(queued) / static_cast<double>(total) : 1.0))
                cancelled();
        });
        md5 = writer.finish();
    }
    closer.fd = -1;
    if (::close(fd) != 0)
        fail(ExportErrorCode::writeFailed, "Writing " + fileName + " failed: " + std::strerror(errno));
    return md5;
}

double Exporter::prerenderSRC(const CDProject& project, std::int64_t totalImageFrames, int targetRate,
                              const StatusProgress& progress) {
    const std::string masterSRC = masterSRCOf(project);
    const std::string masterPhase = masterPhaseOf(project);
    struct Work {
        std::size_t index;
        std::int64_t frames;
    };
    std::vector<Work> selected;
    std::int64_t weight = 0;
    for (std::size_t i = 0; i < project.tracks.size(); ++i) {
        const CDTrack& track = project.tracks[i];
        if (!track.audioFileURL)
            continue;
        const auto path = track.audioFileURL->path();
        std::error_code ec;
        if (targetRate == imageSampleRate &&
            (!std::filesystem::exists(path, ec) || !SRCRenderer::needsSRC(path)))
            continue;
        auto reader = AudioFileReader::open(path);
        if (!reader)
            continue;
        const int sourceRate = static_cast<int>(std::lround(reader->sampleRate()));
        if (targetRate == imageSampleRate) {
            const auto entry = SRCRenderer::cacheURL(
                path, sourceRate, targetRate, SRCRenderer::effectiveAlgorithm(track.srcAlgorithm, masterSRC),
                SRCRenderer::effectivePhase(track.srcPhase, masterPhase));
            if (std::filesystem::exists(entry, ec))
                continue;
        } else if (reader->sampleRate() == targetRate) {
            continue;
        }
        const std::int64_t samples = std::max<std::int64_t>(
            track.sourceAudioSamples - track.trimStartSamples - track.trimEndSamples, 0);
        const std::int64_t frames = (samples + RedBook::samplesPerFrame - 1) / RedBook::samplesPerFrame;
        selected.push_back({i, frames});
        weight += frames;
    }
    if (selected.empty())
        return 0.0;
    const double share = static_cast<double>(weight) / static_cast<double>(weight + totalImageFrames);
    const std::size_t n = selected.size();
    for (std::size_t k = 0; k < n; ++k) {
        const CDTrack& track = project.tracks[selected[k].index];
        if (progress &&
            !progress(share * static_cast<double>(k) / static_cast<double>(n),
                      "Rendering SRC (" + std::to_string(k + 1) + "/" + std::to_string(n) + ")\u2026"))
            cancelled();
        const auto path = track.audioFileURL->path();
        auto reader = AudioFileReader::open(path);
        if (!reader || reader->sampleRate() == targetRate)
            continue;
        try {
            SRCRenderer::renderCache(path, reader->sampleRate(), targetRate,
                                     SRCRenderer::effectiveAlgorithm(track.srcAlgorithm, masterSRC),
                                     SRCRenderer::effectivePhase(track.srcPhase, masterPhase));
        } catch (const SRCRenderError& e) {
            fail(ExportErrorCode::srcFailed,
                 srcFailureText(static_cast<std::int64_t>(selected[k].index) + 1, track, e.message),
                 e.message);
        }
    }
    return share;
}

std::string Exporter::md5Hex(const std::filesystem::path& of, const ByteProgress& progress) {
    const std::string name = of.filename().string();
    auto unreadable = [&](const std::string& reason) {
        fail(ExportErrorCode::writeFailed, "Writing checksum.md5 failed: " + name + ": " + reason);
    };
    const int fd = ::open(of.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        unreadable(std::strerror(errno));
    FileCloser closer{fd};
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> ctx(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_md5(), nullptr) != 1)
        unreadable("MD5 is not available");
    std::vector<char> block(std::size_t{1} << 20);
    std::int64_t done = 0;
    for (;;) {
        const ssize_t n = ::read(fd, block.data(), block.size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            unreadable(std::strerror(errno));
        }
        if (n == 0)
            break;
        EVP_DigestUpdate(ctx.get(), block.data(), static_cast<std::size_t>(n));
        done += n;
        if (progress && !progress(done))
            cancelled();
    }
    return detail::finishDigestHex(ctx.get());
}

} // namespace orvane
