// Times the client preview of a full disc, from an image already rendered, in each of its formats,
// beside Debian's command-line encoders on the same image with the same settings: `flac -5` for the
// FLAC preview, `ffmpeg -c:a aac -b:a 160k` into MPEG-4 with the index in front for the AAC ones.
// Each case runs in a process of its own, so its peak memory is its own.
// Usage: bench_preview [MINUTES] [ROUNDS] (defaults 74 and 1); the table shows each case's fastest
// round, since other work on a shared machine only ever adds time. Data lives in a temporary folder,
// removed at the end.

#include "delivery/PreviewExporter.h"
#include "model/CDTrack.h"
#include "model/TimelineCalculator.h"
#include "platform/ChildProcess.h"
#include "render/Exporter.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

using namespace orvane;
namespace fs = std::filesystem;

namespace {

struct Measure {
    double wall = 1e30;
    double peakMB = 0.0;
};

// Runs `job` in a child process and measures it: wall time, and the child's own peak RSS.
Measure inChild(const std::function<int()>& job) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = ::fork();
    if (pid == 0)
        ::_exit(job());
    int status = 0;
    rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    Measure m;
    m.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    m.peakMB = static_cast<double>(usage.ru_maxrss) / 1024.0;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "a case failed (status %d)\n", status);
        std::exit(1);
    }
    return m;
}

int runTool(const std::string& program, const std::vector<std::string>& arguments) {
    const auto run = runChildProcess(program, arguments);
    if (!run) {
        std::fprintf(stderr, "%s: %s\n", program.c_str(), run.error().c_str());
        return 1;
    }
    if (run->exitStatus != 0)
        std::fprintf(stderr, "%s failed: %s\n", program.c_str(), run->errorText.c_str());
    return run->exitStatus;
}

// A disc of `minutes` in tracks of about four minutes, with no sources: the image is handed in.
CDProject discOf(double minutes) {
    CDProject p;
    p.albumTitle = "Bench";
    const auto totalSamples = static_cast<std::int64_t>(minutes * 60.0 * 44100.0);
    const std::int64_t trackSamples = 4 * 60 * 44100;
    for (std::int64_t at = 0, n = 1; at < totalSamples; at += trackSamples, ++n)
        p.tracks.push_back(CDTrack::make("Track " + std::to_string(n), std::nullopt, n == 1 ? 150 : 0,
                                         std::min(trackSamples, totalSamples - at)));
    return p;
}

// Music-like content that keeps both encoders busy: a chord whose notes drift, a slow tremolo
// and a little noise, different on each side.
void writeImage(const fs::path& file, std::int64_t bytes) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    std::vector<std::int16_t> block(2 * 44100);
    std::uint32_t noise = 12345;
    std::int64_t frame = 0;
    for (std::int64_t written = 0; written < bytes;) {
        for (std::size_t i = 0; i < block.size(); i += 2, ++frame) {
            const double t = static_cast<double>(frame) / 44100.0;
            const double drift = 1.0 + 0.02 * std::sin(0.05 * t);
            const double tremolo = 0.6 + 0.4 * std::sin(2 * M_PI * 0.3 * t);
            for (int c = 0; c < 2; ++c) {
                double v = 0.0;
                for (double hz : {220.0, 277.18, 329.63, 440.0 * (c + 1)})
                    v += 0.12 * std::sin(2 * M_PI * hz * drift * t + c);
                noise = noise * 1664525u + 1013904223u;
                v = v * tremolo + 0.01 * (static_cast<double>(noise >> 8) / 8388608.0 - 1.0);
                block[i + static_cast<std::size_t>(c)] = static_cast<std::int16_t>(std::lround(v * 32767.0));
            }
        }
        const auto n = std::min<std::int64_t>(static_cast<std::int64_t>(block.size() * 2), bytes - written);
        out.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(n));
        written += n;
    }
}

} // namespace

int main(int argc, char** argv) {
    const double minutes = argc > 1 ? std::atof(argv[1]) : 74.0;
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 1;
    const fs::path dir = fs::temp_directory_path() / ("orvane-bench-preview-" + std::to_string(::getpid()));
    fs::create_directories(dir);

    const CDProject project = discOf(minutes);
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions) {
        std::fprintf(stderr, "layout failed\n");
        return 1;
    }
    const std::int64_t bytes = positions->back().endLBA * Exporter::bytesPerFrame;
    const fs::path image = dir / "image.dat";
    writeImage(image, bytes);
    const double discSeconds = static_cast<double>(positions->back().endLBA) / 75.0;
    std::printf("disc: %.1f min, image %.0f MB, %d round(s)\n", discSeconds / 60.0,
                static_cast<double>(bytes) / 1e6, rounds);

    auto preview = [&](PreviewFormat format) {
        return [&, format] {
            const fs::path out = dir / ("out-" + std::to_string(static_cast<int>(format)));
            fs::remove_all(out);
            fs::create_directories(out);
            try {
                PreviewExporter::exportPreview(project, *positions, format, out, "", image);
            } catch (const PreviewExportError& e) {
                std::fprintf(stderr, "%s\n", e.message.c_str());
                return 1;
            }
            return 0;
        };
    };
    const std::string raw = image.string();
    auto flacTool = [&] {
        return runTool("/usr/bin/flac", {"-5", "-s", "-f", "--force-raw-format", "--endian=little",
                                         "--sign=signed", "--channels=2", "--bps=16", "--sample-rate=44100",
                                         "-o", (dir / "peer.flac").string(), raw});
    };
    auto ffmpegTool = [&] {
        return runTool("/usr/bin/ffmpeg", {"-nostdin", "-v", "error", "-y", "-f", "s16le", "-ar", "44100",
                                           "-ac", "2", "-i", raw, "-c:a", "aac", "-b:a", "160k", "-movflags",
                                           "+faststart", (dir / "peer.m4a").string()});
    };

    struct Case {
        const char* name;
        std::function<int()> job;
        Measure best;
    };
    std::vector<Case> cases = {
        {"preview quality (FLAC)", preview(PreviewFormat::quality), {}},
        {"flac -5 (peer)", flacTool, {}},
        {"preview light (AAC 160k .m4a)", preview(PreviewFormat::light), {}},
        {"preview smartphone (AAC in the page)", preview(PreviewFormat::smartphone), {}},
        {"ffmpeg aac 160k faststart (peer)", ffmpegTool, {}},
    };
    for (int r = 0; r < rounds; ++r)
        for (Case& c : cases) {
            const Measure m = inChild(c.job);
            if (m.wall < c.best.wall)
                c.best = m;
        }

    std::printf("\n%-40s %8s %11s %12s\n", "case", "wall s", "x realtime", "peak RSS MB");
    for (const Case& c : cases)
        std::printf("%-40s %8.2f %11.1f %12.1f\n", c.name, c.best.wall, discSeconds / c.best.wall,
                    c.best.peakMB);
    std::printf("\nquality / flac:     %.2f (target at most 1.30)\n",
                cases[0].best.wall / cases[1].best.wall);
    std::printf("light / ffmpeg:     %.2f (target at most 1.30)\n", cases[2].best.wall / cases[4].best.wall);
    std::printf("smartphone / ffmpeg: %.2f (target at most 1.30)\n", cases[3].best.wall / cases[4].best.wall);
    std::printf("peak memory target: under 200 MB for every preview case\n");
    std::error_code ec;
    fs::remove_all(dir, ec);
    return 0;
}
