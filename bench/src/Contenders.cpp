#include "Contenders.h"

#include "engines/MeridonReference.h"
#include "engines/SoxrSRC.h"
#include "engines/VelmontSRC.h"

#include <samplerate.h>
#include <soxr.h>

#include <algorithm>
#include <memory>
#include <span>
#include <stdexcept>

namespace orvane::bench {

namespace {

constexpr std::size_t kBlockFrames = 65536;

// Runs one StreamingResampler per channel, block by block, as the file conversion does.
template <typename Make> void perChannel(const Channels& input, Make make, Channels& out) {
    std::vector<double> block;
    for (std::size_t c = 0; c < input.size(); ++c) {
        auto resampler = make();
        const auto& in = input[c];
        for (std::size_t start = 0; start < in.size(); start += kBlockFrames) {
            const std::size_t n = std::min(kBlockFrames, in.size() - start);
            block.assign(in.begin() + static_cast<std::ptrdiff_t>(start),
                         in.begin() + static_cast<std::ptrdiff_t>(start + n));
            const auto y = resampler->processBlock(block);
            out[c].insert(out[c].end(), y.begin(), y.end());
        }
        const auto tail = resampler->flush();
        out[c].insert(out[c].end(), tail.begin(), tail.end());
    }
}

// The engine's own appending call, as a caller holding whole channels would use it: each channel's
// samples read where they lie, block by block, straight into that channel's output. The counterpart of
// libsoxr's direct row; the per-channel row above goes through the renderer's interface instead.
void velmontDirect(const Channels& input, int fsIn, int fsOut, Channels& out) {
    for (std::size_t c = 0; c < input.size(); ++c) {
        const auto engine = VelmontSRC::makeEngine(fsIn, fsOut);
        const std::span<const double> in(input[c]);
        for (std::size_t start = 0; start < in.size(); start += kBlockFrames)
            engine->process(in.subspan(start, std::min(kBlockFrames, in.size() - start)), out[c]);
        engine->flushInto(out[c]);
    }
}

// libsoxr's own multichannel API: split 64-bit channels, very high quality, linear phase, one thread.
void soxrDirect(const Channels& input, int fsIn, int fsOut, Channels& out) {
    const unsigned channels = static_cast<unsigned>(input.size());
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT64_S, SOXR_FLOAT64_S);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    soxr_t soxr = soxr_create(fsIn, fsOut, channels, &error, &io, &quality, &runtime);
    if (error)
        throw std::runtime_error(error);
    const std::size_t total = input.empty() ? 0 : input[0].size();
    const std::size_t outChunk =
        kBlockFrames * static_cast<std::size_t>(fsOut) / static_cast<std::size_t>(fsIn) + 64;
    Channels chunk(channels, std::vector<double>(outChunk));
    std::vector<const double*> inPtr(channels);
    std::vector<double*> outPtr(channels);
    for (unsigned c = 0; c < channels; ++c)
        outPtr[c] = chunk[c].data();
    auto collect = [&](std::size_t produced) {
        for (unsigned c = 0; c < channels; ++c)
            out[c].insert(out[c].end(), chunk[c].begin(),
                          chunk[c].begin() + static_cast<std::ptrdiff_t>(produced));
    };
    std::size_t pos = 0;
    while (pos < total) {
        const std::size_t n = std::min(kBlockFrames, total - pos);
        for (unsigned c = 0; c < channels; ++c)
            inPtr[c] = input[c].data() + pos;
        std::size_t idone = 0, odone = 0;
        soxr_process(soxr, inPtr.data(), n, &idone, outPtr.data(), outChunk, &odone);
        collect(odone);
        pos += idone;
    }
    for (;;) {
        std::size_t odone = 0;
        soxr_process(soxr, nullptr, 0, nullptr, outPtr.data(), outChunk, &odone);
        if (odone == 0)
            break;
        collect(odone);
    }
    soxr_delete(soxr);
}

// libsamplerate's best sinc, interleaved 32-bit floats as its API takes them.
void samplerateBest(const Channels& input, int fsIn, int fsOut, Channels& out) {
    const int channels = static_cast<int>(input.size());
    int error = 0;
    SRC_STATE* state = src_new(SRC_SINC_BEST_QUALITY, channels, &error);
    if (!state)
        throw std::runtime_error(src_strerror(error));
    const double ratio = static_cast<double>(fsOut) / fsIn;
    const std::size_t total = input.empty() ? 0 : input[0].size();
    const std::size_t outChunk = static_cast<std::size_t>(kBlockFrames * ratio) + 64;
    std::vector<float> in(kBlockFrames * static_cast<std::size_t>(channels));
    std::vector<float> outBuf(outChunk * static_cast<std::size_t>(channels));
    std::size_t pos = 0;
    bool ended = false;
    while (!ended) {
        const std::size_t n = std::min(kBlockFrames, total - pos);
        for (std::size_t i = 0; i < n; ++i)
            for (int c = 0; c < channels; ++c)
                in[i * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] =
                    static_cast<float>(input[static_cast<std::size_t>(c)][pos + i]);
        SRC_DATA data{};
        data.data_in = in.data();
        data.input_frames = static_cast<long>(n);
        data.end_of_input = pos + n >= total ? 1 : 0;
        data.src_ratio = ratio;
        std::size_t used = 0;
        do {
            data.data_in = in.data() + used * static_cast<std::size_t>(channels);
            data.input_frames = static_cast<long>(n - used);
            data.data_out = outBuf.data();
            data.output_frames = static_cast<long>(outChunk);
            if (int e = src_process(state, &data))
                throw std::runtime_error(src_strerror(e));
            for (long i = 0; i < data.output_frames_gen; ++i)
                for (int c = 0; c < channels; ++c)
                    out[static_cast<std::size_t>(c)].push_back(
                        outBuf[static_cast<std::size_t>(i * channels + c)]);
            used += static_cast<std::size_t>(data.input_frames_used);
        } while (used < n || (data.end_of_input && data.output_frames_gen > 0));
        pos += n;
        ended = data.end_of_input != 0;
    }
    src_delete(state);
}

} // namespace

Channels outputRoom(const Channels& input, int fsIn, int fsOut) {
    Channels out(input.size());
    for (std::size_t c = 0; c < input.size(); ++c) {
        out[c].resize(input[c].size() * static_cast<std::size_t>(fsOut) / static_cast<std::size_t>(fsIn) +
                      kBlockFrames);
        out[c].clear(); // the capacity stays, with every page touched
    }
    return out;
}

Channels convertAll(const Contender& contender, const Channels& input, int fsIn, int fsOut) {
    Channels out = outputRoom(input, fsIn, fsOut);
    contender.convert(input, fsIn, fsOut, out);
    return out;
}

std::vector<Contender> allContenders() {
    return {
        {"Velmont SRC",
         [](const Channels& in, int fsIn, int fsOut, Channels& out) {
             perChannel(
                 in, [&] { return VelmontSRC::makeEngine(fsIn, fsOut); }, out);
         }},
        {"Velmont SRC direct", velmontDirect},
        {"Meridon Reference",
         [](const Channels& in, int fsIn, int fsOut, Channels& out) {
             perChannel(
                 in, [&] { return MeridonReference::makeEngine(fsIn, fsOut, std::nullopt); }, out);
         }},
        {"SoX VHQ (adapter)",
         [](const Channels& in, int fsIn, int fsOut, Channels& out) {
             perChannel(
                 in, [&] { return std::make_unique<SoxrSRC>(fsIn, fsOut, false); }, out);
         }},
        {"libsoxr VHQ direct", soxrDirect},
        {"libsamplerate best", samplerateBest},
    };
}

} // namespace orvane::bench
