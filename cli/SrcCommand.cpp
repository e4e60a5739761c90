// orvane-cli src: convert an audio file's sample rate with any of the five converters, and list them.

#include "cli/Commands.h"
#include "engines/MeridonReference.h"
#include "engines/ResamplerFactory.h"
#include "engines/SRCPreset.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace orvane::cli {

namespace {

constexpr const char* kHelp =
    R"(usage: orvane-cli src convert --preset NAME [--phase Linear|Minimum] --rate HZ IN OUT.wav
       orvane-cli src presets

Sample-rate conversion with the converters a project can choose.

  convert   reads IN (WAV, AIFF, FLAC, Ogg, MP3), converts every channel to HZ with the
            preset's converter and writes OUT as a 32-bit float WAV, then prints the time
            taken and the real-time factor. OUT appears only when the conversion succeeded.
  presets   lists the presets and whether this build can run each.

'orvane-cli src convert --help' and 'orvane-cli src presets --help' say more.
)";

constexpr const char* kConvertHelp =
    R"(usage: orvane-cli src convert --preset NAME [--phase Linear|Minimum] --rate HZ IN OUT.wav

  --preset NAME   "Velmont SRC", "Meridon Reference", "SoX VHQ", "r8brain Free" or
                  "SSRC Shibata" (quote the blanks)
  --phase P       Linear (default) or Minimum; only SoX VHQ and r8brain Free have a choice,
                  the others always convert with linear phase
  --rate HZ       target sample rate in whole hertz, 1000 ... 768000

The in-house converters (Velmont SRC, Meridon Reference) keep their filter delay at the start
of OUT; the others remove theirs and give exactly the length the ratio asks for.
Channels are converted one after the other in this thread.

exit status: 0 converted, 1 the file could not be read, converted or written, 2 usage error
)";

constexpr const char* kPresetsHelp = R"(usage: orvane-cli src presets

Lists the five converters in the order the application offers them, their phase choice, and
whether this build and installation can run each (r8brain Free needs the library compiled in,
SSRC Shibata its ssrc_hp tool). Also says whether Meridon Reference's measured 48 kHz table is
installed. exit status: 0
)";

constexpr std::size_t kBlockFrames = 65536;
constexpr int kMinRateHz = 1000;
constexpr int kMaxRateHz = 768000;

struct ConvertRequest {
    SRCPreset preset = SRCPreset::velmontSRC;
    bool minPhase = false;
    int rateHz = 0;
    std::filesystem::path input;
    std::filesystem::path output;
};

int usageError(const std::string& message) {
    std::fprintf(stderr, "orvane-cli src convert: %s\n\n%s", message.c_str(), kConvertHelp);
    return 2;
}

std::optional<int> parseRate(const std::string& text) {
    if (text.empty() || text.size() > 7 ||
        !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    const int hz = std::stoi(text);
    if (hz < kMinRateHz || hz > kMaxRateHz)
        return std::nullopt;
    return hz;
}

// Fills request from the arguments; returns an exit status when they are not usable.
std::optional<int> parseConvert(Args args, ConvertRequest& request) {
    std::optional<SRCPreset> preset;
    std::optional<int> rate;
    std::vector<std::string> files;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "--preset" || a == "--phase" || a == "--rate") {
            if (!hasValue)
                return usageError(a + " needs a value");
            const std::string& v = args[++i];
            if (a == "--preset") {
                preset = srcPresetFromRaw(v);
                if (!preset)
                    return usageError("unknown preset '" + v + "' (see 'orvane-cli src presets')");
            } else if (a == "--phase") {
                if (v != "Linear" && v != "Minimum")
                    return usageError("--phase is Linear or Minimum, not '" + v + "'");
                request.minPhase = v == "Minimum";
            } else {
                rate = parseRate(v);
                if (!rate)
                    return usageError("--rate must be whole hertz from 1000 to 768000, not '" + v + "'");
            }
        } else if (!a.empty() && a[0] == '-') {
            return usageError("unknown option '" + a + "'");
        } else {
            files.push_back(a);
        }
    }
    if (!preset)
        return usageError("--preset is required");
    if (!rate)
        return usageError("--rate is required");
    if (files.size() != 2)
        return usageError("give one input file and one output file");
    request.preset = *preset;
    request.rateHz = *rate;
    request.input = files[0];
    request.output = files[1];
    if (request.output.extension() != ".wav" && request.output.extension() != ".WAV")
        return usageError("the output is a WAV file and its name must end in .wav");
    return std::nullopt;
}

// The file is written under a hidden sibling name and moved into place only when complete.
class PartialOutput final {
  public:
    explicit PartialOutput(const std::filesystem::path& target)
        : target_(target), partial_(target.parent_path() / ("." + target.filename().string() + ".partial-" +
                                                            std::to_string(::getpid()))) {}
    ~PartialOutput() {
        if (!committed_) {
            std::error_code ec;
            std::filesystem::remove(partial_, ec); // nothing more to do about a leftover we cannot remove
        }
    }
    PartialOutput(const PartialOutput&) = delete;
    PartialOutput& operator=(const PartialOutput&) = delete;

    const std::filesystem::path& path() const { return partial_; }
    std::error_code commit() {
        std::error_code ec;
        std::filesystem::rename(partial_, target_, ec);
        committed_ = !ec;
        return ec;
    }

  private:
    std::filesystem::path target_;
    std::filesystem::path partial_;
    bool committed_ = false;
};

// Writes the first n samples of every channel's result, n being the shortest of them.
bool writeOut(AudioFileWriter& writer, const std::vector<std::vector<double>>& channels, AudioBuffer& buffer,
              std::string& error) {
    std::size_t n = channels.empty() ? 0 : channels[0].size();
    for (const auto& c : channels)
        n = std::min(n, c.size());
    for (std::size_t start = 0; start < n; start += buffer.frameCapacity()) {
        const std::size_t count = std::min(buffer.frameCapacity(), n - start);
        for (std::size_t c = 0; c < channels.size(); ++c) {
            float* dst = buffer.channel(static_cast<int>(c));
            for (std::size_t i = 0; i < count; ++i)
                dst[i] = static_cast<float>(channels[c][start + i]);
        }
        buffer.setFrameLength(count);
        if (auto written = writer.write(buffer); !written) {
            error = written.error().message;
            return false;
        }
    }
    return true;
}

int failure(const std::string& message) {
    std::fprintf(stderr, "orvane-cli src convert: %s\n", message.c_str());
    return 1;
}

int runConvert(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kConvertHelp, stdout);
        return 0;
    }
    ConvertRequest request;
    if (const auto status = parseConvert(args, request))
        return *status;

    if (const auto a = ResamplerFactory::availability(request.preset); !a.available)
        return failure(std::string(rawValue(request.preset)) + " is not available: " + a.reason);
    auto reader = AudioFileReader::open(request.input);
    if (!reader)
        return failure(reader.error().message);
    const int fsIn = static_cast<int>(std::lround(reader->sampleRate()));
    const int channels = reader->channelCount();
    if (fsIn <= 0 || channels <= 0)
        return failure("'" + request.input.string() + "' reports no usable sample rate or channels");

    const auto start = std::chrono::steady_clock::now();
    std::vector<std::unique_ptr<StreamingResampler>> resamplers;
    for (int c = 0; c < channels; ++c) {
        auto made = ResamplerFactory::make(request.preset, fsIn, request.rateHz, request.minPhase);
        if (!made)
            return failure(made.error().message);
        resamplers.push_back(std::move(*made));
    }

    PartialOutput partial(request.output);
    AudioWriteSettings settings;
    settings.container = AudioContainer::wav;
    settings.sampleFormat = AudioSampleFormat::float32;
    settings.sampleRate = request.rateHz;
    settings.channelCount = channels;
    auto writer = AudioFileWriter::open(partial.path(), settings);
    if (!writer)
        return failure(writer.error().message);

    AudioBuffer in = reader->makeBuffer(kBlockFrames);
    AudioBuffer out(request.rateHz, channels, kBlockFrames);
    std::vector<std::vector<double>> results(static_cast<std::size_t>(channels));
    std::vector<double> wide;
    std::string error;
    std::int64_t framesIn = 0;
    for (;;) {
        const auto got = reader->read(in);
        if (!got)
            return failure(got.error().message);
        if (*got == 0)
            break;
        framesIn += static_cast<std::int64_t>(*got);
        for (int c = 0; c < channels; ++c) {
            const float* src = in.channel(c);
            wide.assign(src, src + *got);
            results[static_cast<std::size_t>(c)] =
                resamplers[static_cast<std::size_t>(c)]->processBlock(wide);
        }
        if (!writeOut(*writer, results, out, error))
            return failure(error);
    }
    for (int c = 0; c < channels; ++c)
        results[static_cast<std::size_t>(c)] = resamplers[static_cast<std::size_t>(c)]->flush();
    for (const auto& r : resamplers)
        if (const auto e = r->renderError())
            return failure(e->message);
    if (!writeOut(*writer, results, out, error))
        return failure(error);
    const std::int64_t framesOut = writer->framesWritten();
    if (auto finished = writer->finish(); !finished)
        return failure(finished.error().message);
    if (const auto ec = partial.commit())
        return failure("could not move the result to '" + request.output.string() + "': " + ec.message());

    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double audioSeconds = static_cast<double>(framesIn) / fsIn;
    std::printf("%s: %lld frames at %d Hz -> %lld frames at %d Hz, %d channel(s), %s%s\n",
                request.output.string().c_str(), static_cast<long long>(framesIn), fsIn,
                static_cast<long long>(framesOut), request.rateHz, channels,
                std::string(rawValue(request.preset)).c_str(),
                isLinearOnly(request.preset) || !request.minPhase ? "" : " (minimum phase)");
    std::printf("time %.3f s, %.1fx real time\n", seconds, seconds > 0.0 ? audioSeconds / seconds : 0.0);
    return 0;
}

int runPresets(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kPresetsHelp, stdout);
        return 0;
    }
    if (!args.empty()) {
        std::fprintf(stderr, "orvane-cli src presets: takes no arguments\n\n%s", kPresetsHelp);
        return 2;
    }
    for (SRCPreset preset : allSRCPresets) {
        const auto a = ResamplerFactory::availability(preset);
        const std::string name(rawValue(preset));
        std::printf("%-18s %-18s %s%s\n", name.c_str(),
                    isLinearOnly(preset) ? "linear only" : "linear or minimum",
                    a.available ? "available" : "not available: ", a.reason.c_str());
    }
    const auto table = MeridonReference::tableURL();
    if (MeridonReference::isTableLoaded())
        std::printf("\nMeridon Reference 48000 -> 44100 Hz uses the measured table %s\n",
                    table->string().c_str());
    else
        std::printf("\nMeridon Reference 48000 -> 44100 Hz uses its calibrated design (no measured table "
                    "installed)\n");
    return 0;
}

} // namespace

int runSrc(Args args) {
    if (args.empty()) {
        std::fputs(kHelp, stderr);
        return 2;
    }
    const std::string& sub = args[0];
    if (sub == "--help" || sub == "-h" || sub == "help") {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (sub == "convert")
        return runConvert(args.subspan(1));
    if (sub == "presets")
        return runPresets(args.subspan(1));
    std::fprintf(stderr, "orvane-cli src: unknown subcommand '%s'\n\n%s", sub.c_str(), kHelp);
    return 2;
}

} // namespace orvane::cli
