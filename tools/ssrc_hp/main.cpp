// ssrc_hp: converts one mono WAV file to another sample rate with the in-house polyphase engine at a
// -160 dB linear-phase design, and writes it as integer PCM of the chosen depth.
//
//   ssrc_hp --rate <Hz> [--bits 16|24|32] [--quiet] [--tmpfile <path>] <in.wav> <out.wav>
//
// The output has no delay and exactly trunc(inputSamples * rate / inputRate) samples. It is written to
// the temporary file (or "<out.wav>.part") and moved to <out.wav> only when complete. On failure the
// reason goes to standard error and the exit status is 1 (2 for a wrong command line).

#include "tools/ssrc_hp/HighQualityDesign.h"
#include "tools/ssrc_hp/MonoWavFile.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;
using namespace orvane;

namespace {

constexpr std::size_t kBlockSamples = 65536;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

struct Options {
    int rate = 0;
    int bits = 24;
    bool quiet = false;
    std::optional<fs::path> tmpfile;
    fs::path input;
    fs::path output;
};

const char* const kUsage =
    "usage: ssrc_hp --rate <Hz> [--bits 16|24|32] [--quiet] [--tmpfile <path>] <in.wav> <out.wav>\n";

std::optional<int> parsePositive(std::string_view text) {
    int value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc{} || end != text.data() + text.size() || value <= 0)
        return std::nullopt;
    return value;
}

// The options, or a complaint about the command line.
tl::expected<Options, std::string> parseOptions(int argc, char** argv) {
    Options options;
    std::vector<std::string_view> files;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--quiet") {
            options.quiet = true;
        } else if (arg == "--rate" || arg == "--bits") {
            const auto value = hasValue ? parsePositive(argv[++i]) : std::nullopt;
            if (!value)
                return tl::unexpected(std::string(arg) + " needs a positive whole number");
            (arg == "--rate" ? options.rate : options.bits) = *value;
        } else if (arg == "--tmpfile") {
            if (!hasValue)
                return tl::unexpected(std::string("--tmpfile needs a path"));
            options.tmpfile = argv[++i];
        } else if (arg.starts_with("--")) {
            return tl::unexpected("unknown option " + std::string(arg));
        } else {
            files.push_back(arg);
        }
    }
    if (options.rate == 0)
        return tl::unexpected(std::string("--rate is required"));
    if (files.size() != 2)
        return tl::unexpected(std::string("one input and one output file are required"));
    options.input = files[0];
    options.output = files[1];
    return options;
}

// Streams the whole input through the engine into the writer, ending at exactly `expected` samples.
tl::expected<void, std::string> convert(ssrc::MonoWavReader& reader, ssrc::MonoWavWriter& writer, int rate) {
    const std::int64_t expected =
        static_cast<std::int64_t>(static_cast<double>(reader.sampleCount()) * rate / reader.sampleRate());
    std::unique_ptr<SRCEngine64> engine;
    if (rate != reader.sampleRate()) {
        auto made = ssrc::makeHighQualityEngine(reader.sampleRate(), rate);
        if (!made)
            return tl::unexpected(made.error());
        engine = std::move(*made);
    }
    std::vector<double> converted;
    auto writeUpToExpected = [&](const std::vector<double>& samples) -> tl::expected<void, std::string> {
        const std::int64_t room = expected - writer.samplesWritten();
        const auto n = static_cast<std::size_t>(std::clamp<std::int64_t>(room, 0, std::ssize(samples)));
        return writer.write(std::span<const double>(samples.data(), n));
    };
    for (;;) {
        auto block = reader.read(kBlockSamples);
        if (!block)
            return tl::unexpected(block.error());
        if (block->empty())
            break;
        converted.clear();
        if (engine)
            engine->process(*block, converted);
        if (auto written = writeUpToExpected(engine ? converted : *block); !written)
            return written;
    }
    converted.clear();
    if (engine)
        engine->flushInto(converted);
    if (auto written = writeUpToExpected(converted); !written)
        return written;
    const std::vector<double> padding(
        static_cast<std::size_t>(std::max<std::int64_t>(0, expected - writer.samplesWritten())), 0.0);
    return writer.write(padding);
}

int run(const Options& options) {
    auto reader = ssrc::MonoWavReader::open(options.input);
    if (!reader) {
        std::fprintf(stderr, "ssrc_hp: %s\n", reader.error().c_str());
        return kExitFailure;
    }
    const fs::path partial = options.tmpfile.value_or(fs::path(options.output) += ".part");
    auto writer = ssrc::MonoWavWriter::create(partial, options.rate, options.bits);
    tl::expected<void, std::string> result;
    if (writer)
        result = convert(*reader, *writer, options.rate);
    else
        result = tl::unexpected(writer.error());
    if (result)
        result = writer->finish();
    std::error_code ec;
    if (result) {
        fs::rename(partial, options.output, ec);
        if (ec)
            result =
                tl::unexpected("cannot move the result to " + options.output.string() + ": " + ec.message());
    }
    if (!result) {
        fs::remove(partial, ec); // nothing half-written stays behind; a failed removal changes nothing more
        std::fprintf(stderr, "ssrc_hp: %s\n", result.error().c_str());
        return kExitFailure;
    }
    if (!options.quiet)
        std::printf("ssrc_hp: %lld samples at %d Hz -> %lld samples at %d Hz\n",
                    static_cast<long long>(reader->sampleCount()), reader->sampleRate(),
                    static_cast<long long>(writer->samplesWritten()), options.rate);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const auto options = parseOptions(argc, argv);
    if (!options) {
        std::fprintf(stderr, "ssrc_hp: %s\n%s", options.error().c_str(), kUsage);
        return kExitUsage;
    }
    return run(*options);
}
