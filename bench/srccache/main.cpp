// Renders a synthesised 96 kHz stereo file into a private SRC cache with each algorithm and prints the
// wall time and the speed against real time, beside a plain read-and-write copy of the same file.

#include "engines/ResamplerFactory.h"
#include "engines/SRCPreset.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"
#include "render/SRCRenderer.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <numbers>
#include <string>

namespace fs = std::filesystem;
using namespace orvane;

namespace {

constexpr double kSourceRate = 96000.0;
constexpr double kSeconds = 30.0;

fs::path writeSource(const fs::path& folder) {
    const fs::path path = folder / "bench source.wav";
    auto writer =
        AudioFileWriter::open(path, {AudioContainer::wav, AudioSampleFormat::int24, kSourceRate, 2});
    const auto frames = static_cast<std::size_t>(kSourceRate * kSeconds);
    AudioBuffer buffer(kSourceRate, 2, 65536);
    for (std::size_t at = 0; at < frames; at += buffer.frameCapacity()) {
        const std::size_t n = std::min(buffer.frameCapacity(), frames - at);
        for (int c = 0; c < 2; ++c)
            for (std::size_t i = 0; i < n; ++i)
                buffer.channel(c)[i] =
                    static_cast<float>(0.5 * std::sin(2.0 * std::numbers::pi * (997.0 + 500.0 * c) *
                                                      static_cast<double>(at + i) / kSourceRate));
        buffer.setFrameLength(n);
        if (!writer || !writer->write(buffer))
            return {};
    }
    return writer->finish() ? path : fs::path{};
}

// The floor every render stands on: the source read and a float file written, nothing converted.
void copyThroughFileLayer(const fs::path& source, const fs::path& target) {
    auto reader = AudioFileReader::open(source);
    auto writer =
        AudioFileWriter::open(target, {AudioContainer::wav, AudioSampleFormat::float32, kSourceRate, 2});
    AudioBuffer buffer = reader->makeBuffer(65536);
    while (reader->read(buffer).value_or(0) > 0)
        (void)writer->write(buffer);
    (void)writer->finish();
}

template <typename F> double secondsOf(F&& run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main() {
    const fs::path folder = fs::temp_directory_path() / "orvane-bench-srccache";
    fs::remove_all(folder);
    fs::create_directories(folder / "cache");
    SRCRenderer::overrideCacheDirectory(folder / "cache");
    const fs::path source = writeSource(folder);
    if (source.empty()) {
        std::fprintf(stderr, "bench_srccache: cannot write the source file in %s\n", folder.c_str());
        return 1;
    }
    std::printf("%.0f s of stereo at 96000 Hz to 44100 Hz\n\n%-22s %10s %12s\n", kSeconds, "algorithm",
                "seconds", "x real time");
    const double copySeconds = secondsOf([&] { copyThroughFileLayer(source, folder / "copy.wav"); });
    std::printf("%-22s %10.2f %12.1f\n", "copy, no conversion", copySeconds, kSeconds / copySeconds);
    for (const SRCPreset preset : allSRCPresets) {
        const std::string name(rawValue(preset));
        if (const auto availability = ResamplerFactory::availability(preset); !availability.available) {
            std::printf("%-22s %10s   (%s)\n", name.c_str(), "-", availability.reason.c_str());
            continue;
        }
        std::string failure;
        const double seconds = secondsOf([&] {
            try {
                SRCRenderer::renderCache(source, kSourceRate, 44100, name, "Linear");
            } catch (const SRCRenderError& error) {
                failure = error.message;
            }
        });
        if (failure.empty())
            std::printf("%-22s %10.2f %12.1f\n", name.c_str(), seconds, kSeconds / seconds);
        else
            std::printf("%-22s %10s   (%s)\n", name.c_str(), "failed", failure.c_str());
    }
    fs::remove_all(folder);
    return 0;
}
